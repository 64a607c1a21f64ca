#pragma once

#include "FaceSource.h"

#include <QColor>
#include <QDBusConnection>
#include <QImage>
#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

class DBusMenuExporter;
class NetMenuBox;
class QSystemTrayIcon;
class StatusNotifierItem;
struct ActivityObject;

// The status item in the desktop's tray. It is our own StatusNotifierItem on the session bus;
// with no watcher on the bus it falls back to a QSystemTrayIcon.
//
// Tray hosts differ in what they do with a wide pixmap, so the item renders one of two ways,
// chosen from the host that owns the watcher unless "app.menuBar.trayRendering" says:
//   wide    the style view rendered at length x 22 points times the pixel ratio;
//   square  a square icon legible at 16 px, the speeds as label and tooltip. The icon goes by
//           name (a symbolic SVG hosts recolour for their panel) with the pixmaps as fall-back.
//
// A right click shows the item's menu (com.canonical.dbusmenu): Open panel, Settings, Launch
// at login (checked from "WantsAutoLogin") and Quit.
class StatusItem : public QObject, public FaceSource {
    Q_OBJECT
public:
    enum class Rendering { Wide, Square };
    enum MenuEntry { OpenPanelEntry = 1, SettingsEntry, LaunchAtLoginEntry, QuitEntry };
    static constexpr const char* SymbolicIconName = "lumenstat-symbolic";

    // What the menu's entries do; an empty action leaves its entry without effect.
    struct MenuActions {
        std::function<void()> openPanel;
        std::function<void()> openSettings;
        std::function<void(bool)> setLaunchAtLogin;
        std::function<void()> quit;
    };

    // id names the item to hosts (several items of one process each come with their own
    // bus connection, so each has its own service name and object paths); title is what
    // hosts show as its name.
    StatusItem(const QDBusConnection& bus, double length, QObject* parent = nullptr,
               const QString& id = QStringLiteral("lumenstat"),
               const QString& title = QStringLiteral("Lumenstat"));
    ~StatusItem() override;

    // "wide" or "square" from the setting; else wide only for hosts that keep a pixmap's
    // aspect (Waybar), square for every other one.
    static Rendering renderingFor(const QString& setting, const QString& hostProcessName);
    Rendering rendering() const { return rendering_; }
    // Re-reads the setting and the host; re-renders when the choice changed.
    void updateRendering();

    double length() const { return length_; }
    void setLength(double length);

    // The view whose drawing the item shows (not owned).
    void setContentView(NetMenuBox* view);
    // The last record's speeds for the label and the tooltip.
    void setActivity(const ActivityObject& activity);
    // The label and tooltip of an item that shows something else than the speeds.
    void setText(const QString& label, const QString& toolTip);
    // The square rendering's picture of an item that is not the network item: drawn for a
    // size in pixels and the bar's text colour. Without it the square shows the speed arrows
    // (by icon name where the theme has it).
    std::function<QImage(int pixels, const QColor& colour)> squarePicture;
    // Renders the current state and sends what changed.
    void refresh();
    // Called after every refresh: the face may have changed.
    std::function<void()> faceChanged;

    // The item's face for panel plug-ins: the style view (whatever the tray rendering) and
    // the speeds as text.
    double faceLength() const override { return length_; }
    void drawFace(QPainter& p) const override;
    QString faceText() const override;
    QString faceKey() const override;
    // Coalesces refreshes asked for during one pass of the event loop.
    void scheduleRefresh();
    // The caller refreshes the item itself right after what it does next (a record handed to
    // the view): redraws asked for until then wait for that refresh instead of a pass of the
    // event loop of their own.
    void deferRefreshes() { deferring_ = true; }

    // Pixel ratio of the rendering (the primary screen's unless overridden).
    qreal devicePixelRatio() const;
    void setDevicePixelRatioOverride(std::optional<qreal> ratio) { dprOverride_ = ratio; }

    // What the item shows now.
    QImage currentImage() const { return image_; }
    QString labelText() const { return label_; }
    QString toolTipText() const { return toolTip_; }
    QPoint lastActivatePosition() const { return lastActivate_; }
    bool usesStatusNotifierItem() const;
    bool usesFallbackIcon() const { return fallback_ != nullptr; }
    StatusNotifierItem* statusNotifierItem() const { return sni_.get(); }
    DBusMenuExporter* menu() const { return menu_.get(); }
    // The Settings entry is enabled exactly when there is an action for it.
    void setMenuActions(MenuActions actions);
    int iconUpdates() const { return iconUpdates_; }

    // The picture of the square rendering.
    static QImage squareIcon(int pixels, const QColor& colour);
    // Hosts that draw an item's label beside its icon (GNOME Shell's AppIndicator support and
    // the Ayatana indicator services). Others never see it, so it is not sent to them.
    static bool hostShowsLabel(const QString& hostProcessName);
    // Hosts whose bar is dark whatever the desktop's scheme (GNOME Shell's top bar): the item
    // draws light content there.
    static bool hostBarIsDark(const QString& hostProcessName);
    // The label's speeds padded so that the label keeps one width whatever the digits and
    // units (hosts size a label to its text).
    static QString fixedWidthLabel(uint64_t upKB, uint64_t downKB);
    // The label's widest form, sent as its guide.
    static QString labelGuide();

signals:
    // A click on the item, with the position the host reported (global coordinates).
    void activated(QPoint position);

private:
    void watcherChanged(bool present);
    // The menu's entries in the interface language, the toggle from the setting.
    void updateMenu();
    void menuTriggered(int entry);
    void ensureFallback();
    void dropFallback();
    // The square picture, drawn again only when its size or colour changed.
    const QImage& cachedSquareIcon(int pixels, const QColor& colour);
    // The square icon's colour: light on hosts with a dark bar, else the scheme's text colour.
    QColor iconColour() const;

    QDBusConnection bus_;
    double length_;
    Rendering rendering_ = Rendering::Square;
    QPointer<NetMenuBox> view_;
    std::unique_ptr<DBusMenuExporter> menu_;
    std::unique_ptr<StatusNotifierItem> sni_;
    MenuActions actions_;
    std::optional<QString> iconThemePath_; // absent: the symbolic icon cannot be found
    QSystemTrayIcon* fallback_ = nullptr;
    QImage image_;
    QImage square_;
    QRgb squareColour_ = 0;
    bool labelShown_ = false;
    bool barIsDark_ = false;
    QString title_;
    QString label_;
    QString toolTip_;
    std::optional<std::pair<uint64_t, uint64_t>> textPaces_; // the paces label_ was made from
    QPoint lastActivate_;
    bool refreshPending_ = false;
    bool deferring_ = false;
    int iconUpdates_ = 0;
    std::optional<qreal> dprOverride_;
};
