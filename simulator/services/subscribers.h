#pragma once

#include <algorithm>
#include <memory>
#include <mutex>
#include <vector>

namespace Simulator
{

/// Somebody who has subscribed to a notification.
/// Threads: any.
template <class Message>
class ISubscriber
{
public:
    ISubscriber() = default;
    ISubscriber(const ISubscriber&) = delete;
    ISubscriber& operator=(const ISubscriber&) = delete;
    ISubscriber(ISubscriber&&) = delete;
    ISubscriber& operator=(ISubscriber&&) = delete;
    virtual ~ISubscriber() = default;

    /// Returns without waiting for the subscriber.
    virtual void Send(const Message& message) = 0;
};

/// All who have subscribed to one notification of a service.
/// Threads: any.
template <class Message>
class CSubscribers
{
public:
    void Add(const std::shared_ptr<ISubscriber<Message>>& subscriber)
    {
        const std::lock_guard lock(mutex);
        RemoveGone();
        subscribers.push_back(subscriber);
    }

    void Publish(const Message& message)
    {
        for (const auto& weak : Copy())
        {
            if (const auto subscriber = weak.lock())
            {
                subscriber->Send(message);
            }
        }
    }

private:
    using Subscribers = std::vector<std::weak_ptr<ISubscriber<Message>>>;

    Subscribers Copy()
    {
        const std::lock_guard lock(mutex);
        RemoveGone();
        return subscribers;
    }

    void RemoveGone()
    {
        subscribers.erase(std::remove_if(subscribers.begin(),
                                         subscribers.end(),
                                         [](const auto& subscriber) { return subscriber.expired(); }),
                          subscribers.end());
    }

    std::mutex mutex;

    // Guarded by mutex
    Subscribers subscribers;
};

} // namespace Simulator
