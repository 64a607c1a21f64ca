#include "SockDiag.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <linux/sock_diag.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace nettop {

namespace {

constexpr size_t kBufferSize = 64 * 1024;
// Room for a burst of closing sockets between two reads.
constexpr int kDestroyBuffer = 4 * 1024 * 1024;

// Every state but TIME_WAIT (no counters, no owner) and request sockets.
constexpr uint32_t kDumpStates =
    ((1u << kTcpStateCount) - 1) & ~((1u << kTcpTimeWait) | (1u << kTcpNewSynRecv));

Address address(uint8_t family, const __be32* words) {
    Address a;
    a.family = family;
    std::memcpy(a.bytes.data(), words, family == AF_INET ? 4 : 16);
    return a;
}

// Fills a record from one inet_diag message; false when it is not one.
bool parse(const nlmsghdr* h, SocketRecord& r) {
    if ((h->nlmsg_type != SOCK_DIAG_BY_FAMILY && h->nlmsg_type != TCPDIAG_GETSOCK) ||
        h->nlmsg_len < NLMSG_LENGTH(sizeof(inet_diag_msg)))
        return false;
    const auto* m = static_cast<const inet_diag_msg*>(NLMSG_DATA(h));
    if (m->idiag_family != AF_INET && m->idiag_family != AF_INET6)
        return false;
    r = SocketRecord{};
    r.cookie = static_cast<uint64_t>(m->id.idiag_cookie[0]) |
               static_cast<uint64_t>(m->id.idiag_cookie[1]) << 32;
    r.state = m->idiag_state;
    r.local = address(m->idiag_family, m->id.idiag_src);
    r.remote = address(m->idiag_family, m->id.idiag_dst);
    r.localPort = ntohs(m->id.idiag_sport);
    r.remotePort = ntohs(m->id.idiag_dport);
    r.uid = m->idiag_uid;
    r.inode = m->idiag_inode;
    const auto* attr = reinterpret_cast<const rtattr*>(reinterpret_cast<const char*>(m) +
                                                       NLMSG_ALIGN(sizeof(inet_diag_msg)));
    int left = static_cast<int>(h->nlmsg_len - NLMSG_LENGTH(sizeof(inet_diag_msg)));
    for (; RTA_OK(attr, left); attr = RTA_NEXT(attr, left)) {
        if (attr->rta_type == INET_DIAG_SKV6ONLY && RTA_PAYLOAD(attr) >= 1)
            r.v6Only = *static_cast<const uint8_t*>(RTA_DATA(attr)) != 0;
        if (attr->rta_type != INET_DIAG_INFO)
            continue;
        tcp_info info{};
        std::memcpy(&info, RTA_DATA(attr), std::min<size_t>(RTA_PAYLOAD(attr), sizeof(info)));
        if (RTA_PAYLOAD(attr) >= offsetof(tcp_info, tcpi_bytes_received) + sizeof(uint64_t)) {
            r.received = info.tcpi_bytes_received;
            r.acked = info.tcpi_bytes_acked;
        }
    }
    return true;
}

} // namespace

SockDiag::SockDiag() {
    dumpFd_ = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
}

SockDiag::~SockDiag() {
    if (dumpFd_ >= 0)
        ::close(dumpFd_);
    if (destroyFd_ >= 0)
        ::close(destroyFd_);
}

bool SockDiag::dump(const Sink& sink) {
    // The older request form walks the kernel's socket tables once for both families; the
    // current one walks them once per family, which doubles the cost of a dump (the tables
    // are sized for the machine's memory, not for its sockets). Kernels without the older
    // form get two current requests.
    if (!dualStackRefused_) {
        struct {
            nlmsghdr header;
            inet_diag_req request;
        } message{};
        message.header.nlmsg_len = sizeof(message);
        message.header.nlmsg_type = TCPDIAG_GETSOCK;
        message.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
        message.header.nlmsg_seq = ++seq_;
        message.request.idiag_family = AF_INET;
        message.request.idiag_ext = 1u << (INET_DIAG_INFO - 1);
        message.request.idiag_states = kDumpStates;
        const Result result = request(&message, sizeof(message), sink);
        if (result != Result::Refused)
            return result == Result::Done;
        dualStackRefused_ = true;
    }
    return dumpFamily(AF_INET, IPPROTO_TCP, sink) && dumpFamily(AF_INET6, IPPROTO_TCP, sink);
}

bool SockDiag::dumpUdp(const Sink& sink) {
    return dumpFamily(AF_INET, IPPROTO_UDP, sink) && dumpFamily(AF_INET6, IPPROTO_UDP, sink);
}

bool SockDiag::dumpFamily(int family, int protocol, const Sink& sink) {
    struct {
        nlmsghdr header;
        inet_diag_req_v2 request;
    } message{};
    message.header.nlmsg_len = sizeof(message);
    message.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    message.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    message.header.nlmsg_seq = ++seq_;
    message.request.sdiag_family = static_cast<uint8_t>(family);
    message.request.sdiag_protocol = static_cast<uint8_t>(protocol);
    if (protocol == IPPROTO_TCP) {
        message.request.idiag_ext = 1u << (INET_DIAG_INFO - 1);
        message.request.idiag_states = kDumpStates;
    } else {
        message.request.idiag_states =
            ~0u; // unconnected sockets are TCP_CLOSE, connected ones ESTABLISHED
    }
    return request(&message, sizeof(message), sink) == Result::Done;
}

SockDiag::Result SockDiag::request(const void* message, size_t size, const Sink& sink) {
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    if (::sendto(dumpFd_, message, size, 0, reinterpret_cast<sockaddr*>(&kernel), sizeof(kernel)) <
        0)
        return Result::Failed;

    alignas(nlmsghdr) static char buffer[kBufferSize];
    SocketRecord record;
    bool any = false;
    for (;;) {
        const ssize_t n = ::recv(dumpFd_, buffer, sizeof(buffer), 0);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return Result::Failed;
        int left = static_cast<int>(n);
        for (auto* h = reinterpret_cast<nlmsghdr*>(buffer); NLMSG_OK(h, left);
             h = NLMSG_NEXT(h, left)) {
            if (h->nlmsg_seq != seq_)
                continue;
            if (h->nlmsg_type == NLMSG_DONE)
                return Result::Done;
            if (h->nlmsg_type == NLMSG_ERROR)
                return any ? Result::Failed : Result::Refused;
            any = true;
            if (parse(h, record))
                sink(record);
        }
    }
}

bool SockDiag::joinDestroyGroups() {
    const int fd = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_SOCK_DIAG);
    if (fd < 0)
        return false;
    // Privileged processes may pass the system's limit; others get what it allows.
    if (::setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &kDestroyBuffer, sizeof(kDestroyBuffer)) != 0)
        ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &kDestroyBuffer, sizeof(kDestroyBuffer));
    sockaddr_nl local{};
    local.nl_family = AF_NETLINK;
    local.nl_groups =
        (1u << (SKNLGRP_INET_TCP_DESTROY - 1)) | (1u << (SKNLGRP_INET6_TCP_DESTROY - 1));
    if (::bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof(local)) != 0) {
        ::close(fd);
        return false;
    }
    destroyFd_ = fd;
    return true;
}

void SockDiag::drainDestroyed(const Sink& sink) {
    if (destroyFd_ < 0)
        return;
    alignas(nlmsghdr) static char buffer[kBufferSize];
    SocketRecord record;
    for (;;) {
        const ssize_t n = ::recv(destroyFd_, buffer, sizeof(buffer), MSG_DONTWAIT);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            if (errno == ENOBUFS) {
                ++overruns_;
                continue;
            }
            return;
        }
        int left = static_cast<int>(n);
        for (auto* h = reinterpret_cast<nlmsghdr*>(buffer); NLMSG_OK(h, left);
             h = NLMSG_NEXT(h, left))
            if (parse(h, record))
                sink(record);
    }
}

} // namespace nettop
