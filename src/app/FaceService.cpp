#include "FaceService.h"

#include "network/NetworkMonitor.h"

#include "menubar/FaceSource.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QTimer>

#include <algorithm>

const QStringList& FaceService::kindOrder() {
    static const QStringList kinds = {QStringLiteral("network"), QStringLiteral("battery"),
                                      QStringLiteral("cpu"), QStringLiteral("storage")};
    return kinds;
}

FaceService::FaceService(QObject* service) : QDBusAbstractAdaptor(service) {}

FaceService::~FaceService() = default;

void FaceService::addSource(const QString& kind, FaceSource* source, QObject* lifetime) {
    if (!source || !kindOrder().contains(kind))
        return;
    removeSource(kind);
    sources_.append(Source{kind, source, lifetime});
    std::sort(sources_.begin(), sources_.end(), [](const Source& a, const Source& b) {
        return kindOrder().indexOf(a.kind) < kindOrder().indexOf(b.kind);
    });
    if (lifetime)
        connect(lifetime, &QObject::destroyed, this, [this, kind] { removeSource(kind); });
    emit ItemsChanged(Items());
    sourceChanged(kind);
}

void FaceService::removeSource(const QString& kind) {
    const auto removed = sources_.removeIf([&](const Source& s) { return s.kind == kind; });
    if (removed == 0)
        return;
    // Hosts learn it from ItemsChanged; their watches of that kind end here.
    watches_.removeIf([&](const WatchEntry& w) { return w.kind == kind; });
    emit ItemsChanged(Items());
}

const FaceService::Source* FaceService::findSource(const QString& kind) const {
    for (const Source& s : sources_)
        if (s.kind == kind && s.source)
            return &s;
    return nullptr;
}

QStringList FaceService::Items() {
    QStringList kinds;
    for (const Source& s : sources_)
        kinds.append(s.kind);
    return kinds;
}

const FaceService::Source* FaceService::acceptRequest(const QString& item, int height, double scale,
                                                      const QDBusMessage& call) {
    const auto refuse = [&](const char* name, const QString& text) {
        if (call.type() != QDBusMessage::MethodCallMessage)
            return;
        call.setDelayedReply(true);
        bus_.send(call.createErrorReply(QString::fromLatin1(name), text));
    };
    const Source* source = findSource(item);
    if (!source) {
        refuse(kUnknownItemError, QStringLiteral("no item \"%1\" is shown (items: %2)")
                                      .arg(item, Items().join(QStringLiteral(", "))));
        return nullptr;
    }
    if (!FaceRenderer::validRequest(height, scale)) {
        refuse(kInvalidArgumentError, QStringLiteral("height must be %1..%2 and scale in (0, %3]")
                                          .arg(FaceRenderer::kMinHeight)
                                          .arg(FaceRenderer::kMaxHeight)
                                          .arg(FaceRenderer::kMaxScale));
        return nullptr;
    }
    return source;
}

FaceImage FaceService::renderFace(const Source& source, int height, double scale, QRgb colour) {
    ++renders_;
    return FaceRenderer::render(*source.source, height, scale, colour);
}

QByteArray FaceService::pixelBytes(const QImage& image) {
    if (image.isNull())
        return {};
    // ARGB32 rows are whole 32-bit words: packed already.
    return QByteArray(reinterpret_cast<const char*>(image.constBits()),
                      static_cast<qsizetype>(image.sizeInBytes()));
}

uint FaceService::Watch(const QString& item, int height, double scale, uint colour,
                        const QDBusMessage& call, int& width, int& faceHeight, QByteArray& pixels,
                        QString& text) {
    const Source* source = acceptRequest(item, height, scale, call);
    if (!source)
        return 0;
    const QString client = call.service();
    auto it = std::find_if(watches_.begin(), watches_.end(), [&](const WatchEntry& w) {
        return w.kind == item && w.height == height && w.scale == scale && w.colour == colour;
    });
    if (it == watches_.end()) {
        WatchEntry entry;
        entry.id = nextId_++;
        entry.kind = item;
        entry.height = height;
        entry.scale = scale;
        entry.colour = colour;
        entry.lastKey = source->source->faceKey();
        entry.last = renderFace(*source, height, scale, colour);
        watches_.append(entry);
        it = watches_.end() - 1;
    }
    if (!client.isEmpty() && !it->clients.contains(client)) {
        it->clients.append(client);
        if (!clientWatcher_) {
            clientWatcher_ = new QDBusServiceWatcher(this);
            clientWatcher_->setConnection(bus_);
            clientWatcher_->setWatchMode(QDBusServiceWatcher::WatchForUnregistration);
            connect(clientWatcher_, &QDBusServiceWatcher::serviceUnregistered, this,
                    &FaceService::clientLeft);
        }
        clientWatcher_->addWatchedService(client);
    }
    width = it->last.width;
    faceHeight = it->last.height;
    pixels = pixelBytes(it->last.image);
    text = it->last.text;
    return it->id;
}

void FaceService::Unwatch(uint id, const QDBusMessage& call) {
    const QString client = call.service();
    for (WatchEntry& w : watches_)
        if (w.id == id)
            w.clients.removeAll(client);
    watches_.removeIf([&](const WatchEntry& w) {
        return w.id == id && (w.clients.isEmpty() || client.isEmpty());
    });
}

int FaceService::Render(const QString& item, int height, double scale, uint colour,
                        const QDBusMessage& call, int& faceHeight, QByteArray& pixels,
                        QString& text) {
    const Source* source = acceptRequest(item, height, scale, call);
    if (!source)
        return 0;
    const FaceImage face = renderFace(*source, height, scale, colour);
    faceHeight = face.height;
    pixels = pixelBytes(face.image);
    text = face.text;
    return face.width;
}

void FaceService::clientLeft(const QString& client) {
    for (WatchEntry& w : watches_)
        w.clients.removeAll(client);
    watches_.removeIf([](const WatchEntry& w) { return w.clients.isEmpty(); });
    if (clientWatcher_)
        clientWatcher_->removeWatchedService(client);
}

void FaceService::sourceChanged(const QString& kind) {
    if (watches_.isEmpty())
        return; // nobody looks: nothing is rendered
    pending_.insert(kind);
    if (checkScheduled_)
        return;
    checkScheduled_ = true;
    // A tick's changes are checked at the end of the same pass: no wake-up of its own.
    if (ticks_ && ticks_->afterDelivery([this] { checkPending(); }))
        return;
    QTimer::singleShot(0, this, [this] { checkPending(); });
}

void FaceService::widgetsReloaded(const QStringList& kinds, const QStringList& faceKinds) {
    if (watches_.isEmpty())
        return; // no host listens; the data itself is in the shared settings document
    for (const QString& kind : faceKinds)
        sourceChanged(kind);
    if (!kinds.isEmpty())
        emit WidgetsReloaded(kinds);
}

void FaceService::checkPending() {
    checkScheduled_ = false;
    const QSet<QString> kinds = std::exchange(pending_, {});
    for (WatchEntry& w : watches_) {
        if (!kinds.contains(w.kind))
            continue;
        const Source* source = findSource(w.kind);
        if (!source)
            continue;
        const QString key = source->source->faceKey();
        if (!key.isEmpty() && key == w.lastKey) {
            // Drawn the same as last time: only the text can have changed.
            const QString text = source->source->faceText();
            if (text != w.last.text) {
                w.last.text = text;
                emit Changed(w.id, {{QStringLiteral("text"), text}});
            }
            continue;
        }
        w.lastKey = key;
        FaceImage next = renderFace(*source, w.height, w.scale, w.colour);
        QVariantMap changed;
        if (next.text != w.last.text)
            changed.insert(QStringLiteral("text"), next.text);
        if (!next.samePicture(w.last)) {
            changed.insert(QStringLiteral("width"), next.width);
            changed.insert(QStringLiteral("height"), next.height);
            changed.insert(QStringLiteral("pixels"), pixelBytes(next.image));
        }
        w.last = std::move(next);
        if (!changed.isEmpty())
            emit Changed(w.id, changed);
    }
}
