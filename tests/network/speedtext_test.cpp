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

namespace {

QString joined(const SpeedText::ValueAndUnit& v) {
    return v.value + " " + v.unit;
}

// Each rule at its unit switch (1024/1025 KB), around 10 MB and far above.
void expectTexts() {
    const struct {
        uint64_t kb;
        const char *adaptive, *fixed, *compact, *coarse;
    } rows[] = {
        {0, "0 KB/s", "0 KB/s", "0 KB", "0 KB"},
        {1024, "1024 KB/s", "1024 KB/s", "1024 KB", "1024 KB"},
        {1025, "1.00 MB/s", "1.00 MB/s", "1.00 MB", "1.0 MB"},
        {1536, "1.50 MB/s", "1.50 MB/s", "1.50 MB", "1.5 MB"},
        {10240, "10.00 MB/s", "10.00 MB/s", "10.00 MB", "10.0 MB"},
        {10241, "10.0 MB/s", "10.00 MB/s", "10.00 MB", "10 MB"},
        {1536000, "1500.0 MB/s", "1500.00 MB/s", "1500.00 MB", "1500 MB"},
    };
    for (const auto& r : rows) {
        EXPECT_EQ(joined(SpeedText::adaptive(r.kb)), r.adaptive) << r.kb;
        EXPECT_EQ(joined(SpeedText::fixed(r.kb)), r.fixed) << r.kb;
        EXPECT_EQ(SpeedText::compact(r.kb), r.compact) << r.kb;
        EXPECT_EQ(joined(SpeedText::coarse(r.kb)), r.coarse) << r.kb;
    }
    const std::pair<uint64_t, const char*> volumes[] = {{0, "0 MB"},
                                                        {1536, "2 MB"},
                                                        {1048576, "1024 MB"},
                                                        {1048577, "1 GB"},
                                                        {1073741824, "1024 GB"},
                                                        {2147483648, "2.0 TB"},
                                                        {UINT64_MAX, "17179869184.0 TB"}};
    for (const auto& [kb, text] : volumes)
        EXPECT_EQ(SpeedText::dataVolumeText(kb), text) << kb;
    EXPECT_EQ(SpeedText::formatDecimals(866.65, 1), "866.6") << "the binary value rounds down";
    EXPECT_EQ(SpeedText::formatDecimals(0.125, 2), "0.12") << "an exact tie goes to even";
}

TEST(SpeedText, UnitSwitchesDecimalsAndVolumes) {
    expectTexts();
}

// Generates de_DE.UTF-8 into a private folder when the system lacks it.
TEST(SpeedText, DecimalPointUnderAGermanLocale) {
    QTemporaryDir dir;
    if (!std::setlocale(LC_ALL, "de_DE.UTF-8")) {
        QProcess::execute("localedef", {"-i", "de_DE", "-f", "UTF-8", dir.path() + "/de_DE.UTF-8"});
        qputenv("LOCPATH", dir.path().toLocal8Bit());
        if (!std::setlocale(LC_ALL, "de_DE.UTF-8"))
            GTEST_SKIP() << "de_DE.UTF-8 cannot be generated here";
    }
    char probe[16];
    std::snprintf(probe, sizeof probe, "%.2f", 1.0);
    EXPECT_STREQ(probe, "1,00") << "the locale is active";
    expectTexts();
    std::setlocale(LC_ALL, "C");
}

TEST(ActivityRecord, AveragesAndPreferredValue) {
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

    const uint64_t expected[] = {0, 12, 5, 7, 0}; // types -1 to 3
    for (int type = -1; type <= 3; ++type)
        EXPECT_EQ(preferredTrafficValue({5, 7}, type), expected[type + 1]) << type;
}

TEST(Reachability, StatusFromFlags) {
    const std::pair<uint32_t, NetworkStatus> rows[] = {{0x2, ReachableViaWiFi},
                                                       {0x2 | 0x4, NotReachable},
                                                       {0x2 | 0x4 | 0x8, ReachableViaWiFi},
                                                       {0x2 | 0x4 | 0x20, ReachableViaWiFi},
                                                       {0x2 | 0x4 | 0x8 | 0x10, NotReachable},
                                                       {0x2 | 0x20000, ReachableViaWWAN},
                                                       {0x2 | 0x40000, ReachableViaWiFi},
                                                       {0, NotReachable},
                                                       {0x20000, NotReachable}};
    for (const auto& [flags, status] : rows)
        EXPECT_EQ(Reachability::networkStatusForFlags(flags), status) << flags;
    EXPECT_EQ(Reachability(nullptr).currentReachabilityStatus(), NotReachable);
}

} // namespace
