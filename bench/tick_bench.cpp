// Cost of one sampler tick: the counter read (rtnetlink statistics of the counted links, the
// cached link table and route) plus building and delivering the record.
//
// As root the benchmark runs in a private network namespace, first with 3 links (lo, a
// counted veth "eth0" carrying the default route, its peer), then with 300 extra uncounted
// links (150 veth pairs), and prints the ratio of the two tick costs. Elsewhere it measures
// the machine's own links and says why the scale case is skipped.
#include "network/NetworkMonitor.h"
#include "platform/NetworkSources.h"
#include "platform/linux/LinuxLinkTable.h"
#include "settings/SettingsDomain.h"

#include <QCoreApplication>
#include <QDir>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <ifaddrs.h>
#include <map>
#include <sched.h>
#include <string>
#include <unistd.h>

namespace {

constexpr int kExtraLinks = 300;

struct NullObserver : ActivityObserver {
    uint64_t sum = 0;
    void networkActivityDidUpdate(const ActivityRecord& r) override {
        sum += r->paceActivities.down;
    }
};

struct NoWiFi : WiFiSource {
    WiFiDetails current() override { return {}; }
};

bool run(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

// A private namespace with lo, a counted "eth0" (veth) holding the default route, and its peer.
bool enterPrivateNamespace() {
    if (geteuid() != 0 || unshare(CLONE_NEWNET) != 0)
        return false;
    return run("ip link set lo up") && run("ip link add eth0 type veth peer name peer0") &&
           run("ip addr add 10.240.0.1/24 dev eth0") && run("ip link set eth0 up") &&
           run("ip link set peer0 up") && run("ip route add default via 10.240.0.2");
}

bool addExtraLinks() {
    const QString batch = QDir::tempPath() + "/lumenstat-bench-links.txt";
    std::FILE* f = std::fopen(batch.toLocal8Bit().constData(), "w");
    if (!f)
        return false;
    for (int i = 0; i < kExtraLinks / 2; ++i) {
        std::fprintf(f, "link add vb%d type veth peer name vp%d\n", i, i);
        std::fprintf(f, "link set vb%d up\nlink set vp%d up\n", i, i);
    }
    std::fclose(f);
    const bool ok = run("ip -batch " + batch.toStdString());
    std::remove(batch.toLocal8Bit().constData());
    return ok;
}

void BM_CounterRead(benchmark::State& state) {
    LinuxLinkTable table;
    std::vector<LinkEntry> links;
    for (auto _ : state) {
        table.readCounters(links);
        benchmark::DoNotOptimize(links.data());
    }
}

void BM_RouteLookup(benchmark::State& state) {
    LinuxLinkTable table;
    for (auto _ : state)
        benchmark::DoNotOptimize(table.reachabilityFlags());
}

// The address list with every link's statistics, as a full-table read would cost per tick.
void BM_FullTableRead(benchmark::State& state) {
    for (auto _ : state) {
        ifaddrs* list = nullptr;
        getifaddrs(&list);
        benchmark::DoNotOptimize(list);
        freeifaddrs(list);
    }
}

void BM_Tick(benchmark::State& state) {
    SettingsDomain group(QDir::tempPath() + "/lumenstat-bench-group.json");
    group.setWriteDelay(60'000);
    NetworkMonitorSources s;
    auto table = std::make_shared<LinuxLinkTable>();
    s.links = table;
    s.route = table;
    s.wifi = std::make_shared<NoWiFi>();
    s.group = &group;
    NetworkMonitor monitor(s);
    NullObserver observer;
    monitor.addActivityObserver(&observer);
    for (auto _ : state)
        monitor.updateNetworkInfo();
    monitor.removeActivityObserver(&observer);
    state.counters["links"] = double(table->links().size());
    benchmark::DoNotOptimize(observer.sum);
}

void registerSet(const char* suffix) {
    const std::string s = suffix;
    benchmark::RegisterBenchmark(("BM_CounterRead" + s).c_str(), BM_CounterRead);
    benchmark::RegisterBenchmark(("BM_RouteLookup" + s).c_str(), BM_RouteLookup);
    benchmark::RegisterBenchmark(("BM_FullTableRead" + s).c_str(), BM_FullTableRead);
    benchmark::RegisterBenchmark(("BM_Tick" + s).c_str(), BM_Tick)->MeasureProcessCPUTime();
}

// Keeps each run's CPU time per iteration so the two tick costs can be compared.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> cpu;
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs)
            cpu[r.benchmark_name()] = r.GetAdjustedCPUTime();
        ConsoleReporter::ReportRuns(runs);
    }
};

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    const bool inNamespace = enterPrivateNamespace();
    RatioReporter reporter;
    if (!inNamespace) {
        std::printf("tick_bench: not root (or no network namespaces): measuring this machine's "
                    "links; the %d-extra-links case is skipped\n",
                    kExtraLinks);
        registerSet("");
        benchmark::RunSpecifiedBenchmarks(&reporter);
        benchmark::Shutdown();
        return 0;
    }
    registerSet("/3links");
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::ClearRegisteredBenchmarks();
    if (!addExtraLinks()) {
        std::printf("tick_bench: could not add %d links; the scale case is skipped\n", kExtraLinks);
        return 0;
    }
    registerSet("/300extra");
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    const double few = reporter.cpu["BM_Tick/3links/process_time"];
    const double many = reporter.cpu["BM_Tick/300extra/process_time"];
    if (few > 0 && many > 0)
        std::printf("tick with %d extra links: %.2fx the tick with 3 links (budget 2x)\n",
                    kExtraLinks, many / few);
    return 0;
}
