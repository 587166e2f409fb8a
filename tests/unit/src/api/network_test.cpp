#include "src/api/jsonresponse.h"
#include "src/api/network.h"

#include "platform/config/tarnconfig.h"
#include "platform/rpc/communicationexception.h"
#include "platform/toolbox/interruption.h"

#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fakerequest.h"
#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"
#include "tests/support/configfiles.h"
#include "tests/support/requestfailure.h"

namespace
{

using Log::ELogLevel;
using Resources::CNetworkApi;
using testing::ElementsAre;
using testing::InSequence;
using testing::IsEmpty;
using testing::Return;
using testing::StartsWith;
using testing::StrictMock;
using testing::Throw;
using Line = CCapturedLog::SLine;

const Line SameNetwork{ELogLevel::Info,
                       "WLAN SSID and password in the request are the same as configured on the system. We "
                       "will try bringing the WLAN interface down and up again."};
const Line DownFailed{ELogLevel::Error,
                      "NetM was not able to bring the WLAN interface down. We will try bringing it up again "
                      "anyway."};
const Line AlreadyDown{ELogLevel::Info, "WLAN interface is already down."};
const Line UpFailed{ELogLevel::Error,
                    "NetM was not able to bring the WLAN interface up. Returning an error response."};
const Line Restarted{ELogLevel::Info,
                     "The WLAN interface was successfully restarted. Returning a success response."};
const Line JoinFailed{ELogLevel::Warn,
                      "NetM validation failure after connection attempt to external WLAN. Returning an error "
                      "response."};
const Line OffFailed{ELogLevel::Error,
                     "Bringing down the WLAN interface failed. We will leave the config file as is."};
const Line ScanFailed{ELogLevel::Warn, "Scan on WLAN interface failed because of internal NetM error."};

class CMockModbusTcpClient : public IModbusTcpClient
{
public:
    MOCK_METHOD(bool, Init, (), (override));
    MOCK_METHOD(int, Connect, (), (override));
};

ipc::MWlanNetwork Network(const std::string& ssid,
                          std::int32_t signalStrength,
                          std::uint32_t channel,
                          const std::string& security)
{
    ipc::MWlanNetwork network;
    network.set_ssid(ssid);
    network.set_signal_strength(signalStrength);
    network.set_channel(channel);
    network.set_security(security);
    return network;
}

class NetworkApi : public testing::Test
{
protected:
    /// What the handler under test has to do with the rest of the world, in its order.
    MOCK_METHOD(std::vector<Toolbox::SMdnsDevice>,
                Query,
                (const std::string& serviceName, std::chrono::seconds timeout));
    MOCK_METHOD(std::unique_ptr<IModbusTcpClient>,
                MakeClient,
                (const std::string& address, unsigned short port));

    void Open(const std::string& networkJson, const std::string& secretsJson = "{}")
    {
        files.Write("network", networkJson);
        files.Write("secrets", secretsJson);
        networkConfig = files.Open("network");
        secretsConfig = files.Open("secrets");
        api = std::make_unique<CNetworkApi>(
            netM,
            networkConfig,
            secretsConfig,
            [this](const std::string& serviceName, std::chrono::seconds timeout, auto* interruption)
            {
                isInterrupted = interruption->IsInterrupted();
                return Query(serviceName, timeout);
            },
            [this](const std::string& address, unsigned short port, auto* interruption)
            {
                isInterrupted = interruption->IsInterrupted();
                return MakeClient(address, port);
            });
    }

    void SetUp() override { Open("{}"); }

    /// The network manager reads the file when it is called: that must be this.
    auto FileIs(const std::string& json, bool answer)
    {
        return [this, json, answer]
        {
            EXPECT_EQ(files.Stored("network"), json);
            return answer;
        };
    }

    static Json::Value Answer(const CNetworkApi::Response& response, int status = 200)
    {
        EXPECT_EQ(response->get_response_code(), status);
        return dynamic_cast<const JsonResponse&>(*response).GetValue();
    }

    void Connect(const std::string& ssid, const std::string& password)
    {
        Json::Value body;
        body["Ssid"] = ssid;
        body["Password"] = password;
        const CNetworkApi::Response response = api->ConnectWlan(CFakeRequest(body.toStyledString()));
        EXPECT_EQ(std::string(response->get_header("Content-Type")), "text/plain");
        EXPECT_TRUE(Answer(response, 204).isNull());
    }

    std::string ConnectRefusal(const std::string& body) const
    {
        return FailureOf([&] { api->ConnectWlan(CFakeRequest(body)); });
    }

    std::string VerifyRefusal(const std::string& body) const
    {
        return FailureOf([&] { api->VerifyModbusTcpConn(CFakeRequest(body)); });
    }

    void ExpectClient(const std::string& address, unsigned short port, bool init, std::optional<int> status)
    {
        auto client = std::make_unique<StrictMock<CMockModbusTcpClient>>();
        {
            InSequence inOrder;
            EXPECT_CALL(*client, Init()).WillOnce(Return(init));
            if (status)
            {
                EXPECT_CALL(*client, Connect()).WillOnce(Return(*status));
            }
        }
        EXPECT_CALL(*this, MakeClient(address, port))
            .WillOnce([given = std::make_shared<std::unique_ptr<IModbusTcpClient>>(std::move(client))](
                          const auto&, auto) { return std::move(*given); });
    }

    bool Verify(const std::string& body) const
    {
        const Json::Value answer = Answer(api->VerifyModbusTcpConn(CFakeRequest(body)));
        EXPECT_EQ(answer.size(), 1U);
        EXPECT_TRUE(answer["Available"].isBool());
        return answer["Available"].asBool();
    }

    const CConfigFiles files;
    std::shared_ptr<TarnConfig> networkConfig;
    std::shared_ptr<TarnConfig> secretsConfig;
    const std::shared_ptr<StrictMock<CMockNetM>> netM = std::make_shared<StrictMock<CMockNetM>>();
    std::unique_ptr<CNetworkApi> api;
    bool isInterrupted = false;
};

constexpr const char* BadRequest = "400 Bad Request";
constexpr const char* ServerError = "500 Internal Server Error";

constexpr const char* Off = R"({"NetMSsid":"Home","NetMWlanEnable":false})";
constexpr const char* On = R"({"NetMSsid":"Home","NetMWlanEnable":true})";
constexpr const char* Secrets = R"({"WlanStaPassword":"secret"})";

} // namespace

TEST_F(NetworkApi, MakingItIsLogged)
{
    const CCapturedLog log;
    SetUp();
    EXPECT_TRUE(log.Has(ELogLevel::Trace, "Resources::CNetworkApi::CNetworkApi"));
}

// ---------------------------------------------------------------------------------------------- WLAN scan

TEST_F(NetworkApi, ScanGivesTheNetworksInTheirOrder)
{
    ipc::MScanWlan scan;
    *scan.add_network() = Network("Workshop", -71, 13, "WPA2");
    *scan.add_network() = Network("", std::numeric_limits<std::int32_t>::min(), 4294967295, "");
    *scan.add_network() = Network("Home", -40, 1, "Open");
    EXPECT_CALL(*netM, ScanWlan()).WillOnce(Return(scan));
    const CCapturedLog log;

    const CNetworkApi::Response response = api->ScanWlan();

    EXPECT_EQ(Answer(response).toStyledString(),
              "{\n"
              "\t\"Networks\" : \n"
              "\t[\n"
              "\t\t{\n"
              "\t\t\t\"Channel\" : 13,\n"
              "\t\t\t\"Security\" : \"WPA2\",\n"
              "\t\t\t\"SignalStrength\" : -71,\n"
              "\t\t\t\"Ssid\" : \"Workshop\"\n"
              "\t\t},\n"
              "\t\t{\n"
              "\t\t\t\"Channel\" : 4294967295,\n"
              "\t\t\t\"Security\" : \"\",\n"
              "\t\t\t\"SignalStrength\" : -2147483648,\n"
              "\t\t\t\"Ssid\" : \"\"\n"
              "\t\t},\n"
              "\t\t{\n"
              "\t\t\t\"Channel\" : 1,\n"
              "\t\t\t\"Security\" : \"Open\",\n"
              "\t\t\t\"SignalStrength\" : -40,\n"
              "\t\t\t\"Ssid\" : \"Home\"\n"
              "\t\t}\n"
              "\t]\n"
              "}\n");
    EXPECT_EQ(std::string(response->get_header("Content-Type")), "application/json");
    EXPECT_THAT(log.Messages(), ElementsAre(Line{ELogLevel::Trace, "Resources::CNetworkApi::ScanWlan"}));
}

TEST_F(NetworkApi, ScanWithoutNetworksIsASuccess)
{
    EXPECT_CALL(*netM, ScanWlan()).WillOnce(Return(ipc::MScanWlan()));
    EXPECT_EQ(Answer(api->ScanWlan()).toStyledString(), "{\n\t\"Networks\" : []\n}\n");
}

TEST_F(NetworkApi, ScanThatFailsInTheManagerIsA500AndAWarning)
{
    EXPECT_CALL(*netM, ScanWlan()).WillOnce(Return(std::nullopt));
    const CCapturedLog log(ELogLevel::Debug);
    EXPECT_EQ(FailureOf([&] { api->ScanWlan(); }), ServerError);
    EXPECT_THAT(log.Messages(), ElementsAre(ScanFailed));
}

TEST_F(NetworkApi, ManagerOutOfReachReachesTheCaller)
{
    EXPECT_CALL(*netM, ScanWlan()).WillOnce(Throw(Rpc::CommunicationException("gone")));
    EXPECT_CALL(*netM, ValidateConfig()).WillOnce(Throw(Rpc::CommunicationException("gone")));
    const CCapturedLog log(ELogLevel::Debug);
    EXPECT_THROW(api->ScanWlan(), Rpc::CommunicationException);
    EXPECT_THROW(Connect("New", "secret"), Rpc::CommunicationException);
    EXPECT_THAT(log.Messages(), IsEmpty());
}

// -------------------------------------------------------------------------- WLAN, the configured network

TEST_F(NetworkApi, ConfiguredNetworkThatIsDownIsBroughtUpWithOneValidation)
{
    Open(Off, Secrets);
    EXPECT_CALL(*netM, ValidateConfig()).WillOnce(FileIs(On, true));
    const CCapturedLog log(ELogLevel::Debug);
    Connect("Home", "secret");
    EXPECT_THAT(log.Messages(), ElementsAre(SameNetwork, AlreadyDown, Restarted));
    EXPECT_EQ(files.Stored("network"), On);
    EXPECT_EQ(files.Stored("secrets"), Secrets);
}

TEST_F(NetworkApi, ConfiguredNetworkIsTakenDownAndBroughtUp)
{
    Open(On, Secrets);
    InSequence inOrder;
    EXPECT_CALL(*netM, ValidateConfig()).WillOnce(FileIs(Off, true));
    EXPECT_CALL(*netM, ValidateConfig()).WillOnce(FileIs(On, true));
    const CCapturedLog log(ELogLevel::Debug);
    Connect("Home", "secret");
    EXPECT_THAT(log.Messages(), ElementsAre(SameNetwork, Restarted));
    EXPECT_EQ(files.Stored("network"), On);
}

TEST_F(NetworkApi, ConfiguredNetworkIsBroughtUpAlthoughTakingItDownFails)
{
    Open(On, Secrets);
    InSequence inOrder;
    EXPECT_CALL(*netM, ValidateConfig()).WillOnce(FileIs(Off, false));
    EXPECT_CALL(*netM, ValidateConfig()).WillOnce(FileIs(On, true));
    const CCapturedLog log(ELogLevel::Debug);
    Connect("Home", "secret");
    EXPECT_THAT(log.Messages(), ElementsAre(SameNetwork, DownFailed, Restarted));
}

TEST_F(NetworkApi, ConfiguredNetworkThatCanNotBeBroughtUpIsA500AndStaysOn)
{
    Open(On, Secrets);
    InSequence inOrder;
    EXPECT_CALL(*netM, ValidateConfig()).WillOnce(FileIs(Off, true));
    EXPECT_CALL(*netM, ValidateConfig()).WillOnce(FileIs(On, false));
    const CCapturedLog log(ELogLevel::Debug);
    EXPECT_EQ(ConnectRefusal(R"({"Ssid":"Home","Password":"secret"})"), ServerError);
    EXPECT_THAT(log.Messages(), ElementsAre(SameNetwork, UpFailed));
    EXPECT_EQ(files.Stored("network"), On);
    EXPECT_EQ(files.Stored("secrets"), Secrets);
}

TEST_F(NetworkApi, ConfiguredNetworkThatFailsBothWaysIsToldOfTwice)
{
    Open(On, Secrets);
    EXPECT_CALL(*netM, ValidateConfig()).Times(2).WillRepeatedly(Return(false));
    const CCapturedLog log(ELogLevel::Debug);
    EXPECT_EQ(ConnectRefusal(R"({"Ssid":"Home","Password":"secret"})"), ServerError);
    EXPECT_THAT(log.Messages(), ElementsAre(SameNetwork, DownFailed, UpFailed));
}

TEST_F(NetworkApi, ConfiguredNetworkWhoseManagerGoesAwayInBetweenStaysOff)
{
    Open(On, Secrets);
    EXPECT_CALL(*netM, ValidateConfig()).WillOnce(Throw(Rpc::CommunicationException("gone")));
    EXPECT_THROW(Connect("Home", "secret"), Rpc::CommunicationException);
    EXPECT_EQ(files.Stored("network"), Off);
}

TEST_F(NetworkApi, WithoutAnyConfigurationEmptyTextsAreTheConfiguredNetwork)
{
    EXPECT_CALL(*netM, ValidateConfig()).WillOnce(FileIs(R"({"NetMWlanEnable":true})", true));
    const CCapturedLog log(ELogLevel::Debug);
    Connect("", "");
    EXPECT_THAT(log.Messages(), ElementsAre(SameNetwork, AlreadyDown, Restarted));
    EXPECT_EQ(files.Stored("secrets"), "{}");
}

// --------------------------------------------------------------------------------- WLAN, another network

TEST_F(NetworkApi, NewNetworkIsWrittenBeforeOneValidationAndNotLogged)
{
    Open(Off, Secrets);
    EXPECT_CALL(*netM, ValidateConfig())
        .WillOnce(
            [this]
            {
                EXPECT_EQ(files.Stored("network"), R"({"NetMSsid":"Workshop","NetMWlanEnable":true})");
                EXPECT_EQ(files.Stored("secrets"), R"({"WlanStaPassword":"pass"})");
                return true;
            });
    const CCapturedLog log(ELogLevel::Trace);
    Connect("Workshop", "pass");
    EXPECT_THAT(log.Messages(ELogLevel::Trace), ElementsAre("Resources::CNetworkApi::ConnectWlan"));
    for (const Line& line : log.Messages())
    {
        EXPECT_THAT(line.text, testing::Not(testing::HasSubstr("pass")));
        EXPECT_LE(line.level, ELogLevel::Debug) << line.text;
    }
}

TEST_F(NetworkApi, NewNetworkWritesItsSettingsInOrder)
{
    files.Write("network", Off);
    files.Write("secrets", Secrets);
    std::vector<std::string> changes;
    const auto note = [&changes](const std::string& key, const Json::Value& value)
    { changes.push_back(key + "=" + value.asString()); };
    CNetworkApi noting(netM, files.Open("network", note), files.Open("secrets", note), {}, {});
    EXPECT_CALL(*netM, ValidateConfig())
        .WillRepeatedly(
            [&changes]
            {
                changes.emplace_back("validate");
                return false;
            });
    EXPECT_THROW(noting.ConnectWlan(CFakeRequest(R"({"Ssid":"Workshop","Password":"pass"})")), HttpException);
    EXPECT_THAT(changes,
                ElementsAre("NetMWlanEnable=true",
                            "NetMSsid=Workshop",
                            "WlanStaPassword=pass",
                            "validate",
                            "NetMWlanEnable=false",
                            "validate"));
}

TEST_F(NetworkApi, PresentSsidWithANewPasswordIsANewNetwork)
{
    Open(On, Secrets);
    EXPECT_CALL(*netM, ValidateConfig()).WillOnce(FileIs(On, true));
    const CCapturedLog log(ELogLevel::Info);
    Connect("Home", "other");
    EXPECT_EQ(files.Stored("secrets"), R"({"WlanStaPassword":"other"})");
    EXPECT_THAT(log.Messages(), IsEmpty());
}

TEST_F(NetworkApi, PresentPasswordWithANewSsidIsANewNetwork)
{
    Open(On, Secrets);
    EXPECT_CALL(*netM, ValidateConfig())
        .WillOnce(FileIs(R"({"NetMSsid":"home","NetMWlanEnable":true})", true));
    Connect("home", "secret");
}

TEST_F(NetworkApi, EmptyPasswordIsAValue)
{
    Open(On, Secrets);
    EXPECT_CALL(*netM, ValidateConfig()).WillOnce(Return(true));
    Connect("Guests", "");
    EXPECT_EQ(files.Stored("network"), R"({"NetMSsid":"Guests","NetMWlanEnable":true})");
    EXPECT_EQ(files.Stored("secrets"), R"({"WlanStaPassword":""})");
}

TEST_F(NetworkApi, RefusedNewNetworkIsA500LeavesItConfiguredAndTheInterfaceOff)
{
    Open(On, Secrets);
    InSequence inOrder;
    EXPECT_CALL(*netM, ValidateConfig())
        .WillOnce(FileIs(R"({"NetMSsid":"Workshop","NetMWlanEnable":true})", false));
    EXPECT_CALL(*netM, ValidateConfig())
        .WillOnce(FileIs(R"({"NetMSsid":"Workshop","NetMWlanEnable":false})", true));
    const CCapturedLog log(ELogLevel::Info);
    EXPECT_EQ(ConnectRefusal(R"({"Ssid":"Workshop","Password":"pass"})"), ServerError);
    EXPECT_THAT(log.Messages(), ElementsAre(JoinFailed));
    EXPECT_EQ(files.Stored("network"), R"({"NetMSsid":"Workshop","NetMWlanEnable":false})");
    EXPECT_EQ(files.Stored("secrets"), R"({"WlanStaPassword":"pass"})");
}

TEST_F(NetworkApi, RefusedNewNetworkThatCanNotBeSwitchedOffIsToldOf)
{
    Open(On, Secrets);
    EXPECT_CALL(*netM, ValidateConfig()).Times(2).WillRepeatedly(Return(false));
    const CCapturedLog log(ELogLevel::Info);
    EXPECT_EQ(ConnectRefusal(R"({"Ssid":"Workshop","Password":"pass"})"), ServerError);
    EXPECT_THAT(log.Messages(), ElementsAre(JoinFailed, OffFailed));
    EXPECT_EQ(files.Stored("network"), R"({"NetMSsid":"Workshop","NetMWlanEnable":false})");
}

TEST_F(NetworkApi, SecondAttemptAtARefusedNetworkRestartsTheInterface)
{
    Open(On, Secrets);
    EXPECT_CALL(*netM, ValidateConfig()).WillOnce(Return(false)).WillOnce(Return(true));
    EXPECT_EQ(ConnectRefusal(R"({"Ssid":"Workshop","Password":"pass"})"), ServerError);

    EXPECT_CALL(*netM, ValidateConfig()).WillOnce(Return(true));
    const CCapturedLog log(ELogLevel::Info);
    Connect("Workshop", "pass");
    EXPECT_THAT(log.Messages(), ElementsAre(SameNetwork, AlreadyDown, Restarted));
}

TEST_F(NetworkApi, ConnectWithoutItsFieldsIsA400AndTouchesNothing)
{
    Open(On, Secrets);
    const CCapturedLog log(ELogLevel::Debug);
    for (const std::string body : {R"({})",
                                   R"(null)",
                                   R"({"Ssid":"Workshop"})",
                                   R"({"Password":"pass"})",
                                   R"({"Ssid":5,"Password":"pass"})",
                                   R"({"Ssid":"Workshop","Password":null})",
                                   R"({"Ssid":["Workshop"],"Password":"pass"})",
                                   R"({"ssid":"Workshop","password":"pass"})"})
    {
        EXPECT_EQ(ConnectRefusal(body), BadRequest) << body;
    }
    EXPECT_THAT(ConnectRefusal(""), StartsWith("400 \"Could not parse body: "));
    EXPECT_THROW(api->ConnectWlan(CFakeRequest("[]")), std::exception);
    EXPECT_EQ(files.Stored("network"), On);
    EXPECT_EQ(files.Stored("secrets"), Secrets);
    EXPECT_THAT(log.Messages(), IsEmpty());
}

TEST_F(NetworkApi, OddTextsAreConfiguredAsTheyAreAndTheFilesStayReadable)
{
    for (const std::string& text :
         {std::string(64 << 10, 'x'), std::string("a\0b", 3), std::string("\"\\\n\t"), std::string("Zoë ☕")})
    {
        EXPECT_CALL(*netM, ValidateConfig()).WillOnce(Return(true));
        Connect(text, text + "!");
        EXPECT_EQ(files.Open("network")->GetString("NetMSsid", ""), text);
        EXPECT_EQ(files.Open("secrets")->GetString("WlanStaPassword", ""), text + "!");
    }
}

TEST_F(NetworkApi, TextsThatAreNotUtf8LeaveTheFilesReadable)
{
    EXPECT_CALL(*netM, ValidateConfig()).WillRepeatedly(Return(true));
    for (const std::string text : {"\xff", "caf\xe9", "\xc3", "\xed\xa0\x80", "\xf4\x90\x80\x80"})
    {
        api->ConnectWlan(CFakeRequest(R"({"Ssid":")" + text + R"(","Password":")" + text + "!\"}"));
        EXPECT_NO_THROW(files.Open("network")) << text;
        EXPECT_NO_THROW(files.Open("secrets")) << text;
    }
}

// ---------------------------------------------------------------------------------------------- P1 meters

TEST_F(NetworkApi, P1MetersAreGivenInTheirOrderAndOtherProductsAreDropped)
{
    EXPECT_CALL(*this, Query("_hwenergy._tcp.local.", std::chrono::seconds(5)))
        .WillOnce(Return(std::vector<Toolbox::SMdnsDevice>{{"p1meter-22.local", "192.168.1.9"},
                                                           {"energysocket-1.local", "192.168.1.2"},
                                                           {"P1METER-3.local", "192.168.1.3"},
                                                           {"my-p1meter.local", "fe80::1%eth0"},
                                                           {"p1-meter.local", "192.168.1.4"},
                                                           {"p1meter-11.local", "192.168.1.1"}}));
    const CCapturedLog log;

    const CNetworkApi::Response response = api->ScanHomeWizard();

    EXPECT_EQ(Answer(response).toStyledString(),
              "{\n"
              "\t\"Devices\" : \n"
              "\t[\n"
              "\t\t{\n"
              "\t\t\t\"Hostname\" : \"p1meter-22.local\",\n"
              "\t\t\t\"IpAddress\" : \"192.168.1.9\"\n"
              "\t\t},\n"
              "\t\t{\n"
              "\t\t\t\"Hostname\" : \"my-p1meter.local\",\n"
              "\t\t\t\"IpAddress\" : \"fe80::1%eth0\"\n"
              "\t\t},\n"
              "\t\t{\n"
              "\t\t\t\"Hostname\" : \"p1meter-11.local\",\n"
              "\t\t\t\"IpAddress\" : \"192.168.1.1\"\n"
              "\t\t}\n"
              "\t]\n"
              "}\n");
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{ELogLevel::Trace, "Resources::CNetworkApi::ScanHomeWizard"}));
}

TEST_F(NetworkApi, NoP1MeterIsASuccess)
{
    EXPECT_CALL(*this, Query)
        .WillOnce(Return(std::vector<Toolbox::SMdnsDevice>()))
        .WillOnce(Return(std::vector<Toolbox::SMdnsDevice>{{"energysocket-1.local", "192.168.1.2"}}));
    EXPECT_EQ(Answer(api->ScanHomeWizard()).toStyledString(), "{\n\t\"Devices\" : []\n}\n");
    EXPECT_EQ(Answer(api->ScanHomeWizard()).toStyledString(), "{\n\t\"Devices\" : []\n}\n");
}

// -------------------------------------------------------------------------------------------- Modbus peers

TEST_F(NetworkApi, PeerThatTakesTheConnectionIsAvailable)
{
    ExpectClient("192.168.1.5", 502, true, 0);
    const CCapturedLog log;
    EXPECT_TRUE(Verify(R"({"Address":"192.168.1.5","Port":502})"));
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{ELogLevel::Trace, "Resources::CNetworkApi::VerifyModbusTcpConn"}));
}

TEST_F(NetworkApi, PeerThatDoesNotIsASuccessWithFalse)
{
    ExpectClient("192.168.1.5", 502, true, -1);
    EXPECT_FALSE(Verify(R"({"Address":"192.168.1.5","Port":502})"));
    ExpectClient("192.168.1.5", 502, true, 1);
    EXPECT_FALSE(Verify(R"({"Address":"192.168.1.5","Port":502})"));
}

TEST_F(NetworkApi, ClientThatCanNotBeInitialisedIsNotConnected)
{
    ExpectClient("192.168.1.5", 502, false, std::nullopt);
    EXPECT_FALSE(Verify(R"({"Address":"192.168.1.5","Port":502})"));
}

TEST_F(NetworkApi, PortsAreCutDownTo16Bits)
{
    for (const auto& [json, port] : {std::pair<std::string, unsigned short>{"0", 0},
                                     {"65535", 65535},
                                     {"65536", 0},
                                     {"70000", 4464},
                                     {"4294967295", 65535},
                                     {"502.0", 502}})
    {
        ExpectClient("peer", port, true, 0);
        EXPECT_TRUE(Verify(R"({"Address":"peer","Port":)" + json + "}"));
    }
}

TEST_F(NetworkApi, AddressesGoToTheClientAsTheyAre)
{
    for (const std::string& address :
         {std::string(), std::string("127.0.0.1\0x", 11), std::string(64 << 10, 'a'), std::string("a b")})
    {
        Json::Value body;
        body["Address"] = address;
        body["Port"] = 502;
        ExpectClient(address, 502, false, std::nullopt);
        EXPECT_FALSE(Verify(body.toStyledString()));
    }
}

TEST_F(NetworkApi, TestWithoutItsFieldsIsA400AndMakesNoClient)
{
    const CCapturedLog log(ELogLevel::Debug);
    for (const std::string body : {R"({})",
                                   R"({"Address":"peer"})",
                                   R"({"Port":502})",
                                   R"({"Address":5,"Port":502})",
                                   R"({"Address":null,"Port":502})",
                                   R"({"Address":"peer","Port":-1})",
                                   R"({"Address":"peer","Port":1.5})",
                                   R"({"Address":"peer","Port":"502"})",
                                   R"({"Address":"peer","Port":true})",
                                   R"({"Address":"peer","Port":4294967296})"})
    {
        EXPECT_EQ(VerifyRefusal(body), BadRequest) << body;
    }
    EXPECT_THAT(VerifyRefusal("{"), StartsWith("400 \"Could not parse body: "));
    EXPECT_THAT(log.Messages(), IsEmpty());
}

// ------------------------------------------------------------------------------------------- Interruption

TEST_F(NetworkApi, SearchesGetTheInterruptionUntilTheyAreResumed)
{
    EXPECT_CALL(*this, Query).WillRepeatedly(Return(std::vector<Toolbox::SMdnsDevice>()));
    api->InterruptSearches();
    api->ScanHomeWizard();
    EXPECT_TRUE(isInterrupted);
    isInterrupted = false;
    ExpectClient("peer", 502, true, -1);
    EXPECT_FALSE(Verify(R"({"Address":"peer","Port":502})"));
    EXPECT_TRUE(isInterrupted);

    api->ResumeSearches();
    api->ScanHomeWizard();
    EXPECT_FALSE(isInterrupted);
}
