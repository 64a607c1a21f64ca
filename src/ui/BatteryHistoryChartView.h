#pragma once

#include "power/BatteryHealthLogger.h"

#include <QColor>
#include <QDate>
#include <QRectF>
#include <QString>
#include <QWidget>

#include <functional>
#include <optional>
#include <vector>

// The bar chart of the battery history page: the logged full-charge capacity against the
// design capacity, one slot per day, month or year of the chosen range, newest on the right.
// The value axis starts at 80 %, 60 % or 0 % so that the smallest shown health still stands
// clear of the floor. The bar under the pointer is named in the title line.
class BatteryHistoryChartView : public QWidget {
    Q_OBJECT
public:
    enum class TimeRange : int { Day = 0, Week = 1, Month = 2, Year = 3 };
    // A stored range number; 4 and above (and negatives) are none.
    static std::optional<TimeRange> timeRange(int raw);

    // The hover target of one drawn bar.
    struct TimelineAtom {
        QRectF frame;
        QString text;
        QColor textColor;
        double number = 0; // the health shown, 0 ... 1
    };
    // One slot of the chart: its date, the log entry it shows (if any) and its drawn bar.
    struct Atom {
        QDate date;
        std::optional<BatteryHealthLogger::Item> item;
        std::optional<TimelineAtom> timeline;
    };

    using DayClock = std::function<QDate()>;
    // clock empty: today's local date.
    explicit BatteryHistoryChartView(DayClock clock = {}, QWidget* parent = nullptr);

    // Rebuilds the slots of range from items (oldest first) and redraws.
    void reload(TimeRange range, const std::vector<BatteryHealthLogger::Item>& items);

    TimeRange timeRange() const { return timeRange_; }
    const std::vector<Atom>& data() const { return data_; }
    bool isEmptyData() const { return isEmptyData_; }
    int minAnchor() const { return minAnchor_; }
    // The bar under the pointer.
    const std::optional<TimelineAtom>& selectedTimeline() const { return selectedTimeline_; }

    // The slots of range ending today: 90 or 7 days, 12 months or 5 years, oldest first, each
    // with the log entry of its day, or the first entry of its month or year.
    static std::vector<Atom>
    slotsFor(TimeRange range, const std::vector<BatteryHealthLogger::Item>& items, QDate today);
    // Full-charge over design capacity, kept within 0 ... 1.
    static double health(const BatteryHealthLogger::Item& item);
    // Where the value axis starts (percent) for these slots: 80 when every shown health is
    // above 0.8, 60 when above 0.6, else 0; previous when no slot has an entry.
    static int minAnchorFor(const std::vector<Atom>& atoms, int previous);
    // The localisation key of the chart title of range.
    static const char* titleKey(TimeRange range);

    QRectF plotRect() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    void layoutBars();

    DayClock clock_;
    TimeRange timeRange_ = TimeRange::Day;
    std::vector<Atom> data_;
    bool isEmptyData_ = true;
    int minAnchor_ = 0;
    std::optional<TimelineAtom> selectedTimeline_;
};
