#include "AppHooks.h"

#include "network/DataUsageProvider.h"
#include "power/BatteryUserNotificationDispatcher.h"
#include "power/YYSystemBatteryReport.h"
#include "system/CPUReader.h"

// Components that are not part of this build yet keep their hooks empty:
//   launch at login      setAutoLoginEnabled
//   battery              powerPercentageLoggerNeedsUpdate,
//                        powerPercentageLoggerGapTime, registerPowerSourceChanges,
//                        logBatteryHealthIfNeed, load/updateBatteryMenuBarItemIfNeed
//   status items         loadNetMenuBarItemIfNeed, netMenuBarNotifyMacWentOff,
//                        loadCPUMenuBarItemIfNeed, loadStorageMenuBarItemIfNeed
//   per-app usage        startTrackingIfNeed, storeAppTrackingDataIfCan,
//                        storeAppDataUsageIfNeed, pauseTracking
//   widget bridge        reloadWiFiInterfaceWidget, reloadBatteryUsageWidget,
//                        reloadDataUsageWidget
//   floating window      makeFloatWindowController
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

    if (role == AppRole::Tray) {
        // Windows and status items exist only in the tray app; the headless instance keeps
        // sampling and the totals without them.
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
