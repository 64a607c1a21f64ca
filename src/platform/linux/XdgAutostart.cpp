#include "XdgAutostart.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#ifndef LUMENSTAT_INSTALLED_BINARY
#define LUMENSTAT_INSTALLED_BINARY "/usr/bin/lumenstat"
#endif

namespace {

QString errnoText(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

QString defaultConfigHome() {
    // XDG base directories ignore a relative XDG_CONFIG_HOME.
    const QString xdg = QFile::decodeName(qgetenv("XDG_CONFIG_HOME"));
    if (!xdg.isEmpty() && QDir::isAbsolutePath(xdg))
        return xdg;
    return QDir::homePath() + QStringLiteral("/.config");
}

// Creates path and its missing parents, new folders private to the user as XDG base
// directories ask. Returns errno, 0 on success.
int makeFolders(const QString& path) {
    const QByteArray native = QFile::encodeName(QDir::cleanPath(path));
    for (qsizetype at = 1; at <= native.size(); ++at) {
        if (at < native.size() && native[at] != '/')
            continue;
        const QByteArray part = native.left(at);
        if (::mkdir(part.constData(), 0700) != 0 && errno != EEXIST)
            return errno;
    }
    struct stat st {};
    if (::stat(native.constData(), &st) != 0)
        return errno;
    return S_ISDIR(st.st_mode) ? 0 : ENOTDIR;
}

bool writeAll(int fd, const QByteArray& data) {
    qsizetype done = 0;
    while (done < data.size()) {
        const ssize_t n = ::write(fd, data.constData() + done, size_t(data.size() - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += n;
    }
    return true;
}

// Writes data to path through a temporary file in the same folder, flushed to disk and
// renamed over path, mode 0644. Returns why it failed, empty on success.
QString replaceFile(const QString& path, const QByteArray& data) {
    const QByteArray target = QFile::encodeName(path);
    QByteArray temp = target + ".XXXXXX";
    const int fd = ::mkostemp(temp.data(), O_CLOEXEC);
    if (fd < 0)
        return QStringLiteral("cannot create a file in %1: %2")
            .arg(QFileInfo(path).path(), errnoText(errno));
    int error = 0;
    if (::fchmod(fd, 0644) != 0 || !writeAll(fd, data) || ::fsync(fd) != 0)
        error = errno ? errno : EIO;
    if (::close(fd) != 0 && !error)
        error = errno;
    if (!error && ::rename(temp.constData(), target.constData()) != 0)
        error = errno;
    if (error) {
        ::unlink(temp.constData());
        return QStringLiteral("cannot write %1: %2").arg(path, errnoText(error));
    }
    return {};
}

} // namespace

std::shared_ptr<LoginItems> LoginItems::forCurrentPlatform() {
    return std::make_shared<XdgAutostart>();
}

XdgAutostart::XdgAutostart(QString configHome, QString executable)
    : configHome_(std::move(configHome)), executable_(std::move(executable)) {}

QString XdgAutostart::entryPath() const {
    const QString home = configHome_.isEmpty() ? defaultConfigHome() : configHome_;
    return home + QStringLiteral("/autostart/lumenstat.desktop");
}

QString XdgAutostart::setEnabled(bool enabled) {
    const QString path = entryPath();
    if (!enabled) {
        // ENOTDIR: a file stands where the folder would be, so there is no entry either.
        if (::unlink(QFile::encodeName(path).constData()) != 0 && errno != ENOENT &&
            errno != ENOTDIR)
            return QStringLiteral("cannot remove %1: %2").arg(path, errnoText(errno));
        return {};
    }
    if (const int error = makeFolders(QFileInfo(path).path()))
        return QStringLiteral("cannot create %1: %2").arg(QFileInfo(path).path(), errnoText(error));
    return replaceFile(path, entryText(executable_.isEmpty() ? runningExecutable() : executable_));
}

QByteArray XdgAutostart::entryText(const QString& executable) {
    QByteArray text;
    text += "[Desktop Entry]\n";
    text += "Type=Application\n";
    text += "Name=Lumenstat\n";
    text += "Comment=Network speed, battery, CPU and disk use in the panel\n";
    text += "Exec=" + execValue(executable).toUtf8() + "\n";
    text += "Icon=com.quillfern.Lumenstat\n";
    text += "Terminal=false\n";
    text += "X-GNOME-Autostart-enabled=true\n";
    return text;
}

QString XdgAutostart::execValue(const QString& executable) {
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    bool quote = false;
    for (QChar c : executable)
        quote = quote || reserved.contains(c);
    QString argument;
    if (quote) {
        argument += QLatin1Char('"');
        for (QChar c : executable) {
            if (c == QLatin1Char('"') || c == QLatin1Char('`') || c == QLatin1Char('$') ||
                c == QLatin1Char('\\'))
                argument += QLatin1Char('\\');
            argument += c;
        }
        argument += QLatin1Char('"');
    } else {
        argument = executable;
    }
    // A lone % would start a field code.
    argument.replace(QLatin1Char('%'), QStringLiteral("%%"));
    // The value is a string: backslashes and control characters are escaped once more.
    QString value;
    for (QChar c : argument) {
        if (c == QLatin1Char('\\'))
            value += QStringLiteral("\\\\");
        else if (c == QLatin1Char('\n'))
            value += QStringLiteral("\\n");
        else if (c == QLatin1Char('\t'))
            value += QStringLiteral("\\t");
        else if (c == QLatin1Char('\r'))
            value += QStringLiteral("\\r");
        else
            value += c;
    }
    return value;
}

QString XdgAutostart::runningExecutable() {
    char buffer[4096];
    const ssize_t n = ::readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (n > 0) {
        QString path = QFile::decodeName(QByteArray(buffer, n));
        // A binary replaced while it runs (a package upgrade) reads "PATH (deleted)"; a new
        // binary at PATH is the one to start next time.
        const QLatin1String deleted(" (deleted)");
        if (path.endsWith(deleted))
            path.chop(deleted.size());
        const QFileInfo info(path);
        if (info.isFile() && info.isExecutable())
            return info.absoluteFilePath();
    }
    return QStringLiteral(LUMENSTAT_INSTALLED_BINARY);
}
