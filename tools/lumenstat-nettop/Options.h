#pragma once

#include <optional>
#include <string>
#include <vector>

namespace nettop {

enum class Column { BytesIn, BytesOut };

// The command line: the logging-mode flags of the per-process traffic report.
//   -d            deltas since the previous sample (else totals since start)
//   -P -x -c      per-process summaries, plain numbers, no colours (always so; accepted)
//   -J COLUMNS    "bytes_in, bytes_out" in the order wanted
//   -L N          N samples, 0 for no limit (the default)
//   -s SECONDS    the interval, 1 by default; fractions allowed
//   -t TYPE       "external" leaves out loopback and link-local peers; "all" counts them
//   -u MODE       UDP: "auto" captures it where the tool may (CAP_NET_RAW), "off" never
struct Options {
    bool deltas = false;
    std::vector<Column> columns{Column::BytesIn, Column::BytesOut};
    long samples = 0;
    double interval = 1.0;
    bool externalOnly = false;
    bool captureUdp = true;
    bool help = false;
};

struct ParsedOptions {
    std::optional<Options> options;
    std::string error; // one line, when options is empty
};

ParsedOptions parseOptions(const std::vector<std::string>& args);
const char* usage();

} // namespace nettop
