#pragma once

#include "platform/SystemSources.h"

#include <QByteArray>
#include <QString>

#include <string_view>

// Reads the aggregate "cpu" line of <procfs root>/stat: its first four numbers are user,
// nice, system and idle time in clock ticks. Runs once per tick: the kernel's file stays open
// and a read is one pread into a stack buffer, with no allocation (a file elsewhere, such as
// a test tree, is opened and closed for every read).
class ProcStatReader : public CpuLoadSource {
public:
    // At most this much of the file is read; the aggregate line is its first line.
    static constexpr size_t kReadLimit = 4096;

    // Over the procfs root in effect now (see PlatformPaths).
    ProcStatReader();
    explicit ProcStatReader(const QString& procfsRoot);
    ~ProcStatReader() override;
    ProcStatReader(const ProcStatReader&) = delete;
    ProcStatReader& operator=(const ProcStatReader&) = delete;

    std::optional<CpuLoadCounters> read() override;

    // Parses the text of a stat file; absent when it has no usable aggregate line.
    static std::optional<CpuLoadCounters> parse(std::string_view statText);

private:
    QByteArray path_;
    int keptFd_ = -1;
};
