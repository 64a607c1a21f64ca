#include "DesktopNotifications.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QVariantMap>

namespace {

// The "image-data" structure: (iiibiiay) width, height, rowstride, has alpha, bits per
// sample, channels, data.
struct NotificationImageData {
    int width = 0;
    int height = 0;
    int rowStride = 0;
    bool hasAlpha = true;
    int bitsPerSample = 8;
    int channels = 4;
    QByteArray data;
};

} // namespace

Q_DECLARE_METATYPE(NotificationImageData)

namespace {

QDBusArgument& operator<<(QDBusArgument& arg, const NotificationImageData& image) {
    arg.beginStructure();
    arg << image.width << image.height << image.rowStride << image.hasAlpha << image.bitsPerSample
        << image.channels << image.data;
    arg.endStructure();
    return arg;
}

const QDBusArgument& operator>>(const QDBusArgument& arg, NotificationImageData& image) {
    arg.beginStructure();
    arg >> image.width >> image.height >> image.rowStride >> image.hasAlpha >>
        image.bitsPerSample >> image.channels >> image.data;
    arg.endStructure();
    return arg;
}

NotificationImageData imageData(const QImage& source) {
    const QImage rgba = source.convertToFormat(QImage::Format_RGBA8888);
    NotificationImageData d;
    d.width = rgba.width();
    d.height = rgba.height();
    d.rowStride = int(rgba.bytesPerLine());
    d.data = QByteArray(reinterpret_cast<const char*>(rgba.constBits()), rgba.sizeInBytes());
    return d;
}

} // namespace

void DesktopNotifications::registerTypes() {
    static const bool registered = [] {
        qDBusRegisterMetaType<NotificationImageData>();
        return true;
    }();
    (void)registered;
}

DesktopNotifications::DesktopNotifications(QDBusConnection bus, QString appName)
    : bus_(std::move(bus)), appName_(std::move(appName)) {
    registerTypes();
}

QDBusPendingCall DesktopNotifications::notify(const QString& summary, const QString& body,
                                              const QImage& image) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.Notifications"),
        QStringLiteral("/org/freedesktop/Notifications"),
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
    QVariantMap hints;
    if (!image.isNull())
        hints.insert(QStringLiteral("image-data"), QVariant::fromValue(imageData(image)));
    call << appName_ << uint(0) << QString() << summary << body << QStringList() << hints
         << int(-1);
    if (!bus_.isConnected())
        return QDBusPendingCall::fromError(bus_.lastError());
    return bus_.asyncCall(call);
}
