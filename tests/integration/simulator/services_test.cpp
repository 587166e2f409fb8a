#include "platform/json/jsonutil.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "tests/integration/simulator/runningsimulator.h"
#include "tests/integration/simulator/streamcollector.h"

namespace
{

ipc::MText Text(const std::string& value)
{
    ipc::MText text;
    text.set_value(value);
    return text;
}

class SimulatedServices : public testing::Test
{
protected:
    CRunningSimulator station;
    SPatientContext context;
    ipc::MResult result;
};

} // namespace

TEST_F(SimulatedServices, RebootIsTakenAndOnRecord)
{
    const auto board = station.Connect<ipc::BoardControl>("BoardControl");
    ipc::MRebootType hard;
    hard.set_type(1);
    ASSERT_TRUE(board->Reboot(&context, hard, &result).ok());
    EXPECT_EQ(result.status(), ipc::EResultOk);
    EXPECT_EQ(station.steering.AwaitCall("BoardControl", "Reboot")["Request"]["Type"], 1);
}

TEST_F(SimulatedServices, RebootOfNoTypeIsRefused)
{
    const auto board = station.Connect<ipc::BoardControl>("BoardControl");
    ipc::MRebootType strange;
    strange.set_type(2);
    ASSERT_TRUE(board->Reboot(&context, strange, &result).ok());
    EXPECT_EQ(result.status(), ipc::EResultIllegal);
}

TEST_F(SimulatedServices, FirmwareUpdateEndsInAReport)
{
    station.root.Write("package.swu", "firmware");
    station.steering.Post("/firmware", R"({"ProgrammingMs": 0, "NewIdentifier": "9.9"})");
    const auto board = station.Connect<ipc::BoardControl>("BoardControl");
    CStreamCollector<ipc::MFwUpdateStatus> updates(
        [&](auto* call) { return board->SubscribeFirmwareUpdateStatus(call, ipc::MVoid()); });
    ASSERT_TRUE(board->RequestFirmwareUpdate(&context, Text("WebInterface"), &result).ok());
    EXPECT_EQ(result.status(), ipc::EResultOk);
    const auto reports = updates.received.Await(1);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].status(), ipc::EFwUpdateStatusSuccess);
    EXPECT_EQ(reports[0].old_firmware_identifier(), "1.0.0-simulated");
    EXPECT_EQ(reports[0].new_firmware_identifier(), "9.9");
    EXPECT_EQ(station.steering.Get("/station").body["Firmware"]["Installed"], "9.9");
}

TEST_F(SimulatedServices, FirmwareUpdateWithoutPackageFails)
{
    const auto board = station.Connect<ipc::BoardControl>("BoardControl");
    CStreamCollector<ipc::MFwUpdateStatus> updates(
        [&](auto* call) { return board->SubscribeFirmwareUpdateStatus(call, ipc::MVoid()); });
    ASSERT_TRUE(board->RequestFirmwareUpdate(&context, Text("WebInterface"), &result).ok());
    const auto reports = updates.received.Await(1);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].status(), ipc::EFwUpdateStatusPackageMissing);
}

TEST_F(SimulatedServices, SentSignalIsReadBackAndAnnounced)
{
    const auto diagnostics = station.Connect<ipc::Diagnostics>("Diagnostics");
    CStreamCollector<ipc::MSignalChange> changes(
        [&](auto* call) { return diagnostics->SubscribeSignalChange(call, ipc::MVoid()); });
    ipc::MSignalReport report;
    report.mutable_signal()->set_identifier(ipc::ESignalIdentifierUserActionPerformed);
    report.mutable_signal()->add_data()->set_string_value("done");
    ASSERT_TRUE(diagnostics->SendSignal(&context, report, &result).ok());
    EXPECT_EQ(result.status(), ipc::EResultOk);

    SPatientContext second;
    ipc::MSignalIdentifier identifier;
    identifier.set_identifier(ipc::ESignalIdentifierUserActionPerformed);
    ipc::MDiagnosticsSignal signal;
    ASSERT_TRUE(diagnostics->GetSignal(&second, identifier, &signal).ok());
    ASSERT_EQ(signal.data_size(), 1);
    EXPECT_EQ(signal.data(0).string_value(), "done");

    const auto announced = changes.received.Await(1);
    ASSERT_EQ(announced.size(), 1U);
    EXPECT_EQ(announced[0].signal().identifier(), 20502);
    EXPECT_EQ(announced[0].type().type(), 2);
}

TEST_F(SimulatedServices, SnapshotHasWhatWasSetAndWhatTheStationMeasures)
{
    station.steering.Post("/signal", R"({"Identifier": 1001, "Value": true})");
    const auto diagnostics = station.Connect<ipc::Diagnostics>("Diagnostics");
    ipc::MDiagnosticsSnapshot snapshot;
    ASSERT_TRUE(diagnostics->GetSnapshot(&context, ipc::MVoid(), &snapshot).ok());
    const auto valueOf = [&snapshot](int identifier)
    {
        const auto found =
            std::find_if(snapshot.signal().begin(),
                         snapshot.signal().end(),
                         [&](const auto& signal) { return signal.identifier() == identifier; });
        return found == snapshot.signal().end() ? ipc::MDiagnosticsData() : found->data(0);
    };
    EXPECT_TRUE(valueOf(1001).bool_value());
    EXPECT_EQ(valueOf(53).int_value(), 230000);
    EXPECT_TRUE(valueOf(1002).has_bool_value());
    EXPECT_FALSE(valueOf(1002).bool_value());
    EXPECT_EQ(valueOf(2).value_case(), ipc::MDiagnosticsData::VALUE_NOT_SET);
}

TEST_F(SimulatedServices, FreezeFrameWritesAFileAndNamesIt)
{
    const auto diagnostics = station.Connect<ipc::Diagnostics>("Diagnostics");
    CStreamCollector<ipc::MText> finished(
        [&](auto* call) { return diagnostics->SubscribeFreezeFrameDone(call, ipc::MVoid()); });
    ASSERT_TRUE(diagnostics->CreateFreezeFrame(&context, Text("manual"), &result).ok());
    EXPECT_EQ(result.status(), ipc::EResultOk);
    const auto names = finished.received.Await(1);
    ASSERT_EQ(names.size(), 1U);
    const std::filesystem::path file = names[0].value();
    EXPECT_EQ(file.parent_path(), station.root.Path() / "data/log");
    std::ifstream stream(file);
    const Json::Value frame = JsonUtil::ParseObject(std::string(std::istreambuf_iterator<char>(stream), {}));
    EXPECT_EQ(frame["Reason"], "manual");
}

TEST_F(SimulatedServices, FeedbackEventIsTakenAndOnRecord)
{
    const auto feedback = station.Connect<ipc::Feedback>("Feedback");
    ipc::MFbEventType event;
    event.set_type(3);
    ASSERT_TRUE(feedback->SendEvent(&context, event, &result).ok());
    EXPECT_EQ(result.status(), ipc::EResultOk);
    EXPECT_EQ(station.steering.AwaitCall("Feedback", "SendEvent")["Request"]["Type"], 3);
}

TEST_F(SimulatedServices, WlanScanShowsTheNeighbourhood)
{
    station.steering.Post(
        "/wlan",
        R"({"Networks": [{"Ssid": "Lab", "Security": "WPA3", "SignalStrength": -40, "Channel": 36}]})");
    const auto netM = station.Connect<ipc::NetM>("NetM");
    ipc::MScanWlanResult scan;
    ASSERT_TRUE(netM->ScanWlan(&context, ipc::MVoid(), &scan).ok());
    ASSERT_TRUE(scan.has_scan());
    ASSERT_EQ(scan.scan().network_size(), 1);
    EXPECT_EQ(scan.scan().network(0).ssid(), "Lab");
    EXPECT_EQ(scan.scan().network(0).security(), "WPA3");
    EXPECT_EQ(scan.scan().network(0).signal_strength(), -40);
    EXPECT_EQ(scan.scan().network(0).channel(), 36U);
}

TEST_F(SimulatedServices, ValidatedConfigActsOnTheFileAsItStands)
{
    const auto netM = station.Connect<ipc::NetM>("NetM");
    CStreamCollector<ipc::MNetStatus> statuses([&](auto* call)
                                               { return netM->SubscribeNetworkStatus(call, ipc::MVoid()); });
    station.root.Write("data/config/network.json", R"({"NetMLteEnable": true})");
    ipc::MBool accepted;
    ASSERT_TRUE(netM->ValidateConfig(&context, ipc::MVoid(), &accepted).ok());
    EXPECT_TRUE(accepted.value());
    const auto reports = statuses.received.Await(1);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].interface(), ipc::EIfNameLte);
    EXPECT_EQ(reports[0].status(), ipc::ENetStatusConnected);
}

TEST_F(SimulatedServices, FaultyNetworkFileIsNotAccepted)
{
    const auto netM = station.Connect<ipc::NetM>("NetM");
    ipc::MBool accepted;
    accepted.set_value(true);
    station.root.Write("data/config/network.json", R"({"NetMEthDhcpEnable": false})");
    ASSERT_TRUE(netM->ValidateConfig(&context, ipc::MVoid(), &accepted).ok());
    EXPECT_FALSE(accepted.value());

    SPatientContext second;
    accepted.set_value(true);
    station.root.Write("data/config/network.json", "{");
    ASSERT_TRUE(netM->ValidateConfig(&second, ipc::MVoid(), &accepted).ok());
    EXPECT_FALSE(accepted.value());
}

TEST_F(SimulatedServices, TokenIsReportedWhileTheReportIsOn)
{
    const auto rfid = station.Connect<ipc::Rfid>("Rfid");
    CStreamCollector<ipc::MText> tokens([&](auto* call)
                                        { return rfid->SubscribeTokenFound(call, ipc::MVoid()); });
    EXPECT_EQ(station.steering.Post("/rfid", R"({"Token": "early"})").body["Reported"], false);
    ipc::MBool on;
    on.set_value(true);
    ASSERT_TRUE(rfid->SetTokenReport(&context, on, &result).ok());
    EXPECT_EQ(result.status(), ipc::EResultOk);
    EXPECT_EQ(station.steering.Post("/rfid", R"({"Token": "04AABB"})").body["Reported"], true);
    const auto found = tokens.received.Await(1);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].value(), "04AABB");
}

TEST_F(SimulatedServices, TapsAreLostAgainWhenTheReportIsOff)
{
    const auto rfid = station.Connect<ipc::Rfid>("Rfid");
    CStreamCollector<ipc::MText> tokens([&](auto* call)
                                        { return rfid->SubscribeTokenFound(call, ipc::MVoid()); });
    const auto setReport = [&](bool isOn)
    {
        SPatientContext call;
        ipc::MBool request;
        request.set_value(isOn);
        ASSERT_TRUE(rfid->SetTokenReport(&call, request, &result).ok());
    };
    setReport(true);
    station.steering.Post("/rfid", R"({"Token": "first"})");
    setReport(false);
    EXPECT_EQ(station.steering.Post("/rfid", R"({"Token": "lost"})").body["Reported"], false);
    setReport(true);
    station.steering.Post("/rfid", R"({"Token": "second"})");
    const auto found = tokens.received.Await(2);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].value(), "first");
    EXPECT_EQ(found[1].value(), "second");
}

TEST_F(SimulatedServices, MeterFollowsAChargeThroughItsStates)
{
    const auto service = station.Connect<ipc::MeterService>("MeterService");
    const auto read = [&]
    {
        SPatientContext call;
        ipc::MMeterData data;
        EXPECT_TRUE(service->GetMeterData(&call, ipc::MVoid(), &data).ok());
        return data;
    };
    // as much as the meter has phases for: a watt-hour in about 30 ms
    station.steering.Post("/meter",
                          R"({"Power": [7360, 7360, 7360, 7360, 7360, 7360, 7360, 7360,
                                        7360, 7360, 7360, 7360, 7360, 7360, 7360, 7360],
                              "TotalEnergy": 5000000000})");
    EXPECT_EQ(read().session_marker(), "");

    station.steering.Post("/connector", R"({"State": 4, "SessionId": "S-1"})");
    const ipc::MMeterData pluggedIn = read();
    EXPECT_EQ(pluggedIn.session_marker(), "S-1");
    EXPECT_EQ(pluggedIn.energy_at_session_start(), 5000000000);
    EXPECT_EQ(pluggedIn.total_energy(), 5000000000);
    EXPECT_EQ(pluggedIn.power(0), 0);

    station.steering.Post("/connector", R"({"State": 11})");
    EXPECT_EQ(read().power(0), 7360);
    const auto deadline = std::chrono::steady_clock::now() + TestPatience;
    while (read().total_energy() == 5000000000 && std::chrono::steady_clock::now() < deadline)
    {
    }

    station.steering.Post("/connector", R"({"State": 9})");
    const ipc::MMeterData finishing = read();
    EXPECT_EQ(finishing.session_marker(), "S-1");
    EXPECT_EQ(finishing.energy_at_session_start(), 5000000000);
    EXPECT_GT(finishing.total_energy(), 5000000000);
    EXPECT_EQ(finishing.power(0), 0);
    EXPECT_EQ(read().total_energy(), finishing.total_energy());

    station.steering.Post("/connector", R"({"State": 1})");
    EXPECT_EQ(read().session_marker(), "");
    EXPECT_EQ(read().energy_at_session_start(), 0);
}

TEST_F(SimulatedServices, LimitsBoundThePower)
{
    station.steering.Post("/connector", R"({"State": 11})");
    const auto control = station.Connect<ipc::CurrentControl>("CurrentControl");
    const auto meter = station.Connect<ipc::MeterService>("MeterService");
    ipc::MCurrentControlLimit limit;
    limit.set_source(ipc::ECurrentControlUserLimitCurrent);
    limit.set_limit(6000);
    ASSERT_TRUE(control->SetLimit(&context, limit, &result).ok());
    EXPECT_EQ(result.status(), ipc::EResultOk);

    SPatientContext second;
    ipc::MMeterData data;
    ASSERT_TRUE(meter->GetMeterData(&second, ipc::MVoid(), &data).ok());
    ASSERT_EQ(data.power_size(), 3);
    EXPECT_EQ(data.power(0), 1380);
    EXPECT_FALSE(data.session_marker().empty());

    SPatientContext third;
    limit.clear_limit();
    ASSERT_TRUE(control->ClearLimit(&third, limit, &result).ok());
    EXPECT_EQ(result.status(), ipc::EResultOk);
    SPatientContext fourth;
    ASSERT_TRUE(meter->GetMeterData(&fourth, ipc::MVoid(), &data).ok());
    EXPECT_EQ(data.power(0), 3680);
}

TEST_F(SimulatedServices, LimitWithoutAValueIsRefused)
{
    const auto control = station.Connect<ipc::CurrentControl>("CurrentControl");
    ipc::MCurrentControlLimit limit;
    limit.set_source(ipc::ECurrentControlUserLimitCurrent);
    ASSERT_TRUE(control->SetLimit(&context, limit, &result).ok());
    EXPECT_EQ(result.status(), ipc::EResultIllegal);
}

TEST_F(SimulatedServices, ConnectorStateIsReportedAndInTheInfo)
{
    const auto sessions = station.Connect<ipc::SessionManager>("SessionManager");
    CStreamCollector<ipc::MConnectorState> states(
        [&](auto* call) { return sessions->SubscribeConnectorState(call, ipc::MVoid()); });
    station.steering.Post("/connector", R"({"State": 11, "SessionId": "S-1"})");
    const auto reports = states.received.Await(1);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].state(), ipc::EConnectorStateCharging);

    ipc::MConnectorInfo info;
    ASSERT_TRUE(sessions->GetConnectorInfo(&context, ipc::MVoid(), &info).ok());
    EXPECT_EQ(info.connector_state(), ipc::EConnectorStateCharging);
    EXPECT_EQ(info.session().session_id(), "S-1");
    EXPECT_TRUE(info.session().authorized());
    EXPECT_FALSE(info.has_reservation());
}

TEST_F(SimulatedServices, EverySubscriberHearsEveryNotificationInOrder)
{
    const auto sessions = station.Connect<ipc::SessionManager>("SessionManager");
    const auto subscribe = [&](auto* call) { return sessions->SubscribeConnectorState(call, ipc::MVoid()); };
    CStreamCollector<ipc::MConnectorState> one(subscribe);
    CStreamCollector<ipc::MConnectorState> two(subscribe);
    for (const char* const body : {R"({"State": 4})", R"({"State": 11})", R"({"State": 9})"})
    {
        station.steering.Post("/connector", body);
    }
    for (auto* const stream : {&one, &two})
    {
        const auto reports = stream->received.Await(3);
        ASSERT_EQ(reports.size(), 3U);
        EXPECT_EQ(reports[0].state(), 4);
        EXPECT_EQ(reports[1].state(), 11);
        EXPECT_EQ(reports[2].state(), 9);
    }
}

TEST_F(SimulatedServices, SubscriptionIsOnRecordWhenItStands)
{
    const auto sessions = station.Connect<ipc::SessionManager>("SessionManager");
    CStreamCollector<ipc::MConnectorState> states(
        [&](auto* call) { return sessions->SubscribeConnectorState(call, ipc::MVoid()); });
    EXPECT_EQ(station.steering.AwaitCall("SessionManager", "SubscribeConnectorState")["Number"].asInt(), 1);
}

TEST_F(SimulatedServices, SubscriberThatLeftDisturbsNobody)
{
    const auto sessions = station.Connect<ipc::SessionManager>("SessionManager");
    const auto subscribe = [&](auto* call) { return sessions->SubscribeConnectorState(call, ipc::MVoid()); };
    auto leaving = std::make_unique<CStreamCollector<ipc::MConnectorState>>(subscribe);
    CStreamCollector<ipc::MConnectorState> staying(subscribe);
    leaving.reset();
    station.steering.Post("/connector", R"({"State": 11})");
    EXPECT_EQ(staying.received.Await(1).size(), 1U);
}
