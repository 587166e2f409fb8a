#include "src/websocket/message.h"

CMessage::CMessage(const std::string& type, const std::string& topic, const Json::Value& data)
    : type(type)
    , topic(topic)
    , data(data)
{
}

std::shared_ptr<const std::string> CMessage::Text()
{
    if (!text)
    {
        Json::Value envelope;
        envelope["type"] = type;
        envelope["topic"] = topic;
        envelope["data"] = data;
        text = std::make_shared<const std::string>(envelope.toStyledString());
    }
    return text;
}
