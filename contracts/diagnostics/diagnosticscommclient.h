#pragma once

#include "contracts/diagnostics.h"
#include "platform/rpc/appcommunicationhost.h"

#include <memory>

/// The way of this process's diagnostics signals to the Diagnostics service.
/// Threads: any. A call that is under way at Shutdown ends as if there were none.
class CDiagnosticsCommClient
{
public:
    /// Connects the signals to the service. Called once, by the application object.
    static void Initialize(AppCommunicationHost<GrpcBackend>& host);

    /// The same with a given way of reporting.
    static void Initialize(std::shared_ptr<IDiagnosticsReport> report);

    /// Lets go of the connection, before the transport goes.
    static void Shutdown();

    /// Reports the signal with the present time of the system clock. The service's result is not looked at.
    /// @throws Rpc::CommunicationException if the service can't be reached
    /// @throws std::logic_error before Initialize and after Shutdown
    static void Send(const ipc::MDiagnosticsSignal& signal);
};
