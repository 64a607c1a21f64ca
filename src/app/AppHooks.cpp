#include "AppHooks.h"

#include "menubar/NetMenuBarItemController.h"
#include "network/DataUsageProvider.h"
#include "power/BatteryHealthLogger.h"
#include "power/BatteryUserNotificationDispatcher.h"
#include "power/PowerPercentageLogger.h"
#include "power/PowerSourceChanges.h"
#include "power/YYSystemBatteryReport.h"
#include "system/CPUReader.h"
#include "ui/FloatWindowController.h"

// Components that are not part of this build yet keep their hooks empty:
//   launch at login      setAutoLoginEnabled
//   battery              load/updateBatteryMenuBarItemIfNeed
//   status items         loadCPUMenuBarItemIfNeed, loadStorageMenuBarItemIfNeed
//   per-app usage        startTrackingIfNeed, storeAppTrackingDataIfCan,
//                        storeAppDataUsageIfNeed, pauseTracking
//   widget bridge        reloadWiFiInterfaceWidget, reloadBatteryUsageWidget,
//                        reloadDataUsageWidget
AppDelegateHooks makeAppDelegateHooks(AppRole role) {
    AppDelegateHooks h;
    h.cpuReaderReload = [] { CPUReader::shared().reload(); };
    h.dataUsageStart = [] { DataUsageProvider::shared().start(); };
    h.dataUsageNotifyMacWentOff = [] { DataUsageProvider::shared().notifyMacWentOff(); };
    h.hasBattery = [] { return YYSystemBatteryReport::hasBattery(); };
    h.loadBatteryReports = [] { YYSystemBatteryReport::shareReport().loadReports(); };
    h.postBatteryUserNotificationIfNeed = [] {
        BatteryUserNotificationDispatcher::shared().postBatteryUserNotificationIfNeed();
    };
    h.powerPercentageLoggerNeedsUpdate = [] { PowerPercentageLogger::shared().needsUpdate(); };
    h.powerPercentageLoggerGapTime = [] { return PowerPercentageLogger::getGapTime(); };
    h.logBatteryHealthIfNeed = [] { BatteryHealthLogger::shared().logBatteryHealthIfNeed(); };
    h.registerPowerSourceChanges = [](std::function<void()> changed) {
        PowerSourceChanges::shared().registerPowerSourceChanges(std::move(changed));
    };

    if (role == AppRole::Tray) {
        // Status items and windows exist only in the tray app; the headless instance keeps
        // sampling and the totals without them.
        h.loadNetMenuBarItemIfNeed = [] {
            NetMenuBarItemController::shared().loadMenuBarItemIfNeed();
        };
        h.netMenuBarNotifyMacWentOff = [] {
            NetMenuBarItemController::shared().notifyMacWentOff();
        };
        h.makeFloatWindowController =
            [](AppDelegate& delegate) -> std::unique_ptr<FloatWindowControl> {
            return std::make_unique<FloatWindowController>(
                delegate.sampler(),
                [&delegate](const void* window) { delegate.windowWillClose(window); });
        };
    }
    return h;
}

std::function<QString()> cpuRateSource() {
    return [] { return CPUReader::shared().cpuRate(); };
}

std::function<void()> makeShowPanelHook(AppRole) {
    // The panel under the status item is not part of this build yet.
    return {};
}

std::function<void(QPoint, QString)> makeTogglePanelAtHook(AppRole) {
    return {};
}
