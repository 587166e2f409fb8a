#pragma once

#include "src/websocket/itopic.h"

#include "contracts/diagnostics.h"

#include <memory>

/// Sends the signals that come up or go, whatever their number, and to a new subscriber the errors and
/// warnings, 1000 to 19999, that are active:
/// {"signal": integer, "value": bool, "type": "error" or "warning"}
/// Signals whose value is not a single bool are left out.
///
/// Threads: those that deliver the service's notifications and run the topic's handlers. What is under way
/// while the broadcaster is destroyed ends undisturbed.
class CDiagnosticsStatusChangedBroadcaster
{
public:
    /// Takes the service's one place for a receiver of signal changes and the topic's handler of
    /// subscriptions, and leaves them behind without effect.
    CDiagnosticsStatusChangedBroadcaster(std::shared_ptr<ITopic> topic,
                                         std::shared_ptr<IDiagnostics> diagnostics);

private:
    struct SCore;

    void ConnectService();

    // Constant after construction
    const std::shared_ptr<SCore> core;
};
