#pragma once

#include <cstdint>

// A pair of KB values (1 KB = 1024 bytes): upload (sent) first, then download (received).
// The same pair carries raw counters, paces, maxima and totals.
struct NetActivities {
    uint64_t up = 0;
    uint64_t down = 0;

    friend bool operator==(const NetActivities&, const NetActivities&) = default;
};

// Which direction a single-value display shows.
enum class ASPreferredTrafficType : int { Total = 0, Upload = 1, Download = 2 };

// Which window the data-usage totals cover.
enum class ASDataUsageTimeRange : int { Today = 0, Last24Hours = 1 };

// The connection kind of the default route.
enum NetworkStatus : int { NotReachable = 0, ReachableViaWiFi = 1, ReachableViaWWAN = 2 };

// The value a single-value display shows for a pace under the stored traffic type; any
// type outside 0...2 shows 0.
inline uint64_t preferredTrafficValue(const NetActivities& pace, int trafficType) {
    switch (trafficType) {
    case 0:
        return pace.up + pace.down;
    case 1:
        return pace.up;
    case 2:
        return pace.down;
    default:
        return 0;
    }
}
