// Cost of the panel's home page: building it and showing it the first time (with the storage
// and battery boxes, so every box is drawn), showing it again, and one tick while it is on
// screen. Rendering goes through the offscreen platform; grab() stands for the window's paint.
//
// The first open of the process (fonts, palette, string tables loaded) is timed once and
// printed before the benchmarks, which then measure the steady state.
#include "DrawingBench.h"
#include "menubar/MenuDrawing.h"
#include "network/DataUsageProvider.h"
#include "network/NetworkMonitor.h"
#include "settings/DynamicAppearance.h"
#include "settings/Language.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "ui/NetViewController.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QPainter>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

struct QuietNet : LinkSource, RouteSource {
    bool readCounters(std::vector<LinkEntry>& out) override {
        out.clear();
        return true;
    }
    QString lastIPv4Address() override { return {}; }
    std::optional<uint32_t> reachabilityFlags() override { return 0u; }
};

// A sampler over no links, a data-usage provider with a full week of buckets, and a battery
// log of a full week with the last two days real.
struct Fixture {
    SettingsDomain group{QDir::tempPath() + "/lumenstat-bench-panel-group.json"};
    std::shared_ptr<QuietNet> net = std::make_shared<QuietNet>();
    NetworkMonitor monitor{NetworkMonitorSources{net, net, nullptr, [] { return 100.0; }, &group}};
    std::unique_ptr<DataUsageProvider> usage;
    std::vector<nlohmann::json> battery;

    Fixture() {
        std::vector<DataUsageProvider::Atom> atoms;
        const QDateTime now = QDateTime::currentDateTime();
        for (int h = 167; h >= 0; --h)
            atoms.push_back({now.addSecs(-3600 * h).toString("yyyy-MM-dd HH"), 300000 + h * 977,
                             40000 + h * 131});
        group.setValue(SettingsKey::DataUsageData, DataUsageProvider::storedForm(atoms));
        DataUsageProvider::Environment env;
        env.group = &group;
        usage = std::make_unique<DataUsageProvider>(env);
        const double t0 = double(now.toSecsSinceEpoch()) - 1008 * 600.0;
        for (int i = 0; i < 1008; ++i)
            battery.push_back({{"Time", t0 + i * 600.0},
                               {"Cap", 100 - (i % 300) / 4},
                               {"Charging", i % 300 > 280},
                               {"Fake", i < 720}});
        Settings::shared().setShowsHomepageStorageUsage(true);
        Settings::shared().setShowsHomepageBatteryUsage(true);
        SettingsDomain::standard().setBool(SettingsKey::WelcomeShown, true);
        monitor.startMonitoring();
    }
    ~Fixture() { QFile::remove(group.filePath()); }

    std::unique_ptr<NetViewController> page() {
        NetViewSources sources;
        sources.monitor = &monitor;
        sources.dataUsage = usage.get();
        sources.hasBattery = [] { return true; };
        sources.batteryDataset = [this] { return battery; };
        return std::make_unique<NetViewController>(sources);
    }
};

Fixture* fixture = nullptr;

ActivityRecord tickRecord(uint64_t i) {
    auto r = std::make_shared<ActivityObject>();
    r->netMode = 1;
    r->ssid = QStringLiteral("Quillfern Studio");
    r->IPLocation = QStringLiteral("192.168.1.42");
    r->paceActivities = {40 + i % 17, 900 + i % 300};
    r->netActivities = {uint64_t(412) << 20, uint64_t(5300) << 20};
    r->sentNumbers = std::vector<uint64_t>(60, 50);
    r->downNumbers = std::vector<uint64_t>(60, 1000);
    return r;
}

void openOnce(benchmark::State* state) {
    auto page = fixture->page();
    page->show();
    const QPixmap shown = page->grab();
    if (state)
        benchmark::DoNotOptimize(shown.cacheKey());
}

void BM_HomeBuildAndFirstShow(benchmark::State& state) {
    for (auto _ : state)
        openOnce(&state);
}
BENCHMARK(BM_HomeBuildAndFirstShow)->Unit(benchmark::kMillisecond);

void BM_HomeLaterShow(benchmark::State& state) {
    auto page = fixture->page();
    page->show();
    page->grab();
    for (auto _ : state) {
        page->hide();
        page->show();
        benchmark::DoNotOptimize(page->grab().cacheKey());
    }
}
BENCHMARK(BM_HomeLaterShow)->Unit(benchmark::kMillisecond);

// One record through every observer (the page, its speed box) and the repaint it causes.
void BM_HomeTickVisible(benchmark::State& state) {
    auto page = fixture->page();
    page->show();
    page->grab();
    QCoreApplication::processEvents();
    uint64_t i = 0;
    for (auto _ : state) {
        const ActivityRecord r = tickRecord(i++);
        for (ActivityObserver* o :
             std::vector<ActivityObserver*>(fixture->monitor.activityObservers()))
            o->networkActivityDidUpdate(r);
        QCoreApplication::processEvents();
    }
}
BENCHMARK(BM_HomeTickVisible)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    DrawingBench bench(argc, argv);
    if (!bench.ready())
        return 2;
    {
        Fixture f;
        fixture = &f;
        // What the running app has done before its panel first opens: the tray item drew its
        // texts (both faces, the string table).
        if (std::getenv("PANEL_BENCH_COLD") == nullptr) {
            QImage tray(100, 22, QImage::Format_ARGB32_Premultiplied);
            QPainter p(&tray);
            for (const QFont& font : {MenuDrawing::appFont(11, QFont::Bold),
                                      MenuDrawing::systemFont(10, QFont::Bold)}) {
                p.setFont(font);
                p.drawText(QPointF(0, 16), Language::getLocalizedString("NETWORK") + " 12 KB/s");
            }
        }
        QElapsedTimer cold;
        cold.start();
        openOnce(nullptr);
        std::printf("first open of the process: %.1f ms\n", cold.nsecsElapsed() / 1e6);
        DrawingBench::run(argc, argv);
        fixture = nullptr;
    }
    return 0;
}
