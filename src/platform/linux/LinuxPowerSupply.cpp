#include "LinuxPowerSupply.h"

#include "PlatformPaths.h"

#include <QDir>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

struct Supply {
    QString name;
    QString dir;
    QString type;
    QString scope;
};

std::optional<QString> readText(const QString& dir, const char* attribute) {
    auto data = PlatformPaths::readSmallFile(dir + "/" + QLatin1String(attribute), 4096);
    if (!data)
        return std::nullopt;
    return QString::fromUtf8(*data).trimmed();
}

std::optional<qint64> readInteger(const QString& dir, const char* attribute) {
    auto text = readText(dir, attribute);
    if (!text || text->isEmpty())
        return std::nullopt;
    bool ok = false;
    const qint64 v = text->toLongLong(&ok);
    if (!ok)
        return std::nullopt;
    return v;
}

// Everything the report needs from one battery folder, in the kernel's units.
struct BatteryReading {
    QString name;
    bool present = true;
    QString status;
    std::optional<qint64> capacityPercent;
    std::optional<qint64> chargeNow, chargeFull, chargeDesign;            // uAh
    std::optional<qint64> energyNow, energyFull, energyDesign;            // uWh
    std::optional<qint64> voltageNow, voltageMinDesign, voltageMaxDesign; // uV
    std::optional<qint64> currentNow;                                     // uA
    std::optional<qint64> powerNow;                                       // uW
    std::optional<qint64> temp;                                           // tenths of a degree
    std::optional<qint64> cycleCount;
    std::optional<qint64> timeToEmpty, timeToFull; // seconds
    std::optional<qint64> year, month, day;
    std::optional<QString> serial, model, manufacturer, health;

    bool discharging() const { return status == QLatin1String("Discharging"); }
    bool charging() const { return status == QLatin1String("Charging"); }

    std::optional<qint64> designVoltage() const {
        for (const auto& v : {voltageMinDesign, voltageMaxDesign, voltageNow})
            if (v && *v > 0)
                return v;
        return std::nullopt;
    }
    // Converts an energy (uWh) to a charge (mAh) with the design voltage.
    std::optional<qint64> energyToMah(std::optional<qint64> energy) const {
        auto volts = designVoltage();
        if (!energy || !volts)
            return std::nullopt;
        return *energy * 1000 / *volts;
    }
    std::optional<qint64> nowMah() const {
        if (chargeNow)
            return *chargeNow / 1000;
        return energyToMah(energyNow);
    }
    std::optional<qint64> fullMah() const {
        if (chargeFull)
            return *chargeFull / 1000;
        return energyToMah(energyFull);
    }
    std::optional<qint64> designMah() const {
        if (chargeDesign)
            return *chargeDesign / 1000;
        return energyToMah(energyDesign);
    }
    std::optional<qint64> percentage() const {
        if (capacityPercent)
            return std::clamp<qint64>(*capacityPercent, 0, 100);
        auto now = energyNow && energyFull ? energyNow : chargeNow;
        auto full = energyNow && energyFull ? energyFull : chargeFull;
        if (now && full && *full > 0)
            return std::clamp<qint64>(std::llround(double(*now) * 100.0 / double(*full)), 0, 100);
        return std::nullopt;
    }
    // Current in mA, unsigned.
    std::optional<qint64> currentMa() const {
        if (currentNow)
            return std::llabs(*currentNow) / 1000;
        if (powerNow && voltageNow && *voltageNow > 0)
            return std::llabs(*powerNow) * 1000 / *voltageNow;
        return std::nullopt;
    }
    // Energy left (uWh) and drain (uW), for the time estimates.
    std::optional<qint64> energyLeft() const {
        if (energyNow)
            return energyNow;
        if (chargeNow && voltageNow)
            return *chargeNow * *voltageNow / 1000000;
        return std::nullopt;
    }
    std::optional<qint64> energyMissing() const {
        if (energyNow && energyFull)
            return std::max<qint64>(0, *energyFull - *energyNow);
        if (chargeNow && chargeFull && voltageNow)
            return std::max<qint64>(0, *chargeFull - *chargeNow) * *voltageNow / 1000000;
        return std::nullopt;
    }
    std::optional<qint64> drain() const {
        if (powerNow)
            return std::llabs(*powerNow);
        if (currentNow && voltageNow)
            return std::llabs(*currentNow) * *voltageNow / 1000000;
        return std::nullopt;
    }
    qint64 minutesToFull() const {
        return charging() ? minutesFrom(timeToFull, energyMissing()) : 0;
    }
    qint64 minutesToEmpty() const {
        return discharging() ? minutesFrom(timeToEmpty, energyLeft()) : 0;
    }
    // The driver's own estimate in seconds when it gives one, else the energy still to move
    // divided by the present rate; -1 while neither is known.
    qint64 minutesFrom(const std::optional<qint64>& seconds,
                       const std::optional<qint64>& energy) const {
        if (seconds && *seconds > 0)
            return *seconds / 60;
        const auto rate = drain();
        if (energy && rate && *rate > 0)
            return *energy * 60 / *rate;
        return -1;
    }
};

BatteryReading readBattery(const Supply& s) {
    BatteryReading b;
    const QString& d = s.dir;
    b.name = s.name;
    if (auto p = readInteger(d, "present"))
        b.present = *p != 0;
    b.status = readText(d, "status").value_or(QString());
    b.capacityPercent = readInteger(d, "capacity");
    b.chargeNow = readInteger(d, "charge_now");
    b.chargeFull = readInteger(d, "charge_full");
    b.chargeDesign = readInteger(d, "charge_full_design");
    b.energyNow = readInteger(d, "energy_now");
    b.energyFull = readInteger(d, "energy_full");
    b.energyDesign = readInteger(d, "energy_full_design");
    b.voltageNow = readInteger(d, "voltage_now");
    b.voltageMinDesign = readInteger(d, "voltage_min_design");
    b.voltageMaxDesign = readInteger(d, "voltage_max_design");
    b.currentNow = readInteger(d, "current_now");
    b.powerNow = readInteger(d, "power_now");
    b.temp = readInteger(d, "temp");
    b.cycleCount = readInteger(d, "cycle_count");
    b.timeToEmpty = readInteger(d, "time_to_empty_now");
    b.timeToFull = readInteger(d, "time_to_full_now");
    b.year = readInteger(d, "manufacture_year");
    b.month = readInteger(d, "manufacture_month");
    b.day = readInteger(d, "manufacture_day");
    b.serial = readText(d, "serial_number");
    b.model = readText(d, "model_name");
    b.manufacturer = readText(d, "manufacturer");
    b.health = readText(d, "health");
    return b;
}

std::optional<std::vector<Supply>> listSupplies(const QString& directory) {
    QDir dir(directory);
    if (!dir.exists())
        return std::nullopt;
    std::vector<Supply> out;
    const auto names = dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::System, QDir::Name);
    for (const QString& name : names) {
        Supply s;
        s.name = name;
        s.dir = directory + "/" + name;
        s.type = readText(s.dir, "type").value_or(QString());
        s.scope = readText(s.dir, "scope").value_or(QString());
        // Peripherals (mice, headsets) report their own batteries with scope "Device".
        if (s.scope.compare(QLatin1String("Device"), Qt::CaseInsensitive) == 0)
            continue;
        out.push_back(s);
    }
    return out;
}

bool isBattery(const Supply& s) {
    return s.type == QLatin1String("Battery");
}

bool externalPowerConnected(const std::vector<Supply>& supplies,
                            const std::vector<BatteryReading>& batteries) {
    bool sawMains = false;
    for (const Supply& s : supplies) {
        if (isBattery(s))
            continue;
        auto online = readInteger(s.dir, "online");
        if (!online)
            continue;
        sawMains = true;
        if (*online != 0)
            return true;
    }
    if (sawMains)
        return false;
    for (const BatteryReading& b : batteries)
        if (b.present && b.discharging())
            return false;
    return true;
}

QString healthWord(const BatteryReading& b) {
    if (b.health && !b.health->isEmpty() && *b.health != QLatin1String("Unknown"))
        return *b.health;
    auto full = b.fullMah();
    auto design = b.designMah();
    if (!full || !design || *design <= 0)
        return QString();
    const double ratio = double(*full) / double(*design);
    if (ratio >= 0.8)
        return QStringLiteral("Good");
    if (ratio >= 0.6)
        return QStringLiteral("Fair");
    return QStringLiteral("Poor");
}

} // namespace

LinuxPowerSupply::LinuxPowerSupply(QString sysfsRoot) : root_(std::move(sysfsRoot)) {}

QString LinuxPowerSupply::powerSupplyDirectory() const {
    const QString root = root_.isEmpty() ? PlatformPaths::sysfsRoot() : root_;
    return root + "/class/power_supply";
}

std::optional<PowerSourceSnapshot> LinuxPowerSupply::snapshot() {
    auto supplies = listSupplies(powerSupplyDirectory());
    if (!supplies)
        return std::nullopt;
    std::vector<BatteryReading> batteries;
    for (const Supply& s : *supplies)
        if (isBattery(s))
            batteries.push_back(readBattery(s));

    const bool external = externalPowerConnected(*supplies, batteries);
    PowerSourceSnapshot snap;
    snap.providingPowerSourceType =
        QLatin1String(external ? kPowerSourceACPower : kPowerSourceBatteryPower);

    qint64 energy = 0, rate = 0;
    bool energyKnown = true;
    std::optional<qint64> kernelEstimate;
    for (const BatteryReading& b : batteries) {
        QVariantMap d;
        d["Name"] = b.name;
        d["Type"] = QStringLiteral("InternalBattery");
        d["Transport Type"] = QStringLiteral("Internal");
        d["Is Present"] = b.present;
        d["Power Source State"] =
            QLatin1String(external ? kPowerSourceACPower : kPowerSourceBatteryPower);
        d["Is Charging"] = b.charging();
        d["Is Charged"] = b.status == QLatin1String("Full");
        if (auto p = b.percentage()) {
            d["Current Capacity"] = *p;
            d["Max Capacity"] = qint64(100);
        }
        d["Time to Full Charge"] = b.minutesToFull();
        d["Time to Empty"] = b.minutesToEmpty();
        if (const QString h = healthWord(b); !h.isEmpty())
            d["BatteryHealth"] = h;
        snap.descriptions.push_back(d);

        if (!b.present)
            continue;
        auto left = b.energyLeft();
        auto drain = b.drain();
        if (left && drain) {
            energy += *left;
            rate += *drain;
        } else {
            energyKnown = false;
        }
        if (b.timeToEmpty && *b.timeToEmpty > 0 && !kernelEstimate)
            kernelEstimate = b.timeToEmpty;
    }

    if (external) {
        snap.timeRemainingEstimate = -2.0;
    } else if (energyKnown && rate > 0) {
        snap.timeRemainingEstimate = double(energy) / double(rate) * 3600.0;
    } else if (kernelEstimate) {
        snap.timeRemainingEstimate = double(*kernelEstimate);
    } else {
        snap.timeRemainingEstimate = -1.0;
    }
    return snap;
}

std::optional<QVariantMap> LinuxPowerSupply::batteryRegistry() {
    auto supplies = listSupplies(powerSupplyDirectory());
    if (!supplies)
        return std::nullopt;
    std::vector<BatteryReading> batteries;
    for (const Supply& s : *supplies)
        if (isBattery(s))
            batteries.push_back(readBattery(s));
    if (batteries.empty())
        return std::nullopt;

    const BatteryReading& b = batteries.front();
    const bool external = externalPowerConnected(*supplies, batteries);
    QVariantMap r;
    r["BatteryInstalled"] = b.present;
    r["IsCharging"] = b.charging();
    r["ExternalConnected"] = external;
    const auto percent = b.percentage();
    r["FullyCharged"] = b.status == QLatin1String("Full") ||
                        (b.status == QLatin1String("Not charging") && percent && *percent >= 100);
    if (b.serial)
        r["BatterySerialNumber"] = *b.serial;
    if (b.model)
        r["DeviceName"] = *b.model;
    if (b.manufacturer)
        r["Manufacturer"] = *b.manufacturer;
    if (b.cycleCount)
        r["CycleCount"] = *b.cycleCount;
    if (b.year && b.month && b.day && *b.year >= 1980)
        r["ManufactureDate"] = ((*b.year - 1980) << 9) | ((*b.month & 15) << 5) | (*b.day & 31);
    if (auto v = b.voltageNow)
        r["Voltage"] = *v / 1000;
    if (auto a = b.currentMa())
        r["Amperage"] = b.discharging() ? -*a : *a;
    if (auto t = b.temp)
        r["Temperature"] = *t * 10;
    // The three capacities are always given, as a gauge always gives them: the health log
    // cannot record a day without them.
    auto full = b.fullMah();
    auto now = b.nowMah();
    r["DesignCapacity"] = b.designMah().value_or(full.value_or(0));
    if (full && now) {
        r["MaxCapacity"] = *full;
        r["CurrentCapacity"] = *now;
    } else if (percent) {
        // Only a percentage is known: hand it over as one, the report rescales it.
        r["MaxCapacity"] = qint64(100);
        r["CurrentCapacity"] = *percent;
    } else {
        r["MaxCapacity"] = full.value_or(0);
        r["CurrentCapacity"] = now.value_or(0);
    }
    return r;
}
