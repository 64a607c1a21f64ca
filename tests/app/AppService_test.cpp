// The service object without a bus: typed SetValue and GetValue, the Tick line and its
// reading back.
#include "app/AppService.h"
#include "app/MonitorPrinter.h"
#include "settings/DynamicAppearance.h"
#include "settings/SettingsDomain.h"

#include <QDBusVariant>
#include <QPoint>

#include <gtest/gtest.h>

namespace {

using Json = nlohmann::json;

TEST(AppServiceTickLine, ReadsBackToTheSameTextLineAndRefusesJunk) {
    ActivityObject r;
    r.time = "01:02:03";
    r.netMode = 1;
    r.ssid = QString::fromUtf8("Café \"net\"");
    r.IPLocation = "192.168.1.20";
    r.strengthValue = -61;
    r.paceActivities = {1025, 3};
    r.netActivities = {5ull << 32, 77};
    std::optional<QString> cpu;
    const auto back = AppService::activityFromJsonLine(MonitorPrinter::jsonLine(r, "42"), &cpu);
    ASSERT_TRUE(back.has_value());
    EXPECT_EQ(cpu, std::optional<QString>("42"));
    EXPECT_EQ(MonitorPrinter::textLine(*back, cpu), MonitorPrinter::textLine(r, QString("42")));
    EXPECT_EQ(back->netActivities.up, 5ull << 32);
    EXPECT_EQ(back->strengthValue, -61);

    ASSERT_TRUE(AppService::activityFromJsonLine(MonitorPrinter::jsonLine(r), &cpu));
    EXPECT_FALSE(cpu.has_value()) << "a line without CPU load has none";
    EXPECT_FALSE(AppService::activityFromJsonLine("not json", &cpu));
    EXPECT_FALSE(AppService::activityFromJsonLine("[1,2]", &cpu));

    // Status-bar forms made from the same record (what a follower prints from a Tick line).
    EXPECT_EQ(MonitorPrinter::templateLine(*back, QString("42"),
                                           "{up}|{down}|{total} {{{ssid}}} {cpu} "
                                           "{mode} {up_total}"),
              QString::fromUtf8("1.00 MB/s|3 KB/s|1.00 MB/s {Café \"net\"} 42% Wi-Fi/LAN "
                                "20.0 TB")
                  .toUtf8());
    const Json waybar =
        Json::parse(MonitorPrinter::waybarLine(*back, std::nullopt, "").toStdString());
    EXPECT_EQ(waybar["class"], "local");
    EXPECT_EQ(waybar["text"], "\u2191 1.00 MB/s  \u2193 3 KB/s");
    EXPECT_NE(waybar["tooltip"].get<std::string>().find("192.168.1.20"), std::string::npos);
    r.netMode = 0;
    EXPECT_EQ(
        Json::parse(MonitorPrinter::waybarLine(r, QString("42"), "{cpu}").toStdString())["text"],
        "42%");
    for (const char* bad : {"{nope}", "{up", "cpu {cpu} {}"})
        EXPECT_FALSE(MonitorPrinter::formatError(bad).isEmpty()) << bad;
    EXPECT_TRUE(MonitorPrinter::formatError("{{}} {time}").isEmpty());
}

TEST(AppServiceConversion, JsonValuesBecomeDBusFriendlyVariantsAndBack) {
    for (const char* text : {"true", "-5", "18446744073709551615", "0.25", "\"text\"",
                             "[1,[2,\"x\"],false]", R"({"a":{"b":[1.5]},"c":"d"})", "[]"}) {
        const auto variant = AppService::toDBus(Json::parse(text));
        ASSERT_TRUE(variant.has_value()) << text;
        EXPECT_EQ(AppService::fromDBus(*variant), Json::parse(text)) << text;
    }
    EXPECT_FALSE(AppService::toDBus(Json(nullptr)).has_value());
    EXPECT_FALSE(AppService::toDBus(Json::parse("[1,null]")).has_value());
    EXPECT_FALSE(AppService::fromDBus(QVariant(QPoint(1, 2))).has_value());
    EXPECT_EQ(AppService::fromDBus(QVariant::fromValue(QDBusVariant(QVariant(3)))),
              Json(int64_t{3})); // a variant inside a variant is unwrapped
}

// SetValue and RemoveValue go through the key table (its ranges and refusals are
// SettingValue_test's): what it takes is announced and an accent reaches the palette at once;
// what it refuses, or a value with no JSON form, changes nothing.
TEST(AppServiceValues, SetAndRemoveGoThroughTheKeyTable) {
    SettingsDomain::standard().clear();
    SettingsDomain::group().clear();
    AppService service;
    std::vector<QString> changed;
    QObject::connect(&service, &AppService::ValueChanged,
                     [&](const QString& key) { changed.push_back(key); });
    service.SetValue("app.netMenu.boxType", QDBusVariant(qlonglong(12)));
    EXPECT_EQ(service.GetValue("app.netMenu.boxType"), "9");
    service.SetValue("AccentColorIndex", QDBusVariant(qlonglong(3)));
    EXPECT_EQ(DynamicAppearance::shared().tintIndex, 3);
    service.RemoveValue("app.netMenu.boxType");
    service.RemoveValue("AccentColorIndex");
    EXPECT_EQ(service.GetValue("app.netMenu.boxType"), "null");
    EXPECT_EQ(DynamicAppearance::shared().tintIndex, 0);
    EXPECT_EQ(changed.size(), 4u);

    changed.clear();
    service.SetValue("app.itest.marker", QDBusVariant(qlonglong(1)));
    service.SetValue("app.netMenu.boxType", QDBusVariant(QPoint(1, 1)));
    service.RemoveValue("app.itest.marker");
    EXPECT_TRUE(changed.empty());
    EXPECT_TRUE(SettingsDomain::standard().keys().empty());
    EXPECT_TRUE(SettingsDomain::group().keys().empty());
}

} // namespace
