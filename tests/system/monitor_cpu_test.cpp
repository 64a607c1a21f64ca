#include "app/MonitorPrinter.h"
#include "system/CPUReader.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <cstdio>

namespace {

// Every reading adds 3 busy and 1 idle tick: a load of 75.
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

TEST(MonitorCpuLoad, LinesCarryTheLoadOnlyWhenASourceIsSet) {
    ActivityObject r;
    r.paceActivities = {2, 30};
    EXPECT_FALSE(
        nlohmann::json::parse(MonitorPrinter::jsonLine(r).toStdString()).contains("cpuRate"));
    EXPECT_FALSE(MonitorPrinter::textLine(r).contains("cpu"));
    EXPECT_TRUE(MonitorPrinter::textLine(r, "7").contains("  cpu 7%"));
    EXPECT_TRUE(MonitorPrinter::textLine(r, "--").contains("  cpu --"));
    EXPECT_TRUE(nlohmann::json::parse(MonitorPrinter::jsonLine(r, "").toStdString())
                    .at("cpuRate")
                    .is_null());

    std::FILE* out = std::tmpfile();
    MonitorPrinter printer(true, 0, out);
    CPUReader reader(std::make_shared<StepCounters>());
    printer.setCpuRateSource([&reader] {
        reader.reload();
        return reader.cpuRate();
    });
    auto record = std::make_shared<ActivityObject>(r);
    printer.networkActivityDidUpdate(record);
    printer.networkActivityDidUpdate(record);
    std::rewind(out);
    char line[4096];
    int lines = 0;
    while (std::fgets(line, sizeof line, out)) {
        const auto j = nlohmann::json::parse(line);
        EXPECT_EQ(j.at("cpuRate"), "75");
        EXPECT_EQ(j.at("paceActivities").at("down"), 30);
        ++lines;
    }
    std::fclose(out);
    EXPECT_EQ(lines, 2);
}

} // namespace
