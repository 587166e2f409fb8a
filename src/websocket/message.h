#pragma once

#include <json/value.h>

#include <memory>
#include <string>

/// A message to one or more connections, printed for the first and shared by the others.
///
/// Its text is the JSON object {"data": any, "topic": string, "type": "event" or "result"}, styled.
///
/// Threads: one. Its text may be read by others.
class CMessage
{
public:
    /// The arguments live as long as this object.
    CMessage(const std::string& type, const std::string& topic, const Json::Value& data);

    std::shared_ptr<const std::string> Text();

private:
    const std::string& type;
    const std::string& topic;
    const Json::Value& data;
    std::shared_ptr<const std::string> text;
};
