#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <vector>

class SettingsDomain;

// One language's string table: localisation key -> text.
class StringTable {
public:
    StringTable() = default;
    StringTable(QString language, QHash<QString, QString> texts)
        : language_(std::move(language)), texts_(std::move(texts)) {}

    // Reads a table from a JSON object of strings; absent when the file cannot be read or is
    // not such an object. Members whose value is not a string are left out.
    static std::optional<StringTable> load(const QString& language, const QString& path);

    // The language code of the table ("en", "de", "ja", "zh-Hans", "zh-Hant").
    const QString& language() const { return language_; }
    const QHash<QString, QString>& texts() const { return texts_; }
    // The text for key; a key without a text yields the key itself.
    QString text(const QString& key) const { return texts_.value(key, key); }

private:
    QString language_;
    QHash<QString, QString> texts_;
};

// The interface language: the user's choice, fixed for the process at launch, and the
// lookup of every user-visible text by its localisation key.
class Language {
public:
    enum class SupportedLanguage { System, English, Chinese, TraditionChinese, German, Japanese };

    // The process-wide instance, created on first use from the standard settings domain and the
    // desktop's language order.
    static Language& shared();

    // A language set up from domain's stored choice; systemLanguages is the desktop's
    // preferred-language list (as QLocale::uiLanguages()) used when the choice is System.
    // Tables come from tableDirectory ("<code>.json"); empty means the built-in tables.
    Language(SettingsDomain& domain, const QStringList& systemLanguages,
             const QString& tableDirectory = QString());
    Language(const Language&) = delete;
    Language& operator=(const Language&) = delete;

    // "" (system), "en", "zh-Hans", "zh-Hant", "de", "ja"; absent for anything else.
    static std::optional<SupportedLanguage> fromRawValue(const QString& raw);
    static QString rawValue(SupportedLanguage language);
    // The six choices in menu order, System first.
    static const std::vector<SupportedLanguage>& allLanguages();
    // The menu title of a choice, in the launch language for System and in the language's own
    // name for the others.
    static QString menuTitle(SupportedLanguage language);
    // The codes of the five string tables.
    static const QStringList& tableLanguages();
    // Where the built-in tables live in the program's resources.
    static QString builtInTableDirectory();

    // The best of the five table languages for a desktop language list (first match wins);
    // English when none of them fits.
    static QString bestTableLanguage(const QStringList& systemLanguages);

    SupportedLanguage preferredLanguage() const { return preferredLanguage_; }
    // Stores the new choice and calls the change hooks; texts stay in the launch language.
    // Choosing the current language again does nothing.
    void setPreferredLanguage(SupportedLanguage language);
    SupportedLanguage appLaunchLanguage() const { return appLaunchLanguage_; }
    // True while a new choice waits for the next launch (the settings screen then shows
    // "settings.language.change.description").
    bool changeTakesEffectAtNextLaunch() const { return preferredLanguage_ != appLaunchLanguage_; }
    std::vector<std::function<void()>>& onChangedHooks() { return onChangedHooks_; }

    // The table texts are looked up in, chosen once at creation.
    const StringTable& languageBundle() const { return bundle_; }
    QString localizedString(const QString& key) const { return bundle_.text(key); }

    // The text for key in the launch language; a key without a translation yields the key.
    static QString getLocalizedString(const QString& key);

private:
    SettingsDomain& domain_;
    SupportedLanguage preferredLanguage_ = SupportedLanguage::System;
    SupportedLanguage appLaunchLanguage_ = SupportedLanguage::System;
    std::vector<std::function<void()>> onChangedHooks_;
    StringTable bundle_;
};
