// The appearance palette: dark test sources, accent clamping, hooks and notifications.
#include "platform/linux/DesktopPortalAppearance.h"
#include "settings/DynamicAppearance.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "support/TempDir.h"

#include <QDBusVariant>
#include <QPainter>
#include <QScopeGuard>

#include <gtest/gtest.h>

namespace {

QString rgbaText(const QColor& c) {
    return QStringLiteral("%1,%2,%3,%4")
        .arg(c.red())
        .arg(c.green())
        .arg(c.blue())
        .arg(c.alphaF(), 0, 'f', 2);
}

TEST(GtkThemeFallback, ReadsThemeNameOnlyFromSettingsSection) {
    EXPECT_EQ(gtkThemeNameFromSettingsIni("[Settings]\ngtk-theme-name=Adwaita-dark\n"),
              "Adwaita-dark");
    EXPECT_EQ(gtkThemeNameFromSettingsIni("[Settings]\n  gtk-theme-name = \"Arc-Dark\"  \n"),
              "Arc-Dark");
    EXPECT_EQ(gtkThemeNameFromSettingsIni("[Other]\ngtk-theme-name=Adwaita-dark\n"), "");
    EXPECT_EQ(gtkThemeNameFromSettingsIni("[Settings]\n#gtk-theme-name=Adwaita-dark\n"), "");
    EXPECT_EQ(gtkThemeNameFromSettingsIni("[Settings]\ngtk-icon-theme-name=dark-icons\n"), "");
}

TEST(GtkThemeFallback, EnvironmentWinsOverFileAndCaseIsIgnored) {
    TempDir home;
    home.write("gtk-3.0/settings.ini", "[Settings]\ngtk-theme-name=Adwaita\n");
    EXPECT_FALSE(gtkThemeIsDark("", home.path()));
    EXPECT_TRUE(gtkThemeIsDark("Adwaita:DARK", home.path()));
    home.write("gtk-3.0/settings.ini", "[Settings]\ngtk-theme-name=Yaru-Dark\n");
    EXPECT_TRUE(gtkThemeIsDark("", home.path()));
    EXPECT_FALSE(gtkThemeIsDark("Adwaita", home.path()));
}

TEST(GtkThemeFallback, MissingFilesReadLightAndGtk4IsConsulted) {
    TempDir home;
    EXPECT_FALSE(gtkThemeIsDark("", home.path()));
    home.write("gtk-4.0/settings.ini", "[Settings]\ngtk-theme-name=Breeze-Dark\n");
    EXPECT_TRUE(gtkThemeIsDark("", home.path()));
}

TEST(PortalColorScheme, UnwrapsNestedVariantsAndRejectsOtherTypes) {
    EXPECT_EQ(DesktopPortalAppearance::colorSchemeFromVariant(QVariant(1u)), 1u);
    const QVariant once = QVariant::fromValue(QDBusVariant(QVariant(2u)));
    EXPECT_EQ(DesktopPortalAppearance::colorSchemeFromVariant(once), 2u);
    const QVariant twice = QVariant::fromValue(QDBusVariant(once));
    EXPECT_EQ(DesktopPortalAppearance::colorSchemeFromVariant(twice), 2u);
    EXPECT_FALSE(DesktopPortalAppearance::colorSchemeFromVariant(QVariant("dark")));
    EXPECT_FALSE(DesktopPortalAppearance::colorSchemeFromVariant(QVariant(-1)));
    EXPECT_FALSE(DesktopPortalAppearance::colorSchemeFromVariant(QVariant()));
}

TEST(PortalColorScheme, WithoutBusFallsBackToGtkTheme) {
    QDBusConnection none = QDBusConnection::connectToBus("unix:path=/nonexistent/bus", "nobus");
    TempDir home;
    home.write("gtk-3.0/settings.ini", "[Settings]\ngtk-theme-name=Adwaita-dark\n");
    const QByteArray oldConfig = qgetenv("XDG_CONFIG_HOME");
    const QByteArray oldTheme = qgetenv("GTK_THEME");
    const auto restore = qScopeGuard([&] {
        qputenv("XDG_CONFIG_HOME", oldConfig);
        oldTheme.isEmpty() ? qunsetenv("GTK_THEME") : qputenv("GTK_THEME", oldTheme);
        QDBusConnection::disconnectFromBus("nobus");
    });
    qputenv("XDG_CONFIG_HOME", home.path().toLocal8Bit());
    qunsetenv("GTK_THEME");
    DesktopPortalAppearance source(none);
    EXPECT_FALSE(source.colorScheme().has_value());
    EXPECT_TRUE(source.isDark());
    qputenv("GTK_THEME", "Adwaita");
    EXPECT_FALSE(source.isDark());
}

class PaletteTest : public ::testing::Test {
protected:
    void SetUp() override { SettingsDomain::group().remove(SettingsKey::AccentColorIndex); }
    void TearDown() override { SettingsDomain::group().remove(SettingsKey::AccentColorIndex); }
};

TEST_F(PaletteTest, AccentIndexOutsideTableResolvesToBlue) {
    const QColor blue = color(0, 122, 255, 1);
    for (int index : {7, -1, 1000}) {
        setAccentColorIndex(index);
        DynamicAppearance palette(FixedAppearanceSource::make(false));
        EXPECT_EQ(palette.tintIndex, index) << "stored unchecked";
        EXPECT_EQ(palette.tintColor(), blue) << index;
    }
    setAccentColorIndex(6);
    DynamicAppearance green(FixedAppearanceSource::make(true));
    EXPECT_EQ(rgbaText(green.tintColor()), "97,185,70,1.00");
    SettingsDomain::group().remove(SettingsKey::AccentColorIndex);
    DynamicAppearance missing(FixedAppearanceSource::make(true));
    EXPECT_EQ(missing.tintIndex, 0);
    EXPECT_EQ(missing.tintColor(), blue);
}

TEST_F(PaletteTest, DarkAndLightValuesOfPairedColours) {
    DynamicAppearance light(FixedAppearanceSource::make(false));
    DynamicAppearance dark(FixedAppearanceSource::make(true));
    EXPECT_FALSE(light.isDarkMode());
    EXPECT_TRUE(dark.isDarkMode());
    EXPECT_NE(light.name, dark.name);
    EXPECT_EQ(rgbaText(light.textColor()), "0,0,0,1.00");
    EXPECT_EQ(rgbaText(dark.textColor()), "255,255,255,1.00");
    EXPECT_EQ(rgbaText(light.batteryStockLineColor()), "142,142,147,0.20"); // keeps alpha
    for (DynamicAppearance* p : {&light, &dark}) {
        EXPECT_EQ(p->textColor(), p->batteryInnerTextColor());
        EXPECT_EQ(p->tablePrimaryBackgroundColor(), p->contentBackgroundColor());
    }
    EXPECT_EQ(light.stockRedColor(), dark.stockRedColor());
    EXPECT_EQ(rgbaText(dark.stockRedColor()), "245,45,85,1.00");
    EXPECT_NE(light.contentBackgroundColor(), dark.contentBackgroundColor());
}

TEST_F(PaletteTest, NewHookIsCalledAtOnceAndHooksFollowNotificationInOrder) {
    auto source = FixedAppearanceSource::make(false);
    DynamicAppearance palette(source);
    std::vector<QString> calls;
    palette.addHook([&](bool dark) { calls.push_back(dark ? "a:dark" : "a:light"); });
    ASSERT_EQ(calls, std::vector<QString>{"a:light"});
    palette.addHook([&](bool dark) { calls.push_back(dark ? "b:dark" : "b:light"); });

    QObject owner;
    NotificationCenter::defaultCenter().addObserver(
        &owner, DynamicAppearance::DidChangeNotification, [&](const Notification& n) {
            EXPECT_EQ(n.object, nullptr);
            EXPECT_TRUE(n.userInfo.isEmpty());
            calls.push_back("posted");
        });
    calls.clear();
    FixedAppearanceSource::setDark(source, true);
    EXPECT_TRUE(palette.isDarkMode());
    EXPECT_EQ(calls, (std::vector<QString>{"posted", "a:dark", "b:dark"}));
}

TEST_F(PaletteTest, ApplyingAnAccentRereadsAppearanceAndNotifies) {
    auto source = FixedAppearanceSource::make(false);
    DynamicAppearance palette(source);
    int calls = 0;
    bool lastDark = false;
    palette.addHook([&](bool dark) {
        ++calls;
        lastDark = dark;
    });
    calls = 0;
    palette.applyTintIndex(3);
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(lastDark);
    EXPECT_EQ(rgbaText(palette.tintColor()), "255,82,88,1.00");
}

TEST_F(PaletteTest, SetTintIndexStoresInGroupDomainUnchecked) {
    DynamicAppearance::setTintIndex(9);
    EXPECT_EQ(SettingsDomain::group().integerValue(SettingsKey::AccentColorIndex), 9);
    EXPECT_EQ(DynamicAppearance::shared().tintColor(), color(0, 122, 255, 1));
    DynamicAppearance::setTintIndex(4);
    EXPECT_EQ(DynamicAppearance::shared().tintColor(), color(247, 130, 27, 1));
}

TEST(ColourHelpers, TintKeepsTransparencyAndRandomStaysBelow255) {
    QImage img(4, 1, QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::transparent);
    img.setPixelColor(1, 0, QColor(10, 20, 30, 255));
    img.setPixelColor(2, 0, QColor(10, 20, 30, 128));
    const QImage tinted = toTintColor(img, QColor(255, 0, 0));
    EXPECT_EQ(tinted.pixelColor(0, 0).alpha(), 0);
    EXPECT_EQ(tinted.pixelColor(1, 0), QColor(255, 0, 0));
    EXPECT_NEAR(tinted.pixelColor(2, 0).alpha(), 128, 1);
    EXPECT_GT(tinted.pixelColor(2, 0).red(), 250);
    EXPECT_EQ(tinted.pixelColor(3, 0).alpha(), 0);
    for (int i = 0; i < 200; ++i) {
        const QColor c = farbeRandom();
        EXPECT_LT(c.red(), 255);
        EXPECT_LT(c.green(), 255);
        EXPECT_LT(c.blue(), 255);
        EXPECT_EQ(c.alpha(), 255);
    }
}

} // namespace
