#include "Language.h"

#include "Settings.h"
#include "SettingsDomain.h"

// Minimal lookup until the string tables land: every key reads as itself.
Language& Language::shared() {
    static Language* instance = new Language;
    return *instance;
}

Language::Language() {
    preferredLanguage_ =
        fromRawValue(SettingsDomain::standard().stringValue(SettingsKey::PreferredLanguage))
            .value_or(SupportedLanguage::System);
    appLaunchLanguage_ = preferredLanguage_;
}

std::optional<Language::SupportedLanguage> Language::fromRawValue(const QString& raw) {
    if (raw.isEmpty())
        return SupportedLanguage::System;
    if (raw == QLatin1String("en"))
        return SupportedLanguage::English;
    if (raw == QLatin1String("zh-Hans"))
        return SupportedLanguage::Chinese;
    if (raw == QLatin1String("zh-Hant"))
        return SupportedLanguage::TraditionChinese;
    if (raw == QLatin1String("de"))
        return SupportedLanguage::German;
    if (raw == QLatin1String("ja"))
        return SupportedLanguage::Japanese;
    return std::nullopt;
}

QString Language::rawValue(SupportedLanguage language) {
    switch (language) {
    case SupportedLanguage::English:
        return QStringLiteral("en");
    case SupportedLanguage::Chinese:
        return QStringLiteral("zh-Hans");
    case SupportedLanguage::TraditionChinese:
        return QStringLiteral("zh-Hant");
    case SupportedLanguage::German:
        return QStringLiteral("de");
    case SupportedLanguage::Japanese:
        return QStringLiteral("ja");
    case SupportedLanguage::System:
        break;
    }
    return QString();
}

void Language::setPreferredLanguage(SupportedLanguage language) {
    if (language == preferredLanguage_)
        return;
    SettingsDomain::standard().setString(SettingsKey::PreferredLanguage, rawValue(language));
    preferredLanguage_ = language;
    for (size_t i = 0; i < onChangedHooks_.size(); ++i) {
        auto hook = onChangedHooks_[i];
        hook();
    }
}

QString Language::getLocalizedString(const QString& key) {
    return key;
}
