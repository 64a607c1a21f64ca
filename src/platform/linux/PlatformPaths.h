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
    // Reads a small file whole: only a regular file, opened without blocking, and at most limit
    // bytes. Absent when it cannot be read, is not a regular file (a FIFO, /dev/zero) or holds
    // more than limit bytes.
    static std::optional<QByteArray> readSmallFile(const QString& path, qint64 limit = 1 << 20);
    // Writes data to an existing regular file (a sysfs attribute) without blocking.
    static bool writeSmallFile(const QString& path, const QByteArray& data);
};
