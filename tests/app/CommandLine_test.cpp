// The command line: the parser's modes and options, and the real program's answers to bad
// arguments and to `--set` (the key table's checks and ranges, hostile files, parallel writers).
#include "app/CommandLine.h"
#include "support/TempDir.h"

#include <QProcess>

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include <sys/stat.h>

namespace {

using Mode = CommandLine::Mode;

CommandLine parse(const std::vector<const char*>& words) {
    QStringList args;
    for (const char* w : words)
        args << QString::fromUtf8(w);
    return CommandLine::parse(args);
}

TEST(CommandLineParse, ModesOptionsAndTheWordsTheyKeep) {
    EXPECT_EQ(parse({}).mode, Mode::App);
    EXPECT_EQ(parse({"--monitor", "-h"}).mode, Mode::Help);
    const auto m = parse({"--json", "--monitor", "--ticks", "5"});
    EXPECT_TRUE(m.ok() && m.mode == Mode::Monitor && m.json && m.ticks == 5);
    EXPECT_EQ(parse({"--ticks", "0"}).mode, Mode::Monitor); // --ticks and --json imply it
    EXPECT_EQ(parse({"--json"}).mode, Mode::Monitor);

    const auto s =
        parse({"--set", "app.netMenu.boxType=7", "--set=WantsBlurBackground=", "--set", "x=a=b"});
    EXPECT_EQ(s.mode, Mode::Set) << qPrintable(s.error);
    EXPECT_EQ(s.assignments,
              (QStringList{"app.netMenu.boxType=7", "WantsBlurBackground=", "x=a=b"}));
    const auto r = parse({"--render-styles", "out", "--dark", "--sent", "12"});
    EXPECT_EQ(r.mode, Mode::RenderStyles);
    EXPECT_EQ(r.rest, (QStringList{"out", "--dark", "--sent", "12"}));
}

TEST(CommandLineParse, RefusesWhatMakesNoSense) {
    for (const auto& words : std::vector<std::vector<const char*>>{{"--ticks"},
                                                                   {"--ticks", "-1"},
                                                                   {"--monitor", "--bogus"},
                                                                   {"--set"},
                                                                   {"--set", "novalue"},
                                                                   {"--set", "=7"},
                                                                   {"--set", "a=1", "--monitor"},
                                                                   {"--battery", "extra"},
                                                                   {"stray"}}) {
        const auto c = parse(words);
        EXPECT_FALSE(c.ok()) << words.back();
        EXPECT_EQ(c.mode, Mode::App);
    }
}

// The real program, with a private configuration folder and no session bus, so `--set`
// writes the files itself.
class LumenstatBinary : public ::testing::Test {
protected:
    std::unique_ptr<QProcess> start(const QStringList& args) const {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("XDG_CONFIG_HOME", config.path());
        env.insert("XDG_DATA_HOME", config.file("data"));
        env.insert("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + config.file("no-bus"));
        env.insert("LSAN_OPTIONS", "suppressions=" LUMENSTAT_SOURCE_DIR "/tests/lsan.supp");
        env.remove("DISPLAY");
        env.remove("WAYLAND_DISPLAY");
        auto p = std::make_unique<QProcess>();
        p->setProcessEnvironment(env);
        p->start(LUMENSTAT_BINARY, args);
        return p;
    }
    struct Result {
        int code;
        QString out, err;
    };
    Result run(const QStringList& args) const {
        auto p = start(args);
        p->waitForFinished(60'000);
        return {p->exitCode(), QString::fromUtf8(p->readAllStandardOutput()),
                QString::fromUtf8(p->readAllStandardError())};
    }
    nlohmann::json stored(const char* file) const {
        QFile f(config.file(QStringLiteral("lumenstat/") + file));
        if (!f.open(QIODevice::ReadOnly))
            return nullptr;
        return nlohmann::json::parse(f.readAll().toStdString(), nullptr, false);
    }
    TempDir config;
};

TEST_F(LumenstatBinary, BadArgumentsGiveOneLineAndExitStatus2) {
    const std::vector<std::pair<QStringList, const char*>> cases = {
        {{"--ticks", "99999999999999999999"}, "--ticks 99999999999999999999 is out of range"},
        {{"--ticks", "soon"}, "--ticks needs a whole number"},
        {{"--monitor", "--bogus"}, "unknown option --bogus"},
        {{"--render-styles", config.path(), "--sent", "18446744073709551615"},
         "--sent 18446744073709551615 is out of range"},
        {{"--usage", "week"}, "unknown usage range week"},
        {{"--set", "NoSuchKey=1"}, "unknown settings key \"NoSuchKey\""},
        {{"--set", "AccentColorIndex=blue"}, "AccentColorIndex takes a whole number from 0 to 6"},
        {{"--set", "WantsBlurBackground=1"}, "WantsBlurBackground takes true or false, not 1"},
        {{"--set", "app.menuBar.trayRendering=\"round\""}, "takes one of auto, wide, square"},
        {{"--set", "kNetActivitiesWiFiDataKey=[1,-2]"}, "a list of two whole numbers"},
        {{"--set", "WantsAutoLogin=true", "--set", "app.netMenu.boxType=2.5"},
         "app.netMenu.boxType takes a whole number from 0 to 9, not 2.5"},
    };
    for (const auto& [args, said] : cases) {
        const Result r = run(args);
        EXPECT_EQ(r.code, 2) << qPrintable(args.join(' '));
        EXPECT_TRUE(r.err.startsWith("lumenstat: ") && r.err.count('\n') == 1 &&
                    r.err.contains(QString::fromUtf8(said)))
            << qPrintable(r.err);
    }
    EXPECT_TRUE(stored("settings.json").is_null()) << "a refused --set writes nothing";
}

// A FIFO in place of settings.json and a document nested 100,000 levels deep as group.json
// neither block nor crash the program: both are moved aside, said once each, and the values,
// brought into their key's range, land in fresh files.
TEST_F(LumenstatBinary, SetClampsIntoTheKeysRangeAndMovesHostileFilesAside) {
    QDir().mkpath(config.file("lumenstat"));
    ASSERT_EQ(::mkfifo(qPrintable(config.file("lumenstat/settings.json")), 0600), 0);
    config.write("lumenstat/group.json",
                 "{\"a\":" + QByteArray(100'000, '[') + QByteArray(100'000, ']') + "}");
    const Result r = run(
        {"--set", "app.netMenu.boxType=12", "--set", "app.settings.floatWindowBackgroundAlpha=0.1",
         "--set", "MenuBoxPreferredWidth=5", "--set", "app.settings.floatWindowMode=-4", "--set",
         "LastReloadWidgetsTime=7", "--set", "StorageReference=1", "--set", "AccentColorIndex=99",
         "--set", "DataUsageTimeRange=1", "--set", "app.count.appReviewRequest=42"});
    ASSERT_EQ(r.code, 0) << qPrintable(r.err);
    EXPECT_TRUE(r.out.contains("no running instance")) << qPrintable(r.out);
    EXPECT_EQ(r.err.count("settings.json is damaged (not a regular file): moved it aside"), 1)
        << qPrintable(r.err);
    EXPECT_EQ(r.err.count("group.json is damaged (nested more than"), 1) << qPrintable(r.err);
    const auto settings = stored("settings.json");
    const auto group = stored("group.json");
    EXPECT_EQ(settings["app.netMenu.boxType"], 9);
    EXPECT_EQ(settings["app.settings.floatWindowBackgroundAlpha"], 0.4);
    EXPECT_EQ(settings["MenuBoxPreferredWidth"], 0);
    EXPECT_EQ(settings["app.count.appReviewRequest"], 42);
    EXPECT_EQ(settings["app.settings.floatWindowMode"], 0);
    EXPECT_TRUE(settings["LastReloadWidgetsTime"].is_number_float());
    EXPECT_EQ(group["StorageReference"], 2);
    EXPECT_EQ(group["AccentColorIndex"], 6);
    EXPECT_EQ(group["DataUsageTimeRange"], 1);
}

TEST_F(LumenstatBinary, ParallelSetProcessesKeepEveryKey) {
    const char* keys[] = {"WantsAutoLogin",
                          "WantsPopupAnimation",
                          "WantsBlurBackground",
                          "ShowsHomepageStorageUsage",
                          "ShowsHomepageBatteryUsage",
                          "WantsBatteryStatusInMenuBar",
                          "WantsCPUUsageInMenuBar",
                          "app.settings.wantsFloatWindow"};
    std::vector<std::unique_ptr<QProcess>> running;
    for (const char* key : keys)
        running.push_back(start({"--set", QString::fromLatin1(key) + "=true"}));
    for (auto& p : running) {
        ASSERT_TRUE(p->waitForFinished(60'000));
        EXPECT_EQ(p->exitCode(), 0) << p->readAllStandardError().constData();
    }
    const auto settings = stored("settings.json");
    for (const char* key : keys)
        EXPECT_EQ(settings.value(key, false), true) << key;
}

} // namespace
