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

using SUP = StorageUsageProvider;
constexpr int64_t kTiB = int64_t(1) << 40, kMax = std::numeric_limits<int64_t>::max();

QString joined(const StorageDescriptor& d) {
    return d.capacity + d.unit;
}

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
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        SUP::setVolumeSource(volume);
        SUP::setHomePath(QStringLiteral("/home/someone"));
        SUP::setSettingsDomain(&group);
    }
    void TearDown() override {
        SUP::setVolumeSource(nullptr);
        SUP::setHomePath(QString());
        SUP::setSettingsDomain(nullptr);
        QLocale::setDefault(savedLocale_);
    }
    // Total, then the important, opportunistic and plain available figures.
    void feed(int64_t total, int64_t important, int64_t opportunistic, int64_t plain) {
        volume->figures = VolumeCapacities{total, plain, important, opportunistic, plain};
    }

    TempDir dir;
    SettingsDomain group{dir.file("group.json")};
    std::shared_ptr<FixedVolume> volume = std::make_shared<FixedVolume>();
    QLocale savedLocale_;
};

} // namespace

TEST_F(StorageTest, NominalSizesUnitsAndDescriptorsAtEveryBoundary) {
    // Total -> nominal text, descriptor number and unit.
    const std::tuple<int64_t, const char*, const char*, const char*> rows[] = {
        {std::numeric_limits<int64_t>::min(), "-", "0", "-"},
        {0, "-", "0", "-"},
        {1, "4 GB", "8", "KB"},
        {(int64_t(1) << 32) - 1, "4 GB", "8", "GB"},
        {int64_t(1) << 32, "8 GB", "8", "GB"},
        {500107862016, "512 GB", "512", "GB"},
        {int64_t(1) << 39, "768 GB", "768", "GB"},
        {kTiB - 1, "1 TB", "1", "GB"},
        {kTiB, "1.25 TB", "1.25", "TB"},
        {2 * kTiB - 1, "2 TB", "2", "TB"},
        {2 * kTiB, "-", "0", "TB"},
        {int64_t(1) << 50, "-", "0", "PB"},
        {kMax, "-", "0", "-"},
    };
    for (const auto& [total, text, capacity, unit] : rows) {
        EXPECT_EQ(SUP::nominalCapacityText(total), text) << total;
        EXPECT_EQ(joined(SUP::nominalCapacityDescriptor(total)), QString(capacity) + unit) << total;
    }
    // The unit rule alone uses binary thresholds.
    const std::pair<int64_t, const char*> units[] = {{-5, "KB"},
                                                     {(int64_t(1) << 20) - 1, "KB"},
                                                     {int64_t(1) << 20, "MB"},
                                                     {int64_t(1) << 60, "-"}};
    for (const auto& [bytes, unit] : units)
        EXPECT_EQ(SUP::getUnitFromBytes(bytes), unit) << bytes;

    // 1.05 x 10^9 bytes: the number is in gigabytes, the unit still reads MB.
    EXPECT_EQ(joined(SUP::descriptorOf(1050000000)), "1.05MB");
    EXPECT_EQ(joined(SUP::descriptorOf(800000)), "800KB");
    EXPECT_EQ(SUP::fileStyleText(500107862016), "500.11 GB");
}

TEST_F(StorageTest, ReferenceSettingChoosesTheAvailableMeasure) {
    feed(1000000000, 100000000, 200000000, 300000000);
    const std::pair<std::optional<SettingsDomain::Json>, int64_t> rows[] = {
        {std::nullopt, 100000000},              // absent: important use
        {SettingsDomain::Json(1), 200000000},   // honoured though never offered
        {SettingsDomain::Json(2), 300000000},   // the settings screen's second segment
        {SettingsDomain::Json(7), 100000000},   // unknown values act as 0
        {SettingsDomain::Json("2"), 100000000}, // wrong type reads as 0
    };
    for (const auto& [stored, available] : rows) {
        SCOPED_TRACE(stored ? stored->dump() : "absent");
        if (stored)
            group.setValue(SettingsKey::StorageReference, *stored);
        else
            group.remove(SettingsKey::StorageReference);
        EXPECT_EQ(SUP::getAvailableStorage(), SUP::fileStyleText(available));
        EXPECT_DOUBLE_EQ(SUP::getStorageUsagePercentage(), 1.0 - double(available) / 1e9);
        EXPECT_EQ(SUP::usedFraction(), SUP::getStorageUsagePercentage());
    }
    // The single-measure texts ignore the setting.
    EXPECT_EQ(SUP::getImportantAvailableCapacity(), "100.0 MB");
    EXPECT_EQ(SUP::getOpportunisticAvailableCapacityDescriptor().capacity, "200.0");
}

TEST_F(StorageTest, EveryCallAsksTheVolumeAgainAndUnreadableCountsAsZero) {
    feed(500107862016, 100, 100, 100);
    EXPECT_EQ(SUP::getCapacity(), "512 GB");
    feed(1000000000000, 100, 100, 100);
    EXPECT_EQ(SUP::getTotalCapacityDescriptor().capacity, "1");
    EXPECT_EQ(volume->queries, 2); // one query per call, nothing cached
    EXPECT_EQ(volume->askedPath, "/home/someone");

    volume->figures.reset();
    EXPECT_EQ(SUP::getTotalCapacityInBytes() + SUP::getAvailableCapacityInBytes(), 0);
    EXPECT_EQ(SUP::getCapacity(), "-");
    EXPECT_EQ(joined(SUP::getTotalCapacityDescriptor()), "0-");
    EXPECT_EQ(SUP::getUsedStorageDescriptor().unit, "KB");
    // 1 - 0/0: callers must cope with a value that is not finite.
    EXPECT_FALSE(std::isfinite(SUP::getStorageUsagePercentage()));
    EXPECT_EQ(SUP::usedFraction(), std::nullopt);
    feed(1000, 2000, 2000, 2000); // more free than the whole: no fraction either
    EXPECT_EQ(SUP::usedFraction(), std::nullopt);
}

TEST(VolumeStatsTest, ReadsARealVolumeAndRefusesAMissingPath) {
    const auto v = VolumeStats().capacities(QDir::tempPath());
    ASSERT_TRUE(v.has_value());
    EXPECT_GT(v->total, 0);
    EXPECT_TRUE(v->available >= 0 && v->available <= v->total);
    // Linux has no purgeable space: the three measures agree.
    EXPECT_EQ(v->importantAvailable, v->available);
    EXPECT_EQ(v->opportunisticAvailable, v->available);
    EXPECT_FALSE(VolumeStats().capacities("/nonexistent/lumenstat/path").has_value());
}
