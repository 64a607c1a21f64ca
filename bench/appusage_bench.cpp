// The per-app snapshot build of a full week: six stored days and a live today, each hour
// holding 200 applications and 50 bare processes (5.3 MB of stored documents). Budget: under
// 50 ms per build.
#include "appusage/DataProvider.h"
#include "platform/linux/LinuxProcessTable.h"
#include "platform/linux/PlatformPaths.h"

#include <QCoreApplication>
#include <QDir>

#include <benchmark/benchmark.h>

namespace {

constexpr int kApplications = 200;
constexpr int kProcesses = 50;

std::vector<NetDatasetPtr> day(const QString& date, int seed) {
    std::vector<NetDatasetPtr> hours;
    for (int h = 0; h < 24; ++h) {
        auto set =
            std::make_shared<NetDataset>(date + QStringLiteral(" %1").arg(h, 2, 10, QChar('0')));
        for (int a = 0; a < kApplications; ++a) {
            NetApp app;
            app.bundleIdentifier = QStringLiteral("org.example.app%1").arg(a);
            app.name = app.localizedName = QStringLiteral("Application %1").arg(a);
            app.pid = 1000 + a;
            app.bytesIn = (a + 1) * (h + seed) * 997;
            app.bytesOut = (a + 1) * (h + 1) * 131;
            set->apps.push_back(app);
        }
        for (int p = 0; p < kProcesses; ++p) {
            NetApp process = NetApp::process(QStringLiteral("worker%1").arg(p), 5000 + p);
            process.bytesIn = (p + 1) * 4099;
            process.bytesOut = (p + 1) * 17;
            set->apps.push_back(process);
        }
        hours.push_back(set);
    }
    return hours;
}

void BM_WeekSnapshot(benchmark::State& state) {
    const QStringList week = {"2026-11-23", "2026-11-24", "2026-11-25", "2026-11-26",
                              "2026-11-27", "2026-11-28", "2026-11-29"};
    std::map<QString, QString> stored;
    for (int i = 0; i < 6; ++i)
        stored[week[i]] = QString::fromUtf8(NetDataset::dayDocument(day(week[i], i)));
    const LiveDay live{week[6], day(week[6], 6)};
    const TintPalette palette = TintPalette::system(false);
    const QLocale locale(QLocale::English, QLocale::UnitedStates);
    for (auto _ : state) {
        const DataSnapshot snapshot =
            buildSnapshot(week[6], week, stored, live, std::nullopt, palette, locale);
        benchmark::DoNotOptimize(snapshot.weekTotalBytes);
    }
    state.counters["documentMB"] = double(stored.begin()->second.size()) * 6 / 1e6;
}
BENCHMARK(BM_WeekSnapshot)->Unit(benchmark::kMillisecond);

// The rebuild the per-app page asks for at most once a minute: the stored days were read
// once that day, today comes from the live provider.
void BM_WeekSnapshotStoredDaysRead(benchmark::State& state) {
    const QStringList week = {"2026-11-23", "2026-11-24", "2026-11-25", "2026-11-26",
                              "2026-11-27", "2026-11-28", "2026-11-29"};
    std::map<QString, QString> stored;
    for (int i = 0; i < 6; ++i)
        stored[week[i]] = QString::fromUtf8(NetDataset::dayDocument(day(week[i], i)));
    const std::map<QString, CookedDataset> cooked = cookStoredDays(stored);
    const LiveDay live{week[6], day(week[6], 6)};
    const TintPalette palette = TintPalette::system(false);
    const QLocale locale(QLocale::English, QLocale::UnitedStates);
    for (auto _ : state) {
        const DataSnapshot snapshot =
            buildSnapshot(week[6], week, cooked, live, std::nullopt, palette, locale);
        benchmark::DoNotOptimize(snapshot.weekTotalBytes);
    }
}
BENCHMARK(BM_WeekSnapshotStoredDaysRead)->Unit(benchmark::kMillisecond);

// What tracking adds to each chunk of tool output: the running applications looked at again
// (processes seen before are remembered, so this is mostly the process list itself).
void BM_RunningApplicationsRescan(benchmark::State& state) {
    LinuxProcessTable table;
    benchmark::DoNotOptimize(table.runningApplications());
    for (auto _ : state)
        benchmark::DoNotOptimize(table.runningApplications());
    state.counters["processes"] = double(QDir(PlatformPaths::procfsRoot()).count());
}
BENCHMARK(BM_RunningApplicationsRescan)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
