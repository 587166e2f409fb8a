#pragma once

#include "contracts/station.pb.h"
#include "platform/rpc/client.h"
#include "platform/rpc/interface.h"
#include "platform/rpc/notification.h"

#include <string>

enum class ERebootType : int
{
    Soft = 0,
    Hard = 1
};

/// The station's board: reboots and firmware updates. Service "BoardControl".
/// Threads: any; calls block. Every operation throws Rpc::CommunicationException if the service can't be
/// reached.
class IBoardControl : public Rpc::CInterface
{
public:
    /// May take effect before the call returns.
    virtual ipc::MResult Reboot(ERebootType type) = 0;

    /// Asks the board to install the firmware package that stands ready.
    /// @param requester name of who asks
    virtual ipc::MResult RequestFirmwareUpdate(const std::string& requester) = 0;

    Rpc::CNotification<ipc::MFwUpdateStatus> FirmwareUpdateStatus;
};

template <>
std::shared_ptr<IBoardControl> Rpc::MakeClient<IBoardControl>(const std::shared_ptr<CConnection>& connection);
