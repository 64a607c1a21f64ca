#include "StatusNotifierItem.h"

#include "PlatformPaths.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusReply>
#include <QDBusServiceWatcher>
#include <QTimer>
#include <QtEndian>

#include <atomic>
#include <unistd.h>

namespace {
std::atomic<int> itemCounter{0};

void registerTypes() {
    static const bool done = [] {
        qDBusRegisterMetaType<SniIconPixmap>();
        qDBusRegisterMetaType<SniIconPixmapList>();
        qDBusRegisterMetaType<SniToolTip>();
        return true;
    }();
    (void)done;
}
} // namespace

SniIconPixmap SniIconPixmap::fromArgb32(int width, int height, const uchar* pixels,
                                        int bytesPerLine) {
    SniIconPixmap out;
    out.width = width;
    out.height = height;
    out.bytes.resize(static_cast<qsizetype>(width) * height * 4);
    char* dst = out.bytes.data();
    for (int y = 0; y < height; ++y) {
        const auto* line =
            reinterpret_cast<const quint32*>(pixels + static_cast<qsizetype>(y) * bytesPerLine);
        for (int x = 0; x < width; ++x) {
            qToBigEndian(line[x], dst);
            dst += 4;
        }
    }
    return out;
}

QDBusArgument& operator<<(QDBusArgument& arg, const SniIconPixmap& icon) {
    arg.beginStructure();
    arg << icon.width << icon.height << icon.bytes;
    arg.endStructure();
    return arg;
}

const QDBusArgument& operator>>(const QDBusArgument& arg, SniIconPixmap& icon) {
    arg.beginStructure();
    arg >> icon.width >> icon.height >> icon.bytes;
    arg.endStructure();
    return arg;
}

QDBusArgument& operator<<(QDBusArgument& arg, const SniToolTip& tip) {
    arg.beginStructure();
    arg << tip.iconName << tip.iconPixmap << tip.title << tip.text;
    arg.endStructure();
    return arg;
}

const QDBusArgument& operator>>(const QDBusArgument& arg, SniToolTip& tip) {
    arg.beginStructure();
    arg >> tip.iconName >> tip.iconPixmap >> tip.title >> tip.text;
    arg.endStructure();
    return arg;
}

StatusNotifierItem::StatusNotifierItem(const QDBusConnection& bus, const QString& id,
                                       QObject* parent)
    : QObject(parent), bus_(bus), id_(id), title_(id) {
    registerTypes();
    serviceName_ =
        QStringLiteral("org.kde.StatusNotifierItem-%1-%2").arg(::getpid()).arg(++itemCounter);
    new StatusNotifierItemAdaptor(this);
}

StatusNotifierItem::~StatusNotifierItem() {
    if (published_) {
        bus_.unregisterObject(QString::fromLatin1(ItemPath));
        bus_.unregisterService(serviceName_);
    }
}

bool StatusNotifierItem::publish() {
    if (published_)
        return true;
    if (!bus_.isConnected())
        return false;
    if (!bus_.registerObject(QString::fromLatin1(ItemPath), this, QDBusConnection::ExportAdaptors))
        return false;
    if (!bus_.registerService(serviceName_)) {
        bus_.unregisterObject(QString::fromLatin1(ItemPath));
        return false;
    }
    published_ = true;
    watcher_ = new QDBusServiceWatcher(QString::fromLatin1(WatcherService), bus_,
                                       QDBusServiceWatcher::WatchForRegistration |
                                           QDBusServiceWatcher::WatchForUnregistration,
                                       this);
    connect(watcher_, &QDBusServiceWatcher::serviceRegistered, this,
            &StatusNotifierItem::onWatcherRegistered);
    connect(watcher_, &QDBusServiceWatcher::serviceUnregistered, this,
            &StatusNotifierItem::onWatcherUnregistered);
    if (isWatcherPresent())
        registerWithWatcher();
    return true;
}

bool StatusNotifierItem::isWatcherPresent() const {
    if (!bus_.isConnected() || !bus_.interface())
        return false;
    return bus_.interface()->isServiceRegistered(QString::fromLatin1(WatcherService)).value();
}

QString StatusNotifierItem::watcherProcessName() const {
    if (!bus_.isConnected() || !bus_.interface())
        return QString();
    const QDBusReply<uint> pid = bus_.interface()->servicePid(QString::fromLatin1(WatcherService));
    if (!pid.isValid())
        return QString();
    const auto comm = PlatformPaths::readSmallFile(PlatformPaths::procfsRoot() +
                                                   QStringLiteral("/%1/comm").arg(pid.value()));
    return comm ? QString::fromUtf8(comm->trimmed()) : QString();
}

void StatusNotifierItem::registerWithWatcher() {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QString::fromLatin1(WatcherService), QString::fromLatin1(WatcherPath),
        QStringLiteral("org.kde.StatusNotifierWatcher"),
        QStringLiteral("RegisterStatusNotifierItem"));
    call << serviceName_;
    // Asynchronous: a watcher may call back into us while it handles the registration.
    bus_.asyncCall(call);
    ++registrations_;
    registered_ = true;
    // GNOME Shell's AppIndicator host reads the item's properties and, at about the same time,
    // starts watching its name; when the watch answers second, it forgets Id and Menu and reads
    // them again a second later in a way that fails unless they are back in its cache by then
    // ("Argument two may not be null"; the item never shows, one start in three here).
    // Announcing both every 300 ms for the first 3 s puts them back whenever that happens.
    announcementsLeft_ = 10;
    if (!announcer_) {
        announcer_ = new QTimer(this);
        announcer_->setInterval(300);
        connect(announcer_, &QTimer::timeout, this, [this] {
            announceBasicProperties();
            if (--announcementsLeft_ <= 0)
                announcer_->stop();
        });
    }
    announcer_->start();
}

void StatusNotifierItem::announceBasicProperties() {
    const auto* adaptor = findChild<StatusNotifierItemAdaptor*>();
    if (!published_ || !adaptor)
        return;
    QDBusMessage signal = QDBusMessage::createSignal(
        QString::fromLatin1(ItemPath), QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("PropertiesChanged"));
    signal << QStringLiteral("org.kde.StatusNotifierItem")
           << QVariantMap{{QStringLiteral("Id"), adaptor->id()},
                          {QStringLiteral("Menu"), QVariant::fromValue(adaptor->menu())}}
           << QStringList();
    bus_.send(signal);
}

void StatusNotifierItem::onWatcherRegistered() {
    registerWithWatcher();
    emit watcherChanged(true);
}

void StatusNotifierItem::onWatcherUnregistered() {
    registered_ = false;
    emit watcherChanged(false);
}

bool StatusNotifierItem::setIconPixmaps(const SniIconPixmapList& icons) {
    return setIcon(iconName_, iconThemePath_, icons);
}

bool StatusNotifierItem::setIcon(const QString& name, const QString& themePath,
                                 const SniIconPixmapList& icons) {
    if (name == iconName_ && themePath == iconThemePath_ && icons == icons_)
        return false;
    iconName_ = name;
    iconThemePath_ = themePath;
    icons_ = icons;
    emit NewIcon();
    return true;
}

bool StatusNotifierItem::setToolTip(const QString& title, const QString& text) {
    if (title == toolTipTitle_ && text == toolTipText_)
        return false;
    toolTipTitle_ = title;
    toolTipText_ = text;
    emit NewToolTip();
    return true;
}

bool StatusNotifierItem::setLabel(const QString& label, const QString& guide) {
    if (label == label_ && guide == labelGuide_)
        return false;
    label_ = label;
    labelGuide_ = guide;
    emit XAyatanaNewLabel(label_, labelGuide_);
    return true;
}

void StatusNotifierItem::setTitle(const QString& title) {
    if (title == title_)
        return;
    title_ = title;
    emit NewTitle();
}

void StatusNotifierItem::setStatus(const QString& status) {
    if (status == status_)
        return;
    status_ = status;
    emit NewStatus(status_);
}

SniToolTip StatusNotifierItem::toolTip() const {
    SniToolTip tip;
    tip.title = toolTipTitle_;
    tip.text = toolTipText_;
    return tip;
}

void StatusNotifierItem::activate(int x, int y) {
    emit activated(QPoint(x, y));
}

void StatusNotifierItem::secondaryActivate(int x, int y) {
    emit secondaryActivated(QPoint(x, y));
}

StatusNotifierItemAdaptor::StatusNotifierItemAdaptor(StatusNotifierItem* item)
    : QDBusAbstractAdaptor(item), item_(item) {
    setAutoRelaySignals(true);
}
