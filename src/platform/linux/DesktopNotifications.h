#pragma once

#include <QDBusConnection>
#include <QDBusPendingCall>
#include <QImage>
#include <QString>

// Desktop notifications through org.freedesktop.Notifications on the session bus: a
// summary, a body and the picture sent as the "image-data" hint (raw RGBA rows).
class DesktopNotifications {
public:
    explicit DesktopNotifications(QDBusConnection bus = QDBusConnection::sessionBus(),
                                  QString appName = QStringLiteral("Lumenstat"));

    // Sends one notification without waiting for the daemon. With no bus the call is not
    // made and the returned pending call is already finished with an error; with no daemon
    // the error arrives later and is ignored.
    QDBusPendingCall notify(const QString& summary, const QString& body, const QImage& image);

    static void registerTypes();

private:
    QDBusConnection bus_;
    QString appName_;
};
