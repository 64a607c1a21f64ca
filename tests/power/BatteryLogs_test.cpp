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
using Item = BatteryHealthLogger::Item;

namespace {

// A loaded report whose capacities and cycle count the test sets.
struct ReportFixture {
    std::shared_ptr<FakePowerSources> fake = std::make_shared<FakePowerSources>();
    YYSystemBatteryReport report{fake, [] { return true; }};

    void set(int64_t cycles, int64_t full, int64_t design, int percentage = 80,
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

Json entry(const char* date, Json cycle, Json full, Json max) {
    return Json{{"date", date}, {"cycle", cycle}, {"fullCapacity", full}, {"maxCapacity", max}};
}

struct HealthFixture {
    TempDir dir;
    SettingsDomain group{dir.file("group.json")};
    QDateTime now{QDate(2025, 3, 1), QTime(9, 0)};
    BatteryHealthLogger log{&group, [this] { return now; }};
    ReportFixture r;

    void logOn(int day, int hour = 12) {
        now = QDateTime(QDate(2025, 3, day), QTime(hour, 0));
        log.logBatteryHealthIfNeed(&r.report);
    }
    std::vector<int64_t> capacities() const {
        std::vector<int64_t> out;
        for (const auto& item : log.items())
            out.push_back(item.fullCapacity);
        return out;
    }
};

} // namespace

TEST(BatteryHealthLog, OneEntryPerDayKeepingTheHighestCapacity) {
    HealthFixture f;
    f.r.set(10, 3812, 4382);
    f.logOn(1, 9);
    f.r.set(11, 3820, 4400); // a rise replaces the day's entry
    f.logOn(1, 18);
    f.r.set(12, 3790, 4400); // a fall does not
    f.logOn(1, 18);
    EXPECT_EQ(f.log.items(), (std::vector<Item>{{"2025-03-01", 11, 3820, 4400}}));
    f.logOn(2, 0);
    EXPECT_EQ(f.capacities(), (std::vector<int64_t>{3820, 3790}));

    // The stored form is the list, and a new logger reads it back.
    EXPECT_EQ(f.group.array(SettingsKey::BatteryHealthData)->at(1),
              entry("2025-03-02", 12, 3790, 4400));
    EXPECT_EQ(BatteryHealthLogger(&f.group).items(), f.log.items());

    // With the clock set back, today is found anywhere in the log: no rise is recorded
    // for an entry that is not the last, and nothing is appended.
    f.r.set(13, 3900, 4400);
    f.logOn(1, 20);
    EXPECT_EQ(f.capacities(), (std::vector<int64_t>{3820, 3790}));
}

TEST(BatteryHealthLog, NothingToLogAndDeletes) {
    HealthFixture f;
    f.logOn(1); // the report is not loaded yet
    f.log.logBatteryHealthIfNeed(nullptr);
    f.r.set(4, 0, 0); // a battery known only by its percentage
    f.logOn(1);
    EXPECT_FALSE(f.group.contains(SettingsKey::BatteryHealthData));

    // A negative cycle count is no count, never a fault.
    for (int d = 1; d <= 3; ++d) {
        f.r.set(d == 2 ? -5 : d, 3000 + d, 4000);
        f.logOn(d);
    }
    EXPECT_EQ(f.log.items()[1], (Item{"2025-03-02", 0, 3002, 4000}));

    f.group.remove(SettingsKey::BatteryHealthData);
    for (int64_t outside : {3, -1})
        f.log.deleteItemAt(outside);
    EXPECT_FALSE(f.group.contains(SettingsKey::BatteryHealthData));
    f.log.deleteItemAt(1);
    EXPECT_EQ(f.capacities(), (std::vector<int64_t>{3001, 3003}));
    EXPECT_EQ(f.group.array(SettingsKey::BatteryHealthData)->size(), 2u);
}

TEST(BatteryHealthLog, MalformedAndImpossibleStoredEntriesAreDropped) {
    HealthFixture f;
    Json missing = entry("2025-01-02", 7, 1, 2);
    missing.erase("maxCapacity");
    Json numericDate = entry("", 7, 1, 2);
    numericDate["date"] = 20250103;
    f.group.setValue(SettingsKey::BatteryHealthData,
                     Json::array({entry("2025-01-01", "7", 1, 2), missing, numericDate,
                                  entry("2025-01-04", 7, 1.5, 2), entry("2025-01-05", 8, 3, 4),
                                  entry("2025-01-06", -1, 3, 4), entry("2025-01-07", 8, -3, 4),
                                  entry("2025-01-08", 8, 3, 0)}));
    EXPECT_EQ(BatteryHealthLogger(&f.group).items(), (std::vector<Item>{{"2025-01-05", 8, 3, 4}}));

    // Anything but a list of dictionaries is no log at all.
    for (const Json& bad : {Json::array({entry("2025-01-05", 8, 3, 4), 5}), Json("2025-01-05")}) {
        f.group.setValue(SettingsKey::BatteryHealthData, bad);
        EXPECT_TRUE(BatteryHealthLogger(&f.group).items().empty()) << bad.dump();
    }
}

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
    // Stores `stored` in the group domain and starts a logger over it.
    std::unique_ptr<PowerPercentageLogger> makeOver(const Json& stored) {
        group.setValue(SettingsKey::BatteryRawData, stored);
        return make();
    }
};

Json point(bool fake, int cap, bool charging, double time) {
    return Json{{"Fake", fake}, {"Cap", cap}, {"Charging", charging}, {"Time", time}};
}

} // namespace

TEST(PowerPercentageLog, FirstLaunchSeedsAWeekIntoTheStandardDomain) {
    PercentageFixture f;
    auto log = f.make();
    const auto& data = log->dataset();
    ASSERT_EQ(data.size(), 1008u);
    for (size_t k = 0; k < data.size(); ++k)
        ASSERT_EQ(data[k], point(true, 100, false, f.now - double(1008 - k) * 600.0)) << k;
    EXPECT_FALSE(f.group.contains(SettingsKey::BatteryRawData));
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
    EXPECT_DOUBLE_EQ(log->dataset().back()["Time"].get<double>(), latest + 1200);

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
    // 1007 real points at 50 % ten minutes apart, the last one ten minutes ago.
    Json stored = Json::array();
    for (int k = 1007; k >= 1; --k)
        stored.push_back(point(false, 50, false, f.now - k * 600.0));
    EXPECT_EQ(f.makeOver(stored)->dataset().back()["Cap"], 100); // 1007 points: reseeded
    stored.push_back(point(false, 51, false, f.now));
    EXPECT_EQ(f.makeOver(stored)->dataset().back()["Cap"], 51); // exactly 1008: taken

    // Points that cannot be real are dropped, the rest is kept; a non-dictionary reseeds.
    Json impossible = stored;
    impossible[3]["Cap"] = -4;
    impossible[4]["Cap"] = 4000;
    impossible[5]["Time"] = -1.0;
    EXPECT_EQ(f.makeOver(impossible)->dataset().size(), 1005u);
    impossible[3] = 17;
    EXPECT_EQ(f.makeOver(impossible)->dataset().back()["Cap"], 100);

    // A last point whose time is an integer resets quietly at the next step.
    stored.back()["Time"] = 1699999400;
    auto log = f.makeOver(stored);
    ASSERT_EQ(log->dataset().back()["Cap"], 51);
    log->needsUpdate();
    EXPECT_EQ(log->dataset().back()["Cap"], 100);
    EXPECT_EQ(f.posts, 0);

    // A last point without an integer "Cap" fills gaps at 100.
    stored.back()["Time"] = f.now - 600.0;
    stored.back()["Cap"] = "50";
    log = f.makeOver(stored);
    f.now += 1200; // 1800 s since the last point
    log->needsUpdate();
    ASSERT_EQ(log->dataset().size(), 1011u);
    EXPECT_EQ(log->dataset().back()["Cap"], 100);
}
