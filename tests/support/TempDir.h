#pragma once

#include <QString>

// A private directory that is removed with everything in it when the object dies.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const QString& path() const { return path_; }
    QString file(const QString& name) const { return path_ + "/" + name; }
    // Writes text to a file below the directory, creating parent folders.
    QString write(const QString& relative, const QByteArray& contents) const;

private:
    QString path_;
};
