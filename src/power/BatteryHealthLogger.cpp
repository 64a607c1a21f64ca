#include "BatteryHealthLogger.h"

#include "YYSystemBatteryReport.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QLocale>
#include <QtGlobal>

#include <limits>

using Json = nlohmann::json;

namespace {
// Counts and capacities below zero, or no design capacity, cannot come from a battery.
bool isReal(const BatteryHealthLogger::Item& item) {
    return item.cycle >= 0 && item.fullCapacity >= 0 && item.maxCapacity > 0;
}
} // namespace

BatteryHealthLogger& BatteryHealthLogger::shared() {
    static BatteryHealthLogger* logger = new BatteryHealthLogger(&SettingsDomain::group());
    return *logger;
}

QString BatteryHealthLogger::dayText(const QDateTime& moment) {
    return QLocale(QLocale::English, QLocale::UnitedStates)
        .toString(moment.toLocalTime(), QStringLiteral("yyyy-MM-dd"));
}

BatteryHealthLogger::BatteryHealthLogger(SettingsDomain* group, Clock clock)
    : group_(group), clock_(std::move(clock)) {
    if (!clock_)
        clock_ = [] { return QDateTime::currentDateTime(); };
    if (!group_)
        return;
    auto stored = group_->array(SettingsKey::BatteryHealthData);
    if (!stored)
        return;
    for (const Json& entry : *stored)
        if (!entry.is_object())
            return; // not an array of dictionaries: the log stays empty
    for (const Json& entry : *stored) {
        auto date = entry.find("date");
        auto cycle = entry.find("cycle");
        auto full = entry.find("fullCapacity");
        auto max = entry.find("maxCapacity");
        if (date == entry.end() || cycle == entry.end() || full == entry.end() ||
            max == entry.end())
            continue;
        if (!date->is_string() || !cycle->is_number_integer() || !full->is_number_integer() ||
            !max->is_number_integer())
            continue;
        Item item{QString::fromStdString(date->get<std::string>()), cycle->get<int64_t>(),
                  full->get<int64_t>(), max->get<int64_t>()};
        if (isReal(item))
            items_.push_back(std::move(item));
    }
}

void BatteryHealthLogger::logBatteryHealthIfNeed() {
    logBatteryHealthIfNeed(&YYSystemBatteryReport::shareReport());
}

BatteryHealthLogger::Item
BatteryHealthLogger::freshItem(const QString& today, const YYSystemBatteryReport& report) const {
    if (!report.fullCapacity() || !report.maxCapacity())
        qFatal("BatteryHealthLogger: the report has no full-charge or design capacity");
    if (report.cycleCount() > uint64_t(std::numeric_limits<int64_t>::max()))
        qFatal("BatteryHealthLogger: cycle count %llu does not fit the log",
               static_cast<unsigned long long>(report.cycleCount()));
    return Item{today, static_cast<int64_t>(report.cycleCount()), *report.fullCapacity(),
                *report.maxCapacity()};
}

void BatteryHealthLogger::logBatteryHealthIfNeed(const YYSystemBatteryReport* report) {
    if (!report || !report->successedLoadBatteryReport())
        return;
    // A battery that gives only a percentage has no capacities to keep.
    if (report->maxCapacity().value_or(0) <= 0 || report->fullCapacity().value_or(0) < 0)
        return;
    const QString today = dayText(clock_());

    // Within a day the entry only moves upward, keeping the day's highest capacity.
    if (!items_.empty() && items_.back().date == today &&
        items_.back().fullCapacity < report->fullCapacity().value_or(0)) {
        items_.pop_back();
        items_.push_back(freshItem(today, *report));
        save();
        return;
    }
    for (const Item& item : items_)
        if (item.date == today)
            return;
    items_.push_back(freshItem(today, *report));
    save();
}

void BatteryHealthLogger::deleteItemAt(int64_t index) {
    if (index < 0 || uint64_t(index) >= items_.size())
        return;
    items_.erase(items_.begin() + index);
    save();
}

void BatteryHealthLogger::save() {
    if (!group_)
        return;
    Json array = Json::array();
    for (const Item& item : items_)
        array.push_back(Json{{"date", item.date.toStdString()},
                             {"cycle", item.cycle},
                             {"fullCapacity", item.fullCapacity},
                             {"maxCapacity", item.maxCapacity}});
    group_->setValue(SettingsKey::BatteryHealthData, std::move(array));
}
