#include <signal.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/e2e/stationtest.h"
#include "tests/support/busyport.h"
#include "tests/support/repeater.h"
#include "tests/support/websocketclient.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace
{

constexpr int UnauthorizedCode = 4401;

const std::string Session = "/session/status";
const std::string Network = "/network/status";
const std::string Rfid = "/rfid/tokenfound";
const std::string Diagnostics = "/system/diagnostics/statuschanged";
const std::string Firmware = "/system/fwupdate/status";

/// @param call  with a "Time" like 2024-05-01T12:00:00.250Z
double SecondsOfTheDay(const Json::Value& call)
{
    const std::string time = call["Time"].asString();
    return std::stod(time.substr(11, 2)) * 3600 + std::stod(time.substr(14, 2)) * 60 +
           std::stod(time.substr(17));
}

/// How long a load lasts; WEBBACKEND_LOAD_SECONDS makes it longer.
std::chrono::seconds LoadTime()
{
    const char* seconds = std::getenv("WEBBACKEND_LOAD_SECONDS");
    return std::chrono::seconds(seconds != nullptr ? std::stoi(seconds) : 1);
}

class Events : public StationTest
{
protected:
    long ResidentKilobytes() const
    {
        std::ifstream status("/proc/" + std::to_string(process->Id()) + "/status");
        std::string word;
        while (status >> word && word != "VmRSS:")
        {
        }
        long kilobytes = 0;
        status >> kilobytes;
        return kilobytes;
    }

    /// Up to "Enabled", with everything that the process subscribes to.
    void Start()
    {
        StartAll();
        AwaitListener(WebSocketPort);
        station.AwaitCall("SessionManager", "SubscribeConnectorState");
        station.AwaitCall("NetM", "SubscribeNetworkStatus");
        station.AwaitCall("Rfid", "SubscribeTokenFound");
        station.AwaitCall("Diagnostics", "SubscribeSignalChange");
        station.AwaitCall("BoardControl", "SubscribeFirmwareUpdateStatus");
    }

    void Commission() { root.SetDefault("settings", "InstallationComplete", false); }

    static std::unique_ptr<CWebSocketClient> Connect()
    {
        return std::make_unique<CWebSocketClient>(WebSocketPort, LoggedIn);
    }

    /// Everything that the client gets up to the answer to a request that is sent now.
    static std::vector<Json::Value> Received(CWebSocketClient& client)
    {
        client.Request("none", "/nowhere");
        std::vector<Json::Value> received;
        for (Json::Value next = client.ReceiveJson(); next["topic"] != "/nowhere";
             next = client.ReceiveJson())
        {
            received.push_back(next);
        }
        return received;
    }

    static std::string Answer(CWebSocketClient& client, const std::string& topic)
    {
        client.Request("subscribe", topic);
        return client.ReceiveJson()["data"]["message"].asString();
    }

    void SetConnector(int state) const
    {
        ASSERT_EQ(station.Post("/connector", R"({"State": )" + std::to_string(state) + "}").status, 200);
    }
};

} // namespace

TEST_F(Events, OfTheDashboardHaveFiveTopics)
{
    Start();
    const auto client = Connect();
    for (const std::string& topic : {Rfid, Firmware, Diagnostics})
    {
        EXPECT_EQ(Answer(*client, topic), "Subscribed to topic");
    }
    EXPECT_EQ(Answer(*client, Session), "Subscribed to topic");
    EXPECT_EQ(client->ReceiveJson()["topic"], Session);
    EXPECT_EQ(Answer(*client, Network), "Subscribed to topic");
}

TEST_F(Events, OfCommissioningHaveTwoTopicsAndNeedNoSession)
{
    Commission();
    Start();
    CWebSocketClient client(WebSocketPort);
    EXPECT_EQ(Answer(client, Rfid), "Subscribed to topic");
    for (const std::string& topic : {Diagnostics, Session, Firmware})
    {
        EXPECT_EQ(Answer(client, topic), "Invalid topic");
    }
    EXPECT_EQ(Answer(client, Network), "Subscribed to topic");
}

TEST_F(Events, AreRefusedWithoutASession)
{
    Start();
    CWebSocketClient client(WebSocketPort);
    EXPECT_EQ(client.AwaitClose(), UnauthorizedCode);
    CWebSocketClient other(WebSocketPort, {{"Cookie", "sessionid=0"}});
    EXPECT_EQ(other.AwaitClose(), UnauthorizedCode);
}

TEST_F(Events, EndWithTheSession)
{
    Start();
    const auto client = Connect();
    client->Subscribe(Rfid);
    ASSERT_EQ(HttpRequest(RestPort, "POST", "/auth/logout", LoggedIn).status, 204);
    const std::uint64_t before = station.LastCall();
    station.Post("/rfid", R"({"Token": "04A1"})");
    // the last listener is gone, and the report with it
    EXPECT_EQ(station.AwaitCall("Rfid", "SetTokenReport", before)["Request"]["Value"], false);
    EXPECT_THAT(Received(*client), testing::IsEmpty());
}

TEST_F(Events, OfAWholeChargeComeInOrderWithTheMetersReadings)
{
    Start();
    const auto browser = Connect();
    browser->Subscribe(Session);
    const Json::Value first = browser->ReceiveJson()["data"];
    EXPECT_TRUE(first["state"].isString());
    EXPECT_TRUE(first["meterData"]["totalEnergy"].isInt64());
    EXPECT_FALSE(first["meterData"].isMember("sessionEnergy"));

    station.Post("/meter", R"({"Power": [3680, 2300, 1150], "TotalEnergy": 1000})");
    const std::uint64_t before = station.LastCall();
    for (const auto& step :
         {std::make_pair(4, "preparingPluggedIn"), std::make_pair(5, "preparingAuthorized")})
    {
        SetConnector(step.first);
        EXPECT_EQ(browser->ReceiveJson()["data"]["state"], step.second);
    }
    SetConnector(11);
    EXPECT_EQ(browser->ReceiveJson()["data"]["state"], "charging");
    Json::Value reading;
    // one at once and one after two seconds, perhaps both from the reading before
    for (int count = 0; count < 3; ++count)
    {
        const Json::Value event = browser->ReceiveJson()["data"];
        EXPECT_EQ(event["state"], "charging");
        reading = event["meterData"];
    }
    EXPECT_EQ(reading["instantaneousPower"][0], 3680);
    EXPECT_EQ(reading["instantaneousPower"][1], 2300);
    EXPECT_EQ(reading["instantaneousPower"][2], 1150);
    EXPECT_GE(reading["totalEnergy"].asInt64(), 1000);
    EXPECT_EQ(reading["sessionEnergy"].asInt64(), reading["totalEnergy"].asInt64() - 1000);

    SetConnector(9);
    Json::Value last;
    do
    {
        last = browser->ReceiveJson()["data"];
    } while (last["state"] == "charging");
    EXPECT_EQ(last["state"], "finishing");
    EXPECT_GE(last["meterData"]["totalEnergy"].asInt64(), reading["totalEnergy"].asInt64());
    SetConnector(1);
    EXPECT_EQ(browser->ReceiveJson()["data"]["state"], "available");

    const Json::Value reads = station.Calls("MeterService", "GetMeterData", before);
    ASSERT_GE(reads.size(), 2U);
    const double day = 86400;
    const double span =
        std::fmod(SecondsOfTheDay(reads[reads.size() - 1]) - SecondsOfTheDay(reads[0]) + day, day);
    // a call may be on its way for a while
    EXPECT_LT(2.0 * (reads.size() - 1), span + 1.9);
}

TEST_F(Events, OfASessionHaveNoReadingsOnAStationWithoutAMeter)
{
    root.SetDefault("hwinfo", "HwHasMeter", false);
    Start();
    SetConnector(2);
    const auto client = Connect();
    client->Subscribe(Session);
    Json::Value state;
    do
    {
        const Json::Value event = client->ReceiveJson()["data"];
        EXPECT_THAT(event.getMemberNames(), ElementsAre("state"));
        state = event["state"];
        if (state != "unavailable")
        {
            // the state is on its way
            client->Request("unsubscribe", Session);
            client->Request("subscribe", Session);
            for (Json::Value next = client->ReceiveJson(); next["data"]["action"] != "subscribe";)
            {
                next = client->ReceiveJson();
            }
        }
    } while (state != "unavailable");
}

TEST_F(Events, OfASessionBeginWithTheNextStateWhileTheMeterIsOutOfReach)
{
    Start();
    station.Post("/service", R"({"Service": "MeterService", "State": "down"})");
    const auto client = Connect();
    client->Subscribe(Session);
    // the meter can't be read: subscribed, but without a first event
    EXPECT_THAT(Received(*client), testing::IsEmpty());
    SetConnector(4);
    EXPECT_EQ(client->ReceiveJson()["data"]["state"], "preparingPluggedIn");
}

TEST_F(Events, OfTheNetworkComeLiveAndToNewSubscribersPerInterface)
{
    Start();
    const auto client = Connect();
    client->Subscribe(Network);
    Received(*client);
    station.Post("/network",
                 R"({"Interface": 4, "Status": 4, "SignalStrength": -88, "LteInfo": {"Carrier": "C",
                     "Technology": "LTE", "Iccid": "1", "Imsi": "2", "Imei": "3"}})");
    Json::Value event;
    do
    {
        event = client->ReceiveJson()["data"];
    } while (event["signalStrength"] != -88);
    EXPECT_EQ(event["lteInfo"]["carrier"], "C");
    EXPECT_EQ(event["lteInfo"]["imei"], "3");

    const auto late = Connect();
    late->Subscribe(Network);
    std::set<std::string> interfaces;
    for (const Json::Value& known : Received(*late))
    {
        EXPECT_EQ(known["type"], "event");
        EXPECT_TRUE(interfaces.insert(known["data"]["interface"].asString()).second);
        if (known["data"]["interface"] == event["interface"])
        {
            EXPECT_EQ(known["data"], event);
        }
    }
    EXPECT_EQ(interfaces.count(event["interface"].asString()), 1U);
}

TEST_F(Events, OfTheReaderComeWhileSomebodyListens)
{
    Start();
    EXPECT_EQ(station.Post("/rfid", R"({"Token": "04A1"})").body["Reported"], false);
    const auto one = Connect();
    one->Subscribe(Rfid);
    EXPECT_EQ(station.AwaitCall("Rfid", "SetTokenReport")["Request"]["Value"], true);
    const auto other = Connect();
    other->Subscribe(Rfid);
    EXPECT_THAT(Received(*other), testing::IsEmpty());
    EXPECT_EQ(station.Post("/rfid", R"({"Token": "04A1B2"})").body["Reported"], true);
    for (const auto& client : {one.get(), other.get()})
    {
        Json::Value token;
        token["tokenId"] = "04A1B2";
        EXPECT_EQ(client->ReceiveJson(), WebSocketEvent(Rfid, token));
    }
    std::uint64_t before = station.LastCall();
    one->Request("unsubscribe", Rfid);
    EXPECT_EQ(one->ReceiveJson()["data"]["message"], "Unsubscribed from topic");
    EXPECT_TRUE(station.Calls("Rfid", "SetTokenReport", before).empty());
    other->Close();
    EXPECT_EQ(station.AwaitCall("Rfid", "SetTokenReport", before)["Request"]["Value"], false);
}

TEST_F(Events, OfTheDiagnosticsTellErrorsAndWarningsLiveAndToNewSubscribers)
{
    Start();
    const auto client = Connect();
    client->Subscribe(Diagnostics);
    Received(*client);
    station.Post("/signal", R"({"Identifier": 1001, "Value": true})");
    station.Post("/signal", R"({"Identifier": 10000, "Value": true, "Type": 1})");
    station.Post("/signal", R"({"Identifier": 1002, "Value": [true, true], "Type": 0})");
    station.Post("/signal", R"({"Identifier": 1001, "Value": false})");
    const auto event = [](int signal, bool value, const char* type)
    {
        Json::Value data;
        data["signal"] = signal;
        data["value"] = value;
        data["type"] = type;
        return WebSocketEvent(Diagnostics, data);
    };
    EXPECT_EQ(client->ReceiveJson(), event(1001, true, "error"));
    EXPECT_EQ(client->ReceiveJson(), event(10000, true, "warning"));
    EXPECT_EQ(client->ReceiveJson(), event(1001, false, "error"));

    const auto late = Connect();
    late->Subscribe(Diagnostics);
    EXPECT_THAT(Received(*late), ElementsAre(event(10000, true, "warning")));
}

TEST_F(Events, OfTheFirmwareTellTheLastStatus)
{
    Start();
    const auto client = Connect();
    client->Subscribe(Firmware);
    EXPECT_THAT(Received(*client), testing::IsEmpty());
    station.Post("/firmware", R"({"Status": 2})");
    const Json::Value failed = client->ReceiveJson();
    EXPECT_THAT(failed["data"].getMemberNames(), ElementsAre("status"));
    station.Post("/firmware", R"({"Status": 0})");
    const Json::Value done = client->ReceiveJson();
    EXPECT_THAT(done["data"].getMemberNames(), ElementsAre("fwIdentNew", "fwIdentOld", "status"));

    const auto late = Connect();
    late->Subscribe(Firmware);
    EXPECT_THAT(Received(*late), ElementsAre(done));
}

TEST_F(Events, GoOnForThoseWhoStayWhileTheProcessIsDisabled)
{
    StartStationWithManualController();
    StartProcess();
    station.AwaitProcessState(ReportUninitialized);
    ASSERT_EQ(Control("disable"), 0);
    station.AwaitProcessState(ReportDisabled);
    ASSERT_EQ(Control("enable"), 0);
    AwaitListener(WebSocketPort);
    station.AwaitCall("BoardControl", "SubscribeFirmwareUpdateStatus");
    const auto client = Connect();
    client->Subscribe(Firmware);
    ASSERT_EQ(Control("disable"), 0);
    station.AwaitProcessState(ReportDisabled);
    EXPECT_FALSE(CRawHttp::CanConnect(WebSocketPort));
    station.Post("/firmware", R"({"Status": 2})");
    EXPECT_EQ(client->ReceiveJson()["topic"], Firmware);
}

TEST_F(Events, OfTheTimeBeforeTheStartAreShownToTheFirstSubscriber)
{
    StartStationWithManualController();
    StartProcess();
    station.AwaitProcessState(ReportUninitialized);
    station.AwaitCall("BoardControl", "SubscribeFirmwareUpdateStatus");
    station.Post("/firmware", R"({"Status": 2})");
    ASSERT_EQ(Control("disable"), 0);
    station.AwaitProcessState(ReportDisabled);
    ASSERT_EQ(Control("enable"), 0);
    AwaitListener(WebSocketPort);
    const auto client = Connect();
    client->Subscribe(Firmware);
    // as the first event, or as one that was on its way
    EXPECT_EQ(client->ReceiveJson()["topic"], Firmware);
}

TEST_F(Events, HoldTheEndUpUntilTheLastListenerLeaves)
{
    StartStation();
    StartProcess({"-vv"});
    station.AwaitProcessState(ReportEnabled);
    AwaitListener(WebSocketPort);
    auto client = Connect();
    client->Subscribe(Rfid);
    process->Signal(SIGINT);
    ASSERT_TRUE(process->AwaitErrorLine("CWebSocketServer::~CWebSocketServer"));
    client->Request("unsubscribe", Rfid);
    EXPECT_EQ(client->ReceiveJson()["data"]["message"], "Unsubscribed from topic");
    client.reset();
    EXPECT_EQ(process->AwaitEnd().status, 0) << process->Errors();
}

TEST_F(Events, OnTheirWayDuringTheEndDoNoHarm)
{
    Start();
    auto client = Connect();
    for (const std::string& topic : {Rfid, Diagnostics, Firmware, Network, Session})
    {
        client->Request("subscribe", topic);
    }
    const CRepeater notifier(
        [this]
        {
            station.Post("/rfid", R"({"Token": "04A1"})");
            station.Post("/signal", R"({"Identifier": 1001, "Value": true, "Type": 0})");
            station.Post("/firmware", R"({"Status": 2})");
            station.Post("/network", R"({"Interface": 1})");
            station.Post("/connector", R"({"State": 11})");
        });
    client->Receive();
    process->Signal(SIGINT);
    while (CRawHttp::CanConnect(WebSocketPort))
    {
        client->Request("unsubscribe", Rfid);
        client->Request("subscribe", Rfid);
    }
    client.reset();
    const SProcessEnd end = process->AwaitEnd();
    EXPECT_EQ(end.status, 0) << process->Errors();
    EXPECT_EQ(end.signal, 0) << process->Errors();
}

TEST_F(Events, OfABusyPortEndTheProcess)
{
    const CBusyPort busy(WebSocketPort);
    StartStation();
    StartProcess();
    EXPECT_EQ(process->AwaitEnd().signal, SIGABRT);
    EXPECT_THAT(process->Errors(), HasSubstr("websocketpp::exception"));
}

TEST_F(Events, ReachAllOthersWhileAClientDoesNotRead)
{
    Start();
    CRawHttp sleeper(WebSocketPort);
    sleeper.Send("GET / HTTP/1.1\r\nHost: x\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
                 "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
                 "Cookie: sessionid=" +
                 SessionKey + "\r\n\r\n");
    EXPECT_THAT(sleeper.ReceiveSome(), HasSubstr("101"));
    const std::string request = R"({"action":"subscribe","topic":"/rfid/tokenfound"})";
    sleeper.Send(std::string("\x81") + static_cast<char>(0x80U | request.size()) + std::string(4, '\0') +
                 request);
    station.AwaitCall("Rfid", "SetTokenReport");
    std::vector<std::unique_ptr<CWebSocketClient>> clients;
    for (int number = 0; number < 10; ++number)
    {
        clients.push_back(Connect());
        clients.back()->Subscribe(Rfid);
    }
    const std::string token(1000, 'A');
    Json::Value data;
    data["tokenId"] = token;
    const long before = ResidentKilobytes();
    const auto end = std::chrono::steady_clock::now() + LoadTime();
    int events = 0;
    do
    {
        station.Post("/rfid", R"({"Token": ")" + token + "\"}");
        ++events;
        for (const auto& client : clients)
        {
            ASSERT_EQ(client->ReceiveJson(), WebSocketEvent(Rfid, data));
        }
    } while (std::chrono::steady_clock::now() < end);
    const long growth = ResidentKilobytes() - before;
    std::cout << events << " events of " << token.size() << " bytes, " << growth << " KiB of growth"
              << std::endl;
    // What may wait for one client, with room for the allocator. Sanitizers keep what was freed for a while.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LT(growth, 8 * 1024);
#endif
}
