#pragma once

#include "network/DataUsageProvider.h"

#include <QColor>
#include <QRectF>
#include <QString>
#include <QWidget>

#include <cstdint>
#include <functional>
#include <vector>

class QToolButton;

// One drawn bar of the data-usage charts and what hovering it shows.
struct TimelineAtom {
    QRectF frame;
    QString text;
    QColor textColor;
};

// The hourly data usage of the home page: an upload chart on the left and a download chart on
// the right over today or the last 24 hours (the group setting "DataUsageTimeRange"), the sums
// of both directions beneath, and the text of the bar under the pointer.
class DataUsageBox : public QWidget {
    Q_OBJECT
public:
    static constexpr int kHeight = 160;
    static constexpr double kMinimumBarHeight = 5;

    // provider null: the process-wide provider.
    explicit DataUsageBox(DataUsageProvider* provider = nullptr, QWidget* parent = nullptr);

    // Takes the timeline of the current range again and redraws.
    void reloadData();

    const std::vector<DataUsageProvider::Atom>& data() const { return data_; }
    int timeRange() const { return timeRange_; }
    // Upload bars first, then download bars, in the box's coordinates.
    const std::vector<TimelineAtom>& timeline() const { return timeline_; }
    QString hoverText() const { return hoverText_; }
    QColor hoverColor() const { return hoverColor_; }
    QRectF uploadChartRect() const;
    QRectF downloadChartRect() const;
    QToolButton* button() const { return button_; }
    // Called by the button (opens the per-app usage page).
    std::function<void()> buttonHandler;

    // An amount in KB in the binary byte-count style ("1.50 MB"), always with a point.
    static QString amountText(int64_t kb);
    // n bars sharing chart's width with 1 point between them; heights (h - 5) * v / max + 5,
    // standing on the chart's bottom edge.
    static std::vector<QRectF> barFrames(const QRectF& chart, const std::vector<int64_t>& values);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    void rebuildTimeline();
    void setHover(const QString& text, const QColor& colour);

    DataUsageProvider* provider_;
    std::vector<DataUsageProvider::Atom> data_;
    int timeRange_ = 0;
    std::vector<TimelineAtom> timeline_;
    QString hoverText_;
    QColor hoverColor_;
    int64_t sentSum_ = 0;
    int64_t receivedSum_ = 0;
    QToolButton* button_;
};
