#include "SettingValue.h"

#include "settings/DynamicAppearance.h"
#include "settings/NotificationCenter.h"
#include "settings/SettingKeyTable.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QRegularExpression>

#include <cmath>

namespace SettingValue {

std::optional<Json> parse(const QString& text) {
    if (text.isEmpty())
        return std::nullopt;
    if (text == QLatin1String("true"))
        return Json(true);
    if (text == QLatin1String("false"))
        return Json(false);

    static const QRegularExpression integer(QStringLiteral("^[+-]?[0-9]+$"));
    if (integer.match(text).hasMatch()) {
        bool ok = false;
        const qlonglong v = text.toLongLong(&ok);
        if (ok)
            return Json(static_cast<int64_t>(v));
        const qulonglong u = text.toULongLong(&ok);
        if (ok)
            return Json(static_cast<uint64_t>(u));
        // Too large for any integer: falls through to floating point.
    }

    static const QRegularExpression number(
        QStringLiteral("^[+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][+-]?[0-9]+)?$"));
    if (number.match(text).hasMatch()) {
        bool ok = false;
        const double d = text.toDouble(&ok);
        if (ok && std::isfinite(d))
            return Json(d);
    }

    const QChar first = text.front();
    if (first == QLatin1Char('[') || first == QLatin1Char('{') || first == QLatin1Char('"')) {
        Json parsed = Json::parse(text.toStdString(), nullptr, false);
        if (!parsed.is_discarded() && (parsed.is_array() || parsed.is_object() ||
                                       (first == QLatin1Char('"') && parsed.is_string())))
            return parsed;
    }
    return Json(text.toStdString());
}

std::optional<Assignment> parseAssignment(const QString& argument) {
    const qsizetype eq = argument.indexOf(QLatin1Char('='));
    if (eq <= 0)
        return std::nullopt;
    Assignment a;
    a.key = argument.left(eq);
    a.value = parse(argument.mid(eq + 1));
    return a;
}

SettingsDomain& domainForKey(const QString& key) {
    return Settings::isGroupKey(key) ? SettingsDomain::group() : SettingsDomain::standard();
}

QString apply(const QString& key, const std::optional<Json>& value, Reach reach) {
    const SettingKeyTable::Checked checked = SettingKeyTable::check(key, value);
    if (!checked.ok())
        return checked.error;
    SettingsDomain& domain = domainForKey(key);
    if (reach == Reach::RunningApp && key == QLatin1String(SettingsKey::AccentColorIndex)) {
        // The palette writes the index itself, posts its change and repaints its users.
        DynamicAppearance::setTintIndex(
            checked.value ? static_cast<int>(checked.value->get<int64_t>()) : 0);
        if (!checked.value)
            domain.remove(key.toStdString()); // removed reads as 0, as just applied
        NotificationCenter::defaultCenter().post(key);
        Settings::shared().postSettingsDidChangeNotification(key);
        return {};
    }
    if (checked.value)
        domain.setValue(key.toStdString(), *checked.value);
    else
        domain.remove(key.toStdString());

    NotificationCenter& center = NotificationCenter::defaultCenter();
    const QString name = Settings::notificationNameForKey(key);
    if (!name.isEmpty())
        center.post(name);
    if (name != key)
        center.post(key);
    Settings::shared().postSettingsDidChangeNotification(key);
    return {};
}

} // namespace SettingValue
