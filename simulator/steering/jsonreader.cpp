#include "simulator/steering/jsonreader.h"

#include "simulator/steering/steeringerror.h"

#include <utility>

namespace Simulator
{

CJsonReader::CJsonReader(const Json::Value& object, std::string place)
    : object(object)
    , place(std::move(place))
{
    if (!object.isObject())
    {
        throw CBadRequest((this->place.empty() ? "the body" : this->place) + " is no object");
    }
}

bool CJsonReader::Has(const char* key) const
{
    return object.isMember(key);
}

bool CJsonReader::IsNull(const char* key)
{
    return Has(key) && Get(key).isNull();
}

std::string CJsonReader::Text(const char* key)
{
    const Json::Value& value = Get(key);
    if (!value.isString())
    {
        Fail(key, "is no string");
    }
    return value.asString();
}

bool CJsonReader::Bool(const char* key)
{
    const Json::Value& value = Get(key);
    if (!value.isBool())
    {
        Fail(key, "is neither true nor false");
    }
    return value.asBool();
}

std::int64_t CJsonReader::Integer(const char* key, std::int64_t least, std::int64_t greatest)
{
    const Json::Value& value = Get(key);
    if (!value.isInt64() || value.asInt64() < least || value.asInt64() > greatest)
    {
        Fail(key, "is no integer from " + std::to_string(least) + " to " + std::to_string(greatest));
    }
    return value.asInt64();
}

double CJsonReader::Number(const char* key, double greatest)
{
    const Json::Value& value = Get(key);
    if (!value.isNumeric() || value.asDouble() < 0 || value.asDouble() > greatest)
    {
        Fail(key, "is no number from 0 to " + std::to_string(greatest));
    }
    return value.asDouble();
}

const Json::Value& CJsonReader::Any(const char* key)
{
    return Get(key);
}

const Json::Value& CJsonReader::Array(const char* key)
{
    const Json::Value& value = Get(key);
    if (!value.isArray())
    {
        Fail(key, "is no array");
    }
    return value;
}

CJsonReader CJsonReader::Object(const char* key)
{
    return CJsonReader(Get(key), place.empty() ? key : place + "." + key);
}

std::optional<std::string> CJsonReader::OptionalText(const char* key)
{
    return Has(key) ? std::optional(Text(key)) : std::nullopt;
}

std::optional<bool> CJsonReader::OptionalBool(const char* key)
{
    return Has(key) ? std::optional(Bool(key)) : std::nullopt;
}

std::optional<std::int64_t>
CJsonReader::OptionalInteger(const char* key, std::int64_t least, std::int64_t greatest)
{
    return Has(key) ? std::optional(Integer(key, least, greatest)) : std::nullopt;
}

void CJsonReader::RefuseOthers() const
{
    for (const std::string& key : object.getMemberNames())
    {
        if (taken.count(key) == 0)
        {
            Fail(key, "is not known here");
        }
    }
}

const Json::Value& CJsonReader::Get(const char* key)
{
    if (!Has(key))
    {
        Fail(key, "is missing");
    }
    taken.insert(key);
    return object[key];
}

void CJsonReader::Fail(const std::string& key, const std::string& reason) const
{
    throw CBadRequest((place.empty() ? key : place + "." + key) + " " + reason);
}

} // namespace Simulator
