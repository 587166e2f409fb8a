#pragma once

#include "src/websocket/itopic.h"

#include <memory>
#include <mutex>
#include <set>
#include <string>

class CMessage;
class IEventSender;

/// One topic of the event server: who listens to it, and how they are reached.
/// Threads: any.
class CWebSocketTopic : public ITopic, public std::enable_shared_from_this<CWebSocketTopic>
{
public:
    /// @param name    as clients call it
    /// @param sender  the server; when it is gone nothing is sent any more
    CWebSocketTopic(const std::string& name, std::weak_ptr<IEventSender> sender);

    /// Sends @p message as an event to all who listen now, and drops those without a valid session.
    void Broadcast(const Json::Value& message) override;

    std::size_t NumberOfSubscribers() const override;

    /// Adds a listener and runs OnSubscribe for it, unless it listens already. A std::exception from the
    /// handler is logged only: the connection listens.
    void AddConnection(const std::weak_ptr<void>& connection);

    /// Removes a listener and runs OnUnsubscribe, whether it listened or not. A std::exception from the
    /// handler is logged only.
    void RemoveConnection(const std::weak_ptr<void>& connection);

    /// Sends @p message as an event to one connection, or drops it if it has no valid session.
    void SendMessage(const std::weak_ptr<void>& connection, const Json::Value& message);

private:
    using Listeners = std::set<std::weak_ptr<void>, std::owner_less<std::weak_ptr<void>>>;

    void SendMessage(const std::weak_ptr<void>& connection, CMessage& message);

    // Constant after construction
    const std::string name;
    const std::weak_ptr<IEventSender> sender;

    mutable std::mutex mutex;

    // Guarded by mutex
    Listeners listeners;
};
