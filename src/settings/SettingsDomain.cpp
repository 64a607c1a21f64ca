#include "SettingsDomain.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <limits>
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
    Json doc = Json::object();
    QString aside;
    QFile file(path_);
    if (file.exists()) {
        bool good = false;
        if (file.open(QIODevice::ReadOnly)) {
            const QByteArray bytes = file.readAll();
            file.close();
            Json parsed = Json::parse(bytes.constData(), bytes.constData() + bytes.size(), nullptr,
                                      /*allow_exceptions=*/false);
            if (parsed.is_object()) {
                doc = std::move(parsed);
                good = true;
            }
        }
        if (!good) {
            // Keep the damaged file for the user to inspect; start from an empty domain.
            aside = path_ + ".corrupt-" +
                    QDateTime::currentDateTimeUtc().toString("yyyyMMdd-HHmmss-zzz");
            if (::rename(QFile::encodeName(path_).constData(),
                         QFile::encodeName(aside).constData()) != 0)
                aside.clear();
        }
    }
    std::lock_guard lock(mutex_);
    doc_ = std::move(doc);
    movedAside_ = aside;
    savedGeneration_ = generation_;
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
        ++generation_;
    }
    markDirty();
}

void SettingsDomain::remove(const std::string& key) {
    {
        std::lock_guard lock(mutex_);
        if (doc_.erase(key) == 0)
            return;
        ++generation_;
    }
    markDirty();
}

void SettingsDomain::clear() {
    {
        std::lock_guard lock(mutex_);
        if (doc_.empty())
            return;
        doc_ = Json::object();
        ++generation_;
    }
    markDirty();
}

void SettingsDomain::setWriteDelay(int milliseconds) {
    std::lock_guard lock(mutex_);
    writeDelayMs_ = milliseconds < 0 ? 0 : milliseconds;
}

void SettingsDomain::markDirty() {
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
    Json snapshot;
    uint64_t gen = 0;
    {
        std::lock_guard lock(mutex_);
        if (generation_ == savedGeneration_)
            return true;
        snapshot = doc_;
        gen = generation_;
    }
    const bool ok = writeDocument(snapshot);
    if (ok) {
        std::lock_guard lock(mutex_);
        if (gen > savedGeneration_)
            savedGeneration_ = gen;
    }
    return ok;
}

bool SettingsDomain::writeDocument(const Json& doc) {
    const QFileInfo info(path_);
    QDir().mkpath(info.path());
    const std::string text = doc.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
    const QByteArray finalName = QFile::encodeName(path_);
    const QByteArray tmpName = finalName + ".tmp";
    const int fd = ::open(tmpName.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    ::fchmod(fd, 0600);
    bool ok = writeAll(fd, text) && ::fsync(fd) == 0;
    ok = (::close(fd) == 0) && ok;
    if (!ok || ::rename(tmpName.constData(), finalName.constData()) != 0) {
        ::unlink(tmpName.constData());
        return false;
    }
    return true;
}
