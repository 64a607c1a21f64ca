// Cost of one sampler tick: the counter read (getifaddrs and the route lookup on this
// machine) plus building and delivering the record.
#include "network/NetworkMonitor.h"
#include "platform/NetworkSources.h"
#include "platform/linux/LinuxDefaultRoute.h"
#include "platform/linux/LinuxInterfaceAddresses.h"
#include "settings/SettingsDomain.h"

#include <QCoreApplication>
#include <QDir>

#include <benchmark/benchmark.h>

namespace {

struct NullObserver : ActivityObserver {
    uint64_t sum = 0;
    void networkActivityDidUpdate(const ActivityRecord& r) override {
        sum += r->paceActivities.down;
    }
};

struct NoWiFi : WiFiSource {
    WiFiDetails current() override { return {}; }
};

void BM_CounterRead(benchmark::State& state) {
    LinuxInterfaceAddresses addresses;
    std::vector<InterfaceAddressEntry> entries;
    for (auto _ : state) {
        addresses.read(entries);
        benchmark::DoNotOptimize(entries.data());
    }
}
BENCHMARK(BM_CounterRead);

void BM_RouteLookup(benchmark::State& state) {
    LinuxDefaultRoute route;
    for (auto _ : state)
        benchmark::DoNotOptimize(route.reachabilityFlags());
}
BENCHMARK(BM_RouteLookup);

void BM_Tick(benchmark::State& state) {
    SettingsDomain group(QDir::tempPath() + "/lumenstat-bench-group.json");
    group.setWriteDelay(60'000);
    NetworkMonitorSources s;
    s.addresses = std::make_shared<LinuxInterfaceAddresses>();
    s.route = std::make_shared<LinuxDefaultRoute>();
    s.wifi = std::make_shared<NoWiFi>();
    s.group = &group;
    NetworkMonitor monitor(s);
    NullObserver observer;
    monitor.addActivityObserver(&observer);
    for (auto _ : state) {
        monitor.updateNetworkInfo();
        QCoreApplication::processEvents();
    }
    monitor.removeActivityObserver(&observer);
    benchmark::DoNotOptimize(observer.sum);
}
BENCHMARK(BM_Tick)->MeasureProcessCPUTime();

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
