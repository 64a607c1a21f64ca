#pragma once

#include <QAbstractButton>
#include <QWidget>

class QVariantAnimation;

// The tracking bar at the bottom of the per-app usage page: its caption ("App Data Usage"
// over "Running" or "Off") and a switch. The switch only reports taps; the page decides
// what they do and when the switch takes taps again.
class NetAppToggleView : public QWidget {
    Q_OBJECT
public:
    static constexpr int kHeight = 52;

    explicit NetAppToggleView(QWidget* parent = nullptr);

    QAbstractButton* toggleControl() const { return toggleControl_; }
    bool isRunning() const { return isRunning_; }
    // Sets the caption's state and the switch's position.
    void setRunning(bool running);
    // A short sweep along the bar's top edge: tracking just started.
    void animate();

signals:
    void toggled();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QAbstractButton* toggleControl_;
    QVariantAnimation* sweep_;
    bool isRunning_ = false;
};
