#include "StorageUsageProvider.h"

#include "platform/linux/VolumeStats.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QDir>
#include <QLocale>
#include <QtGlobal>

#include <cmath>
#include <mutex>

namespace {

constexpr int64_t kGiB = int64_t(1) << 30;
constexpr int64_t kTiB = int64_t(1) << 40;

struct Environment {
    std::mutex mutex;
    std::shared_ptr<VolumeCapacitySource> source;
    QString homePath;
    QString systemHome; // the home directory, looked up once (it is read on every tick)
    SettingsDomain* group = nullptr;
};

Environment& environment() {
    static Environment* env = new Environment;
    return *env;
}

// Decimals of the file-size text: whole bytes and kB, one decimal for MB, two above.
int precisionFor(int64_t bytes) {
    if (bytes < 1000000)
        return 0;
    if (bytes < 1000000000)
        return 1;
    return 2;
}

} // namespace

void StorageUsageProvider::setVolumeSource(std::shared_ptr<VolumeCapacitySource> source) {
    std::lock_guard lock(environment().mutex);
    environment().source = std::move(source);
}

void StorageUsageProvider::setHomePath(const QString& path) {
    std::lock_guard lock(environment().mutex);
    environment().homePath = path;
    environment().systemHome.clear();
}

void StorageUsageProvider::setSettingsDomain(SettingsDomain* group) {
    std::lock_guard lock(environment().mutex);
    environment().group = group;
}

VolumeCapacities StorageUsageProvider::volume() {
    std::shared_ptr<VolumeCapacitySource> source;
    QString path;
    {
        std::lock_guard lock(environment().mutex);
        if (!environment().source)
            environment().source = std::make_shared<VolumeStats>();
        source = environment().source;
        Environment& env = environment();
        if (env.homePath.isEmpty() && env.systemHome.isEmpty())
            env.systemHome = QDir::homePath();
        path = env.homePath.isEmpty() ? env.systemHome : env.homePath;
    }
    return source->capacities(path).value_or(VolumeCapacities{});
}

int64_t StorageUsageProvider::getTotalCapacityInBytes() {
    return volume().total;
}

int64_t StorageUsageProvider::getAvailableCapacityInBytes() {
    return volume().available;
}

// Linux has no older-system path: the dedicated figures are always present.
int64_t StorageUsageProvider::getImportantAvailableCapacityInBytes() {
    return volume().importantAvailable;
}

int64_t StorageUsageProvider::getOpportunisticAvailableCapacityInBytes() {
    return volume().opportunisticAvailable;
}

int64_t StorageUsageProvider::getAvailableCapacityInOlderVersionOSInBytes() {
    return volume().fileSystemFreeSize;
}

int64_t StorageUsageProvider::availableFor(const VolumeCapacities& v, int64_t storageReference) {
    switch (storageReference) {
    case 1:
        return v.opportunisticAvailable;
    case 2:
        return v.available;
    default:
        return v.importantAvailable;
    }
}

int64_t StorageUsageProvider::storageReferenceSetting() {
    SettingsDomain* group;
    {
        std::lock_guard lock(environment().mutex);
        group = environment().group ? environment().group : &SettingsDomain::group();
    }
    // A value that is absent, not an integer or other than 1 and 2 selects important use.
    return group->integerValue(SettingsKey::StorageReference);
}

int64_t StorageUsageProvider::availableBySetting() {
    return availableFor(volume(), storageReferenceSetting());
}

int64_t StorageUsageProvider::usedBySetting() {
    // Read both figures from one query so they belong together.
    const int64_t reference = storageReferenceSetting();
    const VolumeCapacities v = volume();
    const int64_t available = availableFor(v, reference);
    int64_t used = 0;
    if (__builtin_sub_overflow(v.total, available, &used))
        qFatal("storage: used space overflows (total %lld, available %lld)",
               static_cast<long long>(v.total), static_cast<long long>(available));
    return used;
}

double StorageUsageProvider::getStorageUsagePercentage() {
    const int64_t reference = storageReferenceSetting();
    const VolumeCapacities v = volume();
    const int64_t available = availableFor(v, reference);
    return 1.0 - static_cast<double>(available) / static_cast<double>(v.total);
}

std::optional<double> StorageUsageProvider::usedFraction() {
    const int64_t reference = storageReferenceSetting();
    const VolumeCapacities v = volume();
    if (v.total <= 0)
        return std::nullopt;
    const double f =
        1.0 - static_cast<double>(availableFor(v, reference)) / static_cast<double>(v.total);
    if (!std::isfinite(f) || f < 0 || f > 1)
        return std::nullopt;
    return f;
}

QString StorageUsageProvider::fileStyleText(int64_t bytes) {
    return QLocale().formattedDataSize(bytes, precisionFor(bytes), QLocale::DataSizeSIFormat);
}

QString StorageUsageProvider::getUnitFromBytes(int64_t b) {
    if (b < (int64_t(1) << 20))
        return QStringLiteral("KB");
    if (b < (int64_t(1) << 30))
        return QStringLiteral("MB");
    if (b < (int64_t(1) << 40))
        return QStringLiteral("GB");
    if (b < (int64_t(1) << 50))
        return QStringLiteral("TB");
    if (b < (int64_t(1) << 60))
        return QStringLiteral("PB");
    return QStringLiteral("-");
}

StorageDescriptor StorageUsageProvider::descriptorOf(int64_t bytes) {
    // The number is the file-style text without its unit; the unit follows the binary
    // thresholds, so near a threshold the two may disagree (kept that way on purpose).
    const QString text = fileStyleText(bytes);
    const qsizetype space = text.lastIndexOf(QLatin1Char(' '));
    const QString number = space > 0 ? text.left(space) : text;
    return StorageDescriptor(number, getUnitFromBytes(bytes));
}

QString StorageUsageProvider::nominalCapacityText(int64_t t) {
    struct Row {
        int64_t below;
        const char* text;
    };
    static constexpr Row rows[] = {
        {1, "-"},
        {int64_t(1) << 32, "4 GB"},
        {int64_t(1) << 33, "8 GB"},
        {int64_t(1) << 34, "16 GB"},
        {int64_t(1) << 35, "32 GB"},
        {int64_t(1) << 36, "64 GB"},
        {int64_t(1) << 37, "128 GB"},
        {int64_t(1) << 38, "256 GB"},
        {int64_t(1) << 39, "512 GB"},
        {768 * kGiB, "768 GB"},
        {kTiB, "1 TB"},
        {kTiB / 4 * 5, "1.25 TB"},
        {kTiB / 2 * 3, "1.5 TB"},
        {kTiB / 4 * 7, "1.75 TB"},
        {kTiB * 2, "2 TB"},
    };
    for (const Row& row : rows) {
        if (t < row.below)
            return QString::fromLatin1(row.text);
    }
    return QStringLiteral("-");
}

StorageDescriptor StorageUsageProvider::nominalCapacityDescriptor(int64_t t) {
    struct Row {
        int64_t below;
        const char* capacity;
        const char* unit; // null: the unit rule applied to the total
    };
    // Unlike the nominal text there is no 4 GB step, the row below 1 TiB reads "1" "GB"
    // and totals from 2 TiB on read "0".
    static constexpr Row rows[] = {
        {1, "0", "-"},
        {int64_t(1) << 33, "8", nullptr},
        {int64_t(1) << 34, "16", "GB"},
        {int64_t(1) << 35, "32", "GB"},
        {int64_t(1) << 36, "64", "GB"},
        {int64_t(1) << 37, "128", "GB"},
        {int64_t(1) << 38, "256", "GB"},
        {int64_t(1) << 39, "512", "GB"},
        {768 * kGiB, "768", "GB"},
        {kTiB, "1", "GB"},
        {kTiB / 4 * 5, "1.25", "TB"},
        {kTiB / 2 * 3, "1.5", "TB"},
        {kTiB / 4 * 7, "1.75", "TB"},
        {kTiB * 2, "2", "TB"},
    };
    for (const Row& row : rows) {
        if (t < row.below)
            return StorageDescriptor(QString::fromLatin1(row.capacity),
                                     row.unit ? QString::fromLatin1(row.unit)
                                              : getUnitFromBytes(t));
    }
    return StorageDescriptor(QStringLiteral("0"), getUnitFromBytes(t));
}

QString StorageUsageProvider::getUsedStorage() {
    return fileStyleText(usedBySetting());
}

QString StorageUsageProvider::getAvailableStorage() {
    return fileStyleText(availableBySetting());
}

QString StorageUsageProvider::getAvailableCapacity() {
    return fileStyleText(getAvailableCapacityInBytes());
}

QString StorageUsageProvider::getImportantAvailableCapacity() {
    return fileStyleText(getImportantAvailableCapacityInBytes());
}

QString StorageUsageProvider::getOpportunisticAvailableCapacity() {
    return fileStyleText(getOpportunisticAvailableCapacityInBytes());
}

QString StorageUsageProvider::getCapacity() {
    return nominalCapacityText(getTotalCapacityInBytes());
}

StorageDescriptor StorageUsageProvider::getUsedStorageDescriptor() {
    return descriptorOf(usedBySetting());
}

StorageDescriptor StorageUsageProvider::getAvailableCapacityDescriptor() {
    return descriptorOf(availableBySetting());
}

StorageDescriptor StorageUsageProvider::getImportantAvailableCapacityDescriptor() {
    return descriptorOf(getImportantAvailableCapacityInBytes());
}

StorageDescriptor StorageUsageProvider::getOpportunisticAvailableCapacityDescriptor() {
    return descriptorOf(getOpportunisticAvailableCapacityInBytes());
}

StorageDescriptor StorageUsageProvider::getTotalCapacityDescriptor() {
    return nominalCapacityDescriptor(getTotalCapacityInBytes());
}
