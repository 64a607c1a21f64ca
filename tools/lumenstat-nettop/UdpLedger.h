#pragma once

#include "Ledger.h"
#include "SocketRecord.h"
#include "UdpHeaders.h"

#include <map>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace nettop {

// Captured UDP datagrams to per-process bytes. UDP sockets keep no byte counters, so each
// datagram is given to the socket that sent or receives it: its local end (source address
// and port when this machine sent it, destination otherwise) matched against the UDP sockets
// of the latest diagnostics dump as the kernel would deliver it (a connected socket before
// an unconnected one, a bound address before the wildcard). Datagrams whose local end no
// socket of the dump has wait, a few samples at most, for a dump that shows one.
class UdpLedger {
public:
    UdpLedger(bool externalOnly, std::optional<uint32_t> ownUid);

    // outgoing: the datagram left this machine (else it arrived).
    void datagram(const UdpDatagram& d, bool outgoing);

    // Whether datagrams met a local end no dump has shown yet: time for a dump.
    bool wantsDump() const { return unchecked_ > 0; }
    // Whether any datagram was counted or waits since the last dump.
    bool sawTraffic() const { return sawTraffic_; }

    // The inodes of the dumped sockets whose process is still to be found.
    std::unordered_set<uint32_t> unknownInodes(const std::vector<SocketRecord>& sockets) const;
    // A fresh dump of every UDP socket replaces the last one; ownerOf is asked for the
    // sockets unknownInodes() named.
    void dumped(const std::vector<SocketRecord>& sockets, const Ledger::OwnerLookup& ownerOf);

    // The deltas since the last call; waiting datagrams age by one sample.
    std::vector<ProcessDelta> takeDeltas();

    // Bytes of datagrams no socket of ours was found for (closed before a dump saw them,
    // forwarded traffic, other network namespaces).
    uint64_t droppedBytes() const { return dropped_; }
    size_t waitingFlows() const { return waiting_.size(); }

    static constexpr int kWaitSamples = 3;
    // At most this many distinct local/remote pairs wait; the datagrams of more are dropped.
    static constexpr size_t kMaxWaiting = 4096;

private:
    static constexpr int kNotCounted = -1;
    struct Socket {
        Address local;
        Address remote;
        uint16_t remotePort = 0;
        bool v6Only = false;
        uint32_t inode = 0;
        int pid = kNotCounted;
        uint64_t bytesIn = 0;
        uint64_t bytesOut = 0;
    };
    struct Flow {
        Address local;
        Address remote;
        uint16_t localPort = 0;
        uint16_t remotePort = 0;
        bool operator<(const Flow& o) const;
    };
    struct Waiting {
        uint64_t bytesIn = 0;
        uint64_t bytesOut = 0;
        bool checked = false; // a dump came after it and had no socket for it
        int age = 0;
    };

    Socket* find(const Flow& flow);
    void collect();
    bool counted(const SocketRecord& s) const;

    bool externalOnly_;
    std::optional<uint32_t> ownUid_;
    std::unordered_map<uint16_t, std::vector<Socket>> byPort_; // local port -> sockets
    std::unordered_map<uint32_t, int> owners_;                 // inode -> pid, of the last dump
    std::map<Flow, Waiting> waiting_;
    size_t unchecked_ = 0;
    bool sawTraffic_ = false;
    std::map<int, ProcessDelta> pending_;
    uint64_t dropped_ = 0;
};

} // namespace nettop
