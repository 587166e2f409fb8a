#pragma once

#include <json/value.h>

#include <array>
#include <cstddef>
#include <string_view>

/// What the web interface may do with one setting.
struct SConfigKeyRule
{
    std::string_view key;

    /// Whether a value is of the setting's JSON type. That is all that is looked at: no range, no length.
    bool (Json::Value::*isValidType)() const;

    /// Whether the web interface may write the setting, and not only read it.
    bool writable;
};

/// The settings of one configuration that the web interface sees, in order of their keys.
/// Threads: any.
class CConfigTable
{
public:
    /// @param rules  in order of their keys; outlive the table
    template <std::size_t Size>
    constexpr explicit CConfigTable(const std::array<SConfigKeyRule, Size>& rules)
        : first(rules.data())
        , last(rules.data() + Size)
    {
    }

    const SConfigKeyRule* begin() const { return first; }
    const SConfigKeyRule* end() const { return last; }

    /// The rule of the key, null if it isn't in the table.
    const SConfigKeyRule* Find(std::string_view key) const;

private:
    const SConfigKeyRule* first;
    const SConfigKeyRule* last;
};

/// Of the configuration "settings".
extern const CConfigTable UserConfigTable;

/// Of the configuration "network".
extern const CConfigTable NetworkConfigTable;

/// Of the configuration "secrets": all that leaves it.
extern const CConfigTable NetworkSecretsTable;
