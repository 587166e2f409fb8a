/// What handlers read out of a request: its JSON, the members of that, its session.
#pragma once

#include "src/api/httprequest.h"

#include <json/value.h>

#include <string>

/// The JSON value that the body holds. What stands behind the first value is not looked at.
/// @throws HttpStatusException<400> with the message "Could not parse body: " and the parser's words, also
/// for an empty body
/// @throws Json::Exception if the nesting is deeper than the parser goes, 1000 levels
Json::Value ParseJsonBody(const IHttpRequest& request);

/// The session that the client claims, empty if it sends none.
std::string GetSessionId(const IHttpRequest& request);

// The member @p key of an object.
// Each throws HttpStatusException<400> with its reason word if the member is missing or of another type, and
// Json::Exception if @p object is neither an object nor null.

bool GetJsonBool(const Json::Value& object, const std::string& key);

/// A whole number that fits; 3.0 is one.
int GetJsonInt(const Json::Value& object, const std::string& key);

/// A whole number from 0 that fits; 3.0 is one.
unsigned int GetJsonUInt(const Json::Value& object, const std::string& key);

std::string GetJsonString(const Json::Value& object, const std::string& key);

/// Any number.
float GetJsonFloat(const Json::Value& object, const std::string& key);

Json::Value GetJsonObject(const Json::Value& object, const std::string& key);

Json::Value GetJsonArray(const Json::Value& object, const std::string& key);
