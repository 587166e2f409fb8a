#include "contracts/boardcontrol.h"
#include "contracts/diagnostics/diagnosticssignal.h"
#include "contracts/netm.h"
#include "contracts/sessionmanager.h"
#include "platform/rpc/appcommunicationhost.h"
#include "platform/rpc/communicationexception.h"
#include "platform/rpc/tarnlogger.h"

#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/contracts/teststation.h"
#include "tests/support/capturedlog.h"

using std::chrono::seconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

namespace
{

class Clients : public testing::Test
{
protected:
    /// Before any host exists.
    static void SetUpTestSuite() { GrpcBackend::SetLogger(std::make_shared<Rpc::TarnLogger>()); }

    using Host = AppCommunicationHost<GrpcBackend>;

    ~Clients() override
    {
        host.Stop();
        if (notifications.joinable())
        {
            notifications.join();
        }
    }

    template <class T>
    std::shared_ptr<T> Client(const std::string& name, int callSeconds, int connectSeconds)
    {
        const auto client = host.CreateClient<T>(name);
        client->SetCallTimeLimit(callSeconds);
        client->SetConnectTimeLimit(connectSeconds);
        return client->GetInterface();
    }

    void HandleNotifications()
    {
        notifications = std::thread([this] { host.HandleClientNotifications(); });
    }

    // outlive the host, which delivers until its end
    CCollector<int> states;
    CTestStation station;
    Host host{station.ConfigPath()};
    std::thread notifications;
};

} // namespace

TEST_F(Clients, CallReachesTheServiceAndBringsItsAnswer)
{
    station.Start();
    const auto board = Client<IBoardControl>("BoardControl", -1, 1);

    const ipc::MResult result = board->Reboot(ERebootType::Hard);

    EXPECT_EQ(result.status(), ipc::EResultIllegal);
    EXPECT_THAT(station.reboots.Await(1), ElementsAre(1));
}

TEST_F(Clients, AbsentServiceIsNamedWithTheOperationOnceTheConnectLimitIsOver)
{
    const auto board = Client<IBoardControl>("BoardControl", -1, 1);
    const auto begin = steady_clock::now();

    EXPECT_THAT([&] { board->Reboot(ERebootType::Soft); },
                ThrowsMessage<Rpc::CommunicationException>(HasSubstr("BoardControl.Reboot: ")));

    EXPECT_GE(steady_clock::now() - begin, seconds(1));
}

TEST_F(Clients, CommunicationExceptionIsARuntimeError)
{
    const auto board = Client<IBoardControl>("BoardControl", -1, 0);

    EXPECT_THROW(board->Reboot(ERebootType::Soft), std::runtime_error);
}

TEST_F(Clients, CallWaitsForAServiceThatComesInTime)
{
    const auto board = Client<IBoardControl>("BoardControl", -1, 20);
    std::future<ipc::MResult> result = std::async([&] { return board->Reboot(ERebootType::Soft); });

    station.Start();

    EXPECT_EQ(result.get().status(), ipc::EResultIllegal);
}

TEST_F(Clients, HungServiceIsGivenUpAtTheTimeLimitOfTheCall)
{
    station.Start();
    station.Hang();
    const auto board = Client<IBoardControl>("BoardControl", 1, 1);
    const auto begin = steady_clock::now();

    EXPECT_THAT([&] { board->Reboot(ERebootType::Soft); },
                ThrowsMessage<Rpc::CommunicationException>(HasSubstr("BoardControl.Reboot: ")));

    EXPECT_GE(steady_clock::now() - begin, seconds(1));
}

TEST_F(Clients, CallFailsAtOnceWhenTheServiceDiesUnderIt)
{
    station.Start();
    station.Hang();
    const auto board = Client<IBoardControl>("BoardControl", -1, 1);
    std::future<ipc::MResult> result = std::async([&] { return board->Reboot(ERebootType::Soft); });
    station.reboots.Await(1);

    station.Stop();

    EXPECT_THROW(result.get(), Rpc::CommunicationException);
}

TEST_F(Clients, CallWorksAgainAfterARestartOfTheService)
{
    station.Start();
    const auto board = Client<IBoardControl>("BoardControl", -1, 5);
    board->Reboot(ERebootType::Soft);
    station.Stop();
    EXPECT_THROW(Client<IBoardControl>("BoardControl", -1, 0)->Reboot(ERebootType::Soft),
                 Rpc::CommunicationException);

    station.Start();

    EXPECT_EQ(board->Reboot(ERebootType::Hard).status(), ipc::EResultIllegal);
}

TEST_F(Clients, InterruptEndsACallUnderWayAndThoseThatFollowUntilResumed)
{
    station.Start();
    station.Hang();
    const auto board = Client<IBoardControl>("BoardControl", -1, 1);
    std::future<ipc::MResult> hanging = std::async([&] { return board->Reboot(ERebootType::Soft); });
    station.reboots.Await(1);

    host.InterruptCalls();
    EXPECT_THROW(hanging.get(), Rpc::CommunicationException);
    EXPECT_THROW(board->Reboot(ERebootType::Soft), Rpc::CommunicationException);

    station.Stop();
    station.Start();
    host.ResumeCalls();
    EXPECT_EQ(Client<IBoardControl>("BoardControl", -1, 20)->Reboot(ERebootType::Soft).status(),
              ipc::EResultIllegal);
}

TEST_F(Clients, InterruptEndsTheWaitForAnAbsentService)
{
    const auto board = Client<IBoardControl>("BoardControl", -1, 3600);
    std::future<ipc::MResult> waiting = std::async([&] { return board->Reboot(ERebootType::Soft); });

    host.InterruptCalls();

    EXPECT_THROW(waiting.get(), Rpc::CommunicationException);
}

TEST_F(Clients, ServiceThatTheConfigurationDoesNotKnowIsRefusedByName)
{
    EXPECT_THAT([this] { host.CreateClient<INetM>("NetM"); },
                ThrowsMessage<std::runtime_error>(HasSubstr("service \"NetM\" is missing")));
}

TEST_F(Clients, NotificationsArriveInOrderOnTheNotificationThread)
{
    station.Start();
    const auto manager = Client<ISessionManager>("SessionManager", 1, 1);
    CCollector<std::thread::id> threads;
    manager->ConnectorState = [&](const ipc::MConnectorState& message)
    {
        threads.Add(std::this_thread::get_id());
        states.Add(message.state());
    };
    HandleNotifications();
    station.subscriptions.Await(1);

    station.SendConnectorStates(
        {ipc::EConnectorStateAvailable, ipc::EConnectorStateCharging, ipc::EConnectorStateFinishing});

    EXPECT_THAT(states.Await(3), ElementsAre(1, 11, 9));
    EXPECT_THAT(threads.Await(3), testing::Each(notifications.get_id()));
}

TEST_F(Clients, NotificationsComeBackAfterEachRestartOfTheService)
{
    const auto manager = Client<ISessionManager>("SessionManager", 1, 1);
    manager->ConnectorState = [&](const ipc::MConnectorState& message) { states.Add(message.state()); };
    HandleNotifications();

    station.Start();
    station.subscriptions.Await(1);
    station.SendConnectorStates({ipc::EConnectorStateAvailable});
    EXPECT_THAT(states.Await(1), ElementsAre(1));
    station.Stop();
    station.Start();
    station.subscriptions.Await(2);
    station.SendConnectorStates({ipc::EConnectorStateFaulted});

    EXPECT_THAT(states.Await(2), ElementsAre(1, 10));
}

TEST_F(Clients, ReceiverThatThrowsEndsThatNotificationOnlyWithAnErrorLine)
{
    const CCapturedLog log;
    station.Start();
    const auto manager = Client<ISessionManager>("SessionManager", 1, 1);
    manager->ConnectorState = [&](const ipc::MConnectorState& message)
    {
        if (message.state() == ipc::EConnectorStateFaulted)
        {
            throw std::runtime_error("no such state");
        }
        states.Add(message.state());
    };
    HandleNotifications();
    station.subscriptions.Await(1);

    station.SendConnectorStates({ipc::EConnectorStateFaulted, ipc::EConnectorStateAvailable});

    EXPECT_THAT(states.Await(1), ElementsAre(1));
    EXPECT_TRUE(log.Has(Log::ELogLevel::Error,
                        "[RPC] Receiver of SessionManager.SubscribeConnectorState failed: no such state"));
}

TEST_F(Clients, NotificationToAClientThatIsGoneDoesNoHarm)
{
    station.Start();
    auto goneSoon = Client<ISessionManager>("SessionManager", 1, 1);
    const auto staying = Client<ISessionManager>("SessionManager", 1, 1);
    goneSoon->ConnectorState = [&](const ipc::MConnectorState&) { states.Add(-1); };
    staying->ConnectorState = [&](const ipc::MConnectorState& message) { states.Add(message.state()); };
    goneSoon.reset();
    HandleNotifications();
    station.subscriptions.Await(2);

    station.SendConnectorStates(std::vector<ipc::EConnectorState>(20, ipc::EConnectorStateAvailable));
    station.Stop();

    EXPECT_FALSE(states.AwaitAny([](int state) { return state == -1; }, std::chrono::milliseconds(0)));
}

TEST_F(Clients, StopEndsTheNotificationsOfAbsentServices)
{
    const auto manager = Client<ISessionManager>("SessionManager", 1, 1);
    HandleNotifications();

    host.Stop();

    notifications.join();
}

TEST_F(Clients, SignalIsReportedWithIdentifierValueAndPresentTime)
{
    station.Start();
    CDiagnosticsCommClient::Initialize(host);
    const CSignalDefinition<std::string> definition(
        ipc::ESignalIdentifierReconfigurationOfParameter, "Parameters have been reconfigured", "", "");
    const auto before = std::chrono::system_clock::now();

    CDiagnosticsSignal<std::string>(&definition).Send("Parameter TimeZone has been reconfigured to UTC");
    CDiagnosticsCommClient::Shutdown();

    const std::vector<ipc::MSignalReport> reports = station.reports.Await(1);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].signal().identifier(), 20500);
    ASSERT_EQ(reports[0].signal().data_size(), 1);
    EXPECT_EQ(reports[0].signal().data(0).string_value(), "Parameter TimeZone has been reconfigured to UTC");
    const auto time = std::chrono::system_clock::time_point(
        seconds(reports[0].timestamp().seconds()) +
        std::chrono::microseconds(reports[0].timestamp().microseconds()));
    EXPECT_GE(time + std::chrono::microseconds(1), before);
    EXPECT_LE(time, std::chrono::system_clock::now());
}
