#include <json/value.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/e2e/stationtest.h"
#include "tests/support/jsontext.h"

using testing::AnyOf;
using testing::HasSubstr;

namespace
{

constexpr const char* BadRequest = "\"Bad Request\"\n";
constexpr const char* ServerError = "\"Internal Server Error\"\n";
constexpr const char* NotAvailable = "{\n\t\"Available\" : false\n}\n";

SHttpResponse ScanWlan()
{
    return HttpRequest(RestPort, "GET", "/network/scanwlan", LoggedIn);
}

SHttpResponse Post(const std::string& path, const std::string& body)
{
    return HttpRequest(RestPort, "POST", path, LoggedInWithJson, body);
}

/// @param ssid, password  as they stand between quotation marks
SHttpResponse ConnectWlan(const std::string& ssid, const std::string& password)
{
    return Post("/network/connectwlan", R"({"Ssid": ")" + ssid + R"(", "Password": ")" + password + "\"}");
}

SHttpResponse Verify(const std::string& address, const std::string& port)
{
    return Post("/network/verifymodbustcpconn", R"({"Address": ")" + address + R"(", "Port": )" + port + "}");
}

class Network : public StationTest
{
protected:
    void Fault(const std::string& what) const
    {
        ASSERT_EQ(station.Post("/fault", R"({"Service": "NetM", )" + what + "}").status, 200);
    }

    std::size_t Validations() const { return station.Calls("NetM", "ValidateConfig").size(); }

    /// What is stored of the WLAN: enabled, SSID, password.
    void ExpectStored(bool isEnabled, const std::string& ssid, const std::string& password) const
    {
        EXPECT_EQ(root.Stored("network")["NetMWlanEnable"], isEnabled);
        EXPECT_EQ(root.Stored("network")["NetMSsid"], ssid);
        EXPECT_EQ(root.Stored("secrets")["WlanStaPassword"], password);
    }
};

} // namespace

// ---------------------------------------------------------------------------------------------- WLAN scan

TEST_F(Network, ScanGivesTheNeighbourhoodInItsOrder)
{
    StartAll();
    ASSERT_EQ(station
                  .Post("/wlan",
                        R"({"Networks": [{"Ssid": "Lab", "Security": "WPA2", "SignalStrength": -40, )"
                        R"("Channel": 6, "Password": "p"}, {"Ssid": "Caf\u00e9"}]})")
                  .status,
              200);

    const SHttpResponse response = ScanWlan();

    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.Header("Content-Type"), "application/json");
    EXPECT_EQ(response.body,
              "{\n"
              "\t\"Networks\" : \n"
              "\t[\n"
              "\t\t{\n"
              "\t\t\t\"Channel\" : 6,\n"
              "\t\t\t\"Security\" : \"WPA2\",\n"
              "\t\t\t\"SignalStrength\" : -40,\n"
              "\t\t\t\"Ssid\" : \"Lab\"\n"
              "\t\t},\n"
              "\t\t{\n"
              "\t\t\t\"Channel\" : 1,\n"
              "\t\t\t\"Security\" : \"Open\",\n"
              "\t\t\t\"SignalStrength\" : -60,\n"
              "\t\t\t\"Ssid\" : \"Caf\\u00e9\"\n"
              "\t\t}\n"
              "\t]\n"
              "}\n");
    station.Post("/wlan", R"({"Networks": []})");
    EXPECT_EQ(ScanWlan().body, "{\n\t\"Networks\" : []\n}\n");
    ExpectCleanEnd();
}

TEST_F(Network, ScanThatFailsIsA500AndTheNextOneWorks)
{
    StartAll();
    Fault(R"("Operation": "ScanWlan", "Answer": null, "Times": 1)");
    Fault(R"("Operation": "ScanWlan", "Fail": true, "Times": 1)");

    EXPECT_EQ(ScanWlan().body, ServerError);
    EXPECT_TRUE(process->AwaitErrorLine(") Scan on WLAN interface failed because of internal NetM error."));
    const SHttpResponse failed = ScanWlan();
    EXPECT_EQ(failed.status, 500);
    EXPECT_THAT(failed.body, HasSubstr("NetM.ScanWlan: "));
    EXPECT_EQ(ScanWlan().status, 200);
    ExpectCleanEnd();
}

TEST_F(Network, SlowScanIsWaitedForWhileOthersAreServed)
{
    StartAll();
    Fault(R"("Operation": "ScanWlan", "DelayMs": 2000)");
    CRawHttp scanning(RestPort);
    scanning.Send(HttpRequestText("GET", "/network/scanwlan", LoggedIn));
    station.AwaitCall("NetM", "ScanWlan");
    const auto start = std::chrono::steady_clock::now();

    EXPECT_EQ(HttpRequest(RestPort, "GET", "/system/health").status, 204);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_EQ(scanning.Receive().status, 200);
    ExpectCleanEnd();
}

// --------------------------------------------------------------------------------------------- WLAN choice

TEST_F(Network, NewNetworkIsJoined)
{
    StartAll();

    const SHttpResponse response = ConnectWlan("Workshop", "workshop-password");

    EXPECT_EQ(response.statusLine, "HTTP/1.1 204 No Content");
    EXPECT_EQ(response.body, "");
    ExpectStored(true, "Workshop", "workshop-password");
    EXPECT_EQ(Validations(), 1U);
    ExpectCleanEnd();
}

TEST_F(Network, OpenNetworkIsJoinedWithoutAPassword)
{
    StartAll();
    EXPECT_EQ(ConnectWlan("Guests", "").status, 204);
    EXPECT_EQ(root.Stored("network")["NetMSsid"], "Guests");
    ExpectCleanEnd();
}

TEST_F(Network, WrongPasswordLeavesTheInterfaceOffAndTheRightOneJoinsThen)
{
    StartAll();

    const SHttpResponse response = ConnectWlan("Home", "wrong");

    EXPECT_EQ(response.status, 500);
    EXPECT_EQ(response.body, ServerError);
    ExpectStored(false, "Home", "wrong");
    EXPECT_EQ(Validations(), 2U);
    EXPECT_TRUE(process->AwaitErrorLine(") NetM validation failure after connection attempt to external "
                                        "WLAN. Returning an error response."));
    EXPECT_EQ(ConnectWlan("Home", "home-password").status, 204);
    ExpectStored(true, "Home", "home-password");
    EXPECT_EQ(Validations(), 3U);
    ExpectCleanEnd();
}

TEST_F(Network, SameNetworkAgainRestartsTheInterface)
{
    StartAll();
    ASSERT_EQ(ConnectWlan("Home", "home-password").status, 204);
    const std::size_t before = Validations();
    Fault(R"("Operation": "ValidateConfig", "Answer": false, "Times": 1)");

    EXPECT_EQ(ConnectWlan("Home", "home-password").status, 204);

    EXPECT_EQ(Validations(), before + 2);
    ExpectStored(true, "Home", "home-password");
    EXPECT_TRUE(process->AwaitErrorLine(") NetM was not able to bring the WLAN interface down. We will try "
                                        "bringing it up again anyway."));
    EXPECT_TRUE(process->AwaitErrorLine(
        ") The WLAN interface was successfully restarted. Returning a success response."));
    ExpectCleanEnd();
}

TEST_F(Network, ManagerThatIsAwayIsA500ThatNamesItAndTheChangeStays)
{
    StartAll();
    station.Post("/service", R"({"Service": "NetM", "State": "down"})");

    const SHttpResponse response = ConnectWlan("Home", "home-password");

    EXPECT_EQ(response.status, 500);
    EXPECT_THAT(response.body, HasSubstr("NetM.ValidateConfig: "));
    ExpectStored(true, "Home", "home-password");
    ExpectCleanEnd();
}

TEST_F(Network, OddNamesAndPasswordsLeaveReadableFiles)
{
    StartAll();
    Fault(R"("Operation": "ValidateConfig", "Answer": true)");
    const std::string large(64 << 10, 'x');
    for (const std::string& text :
         {std::string(), large, std::string("a\\u0000b"), std::string("\xff\xfe"), std::string("\\ud800")})
    {
        // a text that JSON can't hold may be refused
        const SHttpResponse response = ConnectWlan(text, text + "!");
        EXPECT_THAT(response.status, AnyOf(204, 400)) << text.substr(0, 20);
        EXPECT_TRUE(root.Stored("network").isObject());
        EXPECT_TRUE(root.Stored("secrets").isObject());
    }
    EXPECT_EQ(ConnectWlan(large, large).status, 204);
    ExpectStored(true, large, large);
    EXPECT_EQ(ConnectWlan("a\\u0000b", "c").status, 204);
    ExpectStored(true, std::string("a\0b", 3), "c");
    ExpectCleanEnd();

    StartProcess();
    station.AwaitProcessState(ReportEnabled);
    EXPECT_EQ(Parse(HttpRequest(RestPort, "GET", "/config/network", LoggedIn).body)["NetMSsid"],
              std::string("a\0b", 3));
    ExpectCleanEnd();
}

TEST_F(Network, WrongFieldsAreA400AndTouchNothing)
{
    StartAll();
    for (const std::string body : {"{}",
                                   R"({"Ssid": "Home"})",
                                   R"({"Ssid": "Home", "Password": 1})",
                                   R"({"Ssid": null, "Password": ""})"})
    {
        const SHttpResponse response = Post("/network/connectwlan", body);
        EXPECT_EQ(response.status, 400) << body;
        EXPECT_EQ(response.body, BadRequest) << body;
    }
    EXPECT_EQ(Validations(), 0U);
    EXPECT_EQ(root.Stored("network"), Json::objectValue);
    ExpectCleanEnd();
}

// -------------------------------------------------------------------------------------------- Modbus peers

TEST_F(Network, PortThatIsNoneIsA400AndAnyOtherIsTried)
{
    StartAll();
    for (const std::string port : {"-1", "1.5", "\"502\"", "null", "4294967296", "true"})
    {
        const SHttpResponse response = Verify("127.0.0.1", port);
        EXPECT_EQ(response.status, 400) << port;
        EXPECT_EQ(response.body, BadRequest) << port;
    }
    for (const std::string port : {"0", "65535", "70000", "4294967295"})
    {
        const SHttpResponse response = Verify("127.0.0.1", port);
        EXPECT_EQ(response.status, 200) << port;
        EXPECT_EQ(response.body, NotAvailable) << port;
    }
    // the process itself takes connections
    EXPECT_EQ(Verify("127.0.0.1", "8080").body, "{\n\t\"Available\" : true\n}\n");
    EXPECT_EQ(Verify("127.0.0.1", std::to_string(65536 + 8080)).body, "{\n\t\"Available\" : true\n}\n");
    ExpectCleanEnd();
}

TEST_F(Network, AddressThatIsNoneIsNotAvailable)
{
    StartAll();
    for (const std::string& address : {std::string(),
                                       std::string("127.0.0.1\\u0000x"),
                                       std::string("\\u0000"),
                                       std::string(64 << 10, '1'),
                                       std::string("\xff\xfe\xfd"),
                                       std::string("127.0.0.1 ")})
    {
        const SHttpResponse response = Verify(address, "8080");
        EXPECT_EQ(response.status, 200) << address.substr(0, 20);
        EXPECT_EQ(response.body, NotAvailable) << address.substr(0, 20);
    }
    EXPECT_EQ(Post("/network/verifymodbustcpconn", R"({"Port": 502})").body, BadRequest);
    EXPECT_EQ(Post("/network/verifymodbustcpconn", R"({"Address": 1, "Port": 502})").body, BadRequest);
    ExpectCleanEnd();
}

TEST_F(Network, PeersAreTestedAgainAfterADisableThatEndedARequest)
{
    StartStationWithManualController();
    StartProcess();
    station.AwaitProcessState(ReportUninitialized);
    ASSERT_EQ(Control("disable"), 0);
    station.AwaitProcessState(ReportDisabled);
    ASSERT_EQ(Control("enable"), 0);
    station.AwaitProcessState(ReportEnabled);
    Fault(R"("Operation": "ScanWlan", "Hang": true)");
    CRawHttp browser(RestPort);
    browser.Send(HttpRequestText("GET", "/network/scanwlan", LoggedIn));
    station.AwaitCall("NetM", "ScanWlan");

    // waits for the scan up to its grace, and then ends everything that is waited for
    ASSERT_EQ(Control("disable"), 0);
    station.AwaitProcessState(ReportDisabled);

    StartRestServerAgain();
    EXPECT_EQ(Verify("127.0.0.1", std::to_string(SteeringPort)).body, "{\n\t\"Available\" : true\n}\n");
    ExpectCleanEnd();
}
