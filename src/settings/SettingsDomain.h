#pragma once

#include <QString>
#include <QStringList>

#include <nlohmann/json.hpp>

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

// What identifies one version of a file: device, inode, size and modification time.
struct FileStamp {
    bool valid = false;
    uint64_t device = 0;
    uint64_t inode = 0;
    int64_t size = 0;
    int64_t modifiedNs = 0;
    friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

// One typed key-value domain kept as a JSON document on disk.
//
// Reads and writes work on the in-memory document and are visible to every thread at
// once. Changes reach the disk from a background writer a few seconds after the
// first unsaved change, on flush() and when the domain is destroyed. Files are replaced
// atomically (temporary file, fsync, rename) with mode 0600; a symbolic link stays a link and
// its target is replaced. Writers in several processes take turns through an advisory lock on
// "<file>.lock" and re-read the file first, so keys written by another process are kept and
// this process's changed keys win.
//
// Only a regular file of at most kMaxFileBytes, nested at most kMaxDepth levels, is read; it
// is never waited on. Anything else (unparsable, a FIFO or device, too large, too deep) is
// moved aside (never deleted), said once on standard error, and the domain starts empty. A
// write that fails is said once on standard error (with the reason) until one succeeds again;
// the changes stay in memory for the next attempt.
//
// Typed reads never fail: an absent key or a value of the wrong type reads as the type's
// zero (false, 0, 0.0, empty).
class SettingsDomain {
public:
    using Json = nlohmann::json;

    static constexpr int64_t kMaxFileBytes = 16 * 1024 * 1024;
    static constexpr int kMaxDepth = 64;

    explicit SettingsDomain(QString filePath);
    ~SettingsDomain();
    SettingsDomain(const SettingsDomain&) = delete;
    SettingsDomain& operator=(const SettingsDomain&) = delete;

    // The application's own domain ($XDG_CONFIG_HOME/lumenstat/settings.json).
    static SettingsDomain& standard();
    // The domain shared with widgets and scripts ($XDG_CONFIG_HOME/lumenstat/group.json).
    static SettingsDomain& group();
    // $XDG_CONFIG_HOME/lumenstat, or ~/.config/lumenstat.
    static QString configDirectory();
    // Writes both process-wide domains now (used on sleep and at exit).
    static void flushShared();

    const QString& filePath() const { return path_; }
    // Where an unreadable file was moved on load; empty when the file was fine.
    QString movedAsidePath() const;

    bool contains(const std::string& key) const;
    std::optional<Json> value(const std::string& key) const;
    std::vector<std::string> keys() const;

    bool boolValue(const std::string& key) const;
    int64_t integerValue(const std::string& key) const;
    double doubleValue(const std::string& key) const;
    QString stringValue(const std::string& key) const;
    QStringList stringList(const std::string& key) const;
    // Absent when the key is missing or any element is not a non-negative integer.
    std::optional<std::vector<uint64_t>> unsignedList(const std::string& key) const;
    // Absent unless the stored value is a JSON array.
    std::optional<Json> array(const std::string& key) const;

    void setValue(const std::string& key, Json value);
    void setBool(const std::string& key, bool v) { setValue(key, Json(v)); }
    void setInteger(const std::string& key, int64_t v) { setValue(key, Json(v)); }
    void setDouble(const std::string& key, double v) { setValue(key, Json(v)); }
    void setString(const std::string& key, const QString& v) {
        setValue(key, Json(v.toStdString()));
    }
    void setStringList(const std::string& key, const QStringList& v);
    void setUnsignedList(const std::string& key, const std::vector<uint64_t>& v);
    void remove(const std::string& key);
    // Removes every key (tests, reset).
    void clear();

    // Writes the document now when it has unsaved changes. Returns false when the write failed.
    bool flush();
    // Re-reads the file, dropping unsaved changes.
    void reload();
    // How long the writer waits after the first unsaved change (default 5000 ms). The
    // sampler changes the totals every second, so this bounds the disk writes.
    void setWriteDelay(int milliseconds);

    // Why the last write failed (strerror text), empty after a successful one.
    QString lastWriteError() const;

private:
    // A key's value as this process last set it; absent: removed.
    using Changes = std::vector<std::pair<std::string, std::optional<Json>>>;

    void load();
    void markDirty(const std::string& key); // mutex_ held
    void wakeWriter();
    void writerLoop();
    // Under writeMutex_: writes whole when the file is still the one last read or written,
    // else the file's current keys with changes applied.
    bool writeChanges(Json& whole, const Changes& changes, std::string* error);

    const QString path_;
    mutable std::mutex mutex_;
    Json doc_ = Json::object();
    QString movedAside_;
    uint64_t generation_ = 0;                 // bumped by every change
    uint64_t savedGeneration_ = 0;            // generation last written
    std::map<std::string, uint64_t> changed_; // unsaved keys and the generation of their change
    QString lastWriteError_;
    int writeDelayMs_ = 5000;
    std::mutex writeMutex_; // one writer of the file at a time
    FileStamp stamp_;       // the file as last read or written here (under writeMutex_)
    std::condition_variable wake_;
    bool stopping_ = false;
    bool writerIdle_ = true; // the writer waits for a first change, not for the delay
    std::thread writer_;
};
