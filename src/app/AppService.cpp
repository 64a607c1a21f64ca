#include "AppService.h"

#include "app/FaceService.h"
#include "app/MonitorPrinter.h"
#include "app/SettingValue.h"
#include "settings/SettingsDomain.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusReply>
#include <QDBusServiceWatcher>

#include <cmath>

using Json = nlohmann::json;

AppService::AppService(QObject* parent)
    : QObject(parent), bus_(QStringLiteral("lumenstat-unconnected")) {
    // Known before the first introspection, so SetValue is listed with its "v" argument.
    qRegisterMetaType<QDBusVariant>();
    // Made before the object is exported, so its signals are relayed from the start.
    faces_ = new FaceService(this);
}

AppService::~AppService() {
    if (registered_) {
        bus_.unregisterObject(QString::fromLatin1(kObjectPath));
        bus_.unregisterService(QString::fromLatin1(kServiceName));
    }
}

bool AppService::registerOn(QDBusConnection bus) {
    if (!bus.isConnected() || !bus.interface())
        return false;
    // The object is there before the name, so a caller that sees the name finds it.
    if (!bus.registerObject(QString::fromLatin1(kObjectPath), this,
                            QDBusConnection::ExportScriptableSlots |
                                QDBusConnection::ExportScriptableSignals |
                                QDBusConnection::ExportAdaptors))
        return false;
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply =
        bus.interface()->registerService(QString::fromLatin1(kServiceName),
                                         QDBusConnectionInterface::DontQueueService,
                                         QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid() || reply.value() != QDBusConnectionInterface::ServiceRegistered) {
        bus.unregisterObject(QString::fromLatin1(kObjectPath));
        return false;
    }
    bus_ = bus;
    faces_->setConnection(bus);
    registered_ = true;
    return true;
}

void AppService::networkActivityDidUpdate(const ActivityRecord& record) {
    // A broadcast nobody listens to still wakes the bus daemon every second.
    if (registered_ && record && !followers_.isEmpty())
        emit Tick(QString::fromUtf8(MonitorPrinter::jsonLine(
            *record, cpuRateSource ? std::optional<QString>(cpuRateSource()) : std::nullopt)));
}

void AppService::Follow() {
    if (!calledFromDBus())
        return;
    const QString who = message().service();
    if (who.isEmpty() || followers_.contains(who))
        return;
    if (!followerWatcher_) {
        followerWatcher_ = new QDBusServiceWatcher(this);
        followerWatcher_->setConnection(connection());
        followerWatcher_->setWatchMode(QDBusServiceWatcher::WatchForUnregistration);
        connect(followerWatcher_, &QDBusServiceWatcher::serviceUnregistered, this,
                [this](const QString& name) {
                    followers_.removeAll(name);
                    followerWatcher_->removeWatchedService(name);
                });
    }
    followers_.append(who);
    followerWatcher_->addWatchedService(who);
}

void AppService::Unfollow() {
    if (!calledFromDBus())
        return;
    const QString who = message().service();
    followers_.removeAll(who);
    if (followerWatcher_)
        followerWatcher_->removeWatchedService(who);
}

void AppService::ShowPanel() {
    if (showPanelHook)
        showPanelHook();
    else if (calledFromDBus())
        sendErrorReply(QString::fromLatin1(kNoPanelError),
                       QStringLiteral("the running instance has no display, so no panel"));
}

void AppService::ShowSettings() {
    if (showSettingsHook)
        showSettingsHook();
    else if (calledFromDBus())
        sendErrorReply(QString::fromLatin1(kNoPanelError),
                       QStringLiteral("the running instance has no display, so no settings "
                                      "window"));
}

void AppService::ShowPanel(int x, int y, const QString& edge) {
    if (togglePanelAtHook)
        togglePanelAtHook(QPoint(x, y), edge);
    else if (calledFromDBus())
        sendErrorReply(QString::fromLatin1(kNoPanelError),
                       QStringLiteral("the running instance has no display, so no panel"));
}

void AppService::ShowItemPanel(const QString& item, int x, int y, const QString& edge) {
    if (!toggleItemPanelAtHook) {
        if (calledFromDBus())
            sendErrorReply(QString::fromLatin1(kNoPanelError),
                           QStringLiteral("the running instance has no display, so no panel"));
        return;
    }
    static const QStringList kinds = {QStringLiteral("network"), QStringLiteral("battery"),
                                      QStringLiteral("cpu"), QStringLiteral("storage")};
    if (!kinds.contains(item)) {
        if (calledFromDBus())
            sendErrorReply(QStringLiteral("com.quillfern.Lumenstat.Error.UnknownItem"),
                           QStringLiteral("no item kind \"%1\"").arg(item));
        return;
    }
    toggleItemPanelAtHook(item, QPoint(x, y), edge);
}

void AppService::SetValue(const QString& key, const QDBusVariant& value) {
    const std::optional<Json> json = fromDBus(value.variant());
    if (key.isEmpty() || !json) {
        if (calledFromDBus())
            sendErrorReply(QDBusError::InvalidArgs,
                           QStringLiteral("a settings key and a boolean, number, string, array "
                                          "or dictionary are needed"));
        return;
    }
    applyValue(key, json);
}

void AppService::RemoveValue(const QString& key) {
    applyValue(key, std::nullopt);
}

void AppService::applyValue(const QString& key, const std::optional<Json>& value) {
    const QString error = SettingValue::apply(key, value, SettingValue::Reach::RunningApp);
    if (!error.isEmpty()) {
        if (calledFromDBus())
            sendErrorReply(QDBusError::InvalidArgs, error);
        return;
    }
    emit ValueChanged(key);
}

QString AppService::GetValue(const QString& key) {
    const auto v = SettingValue::domainForKey(key).value(key.toStdString());
    return QString::fromStdString(v ? v->dump() : std::string("null"));
}

QString AppService::AppUsage(const QString& period) {
    if (period != QLatin1String("today") && period != QLatin1String("week")) {
        if (calledFromDBus())
            sendErrorReply(QDBusError::InvalidArgs,
                           QStringLiteral("the period is today or week, not \"%1\"").arg(period));
        return QString();
    }
    if (!appUsageHook) {
        if (calledFromDBus())
            sendErrorReply(QString::fromLatin1(kNoAppUsageError),
                           QStringLiteral("this instance does not keep per-app usage"));
        return QString();
    }
    return appUsageHook(period);
}

std::optional<QVariant> AppService::toDBus(const Json& value) {
    switch (value.type()) {
    case Json::value_t::boolean:
        return QVariant(value.get<bool>());
    case Json::value_t::number_integer:
        return QVariant(static_cast<qlonglong>(value.get<int64_t>()));
    case Json::value_t::number_unsigned:
        return QVariant(static_cast<qulonglong>(value.get<uint64_t>()));
    case Json::value_t::number_float:
        return QVariant(value.get<double>());
    case Json::value_t::string:
        return QVariant(QString::fromStdString(value.get<std::string>()));
    case Json::value_t::array: {
        QVariantList list;
        for (const Json& element : value) {
            auto v = toDBus(element);
            if (!v)
                return std::nullopt;
            list.append(*v);
        }
        return QVariant(list);
    }
    case Json::value_t::object: {
        QVariantMap map;
        for (auto it = value.begin(); it != value.end(); ++it) {
            auto v = toDBus(it.value());
            if (!v)
                return std::nullopt;
            map.insert(QString::fromStdString(it.key()), *v);
        }
        return QVariant(map);
    }
    default:
        return std::nullopt;
    }
}

namespace {

std::optional<Json> fromArgument(const QDBusArgument& arg);

std::optional<Json> fromBasic(const QVariant& v) {
    switch (v.metaType().id()) {
    case QMetaType::Bool:
        return Json(v.toBool());
    case QMetaType::UChar:
    case QMetaType::UShort:
    case QMetaType::UInt:
    case QMetaType::ULongLong:
        return Json(static_cast<uint64_t>(v.toULongLong()));
    case QMetaType::Short:
    case QMetaType::Int:
    case QMetaType::LongLong:
        return Json(static_cast<int64_t>(v.toLongLong()));
    case QMetaType::Double: {
        const double d = v.toDouble();
        if (!std::isfinite(d))
            return std::nullopt;
        return Json(d);
    }
    case QMetaType::QString:
        return Json(v.toString().toStdString());
    case QMetaType::QStringList: {
        Json a = Json::array();
        for (const QString& s : v.toStringList())
            a.push_back(s.toStdString());
        return a;
    }
    case QMetaType::QVariantList: {
        Json a = Json::array();
        for (const QVariant& e : v.toList()) {
            auto j = AppService::fromDBus(e);
            if (!j)
                return std::nullopt;
            a.push_back(*j);
        }
        return a;
    }
    case QMetaType::QVariantMap: {
        Json o = Json::object();
        const QVariantMap map = v.toMap();
        for (auto it = map.begin(); it != map.end(); ++it) {
            auto j = AppService::fromDBus(it.value());
            if (!j)
                return std::nullopt;
            o[it.key().toStdString()] = *j;
        }
        return o;
    }
    default:
        return std::nullopt;
    }
}

std::optional<Json> fromArgument(const QDBusArgument& arg) {
    switch (arg.currentType()) {
    case QDBusArgument::BasicType:
    case QDBusArgument::VariantType:
        return AppService::fromDBus(arg.asVariant());
    case QDBusArgument::ArrayType: {
        Json a = Json::array();
        arg.beginArray();
        while (!arg.atEnd()) {
            auto j = fromArgument(arg);
            if (!j)
                return std::nullopt;
            a.push_back(*j);
        }
        arg.endArray();
        return a;
    }
    case QDBusArgument::StructureType: {
        Json a = Json::array();
        arg.beginStructure();
        while (!arg.atEnd()) {
            auto j = fromArgument(arg);
            if (!j)
                return std::nullopt;
            a.push_back(*j);
        }
        arg.endStructure();
        return a;
    }
    case QDBusArgument::MapType: {
        Json o = Json::object();
        arg.beginMap();
        while (!arg.atEnd()) {
            arg.beginMapEntry();
            QString key;
            arg >> key;
            auto j = fromArgument(arg);
            if (!j)
                return std::nullopt;
            arg.endMapEntry();
            o[key.toStdString()] = *j;
        }
        arg.endMap();
        return o;
    }
    default:
        return std::nullopt;
    }
}

} // namespace

std::optional<Json> AppService::fromDBus(const QVariant& value) {
    if (value.metaType() == QMetaType::fromType<QDBusArgument>())
        return fromArgument(value.value<QDBusArgument>());
    if (value.metaType() == QMetaType::fromType<QDBusVariant>())
        return fromDBus(value.value<QDBusVariant>().variant());
    return fromBasic(value);
}

namespace {

std::optional<QString> optionalText(const Json& object, const char* key) {
    auto it = object.find(key);
    if (it == object.end() || !it->is_string())
        return std::nullopt;
    return QString::fromStdString(it->get<std::string>());
}

uint64_t unsignedField(const Json& pair, const char* key) {
    auto it = pair.find(key);
    return it != pair.end() && it->is_number_unsigned() ? it->get<uint64_t>() : 0;
}

NetActivities pairField(const Json& object, const char* key) {
    auto it = object.find(key);
    if (it == object.end() || !it->is_object())
        return {};
    return NetActivities{unsignedField(*it, "up"), unsignedField(*it, "down")};
}

} // namespace

std::optional<ActivityObject> AppService::activityFromJsonLine(const QByteArray& line,
                                                               std::optional<QString>* cpuRate) {
    const Json j = Json::parse(line.toStdString(), nullptr, false);
    if (j.is_discarded() || !j.is_object())
        return std::nullopt;
    ActivityObject r;
    r.time = optionalText(j, "time").value_or(QString());
    if (auto it = j.find("netMode"); it != j.end() && it->is_number_integer())
        r.netMode = it->get<int>();
    r.ssid = optionalText(j, "ssid");
    r.IPLocation = optionalText(j, "IPLocation");
    r.macLocation = optionalText(j, "macLocation");
    r.security = optionalText(j, "security");
    r.channel = optionalText(j, "channel");
    if (auto it = j.find("strengthValue"); it != j.end() && it->is_number_integer())
        r.strengthValue = it->get<long>();
    r.strength = optionalText(j, "strength");
    r.transmitRate = optionalText(j, "transmitRate");
    r.paceActivities = pairField(j, "paceActivities");
    r.netActivities = pairField(j, "netActivities");
    r.seesionMaxActivities = pairField(j, "seesionMaxActivities");
    if (cpuRate) {
        if (auto it = j.find("cpuRate"); it == j.end())
            *cpuRate = std::nullopt;
        else
            *cpuRate = it->is_string() ? QString::fromStdString(it->get<std::string>()) : QString();
    }
    return r;
}

namespace AppServiceClient {

namespace {
QDBusMessage methodCall(const char* method) {
    return QDBusMessage::createMethodCall(
        QString::fromLatin1(AppService::kServiceName), QString::fromLatin1(AppService::kObjectPath),
        QString::fromLatin1(AppService::kInterface), QString::fromLatin1(method));
}
} // namespace

bool instanceRunning(const QDBusConnection& bus) {
    if (!bus.isConnected() || !bus.interface())
        return false;
    const QDBusReply<bool> reply =
        bus.interface()->isServiceRegistered(QString::fromLatin1(AppService::kServiceName));
    return reply.isValid() && reply.value();
}

QString showPanel(const QDBusConnection& bus) {
    const QDBusMessage reply = bus.call(methodCall("ShowPanel"), QDBus::Block, 5000);
    if (reply.type() == QDBusMessage::ReplyMessage)
        return QString();
    return reply.errorMessage().isEmpty() ? reply.errorName() : reply.errorMessage();
}

QString showSettings(const QDBusConnection& bus) {
    const QDBusMessage reply = bus.call(methodCall("ShowSettings"), QDBus::Block, 5000);
    if (reply.type() == QDBusMessage::ReplyMessage)
        return QString();
    return reply.errorMessage().isEmpty() ? reply.errorName() : reply.errorMessage();
}

bool follow(const QDBusConnection& bus) {
    const QDBusMessage reply = bus.call(methodCall("Follow"), QDBus::Block, 5000);
    return reply.type() == QDBusMessage::ReplyMessage;
}

QString setValue(const QDBusConnection& bus, const QString& key, const std::optional<Json>& value) {
    QDBusMessage call = methodCall(value ? "SetValue" : "RemoveValue");
    call << key;
    if (value) {
        const auto v = AppService::toDBus(*value);
        if (!v)
            return QStringLiteral("the value cannot be sent over D-Bus");
        call << QVariant::fromValue(QDBusVariant(*v));
    }
    const QDBusMessage reply = bus.call(call, QDBus::Block, 5000);
    if (reply.type() == QDBusMessage::ReplyMessage)
        return QString();
    return reply.errorMessage().isEmpty() ? reply.errorName() : reply.errorMessage();
}

std::optional<QString> appUsage(const QDBusConnection& bus, const QString& period, QString* error) {
    QDBusMessage call = methodCall("AppUsage");
    call << period;
    const QDBusMessage reply = bus.call(call, QDBus::Block, 10000);
    if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty())
        return reply.arguments().front().toString();
    if (error)
        *error = reply.errorMessage().isEmpty() ? reply.errorName() : reply.errorMessage();
    return std::nullopt;
}

} // namespace AppServiceClient
