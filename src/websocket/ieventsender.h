#pragma once

#include <memory>

class CMessage;

/// What a topic needs of the event server.
/// Threads: any.
class IEventSender
{
public:
    IEventSender() = default;
    IEventSender(const IEventSender&) = delete;
    IEventSender& operator=(const IEventSender&) = delete;
    IEventSender(IEventSender&&) = delete;
    IEventSender& operator=(IEventSender&&) = delete;
    virtual ~IEventSender() = default;

    /// Whether the session that the connection was opened with is valid; always true without authorization,
    /// false for a connection that isn't open.
    virtual bool IsConnectionAuthorized(const std::weak_ptr<void>& connection) = 0;

    /// Sends one message. A failure to send is logged and reaches nobody.
    virtual void Respond(const std::weak_ptr<void>& connection, CMessage& message) = 0;
};
