#pragma once

#include "src/services/sessionmanagernotificationproxy.h"
#include "src/websocket/itopic.h"

#include "contracts/meter.h"
#include "platform/worker/worker.h"

#include <memory>

/// Sends the state of the charge session at each change of the connector's state, every 2 seconds while a
/// charge runs, and at once to a new subscriber:
/// {"state": string,
///  "meterData": {"totalEnergy": integer, "instantaneousPower": [integer, integer, integer],
///                "sessionEnergy": integer}}
/// Energies are in watt-hours and have 64 bits, powers are in watts. The meter's data are there once it has
/// been read, and the session's energy while the meter holds a session.
///
/// A charge runs, to this class, from the state 11 to the next 9, whatever lies between. A state without a
/// word is not sent.
///
/// Threads: state changes on the one that delivers notifications, periodic events on the worker's,
/// subscriptions on the one that runs the topic's handlers. What is under way while the broadcaster is
/// destroyed ends undisturbed.
class CSessionStatusBroadcaster
{
public:
    /// Takes the topic's handler of subscriptions, and leaves it behind without effect.
    /// @param meter null on a station that has none
    CSessionStatusBroadcaster(std::shared_ptr<ITopic> topic,
                              std::shared_ptr<CSessionManagerNotificationProxy> sessionManager,
                              std::shared_ptr<IMeter> meter,
                              std::shared_ptr<CWorker> worker);

    /// Waits for the periodic event under way.
    ~CSessionStatusBroadcaster();
    CSessionStatusBroadcaster(const CSessionStatusBroadcaster&) = delete;
    CSessionStatusBroadcaster& operator=(const CSessionStatusBroadcaster&) = delete;
    CSessionStatusBroadcaster(CSessionStatusBroadcaster&&) = delete;
    CSessionStatusBroadcaster& operator=(CSessionStatusBroadcaster&&) = delete;

private:
    class CCore;

    void ConnectService();

    // Constant after construction
    const std::shared_ptr<CSessionManagerNotificationProxy> sessionManager;
    const std::shared_ptr<CWorker> worker;
    const std::shared_ptr<CCore> core;

    /// Registered for as long as it lives.
    std::shared_ptr<CSessionManagerNotificationProxy::Listener> listener;
};
