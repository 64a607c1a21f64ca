#include "Options.h"

#include <charconv>

namespace nettop {

namespace {

std::string trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::optional<std::vector<Column>> columns(const std::string& list) {
    std::vector<Column> out;
    size_t start = 0;
    for (;;) {
        const size_t comma = list.find(',', start);
        const std::string name = trimmed(list.substr(start, comma - start));
        if (name == "bytes_in")
            out.push_back(Column::BytesIn);
        else if (name == "bytes_out")
            out.push_back(Column::BytesOut);
        else
            return std::nullopt;
        if (comma == std::string::npos)
            return out;
        start = comma + 1;
    }
}

template <typename T> std::optional<T> number(const std::string& text) {
    T value{};
    const char* end = text.data() + text.size();
    auto [ptr, ec] = std::from_chars(text.data(), end, value);
    if (ec != std::errc() || ptr != end || text.empty())
        return std::nullopt;
    return value;
}

ParsedOptions failure(std::string message) {
    return {std::nullopt, std::move(message)};
}

} // namespace

const char* usage() {
    return "usage: lumenstat-nettop [-d] [-P] [-x] [-c] [-J bytes_in,bytes_out] [-L samples] "
           "[-s seconds] [-t external|all] [-u auto|off]\n";
}

ParsedOptions parseOptions(const std::vector<std::string>& args) {
    Options o;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "-d") {
            o.deltas = true;
            continue;
        }
        if (arg == "-P" || arg == "-x" || arg == "-c")
            continue;
        if (arg == "-h" || arg == "--help") {
            o.help = true;
            continue;
        }
        if (arg != "-J" && arg != "-L" && arg != "-s" && arg != "-t" && arg != "-u")
            return failure("unknown option '" + arg + "'");
        if (i + 1 == args.size())
            return failure("option " + arg + " needs a value");
        const std::string& value = args[++i];
        if (arg == "-J") {
            auto list = columns(value);
            if (!list)
                return failure("-J takes bytes_in and bytes_out, not '" + value + "'");
            o.columns = *list;
        } else if (arg == "-L") {
            auto n = number<long>(value);
            if (!n || *n < 0)
                return failure("-L takes a sample count (0: no limit), not '" + value + "'");
            o.samples = *n;
        } else if (arg == "-s") {
            auto seconds = number<double>(value);
            if (!seconds || !(*seconds > 0) || *seconds > 86400)
                return failure("-s takes an interval in seconds, not '" + value + "'");
            o.interval = *seconds;
        } else if (arg == "-u") {
            if (value != "auto" && value != "off")
                return failure("-u takes auto or off, not '" + value + "'");
            o.captureUdp = value == "auto";
        } else {
            if (value != "external" && value != "all")
                return failure("-t takes external or all, not '" + value + "'");
            o.externalOnly = value == "external";
        }
    }
    return {o, {}};
}

} // namespace nettop
