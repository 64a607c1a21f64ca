#include "LinuxLinkTable.h"

#include "PlatformPaths.h"

#include <QAbstractEventDispatcher>
#include <QSocketNotifier>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <linux/if.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr long kRefreshSeconds = 60;
constexpr size_t kBufferSize = 64 * 1024;

long monotonicSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &ts);
    return ts.tv_sec;
}

// The one route socket: requests go out on it and their answers come back on it, and it is
// subscribed to link, address and route changes, whose announcements queue up between the
// answers. A tick's counter request therefore also tells whether anything changed, without a
// look of its own at the socket.
int openRouteSocket() {
    const int fd = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    if (fd < 0)
        return -1;
    sockaddr_nl local{};
    local.nl_family = AF_NETLINK;
    local.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE |
                      RTMGRP_IPV6_ROUTE;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0) {
        // Without the subscription the table is re-read on every tick instead.
        local.nl_groups = 0;
        if (::bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0) {
            ::close(fd);
            return -1;
        }
    }
    // The kernel answers while the request is sent; the limit only guards against a kernel
    // that never does.
    timeval limit{1, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    return fd;
}

// The socket's own address: its port id (the kernel's answers carry it) and its groups.
sockaddr_nl localAddress(int fd) {
    sockaddr_nl local{};
    socklen_t length = sizeof local;
    if (::getsockname(fd, reinterpret_cast<sockaddr*>(&local), &length) != 0)
        local = sockaddr_nl{};
    return local;
}

template <typename T> T attributeValue(const rtattr* a) {
    T v{};
    std::memcpy(&v, RTA_DATA(a), std::min(sizeof v, size_t(RTA_PAYLOAD(a))));
    return v;
}

std::string attributeString(const rtattr* a) {
    const auto* p = static_cast<const char*>(RTA_DATA(a));
    return std::string(p, strnlen(p, RTA_PAYLOAD(a)));
}

// Appends one request message (header plus a fixed body) to buf.
template <typename Body>
void appendRequest(std::vector<char>& buf, uint16_t type, uint16_t flags, uint32_t seq,
                   const Body& body) {
    const size_t at = buf.size();
    buf.resize(at + NLMSG_SPACE(sizeof(Body)));
    auto* nh = reinterpret_cast<nlmsghdr*>(buf.data() + at);
    std::memset(nh, 0, NLMSG_SPACE(sizeof(Body)));
    nh->nlmsg_len = NLMSG_LENGTH(sizeof(Body));
    nh->nlmsg_type = type;
    nh->nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | flags);
    nh->nlmsg_seq = seq;
    std::memcpy(NLMSG_DATA(nh), &body, sizeof(Body));
}

} // namespace

LinuxLinkTable::LinuxLinkTable() : buffer_(kBufferSize) {}

LinuxLinkTable::~LinuxLinkTable() {
    closeSocket();
}

void LinuxLinkTable::closeSocket() {
    notifier_.reset();
    if (socket_ >= 0)
        ::close(socket_);
    socket_ = -1;
}

// Where an event loop runs, an announcement wakes it and marks the table stale before the
// next tick, even a tick that asks the kernel nothing (no route, no counted link). Elsewhere
// the announcements wait for the next request's answers.
void LinuxLinkTable::watch() {
    if (!subscribed_ || !QAbstractEventDispatcher::instance())
        return;
    notifier_ = std::make_unique<QSocketNotifier>(socket_, QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
                     [this] { drainAnnouncements(); });
}

// Reads what waits on the socket between two requests: announcements, or answers that came
// too late to matter.
void LinuxLinkTable::drainAnnouncements() {
    for (;;) {
        const ssize_t got = ::recv(socket_, buffer_.data(), buffer_.size(), MSG_DONTWAIT);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0 && errno == ENOBUFS) {
            changed_ = true;
            continue;
        }
        if (got <= 0)
            return;
        int remaining = static_cast<int>(got);
        for (auto* nh = reinterpret_cast<const nlmsghdr*>(buffer_.data()); NLMSG_OK(nh, remaining);
             nh = NLMSG_NEXT(nh, remaining))
            if (nh->nlmsg_pid != port_)
                changed_ = true;
    }
}

bool LinuxLinkTable::parseLink(const nlmsghdr* nh, LinkEntry& out) {
    if (nh->nlmsg_type != RTM_NEWLINK || nh->nlmsg_len < NLMSG_LENGTH(sizeof(ifinfomsg)))
        return false;
    const auto* ifi = static_cast<const ifinfomsg*>(NLMSG_DATA(nh));
    out = LinkEntry{};
    out.index = ifi->ifi_index;
    out.carrier = (ifi->ifi_flags & IFF_UP) && (ifi->ifi_flags & IFF_LOWER_UP);
    int length = static_cast<int>(IFLA_PAYLOAD(nh));
    for (auto* a = IFLA_RTA(ifi); RTA_OK(a, length); a = RTA_NEXT(a, length)) {
        switch (a->rta_type) {
        case IFLA_IFNAME:
            out.name = attributeString(a);
            break;
        case IFLA_STATS64: {
            const auto stats = attributeValue<rtnl_link_stats64>(a);
            out.hasStats = true;
            out.rxBytes = stats.rx_bytes;
            out.txBytes = stats.tx_bytes;
            break;
        }
        case IFLA_LINKINFO: {
            int nested = static_cast<int>(RTA_PAYLOAD(a));
            for (auto* n = static_cast<const rtattr*>(RTA_DATA(a)); RTA_OK(n, nested);
                 n = RTA_NEXT(n, nested))
                if (n->rta_type == IFLA_INFO_KIND)
                    out.kind = attributeString(n);
            break;
        }
        default:
            break;
        }
    }
    return true;
}

bool LinuxLinkTable::parseStats(const nlmsghdr* nh, int& index, uint64_t& rx, uint64_t& tx) {
    if (nh->nlmsg_type != RTM_NEWSTATS || nh->nlmsg_len < NLMSG_LENGTH(sizeof(if_stats_msg)))
        return false;
    const auto* msg = static_cast<const if_stats_msg*>(NLMSG_DATA(nh));
    index = static_cast<int>(msg->ifindex);
    int length = static_cast<int>(nh->nlmsg_len - NLMSG_LENGTH(sizeof(if_stats_msg)));
    const auto* a = reinterpret_cast<const rtattr*>(reinterpret_cast<const char*>(msg) +
                                                    NLMSG_ALIGN(sizeof(if_stats_msg)));
    for (; RTA_OK(a, length); a = RTA_NEXT(a, length)) {
        if (a->rta_type == IFLA_STATS_LINK_64) {
            const auto stats = attributeValue<rtnl_link_stats64>(a);
            rx = stats.rx_bytes;
            tx = stats.tx_bytes;
            return true;
        }
    }
    return false;
}

// Sends the requests in one go and hands each reply message to `each` until `answers`
// requests are answered (a dump is answered by its end mark, a single request by its reply
// or an error). False when the kernel could not be asked or reported an error.
// Sends the requests in one go and hands each reply message to `each` until `answers`
// requests are answered (a dump is answered by its end mark, a single request by its reply
// or an error). Change announcements met on the way mark the table stale. False when the
// kernel could not be asked or reported an error.
template <typename F>
bool LinuxLinkTable::exchange(const void* request, size_t length, int answers, F&& each) {
    if (socket_ < 0) {
        socket_ = openRouteSocket();
        if (socket_ < 0)
            return false;
        const sockaddr_nl local = localAddress(socket_);
        port_ = local.nl_pid;
        subscribed_ = local.nl_groups != 0 && port_ != 0;
        // Whatever changed while no socket listened is unknown: read the table again.
        if (valid_)
            changed_ = true;
        watch();
    }
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    if (::sendto(socket_, request, length, 0, reinterpret_cast<sockaddr*>(&kernel), sizeof kernel) <
        0)
        return false;
    bool ok = true;
    while (answers > 0) {
        const ssize_t got = ::recv(socket_, buffer_.data(), buffer_.size(), 0);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0 && errno == ENOBUFS) {
            changed_ = true; // announcements were dropped: re-read to be safe
            continue;
        }
        if (got <= 0) {
            // Nothing more will come: drop this socket so late replies cannot mix with the
            // next request's.
            closeSocket();
            return false;
        }
        int remaining = static_cast<int>(got);
        for (auto* nh = reinterpret_cast<const nlmsghdr*>(buffer_.data()); NLMSG_OK(nh, remaining);
             nh = NLMSG_NEXT(nh, remaining)) {
            if (nh->nlmsg_pid != port_) {
                // An announcement (it carries the port of whoever made the change, or none),
                // not an answer to this socket.
                changed_ = true;
                continue;
            }
            if (nh->nlmsg_seq != sequence_)
                continue; // a stale answer to an earlier request
            if (nh->nlmsg_type == NLMSG_ERROR) {
                ok = false;
                --answers;
            } else if (nh->nlmsg_type == NLMSG_DONE) {
                --answers;
            } else {
                each(nh);
                if (!(nh->nlmsg_flags & NLM_F_MULTI))
                    --answers;
            }
        }
    }
    return ok;
}

bool LinuxLinkTable::readLinks() {
    request_.clear();
    appendRequest(request_, RTM_GETLINK, NLM_F_DUMP, ++sequence_, ifinfomsg{});
    std::vector<LinkEntry> links;
    const bool ok = exchange(request_.data(), request_.size(), 1, [&](const nlmsghdr* nh) {
        LinkEntry e;
        if (parseLink(nh, e))
            links.push_back(std::move(e));
    });
    if (!ok)
        return false;
    // Whether a plain device is a modem does not change while it exists: read sysfs once per
    // link. Links with a driver kind (veth, bridge, tunnels ...) are never modems.
    std::unordered_map<int, std::pair<std::string, bool>> known;
    for (LinkEntry& e : links) {
        if (!e.kind.empty() || e.name.empty() || e.name.find('/') != std::string::npos)
            continue;
        const auto cached = wwanDevices_.find(e.index);
        if (cached != wwanDevices_.end() && cached->second.first == e.name) {
            e.wwanDevice = cached->second.second;
        } else {
            const auto uevent =
                PlatformPaths::readSmallFile(PlatformPaths::sysfsRoot() + "/class/net/" +
                                             QString::fromStdString(e.name) + "/uevent");
            e.wwanDevice = uevent && uevent->contains("DEVTYPE=wwan");
        }
        known.emplace(e.index, std::make_pair(e.name, e.wwanDevice));
    }
    wwanDevices_ = std::move(known);
    links_ = std::move(links);
    counted_.clear();
    for (const LinkEntry& e : links_)
        if (classifyLink(e) != LinkClass::Uncounted)
            counted_.push_back(e);
    return true;
}

bool LinuxLinkTable::readAddresses() {
    request_.clear();
    ifaddrmsg body{};
    body.ifa_family = AF_INET;
    appendRequest(request_, RTM_GETADDR, NLM_F_DUMP, ++sequence_, body);
    QString last;
    const bool ok = exchange(request_.data(), request_.size(), 1, [&](const nlmsghdr* nh) {
        if (nh->nlmsg_type != RTM_NEWADDR || nh->nlmsg_len < NLMSG_LENGTH(sizeof(ifaddrmsg)))
            return;
        const auto* ifa = static_cast<const ifaddrmsg*>(NLMSG_DATA(nh));
        if (ifa->ifa_family != AF_INET)
            return;
        const rtattr* local = nullptr;
        const rtattr* address = nullptr;
        int length = static_cast<int>(IFA_PAYLOAD(nh));
        for (auto* a = IFA_RTA(ifa); RTA_OK(a, length); a = RTA_NEXT(a, length)) {
            if (a->rta_type == IFA_LOCAL)
                local = a;
            else if (a->rta_type == IFA_ADDRESS)
                address = a;
        }
        const rtattr* a = local ? local : address;
        if (!a || RTA_PAYLOAD(a) < 4)
            return;
        const auto* b = static_cast<const unsigned char*>(RTA_DATA(a));
        last = QStringLiteral("%1.%2.%3.%4").arg(b[0]).arg(b[1]).arg(b[2]).arg(b[3]);
    });
    if (ok)
        ipv4_ = last;
    return ok;
}

bool LinuxLinkTable::readRoute() {
    // The preferred default route of the main table: lowest metric, IPv4 before IPv6.
    struct Best {
        bool found = false;
        uint32_t metric = UINT32_MAX;
        int index = 0;
    };
    auto dump = [this](unsigned char family, Best& best) {
        request_.clear();
        rtmsg body{};
        body.rtm_family = family;
        appendRequest(request_, RTM_GETROUTE, NLM_F_DUMP, ++sequence_, body);
        return exchange(request_.data(), request_.size(), 1, [&](const nlmsghdr* nh) {
            if (nh->nlmsg_type != RTM_NEWROUTE || nh->nlmsg_len < NLMSG_LENGTH(sizeof(rtmsg)))
                return;
            const auto* rt = static_cast<const rtmsg*>(NLMSG_DATA(nh));
            if (rt->rtm_dst_len != 0 || rt->rtm_table != RT_TABLE_MAIN ||
                rt->rtm_type != RTN_UNICAST)
                return;
            uint32_t metric = 0;
            int index = 0;
            int length = static_cast<int>(RTM_PAYLOAD(nh));
            for (auto* a = RTM_RTA(rt); RTA_OK(a, length); a = RTA_NEXT(a, length)) {
                if (a->rta_type == RTA_OIF)
                    index = attributeValue<int>(a);
                else if (a->rta_type == RTA_PRIORITY)
                    metric = attributeValue<uint32_t>(a);
            }
            if (!best.found || metric < best.metric)
                best = Best{true, metric, index};
        });
    };
    Best v4, v6;
    const bool ok4 = dump(AF_INET, v4);
    const bool ok6 = ok4 && v4.found ? true : dump(AF_INET6, v6);
    if (!ok4 && !ok6) {
        flags_.reset();
        return false;
    }
    const Best& best = v4.found ? v4 : v6;
    if (!best.found) {
        flags_ = 0u;
        return true;
    }
    const LinkEntry* link = nullptr;
    for (const LinkEntry& e : links_)
        if (best.index > 0 && e.index == best.index)
            link = &e;
    // A route without a known device (multipath) is reachable through an unknown link.
    flags_ = defaultRouteFlags(link);
    return true;
}

bool LinuxLinkTable::refresh() {
    // Announcements met from here on concern what the dumps below may already show; the
    // dumps of the next refresh settle them in any case.
    changed_ = false;
    const bool linksOk = readLinks();
    readAddresses();
    if (linksOk)
        readRoute();
    else
        flags_.reset();
    valid_ = linksOk;
    refreshedAt_ = monotonicSeconds();
    return valid_;
}

void LinuxLinkTable::refreshIfChanged() {
    if (changed_ || !subscribed_ || !valid_ || monotonicSeconds() - refreshedAt_ >= kRefreshSeconds)
        refresh();
}

std::optional<uint32_t> LinuxLinkTable::reachabilityFlags() {
    refreshIfChanged();
    return flags_;
}

QString LinuxLinkTable::lastIPv4Address() {
    return ipv4_;
}

bool LinuxLinkTable::readCountedStats(std::vector<LinkEntry>& out) {
    out = counted_;
    if (out.empty())
        return true;
    request_.clear();
    ++sequence_;
    for (const LinkEntry& e : out) {
        if_stats_msg body{};
        body.ifindex = static_cast<uint32_t>(e.index);
        body.filter_mask = IFLA_STATS_FILTER_BIT(IFLA_STATS_LINK_64);
        appendRequest(request_, RTM_GETSTATS, 0, sequence_, body);
    }
    return exchange(request_.data(), request_.size(), static_cast<int>(out.size()),
                    [&](const nlmsghdr* nh) {
                        int index = 0;
                        uint64_t rx = 0, tx = 0;
                        if (!parseStats(nh, index, rx, tx))
                            return;
                        for (LinkEntry& e : out)
                            if (e.index == index) {
                                e.hasStats = true;
                                e.rxBytes = rx;
                                e.txBytes = tx;
                            }
                    });
}

bool LinuxLinkTable::readCounters(std::vector<LinkEntry>& out) {
    refreshIfChanged();
    if (!valid_)
        return false;
    if (readCountedStats(out) && !changed_)
        return true;
    // A counted link went away (or the kernel lacks per-link statistics requests), or the
    // kernel announced a change with the answer: the link dump carries the counters of every
    // link too, read under the new table.
    if (!refresh())
        return false;
    out = counted_;
    return true;
}
