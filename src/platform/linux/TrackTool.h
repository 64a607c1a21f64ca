#pragma once

#include <QString>
#include <QStringList>

// Where the per-process traffic tool (lumenstat-nettop) is installed.
class TrackTool {
public:
    static QString name(); // "lumenstat-nettop"
    // Relative to the directory of the running binary: beside it, in the libexec folders of
    // its prefix, and in the build tree.
    static QStringList candidates(const QString& applicationDir);
    // The first candidate that exists and is not a directory; "" when none does.
    static QString firstExisting(const QStringList& candidates);
    // LUMENSTAT_NETTOP_PATH when set (tests and diagnosis), else the first existing candidate
    // beside the running binary; "" when there is none.
    static QString locate();
};
