#include "LinuxProcessTable.h"

#include "PlatformPaths.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <map>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int64_t kIndexMaxAgeMs = 300'000;

// systemd escapes "-" and other bytes of a unit name as \xNN.
QString unescapeUnit(const QString& text) {
    QByteArray out;
    const QByteArray in = text.toUtf8();
    for (qsizetype i = 0; i < in.size(); ++i) {
        if (in[i] == '\\' && i + 3 < in.size() && in[i + 1] == 'x') {
            bool ok = false;
            const int byte = in.mid(i + 2, 2).toInt(&ok, 16);
            if (ok) {
                out += char(byte);
                i += 3;
                continue;
            }
        }
        out += in[i];
    }
    return QString::fromUtf8(out);
}

bool allDigits(const QString& text) {
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), [](QChar c) {
        return c >= QLatin1Char('0') && c <= QLatin1Char('9');
    });
}

} // namespace

LinuxProcessTable::LinuxProcessTable(Options options)
    : options_(std::move(options)), uid_(::getuid()) {
    if (options_.procfsRoot.isEmpty())
        options_.procfsRoot = PlatformPaths::procfsRoot();
}

int64_t LinuxProcessTable::nowMs() const {
    if (options_.clockMs)
        return options_.clockMs();
    static QElapsedTimer timer = [] {
        QElapsedTimer t;
        t.start();
        return t;
    }();
    return timer.elapsed();
}

const DesktopEntryIndex& LinuxProcessTable::index() {
    const int64_t now = nowMs();
    if (!index_ || now - indexBuiltMs_ > kIndexMaxAgeMs) {
        index_ = std::make_unique<DesktopEntryIndex>(options_.languages, options_.dataDirs);
        indexBuiltMs_ = now;
    }
    return *index_;
}

int32_t LinuxProcessTable::parentOfStat(const QByteArray& stat) {
    // "pid (comm) state ppid ...": comm may hold blanks and parentheses, so count from the
    // last ")".
    const qsizetype close = stat.lastIndexOf(')');
    if (close < 0)
        return 0;
    const QList<QByteArray> fields = stat.mid(close + 1).simplified().split(' ');
    if (fields.size() < 2)
        return 0;
    bool ok = false;
    const int parent = fields[1].toInt(&ok);
    return ok && parent > 0 ? parent : 0;
}

int32_t LinuxProcessTable::parentProcessIdentifier(int32_t pid) {
    if (pid <= 0)
        return 0;
    const auto stat = PlatformPaths::readSmallFile(
        options_.procfsRoot + QLatin1Char('/') + QString::number(pid) + QStringLiteral("/stat"),
        4096);
    return stat ? parentOfStat(*stat) : 0;
}

QString LinuxProcessTable::iconName(const QString& bundleIdentifier) {
    const DesktopEntryIndex::Entry* entry = index().find(bundleIdentifier);
    return entry ? entry->icon : QString();
}

std::optional<QString>
LinuxProcessTable::desktopIdOfUnit(const QString& unit,
                                   const std::function<bool(const QString&)>& known) {
    QString body;
    if (unit.startsWith(QLatin1String("snap."))) {
        // snap.<snap>.<app>-<uuid>.scope or snap.<snap>.<app>.service: <snap>_<app>.desktop
        QString rest = unit.mid(5);
        if (rest.endsWith(QLatin1String(".scope")))
            rest.chop(6);
        else if (rest.endsWith(QLatin1String(".service")))
            rest.chop(8);
        else
            return std::nullopt;
        const QStringList parts = rest.split(QLatin1Char('.'));
        if (parts.size() < 2)
            return std::nullopt;
        QString app = parts[1];
        const qsizetype dash = app.indexOf(QLatin1Char('-'));
        if (dash > 0)
            app = app.left(dash);
        const QString id = parts[0] + QLatin1Char('_') + app;
        if (known(id))
            return id;
        return known(parts[0]) ? std::optional<QString>(parts[0]) : std::nullopt;
    }
    if (!unit.startsWith(QLatin1String("app-")))
        return std::nullopt;
    body = unit.mid(4);
    if (body.endsWith(QLatin1String(".scope"))) {
        // app[-<launcher>]-<id>-<random>.scope
        body.chop(6);
        const qsizetype dash = body.lastIndexOf(QLatin1Char('-'));
        if (dash > 0)
            body = body.left(dash);
    } else if (body.endsWith(QLatin1String(".service"))) {
        // app[-<launcher>]-<id>[@<random>].service
        body.chop(8);
        const qsizetype at = body.indexOf(QLatin1Char('@'));
        if (at >= 0)
            body = body.left(at);
    } else {
        return std::nullopt;
    }
    // The launcher prefix is optional and the id itself has no unescaped "-": try the whole
    // rest, then without each leading piece.
    QStringList pieces = body.split(QLatin1Char('-'));
    while (!pieces.isEmpty()) {
        const QString id = unescapeUnit(pieces.join(QLatin1Char('-')));
        if (known(id))
            return id;
        pieces.removeFirst();
    }
    return std::nullopt;
}

std::optional<QString> LinuxProcessTable::idFromCgroup(const QString& dir) {
    const auto text = PlatformPaths::readSmallFile(dir + QStringLiteral("/cgroup"), 64 * 1024);
    if (!text)
        return std::nullopt;
    const DesktopEntryIndex& entries = index();
    const auto known = [&entries](const QString& id) { return entries.find(id) != nullptr; };
    for (const QByteArray& line : text->split('\n')) {
        // "0::/user.slice/user-1000.slice/user@1000.service/app.slice/app-x-1.scope"
        const qsizetype colon = line.lastIndexOf(':');
        if (colon < 0)
            continue;
        const QList<QByteArray> path = line.mid(colon + 1).split('/');
        for (auto it = path.rbegin(); it != path.rend(); ++it) {
            if (auto id = desktopIdOfUnit(QString::fromUtf8(*it), known))
                return id;
        }
    }
    return std::nullopt;
}

std::optional<QString> LinuxProcessTable::idFromEnvironment(const QString& dir, int32_t pid) {
    const auto text = PlatformPaths::readSmallFile(dir + QStringLiteral("/environ"), 1 << 20);
    if (!text)
        return std::nullopt;
    QString file;
    int32_t launchedPid = 0;
    for (const QByteArray& item : text->split('\0')) {
        if (item.startsWith("GIO_LAUNCHED_DESKTOP_FILE="))
            file = QFile::decodeName(item.mid(26));
        else if (item.startsWith("GIO_LAUNCHED_DESKTOP_FILE_PID="))
            launchedPid = item.mid(30).toInt();
    }
    // Children inherit the variable; only the launched process itself is the application.
    if (file.isEmpty() || launchedPid != pid)
        return std::nullopt;
    QString id = QFileInfo(file).fileName();
    if (!id.endsWith(QLatin1String(".desktop")))
        return std::nullopt;
    id.chop(8);
    if (index().find(id))
        return id;
    // An entry in a subfolder of applications/ has the folder in its id.
    const qsizetype at = file.lastIndexOf(QLatin1String("/applications/"));
    if (at >= 0) {
        QString nested = file.mid(at + 14);
        nested.chop(8);
        nested.replace(QLatin1Char('/'), QLatin1Char('-'));
        if (index().find(nested))
            return nested;
    }
    return std::nullopt;
}

std::optional<QString> LinuxProcessTable::idFromExecutable(const QString& dir) {
    QString program = QFileInfo(QFile::symLinkTarget(dir + QStringLiteral("/exe"))).fileName();
    // A deleted executable (after an upgrade) reads "name (deleted)".
    program.remove(QLatin1String(" (deleted)"));
    if (const DesktopEntryIndex::Entry* entry =
            program.isEmpty() ? nullptr : index().findByExecutable(program))
        return entry->id;
    const auto comm = PlatformPaths::readSmallFile(dir + QStringLiteral("/comm"), 4096);
    if (!comm)
        return std::nullopt;
    const QString name = QString::fromUtf8(comm->trimmed());
    if (const DesktopEntryIndex::Entry* entry =
            name.isEmpty() ? nullptr : index().findByExecutable(name))
        return entry->id;
    return std::nullopt;
}

LinuxProcessTable::Seen LinuxProcessTable::examine(int32_t pid) {
    Seen seen;
    seen.examinedMs = nowMs();
    const QString dir = options_.procfsRoot + QLatin1Char('/') + QString::number(pid);
    seen.parent = parentProcessIdentifier(pid);
    if (auto id = idFromCgroup(dir))
        seen.id = *id;
    else if (auto id = idFromEnvironment(dir, pid))
        seen.id = *id;
    else if (auto id = idFromExecutable(dir))
        seen.id = *id;
    return seen;
}

std::vector<RunningApplication> LinuxProcessTable::runningApplications() {
    const QDir root(options_.procfsRoot);
    const QStringList names = root.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    const int64_t now = nowMs();
    QHash<int32_t, Seen> current;
    current.reserve(names.size());
    for (const QString& name : names) {
        if (!allDigits(name))
            continue;
        const int32_t pid = name.toInt();
        const auto it = seen_.constFind(pid);
        if (it != seen_.constEnd() && now - it->examinedMs < kRememberMs) {
            current.insert(pid, *it);
            continue;
        }
        struct stat st {};
        const QByteArray path = QFile::encodeName(root.filePath(name));
        if (::stat(path.constData(), &st) != 0 || st.st_uid != uid_)
            continue;
        current.insert(pid, examine(pid));
    }
    seen_ = std::move(current);

    // One main process per application: the lowest pid whose parent is not the same
    // application's.
    std::map<QString, int32_t> mainProcess;
    for (auto it = seen_.constBegin(); it != seen_.constEnd(); ++it) {
        if (it->id.isEmpty())
            continue;
        const auto parent = seen_.constFind(it->parent);
        if (parent != seen_.constEnd() && parent->id == it->id)
            continue;
        auto [slot, inserted] = mainProcess.emplace(it->id, it.key());
        if (!inserted && it.key() < slot->second)
            slot->second = it.key();
    }
    std::vector<RunningApplication> applications;
    const DesktopEntryIndex& entries = index();
    for (const auto& [id, pid] : mainProcess) {
        const DesktopEntryIndex::Entry* entry = entries.find(id);
        if (!entry)
            continue;
        applications.push_back({entry->id, entry->name, entry->localizedName, entry->icon, pid});
    }
    std::sort(
        applications.begin(), applications.end(),
        [](const RunningApplication& a, const RunningApplication& b) { return a.pid < b.pid; });
    return applications;
}
