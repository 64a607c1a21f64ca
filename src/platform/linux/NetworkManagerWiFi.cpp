#include "NetworkManagerWiFi.h"

#include "PlatformPaths.h"

#include <QDBusArgument>
#include <QDBusInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>

namespace {

const QString kService = QStringLiteral("org.freedesktop.NetworkManager");
const QString kPath = QStringLiteral("/org/freedesktop/NetworkManager");
const QString kManager = QStringLiteral("org.freedesktop.NetworkManager");
const QString kDevice = QStringLiteral("org.freedesktop.NetworkManager.Device");
const QString kWireless = QStringLiteral("org.freedesktop.NetworkManager.Device.Wireless");
const QString kAccessPoint = QStringLiteral("org.freedesktop.NetworkManager.AccessPoint");
const QString kActiveConnection =
    QStringLiteral("org.freedesktop.NetworkManager.Connection.Active");
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");
constexpr uint32_t kDeviceTypeWifi = 2;

// Access-point security flags (NM80211ApSecurityFlags, NM80211ApFlags).
constexpr uint32_t kApPrivacy = 0x1;
constexpr uint32_t kKeyMgmtPSK = 0x100;
constexpr uint32_t kKeyMgmt8021X = 0x200;
constexpr uint32_t kKeyMgmtSAE = 0x400;
constexpr uint32_t kKeyMgmtOWE = 0x800;
constexpr uint32_t kKeyMgmtOWETransition = 0x1000;
constexpr uint32_t kKeyMgmtEAPSuiteB = 0x2000;

QVariantMap getAll(const QDBusConnection& bus, const QString& path, const QString& iface) {
    QDBusMessage call =
        QDBusMessage::createMethodCall(kService, path, kProperties, QStringLiteral("GetAll"));
    call << iface;
    QDBusReply<QVariantMap> reply = bus.call(call, QDBus::Block, 2000);
    return reply.isValid() ? reply.value() : QVariantMap();
}

QList<QDBusObjectPath> objectPaths(const QVariant& v) {
    if (v.canConvert<QList<QDBusObjectPath>>())
        return v.value<QList<QDBusObjectPath>>();
    QList<QDBusObjectPath> out;
    if (v.userType() == qMetaTypeId<QDBusArgument>()) {
        const QDBusArgument arg = v.value<QDBusArgument>();
        arg >> out;
    }
    return out;
}

QString objectPath(const QVariant& v) {
    if (v.canConvert<QDBusObjectPath>())
        return v.value<QDBusObjectPath>().path();
    return v.toString();
}

} // namespace

std::shared_ptr<NetworkManagerWiFi> NetworkManagerWiFi::shared() {
    static std::shared_ptr<NetworkManagerWiFi> instance =
        std::make_shared<NetworkManagerWiFi>(QDBusConnection::systemBus());
    return instance;
}

NetworkManagerWiFi::NetworkManagerWiFi(const QDBusConnection& bus, QObject* parent)
    : QObject(parent), bus_(bus) {
    debounce_.setSingleShot(true);
    debounce_.setInterval(50);
    connect(&debounce_, &QTimer::timeout, this, &NetworkManagerWiFi::refresh);
    if (!bus_.isConnected())
        return;
    watcher_ =
        new QDBusServiceWatcher(kService, bus_, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher_, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this] { debounce_.start(); });
    bus_.connect(kService, QString(), kProperties, QStringLiteral("PropertiesChanged"), this,
                 SLOT(onSignal(QDBusMessage)));
    for (const char* member : {"DeviceAdded", "DeviceRemoved", "StateChanged"})
        bus_.connect(kService, kPath, kManager, QString::fromLatin1(member), this,
                     SLOT(onSignal(QDBusMessage)));
    bus_.connect(kService, QString(), kDevice, QStringLiteral("StateChanged"), this,
                 SLOT(onSignal(QDBusMessage)));
    // Older NetworkManager versions send interface-specific PropertiesChanged signals.
    for (const QString& iface : {kWireless, kAccessPoint})
        bus_.connect(kService, QString(), iface, QStringLiteral("PropertiesChanged"), this,
                     SLOT(onSignal(QDBusMessage)));
    refresh();
}

void NetworkManagerWiFi::onSignal(const QDBusMessage&) {
    // Changes arrive in bursts (device, access point, manager); re-read once per burst.
    if (!debounce_.isActive())
        debounce_.start();
}

void NetworkManagerWiFi::refresh() {
    WiFiDetails details;
    QString iface;
    if (bus_.isConnected()) {
        const QVariantMap manager = getAll(bus_, kPath, kManager);
        QList<QDBusObjectPath> devices = objectPaths(manager.value(QStringLiteral("Devices")));
        if (devices.isEmpty()) {
            QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kManager,
                                                               QStringLiteral("GetDevices"));
            QDBusReply<QList<QDBusObjectPath>> reply = bus_.call(call, QDBus::Block, 2000);
            if (reply.isValid())
                devices = reply.value();
        }
        for (const QDBusObjectPath& dev : devices) {
            const QVariantMap device = getAll(bus_, dev.path(), kDevice);
            if (device.value(QStringLiteral("DeviceType")).toUInt() != kDeviceTypeWifi)
                continue;
            const QVariantMap wireless = getAll(bus_, dev.path(), kWireless);
            iface = device.value(QStringLiteral("Interface")).toString();
            QString hw = wireless.value(QStringLiteral("HwAddress")).toString();
            if (hw.isEmpty())
                hw = device.value(QStringLiteral("HwAddress")).toString();
            if (!hw.isEmpty())
                details.hardwareAddress = hw;
            details.transmitRate = wireless.value(QStringLiteral("Bitrate")).toUInt() / 1000.0;
            QString apPath = objectPath(wireless.value(QStringLiteral("ActiveAccessPoint")));
            if (apPath.isEmpty() || apPath == QLatin1String("/")) {
                // Without an active access point property, the active connection names it.
                const QString active = objectPath(device.value(QStringLiteral("ActiveConnection")));
                if (!active.isEmpty() && active != QLatin1String("/"))
                    apPath = objectPath(getAll(bus_, active, kActiveConnection)
                                            .value(QStringLiteral("SpecificObject")));
            }
            if (!apPath.isEmpty() && apPath != QLatin1String("/")) {
                const QVariantMap ap = getAll(bus_, apPath, kAccessPoint);
                const QByteArray ssid = ap.value(QStringLiteral("Ssid")).toByteArray();
                if (!ssid.isEmpty())
                    details.ssid = QString::fromUtf8(ssid);
                details.channel =
                    channelForFrequency(ap.value(QStringLiteral("Frequency")).toUInt());
                details.securityMode =
                    securityModeForFlags(ap.value(QStringLiteral("Flags")).toUInt(),
                                         ap.value(QStringLiteral("WpaFlags")).toUInt(),
                                         ap.value(QStringLiteral("RsnFlags")).toUInt());
            }
            break; // the first Wi-Fi device is the default interface
        }
    }
    std::lock_guard lock(mutex_);
    details_ = details;
    interface_ = iface;
}

WiFiDetails NetworkManagerWiFi::current() {
    WiFiDetails d;
    QString iface;
    {
        std::lock_guard lock(mutex_);
        d = details_;
        iface = interface_;
    }
    if (!iface.isEmpty() && d.ssid) {
        const auto text =
            PlatformPaths::readSmallFile(PlatformPaths::procfsRoot() + "/net/wireless");
        if (text)
            d.rssi = rssiFromProcWireless(*text, iface).value_or(0);
    }
    return d;
}

QString NetworkManagerWiFi::interfaceName() const {
    std::lock_guard lock(mutex_);
    return interface_;
}

int NetworkManagerWiFi::securityModeForFlags(uint32_t apFlags, uint32_t wpa, uint32_t rsn) {
    const uint32_t all = wpa | rsn;
    // The WPA3 family (SAE, OWE, Suite B) has no name in the table: report it as unknown.
    if ((rsn & (kKeyMgmtSAE | kKeyMgmtOWE | kKeyMgmtOWETransition | kKeyMgmtEAPSuiteB)) &&
        !(all & (kKeyMgmtPSK | kKeyMgmt8021X)))
        return 11;
    if (all & kKeyMgmt8021X) {
        if ((wpa & kKeyMgmt8021X) && (rsn & kKeyMgmt8021X))
            return 8; // WPA Enterprise Mixed
        return (rsn & kKeyMgmt8021X) ? 9 : 7;
    }
    if (all & kKeyMgmtPSK) {
        if ((wpa & kKeyMgmtPSK) && (rsn & kKeyMgmtPSK))
            return 3; // WPA Personal Mixed
        return (rsn & kKeyMgmtPSK) ? 4 : 2;
    }
    if (all != 0)
        return 11;
    return (apFlags & kApPrivacy) ? 1 : 0;
}

int NetworkManagerWiFi::channelForFrequency(uint32_t mhz) {
    if (mhz == 2484)
        return 14;
    if (mhz >= 2412 && mhz <= 2472)
        return static_cast<int>((mhz - 2407) / 5);
    if (mhz >= 4910 && mhz <= 4995) // 4.9 GHz (Japan, public safety): channels 182-199
        return static_cast<int>((mhz - 4000) / 5);
    if (mhz > 5000 && mhz < 5925)
        return static_cast<int>((mhz - 5000) / 5);
    if (mhz == 5935) // 6 GHz channel 2 sits below the band's 5 MHz grid
        return 2;
    if (mhz >= 5955 && mhz <= 7115)
        return static_cast<int>((mhz - 5950) / 5);
    if (mhz >= 58320 && mhz <= 70200)
        return static_cast<int>((mhz - 56160) / 2160);
    return 0;
}

std::optional<long> NetworkManagerWiFi::rssiFromProcWireless(const QByteArray& text,
                                                             const QString& iface) {
    // Inter-| sta-|   Quality        |   Discarded packets ...
    //  face | tus | link level noise |  nwid  crypt ...
    // wlan0: 0000   54.  -56.  -256        0      0 ...
    const QByteArray wanted = iface.toLocal8Bit() + ':';
    for (const QByteArray& raw : text.split('\n')) {
        const QByteArray line = raw.trimmed();
        if (!line.startsWith(wanted))
            continue;
        const QList<QByteArray> fields = line.mid(wanted.size()).simplified().split(' ');
        if (fields.size() < 3)
            return std::nullopt;
        QByteArray level = fields[2];
        if (level.endsWith('.'))
            level.chop(1);
        bool ok = false;
        const long v = level.toLong(&ok);
        if (!ok)
            return std::nullopt;
        // Some drivers report the level as an unsigned byte (256 - |dBm|).
        return v > 63 ? v - 256 : v;
    }
    return std::nullopt;
}
