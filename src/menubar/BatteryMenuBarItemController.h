#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QPoint>

#include <functional>

class BatteryMenuBox;
class MenuBarItemHost;
class NetworkMonitor;
class YYSystemBatteryReport;

// The optional battery item: the battery picture for the charge level and power source,
// optionally after the percentage. Shown while "WantsBatteryStatusInMenuBar" is on; a click
// toggles the battery panel (installed by the app as showPopoverHandler) on a machine with a
// battery.
class BatteryMenuBarItemController : public QObject {
    Q_OBJECT
public:
    static BatteryMenuBarItemController& shared();
    // report: the report to show (null or not loaded: the empty charging picture);
    // hasBattery: whether clicks open the panel.
    BatteryMenuBarItemController(const QDBusConnection& bus,
                                 std::function<const YYSystemBatteryReport*()> report,
                                 std::function<bool()> hasBattery, QObject* parent = nullptr);

    void loadMenuBarItemIfNeed();
    // Picture and text from the report and the settings (nothing without an item).
    void updateMenuBarItemIfNeed();
    // The panel's switches: store the setting and update the item.
    void setShowsPercentage(bool on);
    void toggleBatteryIconTintColor(bool on);

    void showPopover(QPoint at);
    std::function<void(QPoint)> showPopoverHandler;

    MenuBarItemHost* host() const { return host_; }
    BatteryMenuBox* view() const;

private:
    MenuBarItemHost* host_;
    std::function<const YYSystemBatteryReport*()> report_;
    std::function<bool()> hasBattery_;
    bool updateScheduled_ = false;
};
