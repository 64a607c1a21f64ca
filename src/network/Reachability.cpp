#include "Reachability.h"

#include "platform/NetworkSources.h"
#include "platform/linux/LinuxLinkTable.h"

std::unique_ptr<Reachability> Reachability::reachabilityForInternetConnection() {
    return std::make_unique<Reachability>(std::make_shared<LinuxLinkTable>());
}

Reachability::Reachability(std::shared_ptr<RouteSource> source) : source_(std::move(source)) {}

NetworkStatus Reachability::networkStatusForFlags(uint32_t flags) {
    if (!(flags & Reachable))
        return NotReachable;
    if (flags & IsDirect)
        return ReachableViaWWAN;
    if ((flags & (ConnectionOnTraffic | ConnectionOnDemand)) && !(flags & InterventionRequired))
        return ReachableViaWiFi;
    return (flags & ConnectionRequired) ? NotReachable : ReachableViaWiFi;
}

NetworkStatus Reachability::currentReachabilityStatus() const {
    if (!source_)
        return NotReachable;
    const auto flags = source_->reachabilityFlags();
    return flags ? networkStatusForFlags(*flags) : NotReachable;
}

bool Reachability::connectionRequired() const {
    if (!source_)
        return false;
    const auto flags = source_->reachabilityFlags();
    return flags && (*flags & ConnectionRequired);
}
