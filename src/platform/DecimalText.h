#pragma once

#include <QString>

#include <algorithm>
#include <charconv>

// "%.<decimals>f" of value with printf's rounding (the exact binary value, ties to even),
// always with a '.' whatever the C library's locale: Qt sets LC_NUMERIC from the desktop's
// language at start-up, so printf would write "1,00" under a German desktop.
inline QString decimalText(double value, int decimals) {
    char buf[400]; // the longest double has 309 integer digits
    const auto r = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed,
                                 std::clamp(decimals, 0, 40));
    return r.ec == std::errc{} ? QString::fromLatin1(buf, r.ptr - buf) : QString();
}
