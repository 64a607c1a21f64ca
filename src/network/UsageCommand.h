#pragma once

#include <QStringList>

#include <cstdio>

// `lumenstat --usage [today|24h]`: prints the hourly data usage kept in the group domain as
// a table (hour label, received, sent) followed by the totals, without starting the tray.
// args are the words after "--usage" (a leading "--usage" itself is skipped). With no
// range word the stored "DataUsageTimeRange" setting decides. Returns the exit status:
// 0, or 2 for an unknown argument.
int runUsageCommand(const QStringList& args, std::FILE* out = stdout, std::FILE* err = stderr);
