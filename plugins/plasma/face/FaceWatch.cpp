#include "FaceWatch.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QHash>

#include <cmath>
#include <cstring>

namespace {
const QString kService = QStringLiteral("com.quillfern.Lumenstat");
const QString kPath = QStringLiteral("/");
const QString kFaceInterface = QStringLiteral("com.quillfern.Lumenstat.Face");
const QString kAppInterface = QStringLiteral("com.quillfern.Lumenstat");

// Watches this process holds, by id. The app hands the same id to every watch with the same
// arguments, so two applets of one kind in one Plasma share it: the last one lets it go.
QHash<uint, int>& heldWatches() {
    static QHash<uint, int> held;
    return held;
}

QDBusMessage faceCall(const QString& method, const QList<QVariant>& arguments,
                      const QString& interface = kFaceInterface) {
    QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, interface, method);
    call.setArguments(arguments);
    call.setAutoStartService(false); // a panel never starts the app
    return call;
}
} // namespace

FaceWatch::FaceWatch(QDBusConnection bus, QObject* parent) : QObject(parent), bus_(bus) {
    ownerWatcher_ =
        new QDBusServiceWatcher(kService, bus_, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(ownerWatcher_, &QDBusServiceWatcher::serviceOwnerChanged, this,
            &FaceWatch::onOwnerChanged);
    // Matched on the name: the bus library follows it to whichever process owns it.
    bus_.connect(kService, kPath, kFaceInterface, QStringLiteral("Changed"), this,
                 SLOT(onChanged(uint, QVariantMap)));
    bus_.connect(kService, kPath, kFaceInterface, QStringLiteral("ItemsChanged"), this,
                 SLOT(onItemsChanged(QStringList)));
}

FaceWatch::~FaceWatch() {
    release();
}

void FaceWatch::setRequest(const Request& request) {
    if (requested_ && request == request_)
        return;
    request_ = request;
    requested_ = true;
    release();
    watch();
}

void FaceWatch::showPanel(QPoint point, const QString& edge) {
    // The network face opens the app's main panel; the other kinds open their own.
    if (request_.item == QLatin1String("network"))
        bus_.asyncCall(
            faceCall(QStringLiteral("ShowPanel"), {point.x(), point.y(), edge}, kAppInterface));
    else
        bus_.asyncCall(faceCall(QStringLiteral("ShowItemPanel"),
                                {request_.item, point.x(), point.y(), edge}, kAppInterface));
}

void FaceWatch::showSettings() {
    bus_.asyncCall(faceCall(QStringLiteral("ShowSettings"), {}, kAppInterface));
}

void FaceWatch::watch() {
    if (!requested_ || request_.item.isEmpty())
        return;
    const quint64 generation = ++generation_;
    pending_ = true;
    auto* call = new QDBusPendingCallWatcher(
        bus_.asyncCall(
            faceCall(QStringLiteral("Watch"), {request_.item, request_.height, request_.scale,
                                               QVariant::fromValue(request_.colour)})),
        this);
    connect(call, &QDBusPendingCallWatcher::finished, this,
            [this, generation](QDBusPendingCallWatcher* self) { onWatchReply(self, generation); });
}

void FaceWatch::onWatchReply(QDBusPendingCallWatcher* call, quint64 generation) {
    call->deleteLater();
    if (generation == generation_)
        pending_ = false;
    const QDBusPendingReply<uint, int, int, QByteArray, QString> reply = *call;
    if (reply.isError())
        return; // no app, or it does not show this item: wait for it to come
    const uint id = reply.argumentAt<0>();
    if (generation != generation_ || id_ != 0) {
        // Asked for something else meanwhile: let this one go unless it is shared.
        if (!heldWatches().contains(id))
            bus_.asyncCall(faceCall(QStringLiteral("Unwatch"), {QVariant::fromValue(id)}));
        return;
    }
    id_ = id;
    ++heldWatches()[id];
    takePicture(reply.argumentAt<1>(), reply.argumentAt<2>(), reply.argumentAt<3>());
    text_ = reply.argumentAt<4>();
    emit faceChanged();
}

void FaceWatch::onChanged(uint id, const QVariantMap& changed) {
    if (id_ == 0 || id != id_)
        return;
    bool any = false;
    if (changed.contains(QStringLiteral("pixels")))
        any |= takePicture(changed.value(QStringLiteral("width"), size_.width()).toInt(),
                           changed.value(QStringLiteral("height"), size_.height()).toInt(),
                           changed.value(QStringLiteral("pixels")).toByteArray());
    if (changed.contains(QStringLiteral("text"))) {
        text_ = changed.value(QStringLiteral("text")).toString();
        any = true;
    }
    if (any)
        emit faceChanged();
}

void FaceWatch::onItemsChanged(const QStringList& items) {
    if (!items.contains(request_.item)) {
        release();
        clear();
    } else if (id_ == 0 && !pending_) {
        watch();
    }
}

void FaceWatch::onOwnerChanged(const QString&, const QString& oldOwner, const QString& newOwner) {
    if (!oldOwner.isEmpty()) {
        // The app went away and its watches with it.
        if (id_ != 0 && --heldWatches()[id_] <= 0)
            heldWatches().remove(id_);
        id_ = 0;
        ++generation_;
        pending_ = false;
        clear();
    }
    if (!newOwner.isEmpty())
        watch();
}

void FaceWatch::release() {
    ++generation_;
    pending_ = false;
    if (id_ == 0)
        return;
    auto held = heldWatches().find(id_);
    if (held != heldWatches().end() && --held.value() <= 0) {
        heldWatches().erase(held);
        bus_.asyncCall(faceCall(QStringLiteral("Unwatch"), {QVariant::fromValue(id_)}));
    }
    id_ = 0;
}

void FaceWatch::clear() {
    if (image_.isNull() && text_.isEmpty())
        return;
    image_ = QImage();
    size_ = QSize();
    text_.clear();
    emit faceChanged();
}

bool FaceWatch::takePicture(int width, int height, const QByteArray& pixels) {
    const int pixelWidth = static_cast<int>(std::ceil(width * request_.scale));
    const int pixelHeight = static_cast<int>(std::ceil(height * request_.scale));
    if (width <= 0 || height <= 0 || pixels.size() != qsizetype(pixelWidth) * pixelHeight * 4)
        return false; // not a picture this plug-in can read
    QImage image(pixelWidth, pixelHeight, QImage::Format_ARGB32_Premultiplied);
    const int stride = pixelWidth * 4;
    for (int y = 0; y < pixelHeight; ++y)
        std::memcpy(image.scanLine(y), pixels.constData() + qsizetype(y) * stride, stride);
    image.setDevicePixelRatio(request_.scale);
    image_ = image;
    size_ = QSize(width, height);
    return true;
}
