// Typed values of `--set`, where they are written and which notifications they post.
#include "app/SettingValue.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QObject>

#include <gtest/gtest.h>

#include <vector>

namespace {

using Json = nlohmann::json;

struct Case {
    const char* text;
    Json expected;
};

TEST(SettingValueParse, ReadsEachTextAsTheNarrowestFittingType) {
    const std::vector<Case> cases = {
        {"true", Json(true)},
        {"TRUE", Json("TRUE")}, // only the exact words are booleans
        {"7", Json(int64_t{7})},
        {"+4", Json(int64_t{4})},
        {"9223372036854775807", Json(int64_t{9223372036854775807})},
        {"18446744073709551615", Json(uint64_t{18446744073709551615u})},
        {"99999999999999999999999", Json(1e23)}, // beyond every integer type
        {"-1.5e3", Json(-1500.0)},
        {".5", Json(0.5)},
        {"3.", Json(3.0)},
        {"[]", Json::array()},
        {R"({"a":[true,"x"]})", Json::parse(R"({"a":[true,"x"]})")},
        {R"("7")", Json("7")},
        {R"("")", Json("")},
        {"[1,", Json("[1,")}, // not JSON: kept as text
        {"inf", Json("inf")}, // no non-finite numbers
        {"0x10", Json("0x10")},
        {"1.2.3", Json("1.2.3")},
        {"7 ", Json("7 ")},
    };
    for (const Case& c : cases) {
        const auto v = SettingValue::parse(QString::fromUtf8(c.text));
        ASSERT_TRUE(v.has_value()) << c.text;
        EXPECT_EQ(v->type(), c.expected.type()) << c.text;
        EXPECT_EQ(*v, c.expected) << c.text;
    }
}

TEST(SettingValueParse, AssignmentsSplitAtTheFirstEqualsSignAndAnEmptyValueRemoves) {
    EXPECT_FALSE(SettingValue::parse("").has_value());
    const auto removal = SettingValue::parseAssignment("app.netMenu.boxType=");
    ASSERT_TRUE(removal.has_value());
    EXPECT_EQ(removal->key, "app.netMenu.boxType");
    EXPECT_FALSE(removal->value.has_value());
    const auto a = SettingValue::parseAssignment("k=a=b");
    ASSERT_TRUE(a.has_value());
    EXPECT_EQ(a->key, "k");
    EXPECT_EQ(*a->value, Json("a=b"));
    EXPECT_FALSE(SettingValue::parseAssignment("=7").has_value());
    EXPECT_FALSE(SettingValue::parseAssignment("novalue").has_value());
}

class SettingValueApply : public ::testing::Test {
protected:
    void SetUp() override {
        SettingsDomain::standard().clear();
        SettingsDomain::group().clear();
    }
    void TearDown() override { NotificationCenter::defaultCenter().removeObserver(&owner); }

    void watch(const char* name) {
        NotificationCenter::defaultCenter().addObserver(
            &owner, name, [this](const Notification& n) { posted.push_back(n.name); });
    }

    QObject owner;
    std::vector<QString> posted;
};

TEST_F(SettingValueApply, KeysWithANamedNotificationPostItAndThenTheKey) {
    watch("MenuBoxPreferredWidthChangedNotificationName");
    watch("MenuBoxPreferredWidth");
    SettingValue::apply("MenuBoxPreferredWidth", Json(int64_t{2}));
    const std::vector<QString> expected = {"MenuBoxPreferredWidthChangedNotificationName",
                                           "MenuBoxPreferredWidth"};
    EXPECT_EQ(posted, expected);
    EXPECT_EQ(menuBoxPreferredWidth(), Settings::MenuBoxPreferredWidth::Wide);
}

TEST_F(SettingValueApply, StandardAndGroupKeysGoToTheirOwnDomain) {
    watch("app.netMenu.boxType");
    watch("appleInterfaceDidChange");
    watch("AccentColorIndex");
    SettingValue::apply("app.netMenu.boxType", Json(int64_t{7}));
    EXPECT_EQ(SettingsDomain::standard().integerValue("app.netMenu.boxType"), 7);
    EXPECT_FALSE(SettingsDomain::group().contains("app.netMenu.boxType"));
    EXPECT_EQ(posted, std::vector<QString>{"app.netMenu.boxType"});
    SettingValue::apply("AccentColorIndex", Json(int64_t{3}));
    EXPECT_EQ(SettingsDomain::group().integerValue("AccentColorIndex"), 3);
    EXPECT_FALSE(SettingsDomain::standard().contains("AccentColorIndex"));
    EXPECT_EQ(accentColorIndex(), 3);
    EXPECT_EQ(posted.size(), 3u);
    // What the key table refuses is neither written nor announced.
    EXPECT_EQ(SettingValue::apply("AccentColorIndex", Json("red")),
              "AccentColorIndex takes a whole number from 0 to 6, not \"red\"");
    EXPECT_FALSE(SettingValue::apply("x.unknown", Json(1)).isEmpty());
    EXPECT_FALSE(SettingsDomain::standard().contains("x.unknown"));
    EXPECT_EQ(accentColorIndex(), 3);
    EXPECT_EQ(posted.size(), 3u);
}

TEST_F(SettingValueApply, RemovingAKeyMakesItReadAsAbsentAndStillNotifies) {
    watch("app.settings.notification.floatWindowModeDidChange");
    Settings::shared().setFloatWindowMode(2);
    posted.clear();
    SettingValue::apply("app.settings.floatWindowMode", std::nullopt);
    EXPECT_FALSE(SettingsDomain::standard().contains("app.settings.floatWindowMode"));
    EXPECT_EQ(Settings::shared().floatWindowMode(), 0);
    EXPECT_EQ(posted.size(), 1u);
}

} // namespace
