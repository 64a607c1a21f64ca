#include "ProcessTable.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace nettop {

namespace {

// Parses "socket:[12345]".
bool socketInode(const char* link, size_t length, uint32_t& inode) {
    constexpr char prefix[] = "socket:[";
    constexpr size_t prefixLength = sizeof(prefix) - 1;
    if (length <= prefixLength + 1 || std::memcmp(link, prefix, prefixLength) != 0 ||
        link[length - 1] != ']')
        return false;
    const char* end = link + length - 1;
    auto [ptr, ec] = std::from_chars(link + prefixLength, end, inode);
    return ec == std::errc() && ptr == end;
}

bool parsePid(const char* name, int& pid) {
    const char* end = name + std::strlen(name);
    auto [ptr, ec] = std::from_chars(name, end, pid);
    return ec == std::errc() && ptr == end && ptr != name && pid > 0;
}

constexpr size_t kMaxRememberedNames = 4096;

} // namespace

ProcessTable::ProcessTable(std::string root) : root_(std::move(root)) {}

std::string ProcessTable::defaultRoot() {
    const char* root = std::getenv("LUMENSTAT_PROCFS_ROOT");
    return root && *root ? root : "/proc";
}

void ProcessTable::scan(int pid, std::unordered_set<uint32_t>& missing,
                        std::unordered_map<uint32_t, int>& found) {
    const std::string dir = root_ + "/" + std::to_string(pid) + "/fd";
    const int dirFd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd < 0)
        return;
    DIR* fds = ::fdopendir(dirFd);
    if (!fds) {
        ::close(dirFd);
        return;
    }
    bool owns = false;
    char link[64];
    while (const dirent* entry = ::readdir(fds)) {
        if (entry->d_name[0] == '.')
            continue;
        const ssize_t n = ::readlinkat(dirFd, entry->d_name, link, sizeof(link));
        uint32_t inode = 0;
        if (n <= 0 || !socketInode(link, static_cast<size_t>(n), inode))
            continue;
        lastSeen_[inode] = pid;
        if (missing.erase(inode)) {
            found.emplace(inode, pid);
            owns = true;
        }
    }
    ::closedir(fds);
    if (owns) {
        owners_.insert(pid);
        name(pid); // remember it while the process is there to ask
    }
}

std::unordered_map<uint32_t, int> ProcessTable::owners(const std::unordered_set<uint32_t>& inodes) {
    std::unordered_map<uint32_t, int> found;
    lastSeen_.clear();
    if (inodes.empty())
        return found;
    std::unordered_set<uint32_t> missing = inodes;
    std::set<int> looked;
    for (auto it = owners_.begin(); it != owners_.end() && !missing.empty();) {
        const int pid = *it;
        looked.insert(pid);
        const std::string dir = root_ + "/" + std::to_string(pid);
        if (::access(dir.c_str(), F_OK) != 0) {
            it = owners_.erase(it);
            continue;
        }
        ++it;
        scan(pid, missing, found);
    }
    if (missing.empty())
        return found;
    ++fullScans_;
    DIR* proc = ::opendir(root_.c_str());
    if (!proc)
        return found;
    while (const dirent* entry = ::readdir(proc)) {
        int pid = 0;
        if (!parsePid(entry->d_name, pid) || looked.count(pid))
            continue;
        scan(pid, missing, found);
        if (missing.empty())
            break;
    }
    ::closedir(proc);
    return found;
}

std::string ProcessTable::name(int pid) {
    const std::string path = root_ + "/" + std::to_string(pid) + "/comm";
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd >= 0) {
        char buffer[64];
        const ssize_t n = ::read(fd, buffer, sizeof(buffer));
        ::close(fd);
        if (n > 0) {
            std::string comm(buffer, static_cast<size_t>(n));
            while (!comm.empty() && comm.back() == '\n')
                comm.pop_back();
            for (char& c : comm)
                if (c == ',' || static_cast<unsigned char>(c) < 0x20)
                    c = '_';
            if (names_.size() >= kMaxRememberedNames)
                names_.clear();
            names_[pid] = comm;
            return comm;
        }
    }
    auto it = names_.find(pid);
    return it != names_.end() ? it->second : std::string("?");
}

} // namespace nettop
