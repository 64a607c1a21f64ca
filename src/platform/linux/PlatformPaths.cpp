#include "PlatformPaths.h"

#include <QFile>

namespace {
QString rootFromEnv(const char* name, const char* fallback) {
    QByteArray v = qgetenv(name);
    while (v.size() > 1 && v.endsWith('/'))
        v.chop(1);
    return v.isEmpty() ? QString::fromLatin1(fallback) : QString::fromLocal8Bit(v);
}
} // namespace

QString PlatformPaths::sysfsRoot() {
    return rootFromEnv("LUMENSTAT_SYSFS_ROOT", "/sys");
}

QString PlatformPaths::procfsRoot() {
    return rootFromEnv("LUMENSTAT_PROCFS_ROOT", "/proc");
}

std::optional<QByteArray> PlatformPaths::readSmallFile(const QString& path, qint64 limit) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return std::nullopt;
    QByteArray data = f.read(limit);
    if (data.isNull() && f.error() != QFileDevice::NoError)
        return std::nullopt;
    return data;
}
