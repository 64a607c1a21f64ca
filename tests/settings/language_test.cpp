// The interface language: the stored choice and its fall-backs, the launch-language rule, the
// change hooks, lookups in the five string tables, and the tables against the keys the code
// looks up.
#include "settings/Language.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include "support/TempDir.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QSet>

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <tuple>

using Lang = Language::SupportedLanguage;

namespace {

const std::string kPreferred = SettingsKey::PreferredLanguage;

class LanguageTest : public ::testing::Test {
protected:
    TempDir dir;
    std::unique_ptr<SettingsDomain> domain =
        std::make_unique<SettingsDomain>(dir.file(QStringLiteral("settings.json")));

    std::unique_ptr<Language> launch(const QStringList& system = {QStringLiteral("en-US")},
                                     const QString& tables = QString()) {
        return std::make_unique<Language>(*domain, system, tables);
    }
    QString stored() const { return domain->stringValue(kPreferred); }
};

QString builtIn(const QString& code) {
    return Language::builtInTableDirectory() + QLatin1Char('/') + code + QStringLiteral(".json");
}

// Every built-in table, by language code.
std::map<QString, StringTable> allTables() {
    TempDir dir;
    SettingsDomain domain(dir.file(QStringLiteral("s.json")));
    Language prime(domain, {}); // makes the built-in resources available
    std::map<QString, StringTable> tables;
    for (const QString& code : Language::tableLanguages()) {
        auto table = StringTable::load(code, builtIn(code));
        if (table)
            tables.emplace(code, std::move(*table));
    }
    return tables;
}

// Format placeholders of a text, sorted: %@, %d, %ld, %.2lf, %1, {count}, ...
QStringList placeholders(const QString& text) {
    static const QRegularExpression re(
        QStringLiteral("%%|%[0-9]+\\$?[@dilufsx]*|%[-+ "
                       "#0]*[0-9]*(?:\\.[0-9]+)?(?:ll|l|h)?[@diouxXfeEgGcs]|\\{[A-Za-z_]+\\}"));
    QStringList found;
    for (auto it = re.globalMatch(text); it.hasNext();) {
        const QString token = it.next().captured();
        if (token != QLatin1String("%%"))
            found << token;
    }
    found.sort();
    return found;
}

} // namespace

// A stored choice that names a language wins over the desktop's; anything else (another
// language, another spelling, another type, nothing) follows the desktop.
TEST_F(LanguageTest, TheStoredChoiceOrElseTheSystemLanguage) {
    const std::tuple<SettingsDomain::Json, Lang, const char*> cases[] = {
        {"en", Lang::English, "en"},
        {"zh-Hans", Lang::Chinese, "zh-Hans"},
        {"zh-Hant", Lang::TraditionChinese, "zh-Hant"},
        {"fr", Lang::System, "de"},
        {"", Lang::System, "de"},
        {"EN", Lang::System, "de"},
        {"de-DE", Lang::System, "de"},
        {" ja", Lang::System, "de"},
        {3, Lang::System, "de"},
        {nullptr, Lang::System, "de"},
    };
    for (const auto& [raw, expected, bundle] : cases) {
        if (raw.is_null())
            domain->remove(kPreferred);
        else
            domain->setValue(kPreferred, raw);
        const auto language = launch({QStringLiteral("de-DE"), QStringLiteral("ja-JP")});
        EXPECT_EQ(language->preferredLanguage(), expected) << raw;
        EXPECT_EQ(language->appLaunchLanguage(), expected) << raw;
        EXPECT_EQ(language->languageBundle().language(), QString::fromUtf8(bundle)) << raw;
        EXPECT_FALSE(language->changeTakesEffectAtNextLaunch());
    }
}

TEST_F(LanguageTest, AMissingOrBrokenTableFallsBackToTheSystemLanguage) {
    TempDir tables;
    tables.write(QStringLiteral("en.json"), R"({"NETWORK": "NETWORK"})");
    tables.write(QStringLiteral("ja.json"), R"({"NETWORK": "ネットワーク", "bad": 5})");
    tables.write(QStringLiteral("zh-Hant.json"), R"({"NETWORK": "網路")"); // cut short
    tables.write(QStringLiteral("zh-Hans.json"), R"(["NETWORK"])");        // not an object

    domain->setString(kPreferred, QStringLiteral("de")); // no table at all
    auto language = launch({QStringLiteral("ja")}, tables.path());
    EXPECT_EQ(language->preferredLanguage(), Lang::German); // the choice itself is kept
    EXPECT_EQ(language->languageBundle().language(), QStringLiteral("ja"));
    EXPECT_EQ(language->localizedString(QStringLiteral("NETWORK")), QStringLiteral("ネットワーク"));
    // Non-string members are left out and read as their key.
    EXPECT_EQ(language->localizedString(QStringLiteral("bad")), QStringLiteral("bad"));

    domain->setString(kPreferred, QStringLiteral("zh-Hant"));
    EXPECT_EQ(launch({QStringLiteral("fr")}, tables.path())->languageBundle().language(),
              QStringLiteral("en"));
    domain->setString(kPreferred, QStringLiteral("zh-Hans"));
    EXPECT_EQ(launch({QStringLiteral("ja")}, tables.path())->languageBundle().language(),
              QStringLiteral("ja"));

    // The system's language has no usable table either: English.
    domain->remove(kPreferred);
    EXPECT_EQ(launch({QStringLiteral("zh-TW")}, tables.path())->languageBundle().language(),
              QStringLiteral("en"));

    // Nothing readable at all: every key reads as itself.
    TempDir nothing;
    language = launch({QStringLiteral("de")}, nothing.path());
    EXPECT_EQ(language->localizedString(QStringLiteral("NETWORK")), QStringLiteral("NETWORK"));
}

TEST(LanguageSystemTest, TheDesktopLanguageOrderPicksTheFirstLanguageWithATable) {
    const std::pair<QStringList, const char*> cases[] = {
        {{QStringLiteral("de_CH.UTF-8")}, "de"},
        {{QStringLiteral("en-GB")}, "en"},
        {{QStringLiteral("zh")}, "zh-Hans"},
        {{QStringLiteral("zh-SG")}, "zh-Hans"},
        {{QStringLiteral("zh-Hans-HK")}, "zh-Hans"},
        {{QStringLiteral("zh_HK")}, "zh-Hant"},
        {{QStringLiteral("zh-MO")}, "zh-Hant"},
        {{QStringLiteral("zh-Hant-CN")}, "zh-Hant"},
        {{QStringLiteral("fr-FR"), QStringLiteral("es"), QStringLiteral("ja-JP")}, "ja"},
        {{QStringLiteral("fr-FR"), QStringLiteral("pt-BR")}, "en"},
        {{QStringLiteral("C")}, "en"},
        {{QString(), QStringLiteral("ja")}, "ja"},
        {{}, "en"},
    };
    for (const auto& [system, expected] : cases)
        EXPECT_EQ(Language::bestTableLanguage(system), QString::fromUtf8(expected))
            << system.join(QLatin1Char(',')).toStdString();
}

TEST_F(LanguageTest, ChoosingTheCurrentLanguageStoresNothingAndCallsNoHook) {
    int calls = 0;
    auto language = launch();
    language->onChangedHooks().push_back([&] { ++calls; });
    language->setPreferredLanguage(Lang::System);
    EXPECT_FALSE(domain->contains(kPreferred));
    EXPECT_EQ(calls, 0);

    domain->setString(kPreferred, QStringLiteral("ja"));
    language = launch();
    language->onChangedHooks().push_back([&] { ++calls; });
    domain->remove(kPreferred); // any write would bring the key back
    language->setPreferredLanguage(Lang::Japanese);
    EXPECT_FALSE(domain->contains(kPreferred));
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(language->preferredLanguage(), Lang::Japanese);
}

TEST_F(LanguageTest, AChangeIsStoredAtOnceButTextsKeepTheLaunchLanguageUntilRestart) {
    domain->setString(kPreferred, QStringLiteral("en"));
    auto language = launch({QStringLiteral("ja")});
    // Each hook notes what it saw: hooks run after the choice is stored and set.
    std::vector<std::string> calls;
    language->onChangedHooks().push_back([&] {
        calls.push_back("A:" + Language::rawValue(language->preferredLanguage()).toStdString() +
                        ":" + stored().toStdString());
    });
    language->onChangedHooks().push_back([&] { calls.push_back("B"); });

    language->setPreferredLanguage(Lang::German);
    EXPECT_EQ(calls, (std::vector<std::string>{"A:de:de", "B"}));
    EXPECT_EQ(stored(), QStringLiteral("de"));
    EXPECT_EQ(language->preferredLanguage(), Lang::German);
    EXPECT_EQ(language->appLaunchLanguage(), Lang::English);
    EXPECT_TRUE(language->changeTakesEffectAtNextLaunch());
    EXPECT_EQ(language->languageBundle().language(), QStringLiteral("en"));
    EXPECT_EQ(language->localizedString(QStringLiteral("DATA USAGE")),
              QStringLiteral("DATA USAGE"));

    // Going back to the launch language removes the note again.
    language->setPreferredLanguage(Lang::English);
    EXPECT_FALSE(language->changeTakesEffectAtNextLaunch());
    EXPECT_EQ(calls, (std::vector<std::string>{"A:de:de", "B", "A:en:en", "B"}));
    language->setPreferredLanguage(Lang::German);

    // The next launch speaks German and has nothing to announce.
    language = launch({QStringLiteral("ja")});
    EXPECT_EQ(language->appLaunchLanguage(), Lang::German);
    EXPECT_FALSE(language->changeTakesEffectAtNextLaunch());
    EXPECT_EQ(language->localizedString(QStringLiteral("DATA USAGE")),
              QStringLiteral("DATENNUTZUNG"));

    // Back to the system: stored as the empty text, not removed.
    language->setPreferredLanguage(Lang::System);
    EXPECT_TRUE(domain->contains(kPreferred));
    EXPECT_EQ(stored(), QString());
    EXPECT_EQ(launch({QStringLiteral("ja")})->languageBundle().language(), QStringLiteral("ja"));
}

TEST_F(LanguageTest, AHookMayRegisterAnotherHookWhileHooksRun) {
    auto language = launch();
    int late = 0;
    language->onChangedHooks().push_back(
        [&] { language->onChangedHooks().push_back([&] { ++late; }); });
    language->setPreferredLanguage(Lang::German);
    EXPECT_EQ(late, 1);
    EXPECT_EQ(language->onChangedHooks().size(), 2u);
}

TEST(LanguageRawValueTest, RawValuesRoundTripAndNearMissesAreRejected) {
    ASSERT_EQ(Language::allLanguages().size(), 6u);
    EXPECT_EQ(Language::allLanguages().front(), Lang::System);
    for (Lang language : Language::allLanguages()) {
        EXPECT_EQ(Language::fromRawValue(Language::rawValue(language)), language);
        EXPECT_FALSE(Language::menuTitle(language).startsWith(QStringLiteral("settings.")));
    }
    EXPECT_FALSE(Language::fromRawValue(QStringLiteral("fr")).has_value());
    EXPECT_FALSE(Language::fromRawValue(QStringLiteral("zh-hans")).has_value());
}

TEST_F(LanguageTest, EachLanguageLooksUpItsOwnTextAndUnknownKeysReadAsThemselves) {
    // Every table loads (see the table checks below); three languages show the lookup.
    const std::pair<const char*, const char*> cases[] = {
        {"en", "NO NETWORK"}, {"ja", "ネットワークなし"}, {"zh-Hant", "無網路"}};
    for (const auto& [raw, text] : cases) {
        domain->setString(kPreferred, QString::fromUtf8(raw));
        const auto language = launch();
        EXPECT_EQ(language->localizedString(QStringLiteral("NO NETWORK")), QString::fromUtf8(text))
            << raw;
        EXPECT_EQ(language->localizedString(QStringLiteral("no.such.key")),
                  QStringLiteral("no.such.key"));
        EXPECT_EQ(language->localizedString(QString()), QString());
    }
    // The process-wide lookup answers from a real table too.
    EXPECT_NE(Language::getLocalizedString(QStringLiteral("networkStatus.title")),
              QStringLiteral("networkStatus.title"));
    EXPECT_EQ(Language::getLocalizedString(QStringLiteral("no.such.key")),
              QStringLiteral("no.such.key"));
}

TEST(StringTablesTest, TheFiveTablesHoldTheSameKeysWithRealTextsAndMatchingPlaceholders) {
    const auto tables = allTables();
    ASSERT_EQ(tables.size(), 5u) << "a built-in table is missing or unreadable";
    const StringTable& english = tables.at(QStringLiteral("en"));
    ASSERT_GT(english.texts().size(), 100);
    const auto keySet = [](const StringTable& t) {
        const QList<QString> keys = t.texts().keys();
        return QSet<QString>(keys.begin(), keys.end());
    };
    const QSet<QString> keys = keySet(english);

    for (const auto& [code, table] : tables) {
        const QSet<QString> own = keySet(table);
        for (const QString& key : keys - own)
            ADD_FAILURE() << code.toStdString() << " lacks " << key.toStdString();
        for (const QString& key : own - keys)
            ADD_FAILURE() << code.toStdString() << " has extra " << key.toStdString();

        int sameAsEnglish = 0;
        for (auto it = table.texts().begin(); it != table.texts().end(); ++it) {
            EXPECT_FALSE(it.value().trimmed().isEmpty())
                << code.toStdString() << " " << it.key().toStdString();
            EXPECT_EQ(placeholders(it.value()), placeholders(english.text(it.key())))
                << code.toStdString() << " " << it.key().toStdString();
            if (it.value() == english.text(it.key()))
                ++sameAsEnglish;
        }
        // Translations, not copies (a few names and units stay the same everywhere).
        if (code != QLatin1String("en")) {
            EXPECT_LT(sameAsEnglish * 10, table.texts().size()) << code.toStdString();
        }
    }
    // The placeholder check itself sees the placeholders.
    EXPECT_EQ(placeholders(english.text(QStringLiteral("common.LASTHOURS"))),
              QStringList{QStringLiteral("{count}")});
    EXPECT_EQ(placeholders(QStringLiteral("%@: %ld of %.2lf%% %1")),
              (QStringList{QStringLiteral("%.2lf"), QStringLiteral("%1"), QStringLiteral("%@"),
                           QStringLiteral("%ld")}));
}

// Scans the source tree for the keys the code looks up, so a key added in code without a
// translation fails here.
TEST(StringTablesTest, EveryKeyLookedUpInTheSourcesHasATextInEveryTable) {
    static const QRegularExpression lookup(QString::fromLatin1(
        R"re((?:getLocalizedString|localizedString)\s*\(\s*(?:QStringLiteral|QString::fromUtf8|QLatin1String|QString|u)?\s*\(?\s*"((?:[^"\\]|\\.)*)")re"));
    const QString root = QStringLiteral(LUMENSTAT_SOURCE_DIR "/src");
    ASSERT_TRUE(QDir(root).exists());
    std::map<QString, QString> used; // key -> first file using it
    QDirIterator files(root, {QStringLiteral("*.cpp"), QStringLiteral("*.h")}, QDir::Files,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = files.next();
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
        const QString text = QString::fromUtf8(file.readAll());
        for (auto it = lookup.globalMatch(text); it.hasNext();) {
            QString key = it.next().captured(1);
            key.replace(QStringLiteral("\\\""), QStringLiteral("\""));
            used.emplace(key, QDir(root).relativeFilePath(path));
        }
    }
    // The scan itself works: keys used by the feedback mail and the language menu are seen.
    EXPECT_TRUE(used.count(QStringLiteral("Lumenstat Feedback")));
    EXPECT_TRUE(used.count(QStringLiteral("settings.language.menu.systemLanguage")));

    // A key built from a template ("battery.notification.%1%Remaining" with .arg()) needs at
    // least one table key of its shape.
    static const QRegularExpression argument(QStringLiteral("%[1-9]"));
    const auto hasKey = [](const StringTable& table, const QString& key) {
        if (!key.contains(argument))
            return table.texts().contains(key);
        QStringList parts = key.split(argument);
        for (QString& part : parts)
            part = QRegularExpression::escape(part);
        const QString pattern = parts.join(QStringLiteral(".+"));
        const QRegularExpression shape(QRegularExpression::anchoredPattern(pattern));
        for (auto it = table.texts().begin(); it != table.texts().end(); ++it)
            if (shape.match(it.key()).hasMatch())
                return true;
        return false;
    };
    const auto tables = allTables();
    ASSERT_EQ(tables.size(), 5u);
    for (const auto& [key, file] : used)
        for (const auto& [code, table] : tables)
            EXPECT_TRUE(hasKey(table, key))
                << code.toStdString() << " lacks \"" << key.toStdString() << "\" used in "
                << file.toStdString();
    EXPECT_FALSE(hasKey(tables.at(QStringLiteral("en")), QStringLiteral("battery.%1.absent")));
    EXPECT_TRUE(hasKey(tables.at(QStringLiteral("en")), QStringLiteral("batteryHistory.%1")));
}
