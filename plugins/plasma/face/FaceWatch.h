#pragma once

#include <QDBusConnection>
#include <QImage>
#include <QObject>
#include <QPoint>
#include <QSize>
#include <QString>
#include <QVariantMap>

class QDBusPendingCallWatcher;
class QDBusServiceWatcher;

// One face of the running app (com.quillfern.Lumenstat.Face on the session bus), kept current:
// asks for it with Watch, takes only the Changed signals of its own watch, shows nothing while
// the app is away or does not show the item, and asks again when either comes back. It never
// polls and never starts the app.
class FaceWatch : public QObject {
    Q_OBJECT
public:
    struct Request {
        QString item;       // "network", "battery", ...
        int height = 22;    // panel thickness for the face, device-independent px
        double scale = 1.0; // device pixel ratio
        quint32 colour = 0; // 0xAARRGGBB text colour; alpha 0: the app's own
        bool operator==(const Request& other) const = default;
    };

    explicit FaceWatch(QDBusConnection bus, QObject* parent = nullptr);
    ~FaceWatch() override;

    // Watches the face for request (replacing the current watch when it differs).
    void setRequest(const Request& request);

    // The picture (premultiplied ARGB32 with its device pixel ratio set); null when none.
    const QImage& image() const { return image_; }
    // The face's size in device-independent px; empty when there is no face.
    QSize size() const { return image_.isNull() ? QSize() : size_; }
    QString text() const { return text_; }

    // Toggles the app's panel hanging from point (global, device-independent) away from edge.
    void showPanel(QPoint point, const QString& edge);
    // Opens the app's settings window.
    void showSettings();

signals:
    // The picture, its size or the text changed (also when the face went away).
    void faceChanged();

private slots:
    void onChanged(uint id, const QVariantMap& changed);
    void onItemsChanged(const QStringList& items);
    void onOwnerChanged(const QString& name, const QString& oldOwner, const QString& newOwner);

private:
    void watch();
    void release();
    void clear();
    bool takePicture(int width, int height, const QByteArray& pixels);
    void onWatchReply(QDBusPendingCallWatcher* call, quint64 generation);

    QDBusConnection bus_;
    QDBusServiceWatcher* ownerWatcher_ = nullptr;
    Request request_;
    bool requested_ = false;
    uint id_ = 0;            // 0: no watch held
    bool pending_ = false;   // a Watch call for the current request is under way
    quint64 generation_ = 0; // replies to replaced requests are dropped
    QImage image_;
    QSize size_;
    QString text_;
};
