// Cost of opening the battery and storage items' panels: building the page and showing it
// the first time, and showing it again. The battery page reads a fixture laptop with two
// days of percentage log. Rendering goes through the offscreen platform; grab() stands for
// the window's paint. Budget: under 30 ms each.
#include "DrawingBench.h"
#include "platform/linux/LinuxPowerSupply.h"
#include "power/YYSystemBatteryReport.h"
#include "ui/MenuBatteryHealthViewController.h"
#include "ui/MenuStorageViewController.h"

#include <QDateTime>
#include <QFileInfo>
#include <QPixmap>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

struct Fixture {
    std::shared_ptr<LinuxPowerSupply> source = std::make_shared<LinuxPowerSupply>(
        QFileInfo(QStringLiteral(__FILE__)).absolutePath() +
        QStringLiteral("/../tests/fixtures/power_supply/laptop_discharging"));
    YYSystemBatteryReport report{source, [] { return true; }};
    std::vector<nlohmann::json> battery;

    Fixture() {
        report.loadReports();
        const double t0 = double(QDateTime::currentSecsSinceEpoch()) - 288 * 600.0;
        for (int i = 0; i < 288; ++i)
            battery.push_back({{"Time", t0 + i * 600.0},
                               {"Cap", 100 - (i % 200) / 3},
                               {"Charging", i % 200 > 180},
                               {"Fake", false}});
    }
};

Fixture* fixture = nullptr;

std::unique_ptr<QWidget> batteryPage() {
    return std::make_unique<MenuBatteryHealthViewController>([] { return &fixture->report; },
                                                             [] { return fixture->battery; });
}

std::unique_ptr<QWidget> storagePage() {
    return std::make_unique<MenuStorageViewController>();
}

template <std::unique_ptr<QWidget> (*Make)()> void BM_BuildAndFirstShow(benchmark::State& state) {
    for (auto _ : state) {
        auto page = Make();
        page->show();
        benchmark::DoNotOptimize(page->grab().cacheKey());
    }
}

template <std::unique_ptr<QWidget> (*Make)()> void BM_LaterShow(benchmark::State& state) {
    auto page = Make();
    page->show();
    page->grab();
    for (auto _ : state) {
        page->hide();
        page->show();
        benchmark::DoNotOptimize(page->grab().cacheKey());
    }
}

BENCHMARK(BM_BuildAndFirstShow<batteryPage>)
    ->Name("BatteryPanelBuildAndFirstShow")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LaterShow<batteryPage>)->Name("BatteryPanelLaterShow")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BuildAndFirstShow<storagePage>)
    ->Name("StoragePanelBuildAndFirstShow")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LaterShow<storagePage>)->Name("StoragePanelLaterShow")->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    return DrawingBench::main(argc, argv, fixture);
}
