#pragma once

#include <json/value.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>

namespace Simulator
{

/// Takes the members out of a JSON object, each by its key and type, and then refuses what is left.
///
/// Every operation throws CBadRequest, naming place and key, if a member is missing or of another type.
/// Threads: one at a time.
class CJsonReader
{
public:
    /// @param place of the object in the request, for error texts; empty for the request itself
    explicit CJsonReader(const Json::Value& object, std::string place = "");

    bool Has(const char* key) const;
    /// The member is there, and null.
    bool IsNull(const char* key);

    std::string Text(const char* key);
    bool Bool(const char* key);
    std::int64_t Integer(const char* key, std::int64_t least, std::int64_t greatest);
    /// A number of seconds or the like, not negative.
    double Number(const char* key, double greatest);
    const Json::Value& Any(const char* key);
    const Json::Value& Array(const char* key);
    CJsonReader Object(const char* key);

    std::optional<std::string> OptionalText(const char* key);
    std::optional<bool> OptionalBool(const char* key);
    std::optional<std::int64_t> OptionalInteger(const char* key, std::int64_t least, std::int64_t greatest);

    /// A number of an enumeration, any that fits, or the name of one of its enumerators.
    template <class Enumeration>
    int Enumerator(const char* key, bool (*parse)(const std::string&, Enumeration*))
    {
        if (!Get(key).isString())
        {
            return static_cast<int>(Integer(key, INT32_MIN, INT32_MAX));
        }
        Enumeration number{};
        if (!parse(Text(key), &number))
        {
            Fail(key, "is no name of its enumeration");
        }
        return number;
    }

    /// To be called last.
    void RefuseOthers() const;

private:
    const Json::Value& Get(const char* key);
    [[noreturn]] void Fail(const std::string& key, const std::string& reason) const;

    const Json::Value& object;
    std::string place;
    std::set<std::string> taken;
};

} // namespace Simulator
