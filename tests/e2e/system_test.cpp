#include <json/value.h>

#include <atomic>
#include <thread>

#include <gmock/gmock.h>

#include "tests/e2e/stationtest.h"
#include "tests/support/jsontext.h"

using testing::HasSubstr;

namespace
{

SHttpResponse Reboot(const std::string& body, const HttpHeaders& headers = LoggedInWithJson)
{
    return HttpRequest(RestPort, "POST", "/system/reboot", headers, body);
}

class System : public StationTest
{
};

/// Browsers that ask for reboots over one connection each, until the object goes.
class CRebootingBrowsers
{
public:
    explicit CRebootingBrowsers(int count)
    {
        for (int browser = 0; browser < count; ++browser)
        {
            threads.emplace_back([this] { RebootUntilOver(); });
        }
    }

    ~CRebootingBrowsers()
    {
        over = true;
        for (std::thread& thread : threads)
        {
            thread.join();
        }
    }

    CRebootingBrowsers(const CRebootingBrowsers&) = delete;
    CRebootingBrowsers& operator=(const CRebootingBrowsers&) = delete;
    CRebootingBrowsers(CRebootingBrowsers&&) = delete;
    CRebootingBrowsers& operator=(CRebootingBrowsers&&) = delete;

    /// Status lines other than 204 and 500, and failures of connections.
    CCollector<std::string> unexpected;

private:
    void RebootUntilOver()
    {
        try
        {
            CRawHttp connection(RestPort);
            while (!over)
            {
                const SHttpResponse response = connection.Request(
                    "POST", "/system/reboot", LoggedInWithJson, R"({"RebootType": "SoftReboot"})");
                if (response.status != 204 && response.status != 500)
                {
                    unexpected.Add(response.statusLine);
                }
            }
        }
        catch (const std::runtime_error& error)
        {
            unexpected.Add(error.what());
        }
    }

    std::atomic<bool> over{false};
    std::vector<std::thread> threads;
};

} // namespace

TEST_F(System, HealthIsAnsweredWith204AndNoBody)
{
    StartAll();

    const SHttpResponse response = HttpRequest(RestPort, "GET", "/system/health");

    EXPECT_EQ(response.statusLine, "HTTP/1.1 204 No Content");
    EXPECT_EQ(response.Header("Content-Type"), "text/plain");
    EXPECT_FALSE(response.HasHeader("Content-Length"));
    EXPECT_EQ(response.body, "");
    ExpectCleanEnd();
}

TEST_F(System, InfoGivesThirtySixKeysFromTheStationsFiles)
{
    root.SetDefault("hwinfo", "ProductSn", "SN-0042");
    root.SetDefault("fwinfo", "FwMeterVersion", "1.2.3");
    root.RemoveDefault("hwinfo", "HwHasRfid");
    StartAll();

    const SHttpResponse response = HttpRequest(RestPort, "GET", "/system/info", LoggedIn);

    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.Header("Content-Type"), "application/json");
    const Json::Value info = Parse(response.body);
    EXPECT_EQ(info.size(), 36U);
    EXPECT_EQ(info["ProductSn"], "SN-0042");
    EXPECT_EQ(info["MeterFwIdent"], "1.2.3");
    EXPECT_TRUE(info.isMember("HwHasRfid"));
    EXPECT_TRUE(info["HwHasRfid"].isNull());
    EXPECT_EQ(response.body, info.toStyledString());
    ExpectCleanEnd();
}

TEST_F(System, ModeFollowsTheSettingInstallationComplete)
{
    StartAll();
    EXPECT_EQ(HttpRequest(RestPort, "GET", "/system/web-interface-mode").body,
              "{\n\t\"Mode\" : \"dashboard\"\n}\n");
    ExpectCleanEnd();

    root.RemoveDefault("settings", "InstallationComplete");
    StartProcess();
    station.AwaitProcessState(ReportEnabled);
    EXPECT_EQ(HttpRequest(RestPort, "GET", "/system/web-interface-mode").body,
              "{\n\t\"Mode\" : \"commissioning\"\n}\n");
    ExpectCleanEnd();
}

TEST_F(System, RebootReachesTheBoard)
{
    StartAll();

    EXPECT_EQ(Reboot(R"({"RebootType": "SoftReboot"})").status, 204);
    EXPECT_EQ(Reboot(R"({"RebootType": "HardReboot"})").status, 204);

    const Json::Value calls = station.Calls("BoardControl", "Reboot");
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0]["Request"]["Type"].asInt(), 0);
    EXPECT_EQ(calls[1]["Request"]["Type"].asInt(), 1);
    EXPECT_TRUE(process->AwaitErrorLine(") Soft reboot requested"));
    EXPECT_TRUE(process->AwaitErrorLine(") Hard reboot requested"));
    ExpectCleanEnd();
}

TEST_F(System, RefusalOfTheBoardIsNotShown)
{
    StartAll();
    station.Post("/fault", R"({"Service": "BoardControl", "Operation": "Reboot", "Refuse": true})");

    EXPECT_EQ(Reboot(R"({"RebootType": "SoftReboot"})").status, 204);

    station.AwaitCall("BoardControl", "Reboot");
    ExpectCleanEnd();
}

TEST_F(System, IdentifySendsEventThree)
{
    StartAll();

    EXPECT_EQ(HttpRequest(RestPort, "PUT", "/system/identify", LoggedIn).status, 204);

    EXPECT_EQ(station.AwaitCall("Feedback", "SendEvent")["Request"]["Type"].asInt(), 3);
    ExpectCleanEnd();
}

TEST_F(System, AbsentServiceIsA500ThatNamesItAndTheRestGoesOn)
{
    StartAll();
    station.Post("/service", R"({"Service": "BoardControl", "State": "down"})");

    const SHttpResponse response = Reboot(R"({"RebootType": "SoftReboot"})");

    EXPECT_EQ(response.status, 500);
    EXPECT_THAT(response.body, HasSubstr("BoardControl.Reboot: "));
    EXPECT_EQ(HttpRequest(RestPort, "GET", "/system/info", LoggedIn).status, 200);
    station.Post("/service", R"({"Service": "BoardControl", "State": "up"})");
    EXPECT_EQ(Reboot(R"({"RebootType": "SoftReboot"})").status, 204);
    ExpectCleanEnd();
}

TEST_F(System, ProcessStartsAndAnswersWithAllServicesAbsent)
{
    StartStation();
    for (const std::string service : {"BoardControl",
                                      "CurrentControl",
                                      "Diagnostics",
                                      "Feedback",
                                      "MeterService",
                                      "NetM",
                                      "Rfid",
                                      "SessionManager"})
    {
        ASSERT_EQ(station.Post("/service", R"({"Service": ")" + service + R"(", "State": "down"})").status,
                  200);
    }
    StartProcess();
    station.AwaitProcessState(ReportEnabled);

    EXPECT_EQ(HttpRequest(RestPort, "GET", "/system/health").status, 204);
    EXPECT_EQ(HttpRequest(RestPort, "GET", "/system/info", LoggedIn).status, 200);
    EXPECT_EQ(Reboot(R"({"RebootType": "SoftReboot"})").status, 500);
    ExpectCleanEnd();
}

TEST_F(System, HungServiceHoldsUpItsOwnRequestOnly)
{
    StartAll();
    station.Post("/fault", R"({"Service": "BoardControl", "Operation": "Reboot", "Hang": true})");
    CRawHttp waiting(RestPort);
    waiting.Send(
        HttpRequestText("POST", "/system/reboot", LoggedInWithJson, R"({"RebootType": "SoftReboot"})"));
    station.AwaitCall("BoardControl", "Reboot");

    EXPECT_EQ(HttpRequest(RestPort, "GET", "/system/health").status, 204);
    EXPECT_EQ(HttpRequest(RestPort, "PUT", "/system/identify", LoggedIn).status, 204);

    station.Post("/service", R"({"Service": "BoardControl", "State": "down"})");
    EXPECT_EQ(waiting.Receive().status, 500);
    ExpectCleanEnd();
}

TEST_F(System, ServiceKilledAndRestartedUnderLoadIsUsedAgain)
{
    StartAll();
    {
        CRebootingBrowsers browsers(4);
        for (int round = 0; round < 5; ++round)
        {
            station.AwaitCall("BoardControl", "Reboot", station.LastCall());
            station.Post("/service", R"({"Service": "BoardControl", "State": "down"})");
            station.Post("/service", R"({"Service": "BoardControl", "State": "up"})");
        }
        EXPECT_THAT(browsers.unexpected.Await(0), testing::IsEmpty()) << process->Errors();
    }

    EXPECT_EQ(Reboot(R"({"RebootType": "SoftReboot"})").status, 204);
    ExpectCleanEnd();
}

TEST_F(System, BadRebootBodiesAreA400AndTheBoardIsLeftAlone)
{
    StartAll();
    const std::string badRequest = "\"Bad Request\"\n";

    EXPECT_EQ(Reboot(R"({"RebootType": "softreboot"})").body, badRequest);
    EXPECT_EQ(Reboot(R"({"RebootType": 1})").body, badRequest);
    EXPECT_EQ(Reboot("{}").body, badRequest);
    EXPECT_THAT(Reboot("").body, HasSubstr("Could not parse body: "));
    EXPECT_THAT(Reboot("{").body, HasSubstr("Could not parse body: "));
    EXPECT_EQ(Reboot(R"({"RebootType": "SoftReboot"})", LoggedIn).body, "\"\\\"Invalid content type\\\"\"\n");
    EXPECT_EQ(Reboot(R"({"RebootType": "SoftReboot"})", {{"Content-Type", "application/json; charset=utf-8"}})
                  .status,
              400);

    EXPECT_EQ(station.Calls("BoardControl", "Reboot").size(), 0U);
    ExpectCleanEnd();
}

TEST_F(System, HostileBodiesAreAnsweredAndTheProcessStays)
{
    StartAll();

    EXPECT_EQ(Reboot(std::string(1000, '[') + std::string(1000, ']')).status, 500);
    EXPECT_EQ(Reboot(std::string(100000, '[')).status, 500);
    EXPECT_EQ(Reboot(R"({"RebootType": ")" + std::string(10 << 20, 'x') + R"("})").status, 400);
    EXPECT_EQ(Reboot(std::string("{\0}", 3)).status, 400);
    EXPECT_EQ(HttpRequest(RestPort, "GET", "/system/health").status, 204);
    ExpectCleanEnd();
}

TEST_F(System, UnknownPathsAndMethodsAreRefused)
{
    StartAll();

    const SHttpResponse unknown = HttpRequest(RestPort, "GET", "/system");
    EXPECT_EQ(unknown.status, 404);
    EXPECT_EQ(unknown.body, "Not Found");
    const SHttpResponse wrongMethod = HttpRequest(RestPort, "DELETE", "/system/info");
    EXPECT_EQ(wrongMethod.status, 405);
    EXPECT_EQ(wrongMethod.body, "\"Method not Allowed\"\n");
    EXPECT_EQ(HttpRequest(RestPort, "OPTIONS", "/system/info").status, 405);
    EXPECT_EQ(HttpRequest(RestPort, "GET", "/system/info/below", LoggedIn).status, 200);
    ExpectCleanEnd();
}

TEST_F(System, ClientsThatSendHalfARequestHoldNobodyUp)
{
    StartAll();
    std::vector<std::unique_ptr<CRawHttp>> silent;
    for (int client = 0; client < 20; ++client)
    {
        silent.push_back(std::make_unique<CRawHttp>(RestPort));
        silent.back()->Send("POST /system/reboot HTTP/1.1\r\nHost: x\r\nContent-Le");
    }

    EXPECT_EQ(HttpRequest(RestPort, "GET", "/system/health").status, 204);
    ExpectCleanEnd();
}
