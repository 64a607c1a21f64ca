#include "NetworkMonitor.h"

#include "platform/NetworkSources.h"
#include "platform/linux/LinuxDefaultRoute.h"
#include "platform/linux/LinuxInterfaceAddresses.h"
#include "platform/linux/NetworkManagerWiFi.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <cstdio>

namespace {

double systemNow() {
    return static_cast<double>(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
}

bool hasPrefix(const std::string& s, const char* prefix) {
    return s.rfind(prefix, 0) == 0;
}

// Local links (wired and Wi-Fi) are counted together; "pdp_ip" and "ww" links are WWAN.
bool isLocalLinkName(const std::string& n) {
    return hasPrefix(n, "en") || hasPrefix(n, "eth") || hasPrefix(n, "wl");
}
bool isWWANName(const std::string& n) {
    return hasPrefix(n, "pdp_ip") || hasPrefix(n, "ww");
}

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
    s.addresses = std::make_shared<LinuxInterfaceAddresses>();
    s.route = std::make_shared<LinuxDefaultRoute>();
    s.wifi = NetworkManagerWiFi::shared();
    s.now = systemNow;
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
        sources_.now = systemNow;
    initActivities();
    dataWiFi_ = loadTotals(sources_.group, SettingsKey::NetActivitiesWiFiData);
    dataWWAN_ = loadTotals(sources_.group, SettingsKey::NetActivitiesWWANData);
    netReachability_.startNotifier();
    Settings::addPerformanceQueuePriorityDidChange(
        this, [this](const Notification&) { notifyPerformanceQueuePriorityDidChange(); });
}

NetworkMonitor::~NetworkMonitor() {
    if (thread_) {
        QMetaObject::invokeMethod(
            worker_,
            [this] {
                delete timer_;
                timer_ = nullptr;
                delete worker_;
                worker_ = nullptr;
            },
            Qt::BlockingQueuedConnection);
        thread_->quit();
        thread_->wait();
        delete thread_;
    }
}

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

void NetworkMonitor::ensureThread() {
    if (thread_)
        return;
    thread_ = new QThread;
    thread_->setObjectName(QStringLiteral("lumenstat-sampler"));
    worker_ = new QObject;
    worker_->moveToThread(thread_);
    thread_->start();
}

void NetworkMonitor::applyPriority() {
    // 1 asks for a high-priority sampler; anything else runs it in the background.
    thread_->setPriority(performanceQueuePriority() == 1 ? QThread::HighPriority
                                                         : QThread::LowestPriority);
}

void NetworkMonitor::startMonitoring() {
    if (isRunning_.exchange(true))
        return;
    if (startedTime_.load() == 0.0)
        startedTime_ = sources_.now();
    ensureThread();
    applyPriority();
    QMetaObject::invokeMethod(
        worker_,
        [this] {
            timer_ = new QTimer;
            timer_->setTimerType(Qt::PreciseTimer);
            timer_->setInterval(1000);
            QObject::connect(timer_, &QTimer::timeout, timer_, [this] { updateNetworkInfo(); });
            timer_->start();
            updateNetworkInfo(); // the first tick fires at once
        },
        Qt::QueuedConnection);
}

void NetworkMonitor::stopMonitoring() {
    if (!isRunning_.load() || !thread_)
        return;
    // Cancellation completes on the timer's thread, like a cancel handler: until then the
    // monitor still counts as running.
    QMetaObject::invokeMethod(
        worker_,
        [this] {
            delete timer_;
            timer_ = nullptr;
            dirtyActivity_ = true;
            isRunning_ = false;
        },
        Qt::QueuedConnection);
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
    static thread_local std::vector<InterfaceAddressEntry> entries;
    if (!sources_.addresses || !sources_.addresses->read(entries))
        return {};
    uint32_t wifiIn = 0, wifiOut = 0, wwanIn = 0, wwanOut = 0;
    for (const InterfaceAddressEntry& e : entries) {
        if (e.family == InterfaceAddressEntry::Family::IPv4) {
            IPString_ = e.ipv4;
        } else if (e.family == InterfaceAddressEntry::Family::Link && e.hasStats) {
            // 32-bit sums wrap exactly as the kernel's 32-bit link counters do.
            if (isLocalLinkName(e.name)) {
                wifiIn += e.rxBytes;
                wifiOut += e.txBytes;
            } else if (isWWANName(e.name)) {
                wwanIn += e.rxBytes;
                wwanOut += e.txBytes;
            }
        }
    }
    if (status == ReachableViaWiFi)
        return NetActivities{wifiOut >> 10, wifiIn >> 10};
    if (status == ReachableViaWWAN)
        return NetActivities{wwanOut >> 10, wwanIn >> 10};
    return {};
}

NetActivities NetworkMonitor::dataWiFi() const {
    std::lock_guard lock(totalsMutex_);
    return dataWiFi_;
}

NetActivities NetworkMonitor::dataWWAN() const {
    std::lock_guard lock(totalsMutex_);
    return dataWWAN_;
}

void NetworkMonitor::persistTotals(int status, const NetActivities& totals) {
    if (sources_.isExtension || !sources_.group)
        return;
    sources_.group->setUnsignedList(totalsKey(status), {totals.up, totals.down});
}

void NetworkMonitor::updateNetworkInfo() {
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
        {
            std::lock_guard lock(totalsMutex_);
            (status == ReachableViaWiFi ? dataWiFi_ : dataWWAN_) = totals;
        }
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
    const WiFiDetails wifi = sources_.wifi ? sources_.wifi->current() : WiFiDetails{};
    record.ssid = wifi.ssid;
    if (wifi.hardwareAddress)
        record.macLocation = wifi.hardwareAddress->toUpper();
    record.security = getSecurityStringForNetwork(wifi.securityMode);
    record.channel = QString::number(wifi.channel);
    record.strengthValue = wifi.rssi;
    char buf[64];
    std::snprintf(buf, sizeof buf, "%ld dBm", wifi.rssi);
    record.strength = QString::fromLatin1(buf);
    std::snprintf(buf, sizeof buf, "%.1lf Mbps", wifi.transmitRate);
    record.transmitRate = QString::fromLatin1(buf);
}

void NetworkMonitor::dispatchActivityObject(const ActivityRecord& record) {
    QMetaObject::invokeMethod(
        this,
        [this, record] {
            walkingObservers_ = true;
            for (ActivityObserver* o : observers_)
                o->networkActivityDidUpdate(record);
            walkingObservers_ = false;
        },
        Qt::QueuedConnection);
}

QString NetworkMonitor::fullTimeText(unsigned long n) {
    char buf[32];
    std::snprintf(buf, sizeof buf, n > 9 ? "%lu" : "0%lu", n);
    return QString::fromLatin1(buf);
}

QString NetworkMonitor::timeTextForElapsed(double elapsed) {
    if (!(elapsed > 0))
        elapsed = 0;
    const auto s = static_cast<unsigned long>(elapsed);
    if (elapsed < 60)
        return "00:" + fullTimeText(s);
    if (elapsed < 3600)
        return fullTimeText(static_cast<unsigned long>(elapsed / 60)) + ":" + fullTimeText(s % 60);
    if (elapsed < 86400)
        return fullTimeText(static_cast<unsigned long>(elapsed / 3600)) + ":" +
               fullTimeText((s % 3600) / 60) + ":" + fullTimeText(s % 60);
    return fullTimeText(static_cast<unsigned long>(elapsed / 86400)) + "." +
           fullTimeText((s % 86400) / 3600) + ":" + fullTimeText((s % 3600) / 60) + ":" +
           fullTimeText(s % 60);
}

QString NetworkMonitor::timeText() const {
    return timeTextForElapsed(sources_.now() - startedTime_.load());
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
    {
        std::lock_guard lock(totalsMutex_);
        dataWiFi_ = {};
        dataWWAN_ = {};
    }
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
