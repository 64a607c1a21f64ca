#pragma once

#include "settings/DynamicAppearance.h"

#include <QApplication>
#include <QDir>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>

// What every drawing benchmark runs in: private settings and data folders, an offscreen
// application and the light appearance, all gone when the object goes.
class DrawingBench {
public:
    DrawingBench(int& argc, char** argv) {
        base_ = (QDir::tempPath() + "/lumenstat-bench-XXXXXX").toLocal8Bit();
        if (!mkdtemp(base_.data())) {
            base_.clear();
            return;
        }
        setenv("XDG_CONFIG_HOME", base_.constData(), 1);
        setenv("XDG_DATA_HOME", base_.constData(), 1);
        setenv("QT_QPA_PLATFORM", "offscreen", 0);
        app_ = std::make_unique<QApplication>(argc, argv);
        DynamicAppearance::shared().setSource(FixedAppearanceSource::make(false));
    }
    ~DrawingBench() {
        if (!base_.isEmpty())
            QDir(QString::fromLocal8Bit(base_)).removeRecursively();
    }
    DrawingBench(const DrawingBench&) = delete;
    DrawingBench& operator=(const DrawingBench&) = delete;

    bool ready() const { return app_ != nullptr; }

    // Runs the benchmarks the command line selects.
    static void run(int& argc, char** argv) {
        benchmark::Initialize(&argc, argv);
        benchmark::RunSpecifiedBenchmarks();
        benchmark::Shutdown();
    }

    // The whole main() of a benchmark over one fixture that slot points at while it runs.
    template <typename Fixture> static int main(int& argc, char** argv, Fixture*& slot) {
        DrawingBench bench(argc, argv);
        if (!bench.ready())
            return 2;
        Fixture f;
        slot = &f;
        run(argc, argv);
        slot = nullptr;
        return 0;
    }

private:
    QByteArray base_;
    std::unique_ptr<QApplication> app_;
};
