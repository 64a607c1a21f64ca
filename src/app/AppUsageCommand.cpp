#include "AppUsageCommand.h"

#include "app/AppService.h"
#include "appusage/AppUsageReport.h"
#include "appusage/DataProvider.h"
#include "appusage/NetAppDatabase.h"
#include "network/DataUsageProvider.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QFileInfo>
#include <QUrl>

namespace {

void write(std::FILE* out, const QString& text) {
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), out);
    std::fflush(out);
}

// The report from the stored days; the link totals from the group domain.
AppUsageReport storedReport(AppUsageReport::Period period) {
    const std::optional<QString> location = NetAppDatabase::defaultLocation();
    // Reading must not leave a new, empty database behind.
    const bool exists = location && QFileInfo::exists(QUrl(*location).toLocalFile());
    std::optional<NetAppDatabase> database;
    if (exists)
        database.emplace(location);
    DataProvider::Environment environment;
    environment.database = database ? &*database : nullptr;
    DataProvider provider(environment);
    const DataUsageProvider link(DataUsageProvider::Environment::system());
    return AppUsageReport::make(period, provider.buildNow(), link);
}

} // namespace

int runAppUsageCommand(int& argc, char** argv, const QString& period, bool json, std::FILE* out,
                       std::FILE* err) {
    const auto which = AppUsageReport::periodFromName(period);
    if (!which) {
        std::fprintf(err, "lumenstat: --apps takes today or week, not %s\n", qPrintable(period));
        return 2;
    }
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("lumenstat"));

    std::optional<AppUsageReport> report;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (AppServiceClient::instanceRunning(bus)) {
        QString error;
        const std::optional<QString> answer = AppServiceClient::appUsage(bus, period, &error);
        if (answer) {
            const auto parsed = nlohmann::json::parse(answer->toStdString(), nullptr, false);
            report = AppUsageReport::fromJson(parsed);
            if (!report) {
                std::fprintf(err, "lumenstat: the running instance sent an unreadable report\n");
                return 1;
            }
        }
        // An instance that keeps no per-app usage (the monitor) leaves it to the stored days.
    }
    if (!report)
        report = storedReport(*which);
    write(out, json ? QString::fromStdString(report->toJson().dump()) + QLatin1Char('\n')
                    : report->text());
    return 0;
}
