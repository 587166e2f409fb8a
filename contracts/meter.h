#pragma once

#include "contracts/station.pb.h"
#include "platform/rpc/client.h"
#include "platform/rpc/interface.h"

#include <string>

/// The station's energy meter. Service "MeterService".
/// Threads: any; calls block. Of the operations only GetMeterData reaches the service; a client answers the
/// others by itself: a result of status 1, an empty string.
class IMeter : public Rpc::CInterface
{
public:
    virtual ipc::MResult Enable() = 0;
    virtual ipc::MResult Disable() = 0;
    virtual ipc::MResult Reset() = 0;

    /// @throws Rpc::CommunicationException if the service can't be reached
    virtual ipc::MMeterData GetMeterData() = 0;

    virtual std::string GetSerialNumber() = 0;
    virtual ipc::MResult StartSession() = 0;
    virtual ipc::MResult StopSession() = 0;
    virtual ipc::MResult EnableDisplay() = 0;
    virtual ipc::MResult DisableDisplay() = 0;
    virtual ipc::MResult SelfTest() = 0;
    virtual std::string GetFirmwareVersion() = 0;
};

template <>
std::shared_ptr<IMeter> Rpc::MakeClient<IMeter>(const std::shared_ptr<CConnection>& connection);
