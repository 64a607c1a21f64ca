#include "LogindSleepWatcher.h"

#include <QDBusMessage>
#include <QDBusReply>

LogindSleepWatcher::LogindSleepWatcher(QDBusConnection bus, QObject* parent)
    : QObject(parent), bus_(std::move(bus)) {}

LogindSleepWatcher::~LogindSleepWatcher() {
    releaseInhibitor();
}

QString LogindSleepWatcher::inhibitReason() {
    return QStringLiteral("Saving traffic totals and usage data before sleep");
}

bool LogindSleepWatcher::start() {
    if (started_)
        return true;
    if (!bus_.isConnected())
        return false;
    const bool subscribed = bus_.connect(
        QString::fromLatin1(kService), QString::fromLatin1(kPath), QString::fromLatin1(kManager),
        QStringLiteral("PrepareForSleep"), this, SLOT(onPrepareForSleep(bool)));
    if (!subscribed)
        return false;
    started_ = true;
    takeInhibitor();
    return true;
}

void LogindSleepWatcher::onPrepareForSleep(bool sleeping) {
    if (sleeping) {
        emit willSleep();
        // The handlers above ran synchronously; logind may now go on with the suspend.
        releaseInhibitor();
    } else {
        emit didWake();
        takeInhibitor();
    }
}

void LogindSleepWatcher::takeInhibitor() {
    if (inhibitor_.isValid() || !QDBusUnixFileDescriptor::isSupported())
        return;
    QDBusMessage call =
        QDBusMessage::createMethodCall(QString::fromLatin1(kService), QString::fromLatin1(kPath),
                                       QString::fromLatin1(kManager), QStringLiteral("Inhibit"));
    call << QStringLiteral("sleep") << QStringLiteral("Lumenstat") << inhibitReason()
         << QStringLiteral("delay");
    // A missing logind answers at once with an error; the app then runs without the lock.
    const QDBusReply<QDBusUnixFileDescriptor> reply = bus_.call(call, QDBus::Block, 5000);
    if (reply.isValid())
        inhibitor_ = reply.value();
}

void LogindSleepWatcher::releaseInhibitor() {
    // QDBusUnixFileDescriptor owns a duplicate of the descriptor and closes it when the
    // last copy goes away.
    inhibitor_ = QDBusUnixFileDescriptor();
}
