// lumenstat-nettop: bytes each process moved over TCP, sample by sample, as CSV lines.
#include "Ledger.h"
#include "Options.h"
#include "ProcessTable.h"
#include "SampleText.h"
#include "SockDiag.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>
#include <poll.h>
#include <sys/signalfd.h>
#include <time.h>
#include <unistd.h>
#include <unordered_set>

using namespace nettop;

namespace {

// After reading destroy notifications, leave them queued this long: bounds the wake-ups
// while many sockets close, and the socket buffer holds a burst meanwhile.
constexpr double kDestroyQuiet = 0.05;
// A dump between samples, to find the owner of connections that closed unseen, at most this
// often.
constexpr double kLearningGap = 0.25;

double monotonic() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// False when the reader is gone (or the output failed in any other way).
bool writeAll(const std::string& text) {
    const char* data = text.data();
    size_t left = text.size();
    while (left > 0) {
        const ssize_t n = ::write(STDOUT_FILENO, data, left);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        data += n;
        left -= static_cast<size_t>(n);
    }
    return true;
}

class Tool {
public:
    explicit Tool(const Options& options)
        : options_(options), table_(ProcessTable::defaultRoot()),
          ledger_(options.externalOnly,
                  geteuid() == 0 ? std::nullopt : std::optional<uint32_t>(geteuid())) {}

    bool ready() const { return diag_.ok(); }
    void joinDestroyGroups() { diag_.joinDestroyGroups(); }
    int destroyFd() const { return diag_.destroyFd(); }

    void drainDestroyed() {
        diag_.drainDestroyed([this](const SocketRecord& s) { ledger_.destroyed(s); });
    }

    void dump() {
        records_.clear();
        if (!diag_.dump([this](const SocketRecord& s) { records_.push_back(s); }))
            return; // a partial dump would look like closed sockets
        std::unordered_set<uint32_t> unknown;
        for (const SocketRecord& s : records_)
            if (ledger_.needsOwner(s))
                unknown.insert(s.inode);
        auto owners = table_.owners(unknown);
        if (owners.size() < unknown.size() && !table_.lastSeen().empty()) {
            // Some sockets closed before their process was looked at. Short connections
            // come in series: the walk saw the ones open now, which a second dump places.
            owners.insert(table_.lastSeen().begin(), table_.lastSeen().end());
            records_.clear();
            if (!diag_.dump([this](const SocketRecord& s) { records_.push_back(s); }))
                return;
        }
        const auto ownerOf = [&owners](uint32_t inode) -> std::optional<int> {
            auto it = owners.find(inode);
            return it == owners.end() ? std::nullopt : std::optional<int>(it->second);
        };
        ledger_.beginDump();
        for (const SocketRecord& s : records_)
            ledger_.observe(s, ownerOf);
        ledger_.endDump();
        lastDump_ = monotonic();
    }

    bool wantsLearningDump() const {
        return ledger_.hasWaitingBytes() && monotonic() - lastDump_ >= kLearningGap;
    }

    // One sample written out; false when the output is gone.
    bool sample() {
        drainDestroyed();
        dump();
        std::vector<SampleLine> lines;
        for (const ProcessDelta& d : ledger_.takeDeltas()) {
            if (options_.deltas) {
                lines.push_back({table_.name(d.pid), d.pid, d.bytesIn, d.bytesOut});
            } else {
                ProcessDelta& total = totals_[d.pid];
                total.pid = d.pid;
                total.bytesIn += d.bytesIn;
                total.bytesOut += d.bytesOut;
            }
        }
        if (!options_.deltas)
            for (const auto& [pid, total] : totals_)
                lines.push_back({table_.name(pid), pid, total.bytesIn, total.bytesOut});
        timespec wall{};
        clock_gettime(CLOCK_REALTIME, &wall);
        return writeAll(formatSample(options_.columns, lines, wall));
    }

private:
    Options options_;
    SockDiag diag_;
    ProcessTable table_;
    Ledger ledger_;
    std::vector<SocketRecord> records_;
    std::map<int, ProcessDelta> totals_;
    double lastDump_ = 0;
};

int run(const Options& options) {
    sigset_t stops;
    sigemptyset(&stops);
    for (int s : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&stops, s);
    sigprocmask(SIG_BLOCK, &stops, nullptr);
    const int signals = signalfd(-1, &stops, SFD_CLOEXEC);
    std::signal(SIGPIPE, SIG_IGN);

    Tool tool(options);
    if (!tool.ready() || signals < 0) {
        std::fprintf(stderr, "lumenstat-nettop: cannot read socket diagnostics: %s\n",
                     std::strerror(errno));
        return 1;
    }
    tool.joinDestroyGroups();

    long written = 0;
    double next = monotonic();
    double destroyQuietUntil = 0;
    for (;;) {
        if (monotonic() >= next) {
            if (!tool.sample())
                return 0;
            if (options.samples > 0 && ++written >= options.samples)
                return 0;
            next += options.interval;
            const double now = monotonic();
            if (next < now)
                next = now + options.interval;
        }
        const double now = monotonic();
        const bool watchDestroyed = tool.destroyFd() >= 0 && now >= destroyQuietUntil;
        double wake = next;
        if (tool.destroyFd() >= 0 && !watchDestroyed)
            wake = std::min(wake, destroyQuietUntil);
        pollfd fds[2] = {{signals, POLLIN, 0}, {tool.destroyFd(), POLLIN, 0}};
        const int timeout = static_cast<int>(std::ceil(std::max(0.0, wake - now) * 1000));
        const int ready = ::poll(fds, watchDestroyed ? 2 : 1, timeout);
        if (ready < 0 && errno != EINTR)
            return 1;
        if (fds[0].revents)
            return 0;
        if (watchDestroyed && fds[1].revents) {
            tool.drainDestroyed();
            if (tool.wantsLearningDump())
                tool.dump();
            destroyQuietUntil = monotonic() + kDestroyQuiet;
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    const ParsedOptions parsed = parseOptions(std::vector<std::string>(argv + 1, argv + argc));
    if (!parsed.options) {
        std::fprintf(stderr, "lumenstat-nettop: %s\n", parsed.error.c_str());
        return 2;
    }
    if (parsed.options->help) {
        std::fputs(usage(), stdout);
        return 0;
    }
    return run(*parsed.options);
}
