#include "platform/json/jsonutil.h"
#include "simulator/steering/httpserver.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <future>
#include <iomanip>
#include <limits>
#include <sstream>

#include <gtest/gtest.h>

#include "tests/integration/simulator/runningsimulator.h"
#include "tests/integration/simulator/streamcollector.h"
#include "tests/support/rawhttp.h"

using Simulator::CHttpServer;
using Simulator::SHttpAnswer;
using Simulator::SHttpRequest;
using namespace std::chrono_literals;

namespace
{

class SteeringRequests : public testing::Test
{
protected:
    Json::Value Post(const std::string& path, const std::string& body)
    {
        const SSteeringAnswer answer = station.steering.Post(path, body);
        EXPECT_EQ(answer.status, 200) << JsonUtil::WriteUnstyled(answer.body);
        return answer.body;
    }

    CRunningSimulator station;
};

/// Local addresses of the listening sockets at a port, as the kernel writes them: "0100007F" is 127.0.0.1.
std::vector<std::string> ListeningAddresses(std::uint16_t port)
{
    std::ostringstream suffix;
    suffix << ':' << std::uppercase << std::hex << std::setw(4) << std::setfill('0') << port;
    std::vector<std::string> addresses;
    for (const char* const file : {"/proc/self/net/tcp", "/proc/self/net/tcp6"})
    {
        std::ifstream table(file);
        for (std::string line; std::getline(table, line);)
        {
            std::istringstream columns(line);
            std::string row;
            std::string local;
            std::string remote;
            std::string state;
            columns >> row >> local >> remote >> state;
            const std::size_t colon = local.find(':');
            if (state == "0A" && colon != std::string::npos && local.substr(colon) == suffix.str())
            {
                addresses.push_back(local.substr(0, colon));
            }
        }
    }
    return addresses;
}

} // namespace

TEST(SteeringHttpServer, ListensOnTheLoopbackOnly)
{
    const CHttpServer server(0, [](const SHttpRequest&) { return SHttpAnswer{}; });
    EXPECT_EQ(ListeningAddresses(server.Port()), std::vector<std::string>{"0100007F"});
}

TEST(SteeringHttpServer, HandsRequestsOverAndSendsAnswers)
{
    const CHttpServer server(0,
                             [](const SHttpRequest& request)
                             {
                                 EXPECT_EQ(request.method, "POST");
                                 EXPECT_EQ(request.path, "/path");
                                 EXPECT_EQ(request.query.at("a"), "1 2");
                                 EXPECT_EQ(request.query.at("b"), "");
                                 return SHttpAnswer{418, request.body + "!"};
                             });
    const SHttpResponse response = HttpRequest(server.Port(), "POST", "/path?a=1%202&b", {}, "body");
    EXPECT_EQ(response.status, 418);
    EXPECT_EQ(response.body, "body!");
    EXPECT_EQ(response.Header("Content-Type"), "application/json");
}

TEST(SteeringHttpServer, BodyOverOneMebibyteIsRefused)
{
    const CHttpServer server(0,
                             [](const SHttpRequest& request) {
                                 return SHttpAnswer{200, std::to_string(request.body.size())};
                             });
    EXPECT_EQ(HttpRequest(server.Port(), "POST", "/", {}, std::string(1024 * 1024, 'x')).body, "1048576");
    EXPECT_EQ(HttpRequest(server.Port(), "POST", "/", {}, std::string(1024 * 1024 + 1, 'x')).status, 413);
}

TEST(SteeringHttpServer, PortThatIsInUseIsAnError)
{
    const CHttpServer first(0, [](const SHttpRequest&) { return SHttpAnswer{}; });
    EXPECT_THROW(CHttpServer second(first.Port(), [](const SHttpRequest&) { return SHttpAnswer{}; }),
                 std::runtime_error);
}

TEST_F(SteeringRequests, ConnectorTakesAllItsParts)
{
    const Json::Value connector = Post("/connector",
                                       R"({"State": "EConnectorStateReserved",
                                           "Reservation": {"ReservationId": 7, "ExpiryDate": "later",
                                                           "IdToken": "T"}})");
    EXPECT_EQ(JsonUtil::WriteUnstyled(connector),
              R"({"Reservation":{"ExpiryDate":"later","IdToken":"T","ReservationId":7},"State":3})");
    EXPECT_EQ(
        Post("/connector", R"({"State": 4, "SessionId": "S", "Authorized": true})")["Session"]["Authorized"],
        true);
    EXPECT_EQ(station.steering.Get("/station").body["Connector"]["Session"]["SessionId"], "S");
}

TEST_F(SteeringRequests, MeterTakesPowerAndEnergy)
{
    Post("/connector", R"({"State": 11})");
    const Json::Value meter = Post("/meter", R"({"Power": [1000, 2000], "TotalEnergy": 123456789012})");
    EXPECT_EQ(JsonUtil::WriteUnstyled(meter["Power"]), "[1000,2000]");
    EXPECT_EQ(meter["TotalEnergy"].asInt64(), 123456789012);
}

TEST_F(SteeringRequests, TimeIsSteered)
{
    EXPECT_EQ(JsonUtil::WriteUnstyled(station.steering.Get("/time").body),
              R"({"Factor":1,"Synchronised":false})");
    Post("/connector", R"({"State": 11})");
    EXPECT_EQ(Post("/time", R"({"Factor": 0})")["Factor"], 0);
    const std::int64_t before =
        Post("/meter", R"({"Power": [1000, 2000], "TotalEnergy": 5})")["TotalEnergy"].asInt64();
    EXPECT_EQ(before, 5);

    EXPECT_EQ(JsonUtil::WriteUnstyled(Post("/time", R"({"Skip": 7200})")),
              R"({"Factor":0,"Synchronised":false})");

    EXPECT_EQ(station.steering.Get("/station").body["Meter"]["TotalEnergy"], 6005);
    EXPECT_EQ(Post("/time", R"({"Synchronised": true})")["Synchronised"], true);
    EXPECT_TRUE(std::filesystem::exists(station.root.Path() / "run/synchronised"));
    EXPECT_EQ(Post("/time", R"({"Synchronised": false, "Factor": 1440})")["Factor"], 1440);
    EXPECT_EQ(JsonUtil::WriteUnstyled(station.steering.Get("/time").body),
              R"({"Factor":1440,"Synchronised":false})");
}

TEST_F(SteeringRequests, LimitIsSetAndRemoved)
{
    EXPECT_EQ(
        Post("/limit", R"({"Source": "ECurrentControlBop", "Limit": 6000})")["ECurrentControlBop"].asInt(),
        6000);
    EXPECT_FALSE(Post("/limit", R"({"Source": 4, "Limit": null})").isMember("ECurrentControlBop"));
}

TEST_F(SteeringRequests, NetworkChangesTheGivenPartsOfAStatus)
{
    Post("/network",
         R"({"Interface": "EIfNameLte", "Status": "ENetStatusConnected", "SignalStrength": -88,
             "NetProperties": {"Ipv4Addr": "10.0.0.9", "Ipv4Netmask": "255.0.0.0", "Gateway": "10.0.0.1"},
             "NetDns": {"PreferredDnsServer": "1.1.1.1", "AlternativeDnsServer": "9.9.9.9"},
             "LteInfo": {"Carrier": "C", "Technology": "T", "Iccid": "1", "Imsi": "2", "Imei": "3"}})");
    const Json::Value interfaces =
        Post("/network", R"({"Interface": 4, "Status": 2, "SignalStrength": null})");
    EXPECT_EQ(
        JsonUtil::WriteUnstyled(interfaces[3]),
        R"({"Interface":4,"LteInfo":{"Carrier":"C","Iccid":"1","Imei":"3","Imsi":"2","Technology":"T"},)"
        R"("NetDns":{"AlternativeDnsServer":"9.9.9.9","PreferredDnsServer":"1.1.1.1"},)"
        R"("NetProperties":{"Gateway":"10.0.0.1","Ipv4Addr":"10.0.0.9","Ipv4Netmask":"255.0.0.0"},)"
        R"("Status":2})");
    const Json::Value bare =
        Post("/network", R"({"Interface": 4, "NetProperties": null, "NetDns": null, "LteInfo": null})");
    EXPECT_EQ(JsonUtil::WriteUnstyled(bare[3]), R"({"Interface":4,"Status":2})");
}

TEST_F(SteeringRequests, NetworkNotifiesEachChange)
{
    const auto netM = station.Connect<ipc::NetM>("NetM");
    CStreamCollector<ipc::MNetStatus> statuses([&](auto* call)
                                               { return netM->SubscribeNetworkStatus(call, ipc::MVoid()); });
    Post("/network", R"({"Interface": "EIfNamePlc", "Status": "ENetStatusError", "SignalStrength": -88})");
    Post("/network", R"({"Interface": "EIfNamePlc", "SignalStrength": null})");
    Post("/network", R"({"Interface": 6})");
    const auto reports = statuses.received.Await(3);
    ASSERT_EQ(reports.size(), 3U);
    EXPECT_EQ(reports[0].interface(), ipc::EIfNamePlc);
    EXPECT_EQ(reports[0].status(), ipc::ENetStatusError);
    EXPECT_EQ(reports[0].signal_strength(), -88);
    EXPECT_EQ(reports[1].status(), ipc::ENetStatusError);
    EXPECT_FALSE(reports[1].has_signal_strength());
    EXPECT_FALSE(reports[1].has_lte_info());
    EXPECT_EQ(static_cast<int>(reports[2].interface()), 6);
}

TEST_F(SteeringRequests, SignalAnnouncesEachChange)
{
    const auto diagnostics = station.Connect<ipc::Diagnostics>("Diagnostics");
    CStreamCollector<ipc::MSignalChange> changes(
        [&](auto* call) { return diagnostics->SubscribeSignalChange(call, ipc::MVoid()); });
    Post("/signal", R"({"Identifier": 1001, "Value": true})");
    Post("/signal", R"({"Identifier": 1001, "Value": false})");
    Post("/signal", R"({"Identifier": 1001, "Value": [true, true]})");
    Post("/signal", R"({"Identifier": 10000, "Value": true, "Type": 3})");
    const auto announced = changes.received.Await(4);
    ASSERT_EQ(announced.size(), 4U);
    EXPECT_EQ(announced[0].type().type(), 0);
    EXPECT_EQ(announced[0].signal().identifier(), 1001);
    EXPECT_TRUE(announced[0].signal().data(0).bool_value());
    EXPECT_EQ(announced[1].type().type(), 1);
    EXPECT_TRUE(announced[1].signal().data(0).has_bool_value());
    EXPECT_FALSE(announced[1].signal().data(0).bool_value());
    EXPECT_EQ(announced[2].type().type(), 2);
    EXPECT_EQ(announced[2].signal().data_size(), 2);
    EXPECT_EQ(announced[3].type().type(), 3);
}

TEST_F(SteeringRequests, FirmwareStatusIsNotifiedWithoutAnUpdate)
{
    const auto board = station.Connect<ipc::BoardControl>("BoardControl");
    CStreamCollector<ipc::MFwUpdateStatus> updates(
        [&](auto* call) { return board->SubscribeFirmwareUpdateStatus(call, ipc::MVoid()); });
    Post("/firmware", R"({"NewIdentifier": "9.9"})");
    Post("/firmware", R"({"Status": "EFwUpdateStatusNoSpace"})");
    Post("/firmware", R"({"Status": 0})");
    const auto reports = updates.received.Await(2);
    ASSERT_EQ(reports.size(), 2U);
    EXPECT_EQ(reports[0].status(), ipc::EFwUpdateStatusNoSpace);
    EXPECT_EQ(reports[1].status(), ipc::EFwUpdateStatusSuccess);
    EXPECT_EQ(reports[1].old_firmware_identifier(), "1.0.0-simulated");
    EXPECT_EQ(reports[1].new_firmware_identifier(), "9.9");
}

TEST_F(SteeringRequests, SignalTakesEveryKindOfValue)
{
    const auto set = [this](const char* body) { return JsonUtil::WriteUnstyled(Post("/signal", body)); };
    EXPECT_EQ(set(R"({"Identifier": 1000, "Value": true})"), R"({"Identifier":1000,"Value":[true]})");
    EXPECT_EQ(set(R"({"Identifier": 52, "Value": [1, 2, 3]})"), R"({"Identifier":52,"Value":[1,2,3]})");
    EXPECT_EQ(set(R"({"Identifier": 140, "Value": [1, 2.5], "Kind": "float"})"),
              R"({"Identifier":140,"Value":[1.0,2.5]})");
    EXPECT_EQ(set(R"({"Identifier": 162, "Value": 4000000000, "Kind": "uint"})"),
              R"({"Identifier":162,"Value":[4000000000]})");
    EXPECT_EQ(set(R"({"Identifier": 50, "Value": -5000000000})"),
              R"({"Identifier":50,"Value":[-5000000000]})");
    EXPECT_EQ(set(R"({"Identifier": 142, "Value": "text"})"), R"({"Identifier":142,"Value":["text"]})");
    EXPECT_EQ(set(R"({"Identifier": 142, "Value": []})"), R"({"Identifier":142,"Value":[]})");
    EXPECT_EQ(set(R"({"Identifier": 142, "Value": null})"),
              R"({"Identifier":142,"Value":["ECurrentControlHardwareLimit"]})");
}

TEST_F(SteeringRequests, SignalsAreReadOneByOneAndTogether)
{
    Post("/signal", R"({"Identifier": 1001, "Value": true})");
    EXPECT_EQ(JsonUtil::WriteUnstyled(station.steering.Get("/signal?identifier=1001").body),
              R"({"Identifier":1001,"Value":[true]})");
    EXPECT_EQ(JsonUtil::WriteUnstyled(station.steering.Get("/signal?identifier=140").body),
              R"({"Identifier":140,"Value":[-1000.0,-1000.0,-1000.0]})");
    EXPECT_EQ(JsonUtil::WriteUnstyled(station.steering.Get("/signal?identifier=2").body),
              R"({"Identifier":2,"Value":[]})");
    EXPECT_EQ(station.steering.Get("/signal").body.size(), 205U);
    EXPECT_EQ(station.steering.Get("/signal?identifier=x").status, 400);
}

TEST_F(SteeringRequests, SignalTakesFloatsThatAreNoNumbers)
{
    EXPECT_EQ(
        JsonUtil::WriteUnstyled(Post(
            "/signal", R"({"Identifier": 140, "Value": ["NaN", "Infinity", "-Infinity"], "Kind": "float"})")),
        R"({"Identifier":140,"Value":["NaN","Infinity","-Infinity"]})");
    SPatientContext context;
    ipc::MSignalIdentifier identifier;
    identifier.set_identifier(static_cast<ipc::ESignalIdentifier>(140));
    ipc::MDiagnosticsSignal signal;
    ASSERT_TRUE(
        station.Connect<ipc::Diagnostics>("Diagnostics")->GetSignal(&context, identifier, &signal).ok());
    ASSERT_EQ(signal.data_size(), 3);
    EXPECT_TRUE(std::isnan(signal.data(0).float_value()));
    EXPECT_EQ(signal.data(1).float_value(), std::numeric_limits<float>::infinity());
    EXPECT_EQ(signal.data(2).float_value(), -std::numeric_limits<float>::infinity());
}

TEST_F(SteeringRequests, TextOfASignalThatLooksLikeAFloatIsAText)
{
    Post("/signal", R"({"Identifier": 142, "Value": "NaN"})");
    SPatientContext context;
    ipc::MSignalIdentifier identifier;
    identifier.set_identifier(static_cast<ipc::ESignalIdentifier>(142));
    ipc::MDiagnosticsSignal signal;
    ASSERT_TRUE(
        station.Connect<ipc::Diagnostics>("Diagnostics")->GetSignal(&context, identifier, &signal).ok());
    EXPECT_EQ(signal.data(0).string_value(), "NaN");
}

TEST_F(SteeringRequests, FreezeFrameIsAnnouncedWithAnyName)
{
    const auto diagnostics = station.Connect<ipc::Diagnostics>("Diagnostics");
    CStreamCollector<ipc::MText> finished(
        [&](auto* call) { return diagnostics->SubscribeFreezeFrameDone(call, ipc::MVoid()); });
    EXPECT_EQ(JsonUtil::WriteUnstyled(Post("/freezeframe", R"({"Name": ""})")), R"({"Name":""})");
    Post("/freezeframe", R"({"Name": "/log/never"})");
    const auto names = finished.received.Await(2);
    ASSERT_EQ(names.size(), 2U);
    EXPECT_EQ(names[0].value(), "");
    EXPECT_EQ(names[1].value(), "/log/never");
}

TEST_F(SteeringRequests, KindOfASignalReachesTheWire)
{
    Post("/signal", R"({"Identifier": 140, "Value": 1, "Kind": "float"})");
    Post("/signal", R"({"Identifier": 52, "Value": 1})");
    SPatientContext context;
    ipc::MDiagnosticsSnapshot snapshot;
    ASSERT_TRUE(station.Connect<ipc::Diagnostics>("Diagnostics")
                    ->GetSnapshot(&context, ipc::MVoid(), &snapshot)
                    .ok());
    for (const ipc::MDiagnosticsSignal& signal : snapshot.signal())
    {
        if (signal.identifier() == 140)
        {
            EXPECT_EQ(signal.data(0).value_case(), ipc::MDiagnosticsData::kFloatValue);
        }
        if (signal.identifier() == 52)
        {
            EXPECT_EQ(signal.data(0).value_case(), ipc::MDiagnosticsData::kIntValue);
        }
    }
}

TEST_F(SteeringRequests, FirmwarePlanIsKept)
{
    const Json::Value firmware =
        Post("/firmware", R"({"Result": "EFwUpdateStatusNoSpace", "ProgrammingMs": 10})");
    EXPECT_EQ(firmware["Plan"]["Result"], 7);
    EXPECT_EQ(firmware["Plan"]["ProgrammingMs"].asInt(), 10);
    EXPECT_EQ(Post("/firmware", R"({"NewIdentifier": "3"})")["Plan"]["Result"], 7);
}

TEST_F(SteeringRequests, WrongBodiesAreRefusedWithAReason)
{
    const std::vector<std::pair<const char*, const char*>> wrong{
        {"/connector", ""},
        {"/connector", "{"},
        {"/connector", R"({"State": "Charging"})"},
        {"/connector", R"({"State": 1.5})"},
        {"/connector", R"({"State": 3, "Reservation": {"ReservationId": -1}})"},
        {"/meter", R"({"Power": 5})"},
        {"/meter", R"({"Power": ["5"]})"},
        {"/meter", R"({"Power": [1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17]})"},
        {"/time", R"({"Factor": -1})"},
        {"/time", R"({"Factor": 86401})"},
        {"/time", R"({"Factor": 1.5})"},
        {"/time", R"({"Skip": -1})"},
        {"/time", R"({"Synchronised": 1})"},
        {"/time", R"({"Speed": 1})"},
        {"/limit", R"({"Source": 15, "Limit": 6000})"},
        {"/limit", R"({"Source": 4})"},
        {"/limit", R"({"Source": 4, "Limit": -1})"},
        {"/rfid", R"({"Token": 5})"},
        {"/network", R"({"Status": 4})"},
        {"/network", R"({"Interface": 4, "LteInfo": {"Imei": 5}})"},
        {"/network", R"({"Interface": 4, "Statsu": 4})"},
        {"/wlan", R"({"Networks": [{"Security": "Open"}]})"},
        {"/wlan", R"({"Networks": [5]})"},
        {"/signal", R"({"Identifier": 1000})"},
        {"/signal", R"({"Identifier": 1000, "Value": {}})"},
        {"/signal", R"({"Identifier": 1000, "Value": 1, "Kind": "bool"})"},
        {"/signal", R"({"Identifier": 1000, "Value": 1, "Kind": "double"})"},
        {"/signal", R"({"Identifier": 1000, "Value": "text", "Kind": "float"})"},
        {"/freezeframe", R"({})"},
        {"/freezeframe", R"({"Name": 5})"},
        {"/firmware", R"({"Result": "Success"})"},
        {"/firmware", R"({"Status": 1, "Result": 1})"},
    };
    for (const auto& [path, body] : wrong)
    {
        const SSteeringAnswer answer = station.steering.Post(path, body);
        EXPECT_EQ(answer.status, 400) << path << " " << body;
        EXPECT_FALSE(answer.body["Error"].asString().empty()) << path << " " << body;
    }
}

TEST_F(SteeringRequests, CallsAreFilteredAndCleared)
{
    SPatientContext one;
    ipc::MConnectorInfo info;
    station.Connect<ipc::SessionManager>("SessionManager")->GetConnectorInfo(&one, ipc::MVoid(), &info);
    SPatientContext two;
    ipc::MMeterData data;
    station.Connect<ipc::MeterService>("MeterService")->GetMeterData(&two, ipc::MVoid(), &data);

    EXPECT_EQ(station.steering.Get("/calls").body["Calls"].size(), 2U);
    EXPECT_EQ(station.steering.Get("/calls?after=1").body["Calls"][0]["Operation"], "GetMeterData");
    EXPECT_EQ(station.steering.Get("/calls?service=SessionManager").body["Calls"].size(), 1U);
    EXPECT_EQ(station.steering.Delete("/calls").body["Last"].asInt(), 2);
    EXPECT_EQ(station.steering.Get("/calls").body["Calls"].size(), 0U);
    EXPECT_EQ(station.steering.Get("/calls").body["Last"].asInt(), 2);
}

TEST_F(SteeringRequests, CallsCanBeWaitedFor)
{
    auto waiting = std::async(std::launch::async,
                              [this] { return station.steering.AwaitCall("MeterService", "GetMeterData"); });
    EXPECT_EQ(waiting.wait_for(50ms), std::future_status::timeout);
    SPatientContext context;
    ipc::MMeterData data;
    station.Connect<ipc::MeterService>("MeterService")->GetMeterData(&context, ipc::MVoid(), &data);
    EXPECT_EQ(waiting.get()["Number"].asInt(), 1);
}

TEST_F(SteeringRequests, WrongQueriesAreRefused)
{
    for (const char* const target :
         {"/calls?after=x", "/calls?wait=61", "/calls?wait=-1", "/controller?state=x"})
    {
        EXPECT_EQ(station.steering.Get(target).status, 400) << target;
    }
}
