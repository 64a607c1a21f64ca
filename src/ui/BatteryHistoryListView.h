#pragma once

#include "power/BatteryHealthLogger.h"

#include <QAbstractScrollArea>
#include <QColor>
#include <QString>

#include <functional>
#include <vector>

// The list of the battery history page: one row per logged day, newest first, with the day,
// its health, its cycle count and a delete button. Only the rows in view are drawn, so a log
// of years costs no more than a week's.
class BatteryHistoryListView : public QAbstractScrollArea {
    Q_OBJECT
public:
    static constexpr int kRowHeight = 48;

    explicit BatteryHistoryListView(QWidget* parent = nullptr);

    // items oldest first, as the log keeps them; row r shows item count - 1 - r.
    void setItems(std::vector<BatteryHealthLogger::Item> items);
    int rowCount() const { return int(items_.size()); }
    const BatteryHealthLogger::Item& itemAtRow(int row) const;
    // The delete button of row, in the viewport's coordinates.
    QRect deleteButtonRect(int row) const;

    // Called with the row whose delete button was pressed.
    std::function<void(int row)> deleteHandler;

    // Full-charge over design capacity of the row's figure (negative shows as 0).
    static double healthFigure(const BatteryHealthLogger::Item& item);
    // Green above 0.8, amber above 0.7, red at 0.7 and below.
    static QColor healthColor(double health);
    // "97.52%" and "312c".
    static QString healthText(const BatteryHealthLogger::Item& item);
    static QString cycleText(const BatteryHealthLogger::Item& item);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    int rowAt(QPoint viewportPoint) const;
    void updateScrollRange();

    std::vector<BatteryHealthLogger::Item> items_;
    int hoveredRow_ = -1;
    bool hoveringDelete_ = false;
};
