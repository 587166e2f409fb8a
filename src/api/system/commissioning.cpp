/// The handlers of the routes below /system that change the mode of the station.
#include "src/api/configapplicator.h"
#include "src/api/httpexception.h"
#include "src/api/jsonbody.h"
#include "src/api/jsonresponse.h"
#include "src/api/system.h"

#include "contracts/boardcontrol.h"
#include "contracts/diagnostics/diagnosticssignal.h"
#include "contracts/diagnostics/signalcatalogue.h"
#include "contracts/sessionmanager.h"
#include "platform/config/tarnconfig.h"
#include "platform/log/log.h"

#include <json/value.h>

#include <algorithm>
#include <array>
#include <string>

namespace Resources
{

namespace
{

constexpr const char* CommissioningDone = "InstallationComplete";
constexpr const char* AccessPoint = "NetMApEnable";

/// Connector states in which no charge session is in progress.
constexpr std::array<int, 5> FreeStates{0, 1, 2, 3, 10};

void SendEvent(const CSignalDefinition<std::string>& definition, const std::string& text)
{
    CDiagnosticsSignal<std::string>(&definition).Send(text);
}

/// Whether the access point stays on; off where the body does not say.
bool WantsAccessPoint(const Json::Value& body)
{
    try
    {
        return GetJsonBool(body, AccessPoint);
    }
    catch (const HttpStatusException<400>& exception)
    {
        LOG_DEBUG("Could not retrieve property 'NetMApEnable' from request body. We will set NetMApEnable to "
                  "false in the system. Error: {}",
                  exception.what());
        return false;
    }
}

} // namespace

CSystemApi::Response CSystemApi::FinishCommissioning(const IHttpRequest& request)
{
    LOG_ENTRY(CSystemApi, "FinishCommissioning");
    if (request.GetContent().empty())
    {
        LOG_DEBUG("FinishCommissioning called without body. No additional settings are applied.");
    }
    else
    {
        PatchAccessPoint(request);
    }
    settings->SetBool(CommissioningDone, true);
    LOG_INFO("InstallationComplete set to True. Performing soft reset now.");
    boardControl->Reboot(ERebootType::Soft);
    return std::make_shared<JsonResponse>();
}

void CSystemApi::PatchAccessPoint(const IHttpRequest& request)
{
    Json::Value patch;
    patch[AccessPoint] = WantsAccessPoint(ParseJsonBody(request));
    try
    {
        networkApplicator->PatchConfig(patch);
    }
    catch (const HttpStatusException<500>& exception)
    {
        LOG_ERROR(
            "An internal server error was thrown while applying NetM config during end of "
            "commissioning. Commissioning will complete but its side-effects not applied. Exception: {}",
            exception.what());
    }
}

CSystemApi::Response CSystemApi::Recommission()
{
    LOG_ENTRY(CSystemApi, "Recommission");
    // goes out even if the request is refused
    SendEvent(Signals::Recommissioned, "Recommission triggered by web interface");
    const int state = sessionManager->GetConnectorInfo().connector_state();
    if (std::find(FreeStates.begin(), FreeStates.end(), state) == FreeStates.end())
    {
        throw HttpStatusException<400>(Json::Value("Cannot start commissioning, charge session in progress"));
    }
    settings->SetBool(CommissioningDone, false);
    boardControl->Reboot(ERebootType::Hard);
    return std::make_shared<JsonResponse>();
}

CSystemApi::Response CSystemApi::FactoryReset()
{
    LOG_ENTRY(CSystemApi, "FactoryReset");
    SendEvent(Signals::FactoryReset, "Factory reset triggered by web interface");
    for (const auto& entry : std::filesystem::directory_iterator(configDirectory))
    {
        LOG_DEBUG("Removing {} as part of a factory reset operation.", entry.path().string());
        std::filesystem::remove_all(entry.path());
    }
    boardControl->Reboot(ERebootType::Hard);
    return std::make_shared<JsonResponse>();
}

} // namespace Resources
