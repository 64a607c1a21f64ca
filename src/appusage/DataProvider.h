#pragma once

#include "appusage/NetDataset.h"

#include <QColor>
#include <QDateTime>
#include <QLocale>
#include <QString>
#include <QStringList>
#include <QThreadPool>

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

class NetAppDatabase;
class NetAppProvider;

// One day (or week) cooked for display.
struct CookedDataset {
    std::vector<NetApp> apps;            // the application list with its trailing "others" line
    std::vector<NetApp> others;          // unattributed processes
    std::vector<NetDatasetPtr> datasets; // the hourly sets it was cooked from
};

// What the per-app usage page shows: today and this week.
struct DataSnapshot {
    std::optional<QString> dateText;       // today as "EE MMM dd", upper-cased
    std::optional<QString> weekdaysText;   // "MMM dd - MMM dd", upper-cased
    QString date;                          // today, "yyyy-MM-dd"
    QStringList weekdays;                  // the 7 days of this week, "yyyy-MM-dd"
    std::map<QString, CookedDataset> data; // every day of the week with data
    std::vector<NetApp> apps;              // today's cooked list, tinted
    std::vector<NetApp> others;            // today's unattributed processes
    CookedDataset datasets;                // today's cooked set, untinted
    int64_t totalBytes = 0;
    std::vector<NetApp> weekApps; // tinted
    std::vector<NetApp> weekOthers;
    int64_t weekTotalBytes = 0;
    int64_t weekMaxBytes = 0;
    std::optional<QString> updateTime; // absent in snapshots built by DataProvider
};

// The tints of the application lists: red, orange, purple, yellow, blue, green, brown, and
// teal for the "others" line.
struct TintPalette {
    std::array<QColor, 7> colors;
    QColor others;
    static TintPalette system(bool dark);
    static TintPalette current(); // for the appearance in effect
};

// Today as the live provider holds it, copied for a build elsewhere.
struct LiveDay {
    QString date;
    std::vector<NetDatasetPtr> datasets;
};

// The 7 days of the week that holds moment (from the locale's first weekday).
std::vector<QDate> weekDates(const QDateTime& moment, const QLocale& locale = QLocale::system());
// One day cooked: from the live copy when day is its date, else from the stored document.
std::optional<CookedDataset> cookDay(const QString& day, const std::optional<QString>& document,
                                     const std::optional<LiveDay>& live);
// The application and process lists of several sets taken together.
std::pair<std::vector<NetApp>, std::vector<NetApp>>
mergeDatasets(const std::vector<NetDatasetPtr>& datasets);
void applyTintColors(std::vector<NetApp>& apps, const TintPalette& palette);
// The stored documents cooked, the unreadable ones left out.
std::map<QString, CookedDataset> cookStoredDays(const std::map<QString, QString>& datas);
// The same snapshot from stored days cooked earlier (the stored days change only with the
// day, so they need not be read again for every build).
DataSnapshot buildSnapshot(const QString& today, const QStringList& weekdays,
                           const std::map<QString, CookedDataset>& storedDays,
                           const std::optional<LiveDay>& live,
                           std::optional<QString> updateTime = std::nullopt,
                           const TintPalette& palette = TintPalette::current(),
                           const QLocale& locale = QLocale::system());
DataSnapshot buildSnapshot(const QString& today, const QStringList& weekdays,
                           const std::map<QString, QString>& datas,
                           const std::optional<LiveDay>& live,
                           std::optional<QString> updateTime = std::nullopt,
                           const TintPalette& palette = TintPalette::current(),
                           const QLocale& locale = QLocale::system());

// Loads this week's stored days once per day and builds snapshots on a background worker,
// at most once a minute.
class DataProvider {
public:
    using Completion = std::function<void(const DataSnapshot&)>;

    struct Environment {
        std::function<QDateTime()> now;     // null: the system clock
        NetAppDatabase* database = nullptr; // null: no stored days
        NetAppProvider* live = nullptr;     // null: today only from the store
        QLocale locale = QLocale::system();
        std::function<TintPalette()> palette; // null: TintPalette::current()

        static Environment system();
    };

    static constexpr double kCacheSeconds = 60;

    static DataProvider& shared();
    explicit DataProvider(Environment environment);
    ~DataProvider(); // waits for a build under way

    // Answers from the cached snapshot (at once, on this thread) when it is less than 60
    // seconds old, else builds one on a worker and calls completion on the main thread.
    void loadSnapshot(Completion completion = {});
    // Reloads the week from the store when the day changed; returns now (seconds since 1970).
    double reloadWeekIfNeeded();
    // A snapshot built now on this thread (the command line's answer).
    DataSnapshot buildNow();

    std::optional<QString> date() const { return date_; }
    std::optional<QStringList> weekdays() const { return weekdays_; }
    double lastLoadedTime() const;
    std::optional<DataSnapshot> dataSnapshot() const;
    // Blocks until a build under way has finished (tests, exit).
    void waitForBuild();

private:
    QDateTime now() const;
    std::optional<LiveDay> liveDay() const;
    // The stored days of the week loaded for day, cooked once per day (on either thread).
    std::map<QString, CookedDataset> storedDays(const QString& day,
                                                const std::map<QString, QString>& datas);

    Environment environment_;
    std::optional<QString> date_;
    std::optional<QStringList> weekdays_;
    std::optional<std::map<QString, QString>> datas_;
    mutable std::mutex mutex_; // lastLoadedTime_ and snapshot_
    double lastLoadedTime_ = 0;
    std::optional<DataSnapshot> snapshot_;
    std::mutex storedMutex_; // cooked_ and cookedFor_
    std::map<QString, CookedDataset> cooked_;
    std::optional<QString> cookedFor_;
    QThreadPool worker_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};
