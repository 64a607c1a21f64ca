#pragma once

#include "platform/SystemSources.h"

#include <QByteArray>
#include <QString>

#include <string_view>

// Reads the aggregate "cpu" line of <procfs root>/stat: its first four numbers are user,
// nice, system and idle time in clock ticks. Runs once per tick, so a read is one open, one
// read into a stack buffer and one close, with no allocation.
class ProcStatReader : public CpuLoadSource {
public:
    // At most this much of the file is read; the aggregate line is its first line.
    static constexpr size_t kReadLimit = 4096;

    // Over the procfs root in effect now (see PlatformPaths).
    ProcStatReader();
    explicit ProcStatReader(const QString& procfsRoot);

    std::optional<CpuLoadCounters> read() override;

    // Parses the text of a stat file; absent when it has no usable aggregate line.
    static std::optional<CpuLoadCounters> parse(std::string_view statText);

private:
    QByteArray path_;
};
