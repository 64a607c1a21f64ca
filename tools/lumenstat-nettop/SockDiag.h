#pragma once

#include "SocketRecord.h"

#include <functional>

namespace nettop {

// TCP sockets through NETLINK_SOCK_DIAG: dumps of every IPv4 and IPv6 socket with its
// tcp_info byte counters, and the destroy notifications of closing sockets.
class SockDiag {
public:
    using Sink = std::function<void(const SocketRecord&)>;

    SockDiag();
    ~SockDiag();
    SockDiag(const SockDiag&) = delete;
    SockDiag& operator=(const SockDiag&) = delete;

    bool ok() const { return dumpFd_ >= 0; }

    // Every IPv4 and IPv6 TCP socket but TIME_WAIT and request sockets, listeners included.
    // False when the kernel refused the dump.
    bool dump(const Sink& sink);

    // Every IPv4 and IPv6 UDP socket (no byte counters: the kernel keeps none per socket).
    // False when the kernel refused the dump.
    bool dumpUdp(const Sink& sink);

    // Joins the TCP destroy groups; false when the kernel does not let this process.
    bool joinDestroyGroups();
    int destroyFd() const { return destroyFd_; }
    // Hands over every destroy notification waiting on the socket, without blocking.
    void drainDestroyed(const Sink& sink);
    // Notifications the kernel dropped because the receive buffer was full.
    unsigned long overruns() const { return overruns_; }

private:
    enum class Result { Done, Refused, Failed };
    bool dumpFamily(int family, int protocol, const Sink& sink);
    Result request(const void* message, size_t size, const Sink& sink);

    int dumpFd_ = -1;
    int destroyFd_ = -1;
    unsigned seq_ = 0;
    bool dualStackRefused_ = false;
    unsigned long overruns_ = 0;
};

} // namespace nettop
