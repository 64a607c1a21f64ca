#include "AppHooks.h"

#include "app/FaceService.h"
#include "app/Feedback.h"
#include "app/ItemPanels.h"
#include "app/LoginHelper.h"
#include "app/SettingValue.h"
#include "app/WidgetBridger.h"
#include "appusage/AppUsageReport.h"
#include "appusage/DataProvider.h"
#include "appusage/NetAppProvider.h"
#include "menubar/BatteryMenuBarItemController.h"
#include "menubar/CPUMenuBarItemController.h"
#include "menubar/NetMenuBarItemController.h"
#include "menubar/StatusItem.h"
#include "menubar/StorageMenuBarItemController.h"
#include "network/DataUsageProvider.h"
#include "platform/linux/LoaderPages.h"

#include "network/NetworkMonitor.h"
#include "power/BatteryHealthLogger.h"
#include "power/BatteryUserNotificationDispatcher.h"
#include "power/PowerPercentageLogger.h"
#include "power/PowerSourceChanges.h"
#include "power/YYSystemBatteryReport.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "system/CPUReader.h"
#include "ui/FloatWindowController.h"
#include "ui/HomePanel.h"
#include "ui/MenuPopoverWindowController.h"

#include "ui/SettingsWindow.h"
#include "ui/WelcomeWindow.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QTimer>

#include <malloc.h>

namespace {

void prepareSettingsWindow();

// The one write every settings control goes through: checked, clamped, posted, and applied
// to the running app (the palette takes a new accent at once).
QString writeSetting(const QString& key, const std::optional<SettingValue::Json>& value) {
    return SettingValue::apply(key, value, SettingValue::Reach::RunningApp);
}

void quitSoon() {
    // After the event that asked for it; then the usual exit path saves.
    QTimer::singleShot(0, qApp, [] { QCoreApplication::quit(); });
}

WelcomeWindow::Environment welcomeEnvironment() {
    WelcomeWindow::Environment e;
    e.write = writeSetting;
    e.openSettings = [] {
        prepareSettingsWindow();
        SettingsWindow::open();
    };
    return e;
}

// What the settings window of the tray app is made with.
void prepareSettingsWindow() {
    SettingsWindow::Environment& e = SettingsWindow::sharedEnvironment();
    if (e.write)
        return;
    e.write = writeSetting;
    e.actions.feedback = [] { Feedback::send(); };
    e.actions.quit = quitSoon;
    e.hasBattery = [] { return YYSystemBatteryReport::hasBattery(); };
    e.trackTool = [] {
        for (const QString& path :
             Feedback::trackToolCandidates(QCoreApplication::applicationDirPath()))
            if (QFileInfo(path).isFile())
                return path;
        return QString();
    };
    e.showWelcome = [] { WelcomeWindow::open(welcomeEnvironment()); };
    e.monitor = &NetworkMonitor::shared();
}

} // namespace

// The per-app usage hooks are added by addAppUsageHooks where the instance tracks apps.
AppDelegateHooks makeAppDelegateHooks(AppRole role) {
    AppDelegateHooks h;
    h.setAutoLoginEnabled = [](bool enabled) { LoginHelper::setAutoLoginEnabled(enabled); };
    h.cpuReaderReload = [] { CPUReader::shared().reload(); };
    h.reloadWiFiInterfaceWidget = [] { WidgetBridger::reloadWiFiInterfaceWidget(); };
    h.reloadBatteryUsageWidget = [] { WidgetBridger::reloadBatteryUsageWidget(); };
    h.reloadDataUsageWidget = [] { WidgetBridger::reloadDataUsageWidget(); };
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
            NetMenuBarItemController& item = NetMenuBarItemController::shared();
            if (!item.showPopoverHandler) {
                QObject::connect(HomePanel::shared().windowController(),
                                 &MenuPopoverWindowController::didClose, qApp,
                                 [] { scheduleMemoryTrim(AppRole::Tray); });
                item.showPopoverHandler = [](QPoint point) { HomePanel::shared().toggleAt(point); };
                item.storeSparklinesHandler = [] { HomePanel::shared().storeFrequencies(); };
                item.statusItem()->setMenuActions({
                    [] { HomePanel::shared().show(); },
                    [] {
                        prepareSettingsWindow();
                        SettingsWindow::open();
                    },
                    // Typed and posted like D-Bus SetValue and --set, so the login helper
                    // and the menu's check mark follow.
                    [](bool on) {
                        SettingValue::apply(QString::fromLatin1(SettingsKey::WantsAutoLogin),
                                            SettingValue::Json(on),
                                            SettingValue::Reach::RunningApp);
                    },
                    // After the event's reply went out; then the usual exit path saves.
                    quitSoon,
                });
            }
            item.loadMenuBarItemIfNeed();
        };
        h.loadBatteryMenuBarItemIfNeed = [] {
            ItemPanels::connectItems();
            BatteryMenuBarItemController::shared().loadMenuBarItemIfNeed();
        };
        h.updateBatteryMenuBarItemIfNeed = [] {
            BatteryMenuBarItemController::shared().updateMenuBarItemIfNeed();
        };
        h.loadCPUMenuBarItemIfNeed = [] {
            CPUMenuBarItemController::shared().loadMenuBarItemIfNeed();
        };
        h.loadStorageMenuBarItemIfNeed = [] {
            ItemPanels::connectItems();
            StorageMenuBarItemController::shared().loadMenuBarItemIfNeed();
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

std::function<void()> makeShowPanelHook(AppRole role) {
    if (role != AppRole::Tray)
        return {};
    return [] { HomePanel::shared().show(); };
}

std::function<void()> makeShowSettingsHook(AppRole role) {
    if (role != AppRole::Tray)
        return {};
    return [] {
        prepareSettingsWindow();
        SettingsWindow::open();
    };
}

void showFirstRunWelcome(AppRole role) {
    if (role == AppRole::Tray)
        WelcomeWindow::showIfWanted(welcomeEnvironment());
}

std::function<bool(QString, QPoint, QString)> makeToggleItemPanelAtHook(AppRole role) {
    if (role != AppRole::Tray)
        return {};
    return [](const QString& item, QPoint point, const QString& edge) {
        if (item == QLatin1String("network")) {
            HomePanel::shared().toggleAt(point, panelEdgeFromName(edge));
            return true;
        }
        return ItemPanels::toggleAt(item, point, panelEdgeFromName(edge));
    };
}

std::function<void(QPoint, QString)> makeTogglePanelAtHook(AppRole role) {
    if (role != AppRole::Tray)
        return {};
    return [](QPoint point, const QString& edge) {
        HomePanel::shared().toggleAt(point, panelEdgeFromName(edge));
    };
}

void connectWindows(AppRole role, AppDelegate* delegate) {
    if (role != AppRole::Tray)
        return;
    HomePanel& panel = HomePanel::shared();
    static QObject* observer = nullptr;
    delete observer;
    observer = nullptr;
    if (!delegate) {
        panel.toggleFloatWindow = {};
        panel.openSettings = {};
        return;
    }
    panel.openSettings = makeShowSettingsHook(role);
    // The footer's switch: the window and the stored choice change together.
    panel.toggleFloatWindow = [delegate] {
        const bool open = delegate->toggleFloatWindow();
        SettingsDomain::standard().setBool(SettingsKey::WantsFloatWindow, open);
    };
    // `lumenstat --set app.settings.wantsFloatWindow=...` and the settings page.
    observer = new QObject;
    NotificationCenter::defaultCenter().addObserver(
        observer, QString::fromLatin1(SettingsKey::WantsFloatWindow),
        [delegate](const Notification&) {
            if (SettingsDomain::standard().boolValue(SettingsKey::WantsFloatWindow))
                delegate->showFloatWindow();
            else
                delegate->quitFloatWindow();
        });
    // The storage reference changes what the storage face and widget show.
    NotificationCenter::defaultCenter().addObserver(
        observer, QString::fromLatin1(SettingsKey::StorageReference),
        [](const Notification&) { WidgetBridger::reloadStorageWidget(); });
}

void connectFaces(AppRole role, FaceService* faces) {
    if (!faces) {
        WidgetBridger::setSink({});
        if (role == AppRole::Tray) {
            NetMenuBarItemController::shared().statusItem()->faceChanged = {};
            ItemPanels::connectFaces(nullptr);
        }
        return;
    }
    // Which face shows the data of a widget kind. The connection details are asked for
    // every second: they reach hosts only as the network face's Changed, when it changed;
    // the other kinds change seldom and are announced by name too.
    WidgetBridger::setSink([faces](const QStringList& kinds) {
        struct Route {
            QString widget;
            QString face; // empty: no face shows it
        };
        static const Route routes[] = {
            {QString::fromLatin1(WidgetBridger::kWiFiInterfaceWidget), QStringLiteral("network")},
            {QString::fromLatin1(WidgetBridger::kDataUsageWidget), QStringLiteral("network")},
            {QString::fromLatin1(WidgetBridger::kBatteryWidget), QStringLiteral("battery")},
            {QString::fromLatin1(WidgetBridger::kStorageWidget), QStringLiteral("storage")},
            {QString::fromLatin1(WidgetBridger::kAppDataUsageWidget), QString()}};
        if (faces->watchCount() == 0)
            return; // no host listens; the data itself is in the shared settings document
        QStringList faceKinds;
        QStringList announced;
        for (const Route& route : routes) {
            if (!kinds.contains(route.widget))
                continue;
            if (!route.face.isEmpty())
                faceKinds.append(route.face);
            if (route.widget != routes[0].widget)
                announced.append(route.widget);
        }
        faces->widgetsReloaded(announced, faceKinds);
    });
    if (role != AppRole::Tray)
        return;
    NetMenuBarItemController& net = NetMenuBarItemController::shared();
    StatusItem* item = net.statusItem();
    item->faceChanged = [faces] { faces->sourceChanged(QStringLiteral("network")); };
    faces->addSource(QStringLiteral("network"), item, item);
    faces->followTicks(&NetworkMonitor::shared());
    ItemPanels::connectFaces(faces);
}

void scheduleMemoryTrim(AppRole role) {
    // The headless instance is small and has nothing that loads late; the trim itself
    // (reading the process's memory map, a few ms) is not worth it there.
    if (role != AppRole::Tray)
        return;
    // Twice in a process's life: once start-up has settled, and after the panel closed for
    // the first time (its first showing loads and links the most). Later panels reuse what
    // is resident, so trimming again would cost more than it gives back.
    static int trims = 0;
    static QTimer* timer = nullptr;
    if (trims >= 2)
        return;
    if (!timer) {
        timer = new QTimer(qApp);
        timer->setSingleShot(true);
        QObject::connect(timer, &QTimer::timeout, [] {
            ++trims;
            LoaderPages::release();
            ::malloc_trim(0);
        });
    }
    // Start-up is done after the first tick; a panel that closes is usually reopened soon.
    timer->start(trims == 0 ? 1500 : 1000);
}

void addAppUsageHooks(AppDelegateHooks& hooks) {
    NetAppProvider::setSharedWidgetReload([] { WidgetBridger::reloadAppDataUsageWidget(); });
    hooks.startTrackingIfNeed = [] { NetAppProvider::shared().startTrackingIfNeed(); };
    hooks.storeAppTrackingDataIfCan = [] { NetAppProvider::shared().storeAppTrackingDataIfCan(); };
    hooks.storeAppDataUsageIfNeed = [](bool force) {
        NetAppProvider::shared().storeAppDataUsageIfNeedWithForce(force);
    };
    hooks.pauseTracking = [] { NetAppProvider::shared().pauseTracking(); };
}

std::function<QString(const QString&)> makeAppUsageHook() {
    return [](const QString& period) {
        const auto which = AppUsageReport::periodFromName(period);
        if (!which)
            return QString();
        const AppUsageReport report = AppUsageReport::make(
            *which, DataProvider::shared().buildNow(), DataUsageProvider::shared());
        return QString::fromStdString(report.toJson().dump());
    };
}
