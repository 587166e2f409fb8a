#include "src/api/jsonresponse.h"

#include <utility>

using httpserver::http::http_utils;

JsonResponse::JsonResponse()
    : string_response("", http_utils::http_no_content, http_utils::text_plain)
{
}

JsonResponse::JsonResponse(Json::Value value, int status)
    : string_response(value.toStyledString(), status, "application/json")
    , value(std::move(value))
{
}

const Json::Value& JsonResponse::GetValue() const
{
    return value;
}
