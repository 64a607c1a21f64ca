#pragma once

#include "appusage/NetApp.h"
#include "platform/ProcessSources.h"

#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

// The per-app records of one hour ("yyyy-MM-dd HH"), or of a merged period (empty date).
// Entries are appended and never reordered in place. Shared by reference (NetDatasetPtr).
class NetDataset {
public:
    // Who started a process; 0 when that cannot be told.
    using ParentLookup = std::function<int32_t(int32_t pid)>;

    explicit NetDataset(QString date = QString());

    QString date;
    std::vector<NetApp> apps;

    // A new dataset with the same date and a copy of the entries.
    std::shared_ptr<NetDataset> copy() const;

    // Adds one tool sample: to the application that runs pid or one of its ancestors, else to
    // the process entry of (name, pid), made when missing.
    void addBytes(const QString& name, int32_t pid, int64_t bytesIn, int64_t bytesOut,
                  const ParentLookup& parentOf);
    // The application entry of pid or of its nearest ancestor with one.
    std::optional<size_t> appIndex(int32_t pid, const ParentLookup& parentOf) const;
    // The process entry of (name, pid); appended first when there is none.
    std::optional<size_t> processIndex(const QString& name, int32_t pid);
    // Gives every running application an entry (or its current pid).
    void syncRunningApplications(const std::vector<RunningApplication>& applications);
    // The application a process entry probably belongs to, judged by its name.
    std::optional<QString> guessBundleIdentifier(const NetApp& process) const;

    // The application list: applications that moved data both ways, with the processes
    // that belong to them added, largest first, then one "others" line for the rest.
    std::vector<NetApp> cookedApps() const;
    // The processes no application claims, one per name, largest first.
    std::vector<NetApp> otherProcesses() const;

    // The day document of a list of hourly sets (compact JSON text), and back. A document that
    // is not an array of objects holding arrays of objects is unreadable: readDayDocument
    // gives nothing, fromDayDocument no sets. Unreadable records are skipped.
    static QByteArray dayDocument(const std::vector<std::shared_ptr<NetDataset>>& datasets);
    static std::vector<std::shared_ptr<NetDataset>> fromDayDocument(const QByteArray& document);
    static std::optional<std::vector<std::shared_ptr<NetDataset>>>
    readDayDocument(const QByteArray& document);
};

using NetDatasetPtr = std::shared_ptr<NetDataset>;
