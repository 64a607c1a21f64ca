#include "app/MonitorPrinter.h"
#include "network/NetworkMonitor.h"
#include "platform/linux/UnixSignalWatcher.h"
#include "settings/SettingsDomain.h"

#include <QCoreApplication>
#include <QStringList>

#include <csignal>
#include <cstdio>

namespace {

void printUsage() {
    std::puts("usage: lumenstat [--monitor [--ticks N] [--json]]\n"
              "\n"
              "  --monitor    run without a display and print one line per second\n"
              "  --ticks N    stop after N lines\n"
              "  --json       print one JSON object per line");
}

int runMonitor(int argc, char** argv, bool json, long ticks) {
    QCoreApplication app(argc, argv);
    app.setApplicationName(QStringLiteral("lumenstat"));
    MonitorPrinter printer(json, ticks);
    UnixSignalWatcher signalWatcher({SIGTERM, SIGINT, SIGHUP});
    QObject::connect(&signalWatcher, &UnixSignalWatcher::received, &app,
                     [] { QCoreApplication::quit(); });
    QObject::connect(&printer, &MonitorPrinter::finished, &app, [] { QCoreApplication::quit(); });
    NetworkMonitor& monitor = NetworkMonitor::shared();
    monitor.addActivityObserver(&printer);
    monitor.startMonitoring();
    const int rc = app.exec();
    monitor.removeActivityObserver(&printer);
    SettingsDomain::flushShared();
    return rc;
}

} // namespace

int main(int argc, char** argv) {
    bool monitor = false;
    bool json = false;
    long ticks = 0;
    for (int i = 1; i < argc; ++i) {
        const QByteArray a(argv[i]);
        if (a == "--monitor") {
            monitor = true;
        } else if (a == "--json") {
            json = true;
        } else if (a == "--ticks" && i + 1 < argc) {
            bool ok = false;
            ticks = QByteArray(argv[++i]).toLong(&ok);
            if (!ok || ticks < 0) {
                std::fprintf(stderr, "lumenstat: --ticks needs a whole number\n");
                return 2;
            }
        } else if (a == "--help" || a == "-h") {
            printUsage();
            return 0;
        } else {
            std::fprintf(stderr, "lumenstat: unknown option %s\n", argv[i]);
            printUsage();
            return 2;
        }
    }
    (void)monitor; // the tray app comes later; until then every start is the monitor
    return runMonitor(argc, argv, json, ticks);
}
