#include "app/MonitorPrinter.h"
#include "platform/linux/ProcStatReader.h"
#include "system/CPUReader.h"

#include "support/TempDir.h"

#include <QFile>

#include <gtest/gtest.h>

#include <deque>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

namespace {

using C = CpuLoadCounters; // user, system, idle, nice
using Rates = std::vector<QString>;

// Hands out queued counter readings; an empty optional stands for an unreadable source.
struct QueuedCounters : CpuLoadSource {
    std::deque<std::optional<C>> queue;
    std::optional<C> read() override {
        const std::optional<C> next = queue.empty() ? std::nullopt : queue.front();
        if (!queue.empty())
            queue.pop_front();
        return next;
    }
};

class CPUReaderTest : public ::testing::Test {
protected:
    // Feeds the readings one after the other and returns the rates shown after each.
    Rates rates(std::initializer_list<std::optional<C>> readings) {
        Rates out;
        for (const auto& r : readings) {
            source->queue.push_back(r);
            reader.reload();
            out.push_back(reader.cpuRate());
        }
        return out;
    }

    std::shared_ptr<QueuedCounters> source = std::make_shared<QueuedCounters>();
    CPUReader reader{source};
};

} // namespace

TEST_F(CPUReaderTest, LoadIsBusyShareOfElapsedTicksRoundedHalfAwayFromZero) {
    // Since boot 50; then 1 of 3; 1 of 2; 1 of 8 (12.5 -> 13); 1 of 200 (0.5 -> 1); all
    // busy; no time at all (0, not "--").
    EXPECT_EQ(rates({C{30, 20, 50}, C{31, 20, 52}, C{32, 20, 53}, C{33, 20, 60}, C{33, 21, 259},
                     C{40, 24, 259}, C{40, 24, 259}}),
              (Rates{"50", "33", "50", "13", "1", "100", "0"}));
    // Zero readings are left out of the average, which truncates: (50+33+50+13+1+100) / 6.
    EXPECT_EQ(reader.avg().value_or("absent"), "41");

    // The history keeps the latest sixty: reading k has busy k, idle 100 - k.
    uint64_t user = 40, idle = 259;
    for (int k = 1; k <= 60; ++k)
        rates({C{user += k, 24, idle += 100 - k}});
    ASSERT_EQ(reader.numbers().size(), 60u);
    EXPECT_EQ(reader.numbers().front(), 1);
    EXPECT_EQ(reader.numbers().back(), 60);
}

TEST_F(CPUReaderTest, CountersThatMakeNoSenseGiveNoRate) {
    // 64-bit counters kept as 32 bits wrap between these readings and still differ right.
    EXPECT_EQ(
        rates({C{0xFFFFFFF0ull, 7, 0xFFFFFFF0ull}, C{0x100000010ull, 7, 0x100000010ull}}).back(),
        "50");
    reader = CPUReader(source);
    // User time going backwards (the 32-bit differences alone would show 100 %), then idle
    // time going backwards (they would show 0 %), an unreadable source, normal counting.
    EXPECT_EQ(
        rates({C{1000, 0, 1000}, C{950, 0, 1010}, C{960, 0, 900}, std::nullopt, C{970, 0, 910}}),
        (Rates{"50", "--", "--", "--", "50"}));
    EXPECT_EQ(reader.numbers(), (std::vector<int>{50, 50}));
}

TEST(ProcStatReaderTest, AggregateLineOnly) {
    QFile fixture(LUMENSTAT_FIXTURES_DIR "/proc/stat");
    ASSERT_TRUE(fixture.open(QIODevice::ReadOnly));
    const auto c = ProcStatReader::parse(fixture.readAll().toStdString());
    ASSERT_TRUE(c.has_value());
    EXPECT_EQ(std::make_tuple(c->user, c->nice, c->system, c->idle),
              std::make_tuple(4705u, 150u, 1120u, 16250u));
    for (const char* bad :
         {"cpu0 1 2 3 4\ncpu1 1 2 3 4\n", "cpu 1 2 3\n", "cpu 1 2 x 4\n", "cpu 1 2x 3 4\n",
          "cpu 1 -2 3 4\n", "cpu 1 99999999999999999999 3 4\n", "cpu\n", ""})
        EXPECT_FALSE(ProcStatReader::parse(bad).has_value()) << bad;
    // Counters beyond 32 bits are read whole, after other lines and with tabs.
    EXPECT_EQ(ProcStatReader::parse("intr 5\ncpu\t4294967300 0 0 1")->user, 4294967300ull);
}

TEST(ProcStatReaderTest, ReadsOnlyTheStartOfARegularFile) {
    TempDir root;
    const QString stat = root.file("stat");
    CPUReader reader(std::make_shared<ProcStatReader>(root.path()));
    // Each step leaves something in place of the file and gives the rate shown after it.
    const std::pair<std::function<void()>, const char*> steps[] = {
        {[&] { root.write("stat", "cpu  600 10 200 1200 0 0 0 0 0 0\n"); }, "40"},
        // A FIFO nobody writes to and an endless device are refused at once.
        {[&] { ASSERT_EQ(::mkfifo(QFile::encodeName(stat).constData(), 0600), 0); }, "--"},
        {[&] { ASSERT_TRUE(QFile::link("/dev/zero", stat)); }, "--"},
        {[] {}, "--"},
        // A long file is read no further than its first line...
        {[&] { root.write("stat", "cpu  675 99 200 1225\n" + QByteArray(1 << 16, 'x')); }, "75"},
        // ...and a line that does not start within the cap is no line.
        {[&] {
             root.write("stat", QByteArray(ProcStatReader::kReadLimit, ' ') + "\ncpu 1 1 1 1\n");
         },
         "--"},
        // A number cut by the end of the file is still whole.
        {[&] { root.write("stat", "cpu  700 10 225 1275"); }, "50"},
    };
    for (const auto& [make, rate] : steps) {
        QFile::remove(stat);
        make();
        reader.reload();
        EXPECT_EQ(reader.cpuRate(), rate) << rate;
    }
}

TEST(MonitorCpuLoad, LinesCarryTheLoadTheReaderGives) {
    ActivityObject r;
    EXPECT_FALSE(MonitorPrinter::textLine(r).contains("cpu"));
    EXPECT_TRUE(MonitorPrinter::textLine(r, "7").contains("  cpu 7%"));
    EXPECT_TRUE(MonitorPrinter::textLine(r, "").contains("  cpu --"));
    EXPECT_TRUE(nlohmann::json::parse(MonitorPrinter::jsonLine(r, "").toStdString())
                    .at("cpuRate")
                    .is_null());

    // Every line reloads the reader: 3 busy and 1 idle tick per reading is a load of 75.
    auto source = std::make_shared<QueuedCounters>();
    source->queue = {C{3, 0, 1}, C{6, 0, 2}};
    CPUReader reader(source);
    reader.reload();
    std::FILE* out = std::tmpfile();
    MonitorOptions options;
    options.json = true;
    MonitorPrinter printer(options, out);
    printer.setCpuRateSource([&reader] {
        reader.reload();
        return reader.cpuRate();
    });
    printer.networkActivityDidUpdate(std::make_shared<ActivityObject>(r));
    std::rewind(out);
    char line[4096];
    ASSERT_TRUE(std::fgets(line, sizeof line, out));
    std::fclose(out);
    EXPECT_EQ(nlohmann::json::parse(line).at("cpuRate"), "75");
}

TEST(MonitorCpuLoad, RunningPrinterLinesMatchOneOffLinesAsValuesChangeAndReturn) {
    // The running printer keeps the texts of the last tick; each line must still be the
    // one a fresh printer gives for the same record.
    std::vector<std::pair<ActivityObject, std::optional<QString>>> ticks;
    ActivityObject r;
    r.time = "00:01";
    r.netMode = 1;
    ticks.push_back({r, "5"});
    r.time = "00:02";
    r.paceActivities = {2048, 1};
    r.netActivities = {5u << 20, 1};
    r.ssid = QString("Café");
    ticks.push_back({r, "5"});
    r.time = "1.02:03:04";
    r.IPLocation = QString("192.0.2.7");
    ticks.push_back({r, "--"});
    r = ActivityObject();
    r.time = "00:04";
    ticks.push_back({r, std::nullopt});
    ticks.push_back({ticks[1].first, "5"});

    std::FILE* out = std::tmpfile();
    size_t next = 0;
    MonitorPrinter printer(MonitorOptions(), out);
    printer.setCpuRateSource([&] { return ticks[next].second.value_or(QString()); });
    for (next = 0; next < ticks.size(); ++next) {
        if (!ticks[next].second)
            printer.setCpuRateSource({});
        else if (next > 0 && !ticks[next - 1].second)
            printer.setCpuRateSource([&] { return *ticks[next].second; });
        printer.networkActivityDidUpdate(std::make_shared<ActivityObject>(ticks[next].first));
    }
    std::rewind(out);
    char line[4096];
    for (const auto& [record, cpu] : ticks) {
        ASSERT_TRUE(std::fgets(line, sizeof line, out));
        EXPECT_EQ(QByteArray(line), MonitorPrinter::textLine(record, cpu) + '\n');
    }
    std::fclose(out);
}
