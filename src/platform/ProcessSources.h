#pragma once

#include <QString>

#include <cstdint>
#include <vector>

// What per-app usage needs to know about the processes of this user: which of them are
// desktop applications, and who started a process.

// One running desktop application: the main process of a launched desktop entry.
struct RunningApplication {
    QString bundleIdentifier; // the desktop-file id without ".desktop" ("org.gnome.Nautilus")
    QString displayName;      // the entry's Name=
    QString localizedName;    // Name[xx] for the interface language, else Name=
    QString iconName;         // the entry's Icon= (a theme name or an absolute path)
    int32_t pid = 0;

    friend bool operator==(const RunningApplication&, const RunningApplication&) = default;
};

class ProcessSource {
public:
    virtual ~ProcessSource() = default;
    // The running applications, one per desktop entry, in ascending process order.
    virtual std::vector<RunningApplication> runningApplications() = 0;
    // The parent of pid; 0 when it cannot be read (the process is gone, not ours to see).
    virtual int32_t parentProcessIdentifier(int32_t pid) = 0;
    // The icon of the desktop entry with this id, "" when there is none.
    virtual QString iconName(const QString& bundleIdentifier) = 0;
};
