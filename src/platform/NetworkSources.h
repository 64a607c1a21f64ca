#pragma once

#include <QString>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What the traffic sampler needs from the operating system, behind small interfaces so
// tests can feed it recorded or synthetic data.

// One entry of the interface address list, in the system's order.
struct InterfaceAddressEntry {
    enum class Family { IPv4, Link, Other };
    std::string name;
    Family family = Family::Other;
    QString ipv4;          // dotted-decimal, for IPv4 entries
    bool hasStats = false; // link entries: statistics present
    uint32_t rxBytes = 0;  // link entries: received bytes (32-bit counter)
    uint32_t txBytes = 0;  // link entries: sent bytes (32-bit counter)
};

class InterfaceAddressSource {
public:
    virtual ~InterfaceAddressSource() = default;
    // Fills out with every address of every interface. False when the list cannot be read.
    virtual bool read(std::vector<InterfaceAddressEntry>& out) = 0;
};

// Reachability of the default route, as a set of flag bits:
// 0x2 reachable (a default route exists), 0x20000 the route's link is a WWAN link.
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
};

class WiFiSource {
public:
    virtual ~WiFiSource() = default;
    // Safe to call from any thread.
    virtual WiFiDetails current() = 0;
};
