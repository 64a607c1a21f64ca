#pragma once

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QList>
#include <QObject>
#include <QPoint>
#include <QString>
#include <QVariantMap>

#include <initializer_list>
#include <memory>

class QDBusServiceWatcher;
class QTimer;
class SniObject;
struct SniShared;

// One icon of a StatusNotifierItem: ARGB32 pixels in network byte order.
struct SniIconPixmap {
    int width = 0;
    int height = 0;
    QByteArray bytes;

    // From 32-bit ARGB pixels as the host stores them (0xAARRGGBB per pixel, rows of
    // bytesPerLine bytes).
    static SniIconPixmap fromArgb32(int width, int height, const uchar* pixels, int bytesPerLine);
    friend bool operator==(const SniIconPixmap&, const SniIconPixmap&) = default;
};
using SniIconPixmapList = QList<SniIconPixmap>;

struct SniToolTip {
    QString iconName;
    SniIconPixmapList iconPixmap;
    QString title;
    QString text;
};

Q_DECLARE_METATYPE(SniIconPixmap)
Q_DECLARE_METATYPE(SniIconPixmapList)
Q_DECLARE_METATYPE(SniToolTip)

QDBusArgument& operator<<(QDBusArgument& arg, const SniIconPixmap& icon);
const QDBusArgument& operator>>(const QDBusArgument& arg, SniIconPixmap& icon);
QDBusArgument& operator<<(QDBusArgument& arg, const SniToolTip& tip);
const QDBusArgument& operator>>(const QDBusArgument& arg, SniToolTip& tip);

// Our org.kde.StatusNotifierItem on a session bus: it owns a unique well-known name,
// exports the item at /StatusNotifierItem, registers with org.kde.StatusNotifierWatcher and
// registers again whenever a watcher (re)appears. Change signals are sent only when the
// icon, tooltip or label really changed.
//
// Hosts read the properties again after every change signal. Those reads are answered on
// the bus connection's own thread from a copy of the properties kept under a lock, so a
// figure that changes every second costs one message each way and no wake-up of the GUI
// thread; clicks are handed to the GUI thread.
class StatusNotifierItem : public QObject {
    Q_OBJECT
public:
    static constexpr const char* WatcherService = "org.kde.StatusNotifierWatcher";
    static constexpr const char* WatcherPath = "/StatusNotifierWatcher";
    static constexpr const char* ItemPath = "/StatusNotifierItem";

    StatusNotifierItem(const QDBusConnection& bus, const QString& id, QObject* parent = nullptr);
    ~StatusNotifierItem() override;

    // Exports the object and takes the service name. False when the bus is unusable.
    bool publish();
    QString serviceName() const { return serviceName_; }
    bool isWatcherPresent() const;
    bool isRegistered() const { return registered_; }
    // The process name of the watcher's owner ("" when unknown), read from procfs.
    QString watcherProcessName() const;
    int registrations() const { return registrations_; }

    // Setters; each sends its change signal only on a real change. Return true if sent.
    bool setIconPixmaps(const SniIconPixmapList& icons);
    // The icon by name (hosts prefer it to the pixmaps), found in themePath when that is not
    // empty, with the pixmaps as a fall-back: one NewIcon for all three.
    bool setIcon(const QString& name, const QString& themePath, const SniIconPixmapList& icons);
    // What screen readers say for the icon.
    void setAccessibleDescription(const QString& text);
    // The object path of the item's com.canonical.dbusmenu menu ("/NO_DBUSMENU": none).
    void setMenuPath(const QString& path);
    bool setToolTip(const QString& title, const QString& text);
    bool setLabel(const QString& label, const QString& guide);
    void setTitle(const QString& title);
    void setStatus(const QString& status);

    // Read side.
    QString id() const { return id_; }
    QString title() const { return title_; }
    QString status() const { return status_; }
    const SniIconPixmapList& iconPixmaps() const { return icons_; }
    QString iconName() const { return iconName_; }
    QString iconThemePath() const { return iconThemePath_; }
    QString accessibleDescription() const { return accessibleDescription_; }
    QString menuPath() const { return menuPath_; }
    SniToolTip toolTip() const;
    QString label() const { return label_; }
    QString labelGuide() const { return labelGuide_; }

    // Every property of org.kde.StatusNotifierItem by name, as the bus sees them.
    QVariantMap properties() const;

    void activate(int x, int y);
    void secondaryActivate(int x, int y);

signals:
    void activated(QPoint position);
    void secondaryActivated(QPoint position);
    void watcherChanged(bool present);

private slots:
    void onWatcherRegistered();
    void onWatcherUnregistered();

private:
    void registerWithWatcher();
    // Sends Id and Menu in a PropertiesChanged signal.
    void announceBasicProperties();
    // Sends the item's signal member with args.
    void sendSignal(const char* member, const QVariantList& args = {});
    // Puts the named properties, as they are now, where the bus reads them.
    void share(std::initializer_list<const char*> names);

    QDBusConnection bus_;
    QString id_;
    QString serviceName_;
    QString title_;
    QString status_ = QStringLiteral("Active");
    SniIconPixmapList icons_;
    QString iconName_;
    QString iconThemePath_;
    QString accessibleDescription_;
    QString menuPath_ = QStringLiteral("/NO_DBUSMENU");
    QString toolTipTitle_;
    QString toolTipText_;
    QString label_;
    QString labelGuide_;
    bool published_ = false;
    bool registered_ = false;
    int registrations_ = 0;
    // What the bus reads, shared with the object that answers it.
    std::shared_ptr<SniShared> shared_;
    SniObject* object_ = nullptr;
    QDBusServiceWatcher* watcher_ = nullptr;
    QTimer* announcer_ = nullptr;
    int announcementsLeft_ = 0;
};
