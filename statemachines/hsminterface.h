#pragma once

#include "statemachines/hsmevent.h"

#include <memory>

/// A state machine as those see it who send it events.
/// Threads: any, except that Run belongs to one.
class IHsmInterface
{
public:
    IHsmInterface() = default;
    IHsmInterface(const IHsmInterface&) = delete;
    IHsmInterface& operator=(const IHsmInterface&) = delete;
    IHsmInterface(IHsmInterface&&) = delete;
    IHsmInterface& operator=(IHsmInterface&&) = delete;

    /// Puts an event behind those that wait, and returns at once. From an action of the machine's own it is
    /// handled after the reaction under way has ended.
    virtual void PostEvent(std::shared_ptr<IHsmEvent> event) = 0;

    /// Enters the initial state, if no earlier call did, and handles events on the caller's thread until
    /// Stop. What an action throws leaves this operation; a further call goes on from the state the machine
    /// was in.
    virtual void Run() = 0;

    /// Lets Run return after the reaction under way, and makes each later Run return at once. Events that
    /// wait stay unprocessed.
    virtual void Stop() = 0;

    /// False once Stop was called.
    virtual bool IsRunning() = 0;

    virtual ~IHsmInterface() = default;
};
