#pragma once

#include "src/websocket/itopic.h"

#include "platform/json/jsonutil.h"

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// A topic without a server: keeps what is sent, as compact JSON.
/// Threads: any; onBroadcast and subscribers are set while nobody else is at it.
class CFakeTopic : public ITopic
{
public:
    void Broadcast(const Json::Value& message) override
    {
        {
            const std::lock_guard lock(mutex);
            broadcasts.push_back(JsonUtil::WriteUnstyled(message));
        }
        if (onBroadcast)
        {
            onBroadcast();
        }
    }

    std::size_t NumberOfSubscribers() const override { return subscribers; }

    /// Runs the handler as for a connection that subscribes. @return what was sent to that connection
    std::vector<std::string> Subscribe() const
    {
        std::vector<std::string> replies;
        OnSubscribe([&replies](const Json::Value& message)
                    { replies.push_back(JsonUtil::WriteUnstyled(message)); });
        return replies;
    }

    /// What was sent since the last time.
    std::vector<std::string> TakeBroadcasts()
    {
        const std::lock_guard lock(mutex);
        return std::exchange(broadcasts, {});
    }

    /// Runs at the end of each Broadcast.
    std::function<void()> onBroadcast;
    std::size_t subscribers = 0;

private:
    std::mutex mutex;

    // Guarded by mutex
    std::vector<std::string> broadcasts;
};
