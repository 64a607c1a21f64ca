#include "DesktopEntryIndex.h"

#include "PlatformPaths.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

namespace {

// Desktop entries are small; anything larger is not one.
constexpr qint64 kMaxEntryBytes = 256 * 1024;

QString unescapeValue(const QString& value) {
    QString out;
    out.reserve(value.size());
    for (qsizetype i = 0; i < value.size(); ++i) {
        const QChar c = value[i];
        if (c == QLatin1Char('\\') && i + 1 < value.size()) {
            const QChar n = value[++i];
            if (n == QLatin1Char('s'))
                out += QLatin1Char(' ');
            else if (n == QLatin1Char('n'))
                out += QLatin1Char('\n');
            else if (n == QLatin1Char('t'))
                out += QLatin1Char('\t');
            else
                out += n;
        } else {
            out += c;
        }
    }
    return out;
}

// Splits an Exec= value into its arguments (double quotes group, backslashes escape).
QStringList execArguments(const QString& exec) {
    QStringList args;
    QString current;
    bool quoted = false;
    bool any = false;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const QChar c = exec[i];
        if (c == QLatin1Char('"')) {
            quoted = !quoted;
            any = true;
        } else if (c == QLatin1Char('\\') && i + 1 < exec.size()) {
            current += exec[++i];
            any = true;
        } else if (!quoted && c.isSpace()) {
            if (any)
                args << current;
            current.clear();
            any = false;
        } else {
            current += c;
            any = true;
        }
    }
    if (any)
        args << current;
    return args;
}

} // namespace

DesktopEntryIndex::DesktopEntryIndex(QStringList languages, QStringList dataDirs)
    : languages_(std::move(languages)) {
    if (dataDirs.isEmpty())
        dataDirs = environmentDataDirs();
    for (const QString& dir : dataDirs) {
        const QString applications = QDir(dir).filePath(QStringLiteral("applications"));
        scan(applications, applications);
    }
}

QStringList DesktopEntryIndex::environmentDataDirs() {
    QStringList dirs;
    QString home = qEnvironmentVariable("XDG_DATA_HOME");
    if (home.isEmpty())
        home = QDir::home().filePath(QStringLiteral(".local/share"));
    dirs << home;
    QString system = qEnvironmentVariable("XDG_DATA_DIRS");
    if (system.isEmpty())
        system = QStringLiteral("/usr/local/share:/usr/share");
    for (const QString& dir : system.split(QLatin1Char(':'), Qt::SkipEmptyParts))
        if (!dirs.contains(dir))
            dirs << dir;
    return dirs;
}

void DesktopEntryIndex::scan(const QString& root, const QString& folder) {
    const QDir dir(folder);
    const QFileInfoList files =
        dir.entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QFileInfo& info : files) {
        if (info.isDir()) {
            scan(root, info.filePath());
            continue;
        }
        if (!info.fileName().endsWith(QLatin1String(".desktop")))
            continue;
        // "kde/foo.desktop" below applications/ has the id "kde-foo".
        QString id = QDir(root).relativeFilePath(info.filePath());
        id.chop(int(qstrlen(".desktop")));
        id.replace(QLatin1Char('/'), QLatin1Char('-'));
        if (entries_.contains(id))
            continue;
        const auto text = PlatformPaths::readSmallFile(info.filePath(), kMaxEntryBytes);
        if (!text)
            continue;
        auto entry = parse(id, *text, languages_);
        if (!entry) {
            // A hidden entry in an earlier folder masks the same id in later ones.
            entries_.insert(id, Entry{id, {}, {}, {}, {}});
            continue;
        }
        if (!entry->executable.isEmpty() && !byExecutable_.contains(entry->executable))
            byExecutable_.insert(entry->executable, id);
        entries_.insert(id, std::move(*entry));
    }
}

const DesktopEntryIndex::Entry* DesktopEntryIndex::find(const QString& id) const {
    const auto it = entries_.constFind(id);
    if (it == entries_.constEnd() || it->name.isEmpty())
        return nullptr;
    return &*it;
}

const DesktopEntryIndex::Entry* DesktopEntryIndex::findByExecutable(const QString& fileName) const {
    const auto it = byExecutable_.constFind(fileName);
    return it == byExecutable_.constEnd() ? nullptr : find(*it);
}

QString DesktopEntryIndex::executableOf(const QString& exec) {
    QStringList args = execArguments(exec);
    // "env A=1 B=2 program ..." starts program.
    if (!args.isEmpty() && QFileInfo(args.front()).fileName() == QLatin1String("env")) {
        args.removeFirst();
        while (!args.isEmpty() &&
               (args.front().contains(QLatin1Char('=')) || args.front().startsWith('-')))
            args.removeFirst();
    }
    if (args.isEmpty())
        return QString();
    return QFileInfo(args.front()).fileName();
}

std::optional<DesktopEntryIndex::Entry>
DesktopEntryIndex::parse(const QString& id, const QByteArray& text, const QStringList& languages) {
    Entry entry;
    entry.id = id;
    QString type;
    bool hidden = false;
    bool inMain = false;
    QHash<QString, QString> localized;
    for (const QByteArray& rawLine : text.split('\n')) {
        const QString line = QString::fromUtf8(rawLine).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        if (line.startsWith(QLatin1Char('['))) {
            inMain = line == QLatin1String("[Desktop Entry]");
            continue;
        }
        if (!inMain)
            continue;
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (eq <= 0)
            continue;
        const QString key = line.left(eq).trimmed();
        const QString value = unescapeValue(line.mid(eq + 1).trimmed());
        if (key == QLatin1String("Name"))
            entry.name = value;
        else if (key.startsWith(QLatin1String("Name[")) && key.endsWith(QLatin1Char(']')))
            localized.insert(key.mid(5, key.size() - 6), value);
        else if (key == QLatin1String("Icon"))
            entry.icon = value;
        else if (key == QLatin1String("Exec"))
            entry.executable = executableOf(value);
        else if (key == QLatin1String("Type"))
            type = value;
        else if (key == QLatin1String("Hidden"))
            hidden = value == QLatin1String("true");
    }
    if (hidden || type != QLatin1String("Application") || entry.name.isEmpty())
        return std::nullopt;
    entry.localizedName = entry.name;
    for (const QString& language : languages) {
        const auto it = localized.constFind(language);
        if (it != localized.constEnd() && !it->isEmpty()) {
            entry.localizedName = *it;
            break;
        }
    }
    return entry;
}
