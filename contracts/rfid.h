#pragma once

#include "contracts/station.pb.h"
#include "platform/rpc/client.h"
#include "platform/rpc/interface.h"
#include "platform/rpc/notification.h"

#include <string>

/// The station's RFID reader. Service "Rfid".
/// Threads: any; calls block.
class IRfid : public Rpc::CInterface
{
public:
    /// Switches TokenFound on or off.
    /// @throws Rpc::CommunicationException if the service can't be reached
    virtual ipc::MResult SetTokenReport(bool enable) = 0;

    /// The token's identifier.
    Rpc::CNotification<std::string> TokenFound;
};

template <>
std::shared_ptr<IRfid> Rpc::MakeClient<IRfid>(const std::shared_ptr<CConnection>& connection);
