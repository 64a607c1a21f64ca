#pragma once

#include "NetActivities.h"

#include <QString>

#include <memory>
#include <optional>
#include <vector>

// The immutable per-second network record. Built once per tick by the sampler and shared
// by reference among observers; never changed after delivery.
class ActivityObject {
public:
    std::optional<QString> ssid;
    QString time;
    int netMode = NotReachable;
    std::optional<QString> IPLocation;
    std::optional<QString> macLocation;
    std::optional<QString> security;
    std::optional<QString> channel;
    long strengthValue = 0;
    std::optional<QString> strength;
    std::optional<QString> transmitRate;
    std::optional<std::vector<QString>> storageInfo;  // reserved, never filled
    std::optional<std::vector<uint64_t>> sentNumbers; // upload paces, newest first
    std::optional<std::vector<uint64_t>> downNumbers; // download paces, newest first
    NetActivities netActivities;                      // totals of the current connection kind
    NetActivities paceActivities;                     // this tick's paces
    NetActivities seesionMaxActivities;               // session maxima

    // Average pace over the newest min(seconds, 60) entries. The divisor is always that
    // count, even when the lists are shorter, so early averages are diluted on purpose.
    NetActivities avgActivitiesForLastSeconds(int seconds) const;
};

using ActivityRecord = std::shared_ptr<const ActivityObject>;
