#include "PlatformPaths.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
QString rootFromEnv(const char* name, const char* fallback) {
    QByteArray v = qgetenv(name);
    while (v.size() > 1 && v.endsWith('/'))
        v.chop(1);
    return v.isEmpty() ? QString::fromLatin1(fallback) : QString::fromLocal8Bit(v);
}

// Opens path without ever waiting on it (a FIFO, a device) and keeps the descriptor only when
// it names a regular file.
int openRegular(const QString& path, int flags) {
    const QByteArray native = QFile::encodeName(path);
    int fd;
    do {
        fd = ::open(native.constData(), flags | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0)
        return -1;
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return -1;
    }
    return fd;
}
} // namespace

QString PlatformPaths::sysfsRoot() {
    return rootFromEnv("LUMENSTAT_SYSFS_ROOT", "/sys");
}

QString PlatformPaths::procfsRoot() {
    return rootFromEnv("LUMENSTAT_PROCFS_ROOT", "/proc");
}

std::optional<QByteArray> PlatformPaths::readSmallFile(const QString& path, qint64 limit) {
    if (limit < 0)
        return std::nullopt;
    const int fd = openRegular(path, O_RDONLY);
    if (fd < 0)
        return std::nullopt;
    // procfs files report a size of 0, so the cap counts the bytes actually read: one byte
    // past the limit tells a file that is too large.
    QByteArray data;
    qint64 total = 0;
    char buffer[4096];
    for (;;) {
        const qint64 want = std::min<qint64>(qint64(sizeof buffer), limit + 1 - total);
        const ssize_t n = ::read(fd, buffer, size_t(want));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            ::close(fd);
            return std::nullopt;
        }
        if (n == 0)
            break;
        data.append(buffer, qsizetype(n));
        total += n;
        if (total > limit) {
            ::close(fd);
            return std::nullopt;
        }
    }
    ::close(fd);
    return data;
}

bool PlatformPaths::writeSmallFile(const QString& path, const QByteArray& data) {
    const int fd = openRegular(path, O_WRONLY);
    if (fd < 0)
        return false;
    ssize_t n;
    do {
        n = ::write(fd, data.constData(), size_t(data.size()));
    } while (n < 0 && errno == EINTR);
    ::close(fd);
    return n == ssize_t(data.size());
}
