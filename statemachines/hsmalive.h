#pragma once

#include "platform/worker/worker.h"

#include <chrono>
#include <functional>
#include <memory>

/// Time between two alive signals.
constexpr std::chrono::nanoseconds AlivePeriod = std::chrono::seconds(4);

/// Adds the alive timer to an action handler's base: a periodic call on a worker of the handler's own. The
/// most derived class constructs the two virtual bases, and starts the worker. Threads: the machine's, and
/// the worker's for ExtSendAlive.
template <class ActionHandlerBase>
class CHsmAlive : public virtual ActionHandlerBase, public virtual CWorker
{
public:
    CHsmAlive() = default;

    /// Stops the worker, whose calls use the members.
    ~CHsmAlive() override;
    CHsmAlive(const CHsmAlive&) = delete;
    CHsmAlive& operator=(const CHsmAlive&) = delete;
    CHsmAlive(CHsmAlive&&) = delete;
    CHsmAlive& operator=(CHsmAlive&&) = delete;

    void IntStartAliveTimer() override;
    void IntStopAliveTimer() override;

    /// Sends one alive signal. Assigned while the timer doesn't run; an empty function is skipped.
    std::function<void()> ExtSendAlive;

private:
    // Touched by the machine's thread only
    std::shared_ptr<CWorkerCall> aliveCall;
};

template <class ActionHandlerBase>
CHsmAlive<ActionHandlerBase>::~CHsmAlive()
{
    CWorker::Stop();
}

template <class ActionHandlerBase>
void CHsmAlive<ActionHandlerBase>::IntStartAliveTimer()
{
    const auto sendAlive = [this]
    {
        if (ExtSendAlive)
        {
            ExtSendAlive();
        }
    };
    aliveCall = AddCall(sendAlive, Now(), AlivePeriod);
}

template <class ActionHandlerBase>
void CHsmAlive<ActionHandlerBase>::IntStopAliveTimer()
{
    if (aliveCall)
    {
        aliveCall->Cancel();
        aliveCall.reset();
    }
    Sync();
}
