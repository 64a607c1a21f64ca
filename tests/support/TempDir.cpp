#include "TempDir.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdlib>
#include <stdexcept>

TempDir::TempDir() {
    QByteArray templ = (QDir::tempPath() + "/lumenstat-test-XXXXXX").toLocal8Bit();
    if (!mkdtemp(templ.data()))
        throw std::runtime_error("mkdtemp failed");
    path_ = QString::fromLocal8Bit(templ);
}

TempDir::~TempDir() {
    QDir(path_).removeRecursively();
}

QString TempDir::write(const QString& relative, const QByteArray& contents) const {
    const QString full = file(relative);
    QDir().mkpath(QFileInfo(full).path());
    QFile f(full);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        throw std::runtime_error("cannot write " + full.toStdString());
    f.write(contents);
    return full;
}
