#pragma once

#include "appusage/DataProvider.h"

#include <QRectF>
#include <QString>
#include <QWidget>

#include <array>
#include <optional>
#include <vector>

// The chart of the per-app usage page: the range's title and total, then 24 hour bars
// (today) or 7 day bars (this week) against a scale at the right, with the bar under the
// pointer named in the corner. Below the total, what the links moved beyond what was
// attributed to any process.
class NetAppChartView : public QWidget {
    Q_OBJECT
public:
    enum class DateRange { Day, Week };

    // One drawn bar and what hovering it shows.
    struct TimelineAtom {
        QRectF frame;
        QString title;
        QString body;
    };

    explicit NetAppChartView(QWidget* parent = nullptr);

    DateRange dateRange() const { return dateRange_; }
    void setDateRange(DateRange range);
    const std::optional<DataSnapshot>& dataSnapshot() const { return dataSnapshot_; }
    void setDataSnapshot(std::optional<DataSnapshot> snapshot);
    // Seconds since 1970 of the snapshot's build; 0: never built.
    void setLastLoadedTime(double seconds);
    // Bytes the links moved that no process accounts for; absent: not shown.
    void setNotAttributed(std::optional<int64_t> bytes);
    std::optional<int64_t> notAttributed() const { return notAttributed_; }

    const std::vector<TimelineAtom>& timeline() const { return timeline_; }
    // The hovered bar's title and body, joined by a line feed; empty when none.
    QString hoverText() const;
    QRectF plotRect() const;
    // The scale's top: the largest hour (today) or day (this week).
    int64_t scaleMaximum() const;

    // Each hour's sum over every entry of today's hourly set of that hour.
    static std::array<int64_t, 24> hourTotals(const DataSnapshot& snapshot);
    // The sum over a day's cooked application list.
    static int64_t dayTotal(const CookedDataset& day);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    void rebuildTimeline();
    qreal labelColumnWidth() const;
    void setHovered(int index);

    DateRange dateRange_ = DateRange::Day;
    std::optional<DataSnapshot> dataSnapshot_;
    double lastLoadedTime_ = 0;
    std::optional<int64_t> notAttributed_;
    std::vector<TimelineAtom> timeline_;
    int hovered_ = -1;
};
