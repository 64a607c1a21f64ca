#pragma once

#include "appusage/NetDataset.h"
#include "platform/ProcessSources.h"

#include <QDateTime>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class NetAppDatabase;
class NettopScriptRunner;
class SettingsDomain;

// Turns the traffic tool's per-process byte deltas into per-application usage of the current
// day, one dataset per hour. Processes are attributed to running desktop applications
// directly, through their parents, or later by name (see NetDataset). The day is stored
// through NetAppDatabase and published for widgets in the group domain.
class NetAppProvider {
public:
    static constexpr const char* kWidgetDataKey = "com.quillfern.lumenstat.appDataUsage.widgetData";
    static constexpr const char* kWidgetKind = "com.quillfern.lumenstat.widget.appDataUsage";
    static constexpr const char* kOthersKey = "dataUsage.others";
    static constexpr double kStoreInterval = 600; // seconds
    static constexpr const char* kStoreAgentProcessName = "appstoreagent";
    static constexpr const char* kStoreApplicationName = "App Store";

    struct Environment {
        std::function<QDateTime()> now;           // null: the system clock
        std::shared_ptr<ProcessSource> processes; // null: no applications, no parents
        NetAppDatabase* database = nullptr;       // null: nothing is loaded or stored
        NettopScriptRunner* runner = nullptr;     // null: tracking never runs
        SettingsDomain* standard = nullptr;       // "WantsAppDataUsageTracking"
        SettingsDomain* group = nullptr;          // the widget payload; null: not written
        std::function<void()> reloadWidget;       // after a store or publish
        std::function<bool()> isTracking;         // null: the runner's process runs

        // The process table, the shared store, runner and domains.
        static Environment system();
    };

    // The process-wide provider; its creation publishes the widget payload.
    static NetAppProvider& shared();
    // Sets the hook that reloads the app-usage widget of the shared provider (the app's).
    static void setSharedWidgetReload(std::function<void()> reload);

    // Loads today's stored hours (they go on accumulating).
    explicit NetAppProvider(Environment environment);
    ~NetAppProvider();
    NetAppProvider(const NetAppProvider&) = delete;
    NetAppProvider& operator=(const NetAppProvider&) = delete;

    // Starts tracking when "WantsAppDataUsageTracking" is set, then publishes.
    void startTrackingIfNeed();
    void startTracking();
    // launched: called on the main thread after the tool started.
    void startTrackingWithTaskLaunchedHandler(std::function<void()> launched);
    // Clears "WantsAppDataUsageTracking", then pauses.
    void stopTracking();
    // Stores the day, stops following applications and ends the tool's process.
    void pauseTracking();
    // Stores when the last store is more than 600 seconds ago, or when forced.
    void storeAppDataUsageIfNeedWithForce(bool force);
    void storeAppTrackingDataIfCan();
    // Writes the widget payload (the day document and the time) to the group domain.
    void publishWidgetData();

    // One chunk of tool output as the runner delivers it (the first after a start is
    // dropped).
    void receiveOutput(const QString& chunk);
    // Counts the lines of one chunk into the current hour (the first line is a header).
    void handleOutput(const QString& chunk);
    // The dataset of the current hour; rolls over to a new day first when the date changed.
    NetDatasetPtr currentDataset();
    // Looks at the running applications again; syncs the current hour when they changed.
    void refreshRunningApplications();

    // Today as "yyyy-MM-dd".
    const QString& date() const { return date_; }
    const std::vector<NetDatasetPtr>& datasets() const { return datasets_; }
    // New datasets with the same dates and copies of the entries (for builds elsewhere).
    std::vector<NetDatasetPtr> copyDatasets() const;
    bool wantsData() const { return wantsData_; }
    double lastStoreAppDataUsageTimeInterval() const { return lastStoreTime_; }
    bool isObservingApplications() const { return observing_; }
    // The icon of an application entry's desktop entry; "" when unknown.
    QString iconName(const QString& bundleIdentifier) const;

private:
    QDateTime now() const;
    bool trackingRuns() const;
    void storeAppTrackingData();
    void startSequence(std::function<void()> launched);

    Environment environment_;
    bool wantsData_ = false;
    QString date_;
    std::vector<NetDatasetPtr> datasets_;
    bool observing_ = false;
    std::vector<RunningApplication> lastApplications_;
    double lastStoreTime_ = 0;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};
