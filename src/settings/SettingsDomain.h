#pragma once

#include <QString>
#include <QStringList>

#include <nlohmann/json.hpp>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

// One typed key-value domain kept as a JSON document on disk.
//
// Reads and writes work on the in-memory document and are visible to every thread at
// once. Changes reach the disk from a background writer a few seconds after the
// first unsaved change, on flush() and when the domain is destroyed. Files are replaced
// atomically (temporary file, fsync, rename) with mode 0600. A file that cannot be parsed
// is moved aside (never deleted) and the domain starts empty.
//
// Typed reads never fail: an absent key or a value of the wrong type reads as the type's
// zero (false, 0, 0.0, empty).
class SettingsDomain {
public:
    using Json = nlohmann::json;

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

private:
    void load();
    void markDirty();
    void writerLoop();
    bool writeDocument(const Json& doc);

    const QString path_;
    mutable std::mutex mutex_;
    Json doc_ = Json::object();
    QString movedAside_;
    uint64_t generation_ = 0;      // bumped by every change
    uint64_t savedGeneration_ = 0; // generation last written
    int writeDelayMs_ = 5000;
    std::mutex writeMutex_; // one writer of the file at a time
    std::condition_variable wake_;
    bool stopping_ = false;
    bool writerIdle_ = true; // the writer waits for a first change, not for the delay
    std::thread writer_;
};
