#pragma once

#include <QString>
#include <QStringList>

#include <map>
#include <optional>

struct sqlite3;

// The per-app usage store: one SQLite row per day ("yyyy-MM-dd"), holding that day's
// document of hourly per-app records. Opened lazily on first use and kept; a failed open is
// kept as no handle (every operation is then a no-op). A file that is not a database or is
// damaged is moved aside (as "<name>.damaged-<time>") and a new one is started.
class NetAppDatabase {
public:
    // The process-wide store at $XDG_DATA_HOME/lumenstat/net.db (or ~/.local/share/...).
    static NetAppDatabase& shared();
    // The "file:" URL of the default location; absent when there is no data folder.
    static std::optional<QString> defaultLocation();
    // A store at location (a "file:" URL, or absent). Creates the table.
    explicit NetAppDatabase(std::optional<QString> location);
    ~NetAppDatabase();
    NetAppDatabase(const NetAppDatabase&) = delete;
    NetAppDatabase& operator=(const NetAppDatabase&) = delete;

    const std::optional<QString>& databasePath() const { return databasePath_; }

    // Inserts or replaces the day's document; true when the statement completed.
    bool insertDay(const QString& day, const QString& document);
    // The documents of the listed days that have a row.
    std::map<QString, QString> loadDays(const QStringList& days);
    void createTableIfNeeded();

    // Where a damaged file was last moved; "" when none was.
    QString movedAsidePath() const { return movedAside_; }

private:
    sqlite3* handle();
    bool open();
    void close();
    // After a statement failed with rc: when rc says the file is damaged, moves it aside and
    // opens a new one; true when that happened (the caller may try once more).
    bool recoverFrom(int rc);

    std::optional<QString> databasePath_;
    sqlite3* db_ = nullptr;
    bool opened_ = false; // the open was tried
    QString movedAside_;
};
