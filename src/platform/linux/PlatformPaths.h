#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// Roots of the kernel's file systems. Overridable for tests and diagnosis through
// LUMENSTAT_SYSFS_ROOT and LUMENSTAT_PROCFS_ROOT.
class PlatformPaths {
public:
    static QString sysfsRoot();  // default /sys
    static QString procfsRoot(); // default /proc
    // Reads a small text file whole; absent when it cannot be read.
    static std::optional<QByteArray> readSmallFile(const QString& path, qint64 limit = 1 << 20);
};
