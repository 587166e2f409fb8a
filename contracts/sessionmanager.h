#pragma once

#include "contracts/station.pb.h"
#include "platform/rpc/client.h"
#include "platform/rpc/interface.h"
#include "platform/rpc/notification.h"

/// The charge session and the connector. Service "SessionManager".
/// Threads: any; calls block.
class ISessionManager : public Rpc::CInterface
{
public:
    /// @throws Rpc::CommunicationException if the service can't be reached
    virtual ipc::MConnectorInfo GetConnectorInfo() = 0;

    Rpc::CNotification<ipc::MConnectorState> ConnectorState;
};

template <>
std::shared_ptr<ISessionManager>
Rpc::MakeClient<ISessionManager>(const std::shared_ptr<CConnection>& connection);
