#pragma once

#include "Wait.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QProcess>

#include <atomic>
#include <memory>
#include <vector>

// A private D-Bus daemon for one test, with python3-dbusmock services started on it.
// Nothing is started on demand on it (tests/support/session-bus.conf), so a call to an absent
// service fails at once whatever the machine has installed. Everything is stopped when the
// object dies.
class PrivateBus {
public:
    PrivateBus() : name_(QStringLiteral("lumenstat-test-bus-%1").arg(counter_++)) {
        daemon_.start("dbus-daemon", {QStringLiteral("--config-file=" LUMENSTAT_SOURCE_DIR
                                                     "/tests/support/session-bus.conf"),
                                      "--nofork", "--print-address=1"});
        if (daemon_.waitForStarted(5000) && waitUntil([this] { return daemon_.canReadLine(); }))
            address_ = QString::fromUtf8(daemon_.readLine()).trimmed();
    }
    ~PrivateBus() {
        QDBusConnection::disconnectFromBus(name_);
        for (auto& m : mocks_)
            stop(*m);
        stop(daemon_);
    }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    bool isRunning() const { return !address_.isEmpty(); }
    QDBusConnection connection() { return QDBusConnection::connectToBus(address_, name_); }
    // Another client of the same bus (a second process would have one); dropped with
    // QDBusConnection::disconnectFromBus(name).
    QDBusConnection client(const QString& name) {
        return QDBusConnection::connectToBus(address_, name_ + QLatin1Char('-') + name);
    }
    // Starts `python3 -m dbusmock --template name` as if this bus were the system bus (or
    // the session bus when system is false), and waits until busName is owned.
    bool startTemplate(const QString& templateName, const QString& busName, bool system = true) {
        if (!isRunning())
            return false;
        auto proc = std::make_unique<QProcess>();
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(system ? "DBUS_SYSTEM_BUS_ADDRESS" : "DBUS_SESSION_BUS_ADDRESS", address_);
        proc->setProcessEnvironment(env);
        proc->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        proc->start("/usr/bin/python3", {"-m", "dbusmock", system ? "--system" : "--session",
                                         "--template", templateName});
        if (!proc->waitForStarted(5000))
            return false;
        mocks_.push_back(std::move(proc));
        QDBusConnection bus = connection();
        return waitUntil(
            [&] {
                return bus.interface() && bus.interface()->isServiceRegistered(busName).value();
            },
            10000);
    }

private:
    static void stop(QProcess& p) {
        if (p.state() == QProcess::NotRunning)
            return;
        p.terminate();
        if (!p.waitForFinished(3000))
            p.kill();
        p.waitForFinished(1000);
    }
    static inline std::atomic<int> counter_{0};
    QProcess daemon_;
    std::vector<std::unique_ptr<QProcess>> mocks_;
    QString address_;
    QString name_;
};
