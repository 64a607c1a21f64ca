#include "DataUsageProvider.h"

#include "NetworkMonitor.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QDate>
#include <QLocale>
#include <QThread>
#include <QTime>
#include <QVarLengthArray>
#include <QtGlobal>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <mutex>

namespace {

constexpr int64_t kInt64Max = std::numeric_limits<int64_t>::max();

// Adds a pace to an amount; an amount beyond the 64-bit range cannot be kept, so it stops
// the process (at realistic rates it never happens).
int64_t checkedAdd(int64_t amount, uint64_t pace, const char* what) {
    int64_t sum = 0;
    if (pace > static_cast<uint64_t>(kInt64Max) ||
        __builtin_add_overflow(amount, static_cast<int64_t>(pace), &sum))
        qFatal("data usage: %s overflows (%lld + %llu)", what, static_cast<long long>(amount),
               static_cast<unsigned long long>(pace));
    return sum;
}

int64_t checkedSum(int64_t a, int64_t b, const char* what) {
    int64_t sum = 0;
    if (__builtin_add_overflow(a, b, &sum))
        qFatal("data usage: %s overflows (%lld + %lld)", what, static_cast<long long>(a),
               static_cast<long long>(b));
    return sum;
}

// A stored hour amount that can be real: whole, not negative, not beyond an hour's reach.
std::optional<int64_t> hourAmountOf(const nlohmann::json& v) {
    if (v.is_number_unsigned()) {
        const uint64_t u = v.get<uint64_t>();
        if (u > static_cast<uint64_t>(DataUsageProvider::kMaximumStoredHourKB))
            return std::nullopt;
        return static_cast<int64_t>(u);
    }
    if (v.is_number_integer()) {
        const int64_t n = v.get<int64_t>();
        if (n < 0 || n > DataUsageProvider::kMaximumStoredHourKB)
            return std::nullopt;
        return n;
    }
    return std::nullopt;
}

QString todayLabel(int hour) {
    // The last hour of the day is labelled 24 rather than 23, as the chart has always read.
    return QStringLiteral("%1H").arg(hour == 23 ? 24 : hour);
}

QString twelveHourLabel(int hour) {
    return QStringLiteral("%1%2")
        .arg(hour > 12 ? hour - 12 : hour)
        .arg(hour > 11 ? QStringLiteral("PM") : QStringLiteral("AM"));
}

} // namespace

DataUsageProvider::Environment DataUsageProvider::Environment::system() {
    Environment e;
    // UTC: reading the clock in local time costs a time-zone conversion on every tick; the
    // hour key converts to the zone when it is formatted.
    e.now = [] { return QDateTime::currentDateTimeUtc(); };
    e.group = &SettingsDomain::group();
    return e;
}

DataUsageProvider& DataUsageProvider::shared() {
    static DataUsageProvider* provider = new DataUsageProvider(Environment::system());
    return *provider;
}

DataUsageProvider::DataUsageProvider(Environment environment)
    : environment_(std::move(environment)) {
    saver_.setMaxThreadCount(1);
    saver_.setThreadPriority(QThread::LowPriority);
    load();
}

DataUsageProvider::~DataUsageProvider() {
    saver_.waitForDone();
}

void DataUsageProvider::start() {
    NetworkMonitor::shared().addActivityObserver(this);
}

QDateTime DataUsageProvider::now() const {
    // In UTC: every use converts to the counting zone, and the local clock would look the
    // zone up on every tick.
    return environment_.now ? environment_.now() : QDateTime::currentDateTimeUtc();
}

QTimeZone DataUsageProvider::zone() const {
    if (environment_.timeZone)
        return *environment_.timeZone;
    QTimeZone system = QTimeZone::systemTimeZone();
    if (system.isValid())
        return system;
    // An unknown zone (TZ naming no zone file) counts the hours in UTC, as the C library's
    // clock does then.
    static std::once_flag said;
    std::call_once(said, [] {
        std::fprintf(stderr, "lumenstat: unknown time zone \"%s\": counting the hours in UTC\n",
                     qgetenv("TZ").isEmpty() ? QTimeZone::systemTimeZoneId().constData()
                                             : qgetenv("TZ").constData());
    });
    return QTimeZone::utc();
}

QString DataUsageProvider::keyForDate(const QDateTime& moment) const {
    static const QLocale formatLocale(QLocale::English, QLocale::UnitedStates);
    return formatLocale.toString(moment.toTimeZone(zone()), QStringLiteral("yyyy-MM-dd HH"));
}

QString DataUsageProvider::hourKey(const QDateTime& moment) const {
    const qint64 ms = moment.toMSecsSinceEpoch();
    const int offset = moment.offsetFromUtc();
    if (hour_.key.isEmpty() || ms < hour_.fromMs || ms >= hour_.untilMs || offset != hour_.offset) {
        const QDateTime local = moment.toTimeZone(zone());
        const QTime t = local.time();
        hour_.key = keyForDate(moment);
        hour_.fromMs = ms - (t.minute() * 60'000LL + t.second() * 1000LL + t.msec());
        // Checked again at least once a minute, so a new system time zone is seen within a
        // minute even when the moments come in UTC.
        hour_.untilMs = std::min(hour_.fromMs + 3'600'000, ms + 60'000);
        hour_.offset = offset;
    }
    return hour_.key;
}

const DataUsageProvider::Atom* DataUsageProvider::bucket(const QString& key) const {
    for (const Atom& atom : dataset_) {
        if (atom.timeIdentifier == key)
            return &atom;
    }
    return nullptr;
}

std::vector<DataUsageProvider::Atom>
DataUsageProvider::atomsFromStored(const nlohmann::json& stored) {
    std::vector<Atom> atoms;
    if (!stored.is_array())
        return atoms;
    for (const auto& element : stored) {
        if (!element.is_object())
            continue;
        const auto id = element.find("timeIdentifier");
        const auto in = element.find("bytesIn");
        const auto out = element.find("bytesOut");
        if (id == element.end() || in == element.end() || out == element.end() || !id->is_string())
            continue;
        const std::optional<int64_t> bytesIn = hourAmountOf(*in);
        const std::optional<int64_t> bytesOut = hourAmountOf(*out);
        if (!bytesIn || !bytesOut)
            continue;
        atoms.push_back({QString::fromStdString(id->get<std::string>()), *bytesIn, *bytesOut});
    }
    return atoms;
}

nlohmann::json DataUsageProvider::storedForm(const std::vector<Atom>& atoms) {
    nlohmann::json list = nlohmann::json::array();
    for (const Atom& atom : atoms) {
        list.push_back({{"timeIdentifier", atom.timeIdentifier.toStdString()},
                        {"bytesIn", atom.bytesIn},
                        {"bytesOut", atom.bytesOut}});
    }
    return list;
}

void DataUsageProvider::load() {
    if (!environment_.group)
        return;
    const auto stored = environment_.group->array(SettingsKey::DataUsageData);
    if (!stored || stored->empty())
        return;
    dataset_ = atomsFromStored(*stored);
}

void DataUsageProvider::networkActivityDidUpdate(const ActivityRecord& record) {
    const QString key = hourKey(now());
    const uint64_t down = record ? record->paceActivities.down : 0;
    const uint64_t up = record ? record->paceActivities.up : 0;

    Atom* found = nullptr;
    for (Atom& atom : dataset_) {
        if (atom.timeIdentifier == key) {
            found = &atom;
            break;
        }
    }
    if (found) {
        found->bytesIn = checkedAdd(found->bytesIn, down, "bytesIn");
        found->bytesOut = checkedAdd(found->bytesOut, up, "bytesOut");
    } else {
        dataset_.push_back({key, checkedAdd(0, down, "bytesIn"), checkedAdd(0, up, "bytesOut")});
        if (dataset_.size() > kMaximumBuckets)
            dataset_.erase(dataset_.begin());
    }

    ++count_;
    if (count_ >= kTicksPerSave) {
        scheduleSave();
        NotificationCenter::defaultCenter().post(QString::fromLatin1(kDidUpdateNotificationName));
        count_ = 0;
    }
}

void DataUsageProvider::scheduleSave() {
    SettingsDomain* group = environment_.group;
    if (!group)
        return;
    // The writer works on a copy taken now, so the main thread can keep adding meanwhile.
    saver_.start([group, atoms = dataset_] {
        group->setValue(SettingsKey::DataUsageData, storedForm(atoms));
    });
}

void DataUsageProvider::notifyMacWentOff() {
    scheduleSave();
    saver_.waitForDone();
}

void DataUsageProvider::resetData() {
    dataset_.clear();
    count_ = 0;
    notifyMacWentOff(); // the empty list is stored before this returns
    NotificationCenter::defaultCenter().post(QString::fromLatin1(kDidUpdateNotificationName));
}

void DataUsageProvider::waitForPendingSaves() {
    saver_.waitForDone();
}

std::vector<DataUsageProvider::Atom> DataUsageProvider::todayTimeline() const {
    const QTimeZone tz = zone();
    const QDate today = now().toTimeZone(tz).date();
    std::vector<Atom> timeline;
    timeline.reserve(24);
    for (int hour = 0; hour < 24; ++hour) {
        const QDateTime moment(today, QTime(hour, 0), tz);
        // A clock hour skipped by a daylight-saving change cannot be formed: leave it out.
        if (!moment.isValid())
            continue;
        const QDateTime local = moment.toTimeZone(tz);
        if (local.date() != today || local.time().hour() != hour)
            continue;
        Atom entry{todayLabel(hour), 0, 0};
        if (const Atom* b = bucket(keyForDate(moment))) {
            entry.bytesIn = b->bytesIn;
            entry.bytesOut = b->bytesOut;
        }
        timeline.push_back(entry);
    }
    return timeline;
}

std::vector<DataUsageProvider::Atom> DataUsageProvider::last24HoursTimeline() const {
    const QTimeZone tz = zone();
    const QDateTime current = now();
    std::vector<Atom> timeline;
    timeline.reserve(24);
    for (int i = 0; i < 24; ++i) {
        const QDateTime moment = current.addSecs(-3600LL * i);
        const QDateTime local = moment.toTimeZone(tz);
        const int hour = local.isValid() ? local.time().hour() : 0;
        Atom entry{twelveHourLabel(hour), 0, 0};
        if (const Atom* b = bucket(keyForDate(moment))) {
            entry.bytesIn = b->bytesIn;
            entry.bytesOut = b->bytesOut;
        }
        timeline.insert(timeline.begin(), entry);
    }
    return timeline;
}

DataUsageProvider::Atom DataUsageProvider::todayTotals() const {
    // Today's buckets are the ones whose local-hour key starts with today's date: the
    // current hour's key, looked up once an hour (the status items ask every tick). A key stored
    // twice counts once, as the timeline's look-up does.
    const QString prefix = hourKey(now()).left(11); // "yyyy-MM-dd "
    Atom totals;
    QVarLengthArray<QStringView, 25> seen;
    for (const Atom& entry : dataset_) {
        if (!entry.timeIdentifier.startsWith(prefix) ||
            std::find(seen.begin(), seen.end(), QStringView(entry.timeIdentifier)) != seen.end())
            continue;
        seen.append(QStringView(entry.timeIdentifier));
        totals.bytesIn = checkedSum(totals.bytesIn, entry.bytesIn, "today's received total");
        totals.bytesOut = checkedSum(totals.bytesOut, entry.bytesOut, "today's sent total");
    }
    return totals;
}
