#pragma once

#include <QString>
#include <QStringList>

// The command line of `lumenstat`, parsed without side effects.
//
//   lumenstat                          the tray app (headless monitor without a display)
//   lumenstat --show                   the tray app with its panel open
//   lumenstat --settings               the tray app with its settings window open
//   lumenstat --monitor [--ticks N] [--json | --waybar] [--format TEMPLATE]
//   lumenstat --set key=value [--set key=value ...]
//   lumenstat --battery
//   lumenstat --usage [today|24h]
//   lumenstat --apps [today|week] [--json]
//   lumenstat --render-styles DIR [options]
//   lumenstat --help
struct CommandLine {
    enum class Mode { App, Monitor, Set, Battery, Usage, RenderStyles, Help, Apps };

    Mode mode = Mode::App;
    bool json = false;
    bool showPanel = false;    // --show
    bool showSettings = false; // --settings
    bool waybar = false;       // --waybar
    QString format;            // --format TEMPLATE
    long ticks = 0;            // 0: no limit
    QStringList assignments;   // "key=value" of every --set, in order
    QStringList rest;          // the words after --usage or --render-styles
    QString period;            // --apps: "today" (the default) or "week"
    QString error;             // set when the arguments make no sense

    bool ok() const { return error.isEmpty(); }

    // arguments: without the program name.
    static CommandLine parse(const QStringList& arguments);
    static QString usage();
};
