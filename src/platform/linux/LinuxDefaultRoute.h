#pragma once

#include "platform/NetworkSources.h"

#include <string>

// Reachability flags from the kernel's routing table (rtnetlink): 0x2 when a default
// route exists (IPv4 or IPv6, main table), plus 0x20000 when the interface of the
// preferred one (lowest metric, IPv4 first) is a WWAN link.
//
// The answer is cached and re-read only when the kernel announces a route, address or link
// change on a netlink socket subscribed to those groups (or at least once a minute), so the
// one-second tick usually costs one non-blocking receive.
class LinuxDefaultRoute : public RouteSource {
public:
    LinuxDefaultRoute() = default;
    ~LinuxDefaultRoute() override;
    LinuxDefaultRoute(const LinuxDefaultRoute&) = delete;
    LinuxDefaultRoute& operator=(const LinuxDefaultRoute&) = delete;

    std::optional<uint32_t> reachabilityFlags() override;

    // The interface of the preferred default route, empty when there is none. Absent
    // when the routing table cannot be read.
    static std::optional<std::string> defaultRouteInterface();
    // WWAN links: names beginning "ww" or "pdp_ip", or DEVTYPE=wwan in sysfs.
    static bool isWWANInterface(const std::string& name);

private:
    std::optional<uint32_t> readFlags();
    bool changesPending();

    int eventSocket_ = -1; // subscribed to route, address and link changes
    bool subscribed_ = false;
    bool haveCache_ = false;
    std::optional<uint32_t> cached_;
    int readsSinceRefresh_ = 0;
};
