// The command line: the parser's modes and options, and the real program's answers to bad
// arguments. Damaged stored files are tests/settings/settings_store_test.
#include "app/CommandLine.h"
#include "support/TempDir.h"

#include <QProcess>

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <memory>

namespace {

using Mode = CommandLine::Mode;

CommandLine parse(const char* line) {
    return CommandLine::parse(QString::fromUtf8(line).split(' ', Qt::SkipEmptyParts));
}

// Modes (--ticks and --json alone imply the monitor; -h wins), and what makes no sense.
TEST(CommandLineParse, ModesAssignmentsAndRefusals) {
    const std::pair<const char*, Mode> modes[] = {
        {"", Mode::App},
        {"--monitor -h", Mode::Help},
        {"--json", Mode::Monitor},
        {"--ticks 0", Mode::Monitor},
        {"--render-styles out --sent 12", Mode::RenderStyles},
        {"--apps --json week", Mode::Apps}};
    for (const auto& [line, mode] : modes)
        EXPECT_EQ(parse(line).mode, mode) << line;
    const auto m = parse("--json --monitor --ticks 5");
    EXPECT_TRUE(m.ok() && m.mode == Mode::Monitor && m.json && m.ticks == 5);
    EXPECT_TRUE(parse("--show").showPanel && parse("--show").mode == Mode::App);
    EXPECT_TRUE(parse("--settings").showSettings && parse("--settings").mode == Mode::App);
    const auto w = parse("--waybar --format {up}");
    EXPECT_TRUE(w.mode == Mode::Monitor && w.waybar && w.format == "{up}");
    const auto a = parse("--apps --json week");
    EXPECT_TRUE(a.json && a.period == "week");
    EXPECT_EQ(parse("--apps").period, "today");
    const auto s = parse("--set a=7 --set=b= --set x=a=b");
    EXPECT_EQ(s.mode, Mode::Set);
    EXPECT_EQ(s.assignments, (QStringList{"a=7", "b=", "x=a=b"}));
    for (const char* line :
         {"--ticks", "--ticks -1", "--monitor --bogus", "--set", "--set novalue", "--set =7",
          "--set a=1 --monitor", "--battery extra", "--show --monitor", "--settings --show",
          "--json --waybar", "--format {bogus}", "--format", "stray", "--apps month",
          "--apps today week"}) {
        const auto c = parse(line);
        EXPECT_FALSE(c.ok()) << line;
        EXPECT_EQ(c.mode, Mode::App) << line;
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
    const std::pair<QString, const char*> cases[] = {
        {"--ticks 99999999999999999999", "--ticks 99999999999999999999 is out of range"},
        {"--ticks soon", "--ticks needs a whole number"},
        {"--monitor --bogus", "unknown option --bogus"},
        {"--render-styles " + config.path() + " --sent 18446744073709551615",
         "--sent 18446744073709551615 is out of range"},
        {"--usage week", "unknown usage range week"},
        {"--apps week --ticks 3", "--apps: unknown argument --ticks"},
        {"--set WantsAutoLogin=true --set app.netMenu.boxType=2.5",
         "app.netMenu.boxType takes a whole number from 0 to 9, not 2.5"}};
    for (const auto& [line, said] : cases) {
        const Result r = run(line.split(' '));
        EXPECT_EQ(r.code, 2) << qPrintable(line);
        EXPECT_TRUE(r.err.startsWith("lumenstat: ") && r.err.count('\n') == 1 &&
                    r.err.contains(QString::fromUtf8(said)))
            << qPrintable(r.err);
    }
    EXPECT_TRUE(stored("settings.json").is_null()) << "a refused --set writes nothing";
}

} // namespace
