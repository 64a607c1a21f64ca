// The interface language: the stored choice and its fall-backs, the launch-language rule, the
// change hooks, and the five string tables against each other and against the keys the code
// looks up.
#include "settings/Language.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "support/TempDir.h"

#include <QDirIterator>
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
    SettingsDomain domain{dir.file("settings.json")};

    std::unique_ptr<Language> launch(const QStringList& system = {"en-US"},
                                     const QString& tables = QString()) {
        return std::make_unique<Language>(domain, system, tables);
    }
};

// Every built-in table, by language code.
std::map<QString, StringTable> allTables() {
    TempDir dir;
    SettingsDomain domain(dir.file("s.json"));
    Language prime(domain, {}); // makes the built-in resources available
    std::map<QString, StringTable> tables;
    for (const QString& code : Language::tableLanguages())
        if (auto t =
                StringTable::load(code, Language::builtInTableDirectory() + "/" + code + ".json"))
            tables.emplace(code, std::move(*t));
    return tables;
}

// Format placeholders of a text, sorted: %@, %d, %ld, %.2lf, %1, {count}, ...
QStringList placeholders(const QString& text) {
    static const QRegularExpression re(
        "%%|%[0-9]+\\$?[@dilufsx]*|%[-+ #0]*[0-9]*(?:\\.[0-9]+)?(?:ll|l|h)?[@diouxXfeEgGcs]|"
        "\\{[A-Za-z_]+\\}");
    QStringList found;
    for (auto it = re.globalMatch(text); it.hasNext();)
        if (const QString token = it.next().captured(); token != "%%")
            found << token;
    found.sort();
    return found;
}

} // namespace

// A stored choice that names a language exactly wins over the desktop's; anything else
// follows the desktop.
TEST_F(LanguageTest, TheStoredChoiceOrElseTheSystemLanguage) {
    const std::tuple<SettingsDomain::Json, Lang, const char*> cases[] = {
        {"zh-Hans", Lang::Chinese, "zh-Hans"},
        {"zh-Hant", Lang::TraditionChinese, "zh-Hant"},
        {"", Lang::System, "de"},
        {"EN", Lang::System, "de"},
        {"de-DE", Lang::System, "de"},
        {3, Lang::System, "de"},
        {nullptr, Lang::System, "de"}};
    for (const auto& [raw, expected, bundle] : cases) {
        raw.is_null() ? domain.remove(kPreferred) : domain.setValue(kPreferred, raw);
        const auto language = launch({"de-DE", "ja-JP"});
        EXPECT_EQ(language->preferredLanguage(), expected) << raw;
        EXPECT_EQ(language->appLaunchLanguage(), expected) << raw;
        EXPECT_EQ(language->languageBundle().language(), bundle) << raw;
        EXPECT_FALSE(language->changeTakesEffectAtNextLaunch());
    }
}

TEST_F(LanguageTest, AMissingOrBrokenTableFallsBackToTheSystemLanguage) {
    TempDir tables;
    tables.write("en.json", R"({"NETWORK": "NETWORK"})");
    tables.write("ja.json", R"({"NETWORK": "ネットワーク", "bad": 5})");
    tables.write("zh-Hant.json", R"({"NETWORK": "網路")"); // cut short
    tables.write("zh-Hans.json", R"(["NETWORK"])");        // not an object
    domain.setString(kPreferred, "de");                    // no table at all
    auto language = launch({"ja"}, tables.path());
    EXPECT_EQ(language->preferredLanguage(), Lang::German); // the choice itself is kept
    EXPECT_EQ(language->localizedString("NETWORK"), QString::fromUtf8("ネットワーク"));
    EXPECT_EQ(language->localizedString("bad"), "bad"); // non-string members read as their key
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"zh-Hant", "fr", "en"}, {"zh-Hans", "ja", "ja"}, {"", "zh-TW", "en"}};
    for (const auto& [choice, system, bundle] : cases) {
        domain.setString(kPreferred, choice);
        EXPECT_EQ(launch({system}, tables.path())->languageBundle().language(), bundle) << choice;
    }
    TempDir nothing;
    EXPECT_EQ(launch({"de"}, nothing.path())->localizedString("NETWORK"), "NETWORK");
}

TEST(LanguageSystemTest, TheDesktopLanguageOrderPicksTheFirstLanguageWithATable) {
    const std::pair<QStringList, const char*> cases[] = {
        {{"de_CH.UTF-8"}, "de"},     {{"en-GB"}, "en"},
        {{"zh"}, "zh-Hans"},         {{"zh-SG"}, "zh-Hans"},
        {{"zh-Hans-HK"}, "zh-Hans"}, {{"zh_HK"}, "zh-Hant"},
        {{"zh-Hant-CN"}, "zh-Hant"}, {{"fr-FR", "es", "ja-JP"}, "ja"},
        {{"fr-FR", "pt-BR"}, "en"},  {{"C"}, "en"},
        {{"", "ja"}, "ja"},          {{}, "en"}};
    for (const auto& [system, expected] : cases)
        EXPECT_EQ(Language::bestTableLanguage(system), expected) << qPrintable(system.join(','));
}

TEST_F(LanguageTest, AChangeIsStoredAtOnceButTextsKeepTheLaunchLanguageUntilRestart) {
    auto language = launch({"ja"});
    std::vector<std::string> calls;
    language->onChangedHooks().push_back([&] { calls.push_back("none"); });
    language->setPreferredLanguage(Lang::System); // the current choice: nothing happens
    EXPECT_FALSE(domain.contains(kPreferred));
    EXPECT_TRUE(calls.empty());

    domain.setString(kPreferred, "en");
    language = launch({"ja"});
    // Hooks run after the choice is stored and set, in order; a hook may add a hook.
    language->onChangedHooks().push_back([&] {
        calls.push_back("A:" + Language::rawValue(language->preferredLanguage()).toStdString() +
                        ":" + domain.stringValue(kPreferred).toStdString());
        language->onChangedHooks().push_back([&] { calls.push_back("late"); });
    });
    language->setPreferredLanguage(Lang::German);
    EXPECT_EQ(calls, (std::vector<std::string>{"A:de:de", "late"}));
    EXPECT_EQ(language->appLaunchLanguage(), Lang::English);
    EXPECT_TRUE(language->changeTakesEffectAtNextLaunch());
    EXPECT_EQ(language->localizedString("DATA USAGE"), "DATA USAGE");
    language->setPreferredLanguage(Lang::English); // back to the launch language: no note
    EXPECT_FALSE(language->changeTakesEffectAtNextLaunch());
    language->setPreferredLanguage(Lang::German);

    language = launch({"ja"});
    EXPECT_EQ(language->appLaunchLanguage(), Lang::German);
    EXPECT_FALSE(language->changeTakesEffectAtNextLaunch());
    EXPECT_EQ(language->localizedString("DATA USAGE"), "DATENNUTZUNG");
    // Back to the system: stored as the empty text, not removed.
    language->setPreferredLanguage(Lang::System);
    EXPECT_TRUE(domain.contains(kPreferred) && domain.stringValue(kPreferred).isEmpty());
    EXPECT_EQ(launch({"ja"})->languageBundle().language(), "ja");
}

TEST(StringTablesTest, TheFiveTablesHoldTheSameKeysWithRealTextsAndMatchingPlaceholders) {
    const auto tables = allTables();
    ASSERT_EQ(tables.size(), 5u) << "a built-in table is missing or unreadable";
    const StringTable& english = tables.at("en");
    ASSERT_GT(english.texts().size(), 100);
    const auto keySet = [](const StringTable& t) {
        const QList<QString> keys = t.texts().keys();
        return QSet<QString>(keys.begin(), keys.end());
    };
    for (const auto& [code, table] : tables) {
        const QSet<QString> own = keySet(table);
        EXPECT_EQ(own, keySet(english)) << qPrintable(code);
        int sameAsEnglish = 0;
        for (auto it = table.texts().begin(); it != table.texts().end(); ++it) {
            const std::string where = code.toStdString() + " " + it.key().toStdString();
            EXPECT_FALSE(it.value().trimmed().isEmpty()) << where;
            EXPECT_EQ(placeholders(it.value()), placeholders(english.text(it.key()))) << where;
            sameAsEnglish += it.value() == english.text(it.key());
        }
        // Translations, not copies (a few names and units stay the same everywhere).
        EXPECT_TRUE(code == "en" || sameAsEnglish * 10 < table.texts().size()) << qPrintable(code);
    }
    EXPECT_EQ(placeholders("%@: %ld of %.2lf%% %1 {count}"),
              (QStringList{"%.2lf", "%1", "%@", "%ld", "{count}"}));
}

// Scans the sources for the keys the code looks up, so a key added in code without a
// translation fails here. A key built from a template ("battery.%1.x" with .arg()) needs a
// table key of its shape.
TEST(StringTablesTest, EveryKeyLookedUpInTheSourcesHasATextInEveryTable) {
    static const QRegularExpression lookup(
        R"re((?:getLocalizedString|localizedString)\s*\(\s*(?:QStringLiteral|QString::fromUtf8|QLatin1String|QString|u)?\s*\(?\s*"((?:[^"\\]|\\.)*)")re");
    static const QRegularExpression argument("%[1-9]");
    const QString root = LUMENSTAT_SOURCE_DIR "/src";
    std::map<QString, QString> used; // key -> first file using it
    for (QDirIterator files(root, {"*.cpp", "*.h"}, QDir::Files, QDirIterator::Subdirectories);
         files.hasNext();) {
        QFile file(files.next());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(file.fileName());
        const QString text = QString::fromUtf8(file.readAll());
        for (auto it = lookup.globalMatch(text); it.hasNext();)
            used.emplace(it.next().captured(1).replace("\\\"", "\""), file.fileName());
    }
    EXPECT_TRUE(used.count("Lumenstat Feedback") && used.count("battery.notification.%1%Remaining"))
        << "the scan sees plain and template keys";
    const auto hasKey = [](const StringTable& table, const QString& key) {
        if (!key.contains(argument))
            return table.texts().contains(key);
        QStringList parts = key.split(argument);
        for (QString& part : parts)
            part = QRegularExpression::escape(part);
        const QRegularExpression shape(QRegularExpression::anchoredPattern(parts.join(".+")));
        for (auto it = table.texts().begin(); it != table.texts().end(); ++it)
            if (shape.match(it.key()).hasMatch())
                return true;
        return false;
    };
    const auto tables = allTables();
    for (const auto& [key, file] : used)
        for (const auto& [code, table] : tables)
            EXPECT_TRUE(hasKey(table, key)) << qPrintable(code) << " lacks \"" << qPrintable(key)
                                            << "\" used in " << qPrintable(file);
    EXPECT_FALSE(hasKey(tables.at("en"), "battery.%1.absent"));
}
