#include "SpeedText.h"

#include "platform/DecimalText.h"

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

} // namespace SpeedText
