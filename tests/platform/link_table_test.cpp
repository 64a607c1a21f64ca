// Parsing the kernel's link and statistics messages, built here byte by byte as rtnetlink
// sends them (attributes unaligned for 64-bit reads, nested link info).
#include "platform/linux/LinuxLinkTable.h"

#include <gtest/gtest.h>

#include <cstring>
#include <linux/if.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <tuple>
#include <vector>

namespace {

struct Message {
    std::vector<char> bytes;

    template <typename Header> Message(uint16_t type, const Header& header) {
        bytes.resize(NLMSG_SPACE(sizeof header));
        std::memcpy(NLMSG_DATA(hdr()), &header, sizeof header);
        hdr()->nlmsg_type = type;
    }
    nlmsghdr* hdr() { return reinterpret_cast<nlmsghdr*>(bytes.data()); }
    // Appends an attribute; returns its offset so nested attributes can grow it.
    size_t add(uint16_t type, const void* data, size_t length) {
        const size_t at = bytes.size();
        bytes.resize(at + RTA_SPACE(length));
        auto* a = reinterpret_cast<rtattr*>(bytes.data() + at);
        a->rta_type = type;
        a->rta_len = static_cast<unsigned short>(RTA_LENGTH(length));
        if (length)
            std::memcpy(RTA_DATA(a), data, length);
        return at;
    }
    void addString(uint16_t type, const char* s) { add(type, s, std::strlen(s) + 1); }
    const nlmsghdr* done() {
        hdr()->nlmsg_len = static_cast<uint32_t>(bytes.size());
        return hdr();
    }
};

TEST(LinkTableParsing, LinkAndStatisticsMessages) {
    ifinfomsg ifi{};
    ifi.ifi_index = 7;
    ifi.ifi_flags = IFF_UP | IFF_LOWER_UP;
    Message m(RTM_NEWLINK, ifi);
    m.addString(IFLA_IFNAME, "enp3s0.10");
    rtnl_link_stats64 stats{};
    stats.rx_bytes = (uint64_t{1} << 40) + 5;
    stats.tx_bytes = UINT64_MAX - 1;
    const uint32_t mtu = 1500; // leaves the counters 4-byte aligned only
    m.add(IFLA_MTU, &mtu, sizeof mtu);
    m.add(IFLA_STATS64, &stats, sizeof stats);
    const size_t info = m.add(IFLA_LINKINFO, nullptr, 0);
    m.addString(IFLA_INFO_KIND, "vlan");
    reinterpret_cast<rtattr*>(m.bytes.data() + info)->rta_len =
        static_cast<unsigned short>(m.bytes.size() - info);
    LinkEntry e;
    ASSERT_TRUE(LinuxLinkTable::parseLink(m.done(), e));
    EXPECT_EQ(std::tuple(e.index, e.name, e.kind, e.carrier, e.hasStats, e.rxBytes, e.txBytes),
              std::tuple(7, "enp3s0.10", "vlan", true, true, stats.rx_bytes, stats.tx_bytes));

    ifi.ifi_flags = IFF_UP; // no lower-layer connection: no carrier
    Message bare(RTM_NEWLINK, ifi);
    bare.addString(IFLA_IFNAME, "eth0");
    ASSERT_TRUE(LinuxLinkTable::parseLink(bare.done(), e));
    EXPECT_EQ(std::tuple(e.carrier, e.hasStats, e.kind), std::tuple(false, false, ""));
    EXPECT_FALSE(LinuxLinkTable::parseLink(Message(RTM_NEWADDR, ifaddrmsg{}).done(), e));

    if_stats_msg header{};
    header.ifindex = 3;
    Message reply(RTM_NEWSTATS, header);
    reply.add(IFLA_STATS_LINK_64, &stats, sizeof stats);
    int index = 0;
    uint64_t rx = 0, tx = 0;
    ASSERT_TRUE(LinuxLinkTable::parseStats(reply.done(), index, rx, tx));
    EXPECT_EQ(std::tuple(index, rx, tx), std::tuple(3, stats.rx_bytes, stats.tx_bytes));
    EXPECT_FALSE(LinuxLinkTable::parseStats(Message(RTM_NEWSTATS, header).done(), index, rx, tx));
}

} // namespace
