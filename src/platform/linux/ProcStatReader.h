#pragma once

#include "platform/SystemSources.h"

#include <QByteArray>

// Reads the aggregate "cpu" line of <procfs root>/stat: its first four numbers are user,
// nice, system and idle time in clock ticks.
class ProcStatReader : public CpuLoadSource {
public:
    std::optional<CpuLoadCounters> read() override;

    // Parses the text of a stat file; absent when it has no usable aggregate line.
    static std::optional<CpuLoadCounters> parse(const QByteArray& statText);
};
