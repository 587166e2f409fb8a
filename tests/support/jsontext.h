#pragma once

#include <json/reader.h>
#include <json/value.h>

#include <sstream>
#include <string>

/// @throws Json::Exception, which fails the test with its text, for what is no JSON
inline Json::Value Parse(const std::string& text)
{
    Json::Value value;
    std::istringstream stream(text);
    stream >> value;
    return value;
}
