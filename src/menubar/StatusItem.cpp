#include "StatusItem.h"

#include "BoxType.h"
#include "MenuDrawing.h"
#include "NetMenuBox.h"
#include "network/ActivityObject.h"
#include "network/SpeedText.h"
#include "platform/linux/DBusMenuExporter.h"
#include "platform/linux/IconThemeFolder.h"
#include "platform/linux/StatusNotifierItem.h"
#include "settings/DynamicAppearance.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QGuiApplication>
#include <QIcon>
#include <QPainter>
#include <QPixmap>
#include <QScreen>
#include <QSystemTrayIcon>
#include <QTimer>

#include <cmath>

static void initStatusIconResources() {
    // Resources of a static library are linked in only when something refers to them.
    Q_INIT_RESOURCE(StatusIcons);
}

namespace {

SniIconPixmap toSni(const QImage& image) {
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    return SniIconPixmap::fromArgb32(argb.width(), argb.height(), argb.constBits(),
                                     static_cast<int>(argb.bytesPerLine()));
}

QString speedPair(const ActivityObject& a) {
    const auto up = SpeedText::adaptive(a.paceActivities.up);
    const auto down = SpeedText::adaptive(a.paceActivities.down);
    return QStringLiteral("\u2191 %1 %2  \u2193 %3 %4")
        .arg(up.value, up.unit, down.value, down.unit);
}

// One speed of the label, as wide as "888.8 MB/s" in any font with figures of one width: the
// number is padded in front with figure spaces (U+2007, a digit's width) up to four digits and
// a punctuation space (U+2008, a point's width) when it has no point; "K" is narrower than "M"
// by about a quarter em, made up by a four-per-em space (U+2005).
QString fixedWidthSpeed(const SpeedText::ValueAndUnit& speed) {
    qsizetype digits = 0;
    qsizetype points = 0;
    for (const QChar c : speed.value) {
        if (c.isDigit())
            ++digits;
        else if (c == QLatin1Char('.') || c == QLatin1Char(','))
            ++points;
    }
    QString out;
    if (!speed.unit.startsWith(QLatin1Char('M')))
        out += QChar(0x2005);
    if (points == 0)
        out += QChar(0x2008);
    if (digits < 4)
        out += QString(4 - digits, QChar(0x2007));
    return out + speed.value + QLatin1Char(' ') + speed.unit;
}
} // namespace

QString StatusItem::fixedWidthLabel(uint64_t upKB, uint64_t downKB) {
    return QStringLiteral("\u2191 %1  \u2193 %2")
        .arg(fixedWidthSpeed(SpeedText::adaptive(upKB)),
             fixedWidthSpeed(SpeedText::adaptive(downKB)));
}

QString StatusItem::labelGuide() {
    return QStringLiteral("\u2191 888.8 MB/s  \u2193 888.8 MB/s");
}

QColor StatusItem::iconColour() const {
    // GNOME's top bar is dark in both colour schemes.
    if (barIsDark_)
        return QColor(0xf2, 0xf2, 0xf2);
    return NetMenuBox::labelColor();
}

StatusItem::StatusItem(const QDBusConnection& bus, double length, QObject* parent,
                       const QString& id, const QString& title)
    : QObject(parent), bus_(bus), length_(length), title_(title) {
    initStatusIconResources();
    menu_ = std::make_unique<DBusMenuExporter>(bus_);
    updateMenu();
    connect(menu_.get(), &DBusMenuExporter::triggered, this, &StatusItem::menuTriggered);
    Settings::addAutoLoginDidChange(this, [this](const Notification&) { updateMenu(); });
    iconThemePath_ =
        IconThemeFolder::forIcon(QString::fromLatin1(SymbolicIconName), QStringLiteral("status"),
                                 QStringLiteral(":/lumenstat/icons/lumenstat-symbolic.svg"));
    sni_ = std::make_unique<StatusNotifierItem>(bus_, id);
    sni_->setTitle(title_);
    sni_->setAccessibleDescription(title_);
    if (menu_->publish())
        sni_->setMenuPath(QString::fromLatin1(DBusMenuExporter::MenuPath));
    connect(sni_.get(), &StatusNotifierItem::activated, this, [this](QPoint at) {
        lastActivate_ = at;
        emit activated(at);
    });
    connect(sni_.get(), &StatusNotifierItem::watcherChanged, this,
            [this](bool present) { watcherChanged(present); });
    const bool published = sni_->publish();
    if (!published || !sni_->isWatcherPresent())
        ensureFallback();
    rendering_ = renderingFor(SettingsDomain::standard().stringValue(SettingsKey::TrayRendering),
                              sni_->watcherProcessName());
    labelShown_ = hostShowsLabel(sni_->watcherProcessName());
    barIsDark_ = hostBarIsDark(sni_->watcherProcessName());
    NotificationCenter::defaultCenter().addObserver(
        this, QString::fromLatin1(SettingsKey::TrayRendering),
        [this](const Notification&) { updateRendering(); });
    DynamicAppearance::addChanged(this, [this](const Notification&) { scheduleRefresh(); });
    toolTip_ = title_;
}

StatusItem::~StatusItem() {
    dropFallback();
}

StatusItem::Rendering StatusItem::renderingFor(const QString& setting,
                                               const QString& hostProcessName) {
    if (setting == QLatin1String("wide"))
        return Rendering::Wide;
    if (setting == QLatin1String("square"))
        return Rendering::Square;
    if (hostProcessName.compare(QLatin1String("waybar"), Qt::CaseInsensitive) == 0)
        return Rendering::Wide;
    return Rendering::Square;
}

bool StatusItem::hostBarIsDark(const QString& hostProcessName) {
    return hostProcessName.compare(QLatin1String("gnome-shell"), Qt::CaseInsensitive) == 0;
}

bool StatusItem::hostShowsLabel(const QString& hostProcessName) {
    static const QStringList labelHosts = {QStringLiteral("gnome-shell"),
                                           QStringLiteral("indicator-application-service"),
                                           QStringLiteral("ayatana-indicator-application-service")};
    return labelHosts.contains(hostProcessName, Qt::CaseInsensitive);
}

void StatusItem::updateRendering() {
    const QString host = sni_->watcherProcessName();
    const Rendering next =
        renderingFor(SettingsDomain::standard().stringValue(SettingsKey::TrayRendering), host);
    const bool label = hostShowsLabel(host);
    const bool dark = hostBarIsDark(host);
    if (next == rendering_ && label == labelShown_ && dark == barIsDark_)
        return;
    rendering_ = next;
    labelShown_ = label;
    barIsDark_ = dark;
    refresh();
}

void StatusItem::updateMenu() {
    const auto text = [](const char* key) {
        return Language::getLocalizedString(QString::fromLatin1(key));
    };
    DBusMenuEntry separator;
    separator.id = QuitEntry + 1;
    separator.separator = true;
    DBusMenuEntry settings{SettingsEntry, text("statusItem.menu.settings")};
    settings.enabled = static_cast<bool>(actions_.openSettings);
    DBusMenuEntry login{LaunchAtLoginEntry, text("statusItem.menu.launchAtLogin")};
    login.checkable = true;
    login.checked = SettingsDomain::standard().boolValue(SettingsKey::WantsAutoLogin);
    menu_->setEntries({{OpenPanelEntry, text("statusItem.menu.openPanel")},
                       settings,
                       login,
                       separator,
                       {QuitEntry, text("statusItem.menu.quit")}});
}

void StatusItem::setMenuActions(MenuActions actions) {
    actions_ = std::move(actions);
    updateMenu();
}

void StatusItem::menuTriggered(int entry) {
    switch (entry) {
    case OpenPanelEntry:
        if (actions_.openPanel)
            actions_.openPanel();
        break;
    case SettingsEntry:
        if (actions_.openSettings)
            actions_.openSettings();
        break;
    case LaunchAtLoginEntry:
        if (actions_.setLaunchAtLogin)
            actions_.setLaunchAtLogin(
                !SettingsDomain::standard().boolValue(SettingsKey::WantsAutoLogin));
        break;
    case QuitEntry:
        if (actions_.quit)
            actions_.quit();
        break;
    default:
        break;
    }
}

bool StatusItem::usesStatusNotifierItem() const {
    return sni_ && sni_->isRegistered();
}

void StatusItem::watcherChanged(bool present) {
    if (present) {
        dropFallback();
        updateRendering();
        refresh();
    } else {
        ensureFallback();
        refresh();
    }
}

void StatusItem::ensureFallback() {
    if (fallback_ || !qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return;
    if (QGuiApplication::platformName() == QLatin1String("offscreen") ||
        !QSystemTrayIcon::isSystemTrayAvailable())
        return;
    fallback_ = new QSystemTrayIcon(this);
    connect(fallback_, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason != QSystemTrayIcon::Trigger)
                    return;
                lastActivate_ = fallback_->geometry().center();
                emit activated(lastActivate_);
            });
    fallback_->setIcon(QIcon(QPixmap::fromImage(squareIcon(22, NetMenuBox::labelColor()))));
    fallback_->setToolTip(toolTip_);
    fallback_->show();
}

void StatusItem::dropFallback() {
    if (!fallback_)
        return;
    fallback_->hide();
    delete fallback_;
    fallback_ = nullptr;
}

void StatusItem::setLength(double length) {
    if (length == length_)
        return;
    length_ = length;
    scheduleRefresh();
}

void StatusItem::setContentView(NetMenuBox* view) {
    if (view_)
        disconnect(view_, nullptr, this, nullptr);
    view_ = view;
    if (view_)
        connect(view_, &NetMenuBox::needsDisplay, this, &StatusItem::scheduleRefresh);
    scheduleRefresh();
}

void StatusItem::setActivity(const ActivityObject& activity) {
    if (activity.netMode == 0) {
        label_ = NetMenuBox::noNetworkText();
        toolTip_ = label_;
    } else {
        // Both texts depend on the two paces only, which at idle stay the same tick after tick.
        const std::pair paces(activity.paceActivities.up, activity.paceActivities.down);
        if (textPaces_ != paces || label_.isEmpty()) {
            label_ = fixedWidthLabel(paces.first, paces.second);
            toolTip_ = speedPair(activity);
            textPaces_ = paces;
        }
        return;
    }
    textPaces_.reset();
}

void StatusItem::setText(const QString& label, const QString& toolTip) {
    textPaces_.reset();
    label_ = label;
    toolTip_ = toolTip;
}

qreal StatusItem::devicePixelRatio() const {
    if (dprOverride_)
        return *dprOverride_;
    if (auto* gui = qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        if (QScreen* screen = gui->primaryScreen())
            return screen->devicePixelRatio();
        return gui->devicePixelRatio();
    }
    return 1.0;
}

void StatusItem::scheduleRefresh() {
    if (refreshPending_)
        return;
    refreshPending_ = true;
    if (deferring_)
        return;
    QTimer::singleShot(0, this, [this] {
        if (refreshPending_)
            refresh();
    });
}

QImage StatusItem::squareIcon(int pixels, const QColor& colour) {
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    const qreal scale = pixels / 16.0;
    p.scale(scale, scale);
    MenuDrawing::strokeImage(p, MenuDrawing::iconPicturePath(), QPointF(0, 0), colour);
    p.end();
    return image;
}

const QImage& StatusItem::cachedSquareIcon(int pixels, const QColor& colour) {
    if (square_.width() != pixels || squareColour_ != colour.rgba()) {
        square_ = squareIcon(pixels, colour);
        squareColour_ = colour.rgba();
    }
    return square_;
}

void StatusItem::refresh() {
    refreshPending_ = false;
    deferring_ = false;
    const qreal dpr = devicePixelRatio();
    QImage next;
    if (rendering_ == Rendering::Wide && view_) {
        // The view draws at its own width; the item shows length x 22 points of it.
        const int w = static_cast<int>(std::ceil(length_ * dpr));
        const int h = static_cast<int>(std::ceil(kMenuBarHeight * dpr));
        next = QImage(w, h, QImage::Format_ARGB32_Premultiplied);
        next.fill(Qt::transparent);
        next.setDevicePixelRatio(dpr);
        QPainter p(&next);
        view_->draw(p);
        p.end();
    } else if (squarePicture) {
        next = squarePicture(static_cast<int>(std::lround(22 * dpr)), iconColour());
    } else {
        // The same picture every second: compared by its shared data, not pixel by pixel.
        next = cachedSquareIcon(static_cast<int>(std::lround(22 * dpr)), iconColour());
    }
    const bool pixelsChanged =
        next.cacheKey() != image_.cacheKey() && (next.size() != image_.size() || next != image_);
    image_ = next;
    if (sni_) {
        // Square: the symbolic icon by name, the pixmaps as a fall-back; wide: the pixmap only.
        const bool named = rendering_ == Rendering::Square && iconThemePath_ && !squarePicture;
        const QString name = named ? QString::fromLatin1(SymbolicIconName) : QString();
        if (pixelsChanged || name != sni_->iconName()) {
            SniIconPixmapList icons{toSni(next)};
            if (rendering_ == Rendering::Square)
                icons.append(toSni(squarePicture ? squarePicture(16, iconColour())
                                                 : squareIcon(16, iconColour())));
            if (sni_->setIcon(name, named ? *iconThemePath_ : QString(), icons))
                ++iconUpdates_;
        }
        sni_->setToolTip(title_, toolTip_);
        if (rendering_ == Rendering::Square && labelShown_)
            sni_->setLabel(label_, squarePicture ? label_ : labelGuide());
        else
            sni_->setLabel(QString(), QString());
    }
    if (faceChanged)
        faceChanged();
    if (fallback_) {
        if (pixelsChanged)
            fallback_->setIcon(QIcon(QPixmap::fromImage(next)));
        if (fallback_->toolTip() != toolTip_)
            fallback_->setToolTip(toolTip_);
    }
}

void StatusItem::drawFace(QPainter& p) const {
    if (view_)
        view_->draw(p);
}

QString StatusItem::faceKey() const {
    if (!view_)
        return {};
    const QString drawing = view_->drawingKey();
    if (drawing.isEmpty())
        return {};
    // The colour faces without a colour of their own are drawn in.
    return QStringLiteral("%1|%2|").arg(length_).arg(NetMenuBox::labelColor().rgba()) + drawing;
}

QString StatusItem::faceText() const {
    return label_.isEmpty() ? title_ : label_;
}
