#pragma once

#include <QDateTime>
#include <QString>

#include <cstdint>
#include <functional>
#include <vector>

class SettingsDomain;
class YYSystemBatteryReport;

// A day-by-day history of the battery's capacity, kept in the group settings domain under
// "app.batteryHealth.data": one entry per calendar day with the cycle count, the
// full-charge capacity and the design capacity. Read once at creation, written whole after
// every change.
class BatteryHealthLogger {
public:
    struct Item {
        QString date; // "yyyy-MM-dd" in the device's time zone
        int64_t cycle = 0;
        int64_t fullCapacity = 0;
        int64_t maxCapacity = 0;
        bool operator==(const Item&) const = default;
    };
    using Clock = std::function<QDateTime()>;

    static BatteryHealthLogger& shared();

    // Loads the stored log from group (null: the log lives in memory only).
    explicit BatteryHealthLogger(SettingsDomain* group, Clock clock = {});

    // Start-up, wake and every battery refresh tick: logs today from the shared report.
    void logBatteryHealthIfNeed();
    // Same over a given report (null or not loaded: nothing happens).
    void logBatteryHealthIfNeed(const YYSystemBatteryReport* report);
    // Removes the item at index and saves; an index past the end changes nothing.
    void deleteItemAt(int64_t index);

    const std::vector<Item>& items() const { return items_; }
    // The formatter's text for a moment: en_US, "yyyy-MM-dd", local time.
    static QString dayText(const QDateTime& moment);

private:
    void save();
    Item freshItem(const QString& today, const YYSystemBatteryReport& report) const;

    SettingsDomain* group_;
    Clock clock_;
    std::vector<Item> items_;
};
