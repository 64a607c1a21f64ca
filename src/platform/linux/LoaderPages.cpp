#include "LoaderPages.h"

#include <QFile>

#include <charconv>
#include <cstring>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace LoaderPages {

namespace {

bool parseHex(std::string_view text, uintptr_t& value) {
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    return ec == std::errc() && end == text.data() + text.size() && !text.empty();
}

// "Name:   123 kB" -> 123; absent on any other shape.
bool fieldKb(std::string_view line, std::string_view name, size_t& value) {
    if (line.substr(0, name.size()) != name)
        return false;
    line.remove_prefix(name.size());
    while (!line.empty() && line.front() == ' ')
        line.remove_prefix(1);
    const auto [end, ec] = std::from_chars(line.data(), line.data() + line.size(), value);
    return ec == std::errc() && end != line.data();
}

struct Mapping {
    Range range;
    bool eligible = false;
    size_t privateKb = 0;
};

} // namespace

std::vector<Range> candidates(QByteArrayView smaps) {
    std::vector<Range> out;
    Mapping current;
    const auto finish = [&] {
        if (current.eligible && current.privateKb == 0 && current.range.residentKb > 0)
            out.push_back(current.range);
        current = Mapping();
    };
    std::string_view text(smaps.data(), static_cast<size_t>(smaps.size()));
    while (!text.empty()) {
        const size_t nl = text.find('\n');
        const std::string_view line = text.substr(0, nl);
        text.remove_prefix(nl == std::string_view::npos ? text.size() : nl + 1);
        if (line.empty())
            continue;
        size_t kb = 0;
        // A mapping's header starts with its address range; its fields start with a name.
        const size_t dash = line.find('-');
        const size_t space = line.find(' ');
        uintptr_t start = 0;
        uintptr_t end = 0;
        if (dash != std::string_view::npos && space != std::string_view::npos && dash < space &&
            parseHex(line.substr(0, dash), start) &&
            parseHex(line.substr(dash + 1, space - dash - 1), end)) {
            finish();
            // start-end perms offset dev inode path
            std::string_view rest = line.substr(space + 1);
            std::string_view parts[4];
            for (auto& part : parts) {
                while (!rest.empty() && rest.front() == ' ')
                    rest.remove_prefix(1);
                const size_t cut = rest.find(' ');
                part = rest.substr(0, cut);
                rest.remove_prefix(cut == std::string_view::npos ? rest.size() : cut);
            }
            while (!rest.empty() && rest.front() == ' ')
                rest.remove_prefix(1);
            const std::string_view perms = parts[0];
            uintptr_t offset = 1;
            current.range = {start, end, 0};
            current.eligible = end > start && perms == "r--p" && parseHex(parts[1], offset) &&
                               offset == 0 && parts[3] != "0" && !rest.empty() &&
                               rest.front() == '/' && rest.find(" (deleted)") == rest.npos;
        } else if (fieldKb(line, "Rss:", kb)) {
            current.range.residentKb = kb;
        } else if (fieldKb(line, "Private_Dirty:", kb) || fieldKb(line, "Anonymous:", kb) ||
                   fieldKb(line, "Swap:", kb)) {
            current.privateKb += kb;
        }
    }
    finish();
    return out;
}

Released release(const QString& smapsPath) {
    Released released;
    QFile file(smapsPath);
    if (!file.open(QIODevice::ReadOnly))
        return released;
    // A read to the end: the file is made as it is read and has no size.
    const QByteArray smaps = file.readAll();
    const long page = ::sysconf(_SC_PAGESIZE);
    for (const Range& r : candidates(smaps)) {
        if (page <= 0 || r.start % static_cast<uintptr_t>(page) != 0)
            continue;
        // Only shared objects and executables: their heads are tables the loader read.
        // Anything else mapped this way (fonts, caches) is data somebody reads on.
        if (std::memcmp(reinterpret_cast<const void*>(r.start),
                        "\x7f"
                        "ELF",
                        4) != 0)
            continue;
        if (::madvise(reinterpret_cast<void*>(r.start), r.end - r.start, MADV_DONTNEED) == 0) {
            ++released.mappings;
            released.residentKb += r.residentKb;
        }
    }
    return released;
}

} // namespace LoaderPages
