#pragma once

#include "Options.h"

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace nettop {

struct SampleLine {
    std::string name;
    int pid = 0;
    uint64_t bytesIn = 0;
    uint64_t bytesOut = 0;
};

// One sample as text: a header line, then "time,name.pid,<columns>," per process.
std::string formatSample(const std::vector<Column>& columns, const std::vector<SampleLine>& lines,
                         const timespec& wallClock);

} // namespace nettop
