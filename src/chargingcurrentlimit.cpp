#include "src/chargingcurrentlimit.h"

#include "contracts/currentcontrol.h"
#include "platform/log/log.h"
#include "platform/rpc/communicationexception.h"

namespace
{

using Operation = ipc::MResult (ICurrentControl::*)(const ipc::MCurrentControlLimit&);

bool Request(ICurrentControl& currentControl, Operation operation, const ipc::MCurrentControlLimit& limit)
{
    try
    {
        return (currentControl.*operation)(limit).status() == ipc::EResultOk;
    }
    catch (const Rpc::CommunicationException& exception)
    {
        LOG_ERROR("Cannot communicate with CurrentControl, error: {}", exception.what());
        return false;
    }
}

ipc::MCurrentControlLimit LimitOfTheSchedule()
{
    ipc::MCurrentControlLimit limit;
    limit.set_source(ipc::ECurrentControlLocalScheduledCharging);
    return limit;
}

} // namespace

bool SetChargingCurrentLimit(ICurrentControl& currentControl, std::uint32_t limit)
{
    ipc::MCurrentControlLimit request = LimitOfTheSchedule();
    request.set_limit(limit);
    return Request(currentControl, &ICurrentControl::SetLimit, request);
}

bool ClearChargingCurrentLimit(ICurrentControl& currentControl)
{
    return Request(currentControl, &ICurrentControl::ClearLimit, LimitOfTheSchedule());
}
