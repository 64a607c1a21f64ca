#pragma once

#include "network/ActivityObserver.h"

#include <QObject>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

class NetworkMonitor;
struct Notification;

// What the delegate needs of the traffic sampler. The app passes the process-wide
// NetworkMonitor; tests pass a fake that drives ticks by hand.
class ActivitySampler {
public:
    virtual ~ActivitySampler() = default;
    virtual void insertActivityObserver(ActivityObserver* observer) = 0;
    virtual void addActivityObserver(ActivityObserver* observer) = 0;
    virtual void removeActivityObserver(ActivityObserver* observer) = 0;
    virtual void startMonitoring() = 0;
    virtual void stopMonitoring() = 0;
};

// ActivitySampler over a real NetworkMonitor.
class NetworkMonitorSampler : public ActivitySampler {
public:
    explicit NetworkMonitorSampler(NetworkMonitor& monitor) : monitor_(monitor) {}
    void insertActivityObserver(ActivityObserver* observer) override;
    void addActivityObserver(ActivityObserver* observer) override;
    void removeActivityObserver(ActivityObserver* observer) override;
    void startMonitoring() override;
    void stopMonitoring() override;

private:
    NetworkMonitor& monitor_;
};

class AppDelegate;

// The floating window's controller as the delegate sees it. The controller registers its
// observer with the sampler itself when it is created and calls
// AppDelegate::windowWillClose when the user closes its window.
class FloatWindowControl {
public:
    virtual ~FloatWindowControl() = default;
    virtual ActivityObserver* activityObserver() = 0;
    // Brings the window to the front, whichever application is active.
    virtual void showWindow() = 0;
    virtual void close() = 0;
    // The identity of its window, as passed to windowWillClose.
    virtual const void* window() const = 0;
};

// Every call the delegate makes into other components. Each member is named after the
// operation it stands for; an empty member is skipped, so a component that is not built
// yet simply does nothing. The app fills these in makeAppDelegateHooks().
struct AppDelegateHooks {
    // Launch at login: LoginHelper.setAutoLoginEnabled(Settings.autoLogin).
    std::function<void(bool enabled)> setAutoLoginEnabled;

    // Battery. hasBattery is asked once per process; empty means no battery.
    std::function<bool()> hasBattery;
    std::function<void()> powerPercentageLoggerNeedsUpdate; // PowerPercentageLogger.needsUpdate
    std::function<double()> powerPercentageLoggerGapTime;   // PowerPercentageLogger.getGapTime
    // Registers the power-source change callback (called on the main thread).
    std::function<void(std::function<void()> changed)> registerPowerSourceChanges;
    std::function<void()> logBatteryHealthIfNeed;            // BatteryHealthLogger
    std::function<void()> loadBatteryMenuBarItemIfNeed;      // BatteryMenuBarItemController
    std::function<void()> updateBatteryMenuBarItemIfNeed;    // BatteryMenuBarItemController
    std::function<void()> postBatteryUserNotificationIfNeed; // BatteryUserNotificationDispatcher
    std::function<void()> loadBatteryReports;                // YYSystemBatteryReport.loadReports

    // Status items.
    std::function<void()> loadNetMenuBarItemIfNeed;     // NetMenuBarItemController
    std::function<void()> netMenuBarNotifyMacWentOff;   // NetMenuBarItemController.notifyMacWentOff
    std::function<void()> loadCPUMenuBarItemIfNeed;     // CPUMenuBarItemController
    std::function<void()> loadStorageMenuBarItemIfNeed; // StorageMenuBarItemController

    // Per-app usage: NetAppProvider.
    std::function<void()> startTrackingIfNeed;
    std::function<void()> storeAppTrackingDataIfCan;
    std::function<void(bool force)> storeAppDataUsageIfNeed;
    std::function<void()> pauseTracking;

    // Data usage totals: DataUsageProvider.start and .notifyMacWentOff (the save before sleep
    // and at exit).
    std::function<void()> dataUsageStart;
    std::function<void()> dataUsageNotifyMacWentOff;

    // CPUReader.reload, once per tick.
    std::function<void()> cpuReaderReload;

    // Widget bridge: WidgetBridger.reload...Widget.
    std::function<void()> reloadWiFiInterfaceWidget;
    std::function<void()> reloadBatteryUsageWidget;
    std::function<void()> reloadDataUsageWidget;

    // Subscribes the sleep and wake handlers to the machine's sleep notifications.
    std::function<void(std::function<void()> wentOff, std::function<void()> wentOn)>
        subscribeSleepWake;

    // Creates the floating window's controller; empty means there is no floating window.
    std::function<std::unique_ptr<FloatWindowControl>(AppDelegate& delegate)>
        makeFloatWindowController;

    // Writes the settings domains to disk (sleep and exit). Empty: SettingsDomain::flushShared.
    std::function<void()> flushSettings;
};

// The application delegate: start-up order, the heartbeat fan-out, sleep, wake and exit.
// It is the sampler's first observer and uses each record as the clock tick of the app.
class AppDelegate : public QObject, public ActivityObserver {
    Q_OBJECT
public:
    // Per-app data is stored every this many ticks.
    static constexpr uint64_t kStoreAppDataTicks = 300;
    static constexpr const char* kBatteryStateDidChange = "YYBatteryStateDidChangeNotificationName";

    AppDelegate(ActivitySampler& sampler, AppDelegateHooks hooks, QObject* parent = nullptr);
    ~AppDelegate() override;

    void applicationDidFinishLaunching();
    void networkActivityDidUpdate(const ActivityRecord& record) override;
    void notifyMacWentOff();
    void notifyMacWentOn();
    void notifyBatteryStateDidChange(const Notification& notification);
    // Kept unconnected: nothing subscribes it.
    void notifyDataUsageDidUpdate(const Notification& notification);
    // The power-source callback: schedules the battery refresh on the main queue.
    void powerSourceDidChange();
    // The exit path. Runs once however many ways the process is asked to end.
    void applicationWillTerminate();
    bool applicationShouldTerminateAfterLastWindowClosed() const { return false; }

    void showFloatWindow();
    void quitFloatWindow();
    // True when it opened the window, false when it closed it.
    bool toggleFloatWindow();
    void windowWillClose(const void* window);
    FloatWindowControl* floatWindowController() const { return floatWindowController_.get(); }

    bool hasBattery();
    ActivitySampler& sampler() const { return sampler_; }
    uint64_t batteryDataRefreshCount() const { return batteryDataRefreshCount_; }
    uint64_t storeAppDataIfNeedPerSec() const { return storeAppDataIfNeedPerSec_; }
    bool didTerminate() const { return terminated_; }

private:
    void dropFloatWindowController();

    ActivitySampler& sampler_;
    AppDelegateHooks hooks_;
    std::unique_ptr<FloatWindowControl> floatWindowController_;
    uint64_t batteryDataRefreshCount_ = 0;
    uint64_t storeAppDataIfNeedPerSec_ = 0;
    std::optional<bool> hasBattery_;
    bool terminated_ = false;
};
