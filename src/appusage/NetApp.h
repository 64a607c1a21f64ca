#pragma once

#include <QColor>
#include <QString>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>

struct RunningApplication;

// One per-app traffic record of a period: an application entry (with a bundle identifier)
// or a bare process entry (without). Copies are independent.
struct NetApp {
    std::optional<QString> bundleIdentifier;
    QString name;          // display name; for a process entry the tool's process name
    QString localizedName; // the application's localized name; for a process its name again
    std::optional<int32_t> pid;
    int64_t bytesIn = 0;
    int64_t bytesOut = 0;
    double percentage = 1.0;
    std::optional<QColor> tintColor;

    bool isApplication() const { return bundleIdentifier.has_value(); }
    // bytesIn + bytesOut (stops the process when the sum overflows).
    int64_t totalBytes() const;

    // An application entry for a running application, with no bytes yet.
    static NetApp fromRunningApplication(const RunningApplication& application);
    // A process entry for a process the tool reported, with no bytes yet.
    static NetApp process(const QString& name, int32_t pid);

    // One record of a stored day document. Absent when "Name" or "localizedName" is not a
    // string or "BytesIn" or "BytesOut" is not an integer; the pid is never read back.
    static std::optional<NetApp> fromStored(const nlohmann::json& record);
    // The record as it is stored (no percentage, no tint).
    nlohmann::json storedForm() const;
};
