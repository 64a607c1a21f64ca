#include "IconThemeFolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

std::optional<QString> IconThemeFolder::forIcon(const QString& name, const QString& context,
                                                const QString& svgFile) {
    const QString relative = QStringLiteral("hicolor/scalable/%1/%2.svg").arg(context, name);
    const QString installed = QStandardPaths::locate(QStandardPaths::GenericDataLocation,
                                                     QStringLiteral("icons/") + relative);
    if (!installed.isEmpty())
        return QString(); // found by name, no theme path

    QFile source(svgFile);
    if (!source.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray svg = source.readAll();
    // Only the session's own runtime folder: no copies in a shared fall-back under /tmp.
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (runtime.isEmpty() || !QFileInfo(runtime).isDir())
        return std::nullopt;
    const QString folder = runtime + QStringLiteral("/lumenstat/icons");
    const QString path = folder + QLatin1Char('/') + relative;
    QFile existing(path);
    if (existing.open(QIODevice::ReadOnly) && existing.readAll() == svg)
        return folder;
    existing.close();
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return std::nullopt;
    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly) || out.write(svg) != svg.size() || !out.commit())
        return std::nullopt;
    return folder;
}
