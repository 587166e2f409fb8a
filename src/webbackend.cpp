#include "src/webbackend.h"

#include "src/api/authentication.h"
#include "src/api/charging.h"
#include "src/api/config.h"
#include "src/api/configapplicator.h"
#include "src/api/network.h"
#include "src/api/restserver.h"
#include "src/api/statistics.h"
#include "src/api/system.h"
#include "src/callinterrupter.h"
#include "src/chargingcurrentlimit.h"
#include "src/configaudit.h"
#include "src/fileserver/fileserver.h"
#include "src/fileserver/fwpackage.h"
#include "src/localscheduledcharging/chargingschedulemanager.h"
#include "src/localscheduledcharging/localscheduledchargingcomponent.h"
#include "src/localscheduledcharging/scheduleexecutor.h"
#include "src/services/meterdataproxy.h"
#include "src/services/sessionmanagernotificationproxy.h"
#include "src/session/authorization.h"
#include "src/signalslot.h"
#include "src/statistics/historystatisticscomponent.h"
#include "src/statistics/sessionstatisticscomponent.h"
#include "src/utils/firmwareupdatehandler.h"
#include "src/webbackendhsmactionhandler.h"
#include "src/websocket/websocketserver.h"
#include "statemachines/utils/statemachinesutility.h"
#include "statemachines/webbackendhsmevents.h"

#include "contracts/diagnostics/diagnosticscommclient.h"
#include "contracts/logconfigservice.h"
#include "platform/log/log.h"
#include "platform/toolbox/diagnosticspackager.h"
#include "platform/toolbox/filetransfer.h"
#include "platform/toolbox/ntpsyncstatus.h"
#include "platform/worker/heldsignals.h"

#include <chrono>
#include <csignal>
#include <cstdint>
#include <stdexcept>
#include <utility>

namespace
{

constexpr std::uint16_t RestPort = 8080;
constexpr std::uint16_t WebSocketPort = 8081;
constexpr std::uint16_t FileServerPort = 8082;

/// Age from which on the meter is read anew, however many ask.
constexpr std::chrono::seconds MeterDataMaxAge{2};

/// Seconds that a session lives after its last request, unless it is a persistent one.
constexpr std::uint64_t SessionTimeout = 900;
constexpr bool OmitSameSite = false;

// Shared with the station's other processes, and so not below the root
constexpr const char* LogDirectory = "/data/log";
constexpr const char* PackageDirectory = "/tmp";
constexpr const char* FirmwarePackagePath = "/tmp/update/package.swu";

/// In bytes: 250 MiB.
constexpr std::uint32_t FirmwarePackageMaxSize = 0xfa00000;

/// Points of the session's power curve: 24 hours of five minutes each.
constexpr std::chrono::seconds SessionPollPeriod{30};
constexpr std::chrono::seconds SessionBufferInterval{300};
constexpr unsigned int SessionBufferSize = 288;

/// What the charging history keeps behind the newest month and year.
constexpr unsigned int HistoryMonths = 6;
constexpr unsigned int HistoryYears = 10;

/// Between two looks whether the system's time is synchronised.
constexpr std::chrono::seconds TimeSyncRetryInterval{5};

/// How long service calls may go on when the servers are stopped, and when the components are.
constexpr std::chrono::milliseconds StopGrace{500};

} // namespace

CWebbackend::CWebbackend(const std::string& root)
{
    LOG_ENTRY(CWebbackend, "CWebbackend");
    appCommunicationHost = std::make_shared<AppCommunicationHost<GrpcBackend>>(root + "etc/iipc.json");
    processControlService = std::make_shared<CProcessControlService>();
    worker = std::make_shared<CWorker>();
    CDiagnosticsCommClient::Initialize(*appCommunicationHost);
    ConstructServers(root);
}

CWebbackend::~CWebbackend()
{
    LOG_ENTRY(CWebbackend, "~CWebbackend");
}

template <class T>
std::shared_ptr<T> CWebbackend::CreateClient(const std::string& name, int callSeconds, int connectSeconds)
{
    const std::shared_ptr<IClient<T>> client = appCommunicationHost->CreateClient<T>(name);
    client->SetCallTimeLimit(callSeconds);
    client->SetConnectTimeLimit(connectSeconds);
    return client->GetInterface();
}

void CWebbackend::ConstructServers(const std::string& root)
{
    LOG_ENTRY(CWebbackend, "ConstructServers");
    const auto network = TarnConfig::Create("network", root, &ConfigChangeCallback);
    const auto secrets = TarnConfig::Create("secrets", root, &ConfigChangeCallback);
    const auto rfidStandalone = TarnConfig::Create("rfid_standalone", root);
    const auto ocppBackoffices = TarnConfig::Create("ocpp_backoffices", root);
    const auto hwinfo = TarnConfig::CreateStaticOnly("hwinfo", root);
    const auto fwinfo = TarnConfig::CreateStaticOnly("fwinfo", root);
    settings = TarnConfig::Create("settings", root, &ConfigChangeCallback);

    CreateServiceClients();
    sessionManagerNotificationProxy = std::make_shared<CSessionManagerNotificationProxy>(sessionManager);
    if (hwinfo->GetBool("HwHasMeter", false))
    {
        meter = CreateClient<IMeter>("MeterService", 1, 1);
        meterDataProxy = std::make_shared<CMeterDataProxy>(meter, MeterDataMaxAge);
    }

    const bool dashboardMode = settings->GetBool("InstallationComplete", false);
    const auto authorization = dashboardMode ? std::make_shared<CAuthorization>(secrets) : nullptr;
    const auto firmwarePackage =
        std::make_shared<CFwPackage>(FirmwarePackagePath, FirmwarePackageMaxSize, boardControl);
    if (settings->GetBool("LocalSmartChargingAllowed", false) &&
        settings->GetBool("ScheduledChargingAllowed", false))
    {
        localScheduledChargingComponent = CreateLocalScheduledChargingComponent(root);
        localScheduledChargingComponent->Init();
    }
    CreateStatistics(root);
    const auto networkApplicator = std::make_shared<CNetworkConfigApplicator>(network, netM);
    const auto networkSecretsApplicator = std::make_shared<CNetworkSecretsApplicator>(secrets);
    const auto backofficeApplicator =
        std::make_shared<COcppBackofficeApplicator>(ocppBackoffices, settings, network, secrets);
    const auto settingsApplicator =
        std::make_shared<CSettingsConfigApplicator>(settings, localScheduledChargingComponent);
    auto diagnosticsPackager =
        std::make_unique<Toolbox::CDiagnosticsPackager>(LogDirectory, PackageDirectory);

    firmwareUpdateHandler =
        std::make_shared<CFirmwareUpdateHandler>(std::make_shared<CFileTransfer>(), boardControl);
    authenticationApi =
        std::make_unique<Resources::CAuthenticationApi>(authorization, SessionTimeout, OmitSameSite);
    systemApi = std::make_unique<Resources::CSystemApi>(boardControl,
                                                        diagnostics,
                                                        feedback,
                                                        settings,
                                                        hwinfo,
                                                        fwinfo,
                                                        networkApplicator,
                                                        firmwareUpdateHandler,
                                                        std::move(diagnosticsPackager),
                                                        sessionManager);
    configApi = std::make_unique<Resources::CConfigApi>(authorization,
                                                        rfidStandalone,
                                                        settingsApplicator,
                                                        networkApplicator,
                                                        networkSecretsApplicator,
                                                        backofficeApplicator,
                                                        secrets,
                                                        localScheduledChargingComponent);
    networkApi = std::make_unique<Resources::CNetworkApi>(netM, network, secrets);
    statisticsApi =
        std::make_shared<Resources::CStatisticsApi>(sessionStatisticsComponent, historyStatisticsComponent);
    chargingApi = std::make_unique<Resources::CChargingApi>(settings, currentControl);
    restServer = std::make_shared<CRestServer>(RestPort, authorization);
    webSocketServer = std::make_shared<CWebSocketServer>(WebSocketPort, *worker, authorization);

    RegisterResourcesBase();
    if (dashboardMode)
    {
        fileServer = std::make_shared<CFileServer>(FileServerPort, firmwarePackage, authorization);
        RegisterResourcesDashboard();
    }
    else
    {
        RegisterResourcesCommissioning();
    }
}

void CWebbackend::CreateServiceClients()
{
    LOG_ENTRY(CWebbackend, "CreateServiceClients");
    boardControl = CreateClient<IBoardControl>("BoardControl", -1, 1);
    diagnostics = CreateClient<IDiagnostics>("Diagnostics", 1, 1);
    feedback = CreateClient<IFeedback>("Feedback", 60, 60);
    netM = CreateClient<INetM>("NetM", -1, 1);
    rfid = CreateClient<IRfid>("Rfid", 1, 1);
    currentControl = CreateClient<ICurrentControl>("CurrentControl", 1, 1);
    sessionManager = CreateClient<ISessionManager>("SessionManager", 1, 1);
}

void CWebbackend::CreateStatistics(const std::string& root)
{
    LOG_ENTRY(CWebbackend, "CreateStatistics");
    const auto chargingHistory = TarnConfig::Create("charging_history", root);
    sessionStatisticsComponent =
        std::make_shared<CSessionStatisticsComponent>(meterDataProxy,
                                                      sessionManagerNotificationProxy,
                                                      worker,
                                                      SessionPollPeriod,
                                                      SessionBufferInterval,
                                                      SessionBufferSize);
    historyStatisticsComponent =
        std::make_shared<CHistoryStatisticsComponent>(meterDataProxy,
                                                      sessionManagerNotificationProxy,
                                                      chargingHistory,
                                                      worker,
                                                      HistoryMonths,
                                                      HistoryYears);
    historyStatisticsComponent->Init(&Toolbox::GetNtpSyncStatus);
}

std::shared_ptr<ILocalScheduledChargingComponent>
CWebbackend::CreateLocalScheduledChargingComponent(const std::string& root)
{
    LOG_ENTRY(CWebbackend, "CreateLocalScheduledChargingComponent");
    const auto schedules = TarnConfig::Create("local_charging_schedules", root);
    auto manager = std::make_unique<CChargingScheduleManager>(schedules);
    auto executor = std::make_unique<CScheduleExecutor>(*manager, TimeSyncRetryInterval);
    executor->SetCurrentLimitCallback([this](std::uint32_t limit)
                                      { return SetChargingCurrentLimit(*currentControl, limit); });
    executor->SetClearCurrentLimitCallback([this] { return ClearChargingCurrentLimit(*currentControl); });
    executor->SetTimeSyncedCallback(&Toolbox::GetNtpSyncStatus);
    return std::make_shared<CLocalScheduledChargingComponent>(std::move(manager), std::move(executor));
}

void CWebbackend::Run()
{
    LOG_ENTRY(CWebbackend, "Run");
    hsmActionHandler = std::make_shared<CWebbackendHsmActionHandler>(weak_from_this());
    hsm = std::make_shared<CWebbackendHsm>(hsmActionHandler);
    ConnectInterfaces();
    RegisterServices();
    StartCommunication();
    worker->Start();
    RunStateMachine();
    // from here on nothing may wait any more; a REST server may still run, if an enable has failed
    appCommunicationHost->InterruptCalls();
    InterruptWaits();
    worker->Stop();
    StopCommunication();
}

void CWebbackend::ConnectInterfaces()
{
    LOG_ENTRY(CWebbackend, "ConnectInterfaces");
    ConnectIProcessControl(hsmActionHandler, processControlService, hsm);
}

void CWebbackend::RegisterServices()
{
    LOG_ENTRY(CWebbackend, "RegisterServices");
    appCommunicationHost->AddService<IGenericControl>("WebbackendGenCtrl", processControlService);
    appCommunicationHost->AddService<ILogConfig>("WebbackendLog", Log::CreateLogConfigService());
}

void CWebbackend::StartCommunication()
{
    LOG_ENTRY(CWebbackend, "StartCommunication");
    appCommunicationHost->StartServices();
    const CHeldSignals held;
    notificationThread = std::thread([host = appCommunicationHost] { host->HandleClientNotifications(); });
    serverThread = std::thread([host = appCommunicationHost] { host->RunServer(); });
}

void CWebbackend::RunStateMachine()
{
    LOG_ENTRY(CWebbackend, "RunStateMachine");
    const auto terminate = [this](int signalNumber)
    {
        if (signalNumber == SIGINT)
        {
            hsm->PostEvent(std::make_shared<WebbackendHsm::IntTerminate>());
        }
    };
    SignalSlot::Fill(terminate);
    LOG_INFO("Starting state machine");
    SignalSlot::Install();
    {
        const SignalSlot::CThread signalThread;
        hsm->Run();
        SignalSlot::Remove();
    }
    LOG_INFO("State machine stopped");
}

void CWebbackend::StopCommunication()
{
    LOG_ENTRY(CWebbackend, "StopCommunication");
    // A control call that came too late for the machine would wait for ever, and the stop for the call
    hsm->Close();
    // What calls still reach the service object find no function in it
    DisconnectIProcessControl(hsmActionHandler, processControlService);
    processControlService.reset();
    appCommunicationHost->Stop();
    serverThread.join();
    notificationThread.join();
    CDiagnosticsCommClient::Shutdown();
}

void CWebbackend::StartServers()
{
    LOG_ENTRY(CWebbackend, "StartServers");
    const CHeldSignals held;
    try
    {
        restServer->Start();
        LOG_INFO("REST webserver started");
    }
    catch (const std::runtime_error&)
    {
        LOG_ERROR("REST webserver could not be started");
        hsmActionHandler->Post<WebbackendHsm::IntError>();
    }
    try
    {
        webSocketServer->Start();
        LOG_INFO("Websocket server started");
    }
    catch (const std::runtime_error&)
    {
        LOG_ERROR("Websocket server could not be started");
        hsmActionHandler->Post<WebbackendHsm::IntError>();
    }
    if (fileServer != nullptr)
    {
        try
        {
            fileServer->Start();
            LOG_INFO("File server started");
        }
        catch (const std::exception& exception)
        {
            LOG_ERROR("File server could not be started. Exception: {}", exception.what());
            hsmActionHandler->Post<WebbackendHsm::IntError>();
        }
    }
}

void CWebbackend::StopServers()
{
    LOG_ENTRY(CWebbackend, "StopServers");
    const CCallInterrupter interrupter(
        *appCommunicationHost,
        StopGrace,
        [this] { InterruptWaits(); },
        [this]
        {
            systemApi->ResumeWaits();
            networkApi->ResumeSearches();
        });
    restServer->stop();
    LOG_INFO("REST webserver stopped");
    webSocketServer->Stop();
    LOG_INFO("Websocket server stopped");
    if (fileServer != nullptr)
    {
        fileServer->Stop();
        LOG_INFO("File server stopped");
    }
}

void CWebbackend::InterruptWaits()
{
    LOG_ENTRY(CWebbackend, "InterruptWaits");
    systemApi->InterruptWaits();
    networkApi->InterruptSearches();
}

void CWebbackend::StartComponents()
{
    LOG_ENTRY(CWebbackend, "StartComponents");
    if (settings->HasChanged())
    {
        settings->Reload();
    }
    if (localScheduledChargingComponent != nullptr && settings->GetBool("ScheduledChargingEnable", false))
    {
        localScheduledChargingComponent->Enable();
    }
}

void CWebbackend::StopComponents()
{
    LOG_ENTRY(CWebbackend, "StopComponents");
    if (localScheduledChargingComponent != nullptr)
    {
        const CCallInterrupter interrupter(
            *appCommunicationHost, StopGrace, [] {}, [] {});
        localScheduledChargingComponent->Disable();
    }
}
