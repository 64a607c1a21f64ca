#include "WidgetBridger.h"

#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QDateTime>

namespace {
WidgetBridger::Sink& sink() {
    static WidgetBridger::Sink s;
    return s;
}

std::function<double()>& wallClock() {
    static std::function<double()> c;
    return c;
}

void reload(const QStringList& kinds) {
    if (sink())
        sink()(kinds);
}
} // namespace

void WidgetBridger::setSink(Sink s) {
    sink() = std::move(s);
}

void WidgetBridger::setClock(std::function<double()> c) {
    wallClock() = std::move(c);
}

QStringList WidgetBridger::allKinds() {
    return {QString::fromLatin1(kWiFiInterfaceWidget), QString::fromLatin1(kDataUsageWidget),
            QString::fromLatin1(kStorageWidget), QString::fromLatin1(kBatteryWidget),
            QString::fromLatin1(kAppDataUsageWidget)};
}

void WidgetBridger::reloadWiFiInterfaceWidget() {
    static const QStringList kinds{QString::fromLatin1(kWiFiInterfaceWidget)};
    reload(kinds);
}

void WidgetBridger::reloadDataUsageWidget() {
    static const QStringList kinds{QString::fromLatin1(kDataUsageWidget)};
    reload(kinds);
}

void WidgetBridger::reloadBatteryUsageWidget() {
    static const QStringList kinds{QString::fromLatin1(kBatteryWidget)};
    reload(kinds);
}

void WidgetBridger::reloadStorageWidget() {
    static const QStringList kinds{QString::fromLatin1(kStorageWidget)};
    reload(kinds);
}

void WidgetBridger::reloadAppDataUsageWidget() {
    static const QStringList kinds{QString::fromLatin1(kAppDataUsageWidget)};
    reload(kinds);
}

void WidgetBridger::reloadAllWidgets() {
    reload(allKinds());
}

void WidgetBridger::reloadAllWidgetsIfNeed() {
    SettingsDomain& standard = SettingsDomain::standard();
    const double last = standard.doubleValue(SettingsKey::LastReloadWidgetsTime);
    const double now = wallClock()
                           ? wallClock()()
                           : static_cast<double>(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
    // A stored time in the future (the clock was set back) waits until the clock passes it.
    if (last == 0 || now - last > kReloadAllInterval) {
        standard.setDouble(SettingsKey::LastReloadWidgetsTime, now);
        reloadAllWidgets();
    }
}
