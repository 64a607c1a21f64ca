// Parsing the traffic tool's chunks and attributing them to applications, hour by hour.
#include "AppUsageFixtures.h"

#include "appusage/NetAppDatabase.h"
#include "appusage/NetAppProvider.h"
#include "settings/Language.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <QUrl>

namespace {

const NetApp* entry(const NetDataset& set, const QString& name, std::optional<int32_t> pid = {}) {
    for (const NetApp& app : set.apps)
        if (app.name == name && (!pid || app.pid == pid))
            return &app;
    return nullptr;
}

int64_t totalBytes(const NetAppProvider& provider) {
    int64_t total = 0;
    for (const auto& set : provider.datasets())
        for (const NetApp& app : set->apps)
            total += app.totalBytes();
    return total;
}

class ProviderTest : public ::testing::Test {
protected:
    std::unique_ptr<NetAppProvider> make() {
        NetAppProvider::Environment environment;
        environment.now = clock.source();
        environment.processes = fixtures::processTable();
        environment.database = &database;
        environment.standard = &standard;
        environment.group = &group;
        environment.reloadWidget = [this] { ++reloads; };
        environment.isTracking = [this] { return tracking; };
        return std::make_unique<NetAppProvider>(environment);
    }
    // Starts following applications and feeds every recorded chunk, as after a start.
    void feedRecording(NetAppProvider& provider) {
        provider.startTracking();
        for (const QString& chunk : fixtures::chunks())
            provider.receiveOutput(chunk);
    }

    TempDir dir;
    fixtures::ManualClock clock;
    NetAppDatabase database{QUrl::fromLocalFile(dir.file("net.db")).toString()};
    SettingsDomain standard{dir.file("settings.json")};
    SettingsDomain group{dir.file("group.json")};
    bool tracking = true;
    int reloads = 0;
};

// The recording: a first chunk of totals (dropped), a sample with children, grandchildren,
// dotted and broken lines, a header-only chunk, and a line cut between two chunks.
TEST_F(ProviderTest,
       RecordedChunksAreAttributedToApplicationsThroughTheirParentsAndEmptyOnesAddNothing) {
    auto provider = make();
    provider->startTracking();
    const QStringList chunks = fixtures::chunks();
    provider->receiveOutput(chunks.front());
    EXPECT_EQ(totalBytes(*provider), 0) << "the first chunk after a start carries totals";
    for (const QString& chunk : chunks.mid(1))
        provider->receiveOutput(chunk);

    ASSERT_EQ(provider->datasets().size(), 1u);
    const NetDataset& hour = *provider->datasets().front();
    EXPECT_EQ(hour.date, "2026-11-23 16");
    // Firefox 500 with its child 501 and grandchild 502 (whose name holds ") "), and the head of
    // the line cut between chunks 4 and 5 (40 in, 4 out).
    const NetApp* firefox = entry(hour, "Firefox ESR");
    ASSERT_TRUE(firefox);
    EXPECT_EQ(firefox->bytesIn, 1000 + 3000 + 50 + 40);
    EXPECT_EQ(firefox->bytesOut, 200 + 400 + 5 + 4);
    EXPECT_EQ(firefox->localizedName, "Firefox ESR Webbrowser");
    // The helper 601 counts for the editor 600 that started it; "org.example.Chat.800" is the
    // process 800 named "org", which is the chat application.
    EXPECT_EQ(entry(hour, "Text Editor")->bytesIn, 70);
    EXPECT_EQ(entry(hour, "Chat")->bytesOut, 20);
    EXPECT_FALSE(entry(hour, "org"));
    // curl 900 has only bare ancestors (bash, the shell), so it is its own entry; a second
    // curl (902) is another entry; "bytes.901,many,7" counts 0 in and 7 out.
    EXPECT_EQ(entry(hour, "curl", 900)->bytesIn, 500 + 100 + 1);
    EXPECT_EQ(entry(hour, "curl", 902)->bytesIn, 5);
    EXPECT_EQ(entry(hour, "bytes", 901)->bytesOut, 7);
    // "short.line.3" has too few fields, "nopid.x" no process number; the header inside
    // chunk 5 has no process number either.
    for (const char* name : {"short", "nopid", "time", ""})
        EXPECT_FALSE(entry(hour, name)) << name;

    // Cooked: one-directional apps (editor: only in; Thunderbird: only out; Spotify: none) are
    // left out; the processes make the "others" line, which stays last though larger.
    const std::vector<NetApp> cooked = hour.cookedApps();
    const QString others = Language::getLocalizedString("dataUsage.others");
    ASSERT_EQ(cooked.size(), 3u);
    EXPECT_EQ(cooked[0].name, "Firefox ESR");
    EXPECT_EQ(cooked[1].name, "Chat");
    EXPECT_EQ(cooked[2].name, others);
    EXPECT_EQ(cooked[2].bytesIn, 601 + 5 + 0);
    EXPECT_EQ(cooked[2].bytesOut, 71 + 5 + 7);
    EXPECT_EQ(cooked[2].pid, 0);
    EXPECT_DOUBLE_EQ(cooked[0].percentage, 1.0);
    EXPECT_DOUBLE_EQ(cooked[1].percentage, 30.0 / firefox->totalBytes());
    // Others: the first curl only (the second of the name is dropped, not added), then
    // the one-way "bytes".
    const std::vector<NetApp> processes = hour.otherProcesses();
    ASSERT_EQ(processes.size(), 2u);
    EXPECT_EQ(processes[0].pid, 900);
    EXPECT_EQ(processes[1].name, "bytes");
    EXPECT_DOUBLE_EQ(processes[1].percentage, 7.0 / (601 + 71));

    // Chunks that carry nothing countable add nothing; a new start drops its first chunk again.
    const int64_t counted = totalBytes(*provider);
    for (const char* chunk : {"", "\n", "time,,bytes_in,bytes_out,\n",
                              "16:00:01,curl.900,5,5,",  // a line where the header belongs
                              "h\n16:00:01,curl,5,5,\n", // no process number
                              "h\n16:00:01,curl.900,5\n", "h\n,,,\n"})
        provider->receiveOutput(QString::fromUtf8(chunk));
    EXPECT_EQ(totalBytes(*provider), counted);
    provider->startTracking();
    provider->receiveOutput("h\n16:00:01,curl.900,5,5,\n");
    EXPECT_EQ(totalBytes(*provider), counted);
    provider->receiveOutput("h\n16:00:01,curl.900,5,5,\n");
    EXPECT_EQ(totalBytes(*provider), counted + 10);
}

// Stores: every 600 seconds or when forced, only while the tool runs; the widget payload
// follows each store. A new day stores the old one first; a restart within the day goes on
// with the stored hours.
TEST_F(ProviderTest, StoresRolloverAndRestartWithinTheDay) {
    auto provider = make();
    feedRecording(*provider);
    const auto stored = [this](const QString& day) {
        const auto days = database.loadDays({day});
        return days.contains(day) ? NetDataset::fromDayDocument(days.at(day).toUtf8())
                                  : std::vector<NetDatasetPtr>{};
    };
    clock.now = clock.now.addSecs(600);
    provider->storeAppDataUsageIfNeedWithForce(false);
    EXPECT_TRUE(stored("2026-11-23").empty()) << "600 seconds are not more than 600";
    clock.now = clock.now.addSecs(1);
    provider->storeAppDataUsageIfNeedWithForce(false);
    EXPECT_EQ(stored("2026-11-23").size(), 1u);
    const auto payload = group.value(NetAppProvider::kWidgetDataKey);
    ASSERT_TRUE(payload && payload->is_object());
    EXPECT_EQ((*payload)["date"], "2026-11-23");
    EXPECT_EQ((*payload)["updateTime"], "16:10");
    EXPECT_EQ(QByteArray::fromStdString((*payload)["json"].get<std::string>()),
              NetDataset::dayDocument(provider->datasets()));
    EXPECT_GT(reloads, 0);

    // Not running: even a forced store writes nothing.
    tracking = false;
    provider->receiveOutput("h\n16:20:00,curl.900,1000,1000,\n");
    provider->storeAppDataUsageIfNeedWithForce(true);
    EXPECT_EQ(entry(*stored("2026-11-23").front(), "curl", {})->bytesIn, 601);
    tracking = true;

    // A restart: stored entries have no process number; applications get theirs back at
    // the next sync, bare processes come back as new entries beside the stored ones.
    provider->storeAppTrackingDataIfCan();
    provider.reset();
    provider = make();
    ASSERT_EQ(provider->datasets().size(), 1u);
    EXPECT_FALSE(entry(*provider->datasets().front(), "Firefox ESR")->pid);
    provider->startTracking();
    provider->receiveOutput("dropped");
    provider->receiveOutput("h\n16:30:00,firefox-esr.500,1,1,\n16:30:00,curl.900,1,1,\n");
    const NetDataset& hour = *provider->datasets().front();
    EXPECT_EQ(entry(hour, "Firefox ESR")->bytesIn, 4090 + 1);
    EXPECT_EQ(entry(hour, "curl", 900)->bytesIn, 1);
    EXPECT_EQ(entry(hour, "curl", {})->bytesIn, 601 + 1000) << "the stored curl is kept apart";

    // Midnight with the tool running: the finished day is stored before the new one starts.
    clock.now = QDateTime(QDate(2026, 11, 24), QTime(0, 0, 5));
    provider->receiveOutput("h\n00:00:05,curl.900,3,3,\n");
    EXPECT_EQ(provider->date(), "2026-11-24");
    ASSERT_EQ(provider->datasets().size(), 1u);
    EXPECT_EQ(provider->datasets().front()->date, "2026-11-24 00");
    EXPECT_EQ(entry(*stored("2026-11-23").front(), "curl", {})->bytesIn, 601 + 1000);
    EXPECT_EQ(entry(*stored("2026-11-23").front(), "Firefox ESR")->bytesIn, 4090 + 1);
}

// Names decide where a process belongs when its parents do not.
TEST(NetDatasetGuess, StoreAgentAndNamePrefixes) {
    NetDataset set("2026-11-23 10");
    set.syncRunningApplications({{"org.store", "App Store", "App Store", "", 10},
                                 {"org.mozilla.thunderbird", "Thunderbird", "Thunderbird", "", 11},
                                 {"nameless", "", "", "", 12}});
    ASSERT_EQ(set.apps.size(), 2u) << "an application without a name gets no entry";
    const std::pair<const char*, std::optional<QString>> cases[] = {
        {"AppStoreAgent", QString("org.store")},
        {"thunderbird-bin", QString("org.mozilla.thunderbird")},
        {"THUNDER", std::nullopt},
        {"curl", std::nullopt}};
    for (const auto& [name, expected] : cases)
        EXPECT_EQ(set.guessBundleIdentifier(NetApp::process(name, 99)), expected) << name;

    // A process that belongs by name goes into its application's figures, not "others".
    set.addBytes("thunderbird-bin", 40, 5, 6, {});
    set.addBytes("Thunderbird", 11, 1, 1, {});
    const auto cooked = set.cookedApps();
    ASSERT_EQ(cooked.size(), 1u);
    EXPECT_EQ(cooked[0].bytesIn, 6);
    EXPECT_TRUE(set.otherProcesses().empty());
    // A sync again updates the process number instead of adding an entry.
    set.syncRunningApplications({{"org.store", "App Store", "App Store", "", 77}});
    EXPECT_EQ(set.apps[0].pid, 77);
    EXPECT_EQ(set.apps.size(), 3u);
}

} // namespace
