#pragma once

#include "menubar/FaceRenderer.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QList>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVariantMap>

class FaceSource;
class NetworkMonitor;
class QDBusServiceWatcher;

// The items' faces on the app's bus object, for panel plug-ins (xfce4-panel, Plasma, GNOME
// Shell): interface com.quillfern.Lumenstat.Face beside com.quillfern.Lumenstat on "/".
//
//   Items() -> as                   the item kinds shown, in panel order
//   Watch(s item, i height, d scale, u colour) -> (u id, i width, i height, ay pixels, s text)
//                                   the face for a panel height (device-independent px),
//                                   pixel ratio and text colour (0xAARRGGBB, alpha 0: the
//                                   desktop scheme's), and Changed signals for it until the
//                                   caller leaves the bus or unwatches. Pixels are ARGB32
//                                   premultiplied in host byte order, rows packed.
//   Unwatch(u id)
//   Render(s item, i height, d scale, u colour) -> (i width, i height, ay pixels, s text)
//   signal Changed(u id, a{sv} changed)   "text" and/or "width", "height", "pixels"
//   signal ItemsChanged(as items)
//   signal WidgetsReloaded(as kinds)      the widget data of these kinds changed (not sent
//                                         for the per-second connection details)
//
// A face nobody watches is never rendered; a watched one is rendered once per change of its
// source and sent only when its pixels or text differ from what that watch last got.
class FaceService : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.quillfern.Lumenstat.Face")
public:
    static constexpr const char* kInterface = "com.quillfern.Lumenstat.Face";
    static constexpr const char* kUnknownItemError = "com.quillfern.Lumenstat.Error.UnknownItem";
    static constexpr const char* kInvalidArgumentError =
        "com.quillfern.Lumenstat.Error.InvalidArgument";
    // Every kind an item can have, in panel order.
    static const QStringList& kindOrder();

    // Becomes the adaptor of service, the object exported at "/" (exported with
    // QDBusConnection::ExportAdaptors).
    explicit FaceService(QObject* service);
    ~FaceService() override;
    // The connection errors and client tracking go through (set when the object is exported).
    void setConnection(const QDBusConnection& bus) { bus_ = bus; }

    // source stays registered until removed or lifetime is destroyed.
    void addSource(const QString& kind, FaceSource* source, QObject* lifetime);
    void removeSource(const QString& kind);
    // The source of kind may look different now: its watched faces are checked once the
    // event loop is free, or once the sampler's record reached every observer when the call
    // comes from that delivery (many calls in one pass cost one check).
    void sourceChanged(const QString& kind);
    void followTicks(NetworkMonitor* monitor) { ticks_ = monitor; }
    // Widget data of kinds changed (WidgetBridger): the faces are checked and hosts told.
    void widgetsReloaded(const QStringList& kinds, const QStringList& faceKinds);

    int watchCount() const { return static_cast<int>(watches_.size()); }
    int renders() const { return renders_; }

    // The calling message (after the inputs) names the caller and takes error replies;
    // an empty one is an in-process call.
public slots:
    QStringList Items();
    uint Watch(const QString& item, int height, double scale, uint colour, const QDBusMessage& call,
               int& width, int& faceHeight, QByteArray& pixels, QString& text);
    void Unwatch(uint id, const QDBusMessage& call);
    int Render(const QString& item, int height, double scale, uint colour, const QDBusMessage& call,
               int& faceHeight, QByteArray& pixels, QString& text);

signals:
    void Changed(uint id, const QVariantMap& changed);
    void ItemsChanged(const QStringList& items);
    void WidgetsReloaded(const QStringList& kinds);

private:
    struct Source {
        QString kind;
        FaceSource* source = nullptr;
        QPointer<QObject> lifetime;
    };
    struct WatchEntry {
        uint id = 0;
        QString kind;
        int height = 0;
        double scale = 1;
        QRgb colour = 0;
        QStringList clients;
        FaceImage last;
        QString lastKey; // the source's key when last drawn ("" : unknown)
    };

    const Source* findSource(const QString& kind) const;
    // Checks the request; answers the caller with an error and returns null when refused.
    const Source* acceptRequest(const QString& item, int height, double scale,
                                const QDBusMessage& call);
    FaceImage renderFace(const Source& source, int height, double scale, QRgb colour);
    void checkPending();
    void clientLeft(const QString& client);
    static QByteArray pixelBytes(const QImage& image);

    QList<Source> sources_;
    QList<WatchEntry> watches_;
    QSet<QString> pending_;
    bool checkScheduled_ = false;
    NetworkMonitor* ticks_ = nullptr;
    uint nextId_ = 1;
    int renders_ = 0;
    QDBusServiceWatcher* clientWatcher_ = nullptr;
    QDBusConnection bus_{QStringLiteral("lumenstat-unconnected")};
};
