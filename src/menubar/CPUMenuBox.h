#pragma once

#include "NetMenuBox.h"

#include <functional>

// The CPU item's style: the processor load as "23 %" beside a sparkline of the last twelve
// loads. Redrawn on every activity record, after the heartbeat took the reading.
class CPU : public NetMenuBox {
    Q_OBJECT
public:
    static constexpr double kDefaultWidth = 82;
    static constexpr double kStockWidth = 36;

    CPU();
    double defaultWidth() const override { return kDefaultWidth; }
    BoxType boxType() const override { return BoxType::cpu; }
    void update(const ActivityObject& activity) override;
    // Takes the load text now and redraws (the record itself is not needed).
    void reload();

    // A square picture of load (0 ... 100) for hosts that squeeze items: a chip outline
    // filled from the bottom in steps of a tenth.
    static QImage gaugePicture(int pixels, const QColor& colour, uint64_t load);
    // The tenths of load (0 ... 100) the gauge fills, 0 ... 10.
    static int gaugeTenths(uint64_t load);

    // The load text; by default the CPU reader's (empty when it has none).
    static std::function<QString()>& cpuTextSource();

    MenuLabel textLabel;
    StockView_T stockView{QStringLiteral("app.menuBar.stock.cpu")};
    int widthAnnouncements = 0;

protected:
    void drawContent(QPainter& p) const override;

private:
    void adaptWidth();
};
