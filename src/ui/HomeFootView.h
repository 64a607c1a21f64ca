#pragma once

#include <QWidget>

#include <functional>

class QToolButton;

// The bottom row of the home page: the floating-window switch, the settings button and, on
// machines with a battery, the battery health button.
class HomeFootView : public QWidget {
    Q_OBJECT
public:
    static constexpr int kHeight = 50;

    explicit HomeFootView(bool hasBattery, QWidget* parent = nullptr);

    QToolButton* floatingWindowButton() const { return floatingWindowButton_; }
    QToolButton* settingsButton() const { return settingsButton_; }
    // Null on a machine without a battery.
    QToolButton* batteryButton() const { return batteryButton_; }

    std::function<void()> floatingWindowHandler;
    std::function<void()> settingsHandler;
    std::function<void()> batteryHandler;

    // Sizes the battery button's image to 16 points high.
    void sizeBatteryImage();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void updateIcons();

    QToolButton* floatingWindowButton_;
    QToolButton* settingsButton_;
    QToolButton* batteryButton_ = nullptr;
};
