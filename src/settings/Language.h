#pragma once

#include <QString>

#include <functional>
#include <optional>
#include <vector>

// The interface language: the user's choice, fixed for the process at launch, and the
// lookup of every user-visible text by its localisation key.
class Language {
public:
    enum class SupportedLanguage { System, English, Chinese, TraditionChinese, German, Japanese };

    static Language& shared();

    // "" (system), "en", "zh-Hans", "zh-Hant", "de", "ja"; absent for anything else.
    static std::optional<SupportedLanguage> fromRawValue(const QString& raw);
    static QString rawValue(SupportedLanguage language);

    SupportedLanguage preferredLanguage() const { return preferredLanguage_; }
    void setPreferredLanguage(SupportedLanguage language);
    SupportedLanguage appLaunchLanguage() const { return appLaunchLanguage_; }
    std::vector<std::function<void()>>& onChangedHooks() { return onChangedHooks_; }

    // The text for key in the launch language; a key without a translation yields the key.
    static QString getLocalizedString(const QString& key);

private:
    Language();
    SupportedLanguage preferredLanguage_ = SupportedLanguage::System;
    SupportedLanguage appLaunchLanguage_ = SupportedLanguage::System;
    std::vector<std::function<void()>> onChangedHooks_;
};
