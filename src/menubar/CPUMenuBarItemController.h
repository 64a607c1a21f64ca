#pragma once

#include <QDBusConnection>
#include <QObject>

class CPU;
class MenuBarItemHost;
class NetworkMonitor;

// The optional CPU load item: shown while "WantsCPUUsageInMenuBar" is on. It has no panel.
class CPUMenuBarItemController : public QObject {
    Q_OBJECT
public:
    static CPUMenuBarItemController& shared();
    CPUMenuBarItemController(const QDBusConnection& bus, NetworkMonitor* monitor,
                             QObject* parent = nullptr);

    // Shows or removes the item according to the setting.
    void loadMenuBarItemIfNeed();

    MenuBarItemHost* host() const { return host_; }
    CPU* view() const;

private:
    MenuBarItemHost* host_;
};
