// Cost of the data-usage step of a tick: adding a record to the current hour's bucket, with
// the hour key kept from the previous tick, against formatting the key afresh each time.
#include "network/DataUsageProvider.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

DataUsageProvider::Environment systemClockWithoutStorage() {
    DataUsageProvider::Environment env = DataUsageProvider::Environment::system();
    env.group = nullptr; // nothing is loaded or saved
    return env;
}

void BM_DataUsageTick(benchmark::State& state) {
    DataUsageProvider provider(systemClockWithoutStorage());
    auto record = std::make_shared<ActivityObject>();
    record->paceActivities = {3, 7};
    const ActivityRecord shared = record;
    for (auto _ : state)
        provider.networkActivityDidUpdate(shared);
    benchmark::DoNotOptimize(provider.dataset().data());
}
BENCHMARK(BM_DataUsageTick);

void BM_HourKeyFormatted(benchmark::State& state) {
    DataUsageProvider provider(systemClockWithoutStorage());
    for (auto _ : state)
        benchmark::DoNotOptimize(provider.keyForDate(QDateTime::currentDateTimeUtc()));
}
BENCHMARK(BM_HourKeyFormatted);

// The clock read each tick starts from, for comparison.
void BM_LocalClock(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(QDateTime::currentDateTime());
}
BENCHMARK(BM_LocalClock);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
