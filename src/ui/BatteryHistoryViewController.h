#pragma once

#include "BatteryHistoryChartView.h"
#include "TransitionController.h"

#include <vector>

class BatteryHistoryListView;
class PageSegmentedControl;
class QLabel;

// The battery history page: a range switch (90 days, 7 days, 12 months, 5 years), the chart
// of the logged health over that range and the list of every logged day, newest first, whose
// rows delete their entry from the log. The page keeps its own copy of the log, taken when it
// loads and kept in step with every deletion.
class BatteryHistoryViewController : public TransitionController {
    Q_OBJECT
public:
    // logger null: the process-wide log. clock empty: today's local date.
    explicit BatteryHistoryViewController(BatteryHealthLogger* logger = nullptr,
                                          BatteryHistoryChartView::DayClock clock = {},
                                          QWidget* parent = nullptr);

    PageSegmentedControl* segmentedControl() const { return segmentedControl_; }
    BatteryHistoryChartView* chartView() const { return chartView_; }
    BatteryHistoryListView* collectionView() const { return collectionView_; }
    QLabel* emptyView() const { return emptyView_; }
    const std::vector<BatteryHealthLogger::Item>& items() const { return items_; }

    // Takes the log's entries again and redraws the chart and the list.
    void reloadItems();
    // Deletes the entry shown in row r from the log and the page; a row outside the list
    // does nothing.
    void deleteRow(int row);
    // Shows range in the chart (the range switch's action).
    void selectRange(BatteryHistoryChartView::TimeRange range);

protected:
    void layoutContent() override;

private:
    void reloadViews();

    BatteryHealthLogger* logger_;
    PageSegmentedControl* segmentedControl_;
    BatteryHistoryChartView* chartView_;
    QWidget* separator_;
    BatteryHistoryListView* collectionView_;
    QLabel* emptyView_;
    std::vector<BatteryHealthLogger::Item> items_;
};
