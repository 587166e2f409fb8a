#include "src/services/meterdataproxy.h"

#include "platform/log/log.h"

#include <utility>

namespace
{

ipc::MResult NotSupported()
{
    ipc::MResult result;
    result.set_status(ipc::EResultIllegal);
    return result;
}

} // namespace

CMeterDataProxy::CMeterDataProxy(std::shared_ptr<IMeter> meter,
                                 std::chrono::seconds maxAge,
                                 SteadyClock clock)
    : meter(std::move(meter))
    , maxAge(maxAge)
    , clock(std::move(clock))
{
    LOG_ENTRY(CMeterDataProxy, "CMeterDataProxy");
    if (!this->meter)
    {
        LOG_WARN("No meter service available to read.");
    }
}

ipc::MMeterData CMeterDataProxy::GetMeterData()
{
    LOG_ENTRY(CMeterDataProxy, "GetMeterData");
    if (!meter)
    {
        return {};
    }
    const std::chrono::steady_clock::time_point now = clock();
    const std::lock_guard lock(mutex);
    if (now - lastRead >= maxAge)
    {
        ipc::MMeterData reading = meter->GetMeterData();
        data.Swap(&reading);
        lastRead = now;
    }
    return data;
}

ipc::MResult CMeterDataProxy::Enable()
{
    return NotSupported();
}

ipc::MResult CMeterDataProxy::Disable()
{
    return NotSupported();
}

ipc::MResult CMeterDataProxy::Reset()
{
    return NotSupported();
}

std::string CMeterDataProxy::GetSerialNumber()
{
    return {};
}

ipc::MResult CMeterDataProxy::StartSession()
{
    return NotSupported();
}

ipc::MResult CMeterDataProxy::StopSession()
{
    return NotSupported();
}

ipc::MResult CMeterDataProxy::EnableDisplay()
{
    return NotSupported();
}

ipc::MResult CMeterDataProxy::DisableDisplay()
{
    return NotSupported();
}

ipc::MResult CMeterDataProxy::SelfTest()
{
    return NotSupported();
}

std::string CMeterDataProxy::GetFirmwareVersion()
{
    return {};
}
