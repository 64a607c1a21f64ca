#pragma once

#include "platform/PowerSources.h"

#include <QString>

// The power-source service over the kernel's power_supply class
// (<sysfs root>/class/power_supply/*). Batteries of system scope make up one power source:
// with several batteries, the combined battery as desktop power managers show it (charges,
// capacities, energies and rates summed, the percentage of the summed energy, identity from
// the first battery, the highest cycle count and temperature). Mains and USB supplies only
// tell whether external power is connected.
//
// Every attribute is read through PlatformPaths::readSmallFile (regular files only, capped,
// never blocking). An integer outside its plausible range, empty or not a number counts as
// missing; control characters are stripped from texts.
//
// Which attribute feeds which key:
//   description "Is Present"          <- present (a battery without the attribute is present)
//   description "Current Capacity"    <- capacity (percent), else charge_now / charge_full or
//                                        energy_now / energy_full as a percentage, else
//                                        capacity_level (Full 100, High 80, Normal 50, Low 20,
//                                        Critical 5)
//   description "Max Capacity"        <- 100 (the percentage scale)
//   description "Is Charging"         <- status == "Charging" (any battery)
//   description "Is Charged"          <- status == "Full" (every battery)
//   description "Power Source State"  <- "AC Power" when external power is connected, else
//                                        "Battery Power"
//   description "Time to Full Charge" <- time_to_full_now / 60, else the missing energy divided
//                                        by the present rate; -1 when unknown (minutes)
//   description "Time to Empty"       <- time_to_empty_now / 60, else energy / rate; -1
//   description "BatteryHealth"       <- health (when known), else full/design >= 80 % "Good",
//                                        >= 60 % "Fair", below "Poor"
//   registry "BatteryInstalled"       <- present
//   registry "FullyCharged"           <- status == "Full", or "Not charging" at 100 %
//   registry "IsCharging"             <- status == "Charging"
//   registry "ExternalConnected"      <- a battery charging, or any system mains/USB supply
//                                        online (without such a supply: no battery is
//                                        discharging)
//   registry "DesignCapacity"         <- charge_full_design (uAh / 1000), or
//                                        energy_full_design converted with the design voltage;
//                                        without either the full-charge capacity, else 0
//   registry "MaxCapacity"            <- charge_full, or energy_full converted; without either
//                                        100 (a percentage, rescaled by the report), else 0
//   registry "CurrentCapacity"        <- charge_now, or energy_now converted, or the
//                                        percentage of the full-charge capacity; without a
//                                        full-charge capacity the percentage itself, else 0
//   registry "Voltage"                <- voltage_now (uV / 1000, mV)
//   registry "Amperage"               <- |current_now| / 1000 (mA), else power_now / voltage_now;
//                                        negative while the status is "Discharging"
//   registry "Temperature"            <- temp (tenths of a degree) x 10
//   registry "CycleCount"             <- cycle_count
//   registry "ManufactureDate"        <- manufacture_year/_month/_day packed as
//                                        (year - 1980) << 9 | month << 5 | day
//   registry "BatterySerialNumber", "DeviceName", "Manufacturer"
//                                     <- serial_number, model_name, manufacturer
// The design voltage is voltage_min_design, else voltage_max_design, else voltage_now; an
// energy of E uWh at V uV is E * 1000 / V mAh.
// The time-remaining estimate is -2 on external power; on battery it is the summed remaining
// energy over the summed drain, else a single battery's time_to_empty_now, else -1.
class LinuxPowerSupply : public PowerSourceProvider {
public:
    // An empty root follows PlatformPaths::sysfsRoot() at every read.
    explicit LinuxPowerSupply(QString sysfsRoot = QString());

    std::optional<PowerSourceSnapshot> snapshot() override;
    std::optional<QVariantMap> batteryRegistry() override;
    QString location() const override;

    QString powerSupplyDirectory() const;

private:
    QString root_;
};
