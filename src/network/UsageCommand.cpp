#include "UsageCommand.h"

#include "DataUsageProvider.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QLocale>

#include <limits>
#include <vector>

namespace {

// An amount in KB as the home view writes it: the binary byte-count style.
QString amountText(int64_t kb) {
    int64_t bytes = 0;
    if (__builtin_mul_overflow(kb, int64_t(1024), &bytes))
        bytes = kb < 0 ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
    // Base 1024 with the traditional labels; the kilobyte reads "KB" as everywhere else
    // in the app.
    // The C locale: a decimal point whatever the user's locale.
    QString text = QLocale::c().formattedDataSize(bytes, 2, QLocale::DataSizeTraditionalFormat);
    if (text.endsWith(QLatin1String(" kB")))
        text.replace(text.size() - 2, 1, QLatin1Char('K'));
    return text;
}

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
        printLine(out, entry.timeIdentifier, amountText(entry.bytesIn), amountText(entry.bytesOut));
        if (__builtin_add_overflow(totalIn, entry.bytesIn, &totalIn) ||
            __builtin_add_overflow(totalOut, entry.bytesOut, &totalOut))
            qFatal("data usage: the totals overflow");
    }
    printLine(out, QStringLiteral("total"), amountText(totalIn), amountText(totalOut));
    std::fflush(out);
    return 0;
}
