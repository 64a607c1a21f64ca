#pragma once

#include <QStringList>

#include <functional>

// Where the app tells desktop widgets that their data changed. The data itself lives in the
// shared settings document (group.json); a reload request names the widget kinds whose data
// is new. On Linux the requests reach panel faces and other listeners through the sink the
// app installs (a D-Bus signal on its service); without a sink they do nothing.
class WidgetBridger {
public:
    static constexpr const char* kWiFiInterfaceWidget = "WiFiInterfaceWidgetIdentifier";
    static constexpr const char* kDataUsageWidget = "DataUsageWidgetIdentifier";
    static constexpr const char* kStorageWidget = "StorageWidgetIdentifier";
    static constexpr const char* kBatteryWidget = "com.quillfern.lumenstat.widget.battery";
    static constexpr const char* kAppDataUsageWidget =
        "com.quillfern.lumenstat.widget.appDataUsage";
    // A whole reload happens at most once in this many seconds.
    static constexpr double kReloadAllInterval = 600;

    // Receives the kinds of every request.
    using Sink = std::function<void(const QStringList& kinds)>;
    static void setSink(Sink sink);
    // Seconds since 1970 (tests set a fixed clock; empty: the system clock).
    static void setClock(std::function<double()> clock);

    static QStringList allKinds();

    static void reloadWiFiInterfaceWidget();
    static void reloadDataUsageWidget();
    static void reloadBatteryUsageWidget();
    static void reloadStorageWidget();
    static void reloadAppDataUsageWidget();
    static void reloadAllWidgets();
    // reloadAllWidgets, unless the last one through here was at most 600 seconds ago (kept
    // in the standard settings under "LastReloadWidgetsTime").
    static void reloadAllWidgetsIfNeed();
};
