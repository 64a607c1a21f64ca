#include "FakePowerSources.h"
#include "power/BatteryHealthLogger.h"
#include "power/PowerPercentageLogger.h"
#include "power/YYSystemBatteryReport.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "support/TempDir.h"

#include <QDate>
#include <QObject>

#include <gtest/gtest.h>

using Json = nlohmann::json;

namespace {

// A loaded report whose capacities and cycle count the test sets.
struct ReportFixture {
    std::shared_ptr<FakePowerSources> fake = std::make_shared<FakePowerSources>();
    YYSystemBatteryReport report{fake, [] { return true; }};

    void set(int64_t cycles, int64_t full, int64_t design, int64_t percentage = 80,
             bool charging = false) {
        fake->registry = QVariantMap{{"CycleCount", qint64(cycles)},
                                     {"MaxCapacity", qint64(full)},
                                     {"CurrentCapacity", qint64(full)},
                                     {"DesignCapacity", qint64(design)},
                                     {"IsCharging", charging}};
        fake->snap->descriptions = {
            FakePowerSources::battery(percentage, 100, "Battery Power", charging)};
        report.loadReports();
    }
};

QDateTime day(int y, int m, int d, int hour = 12) {
    return QDateTime(QDate(y, m, d), QTime(hour, 0));
}

Json entry(const char* date, int cycle, int full, int max) {
    return Json{{"date", date}, {"cycle", cycle}, {"fullCapacity", full}, {"maxCapacity", max}};
}

std::vector<int64_t> capacities(const BatteryHealthLogger& log) {
    std::vector<int64_t> out;
    for (const auto& item : log.items())
        out.push_back(item.fullCapacity);
    return out;
}

} // namespace

// --- health log ------------------------------------------------------------------------------

class BatteryHealthLog : public ::testing::Test {
protected:
    TempDir dir;
    SettingsDomain group{dir.file("group.json")};
};

TEST_F(BatteryHealthLog, OneEntryPerDayKeepingTheHighestCapacity) {
    QDateTime now = day(2025, 3, 1, 9);
    BatteryHealthLogger log(&group, [&] { return now; });
    ReportFixture r;

    r.set(10, 3812, 4382);
    log.logBatteryHealthIfNeed(&r.report);
    now = day(2025, 3, 1, 18);
    r.set(11, 3820, 4400); // a rise replaces the day's entry
    log.logBatteryHealthIfNeed(&r.report);
    r.set(12, 3790, 4400); // a fall does not
    log.logBatteryHealthIfNeed(&r.report);
    EXPECT_EQ(log.items(),
              (std::vector<BatteryHealthLogger::Item>{{"2025-03-01", 11, 3820, 4400}}));
    now = day(2025, 3, 2, 0);
    log.logBatteryHealthIfNeed(&r.report);
    EXPECT_EQ(capacities(log), (std::vector<int64_t>{3820, 3790}));

    // The stored form is the list, and a new logger reads it back.
    EXPECT_EQ(group.array(SettingsKey::BatteryHealthData)->at(1),
              entry("2025-03-02", 12, 3790, 4400));
    EXPECT_EQ(BatteryHealthLogger(&group).items(), log.items());

    // With the clock set back, today is found anywhere in the log: no rise is recorded
    // for an entry that is not the last, and nothing is appended.
    now = day(2025, 3, 1, 20);
    r.set(13, 3900, 4400);
    log.logBatteryHealthIfNeed(&r.report);
    EXPECT_EQ(capacities(log), (std::vector<int64_t>{3820, 3790}));
}

TEST_F(BatteryHealthLog, NothingToLogAndDeletes) {
    QDateTime now = day(2025, 3, 1);
    BatteryHealthLogger log(&group, [&] { return now; });
    ReportFixture r; // not loaded yet
    log.logBatteryHealthIfNeed(&r.report);
    log.logBatteryHealthIfNeed(nullptr);
    r.set(4, 0, 0); // a battery known only by its percentage
    log.logBatteryHealthIfNeed(&r.report);
    EXPECT_FALSE(group.contains(SettingsKey::BatteryHealthData));

    // A negative cycle count is no count, never a fault.
    for (int d = 1; d <= 3; ++d) {
        now = day(2025, 3, d);
        r.set(d == 2 ? -5 : d, 3000 + d, 4000);
        log.logBatteryHealthIfNeed(&r.report);
    }
    EXPECT_EQ(log.items()[1], (BatteryHealthLogger::Item{"2025-03-02", 0, 3002, 4000}));

    group.remove(SettingsKey::BatteryHealthData);
    for (int64_t outside : {3, 4, -1})
        log.deleteItemAt(outside);
    EXPECT_FALSE(group.contains(SettingsKey::BatteryHealthData));
    log.deleteItemAt(1);
    EXPECT_EQ(capacities(log), (std::vector<int64_t>{3001, 3003}));
    EXPECT_EQ(group.array(SettingsKey::BatteryHealthData)->size(), 2u);
}

TEST_F(BatteryHealthLog, MalformedAndImpossibleStoredEntriesAreDropped) {
    group.setValue(
        SettingsKey::BatteryHealthData,
        Json::array(
            {{{"date", "2025-01-01"}, {"cycle", "7"}, {"fullCapacity", 1}, {"maxCapacity", 2}},
             {{"date", "2025-01-02"}, {"cycle", 7}, {"fullCapacity", 1}},
             {{"date", 20250103}, {"cycle", 7}, {"fullCapacity", 1}, {"maxCapacity", 2}},
             {{"date", "2025-01-04"}, {"cycle", 7}, {"fullCapacity", 1.5}, {"maxCapacity", 2}},
             entry("2025-01-05", 8, 3, 4),
             entry("2025-01-06", -1, 3, 4),
             entry("2025-01-07", 8, -3, 4),
             entry("2025-01-08", 8, 3, 0)}));
    BatteryHealthLogger log(&group);
    ASSERT_EQ(log.items().size(), 1u);
    EXPECT_EQ(log.items()[0], (BatteryHealthLogger::Item{"2025-01-05", 8, 3, 4}));

    for (const Json& bad : {Json::array({Json::object({{"date", "x"}}), 5}), Json("2025-01-05")}) {
        group.setValue(SettingsKey::BatteryHealthData, bad);
        EXPECT_TRUE(BatteryHealthLogger(&group).items().empty()) << bad.dump();
    }
}

// --- percentage log --------------------------------------------------------------------------

namespace {

struct PercentageFixture {
    TempDir dir;
    SettingsDomain group{dir.file("group.json")};
    SettingsDomain standard{dir.file("settings.json")};
    double now = 1700000000.0;
    bool battery = true;
    ReportFixture r;
    int posts = 0;
    QObject owner;

    PercentageFixture() {
        NotificationCenter::defaultCenter().addObserver(
            &owner, PowerPercentageLogger::DidUpdateNotification,
            [this](const Notification&) { ++posts; });
        r.set(5, 4000, 4500, 67, true);
    }
    ~PercentageFixture() { NotificationCenter::defaultCenter().removeObserver(&owner); }

    std::unique_ptr<PowerPercentageLogger> make() {
        return std::make_unique<PowerPercentageLogger>(PowerPercentageLogger::Environment{
            &group, &standard, [this] { return now; }, [this] { return battery; },
            [this]() -> const YYSystemBatteryReport* { return &r.report; }});
    }
};

double timeOf(const Json& p) {
    return p["Time"].get<double>();
}

Json point(bool fake, int cap, bool charging, double time) {
    return Json{{"Fake", fake}, {"Cap", cap}, {"Charging", charging}, {"Time", time}};
}

// `count` real points at 50 % ten minutes apart, the last one ten minutes before `now`.
Json storedWeek(int count, double now) {
    Json stored = Json::array();
    for (int k = count; k >= 1; --k)
        stored.push_back(point(false, 50, false, now - k * 600.0));
    return stored;
}

} // namespace

TEST(PowerPercentageLog, FirstLaunchSeedsAWeekIntoTheStandardDomain) {
    PercentageFixture f;
    auto log = f.make();
    const auto& data = log->dataset();
    ASSERT_EQ(data.size(), 1008u);
    EXPECT_DOUBLE_EQ(timeOf(data.front()), f.now - 1008 * 600.0);
    EXPECT_DOUBLE_EQ(timeOf(data.back()), f.now - 600.0);
    for (const Json& p : data)
        ASSERT_EQ(p, point(true, 100, false, timeOf(p)));
    EXPECT_FALSE(f.group.contains(SettingsKey::BatteryRawData));
    ASSERT_TRUE(f.standard.array(SettingsKey::BatteryRawData));
    EXPECT_EQ(f.standard.array(SettingsKey::BatteryRawData)->size(), 1008u);
    EXPECT_EQ(f.posts, 0);

    // Ten minutes after the seed's last point a real reading is due; the group copy
    // keeps the newest week only, and the next start takes it as it is.
    log->needsUpdate();
    EXPECT_EQ(log->dataset().back(), point(false, 67, true, f.now));
    EXPECT_EQ(f.posts, 1);
    const Json saved = *f.group.array(SettingsKey::BatteryRawData);
    EXPECT_EQ(saved.size(), 1008u);
    EXPECT_EQ(saved.front(), log->dataset()[1]);
    EXPECT_EQ(f.make()->dataset().back(), log->dataset().back());
}

TEST(PowerPercentageLog, TimingRules) {
    PercentageFixture f;
    f.battery = false;
    auto log = f.make();
    log->needsUpdate(); // due, but without a battery no reading: the chart is still told
    EXPECT_EQ(log->dataset().size(), 1008u);
    EXPECT_EQ(f.posts, 1);
    f.battery = true;
    log->needsUpdate(); // real point at now
    const double last = f.now;

    f.now = last + 589; // just under the 590 s tolerance: too early
    log->needsUpdate();
    EXPECT_EQ(log->dataset().size(), 1009u);
    EXPECT_EQ(f.posts, 2);

    f.now = last + 1500; // 25 minutes: two placeholders, no reading
    f.r.set(5, 4000, 4500, 40, false);
    log->needsUpdate();
    ASSERT_EQ(log->dataset().size(), 1011u);
    EXPECT_EQ(log->dataset()[1009], point(true, 67, false, last + 600));
    EXPECT_EQ(log->dataset()[1010], point(true, 67, false, last + 1200));
    EXPECT_EQ(f.posts, 3);

    f.now = last + 1200 + 590; // due again: a real reading
    log->needsUpdate();
    EXPECT_EQ(log->dataset().back(), point(false, 40, false, f.now));

    // A clock set back 25 minutes counts as a gap as well.
    const double latest = f.now;
    f.now = latest - 1500;
    log->needsUpdate();
    ASSERT_EQ(log->dataset().size(), 1014u);
    EXPECT_DOUBLE_EQ(timeOf(log->dataset().back()), latest + 1200);

    // A report that failed to load gives no reading; a week away starts a fresh seed.
    f.r.fake->registry.reset();
    f.r.report.loadReports();
    f.now = latest + 600;
    log->needsUpdate();
    EXPECT_EQ(log->dataset().size(), 1014u);
    f.now += 8 * 86400;
    log->needsUpdate();
    EXPECT_EQ(log->dataset().back(), point(true, 100, false, f.now - 600));
    EXPECT_FALSE(f.group.contains(SettingsKey::BatteryRawData));
}

TEST(PowerPercentageLog, StoredDataOfTheWrongShapeIsReseeded) {
    PercentageFixture f;
    Json stored = storedWeek(1007, f.now);
    f.group.setValue(SettingsKey::BatteryRawData, stored);
    EXPECT_EQ(f.make()->dataset().back()["Cap"], 100); // 1007 points: reseeded

    stored.push_back(point(false, 51, false, f.now));
    f.group.setValue(SettingsKey::BatteryRawData, stored);
    EXPECT_EQ(f.make()->dataset().back()["Cap"], 51); // exactly 1008: taken

    // Points that cannot be real are dropped, the rest is kept.
    Json impossible = stored;
    impossible[3]["Cap"] = -4;
    impossible[4]["Cap"] = 4000;
    impossible[5]["Time"] = -1.0;
    f.group.setValue(SettingsKey::BatteryRawData, impossible);
    EXPECT_EQ(f.make()->dataset().size(), 1005u);

    impossible[3] = 17; // a non-dictionary element
    f.group.setValue(SettingsKey::BatteryRawData, impossible);
    EXPECT_EQ(f.make()->dataset().back()["Cap"], 100);

    // A last point whose time is an integer resets quietly at the next step.
    stored.back()["Time"] = 1699999400;
    f.group.setValue(SettingsKey::BatteryRawData, stored);
    auto log = f.make();
    ASSERT_EQ(log->dataset().back()["Cap"], 51);
    log->needsUpdate();
    EXPECT_EQ(log->dataset().back()["Cap"], 100);
    EXPECT_EQ(f.posts, 0);

    // A last point without an integer "Cap" fills gaps at 100.
    stored.back()["Time"] = f.now - 600.0;
    stored.back()["Cap"] = "50";
    f.group.setValue(SettingsKey::BatteryRawData, stored);
    log = f.make();
    f.now += 1200; // 1800 s since the last point
    log->needsUpdate();
    ASSERT_EQ(log->dataset().size(), 1011u);
    EXPECT_EQ(log->dataset().back()["Cap"], 100);
}
