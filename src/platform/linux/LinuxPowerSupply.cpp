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

// A sysfs text without control characters: a NUL or an escape sequence in a driver's string
// must not cut or colour whatever prints it.
std::optional<QString> readText(const QString& dir, const char* attribute) {
    auto data = PlatformPaths::readSmallFile(dir + "/" + QLatin1String(attribute), 4096);
    if (!data)
        return std::nullopt;
    QString text = QString::fromUtf8(*data);
    text.removeIf([](QChar c) { return c.category() == QChar::Other_Control; });
    return text.trimmed();
}

// An integer attribute within [low, high]. Anything else (empty, text, out of range) counts
// as missing, so a driver's garbage never reaches the arithmetic below: with the ranges used
// here every product stays far inside 64 bits.
std::optional<qint64> readInteger(const QString& dir, const char* attribute, qint64 low,
                                  qint64 high) {
    auto data = PlatformPaths::readSmallFile(dir + "/" + QLatin1String(attribute), 64);
    if (!data)
        return std::nullopt;
    bool ok = false;
    const qint64 v = data->trimmed().toLongLong(&ok);
    if (!ok || v < low || v > high)
        return std::nullopt;
    return v;
}

constexpr qint64 kMaxCharge = 1'000'000'000;     // uAh: 1000 Ah
constexpr qint64 kMaxEnergy = 1'000'000'000'000; // uWh: 1 MWh
constexpr qint64 kMaxVoltage = 1'000'000'000;    // uV: 1 kV
constexpr qint64 kMaxCurrent = 1'000'000'000;    // uA: 1 kA
constexpr qint64 kMaxPower = 1'000'000'000'000;  // uW: 1 MW
constexpr qint64 kMaxSeconds = 1'000'000'000;    // about 30 years
constexpr qint64 kMaxCycles = 10'000'000;

// The percentage a battery gives by level only.
std::optional<qint64> levelPercentage(const std::optional<QString>& level) {
    if (!level)
        return std::nullopt;
    static const std::pair<const char*, qint64> levels[] = {
        {"Full", 100}, {"High", 80}, {"Normal", 50}, {"Low", 20}, {"Critical", 5}};
    for (const auto& [name, percent] : levels)
        if (level->compare(QLatin1String(name), Qt::CaseInsensitive) == 0)
            return percent;
    return std::nullopt;
}

// Everything the report needs from one battery folder, in the kernel's units.
struct BatteryReading {
    QString name;
    bool present = true;
    QString status;
    std::optional<qint64> capacityPercent;
    std::optional<QString> capacityLevel;
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
            return std::min<qint64>(*capacityPercent, 100);
        auto now = energyNow && energyFull ? energyNow : chargeNow;
        auto full = energyNow && energyFull ? energyFull : chargeFull;
        if (now && full && *full > 0)
            return std::min<qint64>(std::llround(double(*now) * 100.0 / double(*full)), 100);
        return levelPercentage(capacityLevel);
    }
    // Without a charge or energy reading, the percentage of the full-charge capacity.
    std::optional<qint64> nowMah() const {
        if (chargeNow)
            return *chargeNow / 1000;
        if (auto e = energyToMah(energyNow))
            return e;
        auto full = fullMah();
        auto percent = percentage();
        if (full && percent)
            return *full * *percent / 100;
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
    std::optional<qint64> signedCurrentMa() const {
        auto a = currentMa();
        if (a && discharging())
            return -*a;
        return a;
    }
    // Energies (uWh) and drain (uW), for the time estimates.
    std::optional<qint64> energyFullUwh() const {
        if (energyFull)
            return energyFull;
        if (chargeFull && voltageNow)
            return *chargeFull * *voltageNow / 1000000;
        return std::nullopt;
    }
    std::optional<qint64> energyLeft() const {
        if (energyNow)
            return energyNow;
        if (chargeNow && voltageNow)
            return *chargeNow * *voltageNow / 1000000;
        auto full = energyFullUwh();
        auto percent = percentage();
        if (full && percent)
            return *full * *percent / 100;
        return std::nullopt;
    }
    std::optional<qint64> energyMissing() const {
        auto full = energyFullUwh();
        auto left = energyLeft();
        if (full && left)
            return std::max<qint64>(0, *full - *left);
        return std::nullopt;
    }
    std::optional<qint64> drain() const {
        if (powerNow)
            return std::llabs(*powerNow);
        if (currentNow && voltageNow)
            return std::llabs(*currentNow) * *voltageNow / 1000000;
        return std::nullopt;
    }
    std::optional<qint64> packedManufactureDate() const {
        if (!year || !month || !day)
            return std::nullopt;
        return ((*year - 1980) << 9) | (*month << 5) | *day;
    }
};

BatteryReading readBattery(const Supply& s) {
    BatteryReading b;
    const QString& d = s.dir;
    auto integer = [&d](const char* attribute, qint64 low, qint64 high) {
        return readInteger(d, attribute, low, high);
    };
    b.name = s.name;
    if (auto p = integer("present", 0, 1))
        b.present = *p != 0;
    b.status = readText(d, "status").value_or(QString());
    b.capacityPercent = integer("capacity", 0, 1000);
    b.capacityLevel = readText(d, "capacity_level");
    b.chargeNow = integer("charge_now", 0, kMaxCharge);
    b.chargeFull = integer("charge_full", 0, kMaxCharge);
    b.chargeDesign = integer("charge_full_design", 0, kMaxCharge);
    b.energyNow = integer("energy_now", 0, kMaxEnergy);
    b.energyFull = integer("energy_full", 0, kMaxEnergy);
    b.energyDesign = integer("energy_full_design", 0, kMaxEnergy);
    b.voltageNow = integer("voltage_now", 0, kMaxVoltage);
    b.voltageMinDesign = integer("voltage_min_design", 0, kMaxVoltage);
    b.voltageMaxDesign = integer("voltage_max_design", 0, kMaxVoltage);
    b.currentNow = integer("current_now", -kMaxCurrent, kMaxCurrent);
    b.powerNow = integer("power_now", -kMaxPower, kMaxPower);
    b.temp = integer("temp", -2730, 10000);
    b.cycleCount = integer("cycle_count", 0, kMaxCycles);
    b.timeToEmpty = integer("time_to_empty_now", 0, kMaxSeconds);
    b.timeToFull = integer("time_to_full_now", 0, kMaxSeconds);
    // The packed date holds years 1980 to 2107.
    b.year = integer("manufacture_year", 1980, 2107);
    b.month = integer("manufacture_month", 1, 12);
    b.day = integer("manufacture_day", 1, 31);
    b.serial = readText(d, "serial_number");
    b.model = readText(d, "model_name");
    b.manufacturer = readText(d, "manufacturer");
    b.health = readText(d, "health");
    if (b.health && (b.health->isEmpty() || *b.health == QLatin1String("Unknown")))
        b.health.reset();
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

// A battery that charges has external power, whatever the supplies say (chargers that
// report no mains supply, USB-C supplies that are slow to come online).
bool externalPowerConnected(const std::vector<Supply>& supplies,
                            const std::vector<BatteryReading>& batteries) {
    for (const BatteryReading& b : batteries)
        if (b.present && b.charging())
            return true;
    bool sawMains = false;
    for (const Supply& s : supplies) {
        if (isBattery(s))
            continue;
        auto online = readInteger(s.dir, "online", 0, 1);
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

std::optional<qint64> sumOf(const std::vector<const BatteryReading*>& batteries,
                            std::optional<qint64> (BatteryReading::*value)() const) {
    qint64 sum = 0;
    for (const BatteryReading* b : batteries) {
        auto v = (b->*value)();
        if (!v)
            return std::nullopt;
        sum += *v;
    }
    return sum;
}

// Minutes until full or empty: a single battery's own estimate when it gives one, else the
// energy still to move over the summed rate; -1 while neither is known.
qint64 minutesFrom(const std::optional<qint64>& ownSeconds, const std::optional<qint64>& energy,
                   const std::optional<qint64>& rate) {
    if (ownSeconds && *ownSeconds > 0)
        return *ownSeconds / 60;
    if (energy && rate && *rate > 0)
        return *energy * 60 / *rate;
    return -1;
}

// The present batteries seen as one, as desktop power managers show them: charges,
// capacities, energies and rates summed, the percentage of the summed energy. Identity
// (serial, model, date, voltage) is the first battery's; cycle count and temperature the
// highest. With one battery this is that battery.
struct CombinedBattery {
    QString name;
    bool present = false;
    QString status;
    std::optional<qint64> percent, nowMah, fullMah, designMah;
    std::optional<qint64> energyLeft, drain, timeToEmpty; // uWh, uW, s
    std::optional<qint64> voltageMv, amperageMa, temp, cycleCount, manufactureDate;
    std::optional<QString> serial, model, manufacturer;
    qint64 minutesToFull = 0, minutesToEmpty = 0;
    QString health;

    bool charging() const { return status == QLatin1String("Charging"); }
    bool discharging() const { return status == QLatin1String("Discharging"); }
};

QString healthWord(const std::optional<qint64>& full, const std::optional<qint64>& design) {
    if (!full || !design || *design <= 0)
        return QString();
    const double ratio = double(*full) / double(*design);
    if (ratio >= 0.8)
        return QStringLiteral("Good");
    if (ratio >= 0.6)
        return QStringLiteral("Fair");
    return QStringLiteral("Poor");
}

CombinedBattery combine(const std::vector<BatteryReading>& all) {
    CombinedBattery c;
    std::vector<const BatteryReading*> batteries;
    for (const BatteryReading& b : all)
        if (b.present)
            batteries.push_back(&b);
    if (batteries.empty()) {
        if (!all.empty())
            c.name = all.front().name;
        return c;
    }
    const BatteryReading& first = *batteries.front();
    const bool single = batteries.size() == 1;
    c.present = true;
    QStringList names;
    for (const BatteryReading* b : batteries)
        names << b->name;
    c.name = names.join(QLatin1Char('+'));

    auto any = [&](bool (BatteryReading::*test)() const) {
        return std::any_of(batteries.begin(), batteries.end(),
                           [&](const BatteryReading* b) { return (b->*test)(); });
    };
    const bool allFull = std::all_of(batteries.begin(), batteries.end(), [](const auto* b) {
        return b->status == QLatin1String("Full");
    });
    c.status = any(&BatteryReading::charging)      ? QStringLiteral("Charging")
               : any(&BatteryReading::discharging) ? QStringLiteral("Discharging")
               : allFull                           ? QStringLiteral("Full")
                                                   : first.status;

    c.fullMah = sumOf(batteries, &BatteryReading::fullMah);
    c.designMah = sumOf(batteries, &BatteryReading::designMah);
    c.nowMah = sumOf(batteries, &BatteryReading::nowMah);
    c.energyLeft = sumOf(batteries, &BatteryReading::energyLeft);
    const auto energyFull = sumOf(batteries, &BatteryReading::energyFullUwh);
    const auto missing = sumOf(batteries, &BatteryReading::energyMissing);
    c.drain = sumOf(batteries, &BatteryReading::drain);

    if (single) {
        c.percent = first.percentage();
    } else if (c.energyLeft && energyFull && *energyFull > 0) {
        c.percent = std::min<qint64>(
            std::llround(double(*c.energyLeft) * 100.0 / double(*energyFull)), 100);
    } else if (c.nowMah && c.fullMah && *c.fullMah > 0) {
        c.percent =
            std::min<qint64>(std::llround(double(*c.nowMah) * 100.0 / double(*c.fullMah)), 100);
    } else if (auto sum = sumOf(batteries, &BatteryReading::percentage)) {
        c.percent = *sum / qint64(batteries.size());
    }

    c.timeToEmpty = single ? first.timeToEmpty : std::nullopt;
    if (c.charging())
        c.minutesToFull = minutesFrom(single ? first.timeToFull : std::nullopt, missing, c.drain);
    if (c.discharging())
        c.minutesToEmpty = minutesFrom(c.timeToEmpty, c.energyLeft, c.drain);

    c.voltageMv = first.voltageNow ? std::optional<qint64>(*first.voltageNow / 1000) : std::nullopt;
    for (const BatteryReading* b : batteries) {
        if (auto a = b->signedCurrentMa())
            c.amperageMa = c.amperageMa.value_or(0) + *a;
        if (b->temp)
            c.temp = std::max(c.temp.value_or(b->temp.value()), *b->temp);
        if (b->cycleCount)
            c.cycleCount = std::max(c.cycleCount.value_or(0), *b->cycleCount);
    }
    c.manufactureDate = first.packedManufactureDate();
    c.serial = first.serial;
    c.model = first.model;
    c.manufacturer = first.manufacturer;

    // The driver's own word when every battery gives the same one, else the capacity ratio.
    const bool sameWord = std::all_of(batteries.begin(), batteries.end(), [&](const auto* b) {
        return b->health && first.health && *b->health == *first.health;
    });
    c.health = sameWord ? *first.health : healthWord(c.fullMah, c.designMah);
    return c;
}

struct Reading {
    std::vector<Supply> supplies;
    std::vector<BatteryReading> batteries;
    bool external = false;
    CombinedBattery battery;
};

std::optional<Reading> readAll(const QString& directory) {
    auto supplies = listSupplies(directory);
    if (!supplies)
        return std::nullopt;
    Reading r;
    r.supplies = std::move(*supplies);
    for (const Supply& s : r.supplies)
        if (isBattery(s))
            r.batteries.push_back(readBattery(s));
    r.external = externalPowerConnected(r.supplies, r.batteries);
    r.battery = combine(r.batteries);
    return r;
}

} // namespace

LinuxPowerSupply::LinuxPowerSupply(QString sysfsRoot) : root_(std::move(sysfsRoot)) {}

QString LinuxPowerSupply::powerSupplyDirectory() const {
    const QString root = root_.isEmpty() ? PlatformPaths::sysfsRoot() : root_;
    return root + "/class/power_supply";
}

QString LinuxPowerSupply::location() const {
    return powerSupplyDirectory();
}

std::optional<PowerSourceSnapshot> LinuxPowerSupply::snapshot() {
    auto reading = readAll(powerSupplyDirectory());
    if (!reading)
        return std::nullopt;
    PowerSourceSnapshot snap;
    const QLatin1String state(reading->external ? kPowerSourceACPower : kPowerSourceBatteryPower);
    snap.providingPowerSourceType = state;
    if (reading->batteries.empty())
        return snap;

    const CombinedBattery& b = reading->battery;
    QVariantMap d;
    d["Name"] = b.name;
    d["Type"] = QStringLiteral("InternalBattery");
    d["Transport Type"] = QStringLiteral("Internal");
    d["Is Present"] = b.present;
    d["Power Source State"] = state;
    d["Is Charging"] = b.charging();
    d["Is Charged"] = b.status == QLatin1String("Full");
    if (b.percent) {
        d["Current Capacity"] = *b.percent;
        d["Max Capacity"] = qint64(100);
    }
    d["Time to Full Charge"] = b.minutesToFull;
    d["Time to Empty"] = b.minutesToEmpty;
    if (!b.health.isEmpty())
        d["BatteryHealth"] = b.health;
    snap.descriptions.push_back(d);

    if (reading->external)
        snap.timeRemainingEstimate = -2.0;
    else if (b.energyLeft && b.drain && *b.drain > 0)
        snap.timeRemainingEstimate = double(*b.energyLeft) / double(*b.drain) * 3600.0;
    else if (b.timeToEmpty && *b.timeToEmpty > 0)
        snap.timeRemainingEstimate = double(*b.timeToEmpty);
    else
        snap.timeRemainingEstimate = -1.0;
    return snap;
}

std::optional<QVariantMap> LinuxPowerSupply::batteryRegistry() {
    auto reading = readAll(powerSupplyDirectory());
    if (!reading || reading->batteries.empty())
        return std::nullopt;

    const CombinedBattery& b = reading->battery;
    QVariantMap r;
    r["BatteryInstalled"] = b.present;
    r["IsCharging"] = b.charging();
    r["ExternalConnected"] = reading->external;
    r["FullyCharged"] =
        b.status == QLatin1String("Full") ||
        (b.status == QLatin1String("Not charging") && b.percent && *b.percent >= 100);
    if (b.serial)
        r["BatterySerialNumber"] = *b.serial;
    if (b.model)
        r["DeviceName"] = *b.model;
    if (b.manufacturer)
        r["Manufacturer"] = *b.manufacturer;
    if (b.cycleCount)
        r["CycleCount"] = *b.cycleCount;
    if (b.manufactureDate)
        r["ManufactureDate"] = *b.manufactureDate;
    if (b.voltageMv)
        r["Voltage"] = *b.voltageMv;
    if (b.amperageMa)
        r["Amperage"] = *b.amperageMa;
    if (b.temp)
        r["Temperature"] = *b.temp * 10;
    // The three capacities are always given, as a gauge always gives them: the health log
    // cannot record a day without them.
    r["DesignCapacity"] = b.designMah.value_or(b.fullMah.value_or(0));
    if (b.fullMah && b.nowMah) {
        r["MaxCapacity"] = *b.fullMah;
        r["CurrentCapacity"] = *b.nowMah;
    } else if (b.percent) {
        // Only a percentage is known: hand it over as one, the report rescales it.
        r["MaxCapacity"] = qint64(100);
        r["CurrentCapacity"] = *b.percent;
    } else {
        r["MaxCapacity"] = b.fullMah.value_or(0);
        r["CurrentCapacity"] = b.nowMah.value_or(0);
    }
    return r;
}
