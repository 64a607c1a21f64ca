#pragma once

#include "BatteryHealthView.h"
#include "TransitionController.h"

class QScrollArea;

// The battery page of the main panel: the battery report's view under the page's title
// bar, scrolling when the panel is shorter than the view.
class BatteryHealthViewController : public TransitionController {
    Q_OBJECT
public:
    // report and chart: as BatteryHealthView takes them (empty: the shared report and log).
    explicit BatteryHealthViewController(BatteryHealthView::ReportSource report = {},
                                         BatteryChartView::DatasetSource chart = {},
                                         QWidget* parent = nullptr);

    BatteryHealthView* batteryHealthView() const { return batteryHealthView_; }
    QScrollArea* scrollView() const { return scrollView_; }

protected:
    void layoutContent() override;

private:
    QScrollArea* scrollView_;
    BatteryHealthView* batteryHealthView_;
};
