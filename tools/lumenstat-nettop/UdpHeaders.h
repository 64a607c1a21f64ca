#pragma once

#include "Peer.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace nettop {

// One UDP datagram as its IP and UDP headers describe it.
struct UdpDatagram {
    Address source; // IPv4-mapped IPv6 addresses come as AF_INET
    Address destination;
    uint16_t sourcePort = 0;
    uint16_t destinationPort = 0;
    // The IP datagram's length, headers included (IPv4 total length; IPv6 payload length plus
    // the 40-byte fixed header). For the first fragment of a fragmented datagram, the length
    // of the whole datagram once reassembled, from the UDP length field.
    uint32_t length = 0;
};

// The headers of a packet that starts at its IP header, of which `captured` bytes are at hand
// (the rest may have been cut off). Empty when it is no UDP datagram, when the UDP header is
// not among the captured bytes (a fragment other than the first, a cut-off header) or when the
// headers contradict each other.
std::optional<UdpDatagram> parseUdpDatagram(const uint8_t* packet, size_t captured);

// AF_INET for an IPv4-mapped IPv6 address (::ffff:a.b.c.d), the address itself otherwise.
Address canonicalAddress(const Address& address);

} // namespace nettop
