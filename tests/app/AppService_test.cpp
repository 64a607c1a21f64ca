// The service object without a bus: typed SetValue and GetValue, the Tick line and its
// reading back.
#include "app/AppService.h"
#include "app/MonitorPrinter.h"
#include "settings/DynamicAppearance.h"
#include "settings/SettingsDomain.h"

#include <QDBusVariant>
#include <QPoint>

#include <gtest/gtest.h>

#include <memory>

namespace {

using Json = nlohmann::json;

ActivityObject sampleRecord() {
    ActivityObject r;
    r.time = "01:02:03";
    r.netMode = 1;
    r.ssid = QString::fromUtf8("Café \"net\"");
    r.IPLocation = "192.168.1.20";
    r.macLocation = "AA:BB:CC:DD:EE:FF";
    r.channel = "36";
    r.strengthValue = -61;
    r.strength = "-61 dBm";
    r.paceActivities = {1025, 3};
    r.netActivities = {5ull << 32, 77};
    r.seesionMaxActivities = {4096, 1};
    return r;
}

TEST(AppServiceTickLine, ReadsBackToTheSameTextLine) {
    const ActivityObject r = sampleRecord();
    const QByteArray json = MonitorPrinter::jsonLine(r, QString("42"));
    std::optional<QString> cpu;
    const auto back = AppService::activityFromJsonLine(json, &cpu);
    ASSERT_TRUE(back.has_value());
    EXPECT_EQ(cpu, std::optional<QString>("42"));
    EXPECT_EQ(MonitorPrinter::textLine(*back, cpu), MonitorPrinter::textLine(r, QString("42")));
    EXPECT_EQ(back->netActivities.up, 5ull << 32);
    EXPECT_EQ(back->strengthValue, -61);
    EXPECT_FALSE(back->security.has_value());
}

TEST(AppServiceTickLine, ALineWithoutCpuLoadHasNoneAndJunkIsRefused) {
    std::optional<QString> cpu = QString("stale");
    ASSERT_TRUE(AppService::activityFromJsonLine(MonitorPrinter::jsonLine(sampleRecord()), &cpu));
    EXPECT_FALSE(cpu.has_value());
    EXPECT_FALSE(AppService::activityFromJsonLine("not json", &cpu));
    EXPECT_FALSE(AppService::activityFromJsonLine("[1,2]", &cpu));
}

TEST(AppServiceConversion, JsonValuesBecomeDBusFriendlyVariantsAndBack) {
    for (const char* text : {"true", "-5", "18446744073709551615", "0.25", "\"text\"",
                             "[1,[2,\"x\"],false]", R"({"a":{"b":[1.5]},"c":"d"})", "[]"}) {
        const Json value = Json::parse(text);
        const auto variant = AppService::toDBus(value);
        ASSERT_TRUE(variant.has_value()) << text;
        const auto back = AppService::fromDBus(*variant);
        ASSERT_TRUE(back.has_value()) << text;
        EXPECT_EQ(*back, value) << text;
    }
    EXPECT_FALSE(AppService::toDBus(Json(nullptr)).has_value());
    EXPECT_FALSE(AppService::toDBus(Json::parse("[1,null]")).has_value());
    EXPECT_FALSE(AppService::fromDBus(QVariant(QPoint(1, 2))).has_value());
    // A variant inside a variant is unwrapped.
    const auto nested = AppService::fromDBus(QVariant::fromValue(QDBusVariant(QVariant(3))));
    ASSERT_TRUE(nested.has_value());
    EXPECT_EQ(*nested, Json(int64_t{3}));
}

class AppServiceValues : public ::testing::Test {
protected:
    void SetUp() override {
        SettingsDomain::standard().clear();
        SettingsDomain::group().clear();
        QObject::connect(&service, &AppService::ValueChanged,
                         [this](const QString& key) { changed.push_back(key); });
    }
    AppService service;
    std::vector<QString> changed; // keys of every ValueChanged
};

// Where values are stored and what they post is SettingValue's; here only the bus side:
// what the key table accepts is written and announced, what it refuses changes nothing.
TEST_F(AppServiceValues, SetAndRemoveGoThroughTheKeyTable) {
    service.SetValue("app.netMenu.boxType", QDBusVariant(QVariant(qlonglong(7))));
    EXPECT_EQ(service.GetValue("app.netMenu.boxType"), "7");
    service.SetValue("app.netMenu.boxType", QDBusVariant(QVariant(qlonglong(12))));
    EXPECT_EQ(service.GetValue("app.netMenu.boxType"), "9");
    service.RemoveValue("app.netMenu.boxType");
    EXPECT_EQ(service.GetValue("app.netMenu.boxType"), "null");
    EXPECT_EQ(changed, (std::vector<QString>{"app.netMenu.boxType", "app.netMenu.boxType",
                                             "app.netMenu.boxType"}));
    changed.clear();

    service.SetValue("DataUsageTimeRange", QDBusVariant(QVariant(true)));
    service.SetValue("app.itest.marker", QDBusVariant(QVariant(qlonglong(1))));
    service.SetValue("app.netMenu.boxType", QDBusVariant(QVariant(QPoint(1, 1))));
    service.SetValue("", QDBusVariant(QVariant(1)));
    service.RemoveValue("");
    service.RemoveValue("app.itest.marker");
    EXPECT_TRUE(changed.empty());
    EXPECT_TRUE(SettingsDomain::standard().keys().empty());
    EXPECT_TRUE(SettingsDomain::group().keys().empty());
}

TEST_F(AppServiceValues, AnAccentColourReachesThePaletteAtOnce) {
    DynamicAppearance& palette = DynamicAppearance::shared();
    service.SetValue("AccentColorIndex", QDBusVariant(QVariant(qlonglong(3))));
    EXPECT_EQ(palette.tintIndex, 3);
    EXPECT_EQ(SettingsDomain::group().integerValue("AccentColorIndex"), 3);
    service.RemoveValue("AccentColorIndex");
    EXPECT_EQ(palette.tintIndex, 0);
    EXPECT_FALSE(SettingsDomain::group().contains("AccentColorIndex"));
}

} // namespace
