#pragma once

#include "ActivityObserver.h"

#include <QDateTime>
#include <QString>
#include <QThreadPool>
#include <QTimeZone>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

class SettingsDomain;

// Hour-by-hour totals of the data moved over the last seven days of sampling. Each tick's
// paces are added to the bucket of the current local hour; the buckets persist in the
// group domain under "app.dataUsage.data" so that widgets and scripts can read them.
class DataUsageProvider : public ActivityObserver {
public:
    // One hour bucket, or one entry of a timeline. Amounts are in KB despite the names.
    struct Atom {
        QString timeIdentifier; // stored: "yyyy-MM-dd HH"; in a timeline: the display label
        int64_t bytesIn = 0;    // received
        int64_t bytesOut = 0;   // sent

        friend bool operator==(const Atom&, const Atom&) = default;
    };

    struct Environment {
        std::function<QDateTime()> now;    // the current moment; null: the system clock
        std::optional<QTimeZone> timeZone; // absent: the system's zone, looked up at each use
        SettingsDomain* group = nullptr;   // null: nothing is loaded and nothing is saved

        static Environment system();
    };

    static constexpr size_t kMaximumBuckets = 168; // seven days of hours
    // The largest stored hour amount that can be real, in KB: 2^40 KB is a pebibyte in one
    // hour, a link moving about 2.5 Tbit/s without a pause for the whole hour, beyond any
    // single link of a desktop or laptop. A larger (or negative) stored amount is damage and
    // is dropped at load; 168 hours of this size still sum far inside the 64-bit range, so
    // the totals of stored data cannot overflow.
    static constexpr int64_t kMaximumStoredHourKB = int64_t{1} << 40;
    static constexpr int kTicksPerSave = 60;
    static constexpr const char* kDidUpdateNotificationName = "DataUsageDidUpdateNotificationName";

    // The process-wide provider over the system clock, zone and group domain.
    static DataUsageProvider& shared();
    // Sets up the buckets from the stored list.
    explicit DataUsageProvider(Environment environment);
    // Waits for a save that is still being written.
    ~DataUsageProvider() override;
    DataUsageProvider(const DataUsageProvider&) = delete;
    DataUsageProvider& operator=(const DataUsageProvider&) = delete;

    // Appends the provider to the shared traffic sampler's observers.
    void start();

    // One tick: adds the record's paces to the current hour's bucket; every 60th tick
    // saves and posts "DataUsageDidUpdateNotificationName".
    void networkActivityDidUpdate(const ActivityRecord& record) override;
    // Before sleep: writes the buckets to the group domain at once and returns when they
    // are there, so a following flush of the domain carries them to disk.
    void notifyMacWentOff();
    // Forgets every hour (the settings' reset): stores the empty list at once and posts
    // "DataUsageDidUpdateNotificationName" so open views redraw.
    void resetData();

    // 24 entries for the clock hours of today ("0H" ... "22H", "24H"); 23 on a day whose
    // clock skips an hour.
    std::vector<Atom> todayTimeline() const;
    // 24 entries for the hours ending now, oldest first, labelled "3PM", "0AM", "12PM"...
    std::vector<Atom> last24HoursTimeline() const;
    // The sums over the today timeline, with an empty identifier.
    Atom todayTotals() const;

    const std::vector<Atom>& dataset() const { return dataset_; }
    int count() const { return count_; }
    // The bucket key of a moment: its local date and hour in the provider's zone.
    QString keyForDate(const QDateTime& moment) const;
    // keyForDate(moment), formatted again only when moment lies outside the hour last
    // formatted, its offset from UTC changed, or a minute has passed since (so a change of
    // the system's time zone is seen within a minute).
    QString hourKey(const QDateTime& moment) const;
    // Blocks until every scheduled save has been written.
    void waitForPendingSaves();

    // The stored form and back. Elements that are not a dictionary with a string
    // "timeIdentifier" and whole "bytesIn" and "bytesOut" from 0 to kMaximumStoredHourKB are
    // skipped.
    static std::vector<Atom> atomsFromStored(const nlohmann::json& stored);
    static nlohmann::json storedForm(const std::vector<Atom>& atoms);

private:
    QDateTime now() const;
    QTimeZone zone() const;
    const Atom* bucket(const QString& key) const;
    void load();
    void scheduleSave();

    Environment environment_;
    std::vector<Atom> dataset_;
    int count_ = 0;
    QThreadPool saver_; // one thread, so saves land in the order they were scheduled

    struct CachedHour {
        QString key;
        qint64 fromMs = 0;  // the hour's first millisecond since the epoch
        qint64 untilMs = 0; // the next hour's first
        int offset = 0;     // the moment's offset from UTC, in seconds
    };
    mutable CachedHour hour_;
};
