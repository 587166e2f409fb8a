#include "src/api/charging.h"

#include "src/api/jsonresponse.h"

#include "contracts/currentcontrol.h"
#include "platform/config/tarnconfig.h"
#include "platform/log/log.h"
#include "platform/rpc/communicationexception.h"

#include <cstdint>
#include <utility>

namespace Resources
{

namespace
{

/// In amperes, without the setting.
constexpr int DefaultLimit = 32;

constexpr std::uint32_t MilliamperesPerAmpere = 1000;

} // namespace

CChargingApi::CChargingApi(std::shared_ptr<TarnConfig> settings,
                           std::shared_ptr<ICurrentControl> currentControl)
    : settings(std::move(settings))
    , currentControl(std::move(currentControl))
{
    LOG_ENTRY(CChargingApi, "CChargingApi");
}

CChargingApi::Response CChargingApi::ApplyCurrentSlider()
{
    LOG_ENTRY(CChargingApi, "ApplyCurrentSlider");
    if (settings->GetBool("UserDefinedChargeLimitCurrentAllowed", false))
    {
        const int amperes = settings->GetInt("UserDefinedChargeLimitCurrent", DefaultLimit);
        ipc::MCurrentControlLimit limit;
        limit.set_source(ipc::ECurrentControlUserLimitCurrent);
        limit.set_limit(static_cast<std::uint32_t>(amperes) * MilliamperesPerAmpere);
        try
        {
            currentControl->SetLimit(limit);
        }
        catch (const Rpc::CommunicationException& exception)
        {
            LOG_ERROR("Cannot communicate with CurrentControl, error: {}", exception.what());
        }
    }
    return std::make_shared<JsonResponse>();
}

} // namespace Resources
