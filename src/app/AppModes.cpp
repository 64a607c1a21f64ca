#include "AppModes.h"

#include "app/AppDelegate.h"
#include "app/AppHooks.h"
#include "app/AppService.h"
#include "app/LoginHelper.h"
#include "app/MonitorPrinter.h"
#include "app/SettingValue.h"
#include "network/NetworkMonitor.h"
#include "platform/linux/LogindSleepWatcher.h"
#include "platform/linux/UnixSignalWatcher.h"
#include "settings/SettingKeyTable.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QApplication>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QEventLoop>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QThread>
#include <QTimer>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <optional>

namespace {

// An instance wakes once a second and nothing of its own needs GLib's main loop: Qt's
// own poll loop costs less per wake-up (about 1.4-1.6x the floor program against 1.7-2.4x in
// side-by-side runs). Set before the application object exists; a user's own choice stays.
void useLightEventLoop() {
    if (!qEnvironmentVariableIsSet("QT_NO_GLIB"))
        qputenv("QT_NO_GLIB", "1");
}

QString envText(const char* name) {
    return QString::fromLocal8Bit(qgetenv(name));
}

// Qt's GTK platform theme runs GTK inside the process, whose settings arrive through GLib's
// main loop: keep that loop where the theme is asked for, or where Qt picks it by itself (a
// GTK-based desktop with the theme plug-in installed). The app's own colours come from the
// desktop portal over D-Bus and need no GLib.
bool platformThemeNeedsGLib() {
    const QString asked = envText("QT_QPA_PLATFORMTHEME").toLower();
    if (!asked.isEmpty())
        return asked.contains(QLatin1String("gtk"));
    static const char* const gtkDesktops[] = {"gnome", "x-cinnamon", "unity",  "mate",
                                              "xfce",  "lxde",       "budgie", "pantheon"};
    bool gtkDesktop = false;
    for (const QString& desktop : envText("XDG_CURRENT_DESKTOP").toLower().split(QLatin1Char(':')))
        for (const char* name : gtkDesktops)
            gtkDesktop = gtkDesktop || desktop == QLatin1String(name);
    return gtkDesktop && QFileInfo::exists(QLibraryInfo::path(QLibraryInfo::PluginsPath) +
                                           QStringLiteral("/platformthemes/libqgtk3.so"));
}

// Stops the sampler and waits (briefly) until its timer is gone, so no tick writes the
// settings while the process ends.
void stopSampling(NetworkMonitor& monitor) {
    monitor.stopMonitoring();
    for (int i = 0; i < 200 && monitor.isRunning(); ++i)
        QThread::msleep(5);
}

// Runs this process as the instance: the delegate with its start-up sequence, sampling,
// sleep and wake, and the exit path however the process is asked to end. printing: the
// headless monitor's line printer. service: the registered D-Bus service, if any.
// tracksApps: the instance keeps per-app usage (not the monitor).
int runInstance(AppRole role, std::optional<MonitorOptions> printing, AppService* service,
                bool tracksApps = false) {
    QCoreApplication* app = QCoreApplication::instance();
    NetworkMonitor& monitor = NetworkMonitor::shared();
    NetworkMonitorSampler sampler(monitor);
    LogindSleepWatcher sleepWatcher;

    AppDelegateHooks hooks = makeAppDelegateHooks(role);
    if (tracksApps)
        addAppUsageHooks(hooks);
    hooks.subscribeSleepWake = [&sleepWatcher](std::function<void()> wentOff,
                                               std::function<void()> wentOn) {
        QObject::connect(&sleepWatcher, &LogindSleepWatcher::willSleep, &sleepWatcher,
                         std::move(wentOff));
        QObject::connect(&sleepWatcher, &LogindSleepWatcher::didWake, &sleepWatcher,
                         std::move(wentOn));
        // Without a system bus there is no sleep handling; the app runs on regardless.
        sleepWatcher.start();
    };
    AppDelegate delegate(sampler, std::move(hooks));

    UnixSignalWatcher signalWatcher({SIGTERM, SIGINT, SIGHUP});
    QObject::connect(&signalWatcher, &UnixSignalWatcher::received, app,
                     [] { QCoreApplication::quit(); });
    QObject::connect(app, &QCoreApplication::aboutToQuit, &delegate, [&delegate, &monitor] {
        stopSampling(monitor);
        delegate.applicationWillTerminate();
    });
    if (auto* gui = qobject_cast<QGuiApplication*>(app)) {
        // The session is ending: save now, the session manager may not wait for a quit.
        QObject::connect(gui, &QGuiApplication::commitDataRequest, &delegate,
                         [&delegate](QSessionManager&) { delegate.applicationWillTerminate(); });
    }

    std::unique_ptr<MonitorPrinter> printer;
    if (printing) {
        printer = std::make_unique<MonitorPrinter>(*printing);
        if (auto source = cpuRateSource())
            printer->setCpuRateSource(std::move(source));
        QObject::connect(printer.get(), &MonitorPrinter::finished, app,
                         [] { QCoreApplication::quit(); });
    }
    if (service) {
        service->cpuRateSource = cpuRateSource();
        service->showPanelHook = makeShowPanelHook(role);
        service->togglePanelAtHook = makeTogglePanelAtHook(role);
        if (tracksApps)
            service->appUsageHook = makeAppUsageHook();
        service->showSettingsHook = makeShowSettingsHook(role);
        service->toggleItemPanelAtHook = makeToggleItemPanelAtHook(role);
    }

    connectWindows(role, &delegate);
    LoginHelper::followSetting(&delegate);
    delegate.applicationDidFinishLaunching();
    if (service)
        connectFaces(role, service->faces());
    // The delegate put itself first; the printer and the service come after it.
    if (printer)
        monitor.addActivityObserver(printer.get());
    if (service)
        monitor.addActivityObserver(service);

    scheduleMemoryTrim(role);

    const int rc = app->exec();
    stopSampling(monitor);
    delegate.applicationWillTerminate();
    connectWindows(role, nullptr);
    if (service)
        connectFaces(role, nullptr);
    if (printer)
        monitor.removeActivityObserver(printer.get());
    if (service)
        monitor.removeActivityObserver(service);
    return rc;
}

enum class ClientEnd { Done, Interrupted, InstanceEnded };

// Prints the running instance's ticks until enough were printed, the process is
// interrupted or the instance goes away.
ClientEnd printRemoteTicks(QDBusConnection& bus, RemoteTickPrinter& printer) {
    const QString name = QString::fromLatin1(AppService::kServiceName);
    QEventLoop loop;
    ClientEnd end = ClientEnd::Done;
    bus.connect(name, QString::fromLatin1(AppService::kObjectPath),
                QString::fromLatin1(AppService::kInterface), QStringLiteral("Tick"), &printer,
                SLOT(onTick(QString)));
    QDBusServiceWatcher watcher(name, bus, QDBusServiceWatcher::WatchForUnregistration);
    QObject::connect(&watcher, &QDBusServiceWatcher::serviceUnregistered, &loop, [&] {
        end = ClientEnd::InstanceEnded;
        loop.quit();
    });
    QObject::connect(&printer, &RemoteTickPrinter::finished, &loop, [&] { loop.quit(); });
    UnixSignalWatcher signalWatcher({SIGTERM, SIGINT, SIGHUP});
    QObject::connect(&signalWatcher, &UnixSignalWatcher::received, &loop, [&] {
        end = ClientEnd::Interrupted;
        loop.quit();
    });
    // The instance may have ended between the name check and the subscription; it sends
    // ticks only to clients that follow it.
    if (!AppServiceClient::instanceRunning(bus) || !AppServiceClient::follow(bus))
        end = ClientEnd::InstanceEnded;
    else
        loop.exec();
    bus.disconnect(name, QString::fromLatin1(AppService::kObjectPath),
                   QString::fromLatin1(AppService::kInterface), QStringLiteral("Tick"), &printer,
                   SLOT(onTick(QString)));
    return end;
}

} // namespace

RemoteTickPrinter::RemoteTickPrinter(MonitorOptions options, std::FILE* out, QObject* parent)
    : QObject(parent), options_(options), out_(out) {}

void RemoteTickPrinter::onTick(const QString& line) {
    if (done())
        return;
    QByteArray text = line.toUtf8();
    // The instance's own JSON line passes as it is; every other form is made from it.
    if (!options_.json || options_.waybar || !options_.format.isEmpty()) {
        std::optional<QString> cpuRate;
        const auto record = AppService::activityFromJsonLine(text, &cpuRate);
        if (!record)
            return;
        text = MonitorPrinter::line(*record, cpuRate, options_);
    }
    std::fwrite(text.constData(), 1, static_cast<size_t>(text.size()), out_);
    std::fputc('\n', out_);
    std::fflush(out_);
    ++printed_;
    if (done())
        emit finished();
}

bool hasDisplay() {
    return !envText("DISPLAY").isEmpty() || !envText("WAYLAND_DISPLAY").isEmpty() ||
           !envText("QT_QPA_PLATFORM").isEmpty();
}

int runApp(int& argc, char** argv, bool showPanel, bool showSettings) {
    const bool display = hasDisplay();
    // The panel places itself under the tray item, which Wayland does not allow: run
    // through XWayland unless a platform was chosen explicitly.
    if (display && !envText("WAYLAND_DISPLAY").isEmpty() && !envText("DISPLAY").isEmpty() &&
        envText("QT_QPA_PLATFORM").isEmpty())
        qputenv("QT_QPA_PLATFORM", "xcb");

    std::unique_ptr<QCoreApplication> app;
    if (display) {
        // The tray app wakes once a second too: the same light loop unless GTK runs inside.
        if (!platformThemeNeedsGLib())
            useLightEventLoop();
        app = std::make_unique<QApplication>(argc, argv);
    } else {
        useLightEventLoop();
        app = std::make_unique<QCoreApplication>(argc, argv);
    }
    QCoreApplication::setApplicationName(QStringLiteral("lumenstat"));
    QCoreApplication::setApplicationVersion(QStringLiteral(LUMENSTAT_VERSION));

    QDBusConnection bus = QDBusConnection::sessionBus();
    AppService service;
    const bool registered = service.registerOn(bus);
    if (!registered && AppServiceClient::instanceRunning(bus)) {
        // One instance per user: the running one shows its panel (or settings) instead.
        const QString error =
            showSettings ? AppServiceClient::showSettings(bus) : AppServiceClient::showPanel(bus);
        if (!error.isEmpty()) {
            std::fprintf(stderr, "lumenstat: already running, but it could not show its %s: %s\n",
                         showSettings ? "settings" : "panel", qPrintable(error));
            return 1;
        }
        return 0;
    }

    if (!display && (showPanel || showSettings)) {
        std::fprintf(stderr,
                     "lumenstat: %s needs a display (DISPLAY and WAYLAND_DISPLAY are unset)\n",
                     showSettings ? "--settings" : "--show");
        return 2;
    }
    if (!display) {
        std::fprintf(stderr, "lumenstat: no display (DISPLAY and WAYLAND_DISPLAY are unset): "
                             "running the headless monitor instead. Ctrl-C stops it.\n");
        // The headless app instance tracks applications when it is the one instance.
        return runInstance(AppRole::Headless, MonitorOptions{}, registered ? &service : nullptr,
                           registered);
    }
    static_cast<QApplication*>(app.get())->setQuitOnLastWindowClosed(false);
    if (showPanel) {
        // Shown once the event loop runs, after the start-up sequence made the item.
        QTimer::singleShot(0, app.get(), [] {
            if (auto show = makeShowPanelHook(AppRole::Tray))
                show();
        });
    }
    // The welcome belongs to a profile's very first start, the one that writes the first-run
    // defaults; a profile from an earlier version does not get it on an update.
    const bool firstStart = !SettingsDomain::standard().boolValue(SettingsKey::DidInitSettings);
    QTimer::singleShot(0, app.get(), [showSettings, firstStart] {
        if (showSettings) {
            if (auto show = makeShowSettingsHook(AppRole::Tray))
                show();
        }
        // It stays out of the way of a window asked for.
        if (firstStart)
            showFirstRunWelcome(AppRole::Tray);
    });
    return runInstance(AppRole::Tray, std::nullopt, registered ? &service : nullptr, true);
}

int runMonitorMode(int& argc, char** argv, MonitorOptions options) {
    useLightEventLoop();
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("lumenstat"));
    long printed = 0;
    for (;;) {
        MonitorOptions remaining = options;
        if (options.ticks > 0)
            remaining.ticks = options.ticks - printed;
        QDBusConnection bus = QDBusConnection::sessionBus();
        AppService service;
        const bool registered = service.registerOn(bus);
        if (registered || !AppServiceClient::instanceRunning(bus))
            return runInstance(AppRole::Headless, remaining, registered ? &service : nullptr);

        RemoteTickPrinter printer(remaining, stdout);
        const ClientEnd end = printRemoteTicks(bus, printer);
        printed += printer.printed();
        if (end != ClientEnd::InstanceEnded)
            return 0;
        // The instance we were following has ended: carry on as the instance ourselves.
    }
}

int runSetCommand(int& argc, char** argv, const QStringList& assignments) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("lumenstat"));
    std::vector<SettingValue::Assignment> list;
    for (const QString& text : assignments) {
        auto a = SettingValue::parseAssignment(text);
        if (!a) {
            std::fprintf(stderr, "lumenstat: --set needs key=value, not \"%s\"\n",
                         qPrintable(text));
            return 2;
        }
        // Nothing is written unless every assignment is good.
        const SettingKeyTable::Checked checked = SettingKeyTable::check(a->key, a->value);
        if (!checked.ok()) {
            std::fprintf(stderr, "lumenstat: --set %s: %s\n", qPrintable(text),
                         qPrintable(checked.error));
            return 2;
        }
        list.push_back(*a);
    }

    QDBusConnection bus = QDBusConnection::sessionBus();
    if (AppServiceClient::instanceRunning(bus)) {
        int rc = 0;
        for (const auto& a : list) {
            const QString error = AppServiceClient::setValue(bus, a.key, a.value);
            if (!error.isEmpty()) {
                std::fprintf(stderr, "lumenstat: could not set %s: %s\n", qPrintable(a.key),
                             qPrintable(error));
                rc = 1;
            } else {
                std::printf("%s %s in the running instance\n", a.value ? "set" : "removed",
                            qPrintable(a.key));
            }
        }
        return rc;
    }

    // Launch at login is switched at once, not at the app's next start.
    LoginHelper::followSetting(&app);
    for (const auto& a : list)
        SettingValue::apply(a.key, a.value);
    int rc = 0;
    for (SettingsDomain* domain : {&SettingsDomain::standard(), &SettingsDomain::group()}) {
        // flush() has said why on standard error when it fails.
        if (!domain->flush())
            rc = 1;
    }
    if (rc == 0) {
        for (const auto& a : list)
            std::printf("no running instance: %s %s in %s\n", a.value ? "wrote" : "removed",
                        qPrintable(a.key),
                        qPrintable(SettingValue::domainForKey(a.key).filePath()));
    }
    return rc;
}
