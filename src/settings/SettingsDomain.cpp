#include "SettingsDomain.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString envDir(const char* name, const QString& fallbackUnderHome) {
    const QByteArray v = qgetenv(name);
    if (!v.isEmpty() && v.startsWith('/'))
        return QString::fromLocal8Bit(v);
    return QDir::homePath() + "/" + fallbackUnderHome;
}

bool writeAll(int fd, const std::string& data) {
    size_t done = 0;
    while (done < data.size()) {
        const ssize_t n = ::write(fd, data.data() + done, data.size() - done);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

std::string errnoText(int error) {
    return std::strerror(error);
}

// Deepest nesting of arrays and objects in a JSON text, counted without parsing; stops
// counting once limit is passed. Parsing (and later copying) a document nested a hundred
// thousand levels deep costs stack and memory in proportion, so such a text is refused first.
bool nestedWithin(const std::string& text, int limit) {
    int depth = 0;
    bool inString = false;
    bool escaped = false;
    for (const char c : text) {
        if (inString) {
            if (escaped)
                escaped = false;
            else if (c == '\\')
                escaped = true;
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            if (++depth > limit)
                return false;
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return true;
}

enum class ReadStatus { Absent, Good, Damaged };

FileStamp stampOf(const struct stat& st) {
    return FileStamp{true, static_cast<uint64_t>(st.st_dev), static_cast<uint64_t>(st.st_ino),
                     static_cast<int64_t>(st.st_size),
                     static_cast<int64_t>(st.st_mtim.tv_sec) * 1'000'000'000 + st.st_mtim.tv_nsec};
}

// The stamp of the file at path now (following links); invalid when there is none.
FileStamp stampOf(const QByteArray& path) {
    struct stat st {};
    if (::stat(path.constData(), &st) != 0)
        return {};
    return stampOf(st);
}

struct ReadResult {
    ReadStatus status = ReadStatus::Absent;
    nlohmann::json doc = nlohmann::json::object();
    std::string reason; // why the file is damaged
    FileStamp stamp;    // of the file read, when good
};

// Reads a settings document without ever blocking: only a regular file is read, and no more
// than the size limit.
ReadResult readDocument(const QByteArray& path, int64_t maxBytes, int maxDepth) {
    ReadResult r;
    const int fd = ::open(path.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            return r;
        r.status = ReadStatus::Damaged;
        r.reason = errnoText(errno);
        return r;
    }
    r.status = ReadStatus::Damaged;
    struct stat st {};
    std::string text;
    if (::fstat(fd, &st) != 0) {
        r.reason = errnoText(errno);
    } else if (!S_ISREG(st.st_mode)) {
        r.reason = "not a regular file";
    } else if (st.st_size > maxBytes) {
        r.reason = "larger than " + std::to_string(maxBytes / (1024 * 1024)) + " MB";
    } else {
        // Grown as the file is read, never to the limit up front: a zero-filled buffer of the
        // limit's size would stay resident in the heap for the process's life.
        text.reserve(static_cast<size_t>(st.st_size) + 1);
        char chunk[16384];
        size_t done = 0;
        while (done <= static_cast<size_t>(maxBytes)) {
            const ssize_t n = ::read(fd, chunk, sizeof chunk);
            if (n < 0 && errno == EINTR)
                continue;
            if (n < 0) {
                r.reason = errnoText(errno);
                break;
            }
            if (n == 0)
                break;
            text.append(chunk, static_cast<size_t>(n));
            done += static_cast<size_t>(n);
        }
        if (r.reason.empty() && done > static_cast<size_t>(maxBytes))
            r.reason = "larger than " + std::to_string(maxBytes / (1024 * 1024)) + " MB";
    }
    ::close(fd);
    if (!r.reason.empty())
        return r;
    if (!nestedWithin(text, maxDepth)) {
        r.reason = "nested more than " + std::to_string(maxDepth) + " levels deep";
        return r;
    }
    nlohmann::json parsed = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
    if (parsed.is_discarded()) {
        r.reason = "not valid JSON";
    } else if (!parsed.is_object()) {
        r.reason = "not a JSON object";
    } else {
        r.status = ReadStatus::Good;
        r.doc = std::move(parsed);
        r.stamp = stampOf(st);
    }
    return r;
}

// Keeps a damaged file for the user to inspect and says so. Returns where it went, or empty.
QString moveAside(const QString& path, const std::string& reason) {
    QString aside =
        path + ".corrupt-" + QDateTime::currentDateTimeUtc().toString("yyyyMMdd-HHmmss-zzz");
    if (::rename(QFile::encodeName(path).constData(), QFile::encodeName(aside).constData()) == 0) {
        std::fprintf(stderr, "lumenstat: %s is damaged (%s): moved it aside to %s\n",
                     qPrintable(path), reason.c_str(), qPrintable(aside));
        return aside;
    }
    std::fprintf(stderr, "lumenstat: %s is damaged (%s) and could not be moved aside: %s\n",
                 qPrintable(path), reason.c_str(), std::strerror(errno));
    return {};
}

// The file a write replaces: the target of a symbolic link (followed to the end), else the
// path itself.
QByteArray writeTarget(const QByteArray& path) {
    struct stat st {};
    if (::lstat(path.constData(), &st) != 0 || !S_ISLNK(st.st_mode))
        return path;
    if (char* real = ::realpath(path.constData(), nullptr)) {
        QByteArray resolved(real);
        std::free(real);
        return resolved;
    }
    // A dangling link: create its target.
    char buffer[4096];
    const ssize_t n = ::readlink(path.constData(), buffer, sizeof buffer - 1);
    if (n <= 0)
        return path;
    const QByteArray target(buffer, n);
    if (target.startsWith('/'))
        return target;
    const qsizetype slash = path.lastIndexOf('/');
    return slash < 0 ? target : path.left(slash + 1) + target;
}

// Holds an advisory lock on a file for as long as it lives.
class FileLock {
public:
    explicit FileLock(const QByteArray& path) {
        fd_ = ::open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (fd_ < 0) {
            error_ = errno;
            return;
        }
        while (::flock(fd_, LOCK_EX) != 0) {
            if (errno != EINTR) {
                error_ = errno;
                ::close(fd_);
                fd_ = -1;
                return;
            }
        }
    }
    ~FileLock() {
        if (fd_ >= 0)
            ::close(fd_);
    }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    int error() const { return error_; }

private:
    int fd_ = -1;
    int error_ = 0;
};

} // namespace

SettingsDomain::SettingsDomain(QString filePath) : path_(std::move(filePath)) {
    load();
}

SettingsDomain::~SettingsDomain() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all(); // wakes the writer whether idle or waiting out the delay
    if (writer_.joinable())
        writer_.join();
    flush();
}

QString SettingsDomain::configDirectory() {
    return envDir("XDG_CONFIG_HOME", ".config") + "/lumenstat";
}

SettingsDomain& SettingsDomain::standard() {
    static SettingsDomain* domain = new SettingsDomain(configDirectory() + "/settings.json");
    return *domain;
}

SettingsDomain& SettingsDomain::group() {
    static SettingsDomain* domain = new SettingsDomain(configDirectory() + "/group.json");
    return *domain;
}

void SettingsDomain::flushShared() {
    standard().flush();
    group().flush();
}

QString SettingsDomain::movedAsidePath() const {
    std::lock_guard lock(mutex_);
    return movedAside_;
}

void SettingsDomain::load() {
    ReadResult read = readDocument(QFile::encodeName(path_), kMaxFileBytes, kMaxDepth);
    QString aside;
    if (read.status == ReadStatus::Damaged)
        aside = moveAside(path_, read.reason);
    {
        std::lock_guard writeLock(writeMutex_);
        stamp_ = read.stamp;
    }
    std::lock_guard lock(mutex_);
    doc_ = std::move(read.doc);
    movedAside_ = aside;
    changed_.clear();
    savedGeneration_ = generation_;
}

QString SettingsDomain::lastWriteError() const {
    std::lock_guard lock(mutex_);
    return lastWriteError_;
}

void SettingsDomain::reload() {
    load();
}

bool SettingsDomain::contains(const std::string& key) const {
    std::lock_guard lock(mutex_);
    return doc_.contains(key);
}

std::optional<SettingsDomain::Json> SettingsDomain::value(const std::string& key) const {
    std::lock_guard lock(mutex_);
    auto it = doc_.find(key);
    if (it == doc_.end())
        return std::nullopt;
    return *it;
}

std::vector<std::string> SettingsDomain::keys() const {
    std::lock_guard lock(mutex_);
    std::vector<std::string> out;
    for (auto it = doc_.begin(); it != doc_.end(); ++it)
        out.push_back(it.key());
    return out;
}

bool SettingsDomain::boolValue(const std::string& key) const {
    const auto v = value(key);
    if (!v)
        return false;
    if (v->is_boolean())
        return v->get<bool>();
    if (v->is_number_integer())
        return v->get<int64_t>() != 0;
    return false;
}

int64_t SettingsDomain::integerValue(const std::string& key) const {
    const auto v = value(key);
    if (!v)
        return 0;
    if (v->is_number_unsigned()) {
        const uint64_t u = v->get<uint64_t>();
        return u > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())
                   ? std::numeric_limits<int64_t>::max()
                   : static_cast<int64_t>(u);
    }
    if (v->is_number_integer())
        return v->get<int64_t>();
    if (v->is_number_float()) {
        const double d = v->get<double>();
        if (!std::isfinite(d) || d >= 9.2e18 || d <= -9.2e18)
            return 0;
        return static_cast<int64_t>(d);
    }
    return 0;
}

double SettingsDomain::doubleValue(const std::string& key) const {
    const auto v = value(key);
    if (!v || !v->is_number())
        return 0.0;
    const double d = v->get<double>();
    return std::isfinite(d) ? d : 0.0;
}

QString SettingsDomain::stringValue(const std::string& key) const {
    const auto v = value(key);
    if (!v || !v->is_string())
        return {};
    return QString::fromStdString(v->get<std::string>());
}

QStringList SettingsDomain::stringList(const std::string& key) const {
    const auto v = value(key);
    QStringList out;
    if (!v || !v->is_array())
        return out;
    for (const auto& e : *v) {
        if (!e.is_string())
            return {};
        out << QString::fromStdString(e.get<std::string>());
    }
    return out;
}

std::optional<std::vector<uint64_t>> SettingsDomain::unsignedList(const std::string& key) const {
    const auto v = value(key);
    if (!v || !v->is_array())
        return std::nullopt;
    std::vector<uint64_t> out;
    out.reserve(v->size());
    for (const auto& e : *v) {
        if (e.is_number_unsigned())
            out.push_back(e.get<uint64_t>());
        else if (e.is_number_integer() && e.get<int64_t>() >= 0)
            out.push_back(static_cast<uint64_t>(e.get<int64_t>()));
        else
            return std::nullopt;
    }
    return out;
}

std::optional<SettingsDomain::Json> SettingsDomain::array(const std::string& key) const {
    auto v = value(key);
    if (!v || !v->is_array())
        return std::nullopt;
    return v;
}

void SettingsDomain::setStringList(const std::string& key, const QStringList& v) {
    Json arr = Json::array();
    for (const QString& s : v)
        arr.push_back(s.toStdString());
    setValue(key, std::move(arr));
}

void SettingsDomain::setUnsignedList(const std::string& key, const std::vector<uint64_t>& v) {
    setValue(key, Json(v));
}

void SettingsDomain::setValue(const std::string& key, Json v) {
    {
        std::lock_guard lock(mutex_);
        auto it = doc_.find(key);
        if (it != doc_.end() && *it == v && it->type() == v.type())
            return;
        doc_[key] = std::move(v);
        markDirty(key);
    }
    wakeWriter();
}

void SettingsDomain::remove(const std::string& key) {
    {
        std::lock_guard lock(mutex_);
        if (doc_.erase(key) == 0)
            return;
        markDirty(key);
    }
    wakeWriter();
}

void SettingsDomain::clear() {
    {
        std::lock_guard lock(mutex_);
        if (doc_.empty())
            return;
        for (auto it = doc_.begin(); it != doc_.end(); ++it)
            markDirty(it.key());
        doc_ = Json::object();
    }
    wakeWriter();
}

void SettingsDomain::setWriteDelay(int milliseconds) {
    std::lock_guard lock(mutex_);
    writeDelayMs_ = milliseconds < 0 ? 0 : milliseconds;
}

void SettingsDomain::markDirty(const std::string& key) {
    changed_[key] = ++generation_;
}

void SettingsDomain::wakeWriter() {
    std::lock_guard lock(mutex_);
    if (stopping_)
        return;
    if (!writer_.joinable())
        writer_ = std::thread([this] { writerLoop(); });
    // Only an idle writer needs waking; one that is already waiting out the delay will
    // pick this change up with the others.
    if (writerIdle_)
        wake_.notify_all();
}

void SettingsDomain::writerLoop() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        writerIdle_ = true;
        wake_.wait(lock, [this] { return stopping_ || generation_ != savedGeneration_; });
        writerIdle_ = false;
        if (stopping_)
            break;
        // Debounce: collect the changes of the next few seconds into one write.
        const auto delay = std::chrono::milliseconds(writeDelayMs_);
        wake_.wait_for(lock, delay, [this] { return stopping_; });
        if (stopping_)
            break;
        lock.unlock();
        flush();
        lock.lock();
    }
}

bool SettingsDomain::flush() {
    std::lock_guard writeLock(writeMutex_);
    Changes changes;
    Json whole;
    uint64_t gen = 0;
    {
        std::lock_guard lock(mutex_);
        if (generation_ == savedGeneration_)
            return true;
        gen = generation_;
        whole = doc_;
        changes.reserve(changed_.size());
        for (const auto& [key, changedAt] : changed_) {
            auto it = doc_.find(key);
            changes.emplace_back(key, it == doc_.end() ? std::nullopt : std::optional<Json>(*it));
        }
    }
    std::string error;
    const bool ok = writeChanges(whole, changes, &error);
    std::lock_guard lock(mutex_);
    if (ok) {
        savedGeneration_ = std::max(savedGeneration_, gen);
        std::erase_if(changed_, [gen](const auto& entry) { return entry.second <= gen; });
        lastWriteError_.clear();
    } else {
        if (lastWriteError_.isEmpty())
            std::fprintf(stderr,
                         "lumenstat: could not save %s: %s; the changes are kept in memory\n",
                         qPrintable(path_), error.c_str());
        lastWriteError_ = QString::fromStdString(error);
    }
    return ok;
}

bool SettingsDomain::writeChanges(Json& whole, const Changes& changes, std::string* error) {
    const QByteArray path = QFile::encodeName(path_);
    const QByteArray target = writeTarget(path);
    QDir().mkpath(QFileInfo(path_).path());
    QDir().mkpath(QFileInfo(QFile::decodeName(target)).path());

    const FileLock fileLock(path + ".lock");
    if (fileLock.error() != 0) {
        *error = errnoText(fileLock.error());
        return false;
    }
    // Another process may have written since this one last read or wrote the file: then start
    // from its keys. Otherwise the file is what this process holds, changes aside, and is not
    // read again (the sampler saves every few seconds).
    Json doc;
    if (stamp_.valid && stampOf(path) == stamp_) {
        doc = std::move(whole);
    } else {
        ReadResult current = readDocument(path, kMaxFileBytes, kMaxDepth);
        if (current.status == ReadStatus::Damaged)
            moveAside(path_, current.reason);
        doc = std::move(current.doc);
        for (const auto& [key, value] : changes) {
            if (value)
                doc[key] = *value;
            else
                doc.erase(key);
        }
    }
    const std::string text = doc.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";

    const QByteArray tmpName = target + ".tmp";
    ::unlink(tmpName.constData()); // left by a writer that was killed
    const int fd =
        ::open(tmpName.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) {
        *error = errnoText(errno);
        return false;
    }
    ::fchmod(fd, 0600);
    bool ok = writeAll(fd, text) && ::fsync(fd) == 0;
    int failure = ok ? 0 : errno;
    struct stat written {};
    if (ok && ::fstat(fd, &written) != 0) {
        ok = false;
        failure = errno;
    }
    if (::close(fd) != 0 && ok) {
        ok = false;
        failure = errno;
    }
    if (ok && ::rename(tmpName.constData(), target.constData()) != 0) {
        ok = false;
        failure = errno;
    }
    if (!ok) {
        ::unlink(tmpName.constData());
        *error = errnoText(failure);
        stamp_ = {};
        return false;
    }
    stamp_ = stampOf(written);
    return true;
}
