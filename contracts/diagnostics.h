#pragma once

#include "contracts/station.pb.h"
#include "platform/rpc/client.h"
#include "platform/rpc/interface.h"
#include "platform/rpc/notification.h"

#include <string>

/// The station's diagnostics: signals, snapshots, freeze frames. Service "Diagnostics".
/// Threads: any; calls block. Every operation throws Rpc::CommunicationException if the service can't be
/// reached.
class IDiagnostics : public Rpc::CInterface
{
public:
    virtual ipc::MDiagnosticsSignal GetSignal(const ipc::MSignalIdentifier& identifier) = 0;

    /// All signals.
    virtual ipc::MDiagnosticsSnapshot GetSnapshot() = 0;

    /// Asks for a record of the present state. FreezeFrameDone tells when it stands.
    virtual ipc::MResult CreateFreezeFrame(const std::string& reason) = 0;

    Rpc::CNotification<ipc::MDiagnosticsSignal, ipc::MDiagnosticsNotificationType> SignalChange;

    /// The name of the finished file.
    Rpc::CNotification<std::string> FreezeFrameDone;
};

/// The way by which a process reports values of its own signals. Service "Diagnostics".
/// Threads: any; calls block.
class IDiagnosticsReport : public Rpc::CInterface
{
public:
    /// @throws Rpc::CommunicationException if the service can't be reached
    virtual ipc::MResult SendSignal(const ipc::MSignalReport& report) = 0;
};

template <>
std::shared_ptr<IDiagnostics> Rpc::MakeClient<IDiagnostics>(const std::shared_ptr<CConnection>& connection);

template <>
std::shared_ptr<IDiagnosticsReport>
Rpc::MakeClient<IDiagnosticsReport>(const std::shared_ptr<CConnection>& connection);
