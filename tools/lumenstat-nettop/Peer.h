#pragma once

#include <array>
#include <cstdint>

namespace nettop {

// An address as the kernel reports it in a socket diagnostics message: the family (AF_INET or
// AF_INET6) and 16 bytes in network order, of which an IPv4 address uses the first four.
struct Address {
    uint8_t family = 0;
    std::array<uint8_t, 16> bytes{};
};

// True when traffic to this peer leaves the machine over a routed link: neither loopback
// (127/8, ::1, v4-mapped loopback), link-local (169.254/16, fe80::/10, v4-mapped link-local)
// nor the unspecified address of a socket without a peer.
bool isExternalPeer(const Address& peer);

} // namespace nettop
