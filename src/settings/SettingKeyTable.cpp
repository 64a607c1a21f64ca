#include "SettingKeyTable.h"

#include "Settings.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string_view>

namespace {

using Entry = SettingKeyTable::Entry;
using Type = SettingKeyTable::Type;
using Rule = SettingKeyTable::OutOfRange;
using Json = nlohmann::json;

Entry plain(const char* key, Type type, bool group = false) {
    return Entry{key, group, type};
}

Entry ranged(const char* key, Type type, double min, double max, Rule rule = Rule::Clamp,
             bool group = false) {
    Entry e{key, group, type, min, max, rule};
    e.ranged = true;
    return e;
}

// A key the app keeps for itself; scripts may still set it.
Entry state(Entry e) {
    e.state = true;
    return e;
}

std::vector<Entry> makeEntries() {
    namespace K = SettingsKey;
    const double anyCount = static_cast<double>(std::numeric_limits<int64_t>::max());
    Entry tray = plain(K::TrayRendering, Type::String);
    tray.choices = "|auto|wide|square|";
    Entry wifi = plain(K::NetActivitiesWiFiData, Type::UnsignedList, true);
    wifi.listSize = 2;
    Entry wwan = plain(K::NetActivitiesWWANData, Type::UnsignedList, true);
    wwan.listSize = 2;
    return {
        // Standard domain
        plain(K::WantsAutoLogin, Type::Bool),
        ranged(K::PerformanceQueuePriority, Type::Integer, 0, 1),
        ranged(K::PreferredTrafficType, Type::Integer, 0, 2),
        ranged(K::HomepageSubtitleType, Type::Integer, 0, 1),
        plain(K::WantsPopupAnimation, Type::Bool),
        plain(K::WantsBlurBackground, Type::Bool),
        plain(K::WantsBatteryNotification, Type::StringList),
        plain(K::ShowsHomepageStorageUsage, Type::Bool),
        plain(K::ShowsHomepageBatteryUsage, Type::Bool),
        plain(K::WantsBatteryStatusInMenuBar, Type::Bool),
        plain(K::WantsStatusBarItemBatteryColor, Type::Bool),
        plain(K::MenuBarShowsBatteryPercentage, Type::Bool),
        plain(K::MenuBarBatteryPercentageUseSystemFont, Type::Bool),
        plain(K::MenuBarShowsStorageUsage, Type::Bool),
        ranged(K::WantsStorageMenuBarDisplay, Type::Integer, 0, 1, Rule::NonZeroIsMax),
        plain(K::WantsCPUUsageInMenuBar, Type::Bool),
        plain(K::WantsAppDataUsageTracking, Type::Bool),
        ranged(K::MenuBoxPreferredWidth, Type::Integer, 0, 2, Rule::Zero),
        // The ten network styles the settings offer; the CPU and storage styles are not
        // network styles.
        ranged(K::NetMenuBoxType, Type::Integer, 0, 9),
        plain(K::WantsFloatWindow, Type::Bool),
        plain(K::FloatWindowHasShadow, Type::Bool),
        ranged(K::FloatWindowBackgroundAlpha, Type::Double, 0.4, 1.0),
        plain(K::FloatWindowWideModeShowTime, Type::Bool),
        ranged(K::FloatWindowMode, Type::Integer, 0, 2),
        state(plain(K::DidInitSettings, Type::Bool)),
        state(plain(K::LayoutLogUnsatisfiable, Type::Bool)),
        plain(K::PreferredLanguage, Type::String),
        state(plain(K::LastReloadWidgetsTime, Type::Double)),
        state(plain(K::StockFloatWindowNetwork, Type::UnsignedList)),
        state(plain(K::StockFloatWindowCPU, Type::UnsignedList)),
        state(ranged(K::TabBarSelectedViewController, Type::Integer, 0, 1)),
        state(ranged(K::AppReviewRequestCount, Type::Integer, 0, anyCount)),
        state(plain(K::WelcomeShown, Type::Bool)),
        state(plain(K::AppDataUsageTrackWelcome, Type::Bool)),
        tray,
        state(plain(K::FirstRunWelcomeShown, Type::Bool)),
        // Group domain
        ranged(K::AccentColorIndex, Type::Integer, 0, 6, Rule::Clamp, true),
        ranged(K::StorageReference, Type::Integer, 0, 2, Rule::NonZeroIsMax, true),
        ranged(K::DataUsageTimeRange, Type::Integer, 0, 1, Rule::Clamp, true),
        state(wifi),
        state(wwan),
        state(plain(K::DataUsageData, Type::Records, true)),
        state(plain(K::BatteryHealthData, Type::Records, true)),
        state(plain(K::BatteryRawData, Type::Records, true)),
        state(plain(K::AppDataUsageWidgetData, Type::Object, true)),
    };
}

bool isUnsigned(const Json& v) {
    return v.is_number_unsigned() || (v.is_number_integer() && v.get<int64_t>() >= 0);
}

bool fits(const Entry& e, const Json& v) {
    switch (e.type) {
    case Type::Bool:
        return v.is_boolean();
    case Type::Integer:
        return v.is_number_integer();
    case Type::Double:
        return v.is_number();
    case Type::String:
        return v.is_string() && (*e.choices == '\0' ||
                                 std::string_view(e.choices).find("|" + v.get<std::string>() +
                                                                  "|") != std::string_view::npos);
    case Type::StringList:
        return v.is_array() &&
               std::all_of(v.begin(), v.end(), [](const Json& x) { return x.is_string(); });
    case Type::UnsignedList:
        return v.is_array() && (e.listSize == 0 || v.size() == e.listSize) &&
               std::all_of(v.begin(), v.end(), isUnsigned);
    case Type::Records:
        return v.is_array() &&
               std::all_of(v.begin(), v.end(), [](const Json& x) { return x.is_object(); });
    case Type::Object:
        return v.is_object();
    }
    return false;
}

// A whole number brought into [min, max] by the entry's rule.
Json rangedInteger(const Entry& e, const Json& v) {
    // A bound at or beyond the 64-bit range stands for the end of that range.
    const auto bound = [](double d) {
        if (d >= 9.2e18)
            return std::numeric_limits<int64_t>::max();
        if (d <= -9.2e18)
            return std::numeric_limits<int64_t>::min();
        return static_cast<int64_t>(d);
    };
    const int64_t min = bound(e.min);
    const int64_t max = bound(e.max);
    // Beyond the signed range counts as above every bound.
    const bool huge =
        v.is_number_unsigned() &&
        v.get<uint64_t>() > static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
    const int64_t n = huge ? std::numeric_limits<int64_t>::max() : v.get<int64_t>();
    // The network item's classic styles are stored as 20 ... 27, beyond the current ten.
    if (std::string_view(e.key) == SettingsKey::NetMenuBoxType && n >= 20 && n <= 27)
        return Json(n);
    switch (e.rule) {
    case Rule::NonZeroIsMax:
        return Json(n == 0 ? int64_t{0} : max);
    case Rule::Zero:
        return Json(n < min || n > max ? int64_t{0} : n);
    case Rule::Clamp:
        break;
    }
    return Json(std::clamp(n, min, max));
}

Json rangedDouble(const Entry& e, const Json& v) {
    const double d = v.get<double>();
    switch (e.rule) {
    case Rule::NonZeroIsMax:
        return Json(d == 0 ? 0.0 : e.max);
    case Rule::Zero:
        return Json(d < e.min || d > e.max ? 0.0 : d);
    case Rule::Clamp:
        break;
    }
    return Json(std::clamp(d, e.min, e.max));
}

QString shown(const Json& v) {
    QString text = QString::fromStdString(v.dump(-1, ' ', false, Json::error_handler_t::replace));
    if (text.size() > 40)
        text = text.left(37) + QStringLiteral("...");
    return text;
}

} // namespace

const std::vector<SettingKeyTable::Entry>& SettingKeyTable::entries() {
    static const std::vector<Entry> table = makeEntries();
    return table;
}

const SettingKeyTable::Entry* SettingKeyTable::find(std::string_view key) {
    for (const Entry& e : entries())
        if (key == e.key)
            return &e;
    return nullptr;
}

QString SettingKeyTable::typeDescription(const Entry& e) {
    const auto range = [&e](const char* what) {
        if (!e.ranged)
            return QString::fromLatin1(what);
        if (e.max >= 1e18)
            return QStringLiteral("%1 from %2").arg(QLatin1String(what)).arg(e.min);
        return QStringLiteral("%1 from %2 to %3").arg(QLatin1String(what)).arg(e.min).arg(e.max);
    };
    switch (e.type) {
    case Type::Bool:
        return QStringLiteral("true or false");
    case Type::Integer:
        return range("a whole number");
    case Type::Double:
        return range("a number");
    case Type::String:
        if (*e.choices != '\0')
            return QStringLiteral("one of %1")
                .arg(QString::fromLatin1(e.choices).mid(1).chopped(1).replace('|', ", "));
        return QStringLiteral("a \"quoted\" text");
    case Type::StringList:
        return QStringLiteral("a list of texts, like [\"20\",\"10\"]");
    case Type::UnsignedList:
        return e.listSize == 2 ? QStringLiteral("a list of two whole numbers of 0 or more")
                               : QStringLiteral("a list of whole numbers of 0 or more");
    case Type::Records:
        return QStringLiteral("a list of JSON objects");
    case Type::Object:
        return QStringLiteral("a JSON object");
    }
    return {};
}

SettingKeyTable::Checked SettingKeyTable::check(const QString& key,
                                                const std::optional<Json>& value) {
    Checked c;
    const Entry* e = find(key.toStdString());
    if (!e) {
        c.error = QStringLiteral("unknown settings key \"%1\"").arg(key);
        return c;
    }
    if (!value)
        return c;
    if (!fits(*e, *value)) {
        c.error =
            QStringLiteral("%1 takes %2, not %3").arg(key, typeDescription(*e), shown(*value));
        return c;
    }
    if (e->ranged && e->type == Type::Integer)
        c.value = rangedInteger(*e, *value);
    else if (e->ranged && e->type == Type::Double)
        c.value = rangedDouble(*e, *value);
    else if (e->type == Type::Double)
        c.value = Json(value->get<double>()); // floating keys stay floating
    else
        c.value = value;
    return c;
}
