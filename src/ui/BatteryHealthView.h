#pragma once

#include "BatteryChartView.h"
#include "power/YYSystemBatteryReport.h"

#include <QColor>
#include <QRectF>
#include <QString>
#include <QWidget>

#include <functional>
#include <optional>

class BatteryBox;

// The battery report as one page: the charge with a charging mark, the power source, the
// time left, four figure boxes (temperature, cycle count, health, capacities) and the
// 48-hour percentage chart. Used by the battery page of the main panel and by the battery
// item's panel.
class BatteryHealthView : public QWidget {
    Q_OBJECT
public:
    static constexpr int kWidth = 272;
    // Height without the title row and with the chart.
    static constexpr int kHeight = 424;
    static constexpr int kTitleHeight = 24;

    // The report to show; null or not loaded leaves the view as it is.
    using ReportSource = std::function<const YYSystemBatteryReport*()>;
    // report null: the shared report. chart: the percentage log the chart reads (null: the
    // process-wide log).
    explicit BatteryHealthView(ReportSource report = {}, BatteryChartView::DatasetSource chart = {},
                               QWidget* parent = nullptr);

    // Takes the current report (when loaded), sets the texts and gauges and redraws. Runs
    // on creation, when shown and on every battery state change.
    void reload();

    // The title row ("BATTERY") above everything; the figure boxes and the chart below the
    // charge. Both change the height the view asks for.
    void setDrawsTitle(bool draws);
    void setDrawsDetails(bool draws);
    bool drawsTitle() const { return drawsTitle_; }
    bool drawsDetails() const { return drawsDetails_; }

    struct Capacities {
        QString current;
        QString full;
        QString max;
    };
    const std::optional<YYSystemBatteryReport>& powerReport() const { return powerReport_; }
    const std::optional<Capacities>& capacities() const { return capacities_; }
    bool isCharging() const { return isCharging_; }
    double temperatureProgress() const { return temperatureProgress_; }
    double capacitiesProgress() const { return capacitiesProgress_; }
    BatteryChartView* visualView() const;

    // Where the parts are drawn, for the tests' pixel checks.
    QRectF temperatureBarRect() const;
    QRectF capacitiesBarRect() const;

    // The rules behind the texts and gauges.
    // (celsius - 25) / 20, at most 1, 0 when not positive (also for NaN).
    static double temperatureProgressFor(double celsius);
    // "30.0ºC/86.0ºF" (Fahrenheit in single precision).
    static QString temperatureText(double celsius);
    // The localized power source line for a battery status (0, 1 or 2).
    static QString powerSourceText(int batteryStatus);
    // "87.42%".
    static QString healthText(double health);
    // "5,012 • 5,200 • 6,000 mAh", "-" in each place without capacities.
    static QString capacitiesText(const std::optional<Capacities>& capacities);
    // A capacity in mAh as the boxes show it (grouped digits).
    static QString capacityNumber(int64_t mAh);
    // current / design, within 0 ... 1; 0 without both or with a design of 0.
    static double capacitiesProgressFor(std::optional<int64_t> current,
                                        std::optional<int64_t> design);
    // Blue up to half, red above.
    static QColor temperatureBarColor(double progress);
    // Red below 21 %, else blue.
    static QColor capacitiesBarColor(int64_t percentage);

signals:
    // The height the view asks for changed (title or details switched).
    void heightChanged(int height);

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    int preferredHeight() const;
    qreal top() const;
    QRectF boxRect(int index) const;
    void drawBox(QPainter& p, int index, const QString& label, const QString& value) const;
    void drawGauge(QPainter& p, const QRectF& bar, double progress, const QColor& colour) const;
    void placeChart();

    ReportSource report_;
    BatteryBox* chart_;
    bool drawsTitle_ = false;
    bool drawsDetails_ = true;
    std::optional<YYSystemBatteryReport> powerReport_;
    std::optional<Capacities> capacities_;
    bool isCharging_ = false;
    double temperatureProgress_ = 0;
    double capacitiesProgress_ = 0;
};
