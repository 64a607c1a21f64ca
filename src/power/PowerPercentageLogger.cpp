#include "PowerPercentageLogger.h"

#include "YYSystemBatteryReport.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QDateTime>
#include <QtGlobal>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace {
// A point with a percentage outside 0...100 or a time that is no moment.
bool isReal(const nlohmann::json& point) {
    const auto cap = point.find("Cap");
    const auto time = point.find("Time");
    if (cap != point.end() && cap->is_number() &&
        !(cap->get<double>() >= 0.0 && cap->get<double>() <= 100.0))
        return false;
    if (time != point.end() && time->is_number() &&
        !(std::isfinite(time->get<double>()) && time->get<double>() >= 0.0))
        return false;
    return true;
}
} // namespace

PowerPercentageLogger& PowerPercentageLogger::shared() {
    static PowerPercentageLogger* logger = new PowerPercentageLogger(Environment{
        &SettingsDomain::group(), &SettingsDomain::standard(),
        [] { return double(QDateTime::currentMSecsSinceEpoch()) / 1000.0; },
        [] { return YYSystemBatteryReport::hasBattery(); },
        []() -> const YYSystemBatteryReport* { return &YYSystemBatteryReport::shareReport(); }});
    return *logger;
}

PowerPercentageLogger::PowerPercentageLogger(Environment environment)
    : env_(std::move(environment)) {
    if (!env_.group || !env_.standard)
        qFatal("PowerPercentageLogger: the settings domains are part of the installation");
    if (!env_.now)
        env_.now = [] { return double(QDateTime::currentMSecsSinceEpoch()) / 1000.0; };
    if (!env_.hasBattery)
        env_.hasBattery = [] { return false; };
    if (!env_.report)
        env_.report = []() -> const YYSystemBatteryReport* { return nullptr; };
    load();
}

void PowerPercentageLogger::load() {
    dataset_.clear();
    if (auto stored = env_.group->array(SettingsKey::BatteryRawData)) {
        const bool dictionaries = std::all_of(stored->begin(), stored->end(),
                                              [](const Json& p) { return p.is_object(); });
        if (dictionaries && stored->size() == size_t(kStoredPoints)) {
            // Points that cannot be real are dropped; the chart and the next save cope
            // with a shorter week.
            std::copy_if(stored->begin(), stored->end(), std::back_inserter(dataset_), isReal);
            if (!dataset_.empty())
                return;
        }
    }
    // A fresh week of placeholders ending one interval ago.
    const double now = env_.now();
    Json seed = Json::array();
    for (int k = kStoredPoints; k >= 1; --k)
        seed.push_back(Json{{"Fake", true},
                            {"Cap", 100},
                            {"Charging", false},
                            {"Time", now - double(k) * getGapTime()}});
    dataset_.assign(seed.begin(), seed.end());
    env_.standard->setValue(SettingsKey::BatteryRawData, std::move(seed));
}

void PowerPercentageLogger::resetData() {
    env_.group->remove(SettingsKey::BatteryRawData);
    load();
}

void PowerPercentageLogger::post() {
    NotificationCenter::defaultCenter().post(QString::fromLatin1(DidUpdateNotification));
}

void PowerPercentageLogger::append(Json point) {
    dataset_.push_back(std::move(point));
    const size_t keep = std::min(dataset_.size(), size_t(kStoredPoints));
    Json tail = Json::array();
    for (auto it = dataset_.end() - std::ptrdiff_t(keep); it != dataset_.end(); ++it)
        tail.push_back(*it);
    env_.group->setValue(SettingsKey::BatteryRawData, std::move(tail));
}

void PowerPercentageLogger::needsUpdate() {
    const double now = env_.now();
    const Json* last = dataset_.empty() ? nullptr : &dataset_.back();
    const auto time = last && last->is_object() ? last->find("Time") : Json::const_iterator();
    if (!last || !last->is_object() || time == last->end() || !time->is_number_float()) {
        resetData();
        return;
    }
    const double lastTime = time->get<double>();
    const double d = std::fabs(now - lastTime);

    if (d > kResetThreshold) {
        resetData();
        post();
        return;
    }
    if (d > kGapFillThreshold) {
        const auto capValue = last->find("Cap");
        const int64_t cap = capValue != last->end() && capValue->is_number_integer()
                                ? capValue->get<int64_t>()
                                : 100;
        const double quotient = d / getGapTime();
        if (!std::isfinite(quotient) || quotient < 0)
            qFatal("PowerPercentageLogger: gap of %f seconds", d);
        const int64_t n = static_cast<int64_t>(quotient);
        for (int64_t k = 1; k <= n; ++k)
            append(Json{{"Fake", true},
                        {"Cap", cap},
                        {"Charging", false},
                        {"Time", lastTime + double(k) * getGapTime()}});
        post();
        return;
    }
    if (d >= kEarlyTolerance) {
        const YYSystemBatteryReport* report = env_.report();
        if (env_.hasBattery() && report && report->successedLoadBatteryReport())
            append(Json{{"Fake", false},
                        {"Cap", report->iops_battery_percentage()},
                        {"Charging", report->changring()},
                        {"Time", now}});
        post();
    }
}
