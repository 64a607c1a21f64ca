#include "AppDelegate.h"

#include "network/NetworkMonitor.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QTimer>

namespace {

template <typename F, typename... Args> void call(const F& hook, Args&&... args) {
    if (hook)
        hook(std::forward<Args>(args)...);
}

} // namespace

void NetworkMonitorSampler::insertActivityObserver(ActivityObserver* observer) {
    monitor_.insertActivityObserver(observer);
}
void NetworkMonitorSampler::addActivityObserver(ActivityObserver* observer) {
    monitor_.addActivityObserver(observer);
}
void NetworkMonitorSampler::removeActivityObserver(ActivityObserver* observer) {
    monitor_.removeActivityObserver(observer);
}
void NetworkMonitorSampler::startMonitoring() {
    monitor_.startMonitoring();
}
void NetworkMonitorSampler::stopMonitoring() {
    monitor_.stopMonitoring();
}

AppDelegate::AppDelegate(ActivitySampler& sampler, AppDelegateHooks hooks, QObject* parent)
    : QObject(parent), sampler_(sampler), hooks_(std::move(hooks)) {
    if (!hooks_.flushSettings)
        hooks_.flushSettings = [] { SettingsDomain::flushShared(); };
}

AppDelegate::~AppDelegate() {
    sampler_.removeActivityObserver(this);
    if (floatWindowController_)
        sampler_.removeActivityObserver(floatWindowController_->activityObserver());
}

bool AppDelegate::hasBattery() {
    if (!hasBattery_)
        hasBattery_ = hooks_.hasBattery ? hooks_.hasBattery() : false;
    return *hasBattery_;
}

void AppDelegate::applicationDidFinishLaunching() {
    Settings& settings = Settings::shared();
    SettingsDomain& standard = SettingsDomain::standard();

    call(hooks_.setAutoLoginEnabled, settings.autoLogin());
    standard.setBool(SettingsKey::LayoutLogUnsatisfiable, false);
    if (!standard.boolValue(SettingsKey::DidInitSettings)) {
        standard.setBool(SettingsKey::DidInitSettings, true);
        settings.setWantsBlurBackground(true);
        settings.setShowsFloatWindow(true);
        settings.setFloatWindowBackgroundAlpha(0.8);
    }

    if (hasBattery()) {
        call(hooks_.powerPercentageLoggerNeedsUpdate);
        call(hooks_.registerPowerSourceChanges, [this] { powerSourceDidChange(); });
        call(hooks_.logBatteryHealthIfNeed);
        call(hooks_.loadBatteryMenuBarItemIfNeed);
        call(hooks_.postBatteryUserNotificationIfNeed);
        NotificationCenter::defaultCenter().addObserver(
            this, QString::fromLatin1(kBatteryStateDidChange),
            [this](const Notification& n) { notifyBatteryStateDidChange(n); });
    }

    call(hooks_.loadNetMenuBarItemIfNeed);
    call(hooks_.loadCPUMenuBarItemIfNeed);
    call(hooks_.loadStorageMenuBarItemIfNeed);
    call(hooks_.startTrackingIfNeed);
    call(hooks_.dataUsageStart);
    sampler_.insertActivityObserver(this);
    sampler_.startMonitoring();
    call(
        hooks_.subscribeSleepWake, [this] { notifyMacWentOff(); }, [this] { notifyMacWentOn(); });

    if (settings.showsFloatWindow())
        showFloatWindow();
}

void AppDelegate::networkActivityDidUpdate(const ActivityRecord&) {
    call(hooks_.cpuReaderReload);

    if (hasBattery()) {
        ++batteryDataRefreshCount_;
        // Exact equality on purpose: a gap that is not a whole number of ticks never fires.
        const double gap =
            hooks_.powerPercentageLoggerGapTime ? hooks_.powerPercentageLoggerGapTime() : 0.0;
        if (static_cast<double>(batteryDataRefreshCount_) == gap) {
            batteryDataRefreshCount_ = 0;
            call(hooks_.powerPercentageLoggerNeedsUpdate);
            call(hooks_.logBatteryHealthIfNeed);
        }
    }

    ++storeAppDataIfNeedPerSec_;
    if (storeAppDataIfNeedPerSec_ == kStoreAppDataTicks) {
        storeAppDataIfNeedPerSec_ = 0;
        call(hooks_.storeAppTrackingDataIfCan);
    }

    call(hooks_.reloadWiFiInterfaceWidget);
}

void AppDelegate::notifyMacWentOff() {
    sampler_.stopMonitoring();
    call(hooks_.dataUsageNotifyMacWentOff);
    call(hooks_.netMenuBarNotifyMacWentOff);
    call(hooks_.storeAppDataUsageIfNeed, true);
    call(hooks_.pauseTracking);
    // Settings reach the disk before the machine goes down.
    call(hooks_.flushSettings);
}

void AppDelegate::notifyMacWentOn() {
    sampler_.startMonitoring();
    if (hasBattery()) {
        call(hooks_.powerPercentageLoggerNeedsUpdate);
        call(hooks_.logBatteryHealthIfNeed);
    }
    call(hooks_.startTrackingIfNeed);
}

void AppDelegate::notifyBatteryStateDidChange(const Notification&) {
    call(hooks_.reloadBatteryUsageWidget);
}

void AppDelegate::notifyDataUsageDidUpdate(const Notification&) {
    call(hooks_.reloadDataUsageWidget);
}

void AppDelegate::powerSourceDidChange() {
    QMetaObject::invokeMethod(
        this,
        [this] {
            call(hooks_.loadBatteryReports);
            call(hooks_.updateBatteryMenuBarItemIfNeed);
            call(hooks_.postBatteryUserNotificationIfNeed);
            NotificationCenter::defaultCenter().post(QString::fromLatin1(kBatteryStateDidChange));
        },
        Qt::QueuedConnection);
}

void AppDelegate::applicationWillTerminate() {
    if (terminated_)
        return;
    terminated_ = true;
    // The hours since the last periodic save, as the totals are saved.
    call(hooks_.dataUsageNotifyMacWentOff);
    call(hooks_.storeAppDataUsageIfNeed, true);
    call(hooks_.flushSettings);
}

void AppDelegate::showFloatWindow() {
    if (!floatWindowController_) {
        if (!hooks_.makeFloatWindowController)
            return;
        floatWindowController_ = hooks_.makeFloatWindowController(*this);
        if (!floatWindowController_)
            return;
    }
    floatWindowController_->showWindow();
}

void AppDelegate::quitFloatWindow() {
    if (!floatWindowController_)
        return;
    // Taken out first: closing the window calls windowWillClose, which must find nothing
    // left to remove.
    std::shared_ptr<FloatWindowControl> controller(std::move(floatWindowController_));
    controller->close();
    sampler_.removeActivityObserver(controller->activityObserver());
    QTimer::singleShot(0, this, [controller] {});
}

bool AppDelegate::toggleFloatWindow() {
    if (floatWindowController_) {
        quitFloatWindow();
        return false;
    }
    showFloatWindow();
    return floatWindowController_ != nullptr;
}

void AppDelegate::windowWillClose(const void* window) {
    if (!window || !floatWindowController_ || floatWindowController_->window() != window)
        return;
    sampler_.removeActivityObserver(floatWindowController_->activityObserver());
    dropFloatWindowController();
}

void AppDelegate::dropFloatWindowController() {
    // The controller may be the caller (its window is closing): destroy it once control
    // is back in the event loop.
    std::shared_ptr<FloatWindowControl> dying(std::move(floatWindowController_));
    QTimer::singleShot(0, this, [dying] {});
}
