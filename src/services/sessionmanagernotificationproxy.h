#pragma once

#include "contracts/sessionmanager.h"

#include <functional>
#include <memory>
#include <vector>

/// Hands each change of the connector's state to any number of listeners, in the order of their registration.
///
/// A listener that throws ends that notification: the later ones don't hear it.
///
/// Threads: AddListener during the assembly, before notifications are delivered; the listeners run on the
/// thread that delivers them.
class CSessionManagerNotificationProxy
{
public:
    using Listener = std::function<void(const ipc::MConnectorState&)>;

    /// Takes the client's one place for a receiver, and leaves it behind without effect.
    explicit CSessionManagerNotificationProxy(std::shared_ptr<ISessionManager> client);

    /// @param listener  not empty; registered for as long as the caller keeps it
    void AddListener(const std::shared_ptr<Listener>& listener);

private:
    using Listeners = std::vector<std::weak_ptr<Listener>>;

    static void Notify(Listeners& listeners, const ipc::MConnectorState& message);

    // Constant after construction
    const std::shared_ptr<ISessionManager> client;

    /// Touched during the assembly, and from then on by the notification thread only. Shared with a
    /// notification under way, which the proxy may go before.
    const std::shared_ptr<Listeners> listeners;
};
