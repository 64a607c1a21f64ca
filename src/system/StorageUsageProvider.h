#pragma once

#include "platform/SystemSources.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <optional>

class SettingsDomain;

// A number and its unit, for displays that draw them apart.
class StorageDescriptor {
public:
    QString capacity; // the number without unit
    QString unit;

private:
    friend class StorageUsageProvider;
    StorageDescriptor(QString c, QString u) : capacity(std::move(c)), unit(std::move(u)) {}
};

// Answers questions about the disk that holds the home directory. Nothing is cached: every
// call queries the volume and reads "StorageReference" again, so callers refresh by asking.
class StorageUsageProvider {
public:
    StorageUsageProvider() = delete;

    // Byte counts (0 when the volume cannot be queried).
    static int64_t getTotalCapacityInBytes();
    static int64_t getAvailableCapacityInBytes();
    static int64_t getImportantAvailableCapacityInBytes();
    static int64_t getOpportunisticAvailableCapacityInBytes();
    static int64_t getAvailableCapacityInOlderVersionOSInBytes();

    // 1 - available / total, available by the "StorageReference" setting. A fraction
    // despite the name; not finite when the total is 0.
    static double getStorageUsagePercentage();
    // The same fraction from one query, or nothing when the volume cannot be read or its
    // figures make no fraction between 0 and 1.
    static std::optional<double> usedFraction();

    // Texts in the decimal file-size style, unit included.
    static QString getUsedStorage();
    static QString getAvailableStorage();
    static QString getAvailableCapacity();
    static QString getImportantAvailableCapacity();
    static QString getOpportunisticAvailableCapacity();
    // The nominal size of the disk ("512 GB", "1 TB", ...), "-" when out of range.
    static QString getCapacity();

    static StorageDescriptor getUsedStorageDescriptor();
    static StorageDescriptor getAvailableCapacityDescriptor();
    static StorageDescriptor getImportantAvailableCapacityDescriptor();
    static StorageDescriptor getOpportunisticAvailableCapacityDescriptor();
    static StorageDescriptor getTotalCapacityDescriptor();

    // "KB", "MB", "GB", "TB", "PB" by binary thresholds, "-" from 2^60 on.
    static QString getUnitFromBytes(int64_t bytes);

    // The pure rules behind the operations above.
    static QString nominalCapacityText(int64_t total);                 // getCapacity
    static StorageDescriptor nominalCapacityDescriptor(int64_t total); // getTotalCapacityDescriptor
    static QString fileStyleText(int64_t bytes);
    static StorageDescriptor descriptorOf(int64_t bytes);
    // The available figure the stored reference value selects.
    static int64_t availableFor(const VolumeCapacities& v, int64_t storageReference);

    // Replaces where volume figures, the home path and the setting come from. Passing null
    // restores the running system's source, the home directory and the group domain.
    static void setVolumeSource(std::shared_ptr<VolumeCapacitySource> source);
    static void setHomePath(const QString& path);
    static void setSettingsDomain(SettingsDomain* group);

private:
    static VolumeCapacities volume();
    static int64_t storageReferenceSetting();
    static int64_t availableBySetting();
    static int64_t usedBySetting();
};
