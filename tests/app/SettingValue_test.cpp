// Typed values of `--set`, where they are written and which notifications they post.
#include "app/SettingValue.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QObject>

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

namespace {

using Json = nlohmann::json;

TEST(SettingValueParse, ReadsEachTextAsTheNarrowestFittingType) {
    const std::pair<const char*, Json> cases[] = {
        {"true", Json(true)},
        {"TRUE", Json("TRUE")}, // only the exact words are booleans
        {"+4", Json(int64_t{4})},
        {"9223372036854775807", Json(int64_t{9223372036854775807})},
        {"18446744073709551615", Json(uint64_t{18446744073709551615u})},
        {"99999999999999999999999", Json(1e23)}, // beyond every integer type
        {"-1.5e3", Json(-1500.0)},
        {".5", Json(0.5)},
        {"3.", Json(3.0)},
        {R"({"a":[true,"x"]})", Json::parse(R"({"a":[true,"x"]})")},
        {R"("7")", Json("7")},
        {"[1,", Json("[1,")}, // not JSON: kept as text
        {"inf", Json("inf")}, // no non-finite numbers
        {"0x10", Json("0x10")},
        {"7 ", Json("7 ")}};
    for (const auto& [text, expected] : cases) {
        const auto v = SettingValue::parse(QString::fromUtf8(text));
        ASSERT_TRUE(v.has_value()) << text;
        EXPECT_EQ(v->type(), expected.type()) << text;
        EXPECT_EQ(*v, expected) << text;
    }
    EXPECT_FALSE(SettingValue::parse("").has_value());
    const auto removal = SettingValue::parseAssignment("app.netMenu.boxType=");
    ASSERT_TRUE(removal.has_value());
    EXPECT_EQ(removal->key, "app.netMenu.boxType");
    EXPECT_FALSE(removal->value.has_value()) << "an empty value removes the key";
    EXPECT_EQ(SettingValue::parseAssignment("k=a=b")->value, Json("a=b"));
}

// Each key goes to its own domain and posts its named notification (if any), then one named
// after the key; what the key table refuses is neither written nor announced.
TEST(SettingValueApply, WritesToTheKeysDomainAndPostsItsNotifications) {
    SettingsDomain::standard().clear();
    SettingsDomain::group().clear();
    QObject owner;
    std::vector<QString> posted;
    for (const char* name : {"MenuBoxPreferredWidthChangedNotificationName",
                             "MenuBoxPreferredWidth", "app.netMenu.boxType", "AccentColorIndex",
                             "app.settings.notification.floatWindowModeDidChange"})
        NotificationCenter::defaultCenter().addObserver(
            &owner, name, [&](const Notification& n) { posted.push_back(n.name); });

    SettingValue::apply("MenuBoxPreferredWidth", Json(int64_t{2}));
    EXPECT_EQ(posted, (std::vector<QString>{"MenuBoxPreferredWidthChangedNotificationName",
                                            "MenuBoxPreferredWidth"}));
    EXPECT_EQ(menuBoxPreferredWidth(), Settings::MenuBoxPreferredWidth::Wide);
    SettingValue::apply("app.netMenu.boxType", Json(int64_t{7}));
    SettingValue::apply("AccentColorIndex", Json(int64_t{3}));
    EXPECT_EQ(SettingsDomain::standard().integerValue("app.netMenu.boxType"), 7);
    EXPECT_EQ(SettingsDomain::group().integerValue("AccentColorIndex"), 3);
    EXPECT_FALSE(SettingsDomain::group().contains("app.netMenu.boxType"));
    EXPECT_FALSE(SettingsDomain::standard().contains("AccentColorIndex"));
    EXPECT_EQ(posted.size(), 4u);

    EXPECT_FALSE(SettingValue::apply("AccentColorIndex", Json("red")).isEmpty());
    EXPECT_EQ(accentColorIndex(), 3);
    EXPECT_EQ(posted.size(), 4u);

    Settings::shared().setFloatWindowMode(2);
    posted.clear();
    SettingValue::apply("app.settings.floatWindowMode", std::nullopt);
    EXPECT_FALSE(SettingsDomain::standard().contains("app.settings.floatWindowMode"));
    EXPECT_EQ(posted.size(), 1u) << "a removal still notifies";
}

// The key table's refusals (said as `--set` and SetValue say them) and its ranges.
TEST(SettingValueApply, TheKeyTableRefusesWrongValuesAndBringsOthersIntoRange) {
    const std::tuple<const char*, const char*, const char*, Json> cases[] = {
        {"NoSuchKey", "1", "unknown settings key \"NoSuchKey\"", nullptr},
        {"AccentColorIndex", "blue", "takes a whole number from 0 to 6, not \"blue\"", nullptr},
        {"WantsBlurBackground", "1", "WantsBlurBackground takes true or false, not 1", nullptr},
        {"app.menuBar.trayRendering", "\"round\"", "takes one of auto, wide, square", nullptr},
        {"kNetActivitiesWiFiDataKey", "[1,-2]", "a list of two whole numbers", nullptr},
        {"app.netMenu.boxType", "2.5", "takes a whole number from 0 to 9, not 2.5", nullptr},
        {"app.netMenu.boxType", "12", "", 9},
        {"app.settings.floatWindowBackgroundAlpha", "0.1", "", 0.4},
        {"MenuBoxPreferredWidth", "5", "", 0},
        {"app.settings.floatWindowMode", "-4", "", 0},
        {"LastReloadWidgetsTime", "7", "", 7.0},
        {"StorageReference", "1", "", 2},
        {"AccentColorIndex", "99", "", 6},
        {"app.count.appReviewRequest", "9223372036854775807", "", INT64_MAX}};
    for (const auto& [key, text, refusal, expected] : cases) {
        SettingsDomain& domain = SettingValue::domainForKey(key);
        domain.remove(key);
        const QString said = SettingValue::apply(key, SettingValue::parse(text));
        EXPECT_TRUE(said.contains(QString::fromUtf8(refusal)) && said.isEmpty() == !*refusal)
            << key << "=" << text << ": " << qPrintable(said);
        const auto stored = domain.value(key);
        EXPECT_EQ(stored ? *stored : Json(), expected) << key << "=" << text;
        EXPECT_EQ(stored && stored->is_number_float(), expected.is_number_float()) << key;
    }
}

} // namespace
