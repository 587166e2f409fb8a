/// The web back end of the charging station, between the web interface in a browser and the station's
/// services.
///
/// main reads the command line and runs one CWebbackend, which owns everything: configuration files, clients
/// of the services (contracts/), the REST API (api/), live events (websocket/), sessions (session/). The
/// state machine (statemachines/) switches it on and off on behalf of the station's controller.
/// docs/architecture.md leads through it.
#pragma once

#include "statemachines/hsminterface.h"
#include "statemachines/processcontrolservice.h"
#include "statemachines/webbackendhsm.h"

#include "contracts/boardcontrol.h"
#include "contracts/currentcontrol.h"
#include "contracts/diagnostics.h"
#include "contracts/feedback.h"
#include "contracts/meter.h"
#include "contracts/netm.h"
#include "contracts/rfid.h"
#include "contracts/sessionmanager.h"
#include "platform/config/tarnconfig.h"
#include "platform/rpc/appcommunicationhost.h"
#include "platform/worker/worker.h"

#include <memory>
#include <string>
#include <thread>
#include <vector>

class CFileServer;
class CFirmwareUpdateHandler;
class CHistoryStatisticsComponent;
class CMeterDataProxy;
class CRestServer;
class CSessionManagerNotificationProxy;
class CSessionStatisticsComponent;
class CWebSocketServer;
class CWebbackendHsmActionHandler;
class ILocalScheduledChargingComponent;

namespace Resources
{
class CAuthenticationApi;
class CChargingApi;
class CConfigApi;
class CNetworkApi;
class CStatisticsApi;
class CSystemApi;
} // namespace Resources

/// The application object: makes everything in one order, and takes it down in the reverse one.
/// Threads: all public operations on the main thread. Without a lock, since the members are set before the
/// process can be reached.
class CWebbackend : public std::enable_shared_from_this<CWebbackend>
{
public:
    /// @param root  prefix of all paths; ends in a slash to mean a directory
    /// @throws std::exception if a configuration file can't be read or is wrong
    explicit CWebbackend(const std::string& root);
    ~CWebbackend();
    CWebbackend(const CWebbackend&) = delete;
    CWebbackend& operator=(const CWebbackend&) = delete;
    CWebbackend(CWebbackend&&) = delete;
    CWebbackend& operator=(CWebbackend&&) = delete;

    /// Serves the controller until a SIGINT. The object is held by a std::shared_ptr. Once only.
    void Run();

    /// Actions of the state machine. A server that can't be started makes the machine go through "Error".
    void StartServers();
    void StopServers();
    void StartComponents();
    void StopComponents();

private:
    void ConstructServers(const std::string& root);
    void CreateServiceClients();
    void CreateStatistics(const std::string& root);
    std::shared_ptr<ILocalScheduledChargingComponent>
    CreateLocalScheduledChargingComponent(const std::string& root);

    /// @param callSeconds     time limit of a call, -1 for none
    /// @param connectSeconds  time limit for reaching the service
    template <class T>
    std::shared_ptr<T> CreateClient(const std::string& name, int callSeconds, int connectSeconds);

    void RegisterResourcesBase();
    void RegisterResourcesDashboard();
    void RegisterResourcesCommissioning();

    void ConnectInterfaces();
    void RegisterServices();
    void StartCommunication();
    void RunStateMachine();
    void StopCommunication();

    /// Ends what REST handlers wait for besides services.
    void InterruptWaits();

    // Set before the process can be reached, but for the two threads, and taken down by the main thread, from
    // the last to the first
    std::shared_ptr<AppCommunicationHost<GrpcBackend>> appCommunicationHost;
    std::shared_ptr<CProcessControlService> processControlService;
    std::shared_ptr<CSessionManagerNotificationProxy> sessionManagerNotificationProxy;
    std::shared_ptr<CMeterDataProxy> meterDataProxy;
    std::shared_ptr<IBoardControl> boardControl;
    std::shared_ptr<IFeedback> feedback;
    std::shared_ptr<IDiagnostics> diagnostics;
    std::shared_ptr<IMeter> meter;
    std::shared_ptr<INetM> netM;
    std::shared_ptr<IRfid> rfid;
    std::shared_ptr<ISessionManager> sessionManager;
    std::shared_ptr<ICurrentControl> currentControl;
    std::shared_ptr<CFirmwareUpdateHandler> firmwareUpdateHandler;
    std::shared_ptr<CWebbackendHsmActionHandler> hsmActionHandler;
    std::shared_ptr<CWebbackendHsm> hsm;
    std::thread serverThread;
    std::thread notificationThread;
    std::unique_ptr<Resources::CAuthenticationApi> authenticationApi;
    std::unique_ptr<Resources::CConfigApi> configApi;
    std::unique_ptr<Resources::CNetworkApi> networkApi;
    std::unique_ptr<Resources::CSystemApi> systemApi;
    std::shared_ptr<Resources::CStatisticsApi> statisticsApi;
    std::unique_ptr<Resources::CChargingApi> chargingApi;
    std::shared_ptr<CRestServer> restServer;
    std::shared_ptr<CWebSocketServer> webSocketServer;
    /// null during commissioning
    std::shared_ptr<CFileServer> fileServer;
    std::shared_ptr<ILocalScheduledChargingComponent> localScheduledChargingComponent;
    std::shared_ptr<CSessionStatisticsComponent> sessionStatisticsComponent;
    std::shared_ptr<CHistoryStatisticsComponent> historyStatisticsComponent;
    std::shared_ptr<TarnConfig> settings;
    std::vector<std::shared_ptr<void>> broadcasters;
    std::shared_ptr<CWorker> worker;
};
