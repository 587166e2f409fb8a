#include "contracts/boardcontrol.h"
#include "contracts/currentcontrol.h"
#include "contracts/diagnostics.h"
#include "contracts/feedback.h"
#include "contracts/meter.h"
#include "contracts/netm.h"
#include "contracts/rfid.h"
#include "contracts/sessionmanager.h"
#include "platform/rpc/appcommunicationhost.h"

#include <grpcpp/security/server_credentials.h>
#include <grpcpp/server.h>
#include <grpcpp/server_builder.h>

#include <chrono>
#include <optional>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/contracts/fakeservices.h"
#include "tests/support/temporarydirectory.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace
{

MATCHER_P(IsMessage, expected, "has the contents of the other message")
{
    return arg.SerializeAsString() == expected.SerializeAsString();
}

constexpr int PatienceSeconds = 20;

/// All services on one socket, and a process that is a client of them.
class AllClients : public testing::Test
{
protected:
    AllClients()
    {
        directory.Write("etc/iipc.json", R"({
            "Listen": "unix:process.sock",
            "Services": {"BoardControl": "unix:station.sock", "Diagnostics": "unix:station.sock",
                         "Feedback": "unix:station.sock", "NetM": "unix:station.sock",
                         "Rfid": "unix:station.sock", "CurrentControl": "unix:station.sock",
                         "SessionManager": "unix:station.sock", "MeterService": "unix:station.sock"}})");
        host.emplace(directory.Root() + "etc/iipc.json");
    }

    ~AllClients() override
    {
        host->Stop();
        if (notifications.joinable())
        {
            notifications.join();
        }
        if (server)
        {
            server->Shutdown(std::chrono::system_clock::now());
        }
    }

    void StartServices()
    {
        grpc::ServerBuilder builder;
        builder.AddListeningPort("unix:" + directory.Root() + "station.sock",
                                 grpc::InsecureServerCredentials());
        for (grpc::Service* service : std::initializer_list<grpc::Service*>{
                 &board, &diagnostics, &feedback, &netM, &rfid, &currentControl, &sessionManager, &meter})
        {
            builder.RegisterService(service);
        }
        server = builder.BuildAndStart();
        ASSERT_TRUE(server);
    }

    /// A client of a service that runs.
    template <class T>
    std::shared_ptr<T> Client(const std::string& name)
    {
        StartServices();
        return UnstartedClient<T>(name, PatienceSeconds);
    }

    template <class T>
    std::shared_ptr<T> UnstartedClient(const std::string& name, int connectSeconds)
    {
        const auto client = host->CreateClient<T>(name);
        client->SetCallTimeLimit(PatienceSeconds);
        client->SetConnectTimeLimit(connectSeconds);
        return client->GetInterface();
    }

    void HandleNotifications()
    {
        notifications = std::thread([this] { host->HandleClientNotifications(); });
    }

    const CTemporaryDirectory directory;
    CFakeBoard board;
    CFakeDiagnostics diagnostics;
    CFakeFeedback feedback;
    CFakeNetM netM;
    CFakeRfid rfid;
    CFakeCurrentControl currentControl;
    CFakeSessionManager sessionManager;
    CFakeMeter meter;
    std::unique_ptr<grpc::Server> server;
    std::optional<AppCommunicationHost<GrpcBackend>> host;
    std::thread notifications;
};

ipc::MResult Illegal()
{
    ipc::MResult result;
    result.set_status(ipc::EResultIllegal);
    return result;
}

ipc::MText Text(const std::string& value)
{
    ipc::MText text;
    text.set_value(value);
    return text;
}

ipc::MBool Bool(bool value)
{
    ipc::MBool message;
    message.set_value(value);
    return message;
}

ipc::MRebootType RebootType(int type)
{
    ipc::MRebootType message;
    message.set_type(type);
    return message;
}

ipc::MDiagnosticsSignal Signal(ipc::ESignalIdentifier identifier, const std::string& value)
{
    ipc::MDiagnosticsSignal signal;
    signal.set_identifier(identifier);
    signal.add_data()->set_string_value(value);
    return signal;
}

} // namespace

TEST_F(AllClients, SoftRebootIsType0AndHardRebootType1)
{
    board.reboot.AnswerWith(Illegal());
    const auto client = Client<IBoardControl>("BoardControl");

    EXPECT_EQ(client->Reboot(ERebootType::Soft).status(), ipc::EResultIllegal);
    EXPECT_EQ(client->Reboot(ERebootType::Hard).status(), ipc::EResultIllegal);

    EXPECT_THAT(board.reboot.requests.Await(2),
                ElementsAre(IsMessage(RebootType(0)), IsMessage(RebootType(1))));
}

TEST_F(AllClients, FirmwareUpdateIsRequestedUnderTheNameOfTheRequester)
{
    board.requestFirmwareUpdate.AnswerWith(Illegal());
    const auto client = Client<IBoardControl>("BoardControl");

    EXPECT_EQ(client->RequestFirmwareUpdate("Webbackend").status(), ipc::EResultIllegal);

    EXPECT_THAT(board.requestFirmwareUpdate.requests.Await(1), ElementsAre(IsMessage(Text("Webbackend"))));
}

TEST_F(AllClients, FirmwareUpdateStatusIsHandedOver)
{
    ipc::MFwUpdateStatus sent;
    sent.set_old_firmware_identifier("1.2.3");
    sent.set_new_firmware_identifier("1.3.0");
    sent.set_status(ipc::EFwUpdateStatusNotIdle);
    const auto client = Client<IBoardControl>("BoardControl");
    CCollector<ipc::MFwUpdateStatus> received;
    client->FirmwareUpdateStatus = [&](const ipc::MFwUpdateStatus& status) { received.Add(status); };
    HandleNotifications();

    board.firmwareUpdateStatus.Send(sent);

    EXPECT_THAT(received.Await(1), ElementsAre(IsMessage(sent)));
}

TEST_F(AllClients, SignalIsReadByItsIdentifier)
{
    const ipc::MDiagnosticsSignal answer = Signal(ipc::ESignalIdentifierReconfigurationOfParameter, "on");
    diagnostics.getSignal.AnswerWith(answer);
    ipc::MSignalIdentifier identifier;
    identifier.set_identifier(ipc::ESignalIdentifierReconfigurationOfParameter);
    const auto client = Client<IDiagnostics>("Diagnostics");

    EXPECT_THAT(client->GetSignal(identifier), IsMessage(answer));

    EXPECT_THAT(diagnostics.getSignal.requests.Await(1), ElementsAre(IsMessage(identifier)));
}

TEST_F(AllClients, SnapshotBringsAllSignalsInOrder)
{
    ipc::MDiagnosticsSnapshot answer;
    *answer.add_signal() = Signal(ipc::ESignalIdentifierUserActionPerformed, "first");
    *answer.add_signal() = Signal(ipc::ESignalIdentifierReconfigurationOfParameter, "second");
    diagnostics.getSnapshot.AnswerWith(answer);
    const auto client = Client<IDiagnostics>("Diagnostics");

    EXPECT_THAT(client->GetSnapshot(), IsMessage(answer));

    EXPECT_THAT(diagnostics.getSnapshot.requests.Await(1), SizeIs(1));
}

TEST_F(AllClients, FreezeFrameIsCreatedWithItsReason)
{
    diagnostics.createFreezeFrame.AnswerWith(Illegal());
    const auto client = Client<IDiagnostics>("Diagnostics");

    EXPECT_EQ(client->CreateFreezeFrame("by hand").status(), ipc::EResultIllegal);

    EXPECT_THAT(diagnostics.createFreezeFrame.requests.Await(1), ElementsAre(IsMessage(Text("by hand"))));
}

TEST_F(AllClients, SignalChangeIsHandedOverAsSignalAndType)
{
    ipc::MSignalChange sent;
    *sent.mutable_signal() = Signal(ipc::ESignalIdentifierUserActionPerformed, "login");
    sent.mutable_type()->set_type(2);
    const auto client = Client<IDiagnostics>("Diagnostics");
    CCollector<ipc::MSignalChange> received;
    client->SignalChange =
        [&](const ipc::MDiagnosticsSignal& signal, const ipc::MDiagnosticsNotificationType& type)
    {
        ipc::MSignalChange change;
        *change.mutable_signal() = signal;
        *change.mutable_type() = type;
        received.Add(change);
    };
    HandleNotifications();

    diagnostics.signalChange.Send(sent);

    EXPECT_THAT(received.Await(1), ElementsAre(IsMessage(sent)));
}

TEST_F(AllClients, FreezeFrameDoneIsHandedOverAsTheNameOfTheFile)
{
    const auto client = Client<IDiagnostics>("Diagnostics");
    CCollector<std::string> received;
    client->FreezeFrameDone = [&](const std::string& file) { received.Add(file); };
    HandleNotifications();

    diagnostics.freezeFrameDone.Send(Text("frame-7.tar"));

    EXPECT_THAT(received.Await(1), ElementsAre("frame-7.tar"));
}

TEST_F(AllClients, ReportOfASignalIsPassedOnWhole)
{
    diagnostics.sendSignal.AnswerWith(Illegal());
    ipc::MSignalReport report;
    *report.mutable_signal() = Signal(ipc::ESignalIdentifierReconfigurationOfParameter, "changed");
    report.mutable_timestamp()->set_seconds(1700000000);
    report.mutable_timestamp()->set_microseconds(250000);
    const auto client = Client<IDiagnosticsReport>("Diagnostics");

    EXPECT_EQ(client->SendSignal(report).status(), ipc::EResultIllegal);

    EXPECT_THAT(diagnostics.sendSignal.requests.Await(1), ElementsAre(IsMessage(report)));
}

TEST_F(AllClients, FeedbackEventIsPassedOn)
{
    feedback.sendEvent.AnswerWith(Illegal());
    ipc::MFbEventType event;
    event.set_type(3);
    const auto client = Client<IFeedback>("Feedback");

    EXPECT_EQ(client->SendEvent(event).status(), ipc::EResultIllegal);

    EXPECT_THAT(feedback.sendEvent.requests.Await(1), ElementsAre(IsMessage(event)));
}

TEST_F(AllClients, WlanScanBringsTheNetworks)
{
    ipc::MScanWlanResult answer;
    ipc::MWlanNetwork& network = *answer.mutable_scan()->add_network();
    network.set_ssid("garage");
    network.set_security("WPA2");
    network.set_signal_strength(-61);
    network.set_channel(11);
    netM.scanWlan.AnswerWith(answer);
    const auto client = Client<INetM>("NetM");

    const std::optional<ipc::MScanWlan> scan = client->ScanWlan();

    ASSERT_TRUE(scan.has_value());
    EXPECT_THAT(*scan, IsMessage(answer.scan()));
    EXPECT_THAT(netM.scanWlan.requests.Await(1), SizeIs(1));
}

TEST_F(AllClients, WlanScanWithoutAnyNetworkIsStillAScan)
{
    ipc::MScanWlanResult answer;
    answer.mutable_scan();
    netM.scanWlan.AnswerWith(answer);

    const std::optional<ipc::MScanWlan> scan = Client<INetM>("NetM")->ScanWlan();

    ASSERT_TRUE(scan.has_value());
    EXPECT_EQ(scan->network_size(), 0);
}

TEST_F(AllClients, AnswerWithoutAScanIsNoScan)
{
    netM.scanWlan.AnswerWith(ipc::MScanWlanResult());

    EXPECT_FALSE(Client<INetM>("NetM")->ScanWlan().has_value());
}

TEST_F(AllClients, NetworkConfigIsValidAsTheServiceSays)
{
    const auto client = Client<INetM>("NetM");

    netM.validateConfig.AnswerWith(Bool(true));
    EXPECT_TRUE(client->ValidateConfig());
    netM.validateConfig.AnswerWith(Bool(false));
    EXPECT_FALSE(client->ValidateConfig());

    EXPECT_THAT(netM.validateConfig.requests.Await(2), SizeIs(2));
}

TEST_F(AllClients, NetworkStatusIsHandedOver)
{
    ipc::MNetStatus sent;
    sent.set_interface(ipc::EIfNameLte);
    sent.set_status(ipc::ENetStatusConnected);
    sent.set_signal_strength(-70);
    sent.mutable_net_properties()->set_gateway("10.0.0.1");
    sent.mutable_lte_info()->set_imei("350000000000001");
    const auto client = Client<INetM>("NetM");
    CCollector<ipc::MNetStatus> received;
    client->NetworkStatus = [&](const ipc::MNetStatus& status) { received.Add(status); };
    HandleNotifications();

    netM.networkStatus.Send(sent);

    EXPECT_THAT(received.Await(1), ElementsAre(IsMessage(sent)));
}

TEST_F(AllClients, TokenReportIsSwitchedOnAndOff)
{
    rfid.setTokenReport.AnswerWith(Illegal());
    const auto client = Client<IRfid>("Rfid");

    EXPECT_EQ(client->SetTokenReport(true).status(), ipc::EResultIllegal);
    EXPECT_EQ(client->SetTokenReport(false).status(), ipc::EResultIllegal);

    EXPECT_THAT(rfid.setTokenReport.requests.Await(2),
                ElementsAre(IsMessage(Bool(true)), IsMessage(Bool(false))));
}

TEST_F(AllClients, TokenFoundIsHandedOverAsItsIdentifier)
{
    const auto client = Client<IRfid>("Rfid");
    CCollector<std::string> received;
    client->TokenFound = [&](const std::string& token) { received.Add(token); };
    HandleNotifications();

    rfid.tokenFound.Send(Text("04A2B1C3"));

    EXPECT_THAT(received.Await(1), ElementsAre("04A2B1C3"));
}

TEST_F(AllClients, LimitIsSetForItsSource)
{
    currentControl.setLimit.AnswerWith(Illegal());
    ipc::MCurrentControlLimit limit;
    limit.set_source(ipc::ECurrentControlUserLimitCurrent);
    limit.set_limit(0);
    const auto client = Client<ICurrentControl>("CurrentControl");

    EXPECT_EQ(client->SetLimit(limit).status(), ipc::EResultIllegal);

    const auto requests = currentControl.setLimit.requests.Await(1);
    EXPECT_THAT(requests, ElementsAre(IsMessage(limit)));
    EXPECT_TRUE(requests.at(0).has_limit());
    EXPECT_THAT(currentControl.clearLimit.requests.Await(0), IsEmpty());
}

TEST_F(AllClients, LimitIsClearedForItsSource)
{
    currentControl.clearLimit.AnswerWith(Illegal());
    ipc::MCurrentControlLimit limit;
    limit.set_source(ipc::ECurrentControlLocalScheduledCharging);
    const auto client = Client<ICurrentControl>("CurrentControl");

    EXPECT_EQ(client->ClearLimit(limit).status(), ipc::EResultIllegal);

    const auto requests = currentControl.clearLimit.requests.Await(1);
    EXPECT_THAT(requests, ElementsAre(IsMessage(limit)));
    EXPECT_FALSE(requests.at(0).has_limit());
    EXPECT_THAT(currentControl.setLimit.requests.Await(0), IsEmpty());
}

TEST_F(AllClients, ConnectorInfoBringsSessionAndReservation)
{
    ipc::MConnectorInfo answer;
    answer.set_connector_state(ipc::EConnectorStateReserved);
    answer.mutable_session()->set_session_id("s-1");
    answer.mutable_session()->set_authorized(true);
    answer.mutable_reservation()->set_reservation_id(17);
    answer.mutable_reservation()->set_expiry_date("2030-01-01T00:00:00Z");
    answer.mutable_reservation()->set_id_token("token");
    sessionManager.getConnectorInfo.AnswerWith(answer);

    EXPECT_THAT(Client<ISessionManager>("SessionManager")->GetConnectorInfo(), IsMessage(answer));

    EXPECT_THAT(sessionManager.getConnectorInfo.requests.Await(1), SizeIs(1));
}

TEST_F(AllClients, ConnectorInfoKeepsAbsentPartsAbsent)
{
    ipc::MConnectorInfo answer;
    answer.set_connector_state(ipc::EConnectorStateAvailable);
    sessionManager.getConnectorInfo.AnswerWith(answer);

    const ipc::MConnectorInfo info = Client<ISessionManager>("SessionManager")->GetConnectorInfo();

    EXPECT_EQ(info.connector_state(), ipc::EConnectorStateAvailable);
    EXPECT_FALSE(info.has_session());
    EXPECT_FALSE(info.has_reservation());
}

TEST_F(AllClients, ConnectorStateIsHandedOver)
{
    ipc::MConnectorState sent;
    sent.set_state(ipc::EConnectorStateChargingLimited);
    const auto client = Client<ISessionManager>("SessionManager");
    CCollector<ipc::MConnectorState> received;
    client->ConnectorState = [&](const ipc::MConnectorState& state) { received.Add(state); };
    HandleNotifications();

    sessionManager.connectorState.Send(sent);

    EXPECT_THAT(received.Await(1), ElementsAre(IsMessage(sent)));
}

TEST_F(AllClients, MeterDataIsReadFromTheService)
{
    ipc::MMeterData answer;
    answer.add_power(2300);
    answer.add_power(-5);
    answer.add_power(0);
    answer.set_session_marker("marker");
    answer.set_total_energy(5000000000);
    answer.set_energy_at_session_start(4999999000);
    meter.getMeterData.AnswerWith(answer);

    EXPECT_THAT(Client<IMeter>("MeterService")->GetMeterData(), IsMessage(answer));

    EXPECT_THAT(meter.getMeterData.requests.Await(1), SizeIs(1));
}

TEST_F(AllClients, OtherOperationsOfTheMeterAreAnsweredWithoutAService)
{
    const auto client = UnstartedClient<IMeter>("MeterService", 0);

    EXPECT_EQ(client->Enable().status(), ipc::EResultIllegal);
    EXPECT_EQ(client->Disable().status(), ipc::EResultIllegal);
    EXPECT_EQ(client->Reset().status(), ipc::EResultIllegal);
    EXPECT_EQ(client->GetSerialNumber(), "");
    EXPECT_EQ(client->StartSession().status(), ipc::EResultIllegal);
    EXPECT_EQ(client->StopSession().status(), ipc::EResultIllegal);
    EXPECT_EQ(client->EnableDisplay().status(), ipc::EResultIllegal);
    EXPECT_EQ(client->DisableDisplay().status(), ipc::EResultIllegal);
    EXPECT_EQ(client->SelfTest().status(), ipc::EResultIllegal);
    EXPECT_EQ(client->GetFirmwareVersion(), "");
}

TEST_F(AllClients, OtherOperationsOfTheMeterLeaveTheServiceAlone)
{
    const auto client = Client<IMeter>("MeterService");

    client->Enable();
    client->Disable();
    client->Reset();
    client->GetSerialNumber();
    client->StartSession();
    client->StopSession();
    client->EnableDisplay();
    client->DisableDisplay();
    client->SelfTest();
    client->GetFirmwareVersion();

    EXPECT_THAT(meter.getMeterData.requests.Await(0), IsEmpty());
}
