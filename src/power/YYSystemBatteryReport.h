#pragma once

#include "platform/PowerSources.h"

#include <QDateTime>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

// One snapshot of the machine's battery, read by every battery feature. Fields are
// written only by the two loaders; a reload happens at creation and on every power-source
// change.
class YYSystemBatteryReport {
public:
    using Clock = std::function<QDateTime()>;

    // Cached once per process: the "Is Present" value of the last listed power source.
    static bool hasBattery();
    // The shared report, created (and loaded) on first use.
    static YYSystemBatteryReport& shareReport();
    // The power-source layer the shared report and the presence test read.
    static std::shared_ptr<PowerSourceProvider> defaultProvider();

    // The presence rule without the cache: the last source's "Is Present" wins; an empty or
    // unreadable list answers false.
    static bool presenceIn(PowerSourceProvider& provider);

    // A report over provider. presence answers the battery gate (defaults to the cached
    // hasBattery()); clock answers "now" for the battery's age.
    explicit YYSystemBatteryReport(std::shared_ptr<PowerSourceProvider> provider,
                                   std::function<bool()> presence = {}, Clock clock = {});

    bool loadReports();
    bool loadBatteryInfos();
    void loadIOPSReports();

    // 0: no battery, not loaded or no external power; 1: external power, charging;
    // 2: external power, not charging.
    int batteryStatus() const;
    QString debugDescription() const;

    bool successedLoadBatteryReport() const { return successedLoadBatteryReport_; }
    bool presented() const { return presented_; }
    bool fulled() const { return fulled_; }
    bool changring() const { return changring_; }
    bool connectedAC() const { return connectedAC_; }
    bool iops_power_source_is_battery() const { return iops_power_source_is_battery_; }
    uint64_t maxCycleCount() const { return maxCycleCount_; }
    uint64_t cycleCount() const { return cycleCount_; }
    const QString& serial() const { return serial_; }
    const QString& model() const { return model_; }
    const QString& manufacturer() const { return manufacturer_; }
    const QDateTime& manufactureDate() const { return manufactureDate_; }
    std::optional<int64_t> amperage() const { return amperage_; }
    std::optional<int64_t> maxCapacity() const { return maxCapacity_; }
    std::optional<int64_t> fullCapacity() const { return fullCapacity_; }
    std::optional<int64_t> currentCapacity() const { return currentCapacity_; }
    std::optional<int64_t> percentage() const { return percentage_; } // never written
    std::optional<int64_t> voltage() const { return voltage_; }
    std::optional<double> health() const { return health_; }
    std::optional<double> temperature() const { return temperature_; }
    std::optional<double> power() const { return power_; }
    int64_t age() const { return age_; }
    int64_t iops_battery_percentage() const { return iops_battery_percentage_; }
    double iops_timeRemainingEstimate() const { return iops_timeRemainingEstimate_; }
    const QString& iops_timeRemainingTitle() const { return iops_timeRemainingTitle_; }
    const QString& iops_timeRemainingBody() const { return iops_timeRemainingBody_; }
    const QString& iops_healthCondition() const { return iops_healthCondition_; }

private:
    std::shared_ptr<PowerSourceProvider> provider_;
    std::function<bool()> presence_;
    Clock clock_;

    bool successedLoadBatteryReport_ = false;
    bool presented_ = false;
    bool fulled_ = false;
    bool changring_ = false;
    bool connectedAC_ = false;
    bool iops_power_source_is_battery_ = false;
    uint64_t maxCycleCount_ = 0;
    uint64_t cycleCount_ = 0;
    QString serial_;
    QString model_;
    QString manufacturer_;
    QDateTime manufactureDate_;
    std::optional<int64_t> amperage_;
    std::optional<int64_t> maxCapacity_;
    std::optional<int64_t> fullCapacity_;
    std::optional<int64_t> currentCapacity_;
    std::optional<int64_t> percentage_;
    std::optional<int64_t> voltage_;
    std::optional<double> health_;
    std::optional<double> temperature_;
    std::optional<double> power_;
    int64_t age_ = 0;
    int64_t iops_battery_percentage_ = 0;
    double iops_timeRemainingEstimate_ = 0.0;
    QString iops_timeRemainingTitle_;
    QString iops_timeRemainingBody_;
    QString iops_healthCondition_;
};

// Same answer as YYSystemBatteryReport::hasBattery(), for callers outside the class.
bool hasBattery();

namespace BatteryReportText {
// Converts a double to a signed 64-bit integer by truncation, with the non-finite cases
// spelled out: not-a-number gives 0, +infinity the largest value, -infinity the smallest
// (finite values beyond the range saturate the same way).
int64_t truncatedInt64(double v);
// Same for 32 bits.
int32_t truncatedInt32(double v);
// Two-digit clock part: "05", "12", "130".
QString twoDigits(int64_t value);
// Packed gauge date (year - 1980) << 9 | month << 5 | day, normalised like a calendar does
// (month 0 is the December before, day 0 the last day of the month before), at local midnight.
QDateTime decodeManufactureDate(int32_t packed);
} // namespace BatteryReportText
