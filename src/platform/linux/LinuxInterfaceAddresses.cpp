#include "LinuxInterfaceAddresses.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <linux/if_link.h>
#include <netinet/in.h>
#include <netpacket/packet.h>

bool LinuxInterfaceAddresses::read(std::vector<InterfaceAddressEntry>& out) {
    out.clear();
    struct ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0)
        return false;
    for (struct ifaddrs* ifa = list; ifa; ifa = ifa->ifa_next) {
        if (!ifa->ifa_addr || !ifa->ifa_name)
            continue;
        InterfaceAddressEntry e;
        e.name = ifa->ifa_name;
        switch (ifa->ifa_addr->sa_family) {
        case AF_INET: {
            e.family = InterfaceAddressEntry::Family::IPv4;
            char buf[INET_ADDRSTRLEN] = {};
            const auto* sin = reinterpret_cast<const sockaddr_in*>(ifa->ifa_addr);
            if (inet_ntop(AF_INET, &sin->sin_addr, buf, sizeof buf))
                e.ipv4 = QString::fromLatin1(buf);
            break;
        }
        case AF_PACKET: {
            e.family = InterfaceAddressEntry::Family::Link;
            if (ifa->ifa_data) {
                const auto* stats = static_cast<const rtnl_link_stats*>(ifa->ifa_data);
                e.hasStats = true;
                e.rxBytes = stats->rx_bytes;
                e.txBytes = stats->tx_bytes;
            }
            break;
        }
        default:
            e.family = InterfaceAddressEntry::Family::Other;
        }
        out.push_back(std::move(e));
    }
    freeifaddrs(list);
    return true;
}
