#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace nettop {

// Socket inodes to processes through the process file system's fd links, and process names.
class ProcessTable {
public:
    // root: the process file system (LUMENSTAT_PROCFS_ROOT, else /proc).
    explicit ProcessTable(std::string root);
    static std::string defaultRoot();

    // The owners of the given socket inodes. The processes that owned sockets before are
    // looked at first; every process is walked (once) only for inodes still missing.
    // Inodes of processes whose fds cannot be read stay missing.
    std::unordered_map<uint32_t, int> owners(const std::unordered_set<uint32_t>& inodes);

    // The process's name (its comm), remembered for processes that have ended since.
    // Commas and control characters become '_' so the name fits one output field.
    std::string name(int pid);

    // Every socket inode the last owners() call came across, with its process: sockets
    // opened after a dump, for a second dump to place.
    const std::unordered_map<uint32_t, int>& lastSeen() const { return lastSeen_; }

    size_t fullScans() const { return fullScans_; }

private:
    void scan(int pid, std::unordered_set<uint32_t>& missing,
              std::unordered_map<uint32_t, int>& found);

    std::string root_;
    std::set<int> owners_; // processes that held sockets we looked for
    std::unordered_map<uint32_t, int> lastSeen_;
    std::unordered_map<int, std::string> names_;
    size_t fullScans_ = 0;
};

} // namespace nettop
