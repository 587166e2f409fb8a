#pragma once

#include "contracts/station.pb.h"
#include "platform/rpc/client.h"
#include "platform/rpc/interface.h"

#include <functional>

/// The process as its controller sees it. Offered as "WebbackendGenCtrl".
/// Threads: the transport's server thread makes the calls, one at a time; the two functions are set before
/// the service is offered and may be called from any thread.
class IGenericControl : public Rpc::CInterface
{
public:
    /// @return status 0 when the process took the request up, 1 when it doesn't fit its present state. What
    /// comes of it arrives later, as a state.
    virtual ipc::MResult Enable() = 0;
    virtual ipc::MResult Disable() = 0;

    /// Where the transport receives what the service sends out. They return without waiting for a controller.
    std::function<void(const ipc::MState&)> StateOutput;
    std::function<void()> AliveOutput;
};

/// The process's own side of the same service.
/// Threads: any.
class IProcessControl : public Rpc::CInterface
{
public:
    /// @throws std::bad_function_call while no transport takes states
    virtual void SendState(const ipc::MState& state) = 0;

    /// @throws std::bad_function_call while no transport takes alive signals
    virtual void SendAlive() = 0;
};

template <>
std::unique_ptr<Rpc::IOfferedService>
Rpc::MakeOfferedService<IGenericControl>(const std::shared_ptr<IGenericControl>& object);
