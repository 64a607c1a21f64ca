#pragma once

#include <QByteArray>
#include <QObject>

class QSocketNotifier;

// Kernel uevents of the power_supply subsystem, read from a NETLINK_KOBJECT_UEVENT socket
// (the kernel's own multicast group, open to unprivileged processes). Emits
// powerSupplyChanged() on the main thread once per batch of power-supply events.
class PowerSupplyMonitor : public QObject {
    Q_OBJECT
public:
    explicit PowerSupplyMonitor(QObject* parent = nullptr);
    ~PowerSupplyMonitor() override;

    // Opens and binds the socket; false when the kernel or a sandbox refuses it.
    bool start();
    // Reads from an already open datagram socket instead (tests pass one end of a pair).
    bool startWithDescriptor(int fd);
    void stop();
    bool isRunning() const { return fd_ >= 0; }

    // A uevent message ("ACTION@DEVPATH\0KEY=VALUE\0..."): does it concern a power supply?
    static bool isPowerSupplyEvent(const QByteArray& message);

signals:
    void powerSupplyChanged();

private:
    void readEvents();
    int fd_ = -1;
    QSocketNotifier* notifier_ = nullptr;
};
