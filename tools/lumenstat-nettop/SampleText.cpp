#include "SampleText.h"

#include <charconv>
#include <cstdio>

namespace nettop {

namespace {

void appendNumber(std::string& out, uint64_t value) {
    char digits[24];
    auto [end, ec] = std::to_chars(digits, digits + sizeof(digits), value);
    out.append(digits, end);
}

} // namespace

std::string formatSample(const std::vector<Column>& columns, const std::vector<SampleLine>& lines,
                         const timespec& wallClock) {
    std::string out = "time,,";
    for (Column c : columns)
        out += c == Column::BytesIn ? "bytes_in," : "bytes_out,";
    out += '\n';
    tm local{};
    localtime_r(&wallClock.tv_sec, &local);
    char stamp[32];
    std::snprintf(stamp, sizeof(stamp), "%02d:%02d:%02d.%06ld,", local.tm_hour, local.tm_min,
                  local.tm_sec, wallClock.tv_nsec / 1000);
    for (const SampleLine& line : lines) {
        out += stamp;
        out += line.name;
        out += '.';
        appendNumber(out, static_cast<uint64_t>(line.pid));
        out += ',';
        for (Column c : columns) {
            appendNumber(out, c == Column::BytesIn ? line.bytesIn : line.bytesOut);
            out += ',';
        }
        out += '\n';
    }
    return out;
}

} // namespace nettop
