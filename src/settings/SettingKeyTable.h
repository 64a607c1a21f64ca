#pragma once

#include <QString>

#include <nlohmann/json.hpp>

#include <optional>
#include <string_view>
#include <vector>

// The keys a user or a script may set, in one table shared by `lumenstat --set`, the running
// instance's SetValue and the settings window: each key's domain, value type and accepted
// range, and how a number outside the range is brought into it.
class SettingKeyTable {
public:
    using Json = nlohmann::json;

    enum class Type { Bool, Integer, Double, String, StringList, UnsignedList, Records, Object };
    // What a number outside [min, max] becomes.
    enum class OutOfRange {
        Clamp,       // the nearer bound
        Zero,        // 0 (the width preference)
        NonZeroIsMax // any non-zero value is max (choices written as 0 or max only)
    };

    struct Entry {
        const char* key;
        bool group; // lives in the group domain
        Type type;
        double min = 0;
        double max = 0;
        OutOfRange rule = OutOfRange::Clamp;
        bool ranged = false;
        size_t listSize = 0;      // UnsignedList: exact element count, 0 for any
        const char* choices = ""; // String: "|a|b|" lists the accepted texts, "" any text
        bool state = false;       // kept by the app itself (records, counters, flags), not a
                                  // choice the settings window offers
    };

    struct Checked {
        std::optional<Json> value; // what to store; absent: remove the key
        QString error;             // why the key or value was refused
        bool ok() const { return error.isEmpty(); }
    };

    static const std::vector<Entry>& entries();
    static const Entry* find(std::string_view key);

    // Checks a value for key and brings a number into the key's range. An absent value
    // (removing the key) is accepted for every known key.
    static Checked check(const QString& key, const std::optional<Json>& value);
    // "true or false", "a whole number", ...
    static QString typeDescription(const Entry& entry);
};
