#pragma once

#include <json/value.h>

#include <cstddef>
#include <functional>

/// A named channel of live events: the side that fills it with events.
/// Threads: Broadcast and NumberOfSubscribers any; the two members are assigned before the server starts.
class ITopic
{
public:
    /// Sends one message to the one connection that it was made for.
    using Reply = std::function<void(const Json::Value& message)>;

    ITopic() = default;
    ITopic(const ITopic&) = delete;
    ITopic& operator=(const ITopic&) = delete;
    ITopic(ITopic&&) = delete;
    ITopic& operator=(ITopic&&) = delete;
    virtual ~ITopic() = default;

    /// Sends @p message to all who listen. A failure to send reaches nobody; what the check of a listener's
    /// session throws, such as the failure to write its end to the disk, reaches the caller.
    virtual void Broadcast(const Json::Value& message) = 0;

    virtual std::size_t NumberOfSubscribers() const = 0;

    /// Runs when a connection subscribes, on the server's thread, to send it what it must know at once.
    /// Handlers may outlive whoever assigned them, and so capture nothing that may go before the topic. A
    /// std::exception is logged only.
    std::function<void(Reply reply)> OnSubscribe;

    /// Runs when a connection leaves, when one that listened is found without a session, and when any
    /// connection of the server closes, whether it listened or not: on the server's thread, or on the one
    /// that broadcasts. A std::exception is logged only.
    std::function<void()> OnUnsubscribe;
};
