#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdlib>
#include <stdexcept>

// A private directory that is removed with everything in it when the object dies.
class TempDir {
public:
    TempDir() {
        QByteArray templ = (QDir::tempPath() + "/lumenstat-test-XXXXXX").toLocal8Bit();
        if (!mkdtemp(templ.data()))
            throw std::runtime_error("mkdtemp failed");
        path_ = QString::fromLocal8Bit(templ);
    }
    ~TempDir() { QDir(path_).removeRecursively(); }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const QString& path() const { return path_; }
    QString file(const QString& name) const { return path_ + "/" + name; }
    // Writes a file below the directory, creating parent folders; returns its path.
    QString write(const QString& relative, const QByteArray& contents) const {
        const QString full = file(relative);
        QDir().mkpath(QFileInfo(full).path());
        QFile f(full);
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(contents) < 0)
            throw std::runtime_error("cannot write " + full.toStdString());
        return full;
    }

private:
    QString path_;
};
