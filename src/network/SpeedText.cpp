#include "SpeedText.h"

#include <cstdio>

namespace SpeedText {

namespace {
constexpr uint64_t kSwitchPoint = 1025;

QString printf1(const char* format, double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, format, v);
    return QString::fromLatin1(buf);
}
} // namespace

QString formatDecimals(double value, int decimals) {
    char format[16];
    std::snprintf(format, sizeof format, "%%.%dlf", decimals);
    return printf1(format, value);
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
    if (kb < kSwitchPoint) {
        char buf[48];
        std::snprintf(buf, sizeof buf, "%ld KB", static_cast<long>(kb));
        return QString::fromLatin1(buf);
    }
    const float mb = static_cast<float>(kb) / 1024.0f;
    return printf1("%.2lf MB", static_cast<double>(mb));
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
        return printf1("%.0lf MB", static_cast<double>(mb));
    const double gb = static_cast<double>(mb) / 1024.0;
    if (!(gb > 1024.0))
        return printf1("%.0lf GB", gb);
    return printf1("%.1lf TB", gb / 1024.0);
}

} // namespace SpeedText
