#include "VolumeStats.h"

#include <QFile>

#include <cerrno>
#include <limits>
#include <sys/statvfs.h>

namespace {
// blocks x size, saturating at the largest signed 64-bit value.
int64_t bytesOf(unsigned long long blocks, unsigned long long size) {
    unsigned long long product = 0;
    if (__builtin_mul_overflow(blocks, size, &product) ||
        product > static_cast<unsigned long long>(std::numeric_limits<int64_t>::max()))
        return std::numeric_limits<int64_t>::max();
    return static_cast<int64_t>(product);
}
} // namespace

std::optional<VolumeCapacities> VolumeStats::capacities(const QString& path) {
    struct statvfs st {};
    const QByteArray native = QFile::encodeName(path);
    int rc;
    do {
        rc = ::statvfs(native.constData(), &st);
    } while (rc != 0 && errno == EINTR);
    if (rc != 0)
        return std::nullopt;
    const unsigned long long unit = st.f_frsize ? st.f_frsize : st.f_bsize;
    VolumeCapacities v;
    v.total = bytesOf(st.f_blocks, unit);
    v.available = bytesOf(st.f_bavail, unit);
    v.importantAvailable = v.available;
    v.opportunisticAvailable = v.available;
    v.fileSystemFreeSize = v.available;
    return v;
}
