// lumenstat-nettop: bytes each process moved over TCP (and UDP where it may capture packets),
// sample by sample, as CSV lines.
#include "Ledger.h"
#include "Options.h"
#include "PacketCapture.h"
#include "ProcessTable.h"
#include "SampleText.h"
#include "SockDiag.h"
#include "UdpLedger.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <linux/capability.h>
#include <map>
#include <memory>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
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
// While UDP flows, a dump of the UDP sockets at least this often, though every datagram's
// socket is known: a port that changed hands goes to its new owner.
constexpr double kUdpRefresh = 10;

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

std::optional<uint32_t> countedUser() {
    return geteuid() == 0 ? std::nullopt : std::optional<uint32_t>(geteuid());
}

// With the packet socket open, a tool granted CAP_NET_RAW through its file capabilities
// needs no capability any more: it gives them all up. (Run by root, it keeps root's reach
// into every process's descriptors.)
void dropCapabilities() {
    if (geteuid() == 0)
        return;
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    ::syscall(SYS_capset, &header, none);
}

std::string executablePath() {
    char path[4096];
    const ssize_t n = ::readlink("/proc/self/exe", path, sizeof(path) - 1);
    return n > 0 ? std::string(path, static_cast<size_t>(n)) : std::string("lumenstat-nettop");
}

class Tool {
public:
    explicit Tool(const Options& options)
        : options_(options), table_(ProcessTable::defaultRoot()),
          ledger_(options.externalOnly, countedUser()), udp_(options.externalOnly, countedUser()) {
        if (options.captureUdp) {
            capture_ = std::make_unique<PacketCapture>(options.externalOnly);
            if (!capture_->ok()) {
                const int error = capture_->error();
                capture_.reset();
                if (error == EPERM)
                    std::fprintf(stderr,
                                 "lumenstat-nettop: UDP is not counted: capturing it needs "
                                 "cap_net_raw (sudo setcap cap_net_raw+ep %s)\n",
                                 executablePath().c_str());
                else
                    std::fprintf(stderr, "lumenstat-nettop: UDP is not counted: %s\n",
                                 std::strerror(error));
            }
        }
        dropCapabilities();
    }

    bool ready() const { return diag_.ok(); }
    int captureFd() const { return capture_ ? capture_->fd() : -1; }

    // The datagrams the kernel has handed over; a dump when some came from sockets not seen.
    void drainCapture(short events = POLLIN) {
        if (!capture_)
            return;
        if (events & POLLERR)
            capture_->clearError();
        capture_->drain([this](const uint8_t* data, size_t captured, bool outgoing) {
            if (auto d = parseUdpDatagram(data, captured))
                udp_.datagram(*d, outgoing);
        });
        if (udp_.wantsDump() && monotonic() - lastUdpDump_ >= kLearningGap)
            dumpUdp();
    }

    void dumpUdp() {
        udpRecords_.clear();
        lastUdpDump_ = monotonic();
        if (!diag_.dumpUdp([this](const SocketRecord& s) { udpRecords_.push_back(s); }))
            return;
        const auto owners = table_.owners(udp_.unknownInodes(udpRecords_));
        udp_.dumped(udpRecords_, [&owners](uint32_t inode) -> std::optional<int> {
            auto it = owners.find(inode);
            return it == owners.end() ? std::nullopt : std::optional<int>(it->second);
        });
        capture_->forgetInterfaces();
    }
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
        if (capture_) {
            drainCapture();
            if (udp_.wantsDump() ||
                (udp_.sawTraffic() && monotonic() - lastUdpDump_ >= kUdpRefresh))
                dumpUdp();
        }
        std::map<int, ProcessDelta> moved;
        for (const auto& deltas : {ledger_.takeDeltas(), udp_.takeDeltas()})
            for (const ProcessDelta& d : deltas) {
                ProcessDelta& m = moved[d.pid];
                m.pid = d.pid;
                m.bytesIn += d.bytesIn;
                m.bytesOut += d.bytesOut;
            }
        std::vector<SampleLine> lines;
        for (const auto& [pid, d] : moved) {
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
    UdpLedger udp_;
    std::unique_ptr<PacketCapture> capture_;
    std::vector<SocketRecord> records_;
    std::vector<SocketRecord> udpRecords_;
    double lastUdpDump_ = -kUdpRefresh;
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
        // A negative fd is left out by poll.
        pollfd fds[3] = {{signals, POLLIN, 0},
                         {tool.captureFd(), POLLIN, 0},
                         {watchDestroyed ? tool.destroyFd() : -1, POLLIN, 0}};
        const int timeout = static_cast<int>(std::ceil(std::max(0.0, wake - now) * 1000));
        const int ready = ::poll(fds, 3, timeout);
        if (ready < 0 && errno != EINTR)
            return 1;
        if (fds[0].revents)
            return 0;
        if (fds[1].revents)
            tool.drainCapture(fds[1].revents);
        if (fds[2].revents) {
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
