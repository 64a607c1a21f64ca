#pragma once

#include "BatteryHealthView.h"

#include <QWidget>

#include <functional>

class QLabel;
class ToggleSwitch;

// The battery item's panel page: the battery health view, and below it a row that expands
// to two switches for the item itself (percentage, coloured picture).
class MenuBatteryHealthViewController : public QWidget {
    Q_OBJECT
public:
    // The panel's content heights with the switches hidden and shown.
    static constexpr int kCollapsedHeight = 508;
    static constexpr int kExpandedHeight = 588;
    static constexpr int kCellHeight = 36;
    static constexpr int kSettingsHeight = 80;

    explicit MenuBatteryHealthViewController(BatteryHealthView::ReportSource report = {},
                                             BatteryChartView::DatasetSource chart = {},
                                             QWidget* parent = nullptr);

    BatteryHealthView* batteryHealthView() const { return batteryHealthView_; }
    // The expandable row.
    QWidget* cell() const { return cell_; }
    bool isExpanded() const { return isExpanded_; }
    // Same as a tap on the row.
    void setExpanded(bool expanded);
    // Called with the new state after each tap (the panel changes its height).
    std::function<void(bool expanded)> tapHandler;

    QWidget* settingsView() const { return settingsView_; }
    ToggleSwitch* percentageToggler() const { return percentageToggler_; }
    ToggleSwitch* tintColorToggler() const { return tintColorToggler_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    BatteryHealthView* batteryHealthView_;
    QWidget* cell_;
    QWidget* settingsView_;
    ToggleSwitch* percentageToggler_;
    ToggleSwitch* tintColorToggler_;
    bool isExpanded_ = false;
    bool isMouseEntered_ = false;
};
