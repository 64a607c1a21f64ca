#pragma once

#include "platform/NetworkSources.h"

#include <string>

// Reachability flags from the kernel's routing table (rtnetlink): 0x2 when a default
// route exists (IPv4 or IPv6, main table), plus 0x20000 when the interface of the
// preferred one (lowest metric, IPv4 first) is a WWAN link.
class LinuxDefaultRoute : public RouteSource {
public:
    std::optional<uint32_t> reachabilityFlags() override;

    // The interface of the preferred default route, empty when there is none. Absent
    // when the routing table cannot be read.
    static std::optional<std::string> defaultRouteInterface();
    // WWAN links: names beginning "ww" or "pdp_ip", or DEVTYPE=wwan in sysfs.
    static bool isWWANInterface(const std::string& name);
};
