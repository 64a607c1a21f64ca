#pragma once

#include "ActivityObject.h"
#include "ActivityObserver.h"
#include "NetActivities.h"
#include "Reachability.h"
#include "platform/NetworkSources.h"

#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QTimer;
class RouteSource;
class SettingsDomain;
class WiFiSource;

// Where the sampler gets its readings from; the defaults read the running system.
struct NetworkMonitorSources {
    std::shared_ptr<LinkSource> links;
    std::shared_ptr<RouteSource> route;
    std::shared_ptr<WiFiSource> wifi; // null: no Wi-Fi client at all
    std::function<double()> now;      // seconds on a monotonic clock (never set back)
    SettingsDomain* group = nullptr;  // where the running totals persist
    bool isExtension = false;         // an extension process never writes the totals

    static NetworkMonitorSources system();
};

// The heartbeat: once a second it reads the interface counters, computes the paces,
// keeps histories, maxima and running totals, and hands one immutable record to every
// observer. The timer runs on the monitor's (main) thread, so a tick is one wake-up of one
// thread and the record reaches the observers directly, in list order.
class NetworkMonitor : public QObject {
    Q_OBJECT
public:
    static constexpr size_t kHistoryLength = 60;
    static constexpr double kLateTick = 1.5;

    static NetworkMonitor& shared();
    explicit NetworkMonitor(NetworkMonitorSources sources, QObject* parent = nullptr);
    ~NetworkMonitor() override;

    void addActivityObserver(ActivityObserver* observer);
    void insertActivityObserver(ActivityObserver* observer);
    void removeActivityObserver(ActivityObserver* observer);
    const std::vector<ActivityObserver*>& activityObservers() const { return observers_; }
    // While a record is being delivered: runs work once every observer has it, in the same
    // pass (work queued twice runs twice), and answers true. Otherwise false, and nothing runs.
    bool afterDelivery(std::function<void()> work);

    void startMonitoring();
    void stopMonitoring();
    bool isRunning() const { return timer_ != nullptr; }
    void notifyPerformanceQueuePriorityDidChange();

    void initActivities();
    // One tick; tests call it directly. A tick that comes more than kLateTick seconds after
    // the previous one (the process was stopped, the machine stalled) is a dirty sample: its
    // bytes count into the totals but its paces raise no maximum.
    void updateNetworkInfo();
    NetActivities currentNetworkPaceWithReachabilityStatus(int status);
    void dispatchActivityObject(const ActivityRecord& record);

    QString timeText() const;
    static QString fullTimeText(unsigned long n);
    static QString timeTextForElapsed(double elapsed);
    static QString getSecurityStringForNetwork(int securityMode);

    void resetData();
    // A snapshot carrying only the connection details; also runs a normal tick.
    ActivityRecord getActivity();

    // Read-only views for displays and tests.
    int netMode() const { return netMode_; }
    NetActivities netActivities() const { return netActivities_; }
    NetActivities avgActivities() const { return avgActivities_; }
    NetActivities seesionMaxActivities() const { return seesionMaxActivities_; }
    NetActivities dataWiFi() const;
    NetActivities dataWWAN() const;
    std::vector<uint64_t> upPaces() const { return upPaces_; }
    std::vector<uint64_t> downPaces() const { return downPaces_; }
    bool dirtyActivity() const { return dirtyActivity_; }
    double startedTime() const { return startedTime_; } // on the monotonic clock
    QString IPString() const { return IPString_; }

private:
    void fillConnectionDetails(ActivityObject& record);
    void persistTotals(int status, const NetActivities& totals);
    void applyPriority();

    NetworkMonitorSources sources_;
    Reachability netReachability_;
    QTimer* timer_ = nullptr; // present while running
    bool dirtyActivity_ = false;
    std::optional<double> lastTick_;
    std::vector<LinkEntry> links_; // the last counter read, kept for its capacity
    // The connection details of the last tick and their texts: Wi-Fi details rarely change,
    // so most ticks share the texts instead of formatting them again.
    std::optional<WiFiDetails> lastWiFi_;
    ActivityObject lastDetails_;
    std::optional<std::pair<int, NetActivities>> lastPersisted_;
    int netMode_ = NotReachable;
    QString IPString_;
    std::vector<uint64_t> upPaces_;
    std::vector<uint64_t> downPaces_;
    double startedTime_ = 0.0;
    std::vector<ActivityObserver*> observers_;
    bool walkingObservers_ = false;
    std::vector<std::function<void()>> afterDelivery_;
    NetActivities netActivities_;
    NetActivities avgActivities_;
    NetActivities seesionMaxActivities_;
    NetActivities dataWiFi_;
    NetActivities dataWWAN_;
};
