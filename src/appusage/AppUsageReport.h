#pragma once

#include "appusage/DataProvider.h"

#include <QString>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>

class DataUsageProvider;

// What `lumenstat --apps [today|week]` prints: the cooked application list with its others
// line, the unattributed processes, their totals, the link totals of the same days and what
// of them no process was found for.
struct AppUsageReport {
    enum class Period { Today, Week };

    struct Pair {
        int64_t bytesIn = 0;
        int64_t bytesOut = 0;
    };

    Period period = Period::Today;
    QStringList days; // the days covered, "yyyy-MM-dd"
    std::vector<NetApp> apps;
    std::vector<NetApp> others;
    Pair appsTotal;     // over apps (the others line included)
    Pair seen;          // everything the tool reported in these days (one-way apps included)
    Pair link;          // the link totals of the same days
    Pair notAttributed; // link minus seen, never below 0

    static std::optional<Period> periodFromName(const QString& name); // "today", "week"
    static QString periodName(Period period);

    // From a snapshot and the link's hourly buckets (amounts in KB).
    static AppUsageReport make(Period period, const DataSnapshot& snapshot,
                               const DataUsageProvider& link);

    nlohmann::json toJson() const;
    static std::optional<AppUsageReport> fromJson(const nlohmann::json& json);
    // The table the command prints.
    QString text() const;
};
