#include "StatusNotifierItem.h"

#include "PlatformPaths.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusReply>
#include <QDBusServiceWatcher>
#include <QDBusVirtualObject>
#include <QMutex>
#include <QThread>
#include <QTimer>
#include <QtEndian>

#include <atomic>
#include <unistd.h>

// The properties as the bus reads them, and the item clicks go to (null once it is gone).
struct SniShared {
    QMutex mutex;
    QVariantMap properties;
    StatusNotifierItem* item = nullptr;
};

namespace {
std::atomic<int> itemCounter{0};

const QString itemInterface = QStringLiteral("org.kde.StatusNotifierItem");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");

const char* const introspection = R"xml(  <interface name="org.kde.StatusNotifierItem">
    <property name="Category" type="s" access="read"/>
    <property name="Id" type="s" access="read"/>
    <property name="Title" type="s" access="read"/>
    <property name="Status" type="s" access="read"/>
    <property name="WindowId" type="i" access="read"/>
    <property name="IconName" type="s" access="read"/>
    <property name="IconAccessibleDesc" type="s" access="read"/>
    <property name="AttentionAccessibleDesc" type="s" access="read"/>
    <property name="IconPixmap" type="a(iiay)" access="read"/>
    <property name="OverlayIconName" type="s" access="read"/>
    <property name="OverlayIconPixmap" type="a(iiay)" access="read"/>
    <property name="AttentionIconName" type="s" access="read"/>
    <property name="AttentionIconPixmap" type="a(iiay)" access="read"/>
    <property name="AttentionMovieName" type="s" access="read"/>
    <property name="IconThemePath" type="s" access="read"/>
    <property name="ToolTip" type="(sa(iiay)ss)" access="read"/>
    <property name="ItemIsMenu" type="b" access="read"/>
    <property name="Menu" type="o" access="read"/>
    <property name="XAyatanaLabel" type="s" access="read"/>
    <property name="XAyatanaLabelGuide" type="s" access="read"/>
    <property name="XAyatanaOrderingIndex" type="u" access="read"/>
    <method name="Activate"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
    <method name="SecondaryActivate"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
    <method name="ContextMenu"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
    <method name="Scroll"><arg name="delta" type="i" direction="in"/><arg name="orientation" type="s" direction="in"/></method>
    <signal name="NewIcon"/>
    <signal name="NewToolTip"/>
    <signal name="NewTitle"/>
    <signal name="NewAttentionIcon"/>
    <signal name="NewOverlayIcon"/>
    <signal name="NewStatus"><arg name="status" type="s"/></signal>
    <signal name="XAyatanaNewLabel"><arg name="label" type="s"/><arg name="guide" type="s"/></signal>
  </interface>
)xml";

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

// Answers the item's calls on the thread it lives on: the bus connection's own thread once
// published, so that reading the properties never waits for the GUI thread.
class SniObject : public QDBusVirtualObject {
public:
    explicit SniObject(std::shared_ptr<SniShared> shared) : shared_(std::move(shared)) {}

    QString introspect(const QString&) const override { return QString::fromLatin1(introspection); }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        const QString interface = message.interface();
        const QString member = message.member();
        const QList<QVariant> args = message.arguments();
        if (interface == propertiesInterface)
            return answerProperties(message, connection, member, args);
        if (!interface.isEmpty() && interface != itemInterface)
            return false;
        const bool click = member == QLatin1String("Activate") ||
                           member == QLatin1String("SecondaryActivate") ||
                           member == QLatin1String("ContextMenu");
        if (click && message.signature() == QLatin1String("ii")) {
            const int x = args.at(0).toInt();
            const int y = args.at(1).toInt();
            const bool primary = member == QLatin1String("Activate");
            QMutexLocker lock(&shared_->mutex);
            if (StatusNotifierItem* item = shared_->item)
                QMetaObject::invokeMethod(
                    item,
                    [item, x, y, primary] {
                        primary ? item->activate(x, y) : item->secondaryActivate(x, y);
                    },
                    Qt::QueuedConnection);
        } else if (!(member == QLatin1String("Scroll") &&
                     message.signature() == QLatin1String("is"))) {
            return false;
        }
        if (message.isReplyRequired())
            connection.send(message.createReply());
        return true;
    }

private:
    bool answerProperties(const QDBusMessage& message, const QDBusConnection& connection,
                          const QString& member, const QList<QVariant>& args) {
        const auto reply = [&](const QDBusMessage& answer) {
            if (message.isReplyRequired())
                connection.send(answer);
            return true;
        };
        const QString interface = args.value(0).toString();
        if (member == QLatin1String("GetAll") && message.signature() == QLatin1String("s")) {
            if (!interface.isEmpty() && interface != itemInterface)
                return reply(message.createReply(QVariant::fromValue(QVariantMap())));
            QVariantMap properties;
            {
                QMutexLocker lock(&shared_->mutex);
                properties = shared_->properties;
            }
            return reply(message.createReply(QVariant::fromValue(properties)));
        }
        if (member == QLatin1String("Get") && message.signature() == QLatin1String("ss")) {
            QVariant value;
            if (interface.isEmpty() || interface == itemInterface) {
                QMutexLocker lock(&shared_->mutex);
                value = shared_->properties.value(args.at(1).toString());
            }
            if (!value.isValid())
                return reply(message.createErrorReply(
                    QStringLiteral("org.freedesktop.DBus.Error.UnknownProperty"),
                    QStringLiteral("No property %1 in %2").arg(args.at(1).toString(), interface)));
            return reply(message.createReply(QVariant::fromValue(QDBusVariant(value))));
        }
        if (member == QLatin1String("Set"))
            return reply(message.createErrorReply(
                QStringLiteral("org.freedesktop.DBus.Error.PropertyReadOnly"),
                QStringLiteral("The item's properties are read-only")));
        return false;
    }

    std::shared_ptr<SniShared> shared_;
};

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
    : QObject(parent), bus_(bus), id_(id), title_(id), shared_(std::make_shared<SniShared>()) {
    registerTypes();
    serviceName_ =
        QStringLiteral("org.kde.StatusNotifierItem-%1-%2").arg(::getpid()).arg(++itemCounter);
    shared_->item = this;
    shared_->properties = properties();
}

StatusNotifierItem::~StatusNotifierItem() {
    if (published_) {
        // After this no new call reaches the object; one the bus thread has in hand finds
        // no item to click and is answered from the properties it shares.
        bus_.unregisterObject(QString::fromLatin1(ItemPath));
        bus_.unregisterService(serviceName_);
    }
    {
        QMutexLocker lock(&shared_->mutex);
        shared_->item = nullptr;
    }
    if (object_) {
        if (object_->thread() == QThread::currentThread()) {
            delete object_;
        } else {
            // On the bus thread, after whatever it is doing. The connection watches the object
            // for its end with a call that would wait for that same thread; it is unregistered
            // already, so nothing needs to hear of it.
            QObject::disconnect(object_, &QObject::destroyed, nullptr, nullptr);
            object_->deleteLater();
        }
    }
}

bool StatusNotifierItem::publish() {
    if (published_)
        return true;
    if (!bus_.isConnected())
        return false;
    if (!object_) {
        object_ = new SniObject(shared_);
        // The bus's own interface object lives on the connection's thread.
        QThread* busThread = bus_.interface() ? bus_.interface()->thread() : nullptr;
        if (busThread && busThread != thread())
            object_->moveToThread(busThread);
    }
    if (!bus_.registerVirtualObject(QString::fromLatin1(ItemPath), object_))
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
    if (!published_)
        return;
    QDBusMessage signal = QDBusMessage::createSignal(
        QString::fromLatin1(ItemPath), propertiesInterface, QStringLiteral("PropertiesChanged"));
    signal << itemInterface
           << QVariantMap{{QStringLiteral("Id"), id_},
                          {QStringLiteral("Menu"), QVariant::fromValue(QDBusObjectPath(menuPath_))}}
           << QStringList();
    bus_.send(signal);
}

void StatusNotifierItem::sendSignal(const char* member, const QVariantList& args) {
    if (!published_)
        return;
    QDBusMessage signal = QDBusMessage::createSignal(QString::fromLatin1(ItemPath), itemInterface,
                                                     QString::fromLatin1(member));
    signal.setArguments(args);
    bus_.send(signal);
}

QVariantMap StatusNotifierItem::properties() const {
    const QString none;
    const QVariant noPixmaps = QVariant::fromValue(SniIconPixmapList());
    return {
        {QStringLiteral("Category"), QStringLiteral("ApplicationStatus")},
        {QStringLiteral("Id"), id_},
        {QStringLiteral("Title"), title_},
        {QStringLiteral("Status"), status_},
        {QStringLiteral("WindowId"), 0},
        {QStringLiteral("IconName"), iconName_},
        {QStringLiteral("IconAccessibleDesc"), accessibleDescription_},
        {QStringLiteral("AttentionAccessibleDesc"), none},
        {QStringLiteral("IconPixmap"), QVariant::fromValue(icons_)},
        {QStringLiteral("OverlayIconName"), none},
        {QStringLiteral("OverlayIconPixmap"), noPixmaps},
        {QStringLiteral("AttentionIconName"), none},
        {QStringLiteral("AttentionIconPixmap"), noPixmaps},
        {QStringLiteral("AttentionMovieName"), none},
        {QStringLiteral("IconThemePath"), iconThemePath_},
        {QStringLiteral("ToolTip"), QVariant::fromValue(toolTip())},
        {QStringLiteral("ItemIsMenu"), false},
        {QStringLiteral("Menu"), QVariant::fromValue(QDBusObjectPath(menuPath_))},
        {QStringLiteral("XAyatanaLabel"), label_},
        {QStringLiteral("XAyatanaLabelGuide"), labelGuide_},
        {QStringLiteral("XAyatanaOrderingIndex"), 0u},
    };
}

void StatusNotifierItem::share(std::initializer_list<const char*> names) {
    const QVariantMap now = properties();
    QMutexLocker lock(&shared_->mutex);
    for (const char* name : names) {
        const QString key = QString::fromLatin1(name);
        shared_->properties.insert(key, now.value(key));
    }
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
    share({"IconName", "IconThemePath", "IconPixmap"});
    sendSignal("NewIcon");
    return true;
}

bool StatusNotifierItem::setToolTip(const QString& title, const QString& text) {
    if (title == toolTipTitle_ && text == toolTipText_)
        return false;
    toolTipTitle_ = title;
    toolTipText_ = text;
    share({"ToolTip"});
    sendSignal("NewToolTip");
    return true;
}

bool StatusNotifierItem::setLabel(const QString& label, const QString& guide) {
    if (label == label_ && guide == labelGuide_)
        return false;
    label_ = label;
    labelGuide_ = guide;
    share({"XAyatanaLabel", "XAyatanaLabelGuide"});
    sendSignal("XAyatanaNewLabel", {label_, labelGuide_});
    return true;
}

void StatusNotifierItem::setTitle(const QString& title) {
    if (title == title_)
        return;
    title_ = title;
    share({"Title"});
    sendSignal("NewTitle");
}

void StatusNotifierItem::setStatus(const QString& status) {
    if (status == status_)
        return;
    status_ = status;
    share({"Status"});
    sendSignal("NewStatus", {status_});
}

void StatusNotifierItem::setAccessibleDescription(const QString& text) {
    accessibleDescription_ = text;
    share({"IconAccessibleDesc"});
}

void StatusNotifierItem::setMenuPath(const QString& path) {
    menuPath_ = path;
    share({"Menu"});
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
