#include "platform/linux/ProcStatReader.h"
#include "system/CPUReader.h"

#include "support/TempDir.h"

#include <QFile>
#include <QScopeGuard>

#include <gtest/gtest.h>

#include <deque>

namespace {

// Hands out queued counter readings; an empty optional stands for an unreadable source.
class QueuedCounters : public CpuLoadSource {
public:
    std::optional<CpuLoadCounters> read() override {
        if (queue.empty())
            return std::nullopt;
        auto next = queue.front();
        queue.pop_front();
        return next;
    }
    std::deque<std::optional<CpuLoadCounters>> queue;
};

CpuLoadCounters counters(uint64_t user, uint64_t system, uint64_t idle, uint64_t nice = 0) {
    CpuLoadCounters c;
    c.user = user;
    c.system = system;
    c.idle = idle;
    c.nice = nice;
    return c;
}

class CPUReaderTest : public ::testing::Test {
protected:
    // Feeds the readings one after the other and returns the reader.
    CPUReader& readAll(std::initializer_list<std::optional<CpuLoadCounters>> readings) {
        for (const auto& r : readings) {
            source->queue.push_back(r);
            reader.reload();
        }
        return reader;
    }

    std::shared_ptr<QueuedCounters> source = std::make_shared<QueuedCounters>();
    CPUReader reader{source};
};

TEST_F(CPUReaderTest, LoadIsBusyShareOfElapsedTicksRoundedHalfAwayFromZero) {
    // First reading compares against zero counters: the load since boot.
    readAll({counters(30, 20, 50)});
    EXPECT_EQ(reader.cpuRate(), "50");

    // user +1, idle +2 -> 33.33 -> 33
    readAll({counters(31, 20, 52)});
    EXPECT_EQ(reader.cpuRate(), "33");
    // user +1, idle +1 -> exactly 50
    readAll({counters(32, 20, 53)});
    EXPECT_EQ(reader.cpuRate(), "50");
    // busy 1 of 8 -> 12.5 rounds up to 13 (not to the even 12)
    readAll({counters(33, 20, 60)});
    EXPECT_EQ(reader.cpuRate(), "13");
    // busy 1 of 200 -> 0.5 rounds up to 1
    readAll({counters(33, 21, 259)});
    EXPECT_EQ(reader.cpuRate(), "1");
    // everything busy -> 100, still a valid reading
    readAll({counters(40, 24, 259)});
    EXPECT_EQ(reader.cpuRate(), "100");
    // no ticks elapsed at all: 0, not "--"
    readAll({counters(40, 24, 259)});
    EXPECT_EQ(reader.cpuRate(), "0");
    EXPECT_EQ(reader.numbers(), (std::vector<int>{50, 33, 50, 13, 1, 100, 0}));
}

TEST_F(CPUReaderTest, CountersBeyond32BitsWrapLikeThe32BitCounters) {
    // The kernel's counters are 64-bit; kept as 32-bit they wrap between these two
    // readings, and the unsigned differences still come out right: +32 user, +32 idle.
    readAll(
        {counters(0xFFFFFFF0ull, 7, 0xFFFFFFF0ull), counters(0x100000010ull, 7, 0x100000010ull)});
    EXPECT_EQ(reader.cpuRate(), "50");
}

TEST_F(CPUReaderTest, InconsistentWrapGivesUnknownAndKeepsHistory) {
    readAll({counters(1000, 1000, 1000)});
    ASSERT_EQ(reader.numbers().size(), 1u);
    // busy +100 while idle runs 50 backwards: total wraps to 50, load 200.
    readAll({counters(1100, 1000, 950)});
    EXPECT_EQ(reader.cpuRate(), "--");
    EXPECT_EQ(reader.numbers().size(), 1u);
    // The odd counters still become the reference for the next interval.
    readAll({counters(1110, 1000, 960)});
    EXPECT_EQ(reader.cpuRate(), "50");
    EXPECT_EQ(reader.numbers(), (std::vector<int>{67, 50}));
}

TEST_F(CPUReaderTest, HistoryKeepsTheLatestSixtyReadings) {
    // Reading k (1-based) has busy k, idle 100 - k: load k.
    uint64_t user = 0, idle = 0;
    for (int k = 1; k <= 61; ++k) {
        user += k;
        idle += 100 - k;
        readAll({counters(user, 0, idle)});
    }
    ASSERT_EQ(reader.numbers().size(), 60u);
    EXPECT_EQ(reader.numbers().front(), 2);
    EXPECT_EQ(reader.numbers().back(), 61);
    EXPECT_EQ(reader.cpuRate(), "61");
}

TEST_F(CPUReaderTest, AverageLeavesZeroReadingsOutAndTruncates) {
    EXPECT_FALSE(reader.avg().has_value());

    // 0, 0, 40, 60 -> (40 + 60) / 2
    readAll({counters(0, 0, 0), counters(0, 0, 10), counters(4, 0, 16), counters(10, 0, 20)});
    ASSERT_EQ(reader.numbers(), (std::vector<int>{0, 0, 40, 60}));
    EXPECT_EQ(reader.avg().value_or("absent"), "50");

    // adding 33 -> 133 / 3 = 44.33 -> 44
    readAll({counters(11, 0, 22)});
    ASSERT_EQ(reader.numbers().back(), 33);
    EXPECT_EQ(reader.avg().value_or("absent"), "44");
}

TEST_F(CPUReaderTest, AverageOfOnlyZeroReadingsIsZero) {
    readAll({counters(0, 0, 5), counters(0, 0, 9)});
    EXPECT_EQ(reader.avg().value_or("absent"), "0");
}

TEST(ProcStatReaderTest, AggregateLineGivesUserNiceSystemIdleInKernelOrder) {
    QFile fixture(LUMENSTAT_FIXTURES_DIR "/proc/stat");
    ASSERT_TRUE(fixture.open(QIODevice::ReadOnly));
    const auto c = ProcStatReader::parse(fixture.readAll());
    ASSERT_TRUE(c.has_value());
    EXPECT_EQ(c->user, 4705u);
    EXPECT_EQ(c->nice, 150u);
    EXPECT_EQ(c->system, 1120u);
    EXPECT_EQ(c->idle, 16250u);
}

TEST(ProcStatReaderTest, PerProcessorLinesAndDamagedLinesAreNotTheAggregate) {
    EXPECT_FALSE(ProcStatReader::parse("cpu0 1 2 3 4\ncpu1 1 2 3 4\n").has_value());
    EXPECT_FALSE(ProcStatReader::parse("cpu 1 2 3\n").has_value());
    EXPECT_FALSE(ProcStatReader::parse("cpu 1 2 x 4\n").has_value());
    EXPECT_FALSE(ProcStatReader::parse("cpu 1 -2 3 4\n").has_value());
    EXPECT_FALSE(ProcStatReader::parse("").has_value());
    // Counters beyond 32 bits are read whole.
    const auto big = ProcStatReader::parse("intr 5\ncpu 4294967300 0 0 1\n");
    ASSERT_TRUE(big.has_value());
    EXPECT_EQ(big->user, 4294967300ull);
}

TEST(ProcfsRootTest, ReloadMeasuresBetweenTwoStatFiles) {
    TempDir root;
    const std::optional<QByteArray> saved = qEnvironmentVariableIsSet("LUMENSTAT_PROCFS_ROOT")
                                                ? std::optional(qgetenv("LUMENSTAT_PROCFS_ROOT"))
                                                : std::nullopt;
    const auto restore = qScopeGuard([&] {
        saved ? qputenv("LUMENSTAT_PROCFS_ROOT", *saved) : qunsetenv("LUMENSTAT_PROCFS_ROOT");
    });
    qputenv("LUMENSTAT_PROCFS_ROOT", root.path().toLocal8Bit());
    CPUReader reader(std::make_shared<ProcStatReader>());

    root.write("stat", "cpu  600 10 200 1200 0 0 0 0 0 0\n");
    reader.reload();
    EXPECT_EQ(reader.cpuRate(), "40"); // 800 busy of 2000 since boot

    // +75 user, +0 system, +25 idle; the nice change is ignored.
    root.write("stat", "cpu  675 99 200 1225 0 0 0 0 0 0\n");
    reader.reload();
    EXPECT_EQ(reader.cpuRate(), "75");
    EXPECT_EQ(reader.previousLoad().nice, 99u);

    QFile::remove(root.file("stat"));
    reader.reload();
    EXPECT_EQ(reader.cpuRate(), "--");
    EXPECT_EQ(reader.numbers(), (std::vector<int>{40, 75}));
}

} // namespace
