#include "ProcStatReader.h"

#include "PlatformPaths.h"

#include <QFile>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

// Reads one decimal counter at `pos`, after any blanks; the number must end the line or be
// followed by a blank.
bool readCounter(std::string_view line, size_t& pos, uint64_t& value) {
    while (pos < line.size() && isBlank(line[pos]))
        ++pos;
    const char* first = line.data() + pos;
    const char* last = line.data() + line.size();
    const auto [end, ec] = std::from_chars(first, last, value);
    if (ec != std::errc() || (end != last && !isBlank(*end)))
        return false;
    pos = size_t(end - line.data());
    return true;
}

} // namespace

ProcStatReader::ProcStatReader() : ProcStatReader(PlatformPaths::procfsRoot()) {}

ProcStatReader::ProcStatReader(const QString& procfsRoot)
    : path_(QFile::encodeName(procfsRoot + QLatin1String("/stat"))) {}

ProcStatReader::~ProcStatReader() {
    if (keptFd_ >= 0)
        ::close(keptFd_);
}

std::optional<CpuLoadCounters> ProcStatReader::read() {
    // The kernel's own file is opened once and read from its start each time (the numbers
    // are made anew on every read at offset 0); anything else is opened for each read.
    const bool kept = keptFd_ >= 0;
    int fd = keptFd_;
    if (!kept) {
        // Never wait on the file (a FIFO, a device) and take only a regular file.
        do {
            fd = ::open(path_.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
        } while (fd < 0 && errno == EINTR);
        if (fd < 0)
            return std::nullopt;
        struct stat st {};
        if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
            ::close(fd);
            return std::nullopt;
        }
        struct statfs fs {};
        if (::fstatfs(fd, &fs) == 0 && fs.f_type == PROC_SUPER_MAGIC)
            keptFd_ = fd;
    }
    const auto done = [&] {
        if (fd != keptFd_)
            ::close(fd);
    };
    // The kernel hands over a whole first page in one read; a plain file may come in pieces,
    // so read on until a line is complete, the file ends or the buffer is full.
    char buffer[kReadLimit];
    size_t used = 0;
    bool ended = false;
    while (used < sizeof buffer) {
        const ssize_t n =
            ::pread(fd, buffer + used, sizeof buffer - used, static_cast<off_t>(used));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            if (fd == keptFd_)
                keptFd_ = -1;
            ::close(fd);
            return std::nullopt;
        }
        if (n == 0) {
            ended = true;
            break;
        }
        used += size_t(n);
        if (std::memchr(buffer + used - size_t(n), '\n', size_t(n)))
            break;
    }
    done();
    std::string_view text(buffer, used);
    // Before the end of the file only complete lines count: a cut-off number is no number.
    if (!ended)
        text = text.substr(0, text.rfind('\n') + 1);
    return parse(text);
}

std::optional<CpuLoadCounters> ProcStatReader::parse(std::string_view statText) {
    while (!statText.empty()) {
        const size_t newline = statText.find('\n');
        const std::string_view line = statText.substr(0, newline);
        statText.remove_prefix(newline == std::string_view::npos ? statText.size() : newline + 1);
        // The aggregate line is exactly "cpu"; "cpu0", "cpu1", ... are single processors.
        if (line.size() < 4 || line.substr(0, 3) != "cpu" || !isBlank(line[3]))
            continue;
        uint64_t values[4];
        size_t pos = 3;
        for (uint64_t& v : values) {
            if (!readCounter(line, pos, v))
                return std::nullopt;
        }
        CpuLoadCounters c;
        c.user = values[0];
        c.nice = values[1];
        c.system = values[2];
        c.idle = values[3];
        return c;
    }
    return std::nullopt;
}
