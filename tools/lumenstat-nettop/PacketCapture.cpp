#include "PacketCapture.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <linux/filter.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace nettop {

namespace {

// Enough for an IPv4 header with options or an IPv6 header with a few extension headers,
// and the UDP header behind them.
constexpr uint32_t kSnapLength = 96;
// Four blocks of 512 KiB, about 2,700 packets each: a second of a busy link between two
// samples, or a few wake-ups a second at 100,000 packets a second.
constexpr unsigned kBlockSize = 512 * 1024;
constexpr unsigned kBlockCount = 4;
// A block that is not full is handed over after this long (ms), so quiet links are counted
// in the sample they belong to or the next one.
constexpr unsigned kBlockTimeout = 500;

constexpr uint32_t kLoopbackIndex = 1; // the loopback interface of every network namespace

sock_filter statement(uint16_t code, uint32_t k) {
    return sock_filter{code, 0, 0, k};
}
sock_filter jump(uint16_t code, uint32_t k, uint8_t yes, uint8_t no) {
    return sock_filter{code, yes, no, k};
}

// UDP over IPv4 (first fragments and whole datagrams) and IPv6 (UDP right behind the fixed
// header or behind extension headers, which user space walks), sent or received by this
// machine, untagged (a VLAN interface shows its packets again, untagged), cut to the headers.
std::vector<sock_filter> udpFilter(bool skipLoopback) {
    constexpr uint16_t ldAncillary = BPF_LD | BPF_W | BPF_ABS;
    constexpr uint16_t jeq = BPF_JMP | BPF_JEQ | BPF_K;
    constexpr uint32_t ad = static_cast<uint32_t>(SKF_AD_OFF);
    // Jump offsets count from the next instruction; Keep and Drop are the last two.
    return {
        /* 0 */ statement(ldAncillary, ad + SKF_AD_PKTTYPE),
        /* 1 */ jump(jeq, PACKET_OTHERHOST, 18, 0),
        /* 2 */ statement(ldAncillary, ad + SKF_AD_VLAN_TAG_PRESENT),
        /* 3 */ jump(jeq, 0, 0, 16),
        /* 4 */ statement(ldAncillary, ad + SKF_AD_IFINDEX),
        /* 5 */ jump(jeq, skipLoopback ? kLoopbackIndex : 0, 14, 0),
        /* 6 */ statement(ldAncillary, ad + SKF_AD_PROTOCOL),
        /* 7 */ jump(jeq, ETH_P_IP, 0, 4),
        /* 8 */ statement(BPF_LD | BPF_B | BPF_ABS, 9),
        /* 9 */ jump(jeq, IPPROTO_UDP, 0, 10),
        /* 10 */ statement(BPF_LD | BPF_H | BPF_ABS, 6),
        /* 11 */ jump(BPF_JMP | BPF_JSET | BPF_K, 0x1fff, 8, 7),
        /* 12 */ jump(jeq, ETH_P_IPV6, 0, 7),
        /* 13 */ statement(BPF_LD | BPF_B | BPF_ABS, 6),
        /* 14 */ jump(jeq, IPPROTO_UDP, 4, 0),
        /* 15 */ jump(jeq, IPPROTO_HOPOPTS, 3, 0),
        /* 16 */ jump(jeq, IPPROTO_FRAGMENT, 2, 0),
        /* 17 */ jump(jeq, IPPROTO_ROUTING, 1, 0),
        /* 18 */ jump(jeq, IPPROTO_DSTOPTS, 0, 1),
        /* 19 Keep */ statement(BPF_RET | BPF_K, kSnapLength),
        /* 20 Drop */ statement(BPF_RET | BPF_K, 0),
    };
}

} // namespace

PacketCapture::PacketCapture(bool skipLoopback) {
    const char* sysfs = std::getenv("LUMENSTAT_SYSFS_ROOT");
    sysfsRoot_ = sysfs && *sysfs ? sysfs : "/sys";
    // Protocol 0: nothing arrives before the filter and the ring are in place.
    fd_ = ::socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd_ < 0) {
        error_ = errno;
        return;
    }
    const std::vector<sock_filter> program = udpFilter(skipLoopback);
    const sock_fprog filter{static_cast<unsigned short>(program.size()),
                            const_cast<sock_filter*>(program.data())};
    const int version = TPACKET_V3;
    tpacket_req3 request{};
    request.tp_block_size = kBlockSize;
    request.tp_block_nr = kBlockCount;
    request.tp_frame_size = 2048; // only a unit of the ring's bookkeeping in this version
    request.tp_frame_nr = kBlockSize / 2048 * kBlockCount;
    request.tp_retire_blk_tov = kBlockTimeout;
    if (::setsockopt(fd_, SOL_SOCKET, SO_ATTACH_FILTER, &filter, sizeof(filter)) != 0 ||
        ::setsockopt(fd_, SOL_PACKET, PACKET_VERSION, &version, sizeof(version)) != 0 ||
        ::setsockopt(fd_, SOL_PACKET, PACKET_RX_RING, &request, sizeof(request)) != 0) {
        fail();
        return;
    }
    void* ring = ::mmap(nullptr, size_t{kBlockSize} * kBlockCount, PROT_READ | PROT_WRITE,
                        MAP_SHARED, fd_, 0);
    if (ring == MAP_FAILED) {
        fail();
        return;
    }
    ring_ = static_cast<uint8_t*>(ring);
    blockSize_ = kBlockSize;
    blockCount_ = kBlockCount;
    sockaddr_ll all{};
    all.sll_family = AF_PACKET;
    all.sll_protocol = htons(ETH_P_ALL);
    if (::bind(fd_, reinterpret_cast<sockaddr*>(&all), sizeof(all)) != 0)
        fail();
}

bool PacketCapture::fail() {
    error_ = errno;
    if (ring_)
        ::munmap(ring_, blockSize_ * blockCount_);
    ring_ = nullptr;
    ::close(fd_);
    fd_ = -1;
    return false;
}

PacketCapture::~PacketCapture() {
    if (ring_)
        ::munmap(ring_, blockSize_ * blockCount_);
    if (fd_ >= 0)
        ::close(fd_);
}

bool PacketCapture::enslaved(int ifindex) {
    auto it = enslaved_.find(ifindex);
    if (it != enslaved_.end())
        return it->second;
    char name[IF_NAMESIZE] = {};
    bool slave = false;
    if (::if_indextoname(static_cast<unsigned>(ifindex), name)) {
        const std::string master = sysfsRoot_ + "/class/net/" + name + "/master";
        slave = ::access(master.c_str(), F_OK) == 0;
    }
    enslaved_.emplace(ifindex, slave);
    return slave;
}

void PacketCapture::drain(const Sink& sink) {
    if (!ring_)
        return;
    for (;;) {
        auto* block = reinterpret_cast<tpacket_block_desc*>(ring_ + current_ * blockSize_);
        if (!(__atomic_load_n(&block->hdr.bh1.block_status, __ATOMIC_ACQUIRE) & TP_STATUS_USER))
            return;
        const uint8_t* at =
            reinterpret_cast<const uint8_t*>(block) + block->hdr.bh1.offset_to_first_pkt;
        for (uint32_t i = 0; i < block->hdr.bh1.num_pkts; ++i) {
            const auto* h = reinterpret_cast<const tpacket3_hdr*>(at);
            const auto* link =
                reinterpret_cast<const sockaddr_ll*>(at + TPACKET_ALIGN(sizeof(tpacket3_hdr)));
            if (!enslaved(link->sll_ifindex))
                sink(at + h->tp_net, h->tp_snaplen, link->sll_pkttype == PACKET_OUTGOING);
            at += h->tp_next_offset;
        }
        __atomic_store_n(&block->hdr.bh1.block_status, TP_STATUS_KERNEL, __ATOMIC_RELEASE);
        current_ = (current_ + 1) % blockCount_;
    }
}

void PacketCapture::clearError() {
    int error = 0;
    socklen_t size = sizeof(error);
    if (fd_ >= 0)
        ::getsockopt(fd_, SOL_SOCKET, SO_ERROR, &error, &size);
}

} // namespace nettop
