#pragma once

#include <QString>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What the traffic sampler needs from the operating system, behind small interfaces so
// tests can feed it recorded or synthetic data.

// One network link as the kernel describes it.
struct LinkEntry {
    int index = 0;
    std::string name;
    std::string kind;        // driver kind ("veth", "vlan", "bridge", ...); empty for plain devices
    bool carrier = false;    // up with a lower-layer connection
    bool wwanDevice = false; // the device calls itself a mobile broadband modem
    bool hasStats = false;
    uint64_t rxBytes = 0; // received bytes, 64-bit counter
    uint64_t txBytes = 0; // sent bytes, 64-bit counter
};

// Whose traffic a link is: the local-link kind (wired and Wi-Fi, counted together), WWAN,
// or neither. The one rule for both the route's connection kind and the sums.
enum class LinkClass { Uncounted, Local, WWAN };

inline LinkClass classifyLink(const LinkEntry& link) {
    const std::string_view name = link.name;
    const std::string_view kind = link.kind;
    // Stacked links: their bytes are already in the parent's counters.
    if (kind == "vlan" || kind == "macvlan" || kind == "ipvlan" || kind == "macvtap")
        return LinkClass::Uncounted;
    if (link.wwanDevice || kind == "wwan" || name.starts_with("ww") || name.starts_with("pdp_ip"))
        return LinkClass::WWAN;
    if (name.starts_with("en") || name.starts_with("eth") || name.starts_with("wl"))
        return LinkClass::Local;
    return LinkClass::Uncounted;
}

// Reachability flags for a default route through `link` (null: a route whose link is not
// known): 0x2 reachable, plus 0x20000 through a WWAN link. A link without carrier carries
// no route at all.
inline uint32_t defaultRouteFlags(const LinkEntry* link) {
    if (link && !link->carrier)
        return 0;
    uint32_t flags = 0x2;
    if (link && classifyLink(*link) == LinkClass::WWAN)
        flags |= 0x20000;
    return flags;
}

class LinkSource {
public:
    virtual ~LinkSource() = default;
    // Fills out with fresh counters of at least every counted link (classifyLink); other
    // links may be listed too. False when the counters cannot be read.
    virtual bool readCounters(std::vector<LinkEntry>& out) = 0;
    // The last IPv4 address of the system's address list (loopback included); null when none.
    virtual QString lastIPv4Address() = 0;
};

// Reachability of the default route, as a set of flag bits (defaultRouteFlags).
class RouteSource {
public:
    virtual ~RouteSource() = default;
    // Absent when the flags cannot be read.
    virtual std::optional<uint32_t> reachabilityFlags() = 0;
};

// The default Wi-Fi interface's current state. Empty/zero members mean "not known".
struct WiFiDetails {
    std::optional<QString> ssid;
    std::optional<QString> hardwareAddress;
    int securityMode = 0; // index into the security name table
    int channel = 0;
    long rssi = 0;             // dBm
    double transmitRate = 0.0; // Mbit/s
    friend bool operator==(const WiFiDetails&, const WiFiDetails&) = default;
};

class WiFiSource {
public:
    virtual ~WiFiSource() = default;
    // Safe to call from any thread.
    virtual WiFiDetails current() = 0;
};
