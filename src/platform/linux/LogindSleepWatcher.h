#pragma once

#include <QDBusConnection>
#include <QDBusUnixFileDescriptor>
#include <QObject>
#include <QString>

// Sleep and wake from systemd-logind. logind announces a suspend with
// PrepareForSleep(true) and the resume with PrepareForSleep(false). While the watcher
// runs it holds a "delay" inhibitor lock, so logind waits for the sleep handlers before
// the machine goes down: willSleep() is emitted and handled synchronously, then the lock
// is released; after didWake() the lock is taken again for the next suspend.
//
// Without a system bus the watcher does nothing and start() answers false; the app then
// runs on without sleep handling.
class LogindSleepWatcher : public QObject {
    Q_OBJECT
public:
    static constexpr const char* kService = "org.freedesktop.login1";
    static constexpr const char* kPath = "/org/freedesktop/login1";
    static constexpr const char* kManager = "org.freedesktop.login1.Manager";

    explicit LogindSleepWatcher(QDBusConnection bus = QDBusConnection::systemBus(),
                                QObject* parent = nullptr);
    ~LogindSleepWatcher() override;

    // Subscribes to PrepareForSleep and takes the inhibitor lock. False when there is no
    // system bus to listen on.
    bool start();
    bool holdsInhibitor() const { return inhibitor_.isValid(); }
    // Why the lock is wanted, as logind lists it.
    static QString inhibitReason();

signals:
    void willSleep();
    void didWake();

private slots:
    void onPrepareForSleep(bool sleeping);

private:
    void takeInhibitor();
    void releaseInhibitor();

    QDBusConnection bus_;
    QDBusUnixFileDescriptor inhibitor_;
    bool started_ = false;
};
