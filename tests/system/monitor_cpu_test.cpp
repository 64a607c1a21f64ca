#include "app/MonitorPrinter.h"
#include "system/CPUReader.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <cstdio>
#include <deque>

namespace {

class StepCounters : public CpuLoadSource {
public:
    std::optional<CpuLoadCounters> read() override {
        CpuLoadCounters c;
        c.user = user += 3;
        c.idle = idle += 1;
        return c;
    }
    uint64_t user = 0, idle = 0;
};

ActivityObject sampleRecord() {
    ActivityObject r;
    r.time = "00:00:05";
    r.paceActivities = {2, 30};
    return r;
}

TEST(MonitorCpuLoad, JsonLinesCarryTheCpuRateOnlyWhenGiven) {
    const ActivityObject r = sampleRecord();
    const auto plain = nlohmann::json::parse(MonitorPrinter::jsonLine(r).toStdString());
    EXPECT_FALSE(plain.contains("cpuRate"));

    const auto withLoad = nlohmann::json::parse(MonitorPrinter::jsonLine(r, "42").toStdString());
    EXPECT_EQ(withLoad.at("cpuRate"), "42");
    EXPECT_EQ(withLoad.at("paceActivities").at("down"), 30);

    const auto unknown = nlohmann::json::parse(MonitorPrinter::jsonLine(r, "--").toStdString());
    EXPECT_EQ(unknown.at("cpuRate"), "--");
    const auto unread = nlohmann::json::parse(MonitorPrinter::jsonLine(r, "").toStdString());
    EXPECT_TRUE(unread.at("cpuRate").is_null());
}

TEST(MonitorCpuLoad, TextLinesShowTheLoadAsPercent) {
    const ActivityObject r = sampleRecord();
    EXPECT_FALSE(MonitorPrinter::textLine(r).contains("cpu"));
    EXPECT_TRUE(MonitorPrinter::textLine(r, "7").contains("  cpu 7%"));
    EXPECT_TRUE(MonitorPrinter::textLine(r, "--").contains("  cpu --"));
    EXPECT_TRUE(MonitorPrinter::textLine(r, "").contains("  cpu --"));
}

TEST(MonitorCpuLoad, PrinterAsksItsSourceOnEveryTick) {
    std::FILE* out = std::tmpfile();
    MonitorPrinter printer(true, 0, out);
    CPUReader reader(std::make_shared<StepCounters>());
    printer.setCpuRateSource([&reader] {
        reader.reload();
        return reader.cpuRate();
    });
    auto record = std::make_shared<ActivityObject>(sampleRecord());
    printer.networkActivityDidUpdate(record);
    printer.networkActivityDidUpdate(record);
    std::rewind(out);
    char line[4096];
    int lines = 0;
    while (std::fgets(line, sizeof line, out)) {
        const auto j = nlohmann::json::parse(line);
        EXPECT_EQ(j.at("cpuRate"), "75"); // 3 busy of 4 ticks each time
        ++lines;
    }
    std::fclose(out);
    EXPECT_EQ(lines, 2);
}

} // namespace
