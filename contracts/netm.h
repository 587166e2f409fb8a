#pragma once

#include "contracts/station.pb.h"
#include "platform/rpc/client.h"
#include "platform/rpc/interface.h"
#include "platform/rpc/notification.h"

#include <optional>

/// The station's network manager. Service "NetM".
/// Threads: any; calls block. Every operation throws Rpc::CommunicationException if the service can't be
/// reached.
class INetM : public Rpc::CInterface
{
public:
    /// The WLAN neighbourhood; empty on a failure inside the service.
    virtual std::optional<ipc::MScanWlan> ScanWlan() = 0;

    /// @return true when the service accepted the network file as it now stands and has acted on it
    virtual bool ValidateConfig() = 0;

    Rpc::CNotification<ipc::MNetStatus> NetworkStatus;
};

template <>
std::shared_ptr<INetM> Rpc::MakeClient<INetM>(const std::shared_ptr<CConnection>& connection);
