#include "network/DataUsageProvider.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include "support/TempDir.h"

#include <QObject>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <tuple>

namespace {

using Atom = DataUsageProvider::Atom;
using Atoms = std::vector<Atom>;
using Cell = std::pair<int, Atom>;
using Json = nlohmann::json;

ActivityRecord paces(uint64_t up, uint64_t down) {
    auto record = std::make_shared<ActivityObject>();
    record->paceActivities = {up, down};
    return record;
}

// A provider in Berlin (which changes its clocks) over a private group domain, with a
// clock the test moves.
class DataUsageTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(berlin.isValid()) << "the time zone database is missing";
        NotificationCenter::defaultCenter().addObserver(
            &observer, DataUsageProvider::kDidUpdateNotificationName,
            [this](const Notification&) { ++notifications; });
    }
    std::unique_ptr<DataUsageProvider> make(SettingsDomain* domain) {
        DataUsageProvider::Environment env;
        env.now = [this] { return clock; };
        env.timeZone = berlin;
        env.group = domain;
        return std::make_unique<DataUsageProvider>(env);
    }
    void at(int y, int m, int d, int h, int min = 0, int s = 0) {
        clock = QDateTime(QDate(y, m, d), QTime(h, min, s), berlin);
    }
    void feed(int ticks, uint64_t up, uint64_t down) {
        for (int i = 0; i < ticks; ++i)
            provider->networkActivityDidUpdate(paces(up, down));
    }
    std::optional<Json> stored() const { return group.value(SettingsKey::DataUsageData); }
    void store(const Atoms& atoms) {
        group.setValue(SettingsKey::DataUsageData, DataUsageProvider::storedForm(atoms));
        provider = make(&group);
    }

    TempDir dir;
    SettingsDomain group{dir.file("group.json")};
    QTimeZone berlin{"Europe/Berlin"};
    QDateTime clock;
    QObject observer;
    int notifications = 0;
    std::unique_ptr<DataUsageProvider> provider = make(&group);
};

TEST_F(DataUsageTest, TicksOfOneHourShareABucketAndTheBucket169EvictsTheOldest) {
    at(2026, 11, 20, 14, 59, 59);
    clock = clock.addMSecs(999);
    feed(1, 1, 5);
    clock = clock.addMSecs(1);
    feed(1, 2, 7);
    at(2026, 11, 20, 14, 20); // an earlier hour seen again adds to its old bucket
    feed(1, 100, 0);
    EXPECT_EQ(provider->dataset(), (Atoms{{"2026-11-20 14", 5, 101}, {"2026-11-20 15", 7, 2}}));

    provider = make(&group);
    const QDateTime first(QDate(2026, 11, 1), QTime(0, 0), berlin);
    for (int h = 0; h < 169; ++h) {
        clock = first.addSecs(3600LL * h);
        feed(1, 1, uint64_t(h));
    }
    feed(1, 1, 1); // adding to an existing bucket of a full list evicts nothing
    ASSERT_EQ(provider->dataset().size(), 168u) << "169 hours seen, the oldest evicted";
    EXPECT_EQ(provider->dataset().front(), (Atom{"2026-11-01 01", 1, 1}));
    EXPECT_EQ(provider->dataset().back(), (Atom{"2026-11-08 00", 169, 2}));
}

TEST_F(DataUsageTest, SavesAndNotifiesOnEverySixtiethTickWithTheListAsScheduled) {
    at(2026, 11, 20, 9);
    feed(59, 1, 2);
    provider->waitForPendingSaves();
    EXPECT_FALSE(stored().has_value());
    EXPECT_EQ(notifications, 0);
    feed(1, 1, 2);
    EXPECT_EQ(notifications, 1);
    feed(30, 1000, 1000); // added while the writer may still be busy
    provider->waitForPendingSaves();
    EXPECT_EQ(stored(), DataUsageProvider::storedForm({{"2026-11-20 09", 120, 60}}));

    group.remove(SettingsKey::DataUsageData);
    feed(29, 1, 2); // the 61st to 119th ticks neither write nor notify
    provider->waitForPendingSaves();
    EXPECT_FALSE(stored().has_value());
    feed(1, 1, 2);
    provider->waitForPendingSaves();
    EXPECT_EQ(notifications, 2);
    EXPECT_EQ((*stored())[0]["bytesIn"], 30180);
}

TEST_F(DataUsageTest, SleepSaveWritesAtOnceWithoutNotifyingAndComesBackAfterARestart) {
    at(2026, 11, 20, 22, 30);
    feed(30, 4, 9);
    at(2026, 11, 20, 23, 30);
    feed(5, 1, 1);
    provider->notifyMacWentOff();
    EXPECT_EQ(notifications, 0);
    ASSERT_TRUE(group.flush());
    SettingsDomain reopened(dir.file("group.json"));
    provider = make(&reopened);
    EXPECT_EQ(provider->dataset(), (Atoms{{"2026-11-20 22", 270, 120}, {"2026-11-20 23", 5, 5}}));
    EXPECT_EQ(provider->todayTotals(), (Atom{"", 275, 125}));

    provider = make(nullptr); // without a group domain nothing is loaded or saved
    EXPECT_TRUE(provider->dataset().empty());
    feed(60, 1, 1);
    provider->notifyMacWentOff();
    EXPECT_EQ(reopened.value(SettingsKey::DataUsageData), stored());
}

TEST_F(DataUsageTest, MalformedStoredElementsAreDroppedAndTheRestKeptInOrder) {
    group.setValue(SettingsKey::DataUsageData, Json::parse(R"([
        {"timeIdentifier": "2026-11-20 01", "bytesIn": 10, "bytesOut": 20},
        {"timeIdentifier": "2026-11-20 02", "bytesIn": 1.5, "bytesOut": 20},
        {"timeIdentifier": "2026-11-20 03", "bytesIn": 10, "bytesOut": "20"},
        {"timeIdentifier": 2026, "bytesIn": 10, "bytesOut": 20},
        {"bytesIn": 10, "bytesOut": 20},
        {"timeIdentifier": "2026-11-20 04", "bytesIn": 10},
        {"timeIdentifier": "2026-11-20 05", "bytesIn": true, "bytesOut": 20},
        {"timeIdentifier": "2026-11-20 06", "bytesIn": 18446744073709551615, "bytesOut": 0},
        {"timeIdentifier": "2026-11-20 07", "bytesIn": null, "bytesOut": 0},
        ["2026-11-20 08", 1, 2], "2026-11-20 09", 42,
        {"timeIdentifier": "2026-11-20 10", "bytesIn": -3, "bytesOut": 0},
        {"timeIdentifier": "2026-11-20 11", "bytesIn": 0, "bytesOut": 9223372036854775807},
        {"timeIdentifier": "2026-11-20 12", "bytesIn": 1099511627777, "bytesOut": 0},
        {"timeIdentifier": "2026-11-20 13", "bytesIn": 1099511627776, "bytesOut": 0},
        {"timeIdentifier": "", "bytesIn": 0, "bytesOut": 0, "extra": [1]}
    ])"));
    EXPECT_EQ(
        make(&group)->dataset(),
        (Atoms{{"2026-11-20 01", 10, 20}, {"2026-11-20 13", int64_t{1} << 40, 0}, {"", 0, 0}}));
    group.setValue(SettingsKey::DataUsageData, Json::object({{"timeIdentifier", "x"}}));
    EXPECT_TRUE(make(&group)->dataset().empty()) << "no list at all";
}

TEST_F(DataUsageTest, TimelinesAtHalfPastTwoInTheAfternoon) {
    store({{"2026-11-19 14", 900, 900},
           {"2026-11-19 15", 5, 6},
           {"2026-11-20 00", 7, 8},
           {"2026-11-20 12", 1, 2},
           {"2026-11-20 14", 30, 40},
           {"2026-11-20 15", 99, 99}}); // not yet, but today
    at(2026, 11, 20, 14, 30);
    const Atoms today = provider->todayTimeline();
    ASSERT_EQ(today.size(), 24u);
    const Cell todayCells[] = {{0, {"0H", 7, 8}},
                               {13, {"13H", 0, 0}},
                               {14, {"14H", 30, 40}},
                               {15, {"15H", 99, 99}},
                               {23, {"24H", 0, 0}}};
    for (const auto& [i, atom] : todayCells)
        EXPECT_EQ(today[i], atom) << i;
    EXPECT_EQ(provider->todayTotals(), (Atom{"", 137, 149}));

    const Atoms last24 = provider->last24HoursTimeline();
    ASSERT_EQ(last24.size(), 24u);
    const Cell last24Cells[] = {{0, {"3PM", 5, 6}},   {8, {"11PM", 0, 0}},  {9, {"0AM", 7, 8}},
                                {20, {"11AM", 0, 0}}, {21, {"12PM", 1, 2}}, {23, {"2PM", 30, 40}}};
    for (const auto& [i, atom] : last24Cells)
        EXPECT_EQ(last24[i], atom) << i;
}

// 01:59:59 CET and 03:00:00 CEST are one second apart: 2 AM never occurs.
// Spring: 01:59:59 CET and 03:00:00 CEST are a second apart, and 23 real hours back from noon
// CEST is noon CET of the day before. Autumn: 02:30 CEST and 02:30 CET, an hour apart, share
// the key "2026-10-25 02", and going back hour by hour passes 2 AM twice.
TEST_F(DataUsageTest, ClockChangeDays) {
    const auto twoTicks = [&](int month, int day, QTime first, int apart) {
        provider = make(nullptr);
        clock = QDateTime(QDate(2026, month, day), first, QTimeZone::utc());
        feed(1, 1, 10);
        clock = clock.addSecs(apart);
        feed(1, 2, 20);
        at(2026, month, day, 12);
        return std::tuple(provider->dataset(), provider->todayTimeline(),
                          provider->last24HoursTimeline());
    };
    auto [spring, today, last24] = twoTicks(3, 29, QTime(0, 59, 59), 1);
    EXPECT_EQ(spring, (Atoms{{"2026-03-29 01", 10, 1}, {"2026-03-29 03", 20, 2}}));
    ASSERT_EQ(today.size(), 23u);
    EXPECT_EQ(std::tuple(today[1], today[2]), std::tuple(Atom{"1H", 10, 1}, Atom{"3H", 20, 2}));
    ASSERT_EQ(last24.size(), 24u);
    EXPECT_EQ(last24.front().timeIdentifier, "12PM");
    EXPECT_EQ(std::tuple(last24[13], last24[14]),
              std::tuple(Atom{"1AM", 10, 1}, Atom{"3AM", 20, 2}));

    auto [autumn, today2, last24b] = twoTicks(10, 25, QTime(0, 30), 3600);
    EXPECT_EQ(autumn, (Atoms{{"2026-10-25 02", 30, 3}}));
    ASSERT_EQ(today2.size(), 24u);
    EXPECT_EQ(today2[2], (Atom{"2H", 30, 3}));
    EXPECT_EQ(last24b.front().timeIdentifier, "2PM");
    EXPECT_EQ(std::tuple(last24b[12], last24b[13]),
              std::tuple(Atom{"2AM", 30, 3}, Atom{"2AM", 30, 3}));
}

using DataUsageDeathTest = DataUsageTest;

// Stored amounts that large are dropped at load; arithmetic on measured paces stays checked.
TEST_F(DataUsageDeathTest, AnAmountBeyond64BitsStopsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            at(2026, 11, 20, 9, 30);
            feed(1, 0, std::numeric_limits<uint64_t>::max());
        },
        "bytesIn overflows");
}

} // namespace
