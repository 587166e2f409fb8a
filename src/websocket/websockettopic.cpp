#include "src/websocket/websockettopic.h"

#include "src/websocket/ieventsender.h"
#include "src/websocket/message.h"

#include "platform/log/log.h"

#include <json/writer.h>

#include <exception>
#include <sstream>
#include <utility>

namespace
{

const std::string EventType = "event";

std::string Printed(const Json::Value& message)
{
    std::ostringstream text;
    text << message;
    return text.str();
}

} // namespace

CWebSocketTopic::CWebSocketTopic(const std::string& name, std::weak_ptr<IEventSender> sender)
    : name(name)
    , sender(std::move(sender))
{
    LOG_ENTRY(CWebSocketTopic, "CWebSocketTopic");
}

void CWebSocketTopic::AddConnection(const std::weak_ptr<void>& connection)
{
    LOG_ENTRY(CWebSocketTopic, "AddConnection");
    bool added = false;
    {
        const std::lock_guard lock(mutex);
        added = listeners.insert(connection).second;
    }
    if (!added)
    {
        LOG_WARN("Connection already exists in the set of listeners on topic '{}'. Skipping this "
                 "AddConnection call.",
                 name);
        return;
    }
    LOG_INFO("Connection was added to listeners on topic '{}'", name);
    if (!OnSubscribe)
    {
        return;
    }
    LOG_DEBUG("Calling topic subscribe for {}", name);
    try
    {
        OnSubscribe(
            [topic = weak_from_this(), connection](const Json::Value& message)
            {
                if (const auto living = topic.lock())
                {
                    living->SendMessage(connection, message);
                }
            });
    }
    catch (const std::exception& error)
    {
        LOG_ERROR(
            "Unexpected exception occurred during OnSubscribe handler of topic {}: {}", name, error.what());
    }
}

void CWebSocketTopic::RemoveConnection(const std::weak_ptr<void>& connection)
{
    LOG_ENTRY(CWebSocketTopic, "RemoveConnection");
    {
        const std::lock_guard lock(mutex);
        listeners.erase(connection);
    }
    LOG_INFO("Connection was removed from listeners on topic '{}'", name);
    if (!OnUnsubscribe)
    {
        return;
    }
    LOG_DEBUG("Calling topic unsubscribe for {}", name);
    try
    {
        OnUnsubscribe();
    }
    catch (const std::exception& error)
    {
        LOG_ERROR(
            "Unexpected exception occurred during OnUnsubscribe handler of topic {}: {}", name, error.what());
    }
}

void CWebSocketTopic::SendMessage(const std::weak_ptr<void>& connection, const Json::Value& message)
{
    CMessage event(EventType, name, message);
    SendMessage(connection, event);
}

void CWebSocketTopic::SendMessage(const std::weak_ptr<void>& connection, CMessage& message)
{
    LOG_ENTRY(CWebSocketTopic, "SendMessage");
    const std::shared_ptr<IEventSender> server = sender.lock();
    if (!server)
    {
        LOG_DEBUG("WebSocket ptr of topic {} is empty so nothing can be broadcast.", name);
        return;
    }
    if (server->IsConnectionAuthorized(connection))
    {
        server->Respond(connection, message);
        return;
    }
    LOG_DEBUG("Topic {} attempted to broadcast a message to a connection associated with an invalid "
              "sessionid. This connection will be removed from the subscribers on this topic.",
              name);
    RemoveConnection(connection);
}

void CWebSocketTopic::Broadcast(const Json::Value& message)
{
    LOG_ENTRY(CWebSocketTopic, "Broadcast");
    Listeners present;
    {
        const std::lock_guard lock(mutex);
        present = listeners;
    }
    LOG_TRACE("Broadcasting on topic {} for {} listeners: {}", name, present.size(), Printed(message));
    CMessage event(EventType, name, message);
    for (const std::weak_ptr<void>& connection : present)
    {
        SendMessage(connection, event);
    }
}

std::size_t CWebSocketTopic::NumberOfSubscribers() const
{
    LOG_ENTRY(CWebSocketTopic, "NumberOfSubscribers");
    const std::lock_guard lock(mutex);
    return listeners.size();
}
