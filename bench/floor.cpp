// The idle floor: the least a once-a-second network monitor can do. It wakes once a second,
// reads /proc/net/dev, sums the received and sent bytes and prints one line. Idle figures of
// the app are reported as multiples of this program's CPU time, measured side by side in the
// same run, so the machine's own noise cancels out.
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

int main(int argc, char** argv) {
    const long ticks = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 0;
    timespec next{};
    clock_gettime(CLOCK_MONOTONIC, &next);
    for (long n = 0; ticks <= 0 || n < ticks; ++n) {
        char buf[16384];
        ssize_t len = 0;
        const int fd = open("/proc/net/dev", O_RDONLY | O_CLOEXEC);
        if (fd >= 0) {
            len = read(fd, buf, sizeof buf - 1);
            close(fd);
        }
        uint64_t rx = 0, tx = 0;
        if (len > 0) {
            buf[len] = '\0';
            // Skip the two header lines; each line is "name: rx_bytes ... (8 fields) tx_bytes ...".
            char* line = std::strchr(buf, '\n');
            line = line ? std::strchr(line + 1, '\n') : nullptr;
            while (line && *++line) {
                char* colon = std::strchr(line, ':');
                if (!colon)
                    break;
                uint64_t f[9] = {};
                if (std::sscanf(colon + 1,
                                "%" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64
                                " %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64,
                                &f[0], &f[1], &f[2], &f[3], &f[4], &f[5], &f[6], &f[7],
                                &f[8]) == 9) {
                    rx += f[0];
                    tx += f[8];
                }
                line = std::strchr(line, '\n');
            }
        }
        std::printf("%ld rx %" PRIu64 " tx %" PRIu64 "\n", n, rx, tx);
        std::fflush(stdout);
        next.tv_sec += 1;
        while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr) == EINTR) {
        }
    }
    return 0;
}
