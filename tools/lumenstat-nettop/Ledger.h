#pragma once

#include "SocketRecord.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <unordered_map>
#include <vector>

namespace nettop {

// Bytes one process moved since the previous sample.
struct ProcessDelta {
    int pid = 0;
    uint64_t bytesIn = 0;
    uint64_t bytesOut = 0;
};

// Turns the running byte counters of TCP sockets into per-process deltas.
//
// Every socket is known by its cookie with the counters last seen and its owner. A dump
// adds what each socket moved since it was last seen to its owner; a destroy notification
// adds the socket's final counters (what moved between the last dump and the close). Destroy
// notifications carry no owner, so a socket that lived and died between two dumps is given
// to the process listening on its local port (accepted connections) or to the process that
// last held a connection to the same remote endpoint; failing both, its bytes wait a few
// samples for a dump to reveal such a process and are dropped after that.
class Ledger {
public:
    using OwnerLookup = std::function<std::optional<int>(uint32_t inode)>;

    // externalOnly: traffic with loopback and link-local peers is not counted.
    // ownUid: sockets of other users are skipped; none counts every user's sockets.
    Ledger(bool externalOnly, std::optional<uint32_t> ownUid);

    // Whether a dumped socket needs an owner lookup (not yet known and of a counted user).
    bool needsOwner(const SocketRecord& socket) const;

    void beginDump();
    void observe(const SocketRecord& socket, const OwnerLookup& ownerOf);
    void endDump();

    void destroyed(const SocketRecord& socket);

    // The deltas accumulated since the last call, by pid, and the samples' bookkeeping
    // (waiting bytes resolved or aged).
    std::vector<ProcessDelta> takeDeltas();

    bool hasWaitingBytes() const { return !waiting_.empty(); }
    // Bytes of sockets that closed unseen and could be given to no process.
    uint64_t droppedBytes() const { return dropped_; }
    size_t trackedSockets() const { return sockets_.size(); }

    // How many samples unattributed bytes wait for an owner.
    static constexpr int kWaitSamples = 3;

private:
    struct Endpoint {
        Address address;
        uint16_t port = 0;
        bool operator<(const Endpoint& o) const;
    };
    // Sockets of other users and with internal peers.
    static constexpr int kNotCounted = -1;
    // No process held the socket when we looked: it was closed meanwhile (counted at its
    // close like a socket never seen) or belongs to no process we can see (never counted).
    static constexpr int kOwnerUnknown = -2;

    struct Tracked {
        int pid = -1; // -1: not counted (no owner found, other user, internal peer)
        uint64_t received = 0;
        uint64_t acked = 0;
        uint64_t generation = 0; // the dump that saw it last
        uint64_t born = 0;       // the dump that saw it first
    };
    struct Waiting {
        Endpoint remote;
        uint64_t bytesIn = 0;
        uint64_t bytesOut = 0;
        int age = 0;
    };
    struct Recent {
        int pid = -1;
        uint64_t generation = 0;
    };

    void credit(int pid, uint64_t in, uint64_t out);
    std::optional<int> guessOwner(const SocketRecord& socket) const;

    bool externalOnly_;
    std::optional<uint32_t> ownUid_;
    uint64_t generation_ = 0;
    std::unordered_map<uint64_t, Tracked> sockets_;
    std::map<uint16_t, int> listeners_;      // local port -> pid, from the latest dump
    std::map<Endpoint, Recent> recentPeers_; // remote endpoint -> last pid connected to it
    std::vector<Waiting> waiting_;
    std::map<int, ProcessDelta> pending_;
    uint64_t dropped_ = 0;
};

} // namespace nettop
