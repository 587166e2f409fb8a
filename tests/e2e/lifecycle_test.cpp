#include "contracts/station.grpc.pb.h"

#include <grpcpp/create_channel.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <regex>
#include <thread>

#include <gmock/gmock.h>

#include "tests/e2e/stationtest.h"
#include "tests/support/busyport.h"
#include "tests/support/repeater.h"
#include "tests/support/websocketclient.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace
{

const std::string SoftReboot = R"({"RebootType": "SoftReboot"})";

/// @param thread  a directory of /proc
bool BlocksSigint(const std::filesystem::path& thread)
{
    std::ifstream status(thread / "status");
    std::string word;
    while (status >> word && word != "SigBlk:")
    {
    }
    std::uint64_t mask = 0;
    status >> std::hex >> mask;
    return (mask >> (SIGINT - 1) & 1U) != 0;
}

/// @return whether the process has yet to take SIGINT
bool HasSigintPending(pid_t process)
{
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    std::string word;
    while (status >> word && word != "ShdPnd:")
    {
    }
    std::uint64_t mask = 0;
    status >> std::hex >> mask;
    return (mask >> (SIGINT - 1) & 1U) != 0;
}

/// The lock that each change of a stored file takes, held as another process would hold it.
class CHeldConfiguration
{
public:
    explicit CHeldConfiguration(const CStationRoot& root)
        : directory(open((root.Path() / "data/config").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    {
        EXPECT_EQ(flock(directory, LOCK_EX), 0);
    }

    ~CHeldConfiguration() { close(directory); }
    CHeldConfiguration(const CHeldConfiguration&) = delete;
    CHeldConfiguration& operator=(const CHeldConfiguration&) = delete;
    CHeldConfiguration(CHeldConfiguration&&) = delete;
    CHeldConfiguration& operator=(CHeldConfiguration&&) = delete;

private:
    const int directory;
};

class Lifecycle : public StationTest
{
protected:
    /// A browser's change waits for the stored files; the servers' stop waits for the change until the test
    /// lets go of what is returned.
    std::unique_ptr<CHeldConfiguration> HoldUpAChange()
    {
        auto held = std::make_unique<CHeldConfiguration>(root);
        browser = std::make_unique<CRawHttp>(RestPort);
        browser->Send(HttpRequestText("POST",
                                      "/config/auth/standalonelist",
                                      LoggedInWithJson,
                                      R"({"RfidTokenUid": "04A1", "RfidTokenDescription": "Car"})"));
        EXPECT_TRUE(process->AwaitErrorLine("Writing new list of tokens"));
        return held;
    }

    /// A browser waits for a service that does not answer; the servers' stop waits for the browser's request.
    void HangAReboot()
    {
        const std::string fault =
            R"({"Service": "BoardControl", "Operation": "Reboot", "Hang": true, "Times": 1})";
        ASSERT_EQ(station.Post("/fault", fault).status, 200);
        browser = std::make_unique<CRawHttp>(RestPort);
        browser->Send(HttpRequestText("POST", "/system/reboot", LoggedInWithJson, SoftReboot));
        station.AwaitCall("BoardControl", "Reboot");
    }

    /// Waits until the process has written so many lines with this text.
    void AwaitErrorLines(const std::string& text, int count) const
    {
        const auto end = std::chrono::steady_clock::now() + TestPatience;
        const std::regex line(text);
        int found = 0;
        do
        {
            ASSERT_LT(std::chrono::steady_clock::now(), end) << process->Errors();
            const std::string errors = process->Errors();
            found = static_cast<int>(std::distance(std::sregex_iterator(errors.begin(), errors.end(), line),
                                                   std::sregex_iterator()));
        } while (found < count);
    }

    std::unique_ptr<CRawHttp> browser;

    /// A process that has reported "Uninitialized" to a controller that waits for Control.
    void StartUninitialized(const std::vector<std::string>& options = {})
    {
        StartStationWithManualController();
        StartProcess(options);
        station.AwaitProcessState(ReportUninitialized);
    }

    void Enable() const
    {
        ASSERT_EQ(Control("disable"), 0);
        station.AwaitProcessState(ReportDisabled);
        ASSERT_EQ(Control("enable"), 0);
        station.AwaitProcessState(ReportEnabled);
    }
};

int HealthStatus()
{
    return HttpRequest(RestPort, "GET", "/system/health").status;
}

/// 400 for as long as the server of the uploads runs.
int UploadServerStatus()
{
    return HttpRequest(FileServerPort, "GET", "/").status;
}

} // namespace

TEST_F(Lifecycle, ControllerBringsTheProcessFromUninitializedByDisabledToEnabled)
{
    StartUninitialized();
    EXPECT_FALSE(CRawHttp::CanConnect(RestPort));

    EXPECT_EQ(Control("enable"), 1);
    EXPECT_EQ(Control("disable"), 0);
    station.AwaitProcessState(ReportDisabled);
    EXPECT_FALSE(CRawHttp::CanConnect(RestPort));
    EXPECT_EQ(Control("enable"), 0);
    station.AwaitProcessState(ReportEnabled);

    EXPECT_EQ(HealthStatus(), 204);
    EXPECT_THAT(ReportedStates(), ElementsAre(1, 2, 3));
    ExpectCleanEnd();
}

TEST_F(Lifecycle, DisableStopsTheServers)
{
    StartUninitialized();
    Enable();
    AwaitListener(WebSocketPort);
    AwaitListener(FileServerPort);
    EXPECT_TRUE(process->AwaitErrorLine("File server started"));

    EXPECT_EQ(Control("disable"), 0);

    EXPECT_THAT(AwaitStates(4), ElementsAre(1, 2, 3, 2));
    EXPECT_TRUE(process->AwaitErrorLine("File server stopped"));
    EXPECT_FALSE(CRawHttp::CanConnect(RestPort));
    EXPECT_FALSE(CRawHttp::CanConnect(WebSocketPort));
    EXPECT_FALSE(CRawHttp::CanConnect(FileServerPort));
    ExpectCleanEnd();
}

TEST_F(Lifecycle, EventServerThatHasRunFailsEveryFurtherEnable)
{
    StartUninitialized();
    Enable();
    AwaitListener(WebSocketPort);
    EXPECT_EQ(Control("disable"), 0);
    EXPECT_THAT(AwaitStates(4), ElementsAre(1, 2, 3, 2));

    EXPECT_EQ(Control("enable"), 0);

    EXPECT_THAT(AwaitStates(6), ElementsAre(1, 2, 3, 2, 4, 2));
    EXPECT_TRUE(process->AwaitErrorLine("Websocket server could not be started"));
    EXPECT_THAT(process->Errors(), Not(HasSubstr("REST webserver could not be started")));
    EXPECT_THAT(process->Errors(), Not(HasSubstr("File server could not be started")));
    // the servers that did start run on, and fail the next enable in their turn
    EXPECT_EQ(HealthStatus(), 204);
    EXPECT_EQ(UploadServerStatus(), 400);
    EXPECT_EQ(Control("enable"), 0);
    EXPECT_THAT(AwaitStates(10), ElementsAre(1, 2, 3, 2, 4, 2, 4, 4, 4, 2));
    EXPECT_TRUE(process->AwaitErrorLine("REST webserver could not be started"));
    EXPECT_TRUE(
        process->AwaitErrorLine("File server could not be started. Exception: Webserver already running"));
    EXPECT_EQ(HealthStatus(), 204);
    EXPECT_EQ(UploadServerStatus(), 400);
    ExpectCleanEnd();
}

TEST_F(Lifecycle, RepeatedRequestsAreHandledAndTheReportRepeated)
{
    StartUninitialized();
    EXPECT_EQ(Control("disable"), 0);
    EXPECT_EQ(Control("disable"), 0);
    EXPECT_THAT(AwaitStates(3), ElementsAre(1, 2, 2));
    EXPECT_EQ(Control("enable"), 0);
    station.AwaitProcessState(ReportEnabled);
    CRawHttp connection(RestPort);
    EXPECT_EQ(connection.Request("GET", "/system/health").status, 204);

    EXPECT_EQ(Control("enable"), 0);

    EXPECT_THAT(AwaitStates(5), ElementsAre(1, 2, 2, 3, 3));
    // nothing was restarted: the connection is still there
    EXPECT_EQ(connection.Request("GET", "/system/health").status, 204);
    ExpectCleanEnd();
}

TEST_F(Lifecycle, AliveIsSentAtOnceAndEveryFourSecondsInEnabledOnly)
{
    StartUninitialized();
    EXPECT_EQ(Control("disable"), 0);
    station.AwaitProcessState(ReportDisabled);
    EXPECT_EQ(station.Get("/controller").body["Alive"]["Count"].asInt(), 0);

    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Control("enable"), 0);
    station.Get("/controller?alive=1&wait=20");
    const auto first = std::chrono::steady_clock::now();
    EXPECT_LT(first - begin, std::chrono::seconds(3));
    EXPECT_EQ(station.Get("/controller?alive=2&wait=20").body["Alive"]["Count"].asInt(), 2);
    const auto second = std::chrono::steady_clock::now();
    EXPECT_GT(second - begin, std::chrono::milliseconds(3500));
    EXPECT_LT(second - first, std::chrono::seconds(6));

    EXPECT_EQ(Control("disable"), 0);
    station.AwaitProcessState(ReportDisabled);
    EXPECT_EQ(station.Get("/controller?alive=3&wait=5").body["Alive"]["Count"].asInt(), 2);
    ExpectCleanEnd();
}

TEST_F(Lifecycle, BusyPortLeadsThroughErrorBackToDisabled)
{
    StartUninitialized();
    EXPECT_EQ(Control("disable"), 0);
    station.AwaitProcessState(ReportDisabled);
    const CBusyPort busy(RestPort);

    EXPECT_EQ(Control("enable"), 0);

    EXPECT_THAT(AwaitStates(4), ElementsAre(1, 2, 4, 2));
    EXPECT_TRUE(process->AwaitErrorLine("] (src/webbackend:"));
    EXPECT_TRUE(
        std::regex_search(process->Errors(),
                          std::regex(" error +\\[\\d+\\] \\(src/webbackend:\\d+\\) REST webserver could "
                                     "not be started\n")));
    // the other servers have started all the same
    AwaitListener(WebSocketPort);
    AwaitListener(FileServerPort);
    ExpectCleanEnd();
}

TEST_F(Lifecycle, BusyPortOfTheUploadsLeadsThroughErrorBackToDisabled)
{
    StartUninitialized();
    EXPECT_EQ(Control("disable"), 0);
    station.AwaitProcessState(ReportDisabled);
    const CBusyPort busy(FileServerPort);

    EXPECT_EQ(Control("enable"), 0);

    EXPECT_THAT(AwaitStates(4), ElementsAre(1, 2, 4, 2));
    EXPECT_TRUE(
        process->AwaitErrorLine("File server could not be started. Exception: Could not start webserver"));
    EXPECT_EQ(HealthStatus(), 204);
    ExpectCleanEnd();
}

TEST_F(Lifecycle, CommissioningHasNoServerForUploads)
{
    root.Write("data/config/settings.json", R"({"InstallationComplete": false})");
    StartUninitialized();
    Enable();
    AwaitListener(WebSocketPort);

    EXPECT_FALSE(CRawHttp::CanConnect(FileServerPort));

    ExpectCleanEnd();
    EXPECT_THAT(process->Errors(), Not(HasSubstr("File server")));
}

TEST_F(Lifecycle, ControllerThatComesLateLearnsTheState)
{
    StartStationWithManualController();
    StartProcess();
    station.AwaitProcessState(ReportUninitialized);
    EXPECT_EQ(Control("disable"), 0);
    station.AwaitProcessState(ReportDisabled);
    simulator.reset();

    StartStationWithManualController();

    station.AwaitProcessState(ReportDisabled);
    ExpectCleanEnd();
}

TEST_F(Lifecycle, SigintInUninitializedEndsTheProcess)
{
    StartUninitialized();
    ExpectCleanEnd();
}

TEST_F(Lifecycle, SigintInDisabledEndsTheProcess)
{
    StartUninitialized();
    EXPECT_EQ(Control("disable"), 0);
    station.AwaitProcessState(ReportDisabled);
    ExpectCleanEnd();
}

TEST_F(Lifecycle, SigintWithoutAnyControllerOrServiceEndsTheProcess)
{
    StartProcess({"-vv"});
    ASSERT_TRUE(process->AwaitErrorLine("State Uninitialized: entry"));
    ExpectCleanEnd();
}

TEST_F(Lifecycle, SecondSigintIsHandledLikeAnyOtherEvent)
{
    StartUninitialized({"-vv"});
    Enable();
    auto held = HoldUpAChange();
    process->Signal(SIGINT);
    ASSERT_TRUE(process->AwaitErrorLine("CWebbackend::StopServers"));

    process->Signal(SIGINT);
    while (HasSigintPending(process->Id()))
    {
        std::this_thread::yield();
    }
    held.reset();

    EXPECT_EQ(process->AwaitEnd().status, 0) << process->Errors();
    EXPECT_THAT(process->Errors(), HasSubstr("State Terminating: event recv IntTerminate"));
}

TEST_F(Lifecycle, HungServiceDoesNotHoldUpTheEnd)
{
    StartUninitialized();
    Enable();
    HangAReboot();
    ExpectCleanEnd();
}

TEST_F(Lifecycle, HungServiceDoesNotHoldUpTheDisableAndIsCalledAgainAfterTheNextEnable)
{
    StartUninitialized();
    Enable();
    HangAReboot();

    EXPECT_EQ(Control("disable"), 0);
    EXPECT_THAT(AwaitStates(4), ElementsAre(1, 2, 3, 2));
    StartRestServerAgain();

    EXPECT_EQ(HttpRequest(RestPort, "POST", "/system/reboot", LoggedInWithJson, SoftReboot).status, 204);
    ExpectCleanEnd();
}

TEST_F(Lifecycle, ControlCallWhileTheMachineLeavesEnabledForGoodIsRefused)
{
    StartUninitialized({"-vv"});
    Enable();
    auto held = HoldUpAChange();
    process->Signal(SIGINT);
    ASSERT_TRUE(process->AwaitErrorLine("CWebbackend::StopServers"));

    // the call waits for the machine, and the machine for the change
    auto refused = std::async(std::launch::async, [this] { return Control("enable"); });
    AwaitErrorLines("IEnableCall", 2);
    held.reset();

    EXPECT_EQ(refused.get(), 1);

    EXPECT_EQ(process->AwaitEnd().status, 0) << process->Errors();
}

TEST_F(Lifecycle, SlowServicesGetTheTimeThatTheirKindOfCallMayTake)
{
    StartAll();
    const auto slowDown = [this](const std::string& service, const std::string& operation)
    {
        ASSERT_EQ(station
                      .Post("/fault",
                            R"({"Service": ")" + service + R"(", "Operation": ")" + operation +
                                R"(", "DelayMs": 1500})")
                      .status,
                  200);
    };
    slowDown("BoardControl", "Reboot");
    slowDown("Feedback", "SendEvent");
    slowDown("Diagnostics", "SendSignal");

    EXPECT_EQ(HttpRequest(RestPort, "POST", "/system/reboot", LoggedInWithJson, SoftReboot).status, 204);
    EXPECT_EQ(HttpRequest(RestPort, "PUT", "/system/identify", LoggedIn).status, 204);
    // the password of the simulated station's files; the login waits for its report to the diagnostics
    const std::string login = R"({"Password": "station-demo"})";
    EXPECT_EQ(HttpRequest(RestPort, "POST", "/auth/login", LoggedInWithJson, login).status, 500);
    ExpectCleanEnd();
}

TEST_F(Lifecycle, StationThatStandsStillDoesNotHoldUpTheEnd)
{
    StartUninitialized();
    Enable();
    simulator->Signal(SIGSTOP);
    ExpectCleanEnd();
    simulator->Signal(SIGCONT);
}

TEST_F(Lifecycle, ControlCallsDuringSigintNeverHoldUpTheEnd)
{
    for (int round = 0; round < 5; ++round)
    {
        // its successor takes the same ports
        simulator.reset();
        StartUninitialized();
        Enable();
        const CRepeater controller([this] { Control("enable"); });
        AwaitStates(static_cast<std::size_t>(3 + round));
        process->Signal(SIGINT);
        EXPECT_EQ(process->AwaitEnd().status, 0) << process->Errors();
    }
}

TEST_F(Lifecycle, RequestsBeforeDuringAndAfterStartAndStopDoNoHarm)
{
    PutFilesInPlace();
    std::vector<std::unique_ptr<CRepeater>> browsers;
    for (const std::size_t size : {std::size_t(0), std::size_t(100), std::size_t(1000000)})
    {
        for (const std::uint16_t port : {RestPort, WebSocketPort})
        {
            browsers.push_back(std::make_unique<CRepeater>(
                [port, body = "\"" + std::string(size, 'x') + "\""]
                { HttpRequest(port, "POST", "/system/reboot", LoggedInWithJson, body); }));
        }
        browsers.push_back(std::make_unique<CRepeater>(
            [package = std::string(size, 'x')]
            {
                const HttpHeaders form{{"Cookie", "sessionid=" + SessionKey},
                                       {"Content-Type", "application/x-www-form-urlencoded"}};
                HttpRequest(FileServerPort, "PUT", "/", form, "firmware=" + package);
            }));
    }
    for (int round = 0; round < 5; ++round)
    {
        simulator.reset();
        StartUninitialized();
        Enable();
        EXPECT_EQ(Control("disable"), 0);
        EXPECT_THAT(AwaitStates(4), ElementsAre(1, 2, 3, 2));
        StartRestServerAgain();
        process->Signal(SIGINT);
        EXPECT_EQ(process->AwaitEnd().status, 0) << process->Errors();
    }
}

TEST_F(Lifecycle, SettingsThatAnotherProcessChangedAreReadAtTheNextEnable)
{
    StartUninitialized();
    EXPECT_EQ(Control("disable"), 0);
    station.AwaitProcessState(ReportDisabled);
    root.Write("data/config/settings.json", R"({"InstallationComplete": false})");

    EXPECT_EQ(Control("enable"), 0);
    station.AwaitProcessState(ReportEnabled);

    const std::string path = "/system/web-interface-mode";
    EXPECT_THAT(HttpRequest(RestPort, "GET", path).body, HasSubstr("commissioning"));
    // the routes are those of the mode that the process was started in
    EXPECT_EQ(HttpRequest(RestPort, "POST", "/auth/logout").status, 204);
    EXPECT_EQ(HttpRequest(RestPort, "GET", "/system/info").status, 401);
    // a change while the servers run waits for the next enable
    root.Write("data/config/settings.json", R"({"InstallationComplete": true})");
    EXPECT_THAT(HttpRequest(RestPort, "GET", path).body, HasSubstr("commissioning"));
    ExpectCleanEnd();
}

TEST_F(Lifecycle, LogTellsTheStepsOfALifeWithTheirSources)
{
    StartUninitialized();
    Enable();
    ExpectCleanEnd();

    const std::string log = process->Errors();
    const std::string place = "[^]* info +\\[\\d+\\] \\(src/webbackend:\\d+\\) ";
    const std::regex order(place + "Starting state machine\n" + place + "REST webserver started\n" + place +
                           "Websocket server started\n" + place + "REST webserver stopped\n" + place +
                           "Websocket server stopped\n" + place + "State machine stopped\n[^]*");
    EXPECT_TRUE(std::regex_match(log, order)) << log;
}

TEST_F(Lifecycle, TraceShowsTheStepsOfTheAssemblyInTheirOrder)
{
    StartUninitialized({"-vv"});
    Enable();
    ExpectCleanEnd();

    const std::string log = process->Errors();
    std::size_t place = 0;
    for (const std::string step : {"CWebbackend",
                                   "ConstructServers",
                                   "RegisterResourcesBase",
                                   "RegisterResourcesDashboard",
                                   "Run",
                                   "ConnectInterfaces",
                                   "RegisterServices",
                                   "StartCommunication",
                                   "RunStateMachine",
                                   "StartServers",
                                   "StartComponents",
                                   "StopComponents",
                                   "StopServers",
                                   "StopCommunication",
                                   "~CWebbackend"})
    {
        place = log.find(" CWebbackend::" + step + "\n", place);
        ASSERT_NE(place, std::string::npos) << step << "\n" << log;
    }
}

TEST_F(Lifecycle, LinesOfTheTransportReachTheLog)
{
    StartStation();
    StartProcess({"-vv"});
    station.AwaitCall("NetM", "SubscribeNetworkStatus");
    station.Post("/service", R"({"Service": "NetM", "State": "down"})");
    EXPECT_TRUE(process->AwaitErrorLine("] [RPC] NetM.SubscribeNetworkStatus ended"));
    ExpectCleanEnd();
}

TEST_F(Lifecycle, LogLevelIsSetFromOutside)
{
    StartUninitialized();
    const auto stub = ipc::WebbackendLog::NewStub(
        grpc::CreateChannel(root.Address("Listen"), grpc::InsecureChannelCredentials()));
    grpc::ClientContext context;
    ipc::MLogLevel trace;
    ipc::MResult result;
    ASSERT_TRUE(stub->SetLogLevel(&context, trace, &result).ok());

    EXPECT_EQ(Control("disable"), 0);

    EXPECT_TRUE(process->AwaitErrorLine("State Disabled: entry"));
    ExpectCleanEnd();
}

TEST_F(Lifecycle, OneThreadThatHoldsNoLockTakesTheSignals)
{
    StartUninitialized();
    Enable();
    EXPECT_EQ(HealthStatus(), 204);

    for (const auto& thread :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process->Id()) + "/task"))
    {
        std::string name;
        std::getline(std::ifstream(thread.path() / "comm"), name);
        EXPECT_EQ(BlocksSigint(thread.path()), name != "signals") << name;
    }
    ExpectCleanEnd();
}

TEST_F(Lifecycle, SigintWhileTheMachineHandlesEventsIsNeverLost)
{
    for (int round = 0; round < 20; ++round)
    {
        simulator.reset();
        StartUninitialized();
        EXPECT_EQ(Control("disable"), 0);
        station.AwaitProcessState(ReportDisabled);
        EXPECT_EQ(Control("enable"), 0);
        station.AwaitProcessState(ReportEnabled);
        process->Signal(SIGINT);
        ASSERT_EQ(process->AwaitEnd().status, 0) << process->Errors();
    }
}

TEST_F(Lifecycle, SigtermHasItsDefaultEffect)
{
    StartUninitialized();
    process->Signal(SIGTERM);
    EXPECT_EQ(process->AwaitEnd().signal, SIGTERM);
}

TEST_F(Lifecycle, TraceShowsEachStepOfTheMachineWithoutSource)
{
    StartUninitialized({"-vv"});
    ASSERT_TRUE(process->AwaitErrorLine("] State Statemachine: init"));
    ASSERT_TRUE(process->AwaitErrorLine("] State Uninitialized: entry"));
    EXPECT_EQ(Control("enable"), 1);
    EXPECT_TRUE(process->AwaitErrorLine("] State Uninitialized: event recv ExtEnableReq"));
    EXPECT_TRUE(process->AwaitErrorLine("] State Statemachine: event unhn ExtEnableReq"));
    EXPECT_TRUE(process->AwaitErrorLine(" IEnableCall"));
    EXPECT_EQ(Control("disable"), 0);
    EXPECT_TRUE(process->AwaitErrorLine("] State Uninitialized: event hndl ExtDisableReq"));
    EXPECT_TRUE(process->AwaitErrorLine("] State Uninitialized: exit"));
    EXPECT_TRUE(process->AwaitErrorLine("] State Initializing: entry"));
    EXPECT_THAT(process->Errors(), HasSubstr("(../statemachines/utils/statemachinesutility:"));
    ExpectCleanEnd();
}
