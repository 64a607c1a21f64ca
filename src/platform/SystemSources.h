#pragma once

#include <QString>

#include <cstdint>
#include <optional>

// What the CPU and storage readers need from the operating system, behind small interfaces
// so tests can feed them numbers.

// The machine-wide processor time counters, in clock ticks since boot.
struct CpuLoadCounters {
    uint64_t user = 0;
    uint64_t system = 0;
    uint64_t idle = 0;
    uint64_t nice = 0;
};

class CpuLoadSource {
public:
    virtual ~CpuLoadSource() = default;
    // Absent when the counters cannot be read.
    virtual std::optional<CpuLoadCounters> read() = 0;
};

// Capacity figures of the volume that holds a path, in bytes. The three "available"
// measures are kept apart because other systems tell them apart; on Linux they are equal.
struct VolumeCapacities {
    int64_t total = 0;
    int64_t available = 0;              // plain available capacity
    int64_t importantAvailable = 0;     // available for important use
    int64_t opportunisticAvailable = 0; // available for opportunistic use
    int64_t fileSystemFreeSize = 0;     // the file system's free size
};

class VolumeCapacitySource {
public:
    virtual ~VolumeCapacitySource() = default;
    // Absent when the volume of path cannot be queried.
    virtual std::optional<VolumeCapacities> capacities(const QString& path) = 0;
};
