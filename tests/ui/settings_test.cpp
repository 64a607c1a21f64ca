// The settings window offscreen: every key of the shared key table through its control, the
// language note, the reset, keyboard reach, light and dark, and the first-run welcome's
// choice of panel plug-in.
#include "app/SettingValue.h"
#include "network/DataUsageProvider.h"
#include "settings/DynamicAppearance.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"
#include "settings/SettingKeyTable.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "ui/GeneralSettingsPage.h"
#include "ui/SettingsWindow.h"
#include "ui/WelcomeWindow.h"

#include <QAbstractButton>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <memory>

inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}

namespace {

using Json = nlohmann::json;

std::optional<Json> stored(const QString& key) {
    return SettingValue::domainForKey(key).value(key.toStdString());
}

// Counts the notifications a key's change posts: its own name and the table's name for it.
struct Posts {
    explicit Posts(const QString& key) {
        for (const QString& name : {key, Settings::notificationNameForKey(key)})
            if (!name.isEmpty() && !counts.count(name))
                NotificationCenter::defaultCenter().addObserver(
                    &owner, name, [this, name](const Notification&) { ++counts[name]; });
        for (auto& [name, count] : counts)
            count = 0;
    }
    bool allPosted() const {
        for (const auto& [name, count] : counts)
            if (count == 0)
                return false;
        return !counts.empty();
    }
    QObject owner;
    std::map<QString, int> counts;
};

class SettingsWindowTest : public ::testing::Test {
protected:
    void SetUp() override {
        SettingsDomain::standard().clear();
        SettingsDomain::group().clear();
        DynamicAppearance::shared().setSource(FixedAppearanceSource::make(false));
    }
    std::unique_ptr<SettingsWindow> window(GeneralSettingsPage::Actions actions = {}) {
        SettingsWindow::Environment e;
        e.write = [this](const QString& key, const std::optional<Json>& value) {
            ++writes;
            return SettingValue::apply(key, value, SettingValue::Reach::RunningApp);
        };
        e.actions = std::move(actions);
        e.hasBattery = [] { return true; };
        return std::make_unique<SettingsWindow>(e);
    }
    int writes = 0;
};

TEST_F(SettingsWindowTest, EveryKeyOfTheTableRoundTripsThroughItsControl) {
    auto w = window();
    for (const SettingKeyTable::Entry& entry : SettingKeyTable::entries()) {
        const QString key = QString::fromLatin1(entry.key);
        SCOPED_TRACE(entry.key);
        SettingControl* control = w->control(key);
        if (entry.state) {
            EXPECT_EQ(control, nullptr) << "state the app keeps is not offered";
            continue;
        }
        ASSERT_NE(control, nullptr) << "a setting without a control";
        ASSERT_GE(control->actionCount(), 2);
        std::vector<Json> produced;
        for (int i = 0; i < control->actionCount(); ++i) {
            const Json before = control->shown();
            Posts posts(key);
            control->act(i);
            const std::optional<Json> value = stored(key);
            if (control->shown() == before && !value)
                continue; // chose what the absent key already reads as
            ASSERT_TRUE(value) << "action " << i << " wrote nothing";
            EXPECT_EQ(*value, control->shown()) << "action " << i;
            // What a control writes is already inside the key's range and type.
            EXPECT_EQ(SettingKeyTable::check(key, value).value, value) << "action " << i;
            if (control->shown() != before) {
                EXPECT_TRUE(posts.allPosted()) << "action " << i;
            }
            produced.push_back(*value);
        }
        ASSERT_FALSE(produced.empty());

        // A write from elsewhere (a script, the tray menu) reaches the control, brought into
        // the key's range first.
        if (entry.ranged) {
            const Json beyond = entry.type == SettingKeyTable::Type::Double
                                    ? Json(entry.max + 7.5)
                                    : Json(static_cast<int64_t>(entry.max) + 1000);
            ASSERT_EQ(SettingValue::apply(key, beyond), QString());
            EXPECT_EQ(control->shown(), *SettingKeyTable::check(key, beyond).value);
            ASSERT_EQ(SettingValue::apply(key, Json(-1000)), QString());
            EXPECT_EQ(control->shown(), *SettingKeyTable::check(key, Json(-1000)).value);
        }
        ASSERT_EQ(SettingValue::apply(key, produced.front()), QString());
        EXPECT_EQ(control->shown(), produced.front());
    }
    EXPECT_GT(writes, 0);
}

TEST_F(SettingsWindowTest, ANewLanguageShowsTheRestartNoteUntilTheLaunchLanguageIsBack) {
    auto w = window();
    auto* general = static_cast<GeneralSettingsPage*>(w->page(SettingsWindow::Page::General));
    SettingControl* language = w->control(QString::fromLatin1(SettingsKey::PreferredLanguage));
    ASSERT_NE(language, nullptr);
    const Language::SupportedLanguage launch = Language::shared().appLaunchLanguage();
    EXPECT_TRUE(general->languageNote()->isHidden());

    const auto& all = Language::allLanguages();
    for (size_t i = 0; i < all.size(); ++i) {
        if (all[i] == launch)
            continue;
        language->act(static_cast<int>(i));
        EXPECT_FALSE(general->languageNote()->isHidden())
            << Language::rawValue(all[i]).toStdString();
    }
    // Back to the launch choice, here through a script's write: the note goes.
    SettingValue::apply(QString::fromLatin1(SettingsKey::PreferredLanguage),
                        Json(Language::rawValue(launch).toStdString()));
    EXPECT_TRUE(general->languageNote()->isHidden());
}

TEST_F(SettingsWindowTest, ResetClearsTheTotalsAndTheHoursOnlyWhenConfirmed) {
    SettingsDomain& group = SettingsDomain::group();
    group.setUnsignedList(SettingsKey::NetActivitiesWiFiData, {500, 600});
    group.setUnsignedList(SettingsKey::NetActivitiesWWANData, {7, 8});
    const Json hours = DataUsageProvider::storedForm({{"2026-11-20 12", 10, 20}});
    group.setValue(SettingsKey::DataUsageData, hours);

    bool answer = false;
    int asked = 0;
    GeneralSettingsPage::Actions actions;
    actions.confirmReset = [&] {
        ++asked;
        return answer;
    };
    auto w = window(actions);
    auto* general = static_cast<GeneralSettingsPage*>(w->page(SettingsWindow::Page::General));
    Posts redraw(QString::fromLatin1(DataUsageProvider::kDidUpdateNotificationName));

    general->resetButton()->click(); // cancelled
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(group.unsignedList(SettingsKey::NetActivitiesWiFiData),
              (std::vector<uint64_t>{500, 600}));
    EXPECT_EQ(group.value(SettingsKey::DataUsageData), hours);
    EXPECT_FALSE(redraw.allPosted());

    answer = true;
    general->resetButton()->click();
    EXPECT_EQ(asked, 2);
    // What the sampler and the hourly record clear is tests/network's; here: both are cleared.
    for (const char* key : {SettingsKey::NetActivitiesWiFiData, SettingsKey::NetActivitiesWWANData})
        EXPECT_EQ(group.unsignedList(key), (std::vector<uint64_t>{0, 0})) << key;
    EXPECT_EQ(group.value(SettingsKey::DataUsageData), Json::array());
    EXPECT_TRUE(redraw.allPosted());
}

TEST_F(SettingsWindowTest, OneWindowEveryControlByKeyboardAndTheDesktopsLook) {
    SettingsWindow::sharedEnvironment().write = [](const QString& key,
                                                   const std::optional<Json>& value) {
        return SettingValue::apply(key, value);
    };
    SettingsWindow& first = SettingsWindow::open();
    SettingsWindow& again = SettingsWindow::open(SettingsWindow::Page::About);
    EXPECT_EQ(&first, &again);
    EXPECT_EQ(again.currentPage(), SettingsWindow::Page::About);
    EXPECT_EQ(again.pageList()->count(), SettingsWindow::kPageCount);

    for (int p = 0; p < SettingsWindow::kPageCount; ++p) {
        SettingsPage* page = again.page(static_cast<SettingsWindow::Page>(p));
        SCOPED_TRACE(page->title().toStdString());
        // Every control takes the Tab key, and no two labels of a page share a mnemonic.
        for (SettingControl* control : page->controls())
            EXPECT_TRUE(control->widget()->focusPolicy() & Qt::TabFocus)
                << control->key().toStdString();
        std::map<QChar, QString> mnemonics;
        QStringList texts;
        for (QLabel* label : page->findChildren<QLabel*>())
            if (label->buddy())
                texts << label->text();
        for (QAbstractButton* button : page->findChildren<QAbstractButton*>())
            texts << button->text();
        for (const QString& text : texts) {
            const qsizetype at = QString(text)
                                     .replace(QLatin1String("&&"), QLatin1String("__"))
                                     .indexOf(QLatin1Char('&'));
            if (at < 0 || at + 1 >= text.size())
                continue;
            const QChar letter = text[at + 1].toLower();
            EXPECT_FALSE(mnemonics.count(letter))
                << text.toStdString() << " and " << mnemonics[letter].toStdString();
            mnemonics[letter] = text;
        }
        EXPECT_FALSE(mnemonics.empty());
    }

    const QColor light = again.palette().color(QPalette::Window);
    const QColor lightText = again.palette().color(QPalette::WindowText);
    DynamicAppearance::shared().setSource(FixedAppearanceSource::make(true));
    EXPECT_LT(again.palette().color(QPalette::Window).lightness(), light.lightness());
    EXPECT_GT(again.palette().color(QPalette::WindowText).lightness(), lightText.lightness());
    again.close();
    EXPECT_EQ(SettingsWindow::existing(), &again); // closing hides; the next open raises it
}

TEST(WelcomeWindow, OffersThePlugInOfTheRunningDesktop) {
    struct Case {
        const char* desktop;
        const char* textKey;
        const char* commandStart;
    } cases[] = {
        {"XFCE", "welcome.plugin.xfce", "xfce4-panel --add=lumenstat-"},
        {"KDE", "welcome.plugin.plasma", "qdbus org.kde.plasmashell"},
        {"ubuntu:GNOME", "welcome.plugin.gnome", "gnome-extensions enable lumenstat@"},
        {"GNOME-Flashback:GNOME", "welcome.plugin.gnome", "gnome-extensions enable"},
        {"sway", "welcome.plugin.other", ""},
        {"", "welcome.plugin.other", ""},
    };
    for (const Case& c : cases) {
        const WelcomeWindow::PluginHint hint =
            WelcomeWindow::pluginFor(QString::fromLatin1(c.desktop));
        EXPECT_STREQ(hint.textKey, c.textKey) << c.desktop;
        EXPECT_TRUE(*c.commandStart == '\0' ||
                    hint.command.startsWith(QLatin1String(c.commandStart)))
            << c.desktop;
        EXPECT_EQ(hint.command.isEmpty(), *c.commandStart == '\0') << c.desktop;
        // Every hint has its text in the tables.
        EXPECT_NE(Language::getLocalizedString(QString::fromLatin1(c.textKey)),
                  QString::fromLatin1(c.textKey));
    }
    // Tests run offscreen on fresh profiles: the welcome never opens there by itself.
    SettingsDomain::standard().clear();
    EXPECT_FALSE(WelcomeWindow::wanted());
    EXPECT_EQ(WelcomeWindow::showIfWanted({}), nullptr);
    EXPECT_FALSE(SettingsDomain::standard().boolValue(SettingsKey::FirstRunWelcomeShown));
}

} // namespace
