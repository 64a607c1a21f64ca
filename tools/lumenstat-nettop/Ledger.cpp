#include "Ledger.h"

#include <algorithm>
#include <tuple>

namespace nettop {

namespace {

// Dumps after which a remote endpoint no longer points at the process last connected to it.
constexpr uint64_t kRecentPeerDumps = 120;

uint64_t grown(uint64_t now, uint64_t before) {
    return now > before ? now - before : 0;
}

} // namespace

bool Ledger::Endpoint::operator<(const Endpoint& o) const {
    return std::tie(address.family, address.bytes, port) <
           std::tie(o.address.family, o.address.bytes, o.port);
}

Ledger::Ledger(bool externalOnly, std::optional<uint32_t> ownUid)
    : externalOnly_(externalOnly), ownUid_(ownUid) {}

bool Ledger::needsOwner(const SocketRecord& s) const {
    if (s.inode == 0 || sockets_.count(s.cookie))
        return false;
    if (ownUid_ && s.uid != *ownUid_)
        return false;
    return s.state == kTcpListen || !externalOnly_ || isExternalPeer(s.remote);
}

void Ledger::beginDump() {
    ++generation_;
    listeners_.clear();
}

void Ledger::observe(const SocketRecord& s, const OwnerLookup& ownerOf) {
    auto it = sockets_.find(s.cookie);
    if (it == sockets_.end()) {
        if (s.inode == 0)
            return; // closed before we knew it: its destroy notification accounts for it
        Tracked tracked;
        tracked.born = generation_;
        if (needsOwner(s))
            tracked.pid = ownerOf(s.inode).value_or(kOwnerUnknown);
        it = sockets_.emplace(s.cookie, tracked).first;
    }
    Tracked& t = it->second;
    t.generation = generation_;
    if (t.pid < 0)
        return;
    if (s.state == kTcpListen) {
        listeners_[s.localPort] = t.pid;
        return;
    }
    recentPeers_[Endpoint{s.remote, s.remotePort}] = Recent{t.pid, generation_};
    credit(t.pid, grown(s.received, t.received), grown(s.acked, t.acked));
    t.received = s.received;
    t.acked = s.acked;
}

void Ledger::endDump() {
    // A socket missing from two dumps in a row closed without a notification we read.
    std::erase_if(sockets_,
                  [&](const auto& entry) { return entry.second.generation + 1 < generation_; });
    std::erase_if(recentPeers_, [&](const auto& entry) {
        return entry.second.generation + kRecentPeerDumps < generation_;
    });
}

void Ledger::destroyed(const SocketRecord& s) {
    if (auto it = sockets_.find(s.cookie); it != sockets_.end()) {
        const Tracked t = it->second;
        sockets_.erase(it);
        if (t.pid >= 0)
            credit(t.pid, grown(s.received, t.received), grown(s.acked, t.acked));
        // Only a socket that closed right after its first dump is such a short connection.
        if (t.pid != kOwnerUnknown || t.born + 1 < generation_)
            return;
    }
    if (externalOnly_ && !isExternalPeer(s.remote))
        return;
    if (s.received == 0 && s.acked == 0)
        return;
    if (const std::optional<int> pid = guessOwner(s))
        credit(*pid, s.received, s.acked);
    else
        waiting_.push_back(Waiting{Endpoint{s.remote, s.remotePort}, s.received, s.acked, 0});
}

std::optional<int> Ledger::guessOwner(const SocketRecord& s) const {
    if (auto it = listeners_.find(s.localPort); it != listeners_.end())
        return it->second;
    if (auto it = recentPeers_.find(Endpoint{s.remote, s.remotePort}); it != recentPeers_.end())
        return it->second.pid;
    return std::nullopt;
}

std::vector<ProcessDelta> Ledger::takeDeltas() {
    std::erase_if(waiting_, [&](Waiting& w) {
        if (auto it = recentPeers_.find(w.remote); it != recentPeers_.end()) {
            credit(it->second.pid, w.bytesIn, w.bytesOut);
            return true;
        }
        if (++w.age <= kWaitSamples)
            return false;
        dropped_ += w.bytesIn + w.bytesOut;
        return true;
    });
    std::vector<ProcessDelta> out;
    out.reserve(pending_.size());
    for (const auto& [pid, delta] : pending_)
        out.push_back(delta);
    pending_.clear();
    return out;
}

void Ledger::credit(int pid, uint64_t in, uint64_t out) {
    if (in == 0 && out == 0)
        return;
    ProcessDelta& d = pending_[pid];
    d.pid = pid;
    d.bytesIn += in;
    d.bytesOut += out;
}

} // namespace nettop
