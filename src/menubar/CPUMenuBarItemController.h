#pragma once

#include <QColor>
#include <QDBusConnection>
#include <QImage>
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
    // The square gauge as last drawn for one size: handed out again while its tenth, size and
    // colour stay, so a tick that moved the load within a tenth draws nothing.
    struct Gauge {
        int pixels = 0;
        QRgb colour = 0;
        int tenths = -1;
        QImage image;
    };
    QImage gauge(int pixels, const QColor& colour);

    MenuBarItemHost* host_;
    Gauge gauges_[2];
};
