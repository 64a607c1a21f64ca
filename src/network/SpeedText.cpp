#include "SpeedText.h"

#include "platform/DecimalText.h"

#include <QLocale>

#include <limits>

namespace SpeedText {

namespace {
constexpr uint64_t kSwitchPoint = 1025;
} // namespace

QString formatDecimals(double value, int decimals) {
    return decimalText(value, decimals);
}

ValueAndUnit adaptive(uint64_t kb) {
    if (kb < kSwitchPoint)
        return {formatDecimals(static_cast<double>(kb), 0), QStringLiteral("KB/s")};
    const double mb = static_cast<double>(kb) / 1024.0;
    return {formatDecimals(mb, mb > 10.0 ? 1 : 2), QStringLiteral("MB/s")};
}

ValueAndUnit fixed(uint64_t kb) {
    if (kb < kSwitchPoint)
        return {QString::number(kb), QStringLiteral("KB/s")};
    return {formatDecimals(static_cast<double>(kb) / 1024.0, 2), QStringLiteral("MB/s")};
}

QString compact(uint64_t kb) {
    if (kb < kSwitchPoint)
        return QString::number(kb) + QStringLiteral(" KB");
    const float mb = static_cast<float>(kb) / 1024.0f;
    return decimalText(static_cast<double>(mb), 2) + QStringLiteral(" MB");
}

ValueAndUnit coarse(uint64_t kb) {
    if (kb < kSwitchPoint)
        return {formatDecimals(static_cast<double>(kb), 0), QStringLiteral("KB")};
    const double mb = static_cast<double>(kb) / 1024.0;
    return {formatDecimals(mb, mb > 10.0 ? 0 : 1), QStringLiteral("MB")};
}

QString dataVolumeText(uint64_t kb) {
    const float mb = static_cast<float>(kb) / 1024.0f;
    if (!(mb > 1024.0f))
        return decimalText(static_cast<double>(mb), 0) + QStringLiteral(" MB");
    const double gb = static_cast<double>(mb) / 1024.0;
    if (!(gb > 1024.0))
        return decimalText(gb, 0) + QStringLiteral(" GB");
    return decimalText(gb / 1024.0, 1) + QStringLiteral(" TB");
}

QString binaryAmountText(int64_t kb) {
    int64_t bytes = 0;
    if (__builtin_mul_overflow(kb, int64_t(1024), &bytes))
        bytes = kb < 0 ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
    return binaryByteCountText(bytes);
}

QString binaryByteCountText(int64_t bytes) {
    // The C locale for the point; the kilobyte reads "KB" as everywhere else in the app.
    QString text = QLocale::c().formattedDataSize(bytes, 2, QLocale::DataSizeTraditionalFormat);
    if (text.endsWith(QLatin1String(" kB")))
        text.replace(text.size() - 2, 1, QLatin1Char('K'));
    return text;
}

} // namespace SpeedText
