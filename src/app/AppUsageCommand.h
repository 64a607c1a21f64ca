#pragma once

#include <QString>

#include <cstdio>

// `lumenstat --apps [today|week] [--json]`: the per-app usage report of the running instance
// (over D-Bus), or, when none runs, of the stored days. Returns the exit status: 0, 1 when
// the report could not be had.
int runAppUsageCommand(int& argc, char** argv, const QString& period, bool json,
                       std::FILE* out = stdout, std::FILE* err = stderr);
