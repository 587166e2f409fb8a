#pragma once

#include "src/websocket/itopic.h"

#include "contracts/boardcontrol.h"

#include <memory>

/// Sends how firmware updates end, and the last such event to a new subscriber:
/// {"status": string, "fwIdentOld": string, "fwIdentNew": string}
/// The status is the name of an enumerator. The firmware's identifiers are there for the status 0, success.
///
/// Threads: those that deliver the board's notifications and run the topic's handlers. What is under way
/// while the broadcaster is destroyed ends undisturbed.
class CBoardControlFwUpdateStatusBroadcaster
{
public:
    /// Takes the board's one place for a receiver and the topic's handler of subscriptions, and leaves them
    /// behind without effect.
    CBoardControlFwUpdateStatusBroadcaster(std::shared_ptr<ITopic> topic,
                                           std::shared_ptr<IBoardControl> boardControl);

private:
    struct SCore;

    void ConnectService();

    // Constant after construction
    const std::shared_ptr<SCore> core;
};
