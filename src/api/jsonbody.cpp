#include "src/api/jsonbody.h"

#include "src/api/httpexception.h"

#include <json/reader.h>

#include <sstream>

namespace
{

const Json::Value&
Member(const Json::Value& object, const std::string& key, bool (Json::Value::*hasType)() const)
{
    const Json::Value& member = object[key];
    if (!(member.*hasType)())
    {
        throw HttpStatusException<400>();
    }
    return member;
}

} // namespace

Json::Value ParseJsonBody(const IHttpRequest& request)
{
    const Json::CharReaderBuilder builder;
    std::istringstream stream(request.GetContent());
    Json::Value body;
    std::string errors;
    if (!Json::parseFromStream(builder, stream, &body, &errors))
    {
        throw HttpStatusException<400>("Could not parse body: " + errors);
    }
    return body;
}

std::string GetSessionId(const IHttpRequest& request)
{
    return request.GetCookie("sessionid");
}

bool GetJsonBool(const Json::Value& object, const std::string& key)
{
    return Member(object, key, &Json::Value::isBool).asBool();
}

int GetJsonInt(const Json::Value& object, const std::string& key)
{
    return Member(object, key, &Json::Value::isInt).asInt();
}

unsigned int GetJsonUInt(const Json::Value& object, const std::string& key)
{
    return Member(object, key, &Json::Value::isUInt).asUInt();
}

std::string GetJsonString(const Json::Value& object, const std::string& key)
{
    return Member(object, key, &Json::Value::isString).asString();
}

float GetJsonFloat(const Json::Value& object, const std::string& key)
{
    return Member(object, key, &Json::Value::isNumeric).asFloat();
}

Json::Value GetJsonObject(const Json::Value& object, const std::string& key)
{
    return Member(object, key, &Json::Value::isObject);
}

Json::Value GetJsonArray(const Json::Value& object, const std::string& key)
{
    return Member(object, key, &Json::Value::isArray);
}
