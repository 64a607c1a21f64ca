// The traffic tool's pure parts: which peers count, the per-process bookkeeping of socket
// counters and of captured UDP datagrams, the headers of those datagrams, the command line,
// the output lines and the process table over a fixture tree.
#include "Ledger.h"
#include "Options.h"
#include "ProcessTable.h"
#include "SampleText.h"
#include "UdpLedger.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <regex>

using namespace nettop;

namespace {

Address addr(const char* text) {
    Address a;
    a.family = std::string(text).find(':') == std::string::npos ? AF_INET : AF_INET6;
    EXPECT_EQ(inet_pton(a.family, text, a.bytes.data()), 1) << text;
    return a;
}

SocketRecord tcp(uint64_t cookie, const char* remote, uint16_t port, uint64_t in, uint64_t out,
                 uint32_t inode = 0, uint32_t uid = 1000) {
    SocketRecord s;
    s.cookie = cookie;
    s.state = kTcpEstablished;
    s.remote = addr(remote);
    s.local = addr(s.remote.family == AF_INET ? "10.0.0.2" : "2001:db8::2");
    s.localPort = static_cast<uint16_t>(40000 + cookie);
    s.remotePort = port;
    s.received = in;
    s.acked = out;
    s.inode = inode ? inode : static_cast<uint32_t>(cookie + 500);
    s.uid = uid;
    return s;
}

bool same(const Address& a, const Address& b) {
    return a.family == b.family && a.bytes == b.bytes;
}

// Socket inode n belongs to pid n / 1000 (0: no owner found).
std::optional<int> ownerByThousands(uint32_t inode) {
    return inode >= 1000 ? std::optional<int>(static_cast<int>(inode / 1000)) : std::nullopt;
}

struct Moved {
    uint64_t in = 0, out = 0;
    bool operator==(const Moved&) const = default;
};
template <class AnyLedger> std::map<int, Moved> take(AnyLedger& ledger) {
    std::map<int, Moved> out;
    for (const ProcessDelta& d : ledger.takeDeltas())
        out[d.pid] = {d.bytesIn, d.bytesOut};
    return out;
}

void dump(Ledger& ledger, const std::vector<SocketRecord>& sockets) {
    ledger.beginDump();
    for (const SocketRecord& s : sockets)
        ledger.observe(s, ownerByThousands);
    ledger.endDump();
}

} // namespace

TEST(NettopPeer, OnlyRoutedPeersAreExternal) {
    for (const char* text : {"93.184.216.34", "10.1.2.3", "169.253.0.1", "2001:db8::1", "::2",
                             "fec0::1", "::ffff:8.8.8.8"})
        EXPECT_TRUE(isExternalPeer(addr(text))) << text;
    // Loopback, link-local, unspecified, also as IPv4-mapped addresses.
    for (const char* text : {"127.0.0.1", "127.255.0.9", "169.254.10.1", "0.0.0.0", "::1",
                             "::", "fe80::1", "febf::1", "::ffff:127.0.0.1", "::ffff:169.254.1.1"})
        EXPECT_FALSE(isExternalPeer(addr(text))) << text;
}

TEST(NettopLedger, DumpsGiveEachProcessItsGrowthAndForgetWhatWentMissing) {
    Ledger ledger(true, 1000u);
    // pid 1 holds two sockets, pid 2 one; loopback, another user's and an unowned socket
    // never count.
    dump(ledger,
         {tcp(1, "203.0.113.1", 443, 100, 10, 1001), tcp(2, "2001:db8::9", 443, 5, 50, 1002),
          tcp(3, "203.0.113.2", 80, 7, 7, 2001), tcp(4, "127.0.0.1", 80, 999, 999, 1003),
          tcp(5, "203.0.113.3", 22, 999, 999, 3001, 0), tcp(6, "203.0.113.4", 22, 9, 9, 7)});
    EXPECT_EQ(take(ledger), (std::map<int, Moved>{{1, {105, 60}}, {2, {7, 7}}}));
    // Growth only; a counter that went down gives nothing; pid 2's socket went quiet.
    dump(ledger,
         {tcp(1, "203.0.113.1", 443, 150, 10, 1001), tcp(2, "2001:db8::9", 443, 4, 80, 1002),
          tcp(3, "203.0.113.2", 80, 7, 7, 2001), tcp(4, "127.0.0.1", 80, 2000, 2000, 1003)});
    EXPECT_EQ(take(ledger), (std::map<int, Moved>{{1, {50, 30}}}));
    EXPECT_EQ(take(ledger), (std::map<int, Moved>{})) << "taken deltas start again from zero";
    // Sockets 5 and 6 went missing: forgotten after a second dump without them only (their
    // closing notification may still be on its way).
    EXPECT_EQ(ledger.trackedSockets(), 6u);
    dump(ledger, {tcp(1, "203.0.113.1", 443, 150, 10, 1001), tcp(4, "127.0.0.1", 80, 1, 1, 1003)});
    EXPECT_EQ(ledger.trackedSockets(), 4u) << "2 and 3 are missing from one dump only";
}

TEST(NettopLedger, ClosingSocketsAddTheirLastBytes) {
    Ledger ledger(true, 1000u);
    dump(ledger, {tcp(1, "203.0.113.1", 443, 100, 10, 1001), tcp(4, "127.0.0.1", 80, 1, 1, 1003),
                  tcp(5, "203.0.113.1", 443, 1, 1, 3001, 0)});
    SocketRecord listener = tcp(9, "0.0.0.0", 0, 0, 0, 2009);
    listener.state = kTcpListen;
    listener.localPort = 8080;
    dump(ledger, {tcp(1, "203.0.113.1", 443, 100, 10, 1001), listener});
    take(ledger);
    // Seen before: the growth since the last dump (the notification has no owner).
    ledger.destroyed(tcp(1, "203.0.113.1", 443, 130, 15, 0, 0));
    // Never seen: accepted on pid 2's listening port; to pid 1's recent peer; loopback and
    // another user's known socket are not counted, even towards a recent peer.
    SocketRecord accepted = tcp(20, "198.51.100.7", 5555, 40, 4, 0, 0);
    accepted.localPort = 8080;
    ledger.destroyed(accepted);
    ledger.destroyed(tcp(21, "203.0.113.1", 443, 3, 2, 0, 0));
    ledger.destroyed(tcp(4, "127.0.0.1", 80, 500, 500, 0, 0));
    ledger.destroyed(tcp(5, "203.0.113.1", 443, 500, 500, 0, 0));
    EXPECT_EQ(take(ledger), (std::map<int, Moved>{{1, {33, 7}}, {2, {40, 4}}}));
}

TEST(NettopLedger, UnplacedBytesWaitForADumpThenExpire) {
    Ledger ledger(true, std::nullopt);
    dump(ledger, {});
    // Short connections of pid 3 to one server, closed unseen; a later dump shows pid 3
    // connected there and the waiting bytes go to it.
    ledger.destroyed(tcp(30, "198.51.100.1", 443, 1000, 100, 0, 0));
    EXPECT_EQ(take(ledger), (std::map<int, Moved>{}));
    EXPECT_TRUE(ledger.hasWaitingBytes());
    dump(ledger, {tcp(31, "198.51.100.1", 443, 10, 1, 3001)});
    EXPECT_EQ(take(ledger), (std::map<int, Moved>{{3, {1010, 101}}}));
    // A socket whose owner was not found (closed before the walk) counts like one never
    // seen: all its bytes, once placed.
    dump(ledger,
         {tcp(31, "198.51.100.1", 443, 10, 1, 3001), tcp(32, "198.51.100.1", 443, 5, 5, 7)});
    take(ledger);
    ledger.destroyed(tcp(32, "198.51.100.1", 443, 50, 5, 0, 0));
    EXPECT_EQ(take(ledger), (std::map<int, Moved>{{3, {50, 5}}}));
    // One that stayed without an owner for several dumps is no short connection: not guessed.
    for (int i = 0; i < 3; ++i)
        dump(ledger,
             {tcp(31, "198.51.100.1", 443, 10, 1, 3001), tcp(33, "198.51.100.1", 443, 9, 9, 8)});
    ledger.destroyed(tcp(33, "198.51.100.1", 443, 900, 900, 0, 0));
    EXPECT_EQ(take(ledger), (std::map<int, Moved>{}));
    // Nobody ever talks to this peer: dropped after the waiting samples.
    ledger.destroyed(tcp(40, "192.0.2.9", 443, 70, 7, 0, 0));
    for (int i = 0; i < Ledger::kWaitSamples; ++i)
        EXPECT_EQ(take(ledger), (std::map<int, Moved>{})) << i;
    EXPECT_EQ(ledger.droppedBytes(), 0u);
    take(ledger);
    EXPECT_EQ(ledger.droppedBytes(), 77u);
    EXPECT_FALSE(ledger.hasWaitingBytes());
}

TEST(NettopOptions, TheRunnersCommandLineAndErrors) {
    auto parsed = parseOptions(
        {"-d", "-P", "-J", "bytes_in, bytes_out", "-x", "-L", "0", "-c", "-t", "external"});
    ASSERT_TRUE(parsed.options) << parsed.error;
    EXPECT_TRUE(parsed.options->deltas);
    EXPECT_TRUE(parsed.options->externalOnly);
    EXPECT_EQ(parsed.options->samples, 0);
    EXPECT_EQ(parsed.options->interval, 1.0);
    EXPECT_EQ(parsed.options->columns, (std::vector<Column>{Column::BytesIn, Column::BytesOut}));
    EXPECT_TRUE(parsed.options->captureUdp);

    parsed = parseOptions(
        {"-J", "bytes_out,bytes_in", "-s", "0.25", "-L", "3", "-t", "all", "-u", "off"});
    ASSERT_TRUE(parsed.options) << parsed.error;
    EXPECT_FALSE(parsed.options->deltas || parsed.options->externalOnly ||
                 parsed.options->captureUdp);
    EXPECT_EQ(parsed.options->interval, 0.25);
    EXPECT_EQ(parsed.options->samples, 3);
    EXPECT_EQ(parsed.options->columns, (std::vector<Column>{Column::BytesOut, Column::BytesIn}));

    const std::vector<std::vector<std::string>> bad = {
        {"-q"},       {"-s"},         {"-s", "0"},     {"-s", "-1"},
        {"-s", "1x"}, {"-s", "nan"},  {"-L", "-1"},    {"-J", "bytes_in,rx_dupe"},
        {"-J", ""},   {"-t", "wifi"}, {"-d", "extra"}, {"-u", "on"}};
    for (const auto& args : bad) {
        parsed = parseOptions(args);
        EXPECT_FALSE(parsed.options) << args[0];
        EXPECT_FALSE(parsed.error.empty());
        EXPECT_EQ(parsed.error.find('\n'), std::string::npos);
    }
}

TEST(NettopSampleText, HeaderThenOneLinePerProcessInTheColumnsAskedFor) {
    const std::string huge = std::to_string(std::numeric_limits<uint64_t>::max());
    const timespec at{1700000000, 123456789};
    const std::string text =
        formatSample({Column::BytesIn, Column::BytesOut},
                     {{"Web Content", 412, 1500, 20}, {"a.b", 7, std::stoull(huge), 0}}, at);
    const std::string header = "time,,bytes_in,bytes_out,\n";
    const std::string time = text.substr(header.size(), 15); // local HH:MM:SS.micros
    EXPECT_TRUE(std::regex_match(time, std::regex(R"(\d\d:\d\d:\d\d\.123456)"))) << time;
    EXPECT_EQ(text,
              header + time + ",Web Content.412,1500,20,\n" + time + ",a.b.7," + huge + ",0,\n");
    EXPECT_EQ(formatSample({Column::BytesOut, Column::BytesIn}, {{"x", 1, 5, 6}}, at),
              "time,,bytes_out,bytes_in,\n" + time + ",x.1,6,5,\n");
}

TEST(NettopProcessTable, SocketOwnersAndNamesFromTheProcTree) {
    TempDir dir;
    const std::filesystem::path root = dir.path().toStdString();
    const auto process = [&](int pid, const std::string& comm, std::vector<std::string> links) {
        std::filesystem::create_directories(root / std::to_string(pid) / "fd");
        std::ofstream(root / std::to_string(pid) / "comm") << comm;
        for (size_t i = 0; i < links.size(); ++i)
            std::filesystem::create_symlink(links[i], root / std::to_string(pid) / "fd" /
                                                          std::to_string(i + 3));
    };
    process(40, "mail\n", {"/dev/null", "socket:[7001]", "pipe:[7002]"});
    process(41, "tab,1\tx\n", {"socket:[7003]", "socket:[7004]"});
    process(42, "idle\n", {"socket:[70x]", "socket:[7005"});
    std::filesystem::create_directories(root / "self");

    ProcessTable table(root.string());
    EXPECT_EQ(table.owners({7001, 7004, 7002, 7005, 9999}),
              (std::unordered_map<uint32_t, int>{{7001, 40}, {7004, 41}}));
    EXPECT_EQ(table.fullScans(), 1u);
    EXPECT_EQ(table.name(41), "tab_1_x");
    // A new socket of a process that owned sockets is found without walking everything.
    process(43, "other\n", {});
    std::filesystem::create_symlink("socket:[7006]", root / "41" / "fd" / "9");
    EXPECT_EQ(table.owners({7006}), (std::unordered_map<uint32_t, int>{{7006, 41}}));
    EXPECT_EQ(table.fullScans(), 1u);
    EXPECT_EQ(table.lastSeen().at(7003), 41);
    // A process that ended keeps the name it had.
    std::filesystem::remove_all(root / "41");
    EXPECT_EQ(table.name(41), "tab_1_x");
    EXPECT_EQ(table.name(4242), "?");
}

namespace {

// A UDP header 40000 -> 443 with the given UDP length.
std::vector<uint8_t> udpHeader(uint16_t length) {
    return {0x9c, 0x40, 0x01, 0xbb, uint8_t(length >> 8), uint8_t(length), 0, 0};
}

// An IPv4 packet: `header` bytes of IP header (options zero), protocol, fragment field, total
// length, then a UDP header with the given UDP length.
std::vector<uint8_t> ipv4(size_t header, uint8_t protocol, uint16_t fragment, uint16_t total,
                          uint16_t udpLength) {
    std::vector<uint8_t> p(header, 0);
    p[0] = static_cast<uint8_t>(0x40 | header / 4);
    p[2] = uint8_t(total >> 8), p[3] = uint8_t(total);
    p[6] = uint8_t(fragment >> 8), p[7] = uint8_t(fragment);
    p[9] = protocol;
    const uint8_t ends[8] = {192, 0, 2, 1, 203, 0, 113, 5};
    std::copy(ends, ends + 8, p.begin() + 12);
    const std::vector<uint8_t> udp = udpHeader(udpLength);
    p.insert(p.end(), udp.begin(), udp.end());
    return p;
}

// An IPv6 packet from 2001:db8::1 to ::ffff:203.0.113.5 with the given extension headers
// (type, then its 8 bytes of which the first is set to the next header), then UDP.
std::vector<uint8_t> ipv6(uint16_t payload, std::vector<std::pair<uint8_t, uint16_t>> extensions,
                          uint16_t udpLength) {
    std::vector<uint8_t> p(40, 0);
    p[0] = 0x60;
    p[4] = uint8_t(payload >> 8), p[5] = uint8_t(payload);
    p[8] = 0x20, p[9] = 0x01, p[10] = 0x0d, p[11] = 0xb8, p[23] = 1;
    p[34] = p[35] = 0xff, p[36] = 203, p[37] = 0, p[38] = 113, p[39] = 5;
    size_t next = 6;
    for (const auto& [type, field] : extensions) {
        p[next] = type;
        next = p.size();
        p.insert(p.end(), {0, 0, uint8_t(field >> 8), uint8_t(field), 0, 0, 0, 0});
    }
    p[next] = 17;
    const std::vector<uint8_t> udp = udpHeader(udpLength);
    p.insert(p.end(), udp.begin(), udp.end());
    return p;
}

std::vector<uint8_t> patched(std::vector<uint8_t> packet, size_t at, uint8_t value) {
    packet[at] = value;
    return packet;
}

} // namespace

TEST(NettopUdpHeaders, DatagramLengthsAndTheEdges) {
    struct Case {
        const char* what;
        std::vector<uint8_t> packet;
        size_t cut;      // bytes captured, 0: all
        uint32_t length; // 0: no datagram
    };
    const Case cases[] = {
        {"IPv4", ipv4(20, 17, 0, 1228, 1208), 0, 1228},
        {"IPv4 with options", ipv4(24, 17, 0x4000, 100, 76), 0, 100},
        {"IPv4 first fragment: the whole datagram", ipv4(20, 17, 0x2000, 1500, 3008), 0, 3028},
        {"IPv4 later fragment", ipv4(20, 17, 0x00b9, 1500, 1480), 0, 0},
        {"IPv4 TCP", ipv4(20, 6, 0, 60, 40), 0, 0},
        {"IPv4 header length under 20", patched(ipv4(20, 17, 0, 100, 80), 0, 0x44), 0, 0},
        {"IPv4 ports cut off", ipv4(20, 17, 0, 100, 80), 23, 0},
        {"IPv4 UDP longer than the packet", ipv4(20, 17, 0, 100, 200), 0, 0},
        {"IPv6", ipv6(1208, {}, 1208), 0, 1248},
        {"IPv6 behind hop-by-hop and routing", ipv6(1224, {{0, 0}, {43, 0}}, 1208), 0, 1264},
        {"IPv6 first fragment", ipv6(1232, {{44, 0x0001}}, 4008), 0, 4048},
        {"IPv6 later fragment", ipv6(1232, {{44, 0x0b50}}, 4008), 0, 0},
        {"IPv6 ESP", ipv6(1208, {{50, 0}}, 1200), 0, 0},
        {"IPv6 extension header cut off", ipv6(1216, {{0, 0}}, 1208), 44, 0},
        {"IPv6 jumbogram", ipv6(0, {}, 1208), 0, 0},
        {"nothing", {}, 0, 0},
    };
    for (const Case& c : cases) {
        const size_t captured = c.cut ? c.cut : c.packet.size();
        const auto d = parseUdpDatagram(c.packet.data(), captured);
        EXPECT_EQ(d ? d->length : 0u, c.length) << c.what;
        if (d && c.length) {
            EXPECT_EQ(d->sourcePort, 40000) << c.what;
            EXPECT_EQ(d->destinationPort, 443) << c.what;
            // The mapped IPv6 destination comes as the IPv4 address it is.
            EXPECT_TRUE(same(d->destination, addr("203.0.113.5"))) << c.what;
        }
    }
}

namespace {

SocketRecord udpSocket(const char* local, uint16_t port, uint32_t inode, uint32_t uid = 1000,
                       const char* remote = nullptr, uint16_t remotePort = 0) {
    SocketRecord s;
    s.local = addr(local);
    s.localPort = port;
    s.remote = addr(remote ? remote : (s.local.family == AF_INET ? "0.0.0.0" : "::"));
    s.remotePort = remotePort;
    s.inode = inode;
    s.uid = uid;
    return s;
}

UdpDatagram udp(const char* from, uint16_t fromPort, const char* to, uint16_t toPort,
                uint32_t length) {
    return UdpDatagram{addr(from), addr(to), fromPort, toPort, length};
}

} // namespace

TEST(NettopUdpLedger, DatagramsGoToTheSocketTheKernelWouldPick) {
    UdpLedger ledger(true, 1000u);
    SocketRecord v6Only = udpSocket("::", 5353, 6001);
    v6Only.v6Only = true;
    ledger.dumped(
        {// pid 2's unconnected socket beside pid 1's QUIC connection on the same port; the
         // wildcard first, so the better match has to win
         udpSocket("0.0.0.0", 4433, 2001),
         udpSocket("10.0.0.2", 4433, 1001, 1000, "203.0.113.9", 443),
         // pid 3: a dual-stack wildcard; pid 4: an address beats the wildcard
         udpSocket("::", 6000, 3001), udpSocket("0.0.0.0", 7000, 2002),
         udpSocket("10.0.0.2", 7000, 4001), v6Only,
         // another user's socket
         udpSocket("0.0.0.0", 9000, 5001, 0)},
        ownerByThousands);
    ledger.datagram(udp("10.0.0.2", 4433, "203.0.113.9", 443, 1200), true);
    ledger.datagram(udp("203.0.113.9", 443, "10.0.0.2", 4433, 1300), false);
    ledger.datagram(udp("198.51.100.1", 443, "10.0.0.2", 4433, 70), false);
    ledger.datagram(udp("10.0.0.2", 6000, "198.51.100.1", 53, 80), true);
    ledger.datagram(udp("2001:db8::2", 6000, "2001:db8::7", 53, 90), true);
    ledger.datagram(udp("198.51.100.1", 53, "10.0.0.2", 7000, 100), false);
    ledger.datagram(udp("198.51.100.1", 53, "10.0.0.3", 7000, 5), false);
    ledger.datagram(udp("2001:db8::7", 53, "2001:db8::2", 5353, 40), false);
    // Not counted: IPv4 to the IPv6-only socket's port, another user's, loopback peers.
    ledger.datagram(udp("198.51.100.1", 53, "10.0.0.2", 5353, 999), false);
    ledger.datagram(udp("198.51.100.1", 53, "10.0.0.2", 9000, 999), false);
    ledger.datagram(udp("127.0.0.1", 53, "127.0.0.1", 6000, 999), false);
    ledger.datagram(udp("10.0.0.2", 6000, "169.254.1.1", 53, 999), true);
    EXPECT_EQ(ledger.waitingFlows(), 1u) << "only IPv4 to the IPv6-only port has no socket";
    EXPECT_EQ(take(ledger),
              (std::map<int, Moved>{
                  {1, {1300, 1200}}, {2, {75, 0}}, {3, {0, 170}}, {4, {100, 0}}, {6, {40, 0}}}));
}

TEST(NettopUdpLedger, UnknownLocalEndsWaitForADump) {
    UdpLedger ledger(true, std::nullopt);
    ledger.dumped({}, ownerByThousands);
    EXPECT_FALSE(ledger.wantsDump());
    // A socket opened after the dump: its datagrams wait, and ask for a dump.
    ledger.datagram(udp("10.0.0.2", 5000, "203.0.113.9", 443, 1200), true);
    ledger.datagram(udp("203.0.113.9", 443, "10.0.0.2", 5000, 1300), false);
    ledger.datagram(udp("203.0.113.9", 443, "10.0.0.2", 5001, 60), false);
    EXPECT_TRUE(ledger.wantsDump());
    EXPECT_EQ(take(ledger), (std::map<int, Moved>{}));
    int asked = 0;
    const auto owner = [&](uint32_t inode) {
        ++asked;
        return ownerByThousands(inode);
    };
    ledger.dumped({udpSocket("0.0.0.0", 5000, 7001)}, owner);
    EXPECT_FALSE(ledger.wantsDump()) << "port 5001 had no socket: no dump again for it";
    ledger.datagram(udp("203.0.113.9", 443, "10.0.0.2", 5001, 60), false);
    EXPECT_FALSE(ledger.wantsDump());
    EXPECT_EQ(take(ledger), (std::map<int, Moved>{{7, {1300, 1200}}}));
    // Known sockets keep their process across dumps without asking again.
    ledger.dumped({udpSocket("0.0.0.0", 5000, 7001), udpSocket("0.0.0.0", 5002, 8001)}, owner);
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(
        ledger.unknownInodes({udpSocket("0.0.0.0", 5000, 7001), udpSocket("0.0.0.0", 5003, 9001)}),
        (std::unordered_set<uint32_t>{9001}));
    for (int i = 1; i < UdpLedger::kWaitSamples; ++i)
        take(ledger);
    EXPECT_EQ(ledger.droppedBytes(), 120u);
    EXPECT_EQ(ledger.waitingFlows(), 0u);
}
