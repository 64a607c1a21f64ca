#pragma once

#include <cstdio>
#include <memory>

class PowerSourceProvider;
class SettingsDomain;

// `lumenstat --battery`: prints the battery report (every field, the percentage, the state
// and the time text) and the battery health log; says so plainly when the machine has no
// battery. Reads the power_supply tree under LUMENSTAT_SYSFS_ROOT (default /sys). Returns
// the process exit code: 0 also when there is no battery, 1 when the battery could not be
// read.
int runBatteryCommand();

// The same over a given power-source layer and group domain, writing to out.
int runBatteryCommand(std::FILE* out, std::shared_ptr<PowerSourceProvider> provider,
                      SettingsDomain* group);
