#include "Language.h"

#include "Settings.h"
#include "SettingsDomain.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>

static void initLanguageResources() {
    // Resources of a static library are linked in only when something refers to them.
    Q_INIT_RESOURCE(Language);
}

namespace {

// Maps one desktop language tag to a table language; empty when none fits.
QString tableLanguageFor(QString tag) {
    tag.replace(QLatin1Char('_'), QLatin1Char('-'));
    tag = tag.section(QLatin1Char('.'), 0, 0).section(QLatin1Char('@'), 0, 0); // de_DE.UTF-8
    if (tag.isEmpty())
        return {};
    const QLocale locale(tag);
    switch (locale.language()) {
    case QLocale::English:
        return QStringLiteral("en");
    case QLocale::German:
        return QStringLiteral("de");
    case QLocale::Japanese:
        return QStringLiteral("ja");
    case QLocale::Chinese: {
        const QString lower = tag.toLower();
        if (lower.contains(QLatin1String("hant")))
            return QStringLiteral("zh-Hant");
        if (lower.contains(QLatin1String("hans")))
            return QStringLiteral("zh-Hans");
        if (locale.script() == QLocale::TraditionalChineseScript)
            return QStringLiteral("zh-Hant");
        switch (locale.territory()) {
        case QLocale::Taiwan:
        case QLocale::HongKong:
        case QLocale::Macao:
            return QStringLiteral("zh-Hant");
        default:
            return QStringLiteral("zh-Hans");
        }
    }
    default:
        return {};
    }
}

} // namespace

std::optional<StringTable> StringTable::load(const QString& language, const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject())
        return std::nullopt;
    QHash<QString, QString> texts;
    const QJsonObject object = doc.object();
    for (auto it = object.begin(); it != object.end(); ++it)
        if (it.value().isString())
            texts.insert(it.key(), it.value().toString());
    return StringTable(language, std::move(texts));
}

Language& Language::shared() {
    static Language* instance =
        new Language(SettingsDomain::standard(), QLocale::system().uiLanguages());
    return *instance;
}

Language::Language(SettingsDomain& domain, const QStringList& systemLanguages,
                   const QString& tableDirectory)
    : domain_(domain) {
    const QString stored = domain_.stringValue(SettingsKey::PreferredLanguage);
    preferredLanguage_ = fromRawValue(stored).value_or(SupportedLanguage::System);
    appLaunchLanguage_ = preferredLanguage_;

    QString directory = tableDirectory;
    if (directory.isEmpty()) {
        static const bool resourcesReady = (initLanguageResources(), true);
        (void)resourcesReady;
        directory = builtInTableDirectory();
    }
    const auto tableOf = [&](const QString& code) {
        return StringTable::load(code,
                                 directory + QLatin1Char('/') + code + QStringLiteral(".json"));
    };

    // An explicit choice uses its own table when there is one; everything else follows the
    // desktop's language order.
    std::optional<StringTable> table;
    const QString raw = rawValue(preferredLanguage_);
    if (!raw.isEmpty())
        table = tableOf(raw);
    if (!table)
        table = tableOf(bestTableLanguage(systemLanguages));
    if (!table)
        table = tableOf(QStringLiteral("en"));
    if (table)
        bundle_ = std::move(*table);
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

const std::vector<Language::SupportedLanguage>& Language::allLanguages() {
    static const std::vector<SupportedLanguage> all{
        SupportedLanguage::System,  SupportedLanguage::English,
        SupportedLanguage::Chinese, SupportedLanguage::TraditionChinese,
        SupportedLanguage::German,  SupportedLanguage::Japanese,
    };
    return all;
}

QString Language::menuTitle(SupportedLanguage language) {
    switch (language) {
    case SupportedLanguage::System:
        return getLocalizedString(QStringLiteral("settings.language.menu.systemLanguage"));
    case SupportedLanguage::English:
        return getLocalizedString(QStringLiteral("settings.language.menu.english"));
    case SupportedLanguage::Chinese:
        return getLocalizedString(QStringLiteral("settings.language.menu.simplifiedChinese"));
    case SupportedLanguage::TraditionChinese:
        return getLocalizedString(QStringLiteral("settings.language.menu.traditionalChinese"));
    case SupportedLanguage::German:
        return getLocalizedString(QStringLiteral("settings.language.menu.german"));
    case SupportedLanguage::Japanese:
        return getLocalizedString(QStringLiteral("settings.language.menu.japanese"));
    }
    return QString();
}

const QStringList& Language::tableLanguages() {
    static const QStringList codes{QStringLiteral("en"), QStringLiteral("de"), QStringLiteral("ja"),
                                   QStringLiteral("zh-Hans"), QStringLiteral("zh-Hant")};
    return codes;
}

QString Language::builtInTableDirectory() {
    return QStringLiteral(":/lumenstat/i18n");
}

QString Language::bestTableLanguage(const QStringList& systemLanguages) {
    for (const QString& tag : systemLanguages) {
        const QString code = tableLanguageFor(tag);
        if (!code.isEmpty())
            return code;
    }
    return QStringLiteral("en");
}

void Language::setPreferredLanguage(SupportedLanguage language) {
    if (rawValue(language) == rawValue(preferredLanguage_))
        return;
    domain_.setString(SettingsKey::PreferredLanguage, rawValue(language));
    preferredLanguage_ = language;
    // Index loop: a hook may register another hook.
    for (size_t i = 0; i < onChangedHooks_.size(); ++i) {
        auto hook = onChangedHooks_[i];
        hook();
    }
}

QString Language::getLocalizedString(const QString& key) {
    return shared().localizedString(key);
}
