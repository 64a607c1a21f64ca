#pragma once

#include "platform/NetworkSources.h"

// The interface address list from getifaddrs(3). Link-layer (AF_PACKET) entries carry the
// kernel's struct rtnl_link_stats, whose byte counters are 32 bits wide.
class LinuxInterfaceAddresses : public InterfaceAddressSource {
public:
    bool read(std::vector<InterfaceAddressEntry>& out) override;
};
