#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QList>
#include <QObject>
#include <QPoint>
#include <QString>

class QDBusServiceWatcher;
class QTimer;

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
    void setAccessibleDescription(const QString& text) { accessibleDescription_ = text; }
    // The object path of the item's com.canonical.dbusmenu menu ("/NO_DBUSMENU": none).
    void setMenuPath(const QString& path) { menuPath_ = path; }
    bool setToolTip(const QString& title, const QString& text);
    bool setLabel(const QString& label, const QString& guide);
    void setTitle(const QString& title);
    void setStatus(const QString& status);

    // Read side used by the adaptor.
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

    // Called by the adaptor.
    void activate(int x, int y);
    void secondaryActivate(int x, int y);

signals:
    void activated(QPoint position);
    void secondaryActivated(QPoint position);
    void watcherChanged(bool present);
    // Re-emitted on the bus by the adaptor.
    void NewIcon();
    void NewToolTip();
    void NewTitle();
    void NewStatus(const QString& status);
    void XAyatanaNewLabel(const QString& label, const QString& guide);

private slots:
    void onWatcherRegistered();
    void onWatcherUnregistered();

private:
    void registerWithWatcher();
    // Sends Id and Menu in a PropertiesChanged signal.
    void announceBasicProperties();

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
    QDBusServiceWatcher* watcher_ = nullptr;
    QTimer* announcer_ = nullptr;
    int announcementsLeft_ = 0;
};

// The D-Bus face of StatusNotifierItem.
class StatusNotifierItemAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierItem")
    Q_PROPERTY(QString Category READ category)
    Q_PROPERTY(QString Id READ id)
    Q_PROPERTY(QString Title READ title)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(int WindowId READ windowId)
    Q_PROPERTY(QString IconName READ iconName)
    Q_PROPERTY(QString IconAccessibleDesc READ accessibleDescription)
    Q_PROPERTY(QString AttentionAccessibleDesc READ emptyText)
    Q_PROPERTY(SniIconPixmapList IconPixmap READ iconPixmap)
    Q_PROPERTY(QString OverlayIconName READ emptyText)
    Q_PROPERTY(SniIconPixmapList OverlayIconPixmap READ noPixmaps)
    Q_PROPERTY(QString AttentionIconName READ emptyText)
    Q_PROPERTY(SniIconPixmapList AttentionIconPixmap READ noPixmaps)
    Q_PROPERTY(QString AttentionMovieName READ emptyText)
    Q_PROPERTY(QString IconThemePath READ iconThemePath)
    Q_PROPERTY(SniToolTip ToolTip READ toolTip)
    Q_PROPERTY(bool ItemIsMenu READ itemIsMenu)
    Q_PROPERTY(QDBusObjectPath Menu READ menu)
    Q_PROPERTY(QString XAyatanaLabel READ label)
    Q_PROPERTY(QString XAyatanaLabelGuide READ labelGuide)
    Q_PROPERTY(uint XAyatanaOrderingIndex READ orderingIndex)
public:
    explicit StatusNotifierItemAdaptor(StatusNotifierItem* item);

    QString category() const { return QStringLiteral("ApplicationStatus"); }
    QString id() const { return item_->id(); }
    QString title() const { return item_->title(); }
    QString status() const { return item_->status(); }
    int windowId() const { return 0; }
    QString iconName() const { return item_->iconName(); }
    QString iconThemePath() const { return item_->iconThemePath(); }
    QString accessibleDescription() const { return item_->accessibleDescription(); }
    SniIconPixmapList iconPixmap() const { return item_->iconPixmaps(); }
    QString emptyText() const { return QString(); }
    SniIconPixmapList noPixmaps() const { return {}; }
    SniToolTip toolTip() const { return item_->toolTip(); }
    bool itemIsMenu() const { return false; }
    QDBusObjectPath menu() const { return QDBusObjectPath(item_->menuPath()); }
    QString label() const { return item_->label(); }
    QString labelGuide() const { return item_->labelGuide(); }
    uint orderingIndex() const { return 0; }

public slots:
    void Activate(int x, int y) { item_->activate(x, y); }
    void SecondaryActivate(int x, int y) { item_->secondaryActivate(x, y); }
    void ContextMenu(int x, int y) { item_->secondaryActivate(x, y); }
    void Scroll(int, const QString&) {}

signals:
    void NewIcon();
    void NewToolTip();
    void NewTitle();
    void NewStatus(const QString& status);
    void NewAttentionIcon();
    void NewOverlayIcon();
    void XAyatanaNewLabel(const QString& label, const QString& guide);

private:
    StatusNotifierItem* item_;
};
