#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>

namespace nettop {

// UDP datagrams of every interface through a packet socket, which needs CAP_NET_RAW: a
// kernel filter keeps the IPv4 and IPv6 UDP packets this machine sends or receives and cuts
// each to its headers, and a memory-mapped ring (TPACKET_V3) hands them over a block of
// thousands at a time, so a busy link costs a few wake-ups a second, not one per packet.
class PacketCapture {
public:
    // data: the packet from its IP header on, `captured` bytes of it.
    using Sink = std::function<void(const uint8_t* data, size_t captured, bool outgoing)>;

    // skipLoopback: packets on the loopback interface are left to the kernel filter to drop.
    explicit PacketCapture(bool skipLoopback);
    ~PacketCapture();
    PacketCapture(const PacketCapture&) = delete;
    PacketCapture& operator=(const PacketCapture&) = delete;

    bool ok() const { return ring_ != nullptr; }
    // errno of the step that failed (EPERM: no CAP_NET_RAW).
    int error() const { return error_; }
    // Readable when the kernel has handed over a block.
    int fd() const { return fd_; }

    // Every packet of the blocks handed over so far. Packets of interfaces enslaved to
    // another (bridge ports, bonded links) are left out: the upper interface shows them too.
    void drain(const Sink& sink);
    // Reads (and so clears) a pending socket error, which would otherwise keep poll waking.
    void clearError();
    // Interfaces may have joined or left a bridge or bond meanwhile.
    void forgetInterfaces() { enslaved_.clear(); }

private:
    bool enslaved(int ifindex);
    bool fail();

    int fd_ = -1;
    int error_ = 0;
    uint8_t* ring_ = nullptr;
    size_t blockSize_ = 0;
    unsigned blockCount_ = 0;
    unsigned current_ = 0;
    std::string sysfsRoot_;
    std::unordered_map<int, bool> enslaved_;
};

} // namespace nettop
