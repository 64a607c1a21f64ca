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

namespace {

using Atom = DataUsageProvider::Atom;
using Json = nlohmann::json;

ActivityRecord paces(uint64_t up, uint64_t down) {
    auto record = std::make_shared<ActivityObject>();
    record->paceActivities = {up, down};
    return record;
}

std::vector<QString> labelsOf(const std::vector<Atom>& timeline) {
    std::vector<QString> labels;
    for (const Atom& a : timeline)
        labels.push_back(a.timeIdentifier);
    return labels;
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

    // Reads and writes group, or domain when given, or no domain at all when noGroup.
    std::unique_ptr<DataUsageProvider> makeProvider(SettingsDomain* domain = nullptr,
                                                    bool noGroup = false) {
        DataUsageProvider::Environment env;
        env.now = [this] { return clock; };
        env.timeZone = berlin;
        env.group = noGroup ? nullptr : domain ? domain : group.get();
        return std::make_unique<DataUsageProvider>(env);
    }
    void at(int y, int m, int d, int h, int min = 0, int s = 0) {
        clock = QDateTime(QDate(y, m, d), QTime(h, min, s), berlin);
        ASSERT_TRUE(clock.isValid());
    }
    std::optional<Json> stored() const { return group->value(SettingsKey::DataUsageData); }

    TempDir dir;
    std::unique_ptr<SettingsDomain> group =
        std::make_unique<SettingsDomain>(dir.file("group.json"));
    QTimeZone berlin{"Europe/Berlin"};
    QDateTime clock;
    QObject observer;
    int notifications = 0;
};

TEST_F(DataUsageTest, TicksOfOneHourShareABucketAndANewHourOpensOne) {
    auto provider = makeProvider();
    EXPECT_TRUE(provider->dataset().empty());
    at(2026, 11, 20, 14, 10);
    provider->networkActivityDidUpdate(paces(3, 10));
    at(2026, 11, 20, 14, 59, 59);
    clock = clock.addMSecs(999);
    provider->networkActivityDidUpdate(paces(1, 5));
    clock = clock.addMSecs(1);
    provider->networkActivityDidUpdate(paces(2, 7));
    // An earlier hour seen again adds to its old bucket rather than opening a new one.
    at(2026, 11, 20, 14, 20);
    provider->networkActivityDidUpdate(paces(100, 0));

    const std::vector<Atom> expected = {{"2026-11-20 14", 15, 104}, {"2026-11-20 15", 7, 2}};
    EXPECT_EQ(provider->dataset(), expected);
}

TEST_F(DataUsageTest, TheBucket169EvictsTheOldestLeaving168) {
    auto provider = makeProvider();
    const QDateTime first(QDate(2026, 11, 1), QTime(0, 0), berlin);
    for (int h = 0; h < 169; ++h) {
        clock = first.addSecs(3600LL * h);
        provider->networkActivityDidUpdate(paces(1, uint64_t(h)));
        if (h == 167) {
            ASSERT_EQ(provider->dataset().size(), 168u);
            ASSERT_EQ(provider->dataset().front().timeIdentifier, "2026-11-01 00");
        }
    }
    ASSERT_EQ(provider->dataset().size(), 168u);
    EXPECT_EQ(provider->dataset().front().timeIdentifier, "2026-11-01 01");
    EXPECT_EQ(provider->dataset().front().bytesIn, 1);
    EXPECT_EQ(provider->dataset().back().timeIdentifier, "2026-11-08 00");
    EXPECT_EQ(provider->dataset().back().bytesIn, 168);

    // Adding to an existing bucket of a full list evicts nothing.
    provider->networkActivityDidUpdate(paces(1, 1));
    EXPECT_EQ(provider->dataset().size(), 168u);
    EXPECT_EQ(provider->dataset().front().timeIdentifier, "2026-11-01 01");
    EXPECT_EQ(provider->dataset().back().bytesIn, 169);
}

TEST_F(DataUsageTest, SavesAndNotifiesOnEverySixtiethTickOnly) {
    auto provider = makeProvider();
    at(2026, 11, 20, 9);
    for (int i = 1; i <= 59; ++i)
        provider->networkActivityDidUpdate(paces(1, 2));
    provider->waitForPendingSaves();
    EXPECT_FALSE(stored().has_value());
    EXPECT_EQ(notifications, 0);
    EXPECT_EQ(provider->count(), 59);

    provider->networkActivityDidUpdate(paces(1, 2));
    EXPECT_EQ(notifications, 1);
    EXPECT_EQ(provider->count(), 0);
    provider->waitForPendingSaves();
    ASSERT_TRUE(stored().has_value());
    EXPECT_EQ(*stored(),
              Json::parse(R"([{"timeIdentifier":"2026-11-20 09","bytesIn":120,"bytesOut":60}])"));

    // The 61st tick neither writes nor notifies.
    group->remove(SettingsKey::DataUsageData);
    provider->networkActivityDidUpdate(paces(1, 2));
    provider->waitForPendingSaves();
    EXPECT_FALSE(stored().has_value());
    EXPECT_EQ(notifications, 1);

    for (int i = 62; i <= 120; ++i)
        provider->networkActivityDidUpdate(paces(1, 2));
    provider->waitForPendingSaves();
    EXPECT_EQ(notifications, 2);
    ASSERT_TRUE(stored().has_value());
    EXPECT_EQ((*stored())[0]["bytesIn"], 240);
}

TEST_F(DataUsageTest, SaveWritesTheListAsItWasWhenScheduled) {
    auto provider = makeProvider();
    at(2026, 11, 20, 9);
    for (int i = 1; i <= 60; ++i)
        provider->networkActivityDidUpdate(paces(0, 1));
    // Keep adding while the writer may still be busy.
    for (int i = 0; i < 30; ++i)
        provider->networkActivityDidUpdate(paces(0, 1000));
    provider->waitForPendingSaves();
    ASSERT_TRUE(stored().has_value());
    EXPECT_EQ((*stored())[0]["bytesIn"], 60);
}

TEST_F(DataUsageTest, SavedBucketsComeBackAfterARestart) {
    {
        auto provider = makeProvider();
        at(2026, 11, 20, 22, 30);
        for (int i = 0; i < 30; ++i)
            provider->networkActivityDidUpdate(paces(4, 9));
        at(2026, 11, 20, 23, 30);
        for (int i = 0; i < 30; ++i)
            provider->networkActivityDidUpdate(paces(1, 1));
        provider->waitForPendingSaves();
    }
    ASSERT_TRUE(group->flush());
    SettingsDomain reopened(dir.file("group.json"));
    auto provider = makeProvider(&reopened);
    const std::vector<Atom> expected = {{"2026-11-20 22", 270, 120}, {"2026-11-20 23", 30, 30}};
    EXPECT_EQ(provider->dataset(), expected);
    at(2026, 11, 20, 23, 45);
    EXPECT_EQ(provider->todayTotals(), (Atom{"", 300, 150}));
}

TEST_F(DataUsageTest, SleepSaveWritesAtOnceWithoutNotifying) {
    auto provider = makeProvider();
    at(2026, 11, 20, 9);
    for (int i = 0; i < 5; ++i)
        provider->networkActivityDidUpdate(paces(2, 3));
    provider->notifyMacWentOff();
    ASSERT_TRUE(stored().has_value());
    EXPECT_EQ(*stored(), DataUsageProvider::storedForm({{"2026-11-20 09", 15, 10}}));
    EXPECT_EQ(notifications, 0);
}

TEST_F(DataUsageTest, MalformedStoredElementsAreDroppedAndTheRestKeptInOrder) {
    group->setValue(SettingsKey::DataUsageData, Json::parse(R"([
        {"timeIdentifier": "2026-11-20 01", "bytesIn": 10, "bytesOut": 20},
        {"timeIdentifier": "2026-11-20 02", "bytesIn": 1.5, "bytesOut": 20},
        {"timeIdentifier": "2026-11-20 03", "bytesIn": 10, "bytesOut": "20"},
        {"timeIdentifier": 2026, "bytesIn": 10, "bytesOut": 20},
        {"bytesIn": 10, "bytesOut": 20},
        {"timeIdentifier": "2026-11-20 04", "bytesIn": 10},
        {"timeIdentifier": "2026-11-20 05", "bytesIn": true, "bytesOut": 20},
        {"timeIdentifier": "2026-11-20 06", "bytesIn": 18446744073709551615, "bytesOut": 0},
        {"timeIdentifier": "2026-11-20 07", "bytesIn": null, "bytesOut": 0},
        ["2026-11-20 08", 1, 2],
        "2026-11-20 09",
        42,
        {"timeIdentifier": "2026-11-20 10", "bytesIn": -3, "bytesOut": 0},
        {"timeIdentifier": "2026-11-20 11", "bytesIn": 0, "bytesOut": 9223372036854775807},
        {"timeIdentifier": "2026-11-20 12", "bytesIn": 1099511627777, "bytesOut": 0},
        {"timeIdentifier": "2026-11-20 13", "bytesIn": 1099511627776, "bytesOut": 0},
        {"timeIdentifier": "", "bytesIn": 0, "bytesOut": 0, "extra": [1]}
    ])"));
    auto provider = makeProvider();
    const std::vector<Atom> expected = {
        {"2026-11-20 01", 10, 20},
        {"2026-11-20 13", DataUsageProvider::kMaximumStoredHourKB, 0},
        {"", 0, 0}};
    EXPECT_EQ(provider->dataset(), expected);

    // A stored value that is no list at all loads nothing.
    group->setValue(SettingsKey::DataUsageData, Json::object({{"timeIdentifier", "x"}}));
    EXPECT_TRUE(makeProvider()->dataset().empty());
}

TEST_F(DataUsageTest, WithoutAGroupDomainNothingIsLoadedOrSaved) {
    group->setValue(SettingsKey::DataUsageData,
                    DataUsageProvider::storedForm({{"2026-11-20 01", 1, 1}}));
    auto provider = makeProvider(nullptr, true);
    EXPECT_TRUE(provider->dataset().empty());
    at(2026, 11, 20, 9);
    for (int i = 0; i < 60; ++i)
        provider->networkActivityDidUpdate(paces(1, 1));
    provider->notifyMacWentOff();
    EXPECT_EQ(provider->dataset().size(), 1u);
    EXPECT_EQ(*stored(), DataUsageProvider::storedForm({{"2026-11-20 01", 1, 1}}));
}

TEST_F(DataUsageTest, TimelinesAtHalfPastTwoInTheAfternoon) {
    group->setValue(SettingsKey::DataUsageData, DataUsageProvider::storedForm({
                                                    {"2026-11-19 14", 900, 900},
                                                    {"2026-11-19 15", 5, 6},
                                                    {"2026-11-20 00", 7, 8},
                                                    {"2026-11-20 12", 1, 2},
                                                    {"2026-11-20 14", 30, 40},
                                                    {"2026-11-20 15", 99, 99}, // not yet today
                                                }));
    auto provider = makeProvider();
    at(2026, 11, 20, 14, 30);

    const std::vector<Atom> today = provider->todayTimeline();
    ASSERT_EQ(today.size(), 24u);
    const std::pair<int, Atom> todayCells[] = {{0, {"0H", 7, 8}},     {12, {"12H", 1, 2}},
                                               {13, {"13H", 0, 0}},   {14, {"14H", 30, 40}},
                                               {15, {"15H", 99, 99}}, {23, {"24H", 0, 0}}};
    for (const auto& [i, atom] : todayCells)
        EXPECT_EQ(today[i], atom) << i;
    EXPECT_EQ(provider->todayTotals(), (Atom{"", 137, 149}));

    const std::vector<Atom> last24 = provider->last24HoursTimeline();
    ASSERT_EQ(last24.size(), 24u);
    const std::pair<int, Atom> last24Cells[] = {
        {0, {"3PM", 5, 6}},   {8, {"11PM", 0, 0}}, {9, {"0AM", 7, 8}},   {20, {"11AM", 0, 0}},
        {21, {"12PM", 1, 2}}, {22, {"1PM", 0, 0}}, {23, {"2PM", 30, 40}}};
    for (const auto& [i, atom] : last24Cells)
        EXPECT_EQ(last24[i], atom) << i;
}

TEST_F(DataUsageTest, SpringForwardDayHasTwentyThreeHours) {
    auto provider = makeProvider();
    // 01:59:59 CET and 03:00:00 CEST are one second apart.
    clock = QDateTime(QDate(2026, 3, 29), QTime(0, 59, 59), QTimeZone::utc());
    provider->networkActivityDidUpdate(paces(1, 10));
    clock = clock.addSecs(1);
    provider->networkActivityDidUpdate(paces(2, 20));
    const std::vector<Atom> buckets = {{"2026-03-29 01", 10, 1}, {"2026-03-29 03", 20, 2}};
    EXPECT_EQ(provider->dataset(), buckets);

    at(2026, 3, 29, 12);
    const std::vector<Atom> today = provider->todayTimeline();
    ASSERT_EQ(today.size(), 23u);
    const auto labels = labelsOf(today);
    EXPECT_EQ(std::count(labels.begin(), labels.end(), "2H"), 0);
    EXPECT_EQ(today[1], (Atom{"1H", 10, 1}));
    EXPECT_EQ(today[2], (Atom{"3H", 20, 2}));
    EXPECT_EQ(today.back().timeIdentifier, "24H");
    EXPECT_EQ(provider->todayTotals(), (Atom{"", 30, 3}));

    // 23 real hours back from noon CEST is noon CET of the day before; 2 AM never occurs.
    const std::vector<Atom> last24 = provider->last24HoursTimeline();
    ASSERT_EQ(last24.size(), 24u);
    EXPECT_EQ(last24.front().timeIdentifier, "12PM");
    EXPECT_EQ(last24.back().timeIdentifier, "12PM");
    EXPECT_EQ(last24[13], (Atom{"1AM", 10, 1}));
    EXPECT_EQ(last24[14], (Atom{"3AM", 20, 2}));
    const auto hours = labelsOf(last24);
    EXPECT_EQ(std::count(hours.begin(), hours.end(), "2AM"), 0);
}

TEST_F(DataUsageTest, FallBackDayMergesTheRepeatedHour) {
    auto provider = makeProvider();
    // 02:30 CEST and 02:30 CET, an hour apart, share the key "2026-10-25 02".
    clock = QDateTime(QDate(2026, 10, 25), QTime(0, 30), QTimeZone::utc());
    provider->networkActivityDidUpdate(paces(1, 10));
    clock = clock.addSecs(3600);
    provider->networkActivityDidUpdate(paces(2, 20));
    ASSERT_EQ(provider->dataset(), (std::vector<Atom>{{"2026-10-25 02", 30, 3}}));

    at(2026, 10, 25, 12);
    const std::vector<Atom> today = provider->todayTimeline();
    ASSERT_EQ(today.size(), 24u);
    EXPECT_EQ(today[2], (Atom{"2H", 30, 3}));
    EXPECT_EQ(provider->todayTotals(), (Atom{"", 30, 3}));

    // Going back hour by hour passes 2 AM twice; both entries show the one bucket.
    const std::vector<Atom> last24 = provider->last24HoursTimeline();
    ASSERT_EQ(last24.size(), 24u);
    EXPECT_EQ(last24.front().timeIdentifier, "2PM");
    EXPECT_EQ(last24[12], (Atom{"2AM", 30, 3}));
    EXPECT_EQ(last24[13], (Atom{"2AM", 30, 3}));
    EXPECT_EQ(last24.back().timeIdentifier, "12PM");
}

using DataUsageDeathTest = DataUsageTest;

// Stored amounts that large are dropped at load; arithmetic on measured paces stays checked.
TEST_F(DataUsageDeathTest, AnAmountBeyond64BitsStopsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            auto provider = makeProvider();
            at(2026, 11, 20, 9, 30);
            provider->networkActivityDidUpdate(paces(0, std::numeric_limits<uint64_t>::max()));
        },
        "bytesIn overflows");
}

} // namespace
