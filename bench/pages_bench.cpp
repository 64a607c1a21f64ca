// Cost of opening each detail page of the panel: building it and drawing it the first time.
// The battery tab page (health and history) reads a log of more than a year; the per-app page
// gets a snapshot of 200 applications and 100 processes at once, as from the provider's cache.
#include "DrawingBench.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "ui/BatteryHealthViewController.h"
#include "ui/BatteryHistoryViewController.h"
#include "ui/NetAppViewController.h"
#include "ui/TabBarController.h"

#include <QDir>
#include <QFile>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

struct Fixture {
    SettingsDomain group{QDir::tempPath() + "/lumenstat-bench-pages-group.json"};
    std::unique_ptr<BatteryHealthLogger> log;
    DataSnapshot snapshot;

    Fixture() {
        nlohmann::json stored = nlohmann::json::array();
        const QDate first = QDate::currentDate().addDays(-500);
        for (int i = 0; i <= 500; ++i)
            stored.push_back({{"date", first.addDays(i).toString("yyyy-MM-dd").toStdString()},
                              {"cycle", 100 + i / 2},
                              {"fullCapacity", 4300 - i},
                              {"maxCapacity", 4400}});
        group.setValue(SettingsKey::BatteryHealthData, stored);
        log = std::make_unique<BatteryHealthLogger>(&group);

        const QDate today = QDate::currentDate();
        snapshot.date = today.toString("yyyy-MM-dd");
        for (int i = 0; i < 7; ++i)
            snapshot.weekdays << today.addDays(i - 3).toString("yyyy-MM-dd");
        for (int i = 0; i < 200; ++i) {
            NetApp app;
            app.bundleIdentifier = QString("org.example.app%1").arg(i);
            app.name = app.localizedName = QString("Application %1").arg(i);
            app.bytesIn = int64_t(200 - i) * 1000000;
            app.bytesOut = int64_t(200 - i) * 10000;
            app.percentage = (200.0 - i) / 200.0;
            snapshot.apps.push_back(app);
            snapshot.totalBytes += app.bytesIn + app.bytesOut;
        }
        for (int i = 0; i < 100; ++i) {
            NetApp process;
            process.name = process.localizedName = QString("process%1").arg(i);
            process.bytesIn = int64_t(100 - i) * 1000;
            process.percentage = (100.0 - i) / 100.0;
            snapshot.others.push_back(process);
        }
        for (int h = 0; h < 24; ++h) {
            auto set = std::make_shared<NetDataset>(snapshot.date +
                                                    QString(" %1").arg(h, 2, 10, QChar('0')));
            set->apps.assign(snapshot.apps.begin(), snapshot.apps.begin() + 50);
            snapshot.datasets.datasets.push_back(set);
        }
        snapshot.weekApps = snapshot.apps;
        snapshot.weekOthers = snapshot.others;
        for (const QString& day : snapshot.weekdays)
            snapshot.data[day] = CookedDataset{snapshot.apps, snapshot.others, {}};
        snapshot.weekTotalBytes = snapshot.totalBytes * 7;
        snapshot.weekMaxBytes = snapshot.totalBytes;
        SettingsDomain::standard().setBool(SettingsKey::AppDataUsageTrackWelcome, true);
    }
    ~Fixture() { QFile::remove(group.filePath()); }

    NetAppPageSources sources() {
        NetAppPageSources s;
        s.loadSnapshot = [this](NetAppPageSources::Completion done) { done(snapshot); };
        s.lastLoadedTime = [] { return 1750000000.0; };
        s.isRunning = [] { return true; };
        s.canRunScript = [] { return true; };
        s.iconName = [](const QString&) { return QString(); };
        s.notAttributed = [](NetAppChartView::DateRange, const DataSnapshot&) {
            return std::optional<int64_t>(1000000);
        };
        return s;
    }
};

Fixture* fixture = nullptr;

void open(benchmark::State& state, const std::function<QWidget*()>& make) {
    for (auto _ : state) {
        std::unique_ptr<QWidget> page(make());
        page->resize(272, 410);
        page->show();
        benchmark::DoNotOptimize(page->grab().cacheKey());
    }
}

void BM_BatteryTabsOpenOnHealth(benchmark::State& state) {
    SettingsDomain::standard().setInteger(SettingsKey::TabBarSelectedViewController, 0);
    open(state, [] {
        return new TabBarController(std::array<QWidget*, 2>{
            new BatteryHealthViewController, new BatteryHistoryViewController(fixture->log.get())});
    });
}
BENCHMARK(BM_BatteryTabsOpenOnHealth)->Unit(benchmark::kMillisecond);

void BM_BatteryTabsOpenOnHistory(benchmark::State& state) {
    SettingsDomain::standard().setInteger(SettingsKey::TabBarSelectedViewController, 1);
    open(state, [] {
        return new TabBarController(std::array<QWidget*, 2>{
            new BatteryHealthViewController, new BatteryHistoryViewController(fixture->log.get())});
    });
}
BENCHMARK(BM_BatteryTabsOpenOnHistory)->Unit(benchmark::kMillisecond);

// The two tabs' pages on their own.
void BM_BatteryHealthPageOpen(benchmark::State& state) {
    open(state, [] { return new BatteryHealthViewController; });
}
BENCHMARK(BM_BatteryHealthPageOpen)->Unit(benchmark::kMillisecond);

void BM_BatteryHistoryPageOpen(benchmark::State& state) {
    open(state, [] { return new BatteryHistoryViewController(fixture->log.get()); });
}
BENCHMARK(BM_BatteryHistoryPageOpen)->Unit(benchmark::kMillisecond);

void BM_AppUsageOpen(benchmark::State& state) {
    open(state, [] { return new NetAppViewController(fixture->sources()); });
}
BENCHMARK(BM_AppUsageOpen)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    return DrawingBench::main(argc, argv, fixture);
}
