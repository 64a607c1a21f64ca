// Text rules for paces and totals, the activity record's averages and the route classifier.
#include "network/ActivityObject.h"
#include "network/Reachability.h"
#include "network/SpeedText.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>

namespace {

// Switches the C library to de_DE.UTF-8, generating the locale into a private folder when the
// system lacks it. False when that is impossible here.
bool useGermanLocale() {
    static QTemporaryDir dir;
    if (std::setlocale(LC_ALL, "de_DE.UTF-8"))
        return true;
    const QString target = dir.path() + "/de_DE.UTF-8";
    if (QProcess::execute("localedef", {"-i", "de_DE", "-f", "UTF-8", target}) != 0 &&
        !QFile::exists(target + "/LC_NUMERIC"))
        return false;
    qputenv("LOCPATH", dir.path().toLocal8Bit());
    return std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
}

TEST(SpeedText, DecimalPointUnderAGermanLocale) {
    if (!useGermanLocale())
        GTEST_SKIP() << "de_DE.UTF-8 cannot be generated here";
    char probe[16];
    std::snprintf(probe, sizeof probe, "%.2f", 1.0);
    EXPECT_STREQ(probe, "1,00") << "the locale is active";
    EXPECT_EQ(SpeedText::adaptive(1025).value, "1.00");
    EXPECT_EQ(SpeedText::adaptive(20480).value, "20.0");
    EXPECT_EQ(SpeedText::fixed(1536).value, "1.50");
    EXPECT_EQ(SpeedText::compact(1025), "1.00 MB");
    EXPECT_EQ(SpeedText::coarse(1536).value, "1.5");
    EXPECT_EQ(SpeedText::dataVolumeText(2147483648ull), "2.0 TB");
    EXPECT_EQ(SpeedText::formatDecimals(866.65, 1), "866.6")
        << "printf's rounding of the binary value";
    EXPECT_EQ(SpeedText::formatDecimals(0.125, 2), "0.12") << "an exact tie goes to even";
    std::setlocale(LC_ALL, "C");
}

TEST(SpeedText, KilobyteToMegabyteSwitchAt1025) {
    EXPECT_EQ(SpeedText::adaptive(0).value, "0");
    EXPECT_EQ(SpeedText::adaptive(1024).value, "1024");
    EXPECT_EQ(SpeedText::adaptive(1024).unit, "KB/s");
    EXPECT_EQ(SpeedText::adaptive(1025).value, "1.00");
    EXPECT_EQ(SpeedText::adaptive(1025).unit, "MB/s");
    EXPECT_EQ(SpeedText::fixed(1024).value, "1024");
    EXPECT_EQ(SpeedText::fixed(1025).value, "1.00");
    EXPECT_EQ(SpeedText::fixed(1025).unit, "MB/s");
    EXPECT_EQ(SpeedText::compact(1024), "1024 KB");
    EXPECT_EQ(SpeedText::compact(1025), "1.00 MB");
    EXPECT_EQ(SpeedText::coarse(1024).value, "1024");
    EXPECT_EQ(SpeedText::coarse(1024).unit, "KB");
    EXPECT_EQ(SpeedText::coarse(1025).value, "1.0");
    EXPECT_EQ(SpeedText::coarse(1025).unit, "MB");
}

TEST(SpeedText, DecimalsAroundTenMegabytes) {
    EXPECT_EQ(SpeedText::adaptive(10240).value, "10.00") << "10 MB is not above 10";
    EXPECT_EQ(SpeedText::adaptive(10241).value, "10.0");
    EXPECT_EQ(SpeedText::coarse(10240).value, "10.0");
    EXPECT_EQ(SpeedText::coarse(10241).value, "10");
    EXPECT_EQ(SpeedText::fixed(10241).value, "10.00");
    EXPECT_EQ(SpeedText::fixed(1536000).value, "1500.00");
    EXPECT_EQ(SpeedText::compact(1536000), "1500.00 MB");
}

TEST(SpeedText, VolumeSteps) {
    EXPECT_EQ(SpeedText::dataVolumeText(0), "0 MB");
    EXPECT_EQ(SpeedText::dataVolumeText(1536), "2 MB");
    EXPECT_EQ(SpeedText::dataVolumeText(1048576), "1024 MB");
    EXPECT_EQ(SpeedText::dataVolumeText(1048577), "1 GB");
    EXPECT_EQ(SpeedText::dataVolumeText(1073741824ull), "1024 GB");
    EXPECT_EQ(SpeedText::dataVolumeText(2147483648ull), "2.0 TB");
    EXPECT_EQ(SpeedText::dataVolumeText(UINT64_MAX).endsWith(" TB"), true);
}

TEST(ActivityRecord, AverageDividesByTheRequestedSeconds) {
    ActivityObject r;
    r.sentNumbers = std::vector<uint64_t>{30, 0, 0};
    r.downNumbers = std::vector<uint64_t>{9, 9, 9};
    EXPECT_EQ(r.avgActivitiesForLastSeconds(10), (NetActivities{3, 2}));
    EXPECT_EQ(r.avgActivitiesForLastSeconds(1), (NetActivities{30, 9}));
    EXPECT_EQ(r.avgActivitiesForLastSeconds(0), (NetActivities{0, 0}));

    std::vector<uint64_t> many(60, 6);
    many.push_back(1'000'000); // a 61st entry is beyond the averaging window
    r.sentNumbers = many;
    r.downNumbers.reset();
    EXPECT_EQ(r.avgActivitiesForLastSeconds(120), (NetActivities{6, 0}));
}

TEST(ActivityRecord, PreferredTrafficValue) {
    const NetActivities pace{5, 7};
    EXPECT_EQ(preferredTrafficValue(pace, 0), 12u);
    EXPECT_EQ(preferredTrafficValue(pace, 1), 5u);
    EXPECT_EQ(preferredTrafficValue(pace, 2), 7u);
    EXPECT_EQ(preferredTrafficValue(pace, 3), 0u);
    EXPECT_EQ(preferredTrafficValue(pace, -1), 0u);
}

TEST(Reachability, StatusFromFlags) {
    EXPECT_EQ(Reachability::networkStatusForFlags(0x2), ReachableViaWiFi);
    EXPECT_EQ(Reachability::networkStatusForFlags(0x2 | 0x4), NotReachable);
    EXPECT_EQ(Reachability::networkStatusForFlags(0x2 | 0x4 | 0x8), ReachableViaWiFi);
    EXPECT_EQ(Reachability::networkStatusForFlags(0x2 | 0x4 | 0x20), ReachableViaWiFi);
    EXPECT_EQ(Reachability::networkStatusForFlags(0x2 | 0x4 | 0x8 | 0x10), NotReachable);
    EXPECT_EQ(Reachability::networkStatusForFlags(0x2 | 0x20000), ReachableViaWWAN);
    EXPECT_EQ(Reachability::networkStatusForFlags(0x2 | 0x40000), ReachableViaWiFi);
    EXPECT_EQ(Reachability::networkStatusForFlags(0), NotReachable);
    EXPECT_EQ(Reachability::networkStatusForFlags(0x20000), NotReachable);
    Reachability none(nullptr);
    EXPECT_EQ(none.currentReachabilityStatus(), NotReachable);
    EXPECT_FALSE(none.connectionRequired());
}

} // namespace
