#include "NetworkMonitor.h"

#include "platform/DecimalText.h"
#include "platform/NetworkSources.h"
#include "platform/linux/LinuxLinkTable.h"
#include "platform/linux/NetworkManagerWiFi.h"
#include "platform/linux/ThreadTimerSlack.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QElapsedTimer>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <cstdio>

namespace {

// Seconds on the monotonic clock: the session time neither freezes nor jumps when the wall
// clock is set.
double monotonicNow() {
    static const QElapsedTimer clock = [] {
        QElapsedTimer t;
        t.start();
        return t;
    }();
    return static_cast<double>(clock.nsecsElapsed()) / 1e9 + 1.0;
}

// Timer slack per "PerformanceQueuePriority": 1 asks for exact ticks; otherwise the kernel
// may wake the tick a few milliseconds late to batch it with other wake-ups.
constexpr unsigned long kPreciseSlackNs = 1;
constexpr unsigned long kBackgroundSlackNs = 4'000'000;

const char* totalsKey(int status) {
    return status == ReachableViaWiFi ? SettingsKey::NetActivitiesWiFiData
                                      : SettingsKey::NetActivitiesWWANData;
}

NetActivities loadTotals(SettingsDomain* domain, const char* key) {
    if (!domain)
        return {};
    const auto stored = domain->unsignedList(key);
    if (!stored || stored->size() != 2)
        return {};
    return NetActivities{(*stored)[0], (*stored)[1]};
}

void insertFront(std::vector<uint64_t>& list, uint64_t value, size_t cap) {
    list.insert(list.begin(), value);
    if (list.size() > cap)
        list.resize(cap);
}

} // namespace

NetworkMonitorSources NetworkMonitorSources::system() {
    NetworkMonitorSources s;
    auto table = std::make_shared<LinuxLinkTable>();
    s.links = table;
    s.route = table;
    s.wifi = NetworkManagerWiFi::shared();
    s.now = monotonicNow;
    s.group = &SettingsDomain::group();
    return s;
}

NetworkMonitor& NetworkMonitor::shared() {
    static NetworkMonitor* monitor = new NetworkMonitor(NetworkMonitorSources::system());
    return *monitor;
}

NetworkMonitor::NetworkMonitor(NetworkMonitorSources sources, QObject* parent)
    : QObject(parent), sources_(std::move(sources)), netReachability_(sources_.route) {
    if (!sources_.now)
        sources_.now = monotonicNow;
    initActivities();
    dataWiFi_ = loadTotals(sources_.group, SettingsKey::NetActivitiesWiFiData);
    dataWWAN_ = loadTotals(sources_.group, SettingsKey::NetActivitiesWWANData);
    netReachability_.startNotifier();
    Settings::addPerformanceQueuePriorityDidChange(
        this, [this](const Notification&) { notifyPerformanceQueuePriorityDidChange(); });
}

NetworkMonitor::~NetworkMonitor() = default;

void NetworkMonitor::addActivityObserver(ActivityObserver* observer) {
    if (walkingObservers_)
        qFatal("activity observers changed while a record is being delivered");
    if (std::find(observers_.begin(), observers_.end(), observer) == observers_.end())
        observers_.push_back(observer);
}

void NetworkMonitor::insertActivityObserver(ActivityObserver* observer) {
    if (walkingObservers_)
        qFatal("activity observers changed while a record is being delivered");
    if (std::find(observers_.begin(), observers_.end(), observer) == observers_.end())
        observers_.insert(observers_.begin(), observer);
}

void NetworkMonitor::removeActivityObserver(ActivityObserver* observer) {
    if (walkingObservers_)
        qFatal("activity observers changed while a record is being delivered");
    observers_.erase(std::remove(observers_.begin(), observers_.end(), observer), observers_.end());
}

bool NetworkMonitor::afterDelivery(std::function<void()> work) {
    if (!walkingObservers_)
        return false;
    afterDelivery_.push_back(std::move(work));
    return true;
}

void NetworkMonitor::applyPriority() {
    setThreadTimerSlack(performanceQueuePriority() == 1 ? kPreciseSlackNs : kBackgroundSlackNs);
}

void NetworkMonitor::startMonitoring() {
    if (timer_)
        return;
    if (startedTime_ == 0.0)
        startedTime_ = sources_.now();
    applyPriority();
    timer_ = new QTimer(this);
    timer_->setTimerType(Qt::PreciseTimer);
    timer_->setInterval(1000);
    connect(timer_, &QTimer::timeout, this, [this] { updateNetworkInfo(); });
    timer_->start();
    // The first tick fires at once, from the event loop like every other one.
    QTimer::singleShot(0, timer_, [this] { updateNetworkInfo(); });
}

void NetworkMonitor::stopMonitoring() {
    if (!timer_)
        return;
    delete timer_;
    timer_ = nullptr;
    dirtyActivity_ = true;
}

void NetworkMonitor::notifyPerformanceQueuePriorityDidChange() {
    stopMonitoring();
    QTimer::singleShot(1000, this, [this] { startMonitoring(); });
}

void NetworkMonitor::initActivities() {
    netActivities_ = {};
    seesionMaxActivities_ = {};
}

NetActivities NetworkMonitor::currentNetworkPaceWithReachabilityStatus(int status) {
    if (status == NotReachable)
        return {};
    std::vector<LinkEntry>& links = links_;
    if (!sources_.links || !sources_.links->readCounters(links))
        return {};
    if (QString ip = sources_.links->lastIPv4Address(); !ip.isNull())
        IPString_ = std::move(ip);
    uint64_t wifiIn = 0, wifiOut = 0, wwanIn = 0, wwanOut = 0;
    for (const LinkEntry& e : links) {
        if (!e.hasStats)
            continue;
        switch (classifyLink(e)) {
        case LinkClass::Local:
            wifiIn += e.rxBytes;
            wifiOut += e.txBytes;
            break;
        case LinkClass::WWAN:
            wwanIn += e.rxBytes;
            wwanOut += e.txBytes;
            break;
        case LinkClass::Uncounted:
            break;
        }
    }
    if (status == ReachableViaWiFi)
        return NetActivities{wifiOut >> 10, wifiIn >> 10};
    if (status == ReachableViaWWAN)
        return NetActivities{wwanOut >> 10, wwanIn >> 10};
    return {};
}

NetActivities NetworkMonitor::dataWiFi() const {
    return dataWiFi_;
}

NetActivities NetworkMonitor::dataWWAN() const {
    return dataWWAN_;
}

void NetworkMonitor::persistTotals(int status, const NetActivities& totals) {
    if (sources_.isExtension || !sources_.group)
        return;
    // A tick without traffic leaves the stored pair as it is.
    if (lastPersisted_ && lastPersisted_->first == status && lastPersisted_->second == totals)
        return;
    sources_.group->setUnsignedList(totalsKey(status), {totals.up, totals.down});
    lastPersisted_ = std::make_pair(status, totals);
}

void NetworkMonitor::updateNetworkInfo() {
    const double now = sources_.now();
    if (lastTick_ && now - *lastTick_ > kLateTick)
        dirtyActivity_ = true;
    lastTick_ = now;
    const NetworkStatus status = netReachability_.currentReachabilityStatus();
    if (status == NotReachable) {
        initActivities();
        auto record = std::make_shared<ActivityObject>();
        record->time = timeText();
        record->netMode = NotReachable;
        record->netActivities = dataWiFi();
        dispatchActivityObject(record);
        return;
    }
    if (status != netMode_)
        initActivities();
    netMode_ = status;

    const NetActivities current = currentNetworkPaceWithReachabilityStatus(status);
    NetActivities totals = status == ReachableViaWiFi ? dataWiFi() : dataWWAN();
    uint64_t upPace = 0;
    uint64_t downPace = 0;

    if (netActivities_.up != 0 && netActivities_.down != 0) {
        if (current.down > netActivities_.down) {
            downPace = current.down - netActivities_.down;
            totals.down += downPace;
        }
        if (current.up <= netActivities_.up) {
            dirtyActivity_ = true;
        } else {
            upPace = current.up - netActivities_.up;
            totals.up += upPace;
        }
        (status == ReachableViaWiFi ? dataWiFi_ : dataWWAN_) = totals;
        persistTotals(status, totals);
        insertFront(downPaces_, downPace, kHistoryLength);
        insertFront(upPaces_, upPace, kHistoryLength);
        if (!dirtyActivity_) {
            seesionMaxActivities_.down = std::max(seesionMaxActivities_.down, downPace);
            seesionMaxActivities_.up = std::max(seesionMaxActivities_.up, upPace);
        }
    }
    netActivities_ = current;

    auto record = std::make_shared<ActivityObject>();
    record->time = timeText();
    record->netMode = status;
    record->sentNumbers = upPaces_;
    record->downNumbers = downPaces_;
    record->netActivities = totals;
    record->paceActivities = NetActivities{upPace, downPace};
    record->seesionMaxActivities = seesionMaxActivities_;
    if (!IPString_.isNull())
        record->IPLocation = IPString_;
    fillConnectionDetails(*record);
    dispatchActivityObject(record);
    dirtyActivity_ = false;
}

void NetworkMonitor::fillConnectionDetails(ActivityObject& record) {
    WiFiDetails wifi = sources_.wifi ? sources_.wifi->current() : WiFiDetails{};
    if (!lastWiFi_ || !(*lastWiFi_ == wifi)) {
        ActivityObject& d = lastDetails_;
        d.ssid = wifi.ssid;
        d.macLocation.reset();
        if (wifi.hardwareAddress)
            d.macLocation = wifi.hardwareAddress->toUpper();
        d.security = getSecurityStringForNetwork(wifi.securityMode);
        d.channel = QString::number(wifi.channel);
        d.strengthValue = wifi.rssi;
        d.strength = QString::number(wifi.rssi) + QStringLiteral(" dBm");
        d.transmitRate = decimalText(wifi.transmitRate, 1) + QStringLiteral(" Mbps");
        lastWiFi_ = std::move(wifi);
    }
    record.ssid = lastDetails_.ssid;
    record.macLocation = lastDetails_.macLocation;
    record.security = lastDetails_.security;
    record.channel = lastDetails_.channel;
    record.strengthValue = lastDetails_.strengthValue;
    record.strength = lastDetails_.strength;
    record.transmitRate = lastDetails_.transmitRate;
}

void NetworkMonitor::dispatchActivityObject(const ActivityRecord& record) {
    if (QThread::currentThread() != thread()) {
        QMetaObject::invokeMethod(
            this, [this, record] { dispatchActivityObject(record); }, Qt::QueuedConnection);
        return;
    }
    walkingObservers_ = true;
    for (ActivityObserver* o : observers_)
        o->networkActivityDidUpdate(record);
    walkingObservers_ = false;
    // Work asked for while this runs is outside the delivery and takes its own way.
    auto work = std::exchange(afterDelivery_, {});
    for (auto& w : work)
        w();
}

QString NetworkMonitor::fullTimeText(unsigned long n) {
    return n > 9 ? QString::number(n) : QStringLiteral("0") + QString::number(n);
}

QString NetworkMonitor::timeTextForElapsed(double elapsed) {
    if (!(elapsed > 0))
        elapsed = 0;
    // Whole seconds, saturated far beyond any session (the day field then still fits).
    const auto s = elapsed < 1e15 ? static_cast<unsigned long>(elapsed) : 999'999'999'999'999ul;
    // Fields of two digits at least, more where the number needs them (days above 99): the
    // text of "%02lu", built by hand because this runs on every tick.
    char buf[40];
    char* end = buf + sizeof buf;
    char* p = end;
    auto put = [&p](unsigned long v, char separator) {
        const char* const fieldEnd = p;
        do {
            *--p = static_cast<char>('0' + v % 10);
            v /= 10;
        } while (v > 0);
        if (fieldEnd - p < 2)
            *--p = '0';
        if (separator)
            *--p = separator;
    };
    if (s < 60) {
        put(s, ':');
        put(0, 0);
    } else if (s < 3600) {
        put(s % 60, ':');
        put(s / 60, 0);
    } else if (s < 86400) {
        put(s % 60, ':');
        put(s % 3600 / 60, ':');
        put(s / 3600, 0);
    } else {
        put(s % 60, ':');
        put(s % 3600 / 60, ':');
        put(s % 86400 / 3600, '.');
        put(s / 86400, 0);
    }
    return QString::fromLatin1(p, static_cast<qsizetype>(end - p));
}

QString NetworkMonitor::timeText() const {
    return timeTextForElapsed(sources_.now() - startedTime_);
}

QString NetworkMonitor::getSecurityStringForNetwork(int mode) {
    static const char* const names[] = {
        "None",      "WEP",         "WPA Personal",   "WPA Personal Mixed",   "WPA2 Personal",
        "Personal",  "Dynamic WEP", "WPA Enterprise", "WPA Enterprise Mixed", "WPA2 Enterprise",
        "Enterprise"};
    if (mode < 0 || mode > 10)
        return QStringLiteral("Unknown");
    return QString::fromLatin1(names[mode]);
}

void NetworkMonitor::resetData() {
    dataWiFi_ = {};
    dataWWAN_ = {};
    lastPersisted_.reset();
    if (sources_.group) {
        sources_.group->setUnsignedList(SettingsKey::NetActivitiesWiFiData, {0, 0});
        sources_.group->setUnsignedList(SettingsKey::NetActivitiesWWANData, {0, 0});
    }
}

ActivityRecord NetworkMonitor::getActivity() {
    updateNetworkInfo();
    auto record = std::make_shared<ActivityObject>();
    record->netMode = netReachability_.currentReachabilityStatus();
    if (!IPString_.isNull())
        record->IPLocation = IPString_;
    fillConnectionDetails(*record);
    return record;
}
