#include "TrackTool.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

QString TrackTool::name() {
    return QStringLiteral("lumenstat-nettop");
}

QStringList TrackTool::candidates(const QString& applicationDir) {
    const QDir dir(applicationDir);
    const QString tool = name();
    return {
        dir.filePath(tool),
        QDir::cleanPath(dir.filePath(QStringLiteral("../libexec/lumenstat/") + tool)),
        QDir::cleanPath(dir.filePath(QStringLiteral("../libexec/") + tool)),
        QDir::cleanPath(dir.filePath(QStringLiteral("../lib/lumenstat/") + tool)),
        dir.filePath(QStringLiteral("tools/lumenstat-nettop/") + tool),
    };
}

QString TrackTool::firstExisting(const QStringList& candidates) {
    for (const QString& path : candidates) {
        const QFileInfo info(path);
        if (info.exists() && !info.isDir())
            return path;
    }
    return QString();
}

QString TrackTool::locate() {
    const QString override = qEnvironmentVariable("LUMENSTAT_NETTOP_PATH");
    if (!override.isEmpty())
        return override;
    return firstExisting(candidates(QCoreApplication::applicationDirPath()));
}
