#include "platform/linux/VolumeStats.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "system/StorageUsageProvider.h"

#include "support/TempDir.h"

#include <QDir>
#include <QLocale>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

constexpr int64_t kGiB = int64_t(1) << 30;
constexpr int64_t kTiB = int64_t(1) << 40;

class FixedVolume : public VolumeCapacitySource {
public:
    std::optional<VolumeCapacities> capacities(const QString& path) override {
        askedPath = path;
        ++queries;
        return figures;
    }
    std::optional<VolumeCapacities> figures;
    QString askedPath;
    int queries = 0;
};

// Runs the provider over a fed volume, a private group domain and a fixed locale.
class StorageTest : public ::testing::Test {
protected:
    void SetUp() override {
        savedLocale_ = QLocale();
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        StorageUsageProvider::setVolumeSource(volume);
        StorageUsageProvider::setHomePath(QStringLiteral("/home/someone"));
        StorageUsageProvider::setSettingsDomain(&group);
    }
    void TearDown() override {
        StorageUsageProvider::setVolumeSource(nullptr);
        StorageUsageProvider::setHomePath(QString());
        StorageUsageProvider::setSettingsDomain(nullptr);
        QLocale::setDefault(savedLocale_);
    }
    void feed(int64_t total, int64_t important, int64_t opportunistic, int64_t plain) {
        VolumeCapacities v;
        v.total = total;
        v.importantAvailable = important;
        v.opportunisticAvailable = opportunistic;
        v.available = plain;
        v.fileSystemFreeSize = plain;
        volume->figures = v;
    }

    TempDir dir;
    SettingsDomain group{dir.file("group.json")};
    std::shared_ptr<FixedVolume> volume = std::make_shared<FixedVolume>();
    QLocale savedLocale_;
};

struct NominalCase {
    int64_t total;
    const char* text;     // nominal size text
    const char* capacity; // descriptor number
    const char* unit;     // descriptor unit
};

TEST(StorageTables, NominalSizesAndUnitsAtEveryBoundary) {
    const NominalCase cases[] = {
        {std::numeric_limits<int64_t>::min(), "-", "0", "-"},
        {0, "-", "0", "-"},
        {1, "4 GB", "8", "KB"},
        {(int64_t(1) << 32) - 1, "4 GB", "8", "GB"},
        {int64_t(1) << 32, "8 GB", "8", "GB"},
        {int64_t(1) << 33, "16 GB", "16", "GB"},
        {500107862016, "512 GB", "512", "GB"},
        {int64_t(1) << 39, "768 GB", "768", "GB"},
        {768 * kGiB, "1 TB", "1", "GB"},
        {kTiB - 1, "1 TB", "1", "GB"},
        {kTiB, "1.25 TB", "1.25", "TB"},
        {kTiB / 4 * 5, "1.5 TB", "1.5", "TB"},
        {2 * kTiB - 1, "2 TB", "2", "TB"},
        {2 * kTiB, "-", "0", "TB"},
        {int64_t(1) << 50, "-", "0", "PB"},
        {std::numeric_limits<int64_t>::max(), "-", "0", "-"},
    };
    for (const NominalCase& c : cases) {
        SCOPED_TRACE(c.total);
        EXPECT_EQ(StorageUsageProvider::nominalCapacityText(c.total), c.text);
        const StorageDescriptor d = StorageUsageProvider::nominalCapacityDescriptor(c.total);
        EXPECT_EQ(d.capacity, c.capacity);
        EXPECT_EQ(d.unit, c.unit);
    }
    // The unit rule alone uses binary thresholds.
    const std::pair<int64_t, const char*> units[] = {
        {-5, "KB"},
        {(int64_t(1) << 20) - 1, "KB"},
        {int64_t(1) << 20, "MB"},
        {kGiB, "GB"},
        {kTiB - 1, "GB"},
        {kTiB, "TB"},
        {int64_t(1) << 50, "PB"},
        {int64_t(1) << 60, "-"},
        {std::numeric_limits<int64_t>::max(), "-"},
    };
    for (const auto& [bytes, unit] : units)
        EXPECT_EQ(StorageUsageProvider::getUnitFromBytes(bytes), unit) << bytes;
}

TEST_F(StorageTest, DescriptorPairsDecimalNumberWithBinaryUnit) {
    // 1.05 x 10^9 bytes: the number is in gigabytes, the unit still reads MB.
    const StorageDescriptor odd = StorageUsageProvider::descriptorOf(1050000000);
    EXPECT_EQ(odd.capacity + odd.unit, "1.05MB");
    const StorageDescriptor small = StorageUsageProvider::descriptorOf(800000);
    EXPECT_EQ(small.capacity + small.unit, "800KB");

    EXPECT_EQ(StorageUsageProvider::fileStyleText(800000), "800 kB");
    EXPECT_EQ(StorageUsageProvider::fileStyleText(1050000000), "1.05 GB");
    EXPECT_EQ(StorageUsageProvider::fileStyleText(500107862016), "500.11 GB");
}

TEST_F(StorageTest, ReferenceSettingChoosesTheAvailableMeasure) {
    feed(1000000000, 100000000, 200000000, 300000000);
    struct Case {
        std::optional<SettingsDomain::Json> stored;
        int64_t available;
    };
    const Case cases[] = {
        {std::nullopt, 100000000},              // absent: important use
        {SettingsDomain::Json(0), 100000000},   // the settings screen's first segment
        {SettingsDomain::Json(1), 200000000},   // honoured though never offered
        {SettingsDomain::Json(2), 300000000},   // the settings screen's second segment
        {SettingsDomain::Json(7), 100000000},   // unknown values act as 0
        {SettingsDomain::Json("2"), 100000000}, // wrong type reads as 0
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.stored ? c.stored->dump() : "absent");
        if (c.stored)
            group.setValue(SettingsKey::StorageReference, *c.stored);
        else
            group.remove(SettingsKey::StorageReference);
        EXPECT_EQ(StorageUsageProvider::getAvailableStorage(),
                  StorageUsageProvider::fileStyleText(c.available));
        EXPECT_DOUBLE_EQ(StorageUsageProvider::getStorageUsagePercentage(),
                         1.0 - static_cast<double>(c.available) / 1e9);
    }
    // The single-measure texts ignore the setting.
    group.setInteger(SettingsKey::StorageReference, 2);
    EXPECT_EQ(StorageUsageProvider::getImportantAvailableCapacity(), "100.0 MB");
    EXPECT_EQ(StorageUsageProvider::getOpportunisticAvailableCapacityDescriptor().capacity,
              "200.0");
    EXPECT_EQ(StorageUsageProvider::getAvailableCapacity(), "300.0 MB");
}

TEST_F(StorageTest, EveryCallAsksTheVolumeAgainAndUnreadableCountsAsZero) {
    feed(500107862016, 100, 100, 100);
    EXPECT_EQ(StorageUsageProvider::getCapacity(), "512 GB");
    feed(1000000000000, 100, 100, 100);
    EXPECT_EQ(StorageUsageProvider::getTotalCapacityDescriptor().capacity, "1");
    EXPECT_EQ(volume->queries, 2); // one query per call, nothing cached
    EXPECT_EQ(volume->askedPath, "/home/someone");

    volume->figures.reset();
    EXPECT_EQ(StorageUsageProvider::getTotalCapacityInBytes(), 0);
    EXPECT_EQ(StorageUsageProvider::getAvailableCapacityInBytes(), 0);
    EXPECT_EQ(StorageUsageProvider::getCapacity(), "-");
    const StorageDescriptor total = StorageUsageProvider::getTotalCapacityDescriptor();
    EXPECT_EQ(total.capacity + total.unit, "0-");
    EXPECT_EQ(StorageUsageProvider::getUsedStorageDescriptor().unit, "KB");
    // 1 - 0/0: callers must cope with a value that is not finite.
    EXPECT_FALSE(std::isfinite(StorageUsageProvider::getStorageUsagePercentage()));
}

TEST(VolumeStatsTest, ReadsARealVolumeAndRefusesAMissingPath) {
    const auto v = VolumeStats().capacities(QDir::tempPath());
    ASSERT_TRUE(v.has_value());
    EXPECT_GT(v->total, 0);
    EXPECT_GE(v->available, 0);
    EXPECT_LE(v->available, v->total);
    // Linux has no purgeable space: the three measures agree.
    EXPECT_EQ(v->importantAvailable, v->available);
    EXPECT_EQ(v->opportunisticAvailable, v->available);
    EXPECT_FALSE(VolumeStats().capacities("/nonexistent/lumenstat/path").has_value());
}

} // namespace
