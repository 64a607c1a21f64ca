// The appearance: the GTK theme and portal fall-backs for dark mode, the palette's paired
// colours and accent clamping, its hooks and notifications.
#include "platform/linux/DesktopPortalAppearance.h"
#include "settings/DynamicAppearance.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "support/TempDir.h"

#include <QDBusVariant>
#include <QScopeGuard>

#include <gtest/gtest.h>

namespace {

TEST(GtkThemeFallback, ThemeNameFromTheSettingsSectionEnvironmentFirstAnyCase) {
    const std::pair<const char*, const char*> ini[] = {
        {"[Settings]\ngtk-theme-name=Adwaita-dark\n", "Adwaita-dark"},
        {"[Settings]\n  gtk-theme-name = \"Arc-Dark\"  \n", "Arc-Dark"},
        {"[Other]\ngtk-theme-name=Adwaita-dark\n", ""},
        {"[Settings]\n#gtk-theme-name=Adwaita-dark\n", ""},
        {"[Settings]\ngtk-icon-theme-name=dark-icons\n", ""}};
    for (const auto& [text, name] : ini)
        EXPECT_EQ(gtkThemeNameFromSettingsIni(text), name) << text;

    TempDir home;
    EXPECT_FALSE(gtkThemeIsDark("", home.path())); // no file: light
    home.write("gtk-4.0/settings.ini", "[Settings]\ngtk-theme-name=Breeze-Dark\n");
    EXPECT_TRUE(gtkThemeIsDark("", home.path()));
    home.write("gtk-3.0/settings.ini", "[Settings]\ngtk-theme-name=Adwaita\n");
    EXPECT_FALSE(gtkThemeIsDark("", home.path()));
    EXPECT_TRUE(gtkThemeIsDark("Adwaita:DARK", home.path()));
    home.write("gtk-3.0/settings.ini", "[Settings]\ngtk-theme-name=Yaru-Dark\n");
    EXPECT_FALSE(gtkThemeIsDark("Adwaita", home.path()));
}

TEST(PortalColorScheme, UnwrapsNestedVariantsAndWithoutBusFallsBackToGtkTheme) {
    const QVariant once = QVariant::fromValue(QDBusVariant(QVariant(2u)));
    EXPECT_EQ(DesktopPortalAppearance::colorSchemeFromVariant(QVariant(1u)), 1u);
    EXPECT_EQ(
        DesktopPortalAppearance::colorSchemeFromVariant(QVariant::fromValue(QDBusVariant(once))),
        2u);
    for (const QVariant& other : {QVariant("dark"), QVariant(-1), QVariant()})
        EXPECT_FALSE(DesktopPortalAppearance::colorSchemeFromVariant(other));

    TempDir home;
    home.write("gtk-3.0/settings.ini", "[Settings]\ngtk-theme-name=Adwaita-dark\n");
    const QByteArray oldConfig = qgetenv("XDG_CONFIG_HOME"), oldTheme = qgetenv("GTK_THEME");
    const auto restore = qScopeGuard([&] {
        qputenv("XDG_CONFIG_HOME", oldConfig);
        oldTheme.isEmpty() ? qunsetenv("GTK_THEME") : qputenv("GTK_THEME", oldTheme);
        QDBusConnection::disconnectFromBus("nobus");
    });
    qputenv("XDG_CONFIG_HOME", home.path().toLocal8Bit());
    qunsetenv("GTK_THEME");
    DesktopPortalAppearance source(
        QDBusConnection::connectToBus("unix:path=/nonexistent", "nobus"));
    EXPECT_FALSE(source.colorScheme().has_value());
    EXPECT_TRUE(source.isDark());
    qputenv("GTK_THEME", "Adwaita");
    EXPECT_FALSE(source.isDark());
}

class PaletteTest : public ::testing::Test {
protected:
    void SetUp() override { SettingsDomain::group().remove(SettingsKey::AccentColorIndex); }
    void TearDown() override { SettingsDomain::group().remove(SettingsKey::AccentColorIndex); }
    const QColor blue = color(0, 122, 255, 1);
};

// Stored as given, but an index outside the table draws blue.
TEST_F(PaletteTest, AccentOutsideTheTableDrawsBlueAndColoursFollowTheAppearance) {
    for (int index : {7, -1, 1000}) {
        DynamicAppearance::setTintIndex(index);
        EXPECT_EQ(SettingsDomain::group().integerValue(SettingsKey::AccentColorIndex), index);
        EXPECT_EQ(DynamicAppearance(FixedAppearanceSource::make(false)).tintColor(), blue);
    }
    setAccentColorIndex(6);
    EXPECT_EQ(DynamicAppearance(FixedAppearanceSource::make(true)).tintColor(),
              QColor(97, 185, 70));
    SettingsDomain::group().remove(SettingsKey::AccentColorIndex);
    DynamicAppearance missing(FixedAppearanceSource::make(true));
    EXPECT_EQ(missing.tintIndex, 0);
    EXPECT_EQ(missing.tintColor(), blue);
    // Paired colours follow the appearance.
    DynamicAppearance light(FixedAppearanceSource::make(false));
    EXPECT_EQ(light.textColor().rgba(), qRgb(0, 0, 0));
    EXPECT_EQ(missing.textColor().rgba(), qRgb(255, 255, 255));
    EXPECT_EQ(light.batteryStockLineColor().rgba(), qRgba(142, 142, 147, 51)); // keeps alpha
}

// A new hook is called at once; on a change the notification comes first, then the hooks in
// order; applying an accent re-reads the appearance and calls them again.
TEST_F(PaletteTest, HooksFollowTheNotificationInOrder) {
    auto source = FixedAppearanceSource::make(false);
    DynamicAppearance palette(source);
    std::vector<QString> calls;
    palette.addHook([&](bool dark) { calls.push_back(dark ? "a:dark" : "a:light"); });
    ASSERT_EQ(calls, std::vector<QString>{"a:light"});
    palette.addHook([&](bool dark) { calls.push_back(dark ? "b:dark" : "b:light"); });
    QObject owner;
    NotificationCenter::defaultCenter().addObserver(
        &owner, DynamicAppearance::DidChangeNotification, [&](const Notification& n) {
            EXPECT_TRUE(n.object == nullptr && n.userInfo.isEmpty());
            calls.push_back("posted");
        });
    calls.clear();
    FixedAppearanceSource::setDark(source, true);
    EXPECT_EQ(calls, (std::vector<QString>{"posted", "a:dark", "b:dark"}));
    calls.clear();
    palette.applyTintIndex(3);
    EXPECT_EQ(calls, (std::vector<QString>{"posted", "a:dark", "b:dark"}));
    EXPECT_EQ(palette.tintColor().rgba(), qRgb(255, 82, 88));
}

TEST(ColourHelpers, TintKeepsTransparency) {
    QImage img(3, 1, QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::transparent);
    img.setPixelColor(1, 0, QColor(10, 20, 30, 255));
    img.setPixelColor(2, 0, QColor(10, 20, 30, 128));
    const QImage tinted = toTintColor(img, QColor(255, 0, 0));
    EXPECT_EQ(tinted.pixelColor(0, 0).alpha(), 0);
    EXPECT_EQ(tinted.pixelColor(1, 0), QColor(255, 0, 0));
    EXPECT_NEAR(tinted.pixelColor(2, 0).alpha(), 128, 1);
    EXPECT_GT(tinted.pixelColor(2, 0).red(), 250);
}

} // namespace
