#pragma once

#include "power/PowerPercentageChart.h"

#include <nlohmann/json.hpp>

#include <QImage>
#include <QWidget>

#include <functional>
#include <vector>

// The 48-hour battery percentage chart (1200 x 112 points): drawn once into an image whenever
// the percentage log gains points, with the bar under the pointer reported for its text.
class BatteryChartView : public QWidget {
    Q_OBJECT
public:
    static constexpr int kWidth = 1200;
    static constexpr int kHeight = 112;

    using DatasetSource = std::function<std::vector<nlohmann::json>()>;
    // source null: the process-wide percentage log.
    explicit BatteryChartView(DatasetSource source = {}, QWidget* parent = nullptr);

    // Draws the chart again from the log.
    void render();
    const std::vector<TrackableRect>& trackableRects() const { return rects_; }
    // The text of the bar at point and its colour; an empty text outside any real bar.
    std::pair<QString, QColor> textAt(const QPointF& point) const;

    // Called with the hovered bar's text and colour (empty text: none).
    std::function<void(const QString&, const QColor&)> hoverHandler;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    DatasetSource source_;
    QImage image_;
    std::vector<TrackableRect> rects_;
};
