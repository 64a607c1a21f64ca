// One tick of the open floating window: the record reaches the controller, both sparklines
// take their values, and the window is drawn into a 2x frame. And one animation frame: the
// sparklines' boxes alone, as drawn about 15 times after each tick. Budget: under 1 ms per
// tick in the wide mode.
#include "DrawingBench.h"
#include "menubar/StockView_T.h"
#include "settings/DynamicAppearance.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "ui/FloatWindowController.h"

#include <QImage>

#include <benchmark/benchmark.h>

#include <cstdlib>

namespace {

class Sampler : public ActivitySampler {
public:
    void insertActivityObserver(ActivityObserver*) override {}
    void addActivityObserver(ActivityObserver*) override {}
    void removeActivityObserver(ActivityObserver*) override {}
    void startMonitoring() override {}
    void stopMonitoring() override {}
};

void runTicks(benchmark::State& state, int mode, bool tick = true) {
    SettingsDomain::standard().setInteger(SettingsKey::FloatWindowMode, mode);
    SettingsDomain::standard().setBool(SettingsKey::FloatWindowWideModeShowTime, true);
    Sampler sampler;
    FloatWindowController controller(sampler, nullptr);
    QWidget& window = controller.windowWidget();
    QImage frame(window.size() * 2, QImage::Format_ARGB32_Premultiplied);
    frame.setDevicePixelRatio(2);
    QRegion sparklines;
    for (const StockView_T* stock :
         {&controller.contentView().topStock(), &controller.contentView().btmStock()})
        sparklines |= stock->frame().toAlignedRect().adjusted(-2, -2, 2, 2);
    uint64_t n = 0;
    for (auto _ : state) {
        auto record = std::make_shared<ActivityObject>();
        record->netMode = ReachableViaWiFi;
        record->ssid = QStringLiteral("Home");
        const uint64_t v = 1000 + (n++ % 5000) * 7;
        record->paceActivities = {v / 3, v};
        record->sentNumbers = std::vector<uint64_t>(60, v / 3);
        record->downNumbers = std::vector<uint64_t>(60, v);
        if (tick || n == 1)
            controller.networkActivityDidUpdate(record);
        window.render(&frame, QPoint(), tick ? QRegion() : sparklines, QWidget::DrawChildren);
        benchmark::DoNotOptimize(frame.constBits());
    }
}

void BM_FloatWindowTickWide(benchmark::State& state) {
    runTicks(state, 2);
}
BENCHMARK(BM_FloatWindowTickWide)->Unit(benchmark::kMicrosecond);

void BM_FloatWindowTickCompactA(benchmark::State& state) {
    runTicks(state, 0);
}
BENCHMARK(BM_FloatWindowTickCompactA)->Unit(benchmark::kMicrosecond);

// A frame between ticks, as the sparkline animation draws them: the sparklines' boxes only.
void BM_FloatWindowFrameWide(benchmark::State& state) {
    runTicks(state, 2, false);
}
BENCHMARK(BM_FloatWindowFrameWide)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    DrawingBench bench(argc, argv);
    if (!bench.ready())
        return 2;
    DrawingBench::run(argc, argv);
    return 0;
}
