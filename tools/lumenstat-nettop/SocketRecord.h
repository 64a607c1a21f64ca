#pragma once

#include "Peer.h"

#include <cstdint>

namespace nettop {

// TCP states as the kernel numbers them in diagnostics messages.
enum TcpState : uint8_t {
    kTcpEstablished = 1,
    kTcpTimeWait = 6,
    kTcpClose = 7,
    kTcpListen = 10,
    kTcpNewSynRecv = 12,
    kTcpStateCount = 13,
};

// One TCP or UDP socket as a diagnostics dump or a destroy notification describes it.
struct SocketRecord {
    uint64_t cookie = 0; // the kernel's identity of the socket, stable for its life
    uint8_t state = 0;   // TcpState
    Address local;
    Address remote;
    uint16_t localPort = 0;
    uint16_t remotePort = 0;
    uint32_t uid = 0;
    uint32_t inode = 0;    // 0 once the socket has no file (closed, orphaned)
    uint64_t received = 0; // tcpi_bytes_received
    uint64_t acked = 0;    // tcpi_bytes_acked: bytes sent and acknowledged by the peer
    bool v6Only = false;   // an IPv6 socket that takes no IPv4 traffic (IPV6_V6ONLY)
};

} // namespace nettop
