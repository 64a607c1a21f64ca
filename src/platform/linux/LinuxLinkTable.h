#pragma once

#include "platform/NetworkSources.h"

#include <memory>
#include <unordered_map>
#include <vector>

struct nlmsghdr;
class QSocketNotifier;

// Links, the default route and the IPv4 address list from the kernel over rtnetlink: the
// sampler's counters and the route's connection kind from one table, so both follow the
// same counting rule (classifyLink).
//
// Names, kinds, carrier, the default route and the addresses change rarely: they are cached
// and re-read when the kernel announces a link, address or route change, and once a minute
// regardless. The announcements arrive on the socket the requests use, so a tick costs one
// round trip asking for the 64-bit counters of the counted links only, and hundreds of other
// links (containers, bridges, tunnels) add nothing to it.
class LinuxLinkTable : public LinkSource, public RouteSource {
public:
    LinuxLinkTable();
    ~LinuxLinkTable() override;
    LinuxLinkTable(const LinuxLinkTable&) = delete;
    LinuxLinkTable& operator=(const LinuxLinkTable&) = delete;

    bool readCounters(std::vector<LinkEntry>& out) override;
    QString lastIPv4Address() override;
    std::optional<uint32_t> reachabilityFlags() override;

    // Every link of the last table read (for diagnosis and benchmarks).
    const std::vector<LinkEntry>& links() const { return links_; }

    // One RTM_NEWLINK message: index, name, kind, carrier and the 64-bit counters. False when
    // the message is not a link message.
    static bool parseLink(const nlmsghdr* message, LinkEntry& out);
    // One RTM_NEWSTATS message: the 64-bit counters into out, for the link of its index.
    static bool parseStats(const nlmsghdr* message, int& index, uint64_t& rx, uint64_t& tx);

private:
    void refreshIfChanged();
    void closeSocket();
    void watch();
    void drainAnnouncements();
    bool refresh();
    bool readLinks();
    bool readAddresses();
    bool readRoute();
    bool readCountedStats(std::vector<LinkEntry>& out);
    template <typename F> bool exchange(const void* request, size_t length, int answers, F&& each);

    int socket_ = -1;
    uint32_t port_ = 0;       // the socket's port id, which the kernel's answers carry
    bool subscribed_ = false; // the socket hears link, address and route changes
    bool changed_ = true;     // a change was announced since the last refresh
    bool valid_ = false;
    long refreshedAt_ = 0; // monotonic seconds
    uint32_t sequence_ = 0;
    std::vector<LinkEntry> links_;
    std::vector<LinkEntry> counted_; // the counted links of links_, counters filled per tick
    std::unordered_map<int, std::pair<std::string, bool>> wwanDevices_; // index: name, answer
    QString ipv4_;
    std::optional<uint32_t> flags_;
    std::vector<char> buffer_;
    std::vector<char> request_;
    std::unique_ptr<QSocketNotifier> notifier_;
};
