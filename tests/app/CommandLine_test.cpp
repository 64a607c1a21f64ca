// The command-line dispatcher's parser: modes, options and the mistakes it refuses.
#include "app/CommandLine.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

CommandLine parse(const std::vector<const char*>& words) {
    QStringList args;
    for (const char* w : words)
        args << QString::fromUtf8(w);
    return CommandLine::parse(args);
}

TEST(CommandLineParse, ModesAndTheirOptions) {
    EXPECT_EQ(parse({}).mode, CommandLine::Mode::App);
    EXPECT_EQ(parse({"--monitor", "-h"}).mode, CommandLine::Mode::Help);

    const auto m = parse({"--json", "--monitor", "--ticks", "5"});
    ASSERT_TRUE(m.ok());
    EXPECT_EQ(m.mode, CommandLine::Mode::Monitor);
    EXPECT_TRUE(m.json);
    EXPECT_EQ(m.ticks, 5);

    // --ticks and --json alone imply the monitor.
    EXPECT_EQ(parse({"--ticks", "0"}).mode, CommandLine::Mode::Monitor);
    EXPECT_EQ(parse({"--json"}).mode, CommandLine::Mode::Monitor);
    EXPECT_EQ(parse({"--monitor"}).ticks, 0);
}

TEST(CommandLineParse, SetCollectsEveryAssignmentInOrder) {
    const auto c =
        parse({"--set", "app.netMenu.boxType=7", "--set=WantsBlurBackground=", "--set", "x=a=b"});
    ASSERT_TRUE(c.ok()) << qPrintable(c.error);
    EXPECT_EQ(c.mode, CommandLine::Mode::Set);
    const QStringList expected = {"app.netMenu.boxType=7", "WantsBlurBackground=", "x=a=b"};
    EXPECT_EQ(c.assignments, expected);
}

// --usage and --battery run end to end in the network and power script tests.
TEST(CommandLineParse, SubcommandsKeepTheirOwnArguments) {
    const auto r = parse({"--render-styles", "out", "--dark", "--sent", "12"});
    EXPECT_EQ(r.mode, CommandLine::Mode::RenderStyles);
    EXPECT_EQ(r.rest, (QStringList{"out", "--dark", "--sent", "12"}));
    EXPECT_TRUE(parse({"--usage"}).rest.isEmpty());
}

TEST(CommandLineParse, RefusesWhatMakesNoSense) {
    for (const auto& words : std::vector<std::vector<const char*>>{
             {"--ticks"},
             {"--ticks", "-1"},
             {"--monitor", "--bogus"},
             {"--set"},
             {"--set", "novalue"},
             {"--set", "=7"},
             {"--set", "a=1", "--monitor"},
             {"--battery", "extra"},
             {"stray"},
         }) {
        const auto c = parse(words);
        EXPECT_FALSE(c.ok()) << words.front();
        EXPECT_EQ(c.mode, CommandLine::Mode::App);
    }
}

} // namespace
