#pragma once

#include <QString>
#include <QVariantMap>

#include <optional>
#include <vector>

// What the battery report needs from the operating system, behind a small interface so
// tests can feed it fixture trees or synthetic dictionaries.
//
// Values use the power-source service's keys and units: a description per source
// ("Is Present", "Current Capacity", "Max Capacity", "Power Source State", "Is Charging",
// "Time to Full Charge", "BatteryHealth", ...) and the battery's registry dictionary
// ("DesignCapacity", "MaxCapacity", "CurrentCapacity" in mAh, "Voltage" in mV, "Amperage" in
// mA, "Temperature" in hundredths of a degree, "CycleCount", "ManufactureDate" packed as
// battery gauges pack it, ...). Integers are qint64, flags bool, texts QString.

inline constexpr const char* kPowerSourceBatteryPower = "Battery Power";
inline constexpr const char* kPowerSourceACPower = "AC Power";

// One reading of the power-source service.
struct PowerSourceSnapshot {
    std::vector<QVariantMap> descriptions; // one per power source, in list order
    QString providingPowerSourceType;      // "AC Power", "Battery Power", or null
    double timeRemainingEstimate = -1.0;   // seconds; -1 unknown, -2 unlimited (external power)
};

class PowerSourceProvider {
public:
    virtual ~PowerSourceProvider() = default;
    // Absent when the power-source list cannot be read at all.
    virtual std::optional<PowerSourceSnapshot> snapshot() = 0;
    // The battery's registry dictionary; absent when there is no battery entry.
    virtual std::optional<QVariantMap> batteryRegistry() = 0;
    // Where the sources are read from, for messages; empty when there is nothing to name.
    virtual QString location() const { return QString(); }
};
