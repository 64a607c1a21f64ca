// Cost of the CPU load reading the heartbeat takes once per tick: the /proc/stat read alone,
// and the whole reload (read, load arithmetic, history and rate text).
#include "platform/linux/ProcStatReader.h"
#include "system/CPUReader.h"

#include <benchmark/benchmark.h>

namespace {

void BM_ProcStatRead(benchmark::State& state) {
    ProcStatReader reader;
    for (auto _ : state)
        benchmark::DoNotOptimize(reader.read());
}
BENCHMARK(BM_ProcStatRead);

void BM_CpuReload(benchmark::State& state) {
    CPUReader reader(std::make_shared<ProcStatReader>());
    for (auto _ : state) {
        reader.reload();
        benchmark::DoNotOptimize(reader.cpuRate().size());
    }
}
BENCHMARK(BM_CpuReload)->MeasureProcessCPUTime();

} // namespace

BENCHMARK_MAIN();
