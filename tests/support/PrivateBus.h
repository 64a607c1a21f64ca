#pragma once

#include <QDBusConnection>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

// A private D-Bus daemon for one test, with python3-dbusmock services started on it.
// Everything is stopped when the object dies.
class PrivateBus {
public:
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    bool isRunning() const { return !address_.isEmpty(); }
    const QString& address() const { return address_; }
    // A client connection to the bus (unique per PrivateBus).
    QDBusConnection connection();
    // Starts `python3 -m dbusmock --template name` as if this bus were the system bus (or
    // the session bus when system is false), and waits until busName is owned.
    bool startTemplate(const QString& templateName, const QString& busName, bool system = true,
                       const QStringList& extraArgs = {});

private:
    QProcess daemon_;
    std::vector<std::unique_ptr<QProcess>> mocks_;
    QString address_;
    QString connectionName_;
};
