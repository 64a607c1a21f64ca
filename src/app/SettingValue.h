#pragma once

#include <QString>

#include <nlohmann/json.hpp>

#include <optional>

class SettingsDomain;

// Typed values for `lumenstat --set key=value` and the service's SetValue.
//
// The text after '=' is read as, in this order:
//   (nothing)                 removes the key
//   true / false              a boolean
//   123, -4                   an integer (a value beyond the signed range: unsigned)
//   0.8, 1e3                  a floating-point number (finite only)
//   [..] / {..}               a JSON array or object, when it parses as JSON
//   "text"                    a string, quotes removed (to store "7" as text, say)
//   anything else             the text as a string
namespace SettingValue {

using Json = nlohmann::json;

struct Assignment {
    QString key;
    std::optional<Json> value; // absent: remove the key
};

std::optional<Json> parse(const QString& text);
// Splits "key=value" at the first '='. Absent when there is no '=' or no key.
std::optional<Assignment> parseAssignment(const QString& argument);

// The domain a key lives in: the group domain for group keys, else the standard one.
SettingsDomain& domainForKey(const QString& key);

// Where a value goes: only into the settings (no instance runs), or into the running app,
// whose palette takes a new accent colour at once.
enum class Reach { Settings, RunningApp };

// Checks the value against the key table (SettingKeyTable) and, when it fits, writes it
// brought into the key's range (or removes the key) in its domain, then posts the key's
// change notification when it has one, a notification named by the key itself, and calls
// the settings change hooks with the key. Returns why the key or value was refused, or an
// empty text when it was applied.
QString apply(const QString& key, const std::optional<Json>& value, Reach reach = Reach::Settings);

} // namespace SettingValue
