/// The routes of the REST API and the topics of the event server, in the order of their registration, by
/// mode.
#include "src/api/authentication.h"
#include "src/api/charging.h"
#include "src/api/config.h"
#include "src/api/network.h"
#include "src/api/restserver.h"
#include "src/api/statistics.h"
#include "src/api/system.h"
#include "src/services/meterdataproxy.h"
#include "src/utils/firmwareupdatehandler.h"
#include "src/webbackend.h"
#include "src/websocket/broadcasters/boardcontrolfwupdatestatus.h"
#include "src/websocket/broadcasters/diagnosticsstatuschanged.h"
#include "src/websocket/broadcasters/netmstatusupdate.h"
#include "src/websocket/broadcasters/rfidtokenfound.h"
#include "src/websocket/broadcasters/sessionstatus.h"
#include "src/websocket/websocketserver.h"

#include "platform/log/log.h"

using Resources::CAuthenticationApi;
using Resources::CChargingApi;
using Resources::CConfigApi;
using Resources::CNetworkApi;
using Resources::CStatisticsApi;
using Resources::CSystemApi;

namespace
{

using Response = std::shared_ptr<httpserver::http_response>;

// Whether a route needs a session where there is a login
constexpr bool Gated = true;
constexpr bool Open = false;

template <class Api>
CRestResource::Handler Handler(const std::unique_ptr<Api>& api, Response (Api::*handler)(const IHttpRequest&))
{
    return [&api, handler](const IHttpRequest& request) { return ((*api).*handler)(request); };
}

template <class Pointer, class Api>
CRestResource::Handler Handler(const Pointer& api, Response (Api::*handler)())
{
    return [&api, handler](const IHttpRequest& /*request*/) { return ((*api).*handler)(); };
}

} // namespace

void CWebbackend::RegisterResourcesBase()
{
    LOG_ENTRY(CWebbackend, "RegisterResourcesBase");
    using Method = EHttpMethod;
    CRestServer& rest = *restServer;
    rest.AddRoute(
        Method::Get, "/auth/status", Handler(authenticationApi, &CAuthenticationApi::GetStatus), Open);
    rest.AddRoute(Method::Post, "/system/reboot", Handler(systemApi, &CSystemApi::Reboot), Gated);
    rest.AddRoute(Method::Get, "/system/info", Handler(systemApi, &CSystemApi::GetInfo), Gated);
    rest.AddRoute(Method::Get, "/system/health", Handler(systemApi, &CSystemApi::GetHealth), Open);
    rest.AddRoute(Method::Put, "system/identify", Handler(systemApi, &CSystemApi::Identify), Gated);
    rest.AddRoute(Method::Get,
                  "system/diagnostics/freezeframes",
                  Handler(systemApi, &CSystemApi::GetDiagnosticsPackage),
                  Gated);
    rest.AddRoute(Method::Get,
                  "/system/diagnostics/snapshot",
                  Handler(systemApi, &CSystemApi::GetDiagnosticsSnapshot),
                  Gated);
    rest.AddRoute(
        Method::Get, "system/web-interface-mode", Handler(systemApi, &CSystemApi::GetWebInterfaceMode), Open);
    rest.AddRoute(Method::Get,
                  "system/software/automatic-update/current-versions",
                  Handler(systemApi, &CSystemApi::SoftwareCurrentVersions),
                  Gated);
    rest.AddRoute(Method::Get,
                  "system/software/automatic-update/available-versions",
                  Handler(systemApi, &CSystemApi::SoftwareAvailableVersions),
                  Gated);
    rest.AddRoute(Method::Post,
                  "system/software/automatic-update/update",
                  Handler(systemApi, &CSystemApi::SoftwareUpdateAutomatic),
                  Gated);
    rest.AddRoute(Method::Get, "/config/user", Handler(configApi, &CConfigApi::GetUserConfig), Gated);
    rest.AddRoute(Method::Patch, "/config/user", Handler(configApi, &CConfigApi::PatchUserConfig), Gated);
    rest.AddRoute(Method::Get, "/config/network", Handler(configApi, &CConfigApi::GetNetworkConfig), Gated);
    rest.AddRoute(
        Method::Patch, "/config/network", Handler(configApi, &CConfigApi::PatchNetworkConfig), Gated);
    rest.AddRoute(Method::Get,
                  "/config/auth/standalonelist",
                  Handler(configApi, &CConfigApi::GetAuthStandaloneList),
                  Gated);
    rest.AddRoute(Method::Post,
                  "/config/auth/standalonelist",
                  Handler(configApi, &CConfigApi::PostAuthStandaloneList),
                  Gated);
    rest.AddRoute(Method::Get,
                  "/config/auth/standalonelist/{RfidTokenUid}",
                  Handler(configApi, &CConfigApi::GetAuthStandaloneToken),
                  Gated);
    rest.AddRoute(Method::Delete,
                  "/config/auth/standalonelist/{RfidTokenUid}",
                  Handler(configApi, &CConfigApi::DeleteAuthStandaloneToken),
                  Gated);
    rest.AddRoute(Method::Patch,
                  "/config/auth/standalonelist/{RfidTokenUid}",
                  Handler(configApi, &CConfigApi::PatchAuthStandaloneToken),
                  Gated);
    rest.AddRoute(Method::Put,
                  "/config/secrets/webifmanagement/puk",
                  Handler(configApi, &CConfigApi::PutWebIfManagementPasswordPuk),
                  Open);
    rest.AddRoute(Method::Get,
                  "/config/scheduledcharging/schedules",
                  Handler(configApi, &CConfigApi::GetLocalChargingSchedule),
                  Gated);
    rest.AddRoute(Method::Post,
                  "/config/scheduledcharging/schedules",
                  Handler(configApi, &CConfigApi::PostLocalChargingSchedule),
                  Gated);
    rest.AddRoute(Method::Get,
                  "/config/ocpp-backoffice",
                  Handler(configApi, &CConfigApi::GetOcppBackofficeConfig),
                  Gated);
    rest.AddRoute(Method::Get, "/network/scanwlan", Handler(networkApi, &CNetworkApi::ScanWlan), Gated);
    rest.AddRoute(
        Method::Post, "/network/connectwlan", Handler(networkApi, &CNetworkApi::ConnectWlan), Gated);
    rest.AddRoute(
        Method::Get, "/network/scanhomewizard", Handler(networkApi, &CNetworkApi::ScanHomeWizard), Gated);
    rest.AddRoute(Method::Post,
                  "/network/verifymodbustcpconn",
                  Handler(networkApi, &CNetworkApi::VerifyModbusTcpConn),
                  Gated);

    CWebSocketServer& events = *webSocketServer;
    broadcasters.push_back(
        std::make_shared<CRfidTokenFoundBroadcaster>(events.CreateTopic("/rfid/tokenfound"), rfid));
    broadcasters.push_back(
        std::make_shared<CNetMStatusUpdateBroadcaster>(events.CreateTopic("/network/status"), netM));
}

void CWebbackend::RegisterResourcesDashboard()
{
    LOG_ENTRY(CWebbackend, "RegisterResourcesDashboard");
    using Method = EHttpMethod;
    CRestServer& rest = *restServer;
    rest.AddRoute(Method::Post, "/auth/login", Handler(authenticationApi, &CAuthenticationApi::Login), Open);
    rest.AddRoute(
        Method::Post, "/auth/logout", Handler(authenticationApi, &CAuthenticationApi::Logout), Open);
    rest.AddRoute(Method::Post,
                  "/auth/verify-password",
                  Handler(authenticationApi, &CAuthenticationApi::VerifyPassword),
                  Open);
    rest.AddRoute(Method::Put,
                  "/config/secrets/webifmanagement",
                  Handler(configApi, &CConfigApi::PutWebIfManagementPassword),
                  Gated);
    rest.AddRoute(
        Method::Post, "/system/factory-reset", Handler(systemApi, &CSystemApi::FactoryReset), Gated);
    rest.AddRoute(Method::Post, "/system/recommission", Handler(systemApi, &CSystemApi::Recommission), Gated);
    rest.AddRoute(Method::Get,
                  "/statistics/session",
                  Handler(statisticsApi, &CStatisticsApi::GetSessionStatistics),
                  Gated);
    rest.AddRoute(Method::Get,
                  "/statistics/history",
                  Handler(statisticsApi, &CStatisticsApi::GetHistoryStatistics),
                  Gated);
    rest.AddRoute(Method::Post,
                  "/charging/current-slider",
                  Handler(chargingApi, &CChargingApi::ApplyCurrentSlider),
                  Gated);

    CWebSocketServer& events = *webSocketServer;
    broadcasters.push_back(std::make_shared<CDiagnosticsStatusChangedBroadcaster>(
        events.CreateTopic("/system/diagnostics/statuschanged"), diagnostics));
    broadcasters.push_back(std::make_shared<CSessionStatusBroadcaster>(
        events.CreateTopic("/session/status"), sessionManagerNotificationProxy, meterDataProxy, worker));
    const auto firmwareStatus = events.CreateTopic("/system/fwupdate/status");
    broadcasters.push_back(
        std::make_shared<CBoardControlFwUpdateStatusBroadcaster>(firmwareStatus, boardControl));
    firmwareUpdateHandler->SetStatusTopic(firmwareStatus);
}

void CWebbackend::RegisterResourcesCommissioning()
{
    LOG_ENTRY(CWebbackend, "RegisterResourcesCommissioning");
    using Method = EHttpMethod;
    CRestServer& rest = *restServer;
    rest.AddRoute(Method::Post,
                  "/system/finishcommissioning",
                  Handler(systemApi, &CSystemApi::FinishCommissioning),
                  Open);
    rest.AddRoute(Method::Put,
                  "/config/ocpp-backoffice",
                  Handler(configApi, &CConfigApi::PutOcppBackofficeConfig),
                  Gated);
}
