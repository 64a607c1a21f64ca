// What `lumenstat --apps` reports: the cooked lists and the gap to the link's totals.
#include "appusage/AppUsageReport.h"
#include "network/DataUsageProvider.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

namespace {

NetApp record(const char* name, std::optional<QString> id, int64_t in, int64_t out) {
    NetApp a = NetApp::process(name, 1);
    a.bundleIdentifier = std::move(id);
    a.bytesIn = in;
    a.bytesOut = out;
    return a;
}

TEST(AppUsageReport, NotAttributedIsTheLinkBeyondWhatTheToolSawPerPeriod) {
    // Two days: Monday with an application and a bare process, Tuesday (today) with a
    // one-way application the lists leave out but the tool still saw.
    std::map<QString, QString> stored;
    auto monday = std::make_shared<NetDataset>("2026-11-23 10");
    monday->apps = {record("mail", "org.mail", 4096, 1024), record("curl", {}, 2048, 0)};
    stored["2026-11-23"] = QString::fromUtf8(NetDataset::dayDocument({monday}));
    auto tuesday = std::make_shared<NetDataset>("2026-11-24 09");
    tuesday->apps = {record("mail", "org.mail", 1024, 1024), record("radio", "org.radio", 8192, 0)};
    stored["2026-11-24"] = QString::fromUtf8(NetDataset::dayDocument({tuesday}));
    const QStringList week = {"2026-11-23", "2026-11-24", "2026-11-25", "2026-11-26",
                              "2026-11-27", "2026-11-28", "2026-11-29"};
    const DataSnapshot snapshot = buildSnapshot("2026-11-24", week, stored, std::nullopt,
                                                std::nullopt, TintPalette::system(false));

    // The link's hour buckets, in KB; the week before does not count.
    TempDir dir;
    SettingsDomain group(dir.file("group.json"));
    group.setValue(
        SettingsKey::DataUsageData,
        DataUsageProvider::storedForm(
            {{"2026-11-22 23", 1000, 1000}, {"2026-11-23 10", 10, 1}, {"2026-11-24 09", 8, 8}}));
    DataUsageProvider::Environment environment;
    environment.now = [] { return QDateTime(QDate(2026, 11, 24), QTime(12, 0)); };
    environment.group = &group;
    const DataUsageProvider link(environment);

    const auto today = AppUsageReport::make(AppUsageReport::Period::Today, snapshot, link);
    EXPECT_EQ(today.days, QStringList{"2026-11-24"});
    ASSERT_EQ(today.apps.size(), 1u);
    EXPECT_EQ(today.apps[0].name, "mail");
    EXPECT_EQ(today.seen.bytesIn, 1024 + 8192);
    EXPECT_EQ(today.link.bytesIn, 8 * 1024);
    EXPECT_EQ(today.notAttributed.bytesIn, 0) << "never below zero";
    EXPECT_EQ(today.notAttributed.bytesOut, 8 * 1024 - 1024);

    const auto week_ = AppUsageReport::make(AppUsageReport::Period::Week, snapshot, link);
    EXPECT_EQ(week_.link.bytesIn, (10 + 8) * 1024);
    EXPECT_EQ(week_.notAttributed.bytesIn, (10 + 8) * 1024 - (4096 + 2048 + 1024 + 8192));
    EXPECT_EQ(week_.notAttributed.bytesOut, (1 + 8) * 1024 - 2048);
    ASSERT_EQ(week_.others.size(), 1u);
    EXPECT_EQ(week_.others[0].name, "curl");
    EXPECT_EQ(week_.appsTotal.bytesIn, 4096 + 1024 + 2048) << "the others line counts";

    // The JSON travels over D-Bus and is read back the same; the text names every part.
    const auto back = AppUsageReport::fromJson(week_.toJson());
    ASSERT_TRUE(back);
    EXPECT_EQ(back->toJson(), week_.toJson());
    for (const auto& broken : {nlohmann::json::object(), nlohmann::json{{"period", "month"}},
                               nlohmann::json::parse(R"({"period":"today","apps":[{}],
                                   "others":[],"days":[]})")})
        EXPECT_FALSE(AppUsageReport::fromJson(broken)) << broken.dump();
    const QString text = week_.text();
    for (const char* part : {"mail", "curl", "not attributed", "link", "2026-11-29"})
        EXPECT_TRUE(text.contains(part)) << part;
}

} // namespace
