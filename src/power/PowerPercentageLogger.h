#pragma once

#include <nlohmann/json.hpp>

#include <functional>
#include <vector>

class SettingsDomain;
class YYSystemBatteryReport;

// Records the battery percentage every ten minutes and keeps a rolling week of points under
// "BatteryRawData". Gaps (sleep, the app not running) are filled with placeholder points so
// the time axis stays regular. Each point is a dictionary {"Time": seconds since 1970 (double),
// "Cap": percentage (integer), "Charging": bool, "Fake": bool}.
class PowerPercentageLogger {
public:
    using Json = nlohmann::json;

    static constexpr const char* DidUpdateNotification = "dataDidUpdatePowerPercentage";
    static constexpr int kStoredPoints = 1008;          // one week of ten-minute points
    static constexpr double kResetThreshold = 604800.0; // seven days
    static constexpr double kGapFillThreshold = 1200.0; // two intervals
    static constexpr double kEarlyTolerance = 590.0;    // a point is due from here on

    // Seconds between points; also the heartbeat period of needsUpdate.
    static double getGapTime() { return 600.0; }

    static PowerPercentageLogger& shared();

    struct Environment {
        SettingsDomain* group = nullptr;    // reads and regular saves
        SettingsDomain* standard = nullptr; // where a fresh seed is written
        std::function<double()> now;        // seconds since 1970
        std::function<bool()> hasBattery;
        std::function<const YYSystemBatteryReport*()> report;
    };
    // Loads the dataset (seeding a fresh one when the stored form is not usable).
    explicit PowerPercentageLogger(Environment environment);

    // The periodic step: start-up, wake and every getGapTime() ticks.
    void needsUpdate();
    // Clears the stored points in the group domain and seeds afresh.
    void resetData();

    const std::vector<Json>& dataset() const { return dataset_; }

private:
    void load();
    void append(Json point);
    void post();

    Environment env_;
    std::vector<Json> dataset_;
};
