#include "LinuxDefaultRoute.h"

#include "PlatformPaths.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

struct DefaultRoute {
    bool found = false;
    uint32_t metric = UINT32_MAX;
    int ifindex = 0;
};

// Dumps one address family's routes and keeps the best default route of the main table.
// Returns false when the kernel could not be asked.
bool dumpDefaultRoutes(int family, DefaultRoute& best) {
    const int fd = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    if (fd < 0)
        return false;
    struct {
        nlmsghdr nh;
        rtmsg rt;
    } req{};
    req.nh.nlmsg_len = NLMSG_LENGTH(sizeof(rtmsg));
    req.nh.nlmsg_type = RTM_GETROUTE;
    req.nh.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    req.nh.nlmsg_seq = 1;
    req.rt.rtm_family = static_cast<unsigned char>(family);
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    if (::sendto(fd, &req, req.nh.nlmsg_len, 0, reinterpret_cast<sockaddr*>(&kernel),
                 sizeof kernel) < 0) {
        ::close(fd);
        return false;
    }
    alignas(nlmsghdr) char buf[16384];
    bool done = false;
    bool ok = true;
    while (!done) {
        const ssize_t len = ::recv(fd, buf, sizeof buf, 0);
        if (len < 0) {
            if (errno == EINTR)
                continue;
            ok = false;
            break;
        }
        if (len == 0)
            break;
        int remaining = static_cast<int>(len);
        for (auto* nh = reinterpret_cast<nlmsghdr*>(buf); NLMSG_OK(nh, remaining);
             nh = NLMSG_NEXT(nh, remaining)) {
            if (nh->nlmsg_type == NLMSG_DONE) {
                done = true;
                break;
            }
            if (nh->nlmsg_type == NLMSG_ERROR) {
                ok = false;
                done = true;
                break;
            }
            if (nh->nlmsg_type != RTM_NEWROUTE)
                continue;
            const auto* rt = static_cast<const rtmsg*>(NLMSG_DATA(nh));
            if (rt->rtm_dst_len != 0 || rt->rtm_table != RT_TABLE_MAIN ||
                rt->rtm_type != RTN_UNICAST)
                continue;
            uint32_t metric = 0;
            int oif = 0;
            int attrLen = static_cast<int>(RTM_PAYLOAD(nh));
            for (auto* a = RTM_RTA(rt); RTA_OK(a, attrLen); a = RTA_NEXT(a, attrLen)) {
                if (a->rta_type == RTA_OIF && RTA_PAYLOAD(a) >= sizeof(int))
                    std::memcpy(&oif, RTA_DATA(a), sizeof(int));
                else if (a->rta_type == RTA_PRIORITY && RTA_PAYLOAD(a) >= sizeof(uint32_t))
                    std::memcpy(&metric, RTA_DATA(a), sizeof(uint32_t));
            }
            if (!best.found || metric < best.metric) {
                best.found = true;
                best.metric = metric;
                best.ifindex = oif;
            }
        }
    }
    ::close(fd);
    return ok;
}

} // namespace

std::optional<std::string> LinuxDefaultRoute::defaultRouteInterface() {
    DefaultRoute v4;
    DefaultRoute v6;
    const bool ok4 = dumpDefaultRoutes(AF_INET, v4);
    // An IPv6-only default route counts too; skip the second dump when IPv4 has one.
    const bool ok6 = ok4 && v4.found ? true : dumpDefaultRoutes(AF_INET6, v6);
    if (!ok4 && !ok6)
        return std::nullopt;
    const DefaultRoute& best = v4.found ? v4 : v6;
    if (!best.found)
        return std::string();
    char name[IF_NAMESIZE] = {};
    if (best.ifindex > 0 && if_indextoname(static_cast<unsigned>(best.ifindex), name))
        return std::string(name);
    // A route without a device (multipath, blackhole-free gateways): reachable, link unknown.
    return std::string("?");
}

bool LinuxDefaultRoute::isWWANInterface(const std::string& name) {
    if (name.rfind("ww", 0) == 0 || name.rfind("pdp_ip", 0) == 0)
        return true;
    if (name.empty() || name.find('/') != std::string::npos)
        return false;
    // The device type of a link does not change while it exists; remember the answer for
    // the link's name so the one-second tick reads sysfs once per link, not every time.
    static thread_local std::string lastName;
    static thread_local bool lastAnswer = false;
    if (name == lastName)
        return lastAnswer;
    const auto uevent = PlatformPaths::readSmallFile(PlatformPaths::sysfsRoot() + "/class/net/" +
                                                     QString::fromStdString(name) + "/uevent");
    lastName = name;
    lastAnswer = uevent && uevent->contains("DEVTYPE=wwan");
    return lastAnswer;
}

LinuxDefaultRoute::~LinuxDefaultRoute() {
    if (eventSocket_ >= 0)
        ::close(eventSocket_);
}

bool LinuxDefaultRoute::changesPending() {
    if (!subscribed_) {
        subscribed_ = true;
        eventSocket_ = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE);
        if (eventSocket_ >= 0) {
            sockaddr_nl local{};
            local.nl_family = AF_NETLINK;
            local.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR |
                              RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;
            if (::bind(eventSocket_, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0) {
                ::close(eventSocket_);
                eventSocket_ = -1;
            }
        }
        return true;
    }
    if (eventSocket_ < 0)
        return true; // no subscription: read every time
    bool pending = false;
    alignas(nlmsghdr) char buf[8192];
    for (;;) {
        const ssize_t n = ::recv(eventSocket_, buf, sizeof buf, 0);
        if (n > 0) {
            pending = true;
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno == ENOBUFS)
            pending = true; // events were dropped: re-read to be safe
        break;
    }
    return pending;
}

std::optional<uint32_t> LinuxDefaultRoute::reachabilityFlags() {
    // Re-read when the kernel said something changed, and once a minute regardless.
    if (changesPending() || !haveCache_ || ++readsSinceRefresh_ >= 60) {
        cached_ = readFlags();
        haveCache_ = true;
        readsSinceRefresh_ = 0;
    }
    return cached_;
}

std::optional<uint32_t> LinuxDefaultRoute::readFlags() {
    const auto iface = defaultRouteInterface();
    if (!iface)
        return std::nullopt;
    if (iface->empty())
        return 0u;
    uint32_t flags = 0x2;
    if (isWWANInterface(*iface))
        flags |= 0x20000;
    return flags;
}
