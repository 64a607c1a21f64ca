#include "ProcStatReader.h"

#include "PlatformPaths.h"

#include <QList>

std::optional<CpuLoadCounters> ProcStatReader::read() {
    const auto text = PlatformPaths::readSmallFile(PlatformPaths::procfsRoot() + "/stat");
    if (!text)
        return std::nullopt;
    return parse(*text);
}

std::optional<CpuLoadCounters> ProcStatReader::parse(const QByteArray& statText) {
    for (const QByteArray& line : statText.split('\n')) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        // The aggregate line is exactly "cpu"; "cpu0", "cpu1", ... are single processors.
        if (fields.isEmpty() || fields.first() != "cpu")
            continue;
        if (fields.size() < 5)
            return std::nullopt;
        uint64_t values[4];
        for (int k = 0; k < 4; ++k) {
            bool ok = false;
            values[k] = fields.at(k + 1).toULongLong(&ok);
            if (!ok)
                return std::nullopt;
        }
        CpuLoadCounters c;
        c.user = values[0];
        c.nice = values[1];
        c.system = values[2];
        c.idle = values[3];
        return c;
    }
    return std::nullopt;
}
