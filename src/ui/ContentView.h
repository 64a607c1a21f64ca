#pragma once

#include "network/ActivityObject.h"
#include "network/DataUsageProvider.h"

#include <QRectF>
#include <QSize>
#include <QString>
#include <QTime>
#include <QWidget>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

class StockView_T;

// The floating window's layout, stored as an integer under "app.settings.floatWindowMode".
enum class WindowMode : unsigned { compactA = 0, compactB = 1, wide = 2 };

// The stored integer read as unsigned: anything above 2, a negative number included, is wide.
WindowMode windowModeFromStored(int64_t stored);
// 132 x 112 for the compact modes, 252 x 112 for wide.
QSize windowSizeForMode(WindowMode mode);

// Everything the floating window shows: a header with the connection, the clock and the
// battery, a dotted rule, the network half above it and the CPU half below, each with its
// sparkline. The view draws all of it; its window only supplies the background.
class ContentView : public QWidget {
    Q_OBJECT
public:
    static constexpr double kInset = 8;
    static constexpr double kHeaderBand = 20;
    static constexpr double kStockHeight = 28;
    static constexpr double kBatteryWidth = 29.387755102040817;
    static constexpr double kBatteryHeight = 15;

    struct BatteryState {
        int64_t percentage = 0;
        bool charging = false;
    };

    // Where the figures beside the activity record come from. system() reads the app's
    // data usage provider, CPU reader, battery report and clock.
    struct Sources {
        std::function<DataUsageProvider::Atom()> todayTotals;
        std::function<QString()> cpuRate;                   // "" before the first reading
        std::function<std::optional<QString>()> cpuAverage; // absent while nothing is kept
        std::function<bool()> hasBattery;
        std::function<std::optional<BatteryState>()> battery; // absent: report not loaded
        std::function<QTime()> now;

        static Sources system();
    };

    explicit ContentView(Sources sources, QWidget* parent = nullptr);
    ~ContentView() override;

    // One heartbeat: keeps the record, feeds the sparklines and redraws.
    using QWidget::update;
    void update(const ActivityRecord& activity);

    WindowMode windowMode() const { return windowMode_; }
    // Hides the network sparkline in compactB, lays the sparklines out and redraws.
    void setWindowMode(WindowMode mode);
    bool showTime() const { return showTime_; }
    // Re-reads "app.settings.floatWindowWideModeShowTime"; redraws in wide mode only.
    void showTimeDidChange();

    StockView_T& topStock() { return *topStock_; }
    StockView_T& btmStock() { return *btmStock_; }
    bool topStockHidden() const { return windowMode_ == WindowMode::compactB; }

    // The two halves of the body below the header band.
    QRectF upperHalf() const;
    QRectF lowerHalf() const;
    // The sparkline frame inside half for the current mode.
    QRectF stockFrame(const QRectF& half) const;

    // The texts as drawn.
    QString titleText() const;
    QString networkLine() const;
    QString networkDetailLine() const;
    QString cpuLine() const;
    QString cpuDetailLine() const;
    // The title's box width for the current mode, battery and clock.
    double titleWidth() const;

    // The dots of a rule width points wide: the fewest (at least 2) whose gaps are at most
    // 4 points, and that gap.
    struct DottedRule {
        int count = 0;
        double gap = 0;
    };
    static DottedRule dottedRule(double width);
    // A data total in KB as "<n> MB" up to 1024 MB, else "<n.nn> GB".
    static QString megabyteText(int64_t kb);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    // Reads the figures beside the record once per tick, so the frames the sparkline
    // animation draws in between cost only the drawing.
    void refreshFigures();
    void layoutStocks();
    QRect stockBox(const StockView_T& stock) const;
    void recolourStocks();
    bool hasNetwork() const;

    Sources sources_;
    struct Figures {
        DataUsageProvider::Atom totals;
        QString cpuRate;
        std::optional<QString> cpuAverage;
        bool hasBattery = false;
        std::optional<BatteryState> battery;
        QTime now;
    } figures_;
    ActivityRecord networkActivity_;
    WindowMode windowMode_ = WindowMode::compactA;
    bool showTime_ = false;
    bool topStockRed_ = false;
    std::unique_ptr<StockView_T> topStock_;
    std::unique_ptr<StockView_T> btmStock_;
};
