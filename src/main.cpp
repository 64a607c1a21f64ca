#include "app/AppModes.h"
#include "app/AppUsageCommand.h"
#include "app/CommandLine.h"
#include "menubar/RenderStylesCommand.h"
#include "network/UsageCommand.h"
#include "power/BatteryCommand.h"

#include <QCoreApplication>
#include <QString>
#include <QStringList>

#include <cstdio>

int main(int argc, char** argv) {
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);

    const CommandLine command = CommandLine::parse(arguments);
    if (!command.ok()) {
        std::fprintf(stderr, "lumenstat: %s (lumenstat --help lists the options)\n",
                     qPrintable(command.error));
        return 2;
    }

    switch (command.mode) {
    case CommandLine::Mode::Help:
        std::printf("%s\n", qPrintable(CommandLine::usage()));
        return 0;
    case CommandLine::Mode::Monitor:
        return runMonitorMode(
            argc, argv,
            MonitorOptions{command.json, command.ticks, command.waybar, command.format});
    case CommandLine::Mode::Set:
        return runSetCommand(argc, argv, command.assignments);
    case CommandLine::Mode::Usage:
        return runUsageCommand(command.rest);
    case CommandLine::Mode::RenderStyles:
        return runRenderStylesCommand(command.rest);
    case CommandLine::Mode::Battery: {
        QCoreApplication app(argc, argv);
        return runBatteryCommand();
    }
    case CommandLine::Mode::Apps:
        return runAppUsageCommand(argc, argv, command.period, command.json);
    case CommandLine::Mode::App:
        break;
    }
    return runApp(argc, argv, command.showPanel, command.showSettings);
}
