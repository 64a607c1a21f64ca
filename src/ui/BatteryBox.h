#pragma once

#include "BatteryChartView.h"

#include <QColor>
#include <QString>
#include <QWidget>

class QScrollArea;

// The battery percentage of the last 48 hours on the home page: the chart in a horizontal
// scroller that starts at the newest hours, and the text of the bar under the pointer.
class BatteryBox : public QWidget {
    Q_OBJECT
public:
    static constexpr int kHeight = 140;

    explicit BatteryBox(BatteryChartView::DatasetSource source = {}, QWidget* parent = nullptr);

    BatteryChartView* visualView() const { return visualView_; }
    QString hoverText() const { return hoverText_; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    QScrollArea* scroller_;
    BatteryChartView* visualView_;
    QString hoverText_;
    QColor hoverColor_;
};
