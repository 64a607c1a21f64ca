#include "NetAppDatabase.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUrl>

#include <sqlite3.h>

#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const char* const kCreateStatement = "CREATE TABLE IF NOT EXISTS data\n"
                                     "(\n"
                                     "date TEXT NOT NULL PRIMARY KEY,\n"
                                     "json TEXT,\n"
                                     "attributes TEXT\n"
                                     ");";
const char* const kInsertStatement = "INSERT OR REPLACE INTO data VALUES (?, ?, ?);";
const char* const kSelectStatement = "SELECT * FROM data;";

QString describe(const std::optional<QString>& location) {
    return location ? *location : QStringLiteral("nil");
}

void say(const char* message, const std::optional<QString>& location) {
    std::printf("%s%s\n", message, describe(location).toUtf8().constData());
    std::fflush(stdout);
}

bool isDamage(int rc) {
    rc &= 0xff;
    return rc == SQLITE_CORRUPT || rc == SQLITE_NOTADB;
}

// The file a "file:" URL names ("" for anything else).
QString filePathOf(const std::optional<QString>& location) {
    if (!location)
        return QString();
    const QUrl url(*location);
    return url.isLocalFile() ? url.toLocalFile() : QString();
}

} // namespace

std::optional<QString> NetAppDatabase::defaultLocation() {
    QString data = qEnvironmentVariable("XDG_DATA_HOME");
    if (data.isEmpty()) {
        const QString home = QDir::homePath();
        if (home.isEmpty())
            return std::nullopt;
        data = QDir(home).filePath(QStringLiteral(".local/share"));
    }
    const QString folder = QDir(data).filePath(QStringLiteral("lumenstat"));
    return QUrl::fromLocalFile(QDir(folder).filePath(QStringLiteral("net.db"))).toString();
}

NetAppDatabase& NetAppDatabase::shared() {
    static NetAppDatabase* database = new NetAppDatabase(defaultLocation());
    return *database;
}

NetAppDatabase::NetAppDatabase(std::optional<QString> location)
    : databasePath_(std::move(location)) {
    createTableIfNeeded();
}

NetAppDatabase::~NetAppDatabase() {
    close();
}

bool NetAppDatabase::open() {
    opened_ = true;
    const QString file = filePathOf(databasePath_);
    if (!file.isEmpty()) {
        // The folder and the file are private to the user before SQLite writes anything.
        QDir().mkpath(QFileInfo(file).path());
        const QByteArray native = QFile::encodeName(file);
        const int fd = ::open(native.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (fd >= 0) {
            ::fchmod(fd, 0600);
            ::close(fd);
        }
    }
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_URI;
    if (!databasePath_ ||
        sqlite3_open_v2(databasePath_->toUtf8().constData(), &db_, flags, nullptr) != SQLITE_OK) {
        if (db_)
            sqlite3_close(db_);
        db_ = nullptr;
        say("Unable to open database at path: ", databasePath_);
        return false;
    }
    return true;
}

void NetAppDatabase::close() {
    if (db_)
        sqlite3_close(db_);
    db_ = nullptr;
}

sqlite3* NetAppDatabase::handle() {
    if (!opened_)
        open();
    return db_;
}

bool NetAppDatabase::recoverFrom(int rc) {
    const QString file = filePathOf(databasePath_);
    if (!isDamage(rc) || file.isEmpty() || !db_)
        return false;
    close();
    const QString aside = file + QStringLiteral(".damaged-") +
                          QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    QFile::remove(aside);
    if (!QFile::rename(file, aside))
        return false;
    for (const char* suffix : {"-journal", "-wal", "-shm"})
        QFile::remove(file + QLatin1String(suffix));
    movedAside_ = aside;
    std::printf("Moved the damaged database aside to %s\n", aside.toUtf8().constData());
    std::fflush(stdout);
    if (!open())
        return false;
    sqlite3_exec(db_, kCreateStatement, nullptr, nullptr, nullptr);
    return true;
}

void NetAppDatabase::createTableIfNeeded() {
    sqlite3* db = handle();
    if (!db || !databasePath_) {
        say("Failed to create table in database at path: ", databasePath_);
        return;
    }
    // The location is a URL, so this never finds the file and the statement runs at every
    // start; it is idempotent.
    const QFileInfo info(*databasePath_);
    if (info.exists() && info.isFile())
        return;
    for (int attempt = 0; attempt < 2; ++attempt) {
        sqlite3_stmt* statement = nullptr;
        int rc = sqlite3_prepare_v2(db_, kCreateStatement, -1, &statement, nullptr);
        if (rc == SQLITE_OK)
            rc = sqlite3_step(statement);
        sqlite3_finalize(statement);
        if (rc == SQLITE_DONE || rc == SQLITE_OK || !recoverFrom(rc))
            return;
    }
}

bool NetAppDatabase::insertDay(const QString& day, const QString& document) {
    if (!handle())
        return false;
    for (int attempt = 0; attempt < 2; ++attempt) {
        sqlite3_stmt* statement = nullptr;
        int rc = sqlite3_prepare_v2(db_, kInsertStatement, -1, &statement, nullptr);
        if (rc == SQLITE_OK) {
            const QByteArray dayText = day.toUtf8();
            const QByteArray documentText = document.toUtf8();
            sqlite3_bind_text(statement, 1, dayText.constData(), int(dayText.size()),
                              SQLITE_TRANSIENT);
            sqlite3_bind_text(statement, 2, documentText.constData(), int(documentText.size()),
                              SQLITE_TRANSIENT);
            sqlite3_bind_text(statement, 3, "", 0, SQLITE_TRANSIENT);
            rc = sqlite3_step(statement);
        }
        sqlite3_finalize(statement);
        if (rc == SQLITE_DONE)
            return true;
        if (!recoverFrom(rc))
            return false;
    }
    return false;
}

std::map<QString, QString> NetAppDatabase::loadDays(const QStringList& days) {
    std::map<QString, QString> result;
    if (!handle())
        return result;
    for (int attempt = 0; attempt < 2; ++attempt) {
        result.clear();
        QStringList wanted = days;
        sqlite3_stmt* statement = nullptr;
        int rc = sqlite3_prepare_v2(db_, kSelectStatement, -1, &statement, nullptr);
        if (rc == SQLITE_OK) {
            while ((rc = sqlite3_step(statement)) == SQLITE_ROW) {
                const unsigned char* day = sqlite3_column_text(statement, 0);
                if (!day)
                    qFatal("per-app usage: a stored day is NULL");
                const QString dayText = QString::fromUtf8(reinterpret_cast<const char*>(day));
                if (!wanted.removeOne(dayText))
                    continue;
                const unsigned char* document = sqlite3_column_text(statement, 1);
                if (!document)
                    qFatal("per-app usage: the stored document of %s is NULL", qPrintable(dayText));
                result[dayText] = QString::fromUtf8(reinterpret_cast<const char*>(document));
            }
        }
        sqlite3_finalize(statement);
        if (rc == SQLITE_DONE || !recoverFrom(rc))
            return rc == SQLITE_DONE ? result : std::map<QString, QString>{};
    }
    return result;
}
