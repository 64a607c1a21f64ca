#pragma once

#include "NetActivities.h"

#include <cstdint>
#include <memory>

class RouteSource;

// Watches whether the default route exists and through which kind of link.
class Reachability {
public:
    enum Flags : uint32_t {
        TransientConnection = 0x1,
        Reachable = 0x2,
        ConnectionRequired = 0x4,
        ConnectionOnTraffic = 0x8,
        InterventionRequired = 0x10,
        ConnectionOnDemand = 0x20,
        IsDirect = 0x20000,
    };

    // The default route, read from the system's routing table.
    static std::unique_ptr<Reachability> reachabilityForInternetConnection();
    // A target over any route source (tests use fixed flags).
    explicit Reachability(std::shared_ptr<RouteSource> source);

    // Change notifications are not needed by anything: the sampler polls every tick.
    bool startNotifier() { return source_ != nullptr; }
    void stopNotifier() {}

    NetworkStatus currentReachabilityStatus() const;
    bool connectionRequired() const;
    static NetworkStatus networkStatusForFlags(uint32_t flags);

private:
    std::shared_ptr<RouteSource> source_;
};
