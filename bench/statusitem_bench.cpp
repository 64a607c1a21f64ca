// The status item's work per tick: the style takes the record, is drawn into the tray pixmap
// at 2x, and the result is compared with the last pixmap before anything is sent. Budget:
// under 300 microseconds per tick for the widest style.
#include "DrawingBench.h"
#include "menubar/NetMenuBarItemController.h"
#include "menubar/StatusItem.h"
#include "settings/DynamicAppearance.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <benchmark/benchmark.h>

#include <cstdlib>

namespace {

ActivityRecord tick(uint64_t sent, uint64_t received) {
    auto a = std::make_shared<ActivityObject>();
    a->netMode = ReachableViaWiFi;
    a->paceActivities = {sent, received};
    return a;
}

void runTicks(benchmark::State& state, BoxType type, bool changing) {
    auto& settings = SettingsDomain::standard();
    settings.setString(SettingsKey::TrayRendering, "wide");
    settings.setInteger(SettingsKey::NetMenuBoxType, static_cast<int>(type));
    NetMenuBarItemController controller(QDBusConnection(QStringLiteral("none")), nullptr);
    controller.statusItem()->setDevicePixelRatioOverride(2.0);
    controller.loadMenuBarItemIfNeed();
    uint64_t n = 0;
    for (auto _ : state) {
        const uint64_t v = changing ? 1000 + (n++ % 5000) * 7 : 1234;
        controller.itemContainer()->networkActivityDidUpdate(tick(v / 3, v));
        benchmark::DoNotOptimize(controller.statusItem()->currentImage().constBits());
    }
    state.counters["width_px"] = controller.statusItem()->currentImage().width();
}

void BM_TickWidestStyleChanging(benchmark::State& state) {
    runTicks(state, BoxType::largeWithCPU, true);
}
BENCHMARK(BM_TickWidestStyleChanging)->Unit(benchmark::kMicrosecond);

void BM_TickWidestStyleUnchanged(benchmark::State& state) {
    runTicks(state, BoxType::largeWithCPU, false);
}
BENCHMARK(BM_TickWidestStyleUnchanged)->Unit(benchmark::kMicrosecond);

void BM_TickStockStyle(benchmark::State& state) {
    runTicks(state, BoxType::stock, true);
}
BENCHMARK(BM_TickStockStyle)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    DrawingBench bench(argc, argv);
    if (!bench.ready())
        return 2;
    DrawingBench::run(argc, argv);
    return 0;
}
