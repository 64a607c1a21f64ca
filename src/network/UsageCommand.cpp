#include "UsageCommand.h"

#include "DataUsageProvider.h"
#include "SpeedText.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QLocale>

#include <limits>
#include <vector>

namespace {

void printLine(std::FILE* out, const QString& label, const QString& received, const QString& sent) {
    const QByteArray line =
        QStringLiteral("%1 %2 %3\n").arg(label, -8).arg(received, 12).arg(sent, 12).toUtf8();
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), out);
}

} // namespace

int runUsageCommand(const QStringList& args, std::FILE* out, std::FILE* err) {
    QStringList words = args;
    if (!words.isEmpty() && words.first() == QLatin1String("--usage"))
        words.removeFirst();

    ASDataUsageTimeRange range =
        static_cast<ASDataUsageTimeRange>(dataUsageTimeRange()); // 0 or 1 only
    if (words.size() > 1) {
        std::fprintf(err, "lumenstat: --usage takes at most one of today, 24h\n");
        return 2;
    }
    if (words.size() == 1) {
        if (words.first() == QLatin1String("today")) {
            range = ASDataUsageTimeRange::Today;
        } else if (words.first() == QLatin1String("24h")) {
            range = ASDataUsageTimeRange::Last24Hours;
        } else {
            std::fprintf(err, "lumenstat: unknown usage range %s (use today or 24h)\n",
                         words.first().toLocal8Bit().constData());
            return 2;
        }
    }

    DataUsageProvider::Environment environment = DataUsageProvider::Environment::system();
    const DataUsageProvider provider(environment);
    const std::vector<DataUsageProvider::Atom> timeline = range == ASDataUsageTimeRange::Today
                                                              ? provider.todayTimeline()
                                                              : provider.last24HoursTimeline();

    const QByteArray title = range == ASDataUsageTimeRange::Today
                                 ? QByteArrayLiteral("Data usage today\n")
                                 : QByteArrayLiteral("Data usage in the last 24 hours\n");
    std::fwrite(title.constData(), 1, static_cast<size_t>(title.size()), out);
    printLine(out, QStringLiteral("hour"), QStringLiteral("received"), QStringLiteral("sent"));

    int64_t totalIn = 0;
    int64_t totalOut = 0;
    for (const DataUsageProvider::Atom& entry : timeline) {
        printLine(out, entry.timeIdentifier, SpeedText::binaryAmountText(entry.bytesIn),
                  SpeedText::binaryAmountText(entry.bytesOut));
        if (__builtin_add_overflow(totalIn, entry.bytesIn, &totalIn) ||
            __builtin_add_overflow(totalOut, entry.bytesOut, &totalOut))
            qFatal("data usage: the totals overflow");
    }
    printLine(out, QStringLiteral("total"), SpeedText::binaryAmountText(totalIn),
              SpeedText::binaryAmountText(totalOut));
    std::fflush(out);
    return 0;
}
