#include "CommandLine.h"

#include "MonitorPrinter.h"

#include <QRegularExpression>

#include <limits>

namespace {

CommandLine failed(const QString& message) {
    CommandLine c;
    c.error = message;
    return c;
}

} // namespace

QString CommandLine::usage() {
    return QStringLiteral(
        "usage: lumenstat [--show | --settings]\n"
        "       lumenstat --monitor [--ticks N] [--json | --waybar] [--format T]\n"
        "       lumenstat --set key=value...\n"
        "       lumenstat --battery | --usage [today|24h] | --render-styles DIR [options]\n"
        "       lumenstat --apps [today|week] [--json]\n"
        "\n"
        "  (no option)      start the tray app; without a display, the headless monitor.\n"
        "                   When Lumenstat already runs, ask it to show its panel and exit.\n"
        "  --show           the same, and open the panel once the app runs\n"
        "  --settings       open the settings window (of the running instance, or start\n"
        "                   the tray app with it)\n"
        "  --monitor        run without a display and print one line per second; when\n"
        "                   Lumenstat already runs, print that instance's ticks instead\n"
        "  --ticks N        stop after N lines\n"
        "  --json           print one JSON object per line\n"
        "  --waybar         print Waybar custom-module JSON (text, tooltip, class)\n"
        "  --format T       print the template T per line (polybar and others; with\n"
        "                   --waybar, the module's text): {up} {down} {total} {up_total}\n"
        "                   {down_total} {cpu} {ssid} {ip} {mode} {time}, {{ for a brace\n"
        "  --set key=value  change a setting of the running instance (or of the settings\n"
        "                   file when none runs). The value is typed: true/false, an\n"
        "                   integer, a decimal number, a JSON array or object, a \"quoted\"\n"
        "                   string or plain text; `--set key=` removes the key\n"
        "  --battery        print the battery report\n"
        "  --usage [today|24h]  print the hourly data usage and its totals\n"
        "  --apps [today|week]  print the data usage per application (from the running\n"
        "                   instance, else from the stored days), the processes no\n"
        "                   application claims and what the link moved beyond them;\n"
        "                   with --json as one JSON object\n"
        "  --render-styles DIR  write every network display style as PNG files into DIR\n"
        "  --help           show this text");
}

CommandLine CommandLine::parse(const QStringList& args) {
    CommandLine c;
    if (args.isEmpty())
        return c;

    const QString& first = args.front();
    if (first == QLatin1String("--help") || first == QLatin1String("-h")) {
        c.mode = Mode::Help;
        return c;
    }
    // Modes that hand the rest of the line to their own parser.
    if (first == QLatin1String("--usage") || first == QLatin1String("--render-styles")) {
        c.mode = first == QLatin1String("--usage") ? Mode::Usage : Mode::RenderStyles;
        c.rest = args.mid(1);
        return c;
    }
    if (first == QLatin1String("--apps")) {
        c.mode = Mode::Apps;
        c.period = QStringLiteral("today");
        bool sawPeriod = false;
        for (const QString& a : args.mid(1)) {
            if (a == QLatin1String("--json")) {
                c.json = true;
            } else if (a == QLatin1String("today") || a == QLatin1String("week")) {
                if (sawPeriod)
                    return failed(QStringLiteral("--apps takes one of today, week"));
                c.period = a;
                sawPeriod = true;
            } else {
                return failed(QStringLiteral("--apps: unknown argument %1 (use today, week or "
                                             "--json)")
                                  .arg(a));
            }
        }
        return c;
    }
    if (first == QLatin1String("--show")) {
        if (args.size() > 1)
            return failed(QStringLiteral("--show takes no arguments"));
        c.showPanel = true;
        return c;
    }
    if (first == QLatin1String("--settings")) {
        if (args.size() > 1)
            return failed(QStringLiteral("--settings takes no arguments"));
        c.showSettings = true;
        return c;
    }
    if (first == QLatin1String("--battery")) {
        if (args.size() > 1)
            return failed(QStringLiteral("--battery takes no arguments"));
        c.mode = Mode::Battery;
        return c;
    }

    bool monitor = false;
    bool sawTicks = false;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& a = args[i];
        if (a == QLatin1String("--monitor")) {
            monitor = true;
        } else if (a == QLatin1String("--json")) {
            c.json = true;
        } else if (a == QLatin1String("--waybar")) {
            c.waybar = true;
        } else if (a == QLatin1String("--format")) {
            if (i + 1 >= args.size())
                return failed(QStringLiteral("--format needs a template"));
            c.format = args[++i];
            const QString error = MonitorPrinter::formatError(c.format);
            if (!error.isEmpty() || c.format.isEmpty())
                return failed(
                    QStringLiteral("--format \"%1\": %2")
                        .arg(c.format, error.isEmpty() ? QStringLiteral("empty") : error));
        } else if (a == QLatin1String("--ticks")) {
            if (i + 1 >= args.size())
                return failed(QStringLiteral("--ticks needs a whole number"));
            const QString& text = args[++i];
            bool ok = false;
            const long n = text.toLong(&ok);
            if (!ok || n < 0) {
                static const QRegularExpression digits(QStringLiteral("^\\+?[0-9]+$"));
                if (digits.match(text).hasMatch())
                    return failed(QStringLiteral("--ticks %1 is out of range (at most %2)")
                                      .arg(text)
                                      .arg(std::numeric_limits<long>::max()));
                return failed(
                    QStringLiteral("--ticks needs a whole number of 0 or more, not \"%1\"")
                        .arg(text));
            }
            c.ticks = n;
            sawTicks = true;
        } else if (a == QLatin1String("--set")) {
            if (i + 1 >= args.size())
                return failed(QStringLiteral("--set needs key=value"));
            const QString& assignment = args[++i];
            if (assignment.indexOf(QLatin1Char('=')) <= 0)
                return failed(QStringLiteral("--set needs key=value, not \"%1\"").arg(assignment));
            c.assignments << assignment;
        } else if (a.startsWith(QLatin1String("--set="))) {
            const QString assignment = a.mid(6);
            if (assignment.indexOf(QLatin1Char('=')) <= 0)
                return failed(QStringLiteral("--set needs key=value, not \"%1\"").arg(assignment));
            c.assignments << assignment;
        } else if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
            c.mode = Mode::Help;
            return c;
        } else {
            return failed(QStringLiteral("unknown option %1").arg(a));
        }
    }

    const bool printing = c.json || c.waybar || !c.format.isEmpty();
    if (c.json && (c.waybar || !c.format.isEmpty()))
        return failed(QStringLiteral("--json cannot be combined with --waybar or --format"));
    if (!c.assignments.isEmpty()) {
        if (monitor || printing || sawTicks)
            return failed(QStringLiteral("--set cannot be combined with --monitor"));
        c.mode = Mode::Set;
        return c;
    }
    // The output options and --ticks only make sense for the monitor, so they imply it.
    if (monitor || printing || sawTicks)
        c.mode = Mode::Monitor;
    return c;
}
