#pragma once

#include "network/ActivityObserver.h"

#include <QString>
#include <QWidget>

#include <cstdint>

class StockView_T;

// The speeds of the home page: an upload column and a download column, each with its arrow,
// the current pace, a sparkline of the recent paces, and the running total with the average
// pace over the sparkline's length.
class NetBox : public QWidget, public ActivityObserver {
    Q_OBJECT
public:
    static constexpr int kHeight = 140;

    explicit NetBox(QWidget* parent = nullptr);
    ~NetBox() override;

    void networkActivityDidUpdate(const ActivityRecord& record) override;
    // Keeps both sparklines' histories in the settings, so the next start resumes them.
    void storeFrequencies();

    StockView_T* sentStock() const { return sent_.stock; }
    StockView_T* receivedStock() const { return received_.stock; }
    // What the columns show now: the pace ("12" and "KB/s") and the line under the sparkline.
    QString paceValue(bool upload) const { return column(upload).pace; }
    QString paceUnit(bool upload) const { return column(upload).unit; }
    QString totalLine(bool upload) const { return column(upload).line; }

    // The running total as shown: the KB total shifted right by 10 bits, then written with
    // the KB rule (" KB" below 1025, else "%.2f" of value / 1024 and " MB"). So the figure is
    // the total in MB under a KB label; that is how the box has always read.
    static QString totalText(uint64_t totalKB);
    // total text, " • AVG: ", the average in the fixed speed rule, a space and its unit
    // without "/s".
    static QString totalLineText(uint64_t totalKB, uint64_t averageKB);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    struct Column {
        StockView_T* stock = nullptr;
        QString pace;
        QString unit;
        QString line;
    };
    const Column& column(bool upload) const { return upload ? sent_ : received_; }
    void applyColours();
    void setColumn(Column& column, uint64_t pace, uint64_t total, uint64_t average);
    void paintColumn(QPainter& p, const Column& column, bool upload, const QRectF& area) const;

    Column sent_;
    Column received_;
};
