#pragma once

#include <QString>

#include <cstdint>

// The text rules that turn a pace (KB per second) or a total (KB) into display strings.
// Every speed rule switches from KB to MB at 1025 KB (MB = KB / 1024).
namespace SpeedText {

// A number and its unit, for displays that draw the unit separately.
struct ValueAndUnit {
    QString value;
    QString unit;
};

// "%.0lf" KB; from 1025: "%.1lf" MB above 10 MB, else "%.2lf". Units "KB/s" / "MB/s".
ValueAndUnit adaptive(uint64_t kb);
// Plain integer KB; from 1025: "%.2lf" MB. Units "KB/s" / "MB/s".
ValueAndUnit fixed(uint64_t kb);
// "%ld KB"; from 1025: "%.2lf MB" with the division in single precision. One string.
QString compact(uint64_t kb);
// "%.0lf" KB; from 1025: "%.0lf" MB above 10 MB, else "%.1lf". Units "KB" / "MB".
ValueAndUnit coarse(uint64_t kb);

// "%.0lf MB" up to 1024 MB, "%.0lf GB" up to 1024 GB, else "%.1lf TB".
QString dataVolumeText(uint64_t kb);

// "%." + decimals + "lf" applied to value.
QString formatDecimals(double value, int decimals);

// An amount in KB in the binary byte-count style (base 1024, "KB"/"MB"/"GB" labels, two
// decimals, always a decimal point): the data-usage texts of the panel and `--usage`.
QString binaryAmountText(int64_t kb);
// A byte count in the same binary style ("512 bytes", "1.50 MB").
QString binaryByteCountText(int64_t bytes);

} // namespace SpeedText
