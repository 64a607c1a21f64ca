#include "UdpHeaders.h"

#include <algorithm>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>

namespace nettop {

namespace {

constexpr size_t kIpv4MinHeader = 20;
constexpr size_t kIpv6Header = 40;
constexpr size_t kUdpHeader = 8;
constexpr uint8_t kProtocolUdp = 17;
// IPv6 extension headers that may stand between the fixed header and UDP.
constexpr uint8_t kHopByHop = 0, kRouting = 43, kFragment = 44, kDestinationOptions = 60;

uint16_t be16(const uint8_t* p) {
    return static_cast<uint16_t>(p[0] << 8 | p[1]);
}

Address address(uint8_t family, const uint8_t* bytes) {
    Address a;
    a.family = family;
    std::memcpy(a.bytes.data(), bytes, family == AF_INET ? 4 : 16);
    return canonicalAddress(a);
}

// Ports and UDP length at `offset`; false when they are not all captured or the UDP length
// cannot be.
bool readUdp(const uint8_t* packet, size_t captured, size_t offset, UdpDatagram& d,
             uint16_t& udpLength) {
    if (captured < offset + kUdpHeader)
        return false;
    d.sourcePort = be16(packet + offset);
    d.destinationPort = be16(packet + offset + 2);
    udpLength = be16(packet + offset + 4);
    return udpLength >= kUdpHeader;
}

std::optional<UdpDatagram> parseIpv4(const uint8_t* p, size_t captured) {
    if (captured < kIpv4MinHeader || p[9] != kProtocolUdp)
        return std::nullopt;
    const size_t headerLength = static_cast<size_t>(p[0] & 0x0f) * 4;
    const uint16_t total = be16(p + 2);
    const uint16_t fragment = be16(p + 6);
    const bool moreFragments = fragment & 0x2000;
    if (headerLength < kIpv4MinHeader || (fragment & 0x1fff) != 0)
        return std::nullopt;
    UdpDatagram d;
    d.source = address(AF_INET, p + 12);
    d.destination = address(AF_INET, p + 16);
    uint16_t udpLength = 0;
    if (!readUdp(p, captured, headerLength, d, udpLength))
        return std::nullopt;
    if (moreFragments) {
        d.length = static_cast<uint32_t>(headerLength + udpLength);
    } else {
        if (total < headerLength + udpLength)
            return std::nullopt;
        d.length = total;
    }
    return d;
}

std::optional<UdpDatagram> parseIpv6(const uint8_t* p, size_t captured) {
    if (captured < kIpv6Header)
        return std::nullopt;
    UdpDatagram d;
    d.source = address(AF_INET6, p + 8);
    d.destination = address(AF_INET6, p + 24);
    const uint32_t payload = be16(p + 4);
    uint8_t next = p[6];
    size_t offset = kIpv6Header;
    bool fragmented = false;
    // A few extension headers at most; more is no datagram this tool cares about.
    for (int hops = 0; next != kProtocolUdp; ++hops) {
        if (hops == 8 || captured < offset + 8)
            return std::nullopt;
        const uint8_t* h = p + offset;
        if (next == kFragment) {
            if ((be16(h + 2) & 0xfff8) != 0)
                return std::nullopt; // not the first fragment: no UDP header here
            fragmented = true;
            offset += 8;
        } else if (next == kHopByHop || next == kRouting || next == kDestinationOptions) {
            offset += (static_cast<size_t>(h[1]) + 1) * 8;
        } else {
            return std::nullopt;
        }
        next = h[0];
    }
    uint16_t udpLength = 0;
    if (!readUdp(p, captured, offset, d, udpLength))
        return std::nullopt;
    if (fragmented) {
        // Reassembled, the datagram has no fragment header.
        d.length = static_cast<uint32_t>(offset - 8 + udpLength);
    } else {
        if (payload == 0 || kIpv6Header + payload < offset + udpLength)
            return std::nullopt; // a jumbogram or a contradiction
        d.length = static_cast<uint32_t>(kIpv6Header + payload);
    }
    return d;
}

} // namespace

Address canonicalAddress(const Address& a) {
    static constexpr uint8_t kMapped[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
    if (a.family != AF_INET6 || std::memcmp(a.bytes.data(), kMapped, sizeof(kMapped)) != 0)
        return a;
    Address v4;
    v4.family = AF_INET;
    std::copy_n(a.bytes.begin() + 12, 4, v4.bytes.begin());
    return v4;
}

std::optional<UdpDatagram> parseUdpDatagram(const uint8_t* packet, size_t captured) {
    if (captured == 0)
        return std::nullopt;
    switch (packet[0] >> 4) {
    case 4:
        return parseIpv4(packet, captured);
    case 6:
        return parseIpv6(packet, captured);
    default:
        return std::nullopt;
    }
}

} // namespace nettop
