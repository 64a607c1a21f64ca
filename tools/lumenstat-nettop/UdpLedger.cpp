#include "UdpLedger.h"

#include <algorithm>
#include <sys/socket.h>
#include <tuple>

namespace nettop {

namespace {

bool unspecified(const Address& a) {
    return std::all_of(a.bytes.begin(), a.bytes.end(), [](uint8_t b) { return b == 0; });
}

bool same(const Address& a, const Address& b) {
    return a.family == b.family && a.bytes == b.bytes;
}

} // namespace

bool UdpLedger::Flow::operator<(const Flow& o) const {
    return std::tie(local.family, local.bytes, localPort, remote.family, remote.bytes, remotePort) <
           std::tie(o.local.family, o.local.bytes, o.localPort, o.remote.family, o.remote.bytes,
                    o.remotePort);
}

UdpLedger::UdpLedger(bool externalOnly, std::optional<uint32_t> ownUid)
    : externalOnly_(externalOnly), ownUid_(ownUid) {}

UdpLedger::Socket* UdpLedger::find(const Flow& f) {
    auto it = byPort_.find(f.localPort);
    if (it == byPort_.end())
        return nullptr;
    Socket* best = nullptr;
    int bestScore = -1;
    for (Socket& s : it->second) {
        int score = 0;
        if (unspecified(s.local)) {
            // An IPv6 wildcard takes IPv4 too unless it is IPv6-only.
            if (s.local.family != f.local.family && (s.local.family != AF_INET6 || s.v6Only))
                continue;
        } else if (same(s.local, f.local)) {
            score += 1;
        } else {
            continue;
        }
        if (s.remotePort != 0) {
            if (s.remotePort != f.remotePort || !same(s.remote, f.remote))
                continue;
            score += 2;
        }
        if (score > bestScore) {
            best = &s;
            bestScore = score;
        }
    }
    return best;
}

void UdpLedger::datagram(const UdpDatagram& d, bool outgoing) {
    Flow f;
    f.local = outgoing ? d.source : d.destination;
    f.localPort = outgoing ? d.sourcePort : d.destinationPort;
    f.remote = outgoing ? d.destination : d.source;
    f.remotePort = outgoing ? d.destinationPort : d.sourcePort;
    if (externalOnly_ && !isExternalPeer(f.remote))
        return;
    sawTraffic_ = true;
    if (Socket* s = find(f)) {
        (outgoing ? s->bytesOut : s->bytesIn) += d.length;
        return;
    }
    auto it = waiting_.find(f);
    if (it == waiting_.end()) {
        if (waiting_.size() >= kMaxWaiting) {
            dropped_ += d.length;
            return;
        }
        it = waiting_.emplace(f, Waiting{}).first;
        ++unchecked_;
    }
    (outgoing ? it->second.bytesOut : it->second.bytesIn) += d.length;
}

bool UdpLedger::counted(const SocketRecord& s) const {
    return s.inode != 0 && (!ownUid_ || s.uid == *ownUid_);
}

std::unordered_set<uint32_t>
UdpLedger::unknownInodes(const std::vector<SocketRecord>& sockets) const {
    std::unordered_set<uint32_t> out;
    for (const SocketRecord& s : sockets)
        if (counted(s) && !owners_.count(s.inode))
            out.insert(s.inode);
    return out;
}

void UdpLedger::collect() {
    for (auto& [port, sockets] : byPort_)
        for (Socket& s : sockets) {
            if (s.pid >= 0 && (s.bytesIn || s.bytesOut)) {
                ProcessDelta& d = pending_[s.pid];
                d.pid = s.pid;
                d.bytesIn += s.bytesIn;
                d.bytesOut += s.bytesOut;
            }
            s.bytesIn = s.bytesOut = 0;
        }
}

void UdpLedger::dumped(const std::vector<SocketRecord>& sockets,
                       const Ledger::OwnerLookup& ownerOf) {
    collect();
    byPort_.clear();
    std::unordered_map<uint32_t, int> owners;
    for (const SocketRecord& r : sockets) {
        Socket s;
        s.local = canonicalAddress(r.local);
        s.remote = canonicalAddress(r.remote);
        s.remotePort = r.remotePort;
        s.v6Only = r.v6Only;
        s.inode = r.inode;
        if (counted(r)) {
            auto known = owners_.find(r.inode);
            const std::optional<int> pid =
                known != owners_.end() ? std::optional<int>(known->second) : ownerOf(r.inode);
            s.pid = pid.value_or(kNotCounted);
            owners.emplace(r.inode, s.pid);
        }
        byPort_[r.localPort].push_back(s);
    }
    owners_ = std::move(owners);
    // What waited for this dump goes to its socket now, if it has one.
    for (auto it = waiting_.begin(); it != waiting_.end();) {
        if (Socket* s = find(it->first)) {
            if (s->pid >= 0) {
                s->bytesIn += it->second.bytesIn;
                s->bytesOut += it->second.bytesOut;
            }
            it = waiting_.erase(it);
        } else {
            it->second.checked = true;
            ++it;
        }
    }
    unchecked_ = 0;
    sawTraffic_ = false;
}

std::vector<ProcessDelta> UdpLedger::takeDeltas() {
    collect();
    for (auto it = waiting_.begin(); it != waiting_.end();) {
        Waiting& w = it->second;
        if (++w.age <= kWaitSamples) {
            ++it;
            continue;
        }
        if (!w.checked)
            --unchecked_;
        dropped_ += w.bytesIn + w.bytesOut;
        it = waiting_.erase(it);
    }
    std::vector<ProcessDelta> out;
    out.reserve(pending_.size());
    for (const auto& [pid, delta] : pending_)
        out.push_back(delta);
    pending_.clear();
    return out;
}

} // namespace nettop
