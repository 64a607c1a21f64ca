#pragma once

#include "platform/SystemSources.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

// Measures the share of processor time spent busy since the previous reading and keeps
// the last minute of readings. The heartbeat calls reload() once per tick, first thing.
class CPUReader {
public:
    static constexpr size_t kHistoryLength = 60;

    // The process-wide reader over the running system's counters.
    static CPUReader& shared();
    // A reader over another counter source (tests, tools).
    explicit CPUReader(std::shared_ptr<CpuLoadSource> source);

    // Takes one reading: the load since the previous call (since boot on the first call).
    void reload();

    // The latest load as a whole-number text, or "--" when the last reading made no sense
    // (a counter wrap, counters that went backwards) or the counters could not be read. Empty
    // before the first reading.
    const QString& cpuRate() const { return cpuRate_; }
    // The average of the kept readings above 0 as text; absent while nothing is kept.
    std::optional<QString> avg() const;
    // Kept for callers that assign it; the value is always computed from numbers().
    void setAvg(const std::optional<QString>&) {}
    // The kept readings, oldest first, at most kHistoryLength.
    const std::vector<int>& numbers() const { return numbers_; }
    double cpuTemperature() const { return cpuTemperature_; }
    static bool canReadTemperature() { return false; }

    // Counters remembered from the previous reading (user, system, idle, nice).
    struct Ticks {
        uint32_t user = 0;
        uint32_t system = 0;
        uint32_t idle = 0;
        uint32_t nice = 0;
    };
    const Ticks& previousLoad() const { return prev_cpu_load_; }

    // The load of one interval from the counter differences, wrapping as 32-bit counters
    // do. Absent when the result lies outside 0...100 (a wrap made busy exceed total).
    static std::optional<int> loadBetween(const Ticks& previous, const Ticks& current);

private:
    std::shared_ptr<CpuLoadSource> source_;
    Ticks prev_cpu_load_;
    std::optional<CpuLoadCounters> previousRead_;
    QString cpuRate_;
    double cpuTemperature_ = 0.0;
    std::vector<int> numbers_;
};
