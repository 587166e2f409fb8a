#pragma once

#include <httpserver.hpp>
#include <json/value.h>

/// An answer whose body is JSON.
class JsonResponse : public httpserver::string_response
{
public:
    /// The answer when there is nothing to return: 204, no body, text/plain, a null value.
    JsonResponse();

    /// The body is the value's styled text, which ends in a line feed; its type is application/json.
    explicit JsonResponse(Json::Value value, int status = httpserver::http::http_utils::http_ok);

    const Json::Value& GetValue() const;

private:
    Json::Value value;
};
