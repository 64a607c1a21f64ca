#include "YYSystemBatteryReport.h"

#include "platform/linux/LinuxPowerSupply.h"

#include <QDate>
#include <QMetaType>
#include <QTimeZone>

#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>

namespace BatteryReportText {

int64_t truncatedInt64(double v) {
    if (std::isnan(v))
        return 0;
    // 2^63 is exactly representable; anything at or above it does not fit.
    if (v >= 9223372036854775808.0)
        return std::numeric_limits<int64_t>::max();
    if (v < -9223372036854775808.0)
        return std::numeric_limits<int64_t>::min();
    return static_cast<int64_t>(v);
}

int32_t truncatedInt32(double v) {
    if (std::isnan(v))
        return 0;
    if (v >= 2147483648.0)
        return std::numeric_limits<int32_t>::max();
    if (v <= -2147483649.0)
        return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(v);
}

QString twoDigits(int64_t value) {
    // Compared as unsigned, so a negative value is written as it stands.
    if (static_cast<uint64_t>(value) >= 10)
        return QString::number(value);
    return QStringLiteral("0") + QString::number(value);
}

QDateTime decodeManufactureDate(int32_t packed) {
    const int year = (packed >> 9) + 1980;
    const int month = (packed >> 5) & 15;
    const int day = packed & 31;
    const QDate date = QDate(year, 1, 1).addMonths(month - 1).addDays(day - 1);
    return QDateTime(date, QTime(0, 0), QTimeZone::systemTimeZone());
}

} // namespace BatteryReportText

using namespace BatteryReportText;

namespace {

// A registry or description value as the numeric uses read it: null turns into 0.
double number(const QVariantMap& map, const char* key) {
    return map.value(QLatin1String(key)).toDouble();
}

int64_t integer(const QVariantMap& map, const char* key) {
    return map.value(QLatin1String(key)).toLongLong();
}

std::optional<int64_t> boxedInteger(const QVariantMap& map, const char* key) {
    const QVariant v = map.value(QLatin1String(key));
    if (!v.isValid() || v.isNull())
        return std::nullopt;
    return v.toLongLong();
}

// A count below zero cannot be real: read as none.
uint64_t count(const QVariantMap& map, const char* key) {
    return static_cast<uint64_t>(std::max<int64_t>(0, integer(map, key)));
}

// A registry text as it may be shown: without control characters.
QString printable(const QVariantMap& map, const char* key) {
    QString text = map.value(QLatin1String(key)).toString();
    text.removeIf([](QChar c) { return c.category() == QChar::Other_Control; });
    return text;
}

bool isBooleanObject(const QVariant& v, bool expected) {
    return v.typeId() == QMetaType::Bool && v.toBool() == expected;
}

QString numberText(const std::optional<int64_t>& v) {
    return v ? QString::number(*v) : QStringLiteral("(null)");
}

QString numberText(const std::optional<double>& v) {
    if (!v)
        return QStringLiteral("(null)");
    return QString::number(*v, 'g', QLocale::FloatingPointShortest);
}

} // namespace

bool YYSystemBatteryReport::presenceIn(PowerSourceProvider& provider) {
    auto snap = provider.snapshot();
    bool present = false;
    if (!snap)
        return false;
    for (const QVariantMap& d : snap->descriptions)
        present = d.value(QStringLiteral("Is Present")).toBool();
    return present;
}

std::shared_ptr<PowerSourceProvider> YYSystemBatteryReport::defaultProvider() {
    static std::shared_ptr<PowerSourceProvider> provider = std::make_shared<LinuxPowerSupply>();
    return provider;
}

bool YYSystemBatteryReport::hasBattery() {
    static std::once_flag once;
    static bool present = false;
    std::call_once(once, [] { present = presenceIn(*defaultProvider()); });
    return present;
}

bool hasBattery() {
    return YYSystemBatteryReport::hasBattery();
}

YYSystemBatteryReport& YYSystemBatteryReport::shareReport() {
    static YYSystemBatteryReport* report = [] {
        auto* r = new YYSystemBatteryReport(defaultProvider());
        r->loadReports();
        return r;
    }();
    return *report;
}

YYSystemBatteryReport::YYSystemBatteryReport(std::shared_ptr<PowerSourceProvider> provider,
                                             std::function<bool()> presence, Clock clock)
    : provider_(std::move(provider)), presence_(std::move(presence)), clock_(std::move(clock)) {
    if (!presence_)
        presence_ = [] { return YYSystemBatteryReport::hasBattery(); };
    if (!clock_)
        clock_ = [] { return QDateTime::currentDateTime(); };
}

bool YYSystemBatteryReport::loadReports() {
    successedLoadBatteryReport_ = loadBatteryInfos();
    if (successedLoadBatteryReport_)
        loadIOPSReports();
    return successedLoadBatteryReport_;
}

bool YYSystemBatteryReport::loadBatteryInfos() {
    if (!presence_())
        return false;
    auto found = provider_->batteryRegistry();
    if (!found)
        return false;
    const QVariantMap& p = *found;

    serial_ = printable(p, "BatterySerialNumber");
    model_ = printable(p, "DeviceName");
    manufacturer_ = printable(p, "Manufacturer");

    manufactureDate_ = decodeManufactureDate(static_cast<int32_t>(integer(p, "ManufactureDate")));
    age_ = manufactureDate_.date().daysTo(clock_().date());
    if (clock_().time() < manufactureDate_.time())
        --age_;

    cycleCount_ = count(p, "CycleCount");
    maxCycleCount_ = count(p, "DesignCycleCount9C");

    presented_ = p.value(QStringLiteral("BatteryInstalled")).toBool();
    fulled_ = p.value(QStringLiteral("FullyCharged")).toBool();
    changring_ = p.value(QStringLiteral("IsCharging")).toBool();
    connectedAC_ = p.value(QStringLiteral("ExternalConnected")).toBool();

    amperage_ = boxedInteger(p, "Amperage");
    maxCapacity_ = boxedInteger(p, "DesignCapacity");
    fullCapacity_ = boxedInteger(p, "MaxCapacity");
    currentCapacity_ = boxedInteger(p, "CurrentCapacity");

    // Some gauges give full-charge and current capacity as percentages of the design.
    const int32_t full32 = static_cast<int32_t>(fullCapacity_.value_or(0));
    const int32_t current32 = static_cast<int32_t>(currentCapacity_.value_or(0));
    if (full32 <= 100 && current32 <= 100) {
        const double design = double(maxCapacity_.value_or(0));
        const int32_t newFull = truncatedInt32(double(fullCapacity_.value_or(0)) / 100.0 * design);
        fullCapacity_ = newFull;
        currentCapacity_ =
            truncatedInt32(double(currentCapacity_.value_or(0)) / 100.0 * double(newFull));
    }

    health_ = double(float(fullCapacity_.value_or(0)) / float(maxCapacity_.value_or(0))) * 100.0;
    voltage_ = boxedInteger(p, "Voltage");
    temperature_ = number(p, "Temperature") / 100.0;
    power_ = number(p, "Amperage") / 1000.0 * number(p, "Voltage") / 1000.0;
    return true;
}

void YYSystemBatteryReport::loadIOPSReports() {
    auto snap = provider_->snapshot();
    const double e = snap ? snap->timeRemainingEstimate : -1.0;
    iops_timeRemainingEstimate_ = e;
    if (!snap)
        return;

    const QVariantMap* selected = nullptr;
    for (const QVariantMap& d : snap->descriptions) {
        if (isBooleanObject(d.value(QStringLiteral("Is Present")), true)) {
            selected = &d;
            break;
        }
    }
    if (!selected)
        return;
    const QVariantMap& d = *selected;

    const double current = number(d, "Current Capacity");
    const double max = number(d, "Max Capacity");
    const QVariant healthWord = d.value(QStringLiteral("BatteryHealth"));
    if (healthWord.isValid() && !healthWord.isNull())
        iops_healthCondition_ = healthWord.toString();

    iops_power_source_is_battery_ =
        !snap->providingPowerSourceType.isNull() &&
        snap->providingPowerSourceType == QLatin1String(kPowerSourceBatteryPower);
    iops_battery_percentage_ = truncatedInt64(current / max * 100.0);

    const QString state = d.value(QStringLiteral("Power Source State")).toString();
    const QVariant charging = d.value(QStringLiteral("Is Charging"));
    const QString calculating = QStringLiteral("battery.powerSourceState.calculating");

    if (state == QLatin1String(kPowerSourceBatteryPower) && isBooleanObject(charging, false) &&
        (e == -1.0 || e == -2.0)) {
        iops_timeRemainingTitle_ = QStringLiteral("battery.powerSourceState.timeRemaining");
        iops_timeRemainingBody_ = calculating;
    } else if (e == -2.0) {
        if (isBooleanObject(charging, true)) {
            const int32_t m = static_cast<int32_t>(integer(d, "Time to Full Charge"));
            iops_timeRemainingTitle_ = QStringLiteral("battery.powerSourceState.untilFull");
            iops_timeRemainingBody_ =
                m >= 1 ? QStringLiteral("%1:%2").arg(twoDigits(m / 60), twoDigits(m % 60))
                       : calculating;
        } else {
            iops_timeRemainingTitle_ = QStringLiteral("battery.powerSourceState.connectedAC");
            iops_timeRemainingBody_ = fulled_ ? QStringLiteral("battery.powerSourceState.full")
                                              : QStringLiteral("battery.powerSourceState.onHold");
        }
    } else {
        const int32_t s = truncatedInt32(e);
        const int32_t hours = s / 3600;
        const int32_t r = s % 3600;
        const int32_t minutes = r / 60;
        iops_timeRemainingTitle_ = QStringLiteral("battery.powerSourceState.timeRemaining");
        iops_timeRemainingBody_ =
            (hours == 0 && minutes == 0)
                ? calculating
                : QStringLiteral("%1:%2").arg(twoDigits(hours), twoDigits(minutes));
    }
}

int YYSystemBatteryReport::batteryStatus() const {
    if (!presence_() || !successedLoadBatteryReport_ || !connectedAC_)
        return 0;
    return changring_ ? 1 : 2;
}

QString YYSystemBatteryReport::debugDescription() const {
    const QString date =
        manufactureDate_.isValid()
            ? manufactureDate_.toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) +
                  QStringLiteral(" +0000")
            : QStringLiteral("(null)");
    auto line = [](const char* name, const QString& value) {
        return QLatin1String(name) + QStringLiteral(": ") + value + QLatin1Char('\n');
    };
    auto flag = [&](const char* name, bool v) { return line(name, QString::number(v ? 1 : 0)); };
    QString out = QStringLiteral("\n");
    out += line("maxCycleCount", QString::number(maxCycleCount_));
    out += line("cycleCount", QString::number(cycleCount_));
    out += line("serial", serial_);
    out += line("model", model_);
    out += line("manufacturer", manufacturer_);
    out += line("manufactureDate", date);
    out += flag("presented", presented_);
    out += flag("fulled", fulled_);
    out += flag("changring", changring_);
    out += flag("connectedAC", connectedAC_);
    out += line("amperage", numberText(amperage_));
    out += line("currentCapacity", numberText(currentCapacity_));
    out += line("fullCapacity", numberText(fullCapacity_));
    out += line("maxCapacity", numberText(maxCapacity_));
    out += line("voltage", numberText(voltage_));
    out += line("health", numberText(health_));
    out += line("temperature", numberText(temperature_));
    out += line("power", numberText(power_));
    out += line("age", QString::number(age_));
    return out;
}
