#pragma once

#include "platform/linux/LinuxProcessTable.h"

#include <QDateTime>
#include <QDir>
#include <QFile>

#include <memory>

// The recorded tool output and the process tree under tests/fixtures/appusage.
namespace fixtures {

inline QString path(const QString& relative) {
    return QStringLiteral(LUMENSTAT_FIXTURES_DIR "/appusage/") + relative;
}

// The recorded chunks, in the order the tool printed them.
inline QStringList chunks() {
    QStringList list;
    const QDir dir(path(QStringLiteral("chunks")));
    for (const QString& name : dir.entryList(QDir::Files, QDir::Name)) {
        QFile f(dir.filePath(name));
        if (f.open(QIODevice::ReadOnly))
            list << QString::fromUtf8(f.readAll());
    }
    return list;
}

// The process table of the fixture tree, with German names where an entry has them.
inline std::shared_ptr<LinuxProcessTable> processTable() {
    LinuxProcessTable::Options options;
    options.procfsRoot = path(QStringLiteral("proc"));
    options.dataDirs = {path(QStringLiteral("home-share")), path(QStringLiteral("system-share"))};
    options.languages = {QStringLiteral("de_DE"), QStringLiteral("de")};
    return std::make_shared<LinuxProcessTable>(options);
}

// A clock the test moves by hand.
struct ManualClock {
    QDateTime now{QDate(2026, 11, 23), QTime(16, 0, 0)};
    std::function<QDateTime()> source() {
        return [this] { return now; };
    }
};

} // namespace fixtures
