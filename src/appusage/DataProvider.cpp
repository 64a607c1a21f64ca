#include "DataProvider.h"

#include "appusage/NetAppDatabase.h"
#include "appusage/NetAppProvider.h"
#include "settings/DynamicAppearance.h"
#include "settings/Language.h"

#include <QCoreApplication>
#include <QHash>

#include <algorithm>

namespace {

constexpr const char* kDayFormat = "yyyy-MM-dd";

int64_t listTotal(const std::vector<NetApp>& apps) {
    int64_t total = 0;
    for (const NetApp& app : apps)
        if (__builtin_add_overflow(total, app.totalBytes(), &total))
            qFatal("per-app usage: a day's total overflows");
    return total;
}

// A stored day, "yyyy-MM-dd" exactly. By hand: this runs on a worker thread, and Qt's format
// parser is not safe there while the GUI thread formats dates of its own.
QDate readDay(const QString& text) {
    if (text.size() != 10 || text.at(4) != u'-' || text.at(7) != u'-')
        return {};
    int parts[3] = {0, 0, 0};
    const int starts[3] = {0, 5, 8};
    const int lengths[3] = {4, 2, 2};
    for (int p = 0; p < 3; ++p)
        for (int i = starts[p]; i < starts[p] + lengths[p]; ++i) {
            const char16_t c = text.at(i).unicode();
            if (c < u'0' || c > u'9')
                return {};
            parts[p] = parts[p] * 10 + (c - u'0');
        }
    return QDate(parts[0], parts[1], parts[2]); // invalid for a day that does not exist
}

} // namespace

TintPalette TintPalette::system(bool dark) {
    // The desktop's usual accent hues, in their light and dark variants.
    if (dark)
        return {{QColor(255, 69, 58), QColor(255, 159, 10), QColor(191, 90, 242),
                 QColor(255, 214, 10), QColor(10, 132, 255), QColor(48, 209, 88),
                 QColor(172, 142, 104)},
                QColor(64, 200, 224)};
    return {{QColor(255, 59, 48), QColor(255, 149, 0), QColor(175, 82, 222), QColor(255, 204, 0),
             QColor(0, 122, 255), QColor(52, 199, 89), QColor(162, 132, 94)},
            QColor(48, 176, 199)};
}

TintPalette TintPalette::current() {
    return system(DynamicAppearance::shared().isDarkMode());
}

std::vector<QDate> weekDates(const QDateTime& moment, const QLocale& locale) {
    const QDate day = moment.date();
    const int first = int(locale.firstDayOfWeek());
    const int back = (day.dayOfWeek() - first + 7) % 7;
    const QDate start = day.addDays(-back);
    std::vector<QDate> days;
    for (int i = 0; i < 7; ++i) {
        const QDate d = start.addDays(i);
        if (d.isValid())
            days.push_back(d);
    }
    return days;
}

std::pair<std::vector<NetApp>, std::vector<NetApp>>
mergeDatasets(const std::vector<NetDatasetPtr>& datasets) {
    NetDataset merged;
    // The first merged entry of each name (whatever its kind) and of each bundle identifier.
    QHash<QString, size_t> byName;
    QHash<QString, size_t> byBundle;
    for (const NetDatasetPtr& dataset : datasets) {
        for (const NetApp& app : dataset->apps) {
            const auto same = app.bundleIdentifier ? byBundle.constFind(*app.bundleIdentifier)
                                                   : byName.constFind(app.name);
            if (same == (app.bundleIdentifier ? byBundle.constEnd() : byName.constEnd())) {
                const size_t index = merged.apps.size();
                merged.apps.push_back(app);
                if (!byName.contains(app.name))
                    byName.insert(app.name, index);
                if (app.bundleIdentifier)
                    byBundle.insert(*app.bundleIdentifier, index);
                continue;
            }
            NetApp& into = merged.apps[*same];
            if (__builtin_add_overflow(into.bytesIn, app.bytesIn, &into.bytesIn) ||
                __builtin_add_overflow(into.bytesOut, app.bytesOut, &into.bytesOut))
                qFatal("per-app usage: the merged bytes of %s overflow", qPrintable(app.name));
        }
    }
    return {merged.cookedApps(), merged.otherProcesses()};
}

std::optional<CookedDataset> cookDay(const QString& day, const std::optional<QString>& document,
                                     const std::optional<LiveDay>& live) {
    CookedDataset cooked;
    if (live && day == live->date) {
        for (const NetDatasetPtr& dataset : live->datasets)
            cooked.datasets.push_back(dataset->copy());
    } else if (document) {
        // A document that is not a day document yields no day.
        auto datasets = NetDataset::readDayDocument(document->toUtf8());
        if (!datasets)
            return std::nullopt;
        cooked.datasets = std::move(*datasets);
    } else {
        return std::nullopt;
    }
    auto [apps, others] = mergeDatasets(cooked.datasets);
    cooked.apps = std::move(apps);
    cooked.others = std::move(others);
    return cooked;
}

void applyTintColors(std::vector<NetApp>& apps, const TintPalette& palette) {
    for (size_t i = 0; i < apps.size() && i < palette.colors.size(); ++i)
        apps[i].tintColor = palette.colors[i];
    if (!apps.empty() &&
        apps.back().name == Language::getLocalizedString(QStringLiteral("dataUsage.others")))
        apps.back().tintColor = palette.others;
}

std::map<QString, CookedDataset> cookStoredDays(const std::map<QString, QString>& datas) {
    std::map<QString, CookedDataset> cooked;
    for (const auto& [day, document] : datas)
        if (auto one = cookDay(day, document, std::nullopt))
            cooked[day] = std::move(*one);
    return cooked;
}

DataSnapshot buildSnapshot(const QString& today, const QStringList& weekdays,
                           const std::map<QString, QString>& datas,
                           const std::optional<LiveDay>& live, std::optional<QString> updateTime,
                           const TintPalette& palette, const QLocale& locale) {
    return buildSnapshot(today, weekdays, cookStoredDays(datas), live, std::move(updateTime),
                         palette, locale);
}

DataSnapshot buildSnapshot(const QString& today, const QStringList& weekdays,
                           const std::map<QString, CookedDataset>& storedDays,
                           const std::optional<LiveDay>& live, std::optional<QString> updateTime,
                           const TintPalette& palette, const QLocale& locale) {
    DataSnapshot snapshot;
    snapshot.date = today;
    snapshot.weekdays = weekdays;
    snapshot.updateTime = std::move(updateTime);
    // The live day always comes from the live copy, never from its stored document.
    snapshot.data = storedDays;
    if (live && snapshot.data.contains(live->date)) {
        if (auto cooked = cookDay(live->date, std::nullopt, live))
            snapshot.data[live->date] = std::move(*cooked);
    }
    if (!snapshot.data.contains(today)) {
        if (auto cooked = cookDay(today, std::nullopt, live))
            snapshot.data[today] = std::move(*cooked);
    }
    if (const auto it = snapshot.data.find(today); it != snapshot.data.end()) {
        snapshot.apps = it->second.apps;
        applyTintColors(snapshot.apps, palette);
        snapshot.others = it->second.others;
        snapshot.datasets = it->second;
        snapshot.totalBytes = listTotal(snapshot.apps);
    }
    std::vector<NetDatasetPtr> week;
    for (const auto& [day, cooked] : snapshot.data)
        week.insert(week.end(), cooked.datasets.begin(), cooked.datasets.end());
    auto [weekApps, weekOthers] = mergeDatasets(week);
    snapshot.weekApps = std::move(weekApps);
    applyTintColors(snapshot.weekApps, palette);
    snapshot.weekOthers = std::move(weekOthers);
    for (const auto& [day, cooked] : snapshot.data) {
        const int64_t total = listTotal(cooked.apps);
        if (__builtin_add_overflow(snapshot.weekTotalBytes, total, &snapshot.weekTotalBytes))
            qFatal("per-app usage: the week's total overflows");
        snapshot.weekMaxBytes = std::max(snapshot.weekMaxBytes, total);
    }
    if (const QDate day = readDay(today); day.isValid())
        snapshot.dateText = locale.toString(day, QStringLiteral("ddd MMM dd")).toUpper();
    if (!weekdays.isEmpty()) {
        const QDate first = readDay(weekdays.front());
        const QDate last = readDay(weekdays.back());
        if (first.isValid() && last.isValid())
            snapshot.weekdaysText =
                (locale.toString(first, QStringLiteral("MMM dd")) + QStringLiteral(" - ") +
                 locale.toString(last, QStringLiteral("MMM dd")))
                    .toUpper();
    }
    return snapshot;
}

DataProvider::Environment DataProvider::Environment::system() {
    Environment environment;
    environment.database = &NetAppDatabase::shared();
    environment.live = &NetAppProvider::shared();
    return environment;
}

DataProvider& DataProvider::shared() {
    static DataProvider* provider = new DataProvider(Environment::system());
    return *provider;
}

DataProvider::DataProvider(Environment environment) : environment_(std::move(environment)) {
    worker_.setMaxThreadCount(1);
    reloadWeekIfNeeded();
}

DataProvider::~DataProvider() {
    *alive_ = false;
    worker_.waitForDone();
}

QDateTime DataProvider::now() const {
    return environment_.now ? environment_.now() : QDateTime::currentDateTime();
}

double DataProvider::reloadWeekIfNeeded() {
    const QDateTime moment = now();
    const QString today = moment.toString(QString::fromLatin1(kDayFormat));
    if (!date_ || *date_ != today) {
        {
            std::lock_guard lock(mutex_);
            snapshot_.reset();
        }
        date_ = today;
        QStringList days;
        for (const QDate& day : weekDates(moment, environment_.locale))
            days << day.toString(QString::fromLatin1(kDayFormat));
        weekdays_ = days;
        datas_ = environment_.database ? environment_.database->loadDays(days)
                                       : std::map<QString, QString>{};
    }
    return double(moment.toMSecsSinceEpoch()) / 1000.0;
}

std::optional<LiveDay> DataProvider::liveDay() const {
    if (!environment_.live)
        return std::nullopt;
    return LiveDay{environment_.live->date(), environment_.live->copyDatasets()};
}

double DataProvider::lastLoadedTime() const {
    std::lock_guard lock(mutex_);
    return lastLoadedTime_;
}

std::optional<DataSnapshot> DataProvider::dataSnapshot() const {
    std::lock_guard lock(mutex_);
    return snapshot_;
}

void DataProvider::waitForBuild() {
    worker_.waitForDone();
}

std::map<QString, CookedDataset> DataProvider::storedDays(const QString& day,
                                                          const std::map<QString, QString>& datas) {
    std::lock_guard lock(storedMutex_);
    if (cookedFor_ != day) {
        cooked_ = cookStoredDays(datas);
        cookedFor_ = day;
    }
    return cooked_;
}

DataSnapshot DataProvider::buildNow() {
    reloadWeekIfNeeded();
    return buildSnapshot(*date_, *weekdays_, storedDays(*date_, *datas_), liveDay(), std::nullopt,
                         environment_.palette ? environment_.palette() : TintPalette::current(),
                         environment_.locale);
}

void DataProvider::loadSnapshot(Completion completion) {
    const double moment = reloadWeekIfNeeded();
    {
        std::unique_lock lock(mutex_);
        if (snapshot_ && moment - lastLoadedTime_ < kCacheSeconds) {
            const DataSnapshot cached = *snapshot_;
            lock.unlock();
            if (completion)
                completion(cached);
            return;
        }
    }
    if (!date_ || !weekdays_ || !datas_)
        return;
    // The live day is copied here, on the thread that changes it.
    const std::optional<LiveDay> live = liveDay();
    const TintPalette palette =
        environment_.palette ? environment_.palette() : TintPalette::current();
    std::weak_ptr<bool> alive = alive_;
    worker_.start([this, alive, moment, today = *date_, weekdays = *weekdays_, datas = *datas_,
                   live, palette, completion = std::move(completion)] {
        DataSnapshot snapshot = buildSnapshot(today, weekdays, storedDays(today, datas), live,
                                              std::nullopt, palette, environment_.locale);
        {
            std::lock_guard lock(mutex_);
            lastLoadedTime_ = moment;
            snapshot_ = snapshot;
        }
        QCoreApplication* app = QCoreApplication::instance();
        if (!app)
            return;
        QMetaObject::invokeMethod(
            app,
            [this, alive, snapshot, completion] {
                if (completion)
                    completion(snapshot);
                // The widget payload is written where the live day lives.
                if (alive.lock() && environment_.live)
                    environment_.live->publishWidgetData();
            },
            Qt::QueuedConnection);
    });
}
