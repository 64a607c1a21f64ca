// The day documents, the SQLite store and the day and week snapshots.
#include "AppUsageFixtures.h"

#include "appusage/DataProvider.h"
#include "appusage/NetAppDatabase.h"
#include "appusage/NetAppProvider.h"
#include "settings/Language.h"
#include "support/TempDir.h"
#include "support/Wait.h"

#include <gtest/gtest.h>

#include <QFileInfo>
#include <QUrl>

#include <sqlite3.h>
#include <sys/stat.h>

namespace {

QString url(const TempDir& dir) {
    return QUrl::fromLocalFile(dir.file("net.db")).toString();
}

// A day document with one hour holding the given records.
QString document(const QString& hour, const std::vector<NetApp>& apps) {
    auto set = std::make_shared<NetDataset>(hour);
    set->apps = apps;
    return QString::fromUtf8(NetDataset::dayDocument({set}));
}

NetApp app(const QString& id, int64_t in, int64_t out) {
    NetApp a;
    a.bundleIdentifier = id;
    a.name = a.localizedName = id;
    a.bytesIn = in;
    a.bytesOut = out;
    return a;
}

TEST(DayDocument, RoundTripAndUnreadableParts) {
    NetApp firefox = app("firefox-esr", 10, 20);
    firefox.pid = 500;
    NetApp curl = NetApp::process("curl", 900);
    curl.bytesIn = int64_t(1) << 40;
    const QByteArray text = document("2026-11-23 09", {firefox, curl}).toUtf8();
    EXPECT_TRUE(text.contains("\"BunldeIdentifier\":\"firefox-esr\""));
    EXPECT_FALSE(text.contains(": ") || text.contains(", ") || text.contains('\n')) << "compact";
    const auto back = NetDataset::fromDayDocument(text);
    ASSERT_EQ(back.size(), 1u);
    EXPECT_EQ(back[0]->date, "2026-11-23 09");
    ASSERT_EQ(back[0]->apps.size(), 2u);
    EXPECT_EQ(back[0]->apps[0].bundleIdentifier, "firefox-esr");
    EXPECT_FALSE(back[0]->apps[0].pid) << "the process number is not read back";
    EXPECT_EQ(back[0]->apps[1].bytesIn, int64_t(1) << 40);
    EXPECT_FALSE(back[0]->apps[1].isApplication());

    // Records that are skipped, and one that becomes a process entry.
    const char* records = R"([{"h":[
        {"Name":"a","localizedName":"a","BytesIn":1},
        {"Name":"b","localizedName":"b","BytesIn":"1","BytesOut":1},
        {"Name":"c","localizedName":"c","BytesIn":1.5,"BytesOut":1},
        {"Name":7,"localizedName":"d","BytesIn":1,"BytesOut":1},
        {"Name":"e","BytesIn":1,"BytesOut":1},
        {"Name":"f","localizedName":"f","BytesIn":18446744073709551615,"BytesOut":1},
        {"Name":"g","localizedName":"g","BytesIn":-1,"BytesOut":2,"BunldeIdentifier":5}
    ]}, {}])";
    const auto read = NetDataset::fromDayDocument(records);
    ASSERT_EQ(read.size(), 1u) << "an element without members is skipped";
    ASSERT_EQ(read[0]->apps.size(), 1u);
    EXPECT_EQ(read[0]->apps[0].name, "g");
    EXPECT_FALSE(read[0]->apps[0].bundleIdentifier);

    for (const char* broken :
         {R"({"h":[]})", R"([["h"]])", R"([{"h":{}}])", R"([{"h":[1]}])", "[{\"h\":[]}", ""})
        EXPECT_FALSE(NetDataset::readDayDocument(broken)) << broken;
    EXPECT_TRUE(NetDataset::readDayDocument("[]")->empty());
}

TEST(NetAppDatabase, RowsFileModeAndMessages) {
    TempDir dir;
    {
        NetAppDatabase db(url(dir));
        EXPECT_TRUE(db.insertDay("2026-11-23", "first"));
        EXPECT_TRUE(db.insertDay("2026-11-23", "second"));
        EXPECT_TRUE(db.insertDay("2026-11-20", "other"));
        const auto days = db.loadDays({"2026-11-23", "2026-11-24"});
        EXPECT_EQ(days, (std::map<QString, QString>{{"2026-11-23", "second"}}));
        EXPECT_TRUE(db.loadDays({}).empty());
    }
    struct stat st {};
    ASSERT_EQ(::stat(QFile::encodeName(dir.file("net.db")).constData(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    // A second store over the same file sees the rows (the table is created idempotently).
    EXPECT_EQ(NetAppDatabase(url(dir)).loadDays({"2026-11-20"}).size(), 1u);

    ::testing::internal::CaptureStdout();
    NetAppDatabase none(std::nullopt);
    NetAppDatabase unopenable("file:" + dir.file("net.db") + "/not/a/folder/net.db");
    const std::string said = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(said.find("Unable to open database at path: nil\n"), std::string::npos) << said;
    EXPECT_NE(said.find("Failed to create table in database at path: nil\n"), std::string::npos);
    EXPECT_NE(said.find("Unable to open database at path: file:"), std::string::npos);
    EXPECT_FALSE(none.insertDay("2026-11-23", "x"));
    EXPECT_TRUE(unopenable.loadDays({"2026-11-23"}).empty());
}

TEST(NetAppDatabase, DamagedFileIsMovedAsideAndANewOneStarts) {
    TempDir dir;
    dir.write("keep.txt", "other data");
    const QByteArray garbage(8192, 'x');
    dir.write("net.db", garbage);
    ::testing::internal::CaptureStdout();
    NetAppDatabase db(url(dir));
    const std::string said = ::testing::internal::GetCapturedStdout();
    ASSERT_FALSE(db.movedAsidePath().isEmpty()) << said;
    QFile aside(db.movedAsidePath());
    ASSERT_TRUE(aside.open(QIODevice::ReadOnly));
    EXPECT_EQ(aside.readAll(), garbage);
    EXPECT_TRUE(db.insertDay("2026-11-23", "[]"));
    EXPECT_EQ(db.loadDays({"2026-11-23"}).size(), 1u);
    EXPECT_TRUE(QFile::exists(dir.file("keep.txt")));
}

TEST(NetAppDatabaseDeathTest, NullDayOrWantedDocumentIsFatal) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    TempDir dir;
    NetAppDatabase(url(dir)).insertDay("2026-11-23", "[]");
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open(dir.file("net.db").toUtf8().constData(), &raw), SQLITE_OK);
    sqlite3_exec(raw, "INSERT INTO data VALUES ('2026-11-22', NULL, '');", nullptr, nullptr,
                 nullptr);
    sqlite3_close(raw);
    NetAppDatabase db(url(dir));
    EXPECT_EQ(db.loadDays({"2026-11-23"}).size(), 1u) << "a NULL document of another day";
    EXPECT_DEATH(db.loadDays({"2026-11-22"}), "NULL");
    // A NULL day cannot be inserted through the table's NOT NULL; an older table without it can.
    TempDir old;
    ASSERT_EQ(sqlite3_open(old.file("net.db").toUtf8().constData(), &raw), SQLITE_OK);
    sqlite3_exec(raw,
                 "CREATE TABLE data (date TEXT, json TEXT, attributes TEXT);"
                 "INSERT INTO data VALUES (NULL, '[]', '');",
                 nullptr, nullptr, nullptr);
    sqlite3_close(raw);
    NetAppDatabase oldDb(url(old));
    EXPECT_DEATH(oldDb.loadDays({"2026-11-23"}), "NULL");
}

// Seven days of stored data around a live today, over a clock the test moves.
class SnapshotTest : public ::testing::Test {
protected:
    SnapshotTest() {
        // Wednesday 2026-11-25; the en_US week runs Sunday 22 to Saturday 28.
        clock.now = QDateTime(QDate(2026, 11, 25), QTime(12, 0));
        for (int day = 22; day <= 28; ++day) {
            if (day == 25)
                continue;
            const QString date = QStringLiteral("2026-11-%1").arg(day);
            database.insertDay(
                date, document(date + " 10", {app("mail", day * 10, day), app("chat", 1, 0)}));
        }
        NetAppProvider::Environment live;
        live.now = clock.source();
        live.database = &database;
        provider = std::make_unique<NetAppProvider>(live);
        // Today: nine applications of 200 down to 184 bytes, and the bare process curl.
        auto hour = provider->currentDataset();
        for (int i = 0; i < 9; ++i)
            hour->apps.push_back(app(QStringLiteral("app%1").arg(i), 100 - i, 100 - i));
        hour->apps.push_back(NetApp::process("curl", 9));
        hour->apps.back().bytesIn = 5000;
        hour->apps.back().bytesOut = 1;
    }
    std::unique_ptr<DataProvider> makeDataProvider() {
        DataProvider::Environment environment;
        environment.now = clock.source();
        environment.database = &database;
        environment.live = provider.get();
        environment.locale = QLocale(QLocale::English, QLocale::UnitedStates);
        environment.palette = [] { return TintPalette::system(false); };
        return std::make_unique<DataProvider>(environment);
    }

    TempDir dir;
    fixtures::ManualClock clock;
    NetAppDatabase database{url(dir)};
    std::unique_ptr<NetAppProvider> provider;
};

TEST_F(SnapshotTest, WeekOfDaysTotalsTintsAndCaptions) {
    const auto dates = [](QLocale locale) {
        QStringList days;
        for (const QDate& d : weekDates(QDateTime(QDate(2026, 11, 22), QTime(1, 0)), locale))
            days << d.toString("MM-dd");
        return days;
    };
    EXPECT_EQ(dates(QLocale(QLocale::English, QLocale::UnitedStates)).front(), "11-22");
    EXPECT_EQ(dates(QLocale(QLocale::German, QLocale::Germany)).front(), "11-16")
        << "a Sunday belongs to the week that began on Monday";
    EXPECT_EQ(dates(QLocale(QLocale::German, QLocale::Germany)).size(), 7);

    auto data = makeDataProvider();
    const DataSnapshot s = data->buildNow();
    EXPECT_EQ(s.date, "2026-11-25");
    EXPECT_EQ(s.weekdays.front(), "2026-11-22");
    EXPECT_EQ(s.data.size(), 7u);
    EXPECT_EQ(s.dateText, "WED NOV 25");
    EXPECT_EQ(s.weekdaysText, "NOV 22 - NOV 28");

    // Today: nine applications and the "others" line (curl); only the first seven are tinted
    // from the palette, and "others" gets teal wherever it stands.
    const TintPalette palette = TintPalette::system(false);
    ASSERT_EQ(s.apps.size(), 10u);
    EXPECT_EQ(s.apps[0].name, "app0");
    EXPECT_EQ(s.apps[9].name, Language::getLocalizedString("dataUsage.others"));
    EXPECT_EQ(s.apps[9].tintColor, palette.others);
    EXPECT_DOUBLE_EQ(s.apps[0].percentage, 200.0 / 5001) << "others is larger and stays last";
    EXPECT_EQ(s.apps[1].tintColor, palette.colors[1]);
    EXPECT_EQ(s.apps[6].tintColor, palette.colors[6]);
    EXPECT_FALSE(s.apps[7].tintColor);
    EXPECT_FALSE(s.datasets.apps[0].tintColor) << "the cooked set itself stays untinted";
    const int64_t today = 2 * (100 + 99 + 98 + 97 + 96 + 95 + 94 + 93 + 92) + 5000 + 1;
    EXPECT_EQ(s.totalBytes, today);
    ASSERT_EQ(s.others.size(), 1u);

    // The week: "mail" moved 11 bytes per day of the month; "chat" only ever received, so it
    // is in no list and no total; today is the busiest day.
    EXPECT_EQ(s.weekTotalBytes, 11 * (22 + 23 + 24 + 26 + 27 + 28) + today);
    EXPECT_EQ(s.weekMaxBytes, today);
    for (const auto& [day, cooked] : s.data)
        for (const NetApp& a : cooked.apps)
            EXPECT_NE(a.name, "chat") << day.toStdString();
    const auto mail = std::find_if(s.weekApps.begin(), s.weekApps.end(),
                                   [](const NetApp& a) { return a.name == "mail"; });
    ASSERT_NE(mail, s.weekApps.end());
    EXPECT_EQ(mail->bytesIn, (22 + 23 + 24 + 26 + 27 + 28) * 10);
}

TEST_F(SnapshotTest, UnreadableDaysAreLeftOutAndAnEmptyWeekStillHasToday) {
    database.insertDay("2026-11-23", R"({"2026-11-23 10":[]})");
    database.insertDay("2026-11-24", "[]");
    const DataSnapshot s = makeDataProvider()->buildNow();
    EXPECT_FALSE(s.data.contains("2026-11-23"));
    EXPECT_TRUE(s.data.contains("2026-11-24") && s.data.at("2026-11-24").apps.empty());

    // A fresh installation: nothing stored, nothing live yet.
    TempDir fresh;
    NetAppDatabase empty(url(fresh));
    NetAppProvider::Environment none;
    none.now = clock.source();
    NetAppProvider idle(none);
    const TintPalette palette = TintPalette::system(true);
    const DataSnapshot first =
        buildSnapshot("2026-11-25", {"2026-11-22"}, std::map<QString, QString>{},
                      LiveDay{idle.date(), idle.copyDatasets()}, std::nullopt, palette);
    EXPECT_EQ(first.data.size(), 1u);
    EXPECT_TRUE(first.apps.empty() && first.weekApps.empty());
    EXPECT_EQ(first.weekMaxBytes, 0);
    // Inside an extension there is no live day: today comes only from a stored document.
    EXPECT_TRUE(buildSnapshot("2026-11-25", {}, std::map<QString, QString>{}, std::nullopt,
                              std::nullopt, palette)
                    .data.empty());
}

TEST_F(SnapshotTest, CachedForAMinuteAndReloadedOnANewDay) {
    auto data = makeDataProvider();
    std::optional<DataSnapshot> got;
    data->loadSnapshot([&](const DataSnapshot& s) { got = s; });
    EXPECT_FALSE(got) << "the first build runs on the worker";
    ASSERT_TRUE(waitUntil([&] { return got.has_value(); }));
    const double built = data->lastLoadedTime();
    EXPECT_EQ(built, double(clock.now.toSecsSinceEpoch()));

    got.reset();
    clock.now = clock.now.addSecs(10);
    data->loadSnapshot([&](const DataSnapshot& s) { got = s; });
    EXPECT_TRUE(got) << "answered at once from the cache";
    EXPECT_EQ(data->lastLoadedTime(), built);

    // A row rewritten now is seen only after the day changed (the week is read once a day).
    const auto hasLate = [](const DataSnapshot& s) {
        const auto& apps = s.data.at("2026-11-26").apps;
        return std::any_of(apps.begin(), apps.end(),
                           [](const NetApp& a) { return a.name == "late"; });
    };
    database.insertDay("2026-11-26", document("2026-11-26 08", {app("late", 7, 7)}));
    got.reset();
    clock.now = clock.now.addSecs(70);
    data->loadSnapshot([&](const DataSnapshot& s) { got = s; });
    ASSERT_TRUE(waitUntil([&] { return got.has_value(); }));
    EXPECT_GT(data->lastLoadedTime(), built);
    EXPECT_FALSE(hasLate(*got));

    got.reset();
    clock.now = QDateTime(QDate(2026, 11, 26), QTime(0, 0, 1));
    data->reloadWeekIfNeeded();
    EXPECT_FALSE(data->dataSnapshot()) << "a new day drops the snapshot";
    data->loadSnapshot([&](const DataSnapshot& s) { got = s; });
    ASSERT_TRUE(waitUntil([&] { return got.has_value(); }));
    EXPECT_TRUE(hasLate(*got));
    data->waitForBuild();
}

} // namespace
