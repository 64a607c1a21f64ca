#pragma once

#include "TransitionController.h"

#include <QColor>
#include <QString>

#include <optional>
#include <vector>

class QLabel;
class QScrollArea;

// The page with the current connection's details: seven rows (hardware address, network
// name, IP address, security, channel, signal strength, transmit rate) refreshed with every
// record the home page hands on. Until the first record arrives it shows a loading text.
class StatusViewController : public TransitionController {
    Q_OBJECT
public:
    // One settings-style row: the title on the left, the subtitle on the right, a hairline
    // under it.
    class Box : public QWidget {
    public:
        static constexpr int kHeight = 36;
        static constexpr int kInset = 16;

        explicit Box(QString title, QWidget* parent = nullptr);

        QString title() const { return title_; }
        std::optional<QString> subtitle;
        // Absent: the palette's text colour.
        std::optional<QColor> subtitleTextColor;
        bool drawsSeparator = true;

    protected:
        void paintEvent(QPaintEvent* event) override;

    private:
        QString title_;
    };

    explicit StatusViewController(QWidget* parent = nullptr);

    // Fills the rows from the record and shows them in place of the loading text.
    void activityDidUpdate(const ActivityObject& record) override;

    const std::vector<Box*>& boxes() const { return boxes_; }
    QScrollArea* scrollView() const { return scrollView_; }
    QLabel* emptyView() const { return emptyView_; }

    // The colour of a signal level in dBm: green from -59 up, orange from -89 to -60, red
    // from -90 down.
    static QColor signalColor(long rssi);
    static constexpr int kStrengthRow = 5;

protected:
    void layoutContent() override;

private:
    void applyAppearance();

    QScrollArea* scrollView_;
    QLabel* emptyView_;
    std::vector<Box*> boxes_;
};
