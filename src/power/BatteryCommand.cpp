#include "BatteryCommand.h"

#include "BatteryHealthLogger.h"
#include "YYSystemBatteryReport.h"
#include "platform/PowerSources.h"
#include "settings/Language.h"
#include "settings/SettingsDomain.h"

#include <QString>

namespace {

void print(std::FILE* out, const QString& text) {
    std::fputs(text.toUtf8().constData(), out);
}

QString stateText(const YYSystemBatteryReport& r) {
    switch (r.batteryStatus()) {
    case 1:
        return QStringLiteral("charging on external power");
    case 2:
        return r.fulled() ? QStringLiteral("fully charged on external power")
                          : QStringLiteral("on external power, not charging");
    default:
        return QStringLiteral("on battery");
    }
}

} // namespace

int runBatteryCommand() {
    return runBatteryCommand(stdout, YYSystemBatteryReport::defaultProvider(),
                             &SettingsDomain::group());
}

int runBatteryCommand(std::FILE* out, std::shared_ptr<PowerSourceProvider> provider,
                      SettingsDomain* group) {
    const bool present = YYSystemBatteryReport::presenceIn(*provider);
    if (!present) {
        QString where;
        if (const QString location = provider->location(); !location.isEmpty())
            where = QStringLiteral(" (nothing present under %1)").arg(location);
        print(out, QStringLiteral("This machine has no battery%1.\n").arg(where));
        return 0;
    }
    YYSystemBatteryReport report(provider, [present] { return present; });
    if (!report.loadReports()) {
        print(out, QStringLiteral("The battery could not be read.\n"));
        return 1;
    }

    print(out, QStringLiteral("Battery report\n"));
    print(out, report.debugDescription());
    print(out, QStringLiteral("percentage: %1%\n").arg(report.iops_battery_percentage()));
    print(out, QStringLiteral("state: %1\n").arg(stateText(report)));
    if (!report.iops_healthCondition().isEmpty())
        print(out, QStringLiteral("condition: %1\n").arg(report.iops_healthCondition()));
    print(out, QStringLiteral("time: %1: %2\n")
                   .arg(Language::getLocalizedString(report.iops_timeRemainingTitle()),
                        Language::getLocalizedString(report.iops_timeRemainingBody())));

    print(out, QStringLiteral("\nBattery health log\n"));
    BatteryHealthLogger log(group);
    if (log.items().empty())
        print(out, QStringLiteral("(no entries yet)\n"));
    for (const auto& item : log.items()) {
        const double health = item.maxCapacity > 0
                                  ? double(item.fullCapacity) / double(item.maxCapacity) * 100.0
                                  : 0.0;
        print(out, QStringLiteral("%1  cycles %2  full %3 mAh  design %4 mAh  %5%\n")
                       .arg(item.date)
                       .arg(item.cycle)
                       .arg(item.fullCapacity)
                       .arg(item.maxCapacity)
                       .arg(health, 0, 'f', 1));
    }
    return 0;
}
