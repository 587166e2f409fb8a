#include <json/value.h>

#include <signal.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/e2e/stationtest.h"
#include "tests/support/jsontext.h"
#include "tests/support/privatemounts.h"
#include "tests/support/quickpassword.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

namespace
{

constexpr int SecurityParameter = 20301;
constexpr int Parameter = 20500;

SHttpResponse Ask(const std::string& method, const std::string& path, const std::string& body = {})
{
    return HttpRequest(RestPort, method, path, LoggedInWithJson, body);
}

class Config : public StationTest
{
protected:
    /// Numbers and texts of the signals that have arrived with a call number above @p after.
    std::vector<std::pair<int, std::string>> Signals(std::uint64_t after = 0) const
    {
        std::vector<std::pair<int, std::string>> signals;
        for (const Json::Value& call : station.Calls("Diagnostics", "SendSignal", after))
        {
            const Json::Value& signal = call["Request"]["Signal"];
            signals.emplace_back(signal["Identifier"].asInt(), signal["Value"][0].asString());
        }
        return signals;
    }

    void Fault(const std::string& service, const std::string& operation, const std::string& what) const
    {
        ASSERT_EQ(station
                      .Post("/fault",
                            R"({"Service": ")" + service + R"(", "Operation": ")" + operation + R"(", )" +
                                what + "}")
                      .status,
                  200);
    }

    /// What is in force: the image's value under the written one.
    Json::Value InForce(const std::string& path, const std::string& key) const
    {
        return Parse(Ask("GET", path).body)[key];
    }
};

} // namespace

// ---------------------------------------------------------------------------------------------- Settings

TEST_F(Config, PatchedSettingIsInTheFileInTheAnswerAndInTheAudit)
{
    StartAll();

    const SHttpResponse response = Ask("PATCH", "/config/user", R"({"HmiBuzzerVolume": 42})");

    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(Parse(response.body)["HmiBuzzerVolume"], 42);
    EXPECT_EQ(root.Stored("settings")["HmiBuzzerVolume"], 42);
    EXPECT_THAT(
        Signals(),
        UnorderedElementsAre(std::pair(Parameter, "Parameter HmiBuzzerVolume has been reconfigured to 42")));
    ExpectCleanEnd();
}

TEST_F(Config, RefusedPatchWritesAndReportsNothing)
{
    StartAll();

    for (const std::string body : {R"({"HmiBuzzerVolume": 42, "NoSuchKey": 1})",
                                   R"({"HmiBuzzerVolume": 42, "SeccOcppUri": "ws://evil"})",
                                   R"({"HmiBuzzerVolume": "loud"})"})
    {
        const SHttpResponse response = Ask("PATCH", "/config/user", body);
        EXPECT_EQ(response.status, 400) << body;
        EXPECT_EQ(response.body, "\"Bad Request\"\n") << body;
    }
    EXPECT_EQ(Ask("PATCH", "/config/user", "[]").body, "\"\\\"Bad request body\\\"\"\n");

    EXPECT_FALSE(root.Stored("settings").isMember("HmiBuzzerVolume"));
    EXPECT_THAT(Signals(), IsEmpty());
    ExpectCleanEnd();
}

TEST_F(Config, EveryPatchThatWasAnsweredSurvivesAKill)
{
    StartStation();
    std::mt19937 random(1);
    int volume = 0;
    for (int round = 0; round < 10; ++round)
    {
        StartProcess();
        ASSERT_TRUE(process->AwaitErrorLine("REST webserver started"));
        CCollector<int> answered;
        std::thread browser(
            [&]
            {
                try
                {
                    for (int patch = 0; patch < 100; ++patch)
                    {
                        const std::string value = std::to_string(++volume);
                        if (Ask("PATCH", "/config/user", R"({"HmiBuzzerVolume": )" + value + "}").status ==
                            200)
                        {
                            answered.Add(volume);
                        }
                    }
                }
                catch (const std::runtime_error&)
                {
                    // killed
                }
            });
        answered.Await(1 + random() % 50);
        process->Signal(SIGKILL);
        process->AwaitEnd();
        browser.join();

        const int last = answered.Await(0).back();
        const int stored = root.Stored("settings")["HmiBuzzerVolume"].asInt();
        EXPECT_TRUE(stored == last || stored == last + 1) << last << ' ' << stored;
    }
}

TEST_F(Config, ClientsThatPatchDifferentKeysLoseNothing)
{
    const std::vector<std::string> keys{"HmiLedIntensityMin",
                                        "HmiLedIntensityMax",
                                        "HmiLedIntensityManual",
                                        "HmiBuzzerVolume",
                                        "CurrentCtrlFixedChargeCurrentLimit",
                                        "ConnectedPhases",
                                        "CurrentCtrlBopFuseRating",
                                        "GroupLoadBalancingMaxCurrent",
                                        "GroupLoadBalancingFallbackCurrent",
                                        "BopFallbackCurrent"};
    constexpr int last = 20;
    StartAll();
    const Json::Value before = Parse(Ask("GET", "/config/user").body);

    std::vector<std::thread> clients;
    for (const std::string& key : keys)
    {
        clients.emplace_back(
            [key]
            {
                for (int value = 1; value <= last; ++value)
                {
                    const std::string body = "{\"" + key + "\": " + std::to_string(value) + "}";
                    EXPECT_EQ(Ask("PATCH", "/config/user", body).status, 200);
                }
            });
    }
    for (std::thread& client : clients)
    {
        client.join();
    }

    Json::Value expected = before;
    for (const std::string& key : keys)
    {
        expected[key] = last;
    }
    EXPECT_EQ(Parse(Ask("GET", "/config/user").body), expected);
    ExpectCleanEnd();
}

TEST_F(Config, FullDiskFailsThePatchAndKeepsTheOldValue)
{
    const CPrivateMounts mounts;
    mounts.MountMemory(root.Path() / "data/config", "size=64k");
    root.Write("data/config/secrets.json",
               R"({"WebSessions": [{"Key": ")" + SessionKey + R"(", "Expiry": 4102444800}]})");
    StartAll();
    EXPECT_EQ(Ask("PATCH", "/config/user", R"({"HmiBuzzerVolume": 1})").status, 200);
    const std::filesystem::path filler = root.Path() / "data/config/filler";
    {
        std::ofstream file(filler);
        while (file << 'x' << std::flush)
        {
        }
    }

    const SHttpResponse response = Ask("PATCH", "/config/user", R"({"HmiBuzzerVolume": 2})");

    EXPECT_EQ(response.status, 500);
    EXPECT_THAT(response.body, HasSubstr("No space left on device"));
    EXPECT_EQ(InForce("/config/user", "HmiBuzzerVolume"), 1);
    EXPECT_EQ(root.Stored("settings")["HmiBuzzerVolume"], 1);
    std::filesystem::remove(filler);
    EXPECT_EQ(Ask("PATCH", "/config/user", R"({"HmiBuzzerVolume": 3})").status, 200);
    ExpectCleanEnd();
}

TEST_F(Config, ReadOnlyFileSystemFailsThePatchAndTheRestGoesOn)
{
    const CPrivateMounts mounts;
    mounts.MountMemory(root.Path() / "data/config", "size=64k");
    root.Write("data/config/secrets.json",
               R"({"WebSessions": [{"Key": ")" + SessionKey + R"(", "Expiry": 4102444800}]})");
    mounts.MakeReadOnly(root.Path() / "data/config");
    StartAll();

    const SHttpResponse response = Ask("PATCH", "/config/user", R"({"HmiBuzzerVolume": 2})");

    EXPECT_EQ(response.status, 500);
    EXPECT_THAT(response.body, HasSubstr("Read-only file system"));
    EXPECT_EQ(Ask("GET", "/config/user").status, 200);
    ExpectCleanEnd();
}

TEST_F(Config, EveryKeyOfTheThreeFilesIsReported)
{
    const std::set<std::string> security{"SeccOcppUri",
                                         "NtpServer1",
                                         "NtpServer2",
                                         "AuthorizationKey",
                                         "FwUpdateAuthPassword",
                                         "WlanApPassword",
                                         "WlanStaPassword",
                                         "WebIfManagementPassword"};
    const std::set<std::string> masked{"AuthorizationKey",
                                       "FwUpdateAuthPassword",
                                       "WebIfManagementPassword",
                                       "WlanApPassword",
                                       "WlanStaPassword"};
    // the choice of a back office may write any key of the three files
    std::vector<std::pair<int, std::string>> expected;
    Json::Value office;
    office["Name"] = "All";
    for (const std::string file : {"network", "secrets", "settings"})
    {
        std::set<std::string> keys(security);
        for (const std::string& key : root.Defaults(file).getMemberNames())
        {
            keys.insert(key);
        }
        // the two that the choice itself writes
        keys.erase("PredefinedCpoName");
        keys.erase("SeccOcppUri");
        for (const std::string& key : keys)
        {
            Json::Value setting;
            setting["File"] = file;
            setting["Key"] = key;
            setting["Value"] = "new in " + file;
            office["Settings"].append(setting);
            const std::string value = masked.count(key) != 0 ? "****" : "new in " + file;
            security.count(key) != 0
                ? expected.emplace_back(SecurityParameter,
                                        "Security parameter " + key + " has been reconfigured to " + value)
                : expected.emplace_back(Parameter, "Parameter " + key + " has been reconfigured to " + value);
        }
    }
    expected.emplace_back(Parameter, "Parameter PredefinedCpoName has been reconfigured to All");
    expected.emplace_back(SecurityParameter,
                          "Security parameter SeccOcppUri has been reconfigured to ws://all");
    Json::Value offices;
    offices.append(office);
    root.SetDefault("ocpp_backoffices", "Backoffices", offices);
    root.SetDefault("settings", "InstallationComplete", false);
    StartAll();

    EXPECT_EQ(Ask("PUT", "/config/ocpp-backoffice", R"({"Name": "All", "Url": "ws://all"})").status, 204);

    EXPECT_THAT(Signals(), testing::UnorderedElementsAreArray(expected));
    ExpectCleanEnd();
}

// ---------------------------------------------------------------------------------------------- Network

TEST_F(Config, NetworkPatchIsAppliedByTheNetworkManager)
{
    StartAll();

    EXPECT_EQ(Ask("PATCH", "/config/network", R"({"NetMLteEnable": true})").status, 200);

    EXPECT_EQ(station.Calls("NetM", "ValidateConfig").size(), 1U);
    EXPECT_EQ(root.Stored("network")["NetMLteEnable"], true);
    ExpectCleanEnd();
}

TEST_F(Config, AnswerOfTheNetworkCanBePatchedBackWithoutEffect)
{
    StartAll();
    const std::string answer = Ask("GET", "/config/network").body;
    EXPECT_TRUE(Parse(answer).isMember("NetMLteApn"));

    EXPECT_EQ(Ask("PATCH", "/config/network", answer).status, 200);

    EXPECT_EQ(station.Calls("NetM", "ValidateConfig").size(), 0U);
    EXPECT_TRUE(process->AwaitErrorLine("Skipping validation and application of the config."));
    ExpectCleanEnd();
}

TEST_F(Config, NetworkPatchThatIsRefusedIsReverted)
{
    StartAll();
    Fault("NetM", "ValidateConfig", R"("Answer": false, "Times": 1)");

    const SHttpResponse response = Ask("PATCH", "/config/network", R"({"NetMLteEnable": true})");

    EXPECT_EQ(response.status, 500);
    EXPECT_EQ(response.body, "\"Internal Server Error\"\n");
    EXPECT_EQ(InForce("/config/network", "NetMLteEnable"), false);
    EXPECT_EQ(station.Calls("NetM", "ValidateConfig").size(), 2U);
    EXPECT_TRUE(process->AwaitErrorLine("NetM validation succeeded after reverting config values."));

    Fault("NetM", "ValidateConfig", R"("Answer": false, "Times": 2)");
    EXPECT_EQ(Ask("PATCH", "/config/network", R"({"NetMLteEnable": true})").status, 500);
    EXPECT_EQ(InForce("/config/network", "NetMLteEnable"), false);
    EXPECT_TRUE(process->AwaitErrorLine("Even after reverting the config values to their original state"));
    ExpectCleanEnd();
}

// ---------------------------------------------------------------------------------------------- Tokens

TEST_F(Config, TokensAreKeptInOrderAndReportNothing)
{
    const std::string list = "/config/auth/standalonelist";
    StartAll();

    EXPECT_EQ(Ask("POST", list, R"({"RfidTokenUid": "A", "RfidTokenDescription": "first"})").status, 204);
    EXPECT_EQ(Ask("POST", list, R"({"RfidTokenUid": "B", "RfidTokenDescription": "second"})").status, 204);
    EXPECT_EQ(Ask("POST", list, R"({"RfidTokenUid": "B", "RfidTokenDescription": "third"})").status, 409);
    EXPECT_EQ(Ask("PATCH", list + "/B", R"({"RfidTokenDescription": "first"})").status, 200);
    EXPECT_EQ(Ask("DELETE", list + "/A").status, 204);
    EXPECT_EQ(Ask("GET", list + "/A").status, 404);

    ExpectCleanEnd();
    StartProcess();
    station.AwaitProcessState(ReportEnabled);
    EXPECT_EQ(Parse(Ask("GET", list).body),
              Parse(R"({"Tokens": [{"RfidTokenUid": "B", "RfidTokenDescription": "first"}]})"));
    EXPECT_THAT(Signals(), IsEmpty());
    ExpectCleanEnd();
}

// ---------------------------------------------------------------------------------------------- Passwords

TEST_F(Config, ChangedPasswordLogsEverybodyOutAndIsAskedForNext)
{
    root.SetDefault("secrets", "WebIfManagementPassword", EncodedQuickly("old"));
    StartAll();

    EXPECT_EQ(
        Ask("PUT", "/config/secrets/webifmanagement", R"({"NewPassword": "new", "CurrentPassword": "old"})")
            .status,
        204);

    EXPECT_EQ(Ask("GET", "/config/user").status, 401);
    EXPECT_EQ(Ask("POST", "/auth/login", R"({"Password": "old"})").status, 401);
    EXPECT_EQ(Ask("POST", "/auth/login", R"({"Password": "new"})").status, 204);
    EXPECT_THAT(
        Signals(),
        testing::Contains(std::pair(
            SecurityParameter, "Security parameter WebIfManagementPassword has been reconfigured to ****")));
    ExpectCleanEnd();
}

TEST_F(Config, PukOpensTheWayBackInWithoutASession)
{
    root.SetDefault("secrets", "WebIfPukCode", EncodedQuickly("12345678"));
    StartAll();
    const auto put = [](const std::string& body)
    {
        return HttpRequest(RestPort,
                           "PUT",
                           "/config/secrets/webifmanagement/puk",
                           {{"Content-Type", "application/json"}},
                           body);
    };

    EXPECT_EQ(put(R"({"PukCode": "87654321", "NewPassword": "new"})").body,
              "\"\\\"PUK code is incorrect\\\"\"\n");
    EXPECT_EQ(put(R"({"PukCode": "", "NewPassword": "new"})").status, 401);
    EXPECT_EQ(put(R"({"PukCode": "12345678", "NewPassword": ""})").status, 400);
    EXPECT_EQ(put(R"({"PukCode": "12345678", "NewPassword": "new"})").status, 204);

    EXPECT_EQ(Ask("POST", "/auth/login", R"({"Password": "new"})").status, 204);
    ExpectCleanEnd();
}

TEST_F(Config, MaskedValuesAppearNowhere)
{
    const std::vector<std::string> masked{"AuthorizationKey",
                                          "FwUpdateAuthPassword",
                                          "WebIfManagementPassword",
                                          "WlanApPassword",
                                          "WlanStaPassword"};
    Json::Value office;
    office["Name"] = "Office";
    for (const std::string& key : masked)
    {
        Json::Value setting;
        setting["File"] = "secrets";
        setting["Key"] = key;
        setting["Value"] = "s3cret of " + key;
        office["Settings"].append(setting);
    }
    Json::Value offices;
    offices.append(office);
    root.SetDefault("ocpp_backoffices", "Backoffices", offices);
    root.SetDefault("settings", "InstallationComplete", false);
    StartStation();
    StartProcess({"-vvv"});
    station.AwaitProcessState(ReportEnabled);

    EXPECT_EQ(Ask("PUT", "/config/ocpp-backoffice", R"({"Name": "Office", "Url": "ws://o"})").status, 204);

    const auto signals = Signals();
    EXPECT_EQ(signals.size(), 2 + masked.size());
    for (const std::string& key : masked)
    {
        EXPECT_EQ(root.Stored("secrets")[key], "s3cret of " + key);
        EXPECT_THAT(signals,
                    testing::Contains(std::pair(
                        SecurityParameter, "Security parameter " + key + " has been reconfigured to ****")));
    }
    EXPECT_THAT(signals,
                testing::Contains(std::pair(
                    SecurityParameter, "Security parameter SeccOcppUri has been reconfigured to ws://o")));
    const std::string answers = Ask("GET", "/config/user").body + Ask("GET", "/config/network").body +
                                Ask("GET", "/config/ocpp-backoffice").body;
    ExpectCleanEnd();
    EXPECT_THAT(process->Errors() + answers, Not(HasSubstr("s3cret")));
}

// ------------------------------------------------------------------------------------------ Commissioning

TEST_F(Config, FirstSetUpLeadsToTheDashboardAndBack)
{
    root.SetDefault("settings", "InstallationComplete", false);
    root.SetDefault("secrets", "WebIfManagementPassword", EncodedQuickly("secret"));
    StartAll();
    const auto ask = [](const std::string& method, const std::string& path, const std::string& body = {}) {
        return HttpRequest(RestPort, method, path, {{"Content-Type", "application/json"}}, body);
    };

    EXPECT_EQ(ask("PUT", "/config/ocpp-backoffice", R"({"Name": "Demo Fleet", "Url": "ws://f"})").status,
              204);
    EXPECT_EQ(root.Stored("settings")["PredefinedCpoName"], "Demo Fleet");
    EXPECT_EQ(ask("POST", "/system/finishcommissioning", R"({"NetMApEnable": false})").status, 204);
    EXPECT_EQ(station.AwaitCall("BoardControl", "Reboot")["Request"]["Type"], 0);
    EXPECT_EQ(root.Stored("network")["NetMApEnable"], false);
    ExpectCleanEnd();

    StartProcess();
    station.AwaitProcessState(ReportEnabled);
    EXPECT_EQ(ask("GET", "/config/user").status, 401);
    EXPECT_EQ(ask("POST", "/auth/login", R"({"Password": "secret"})").status, 204);
    const std::uint64_t before = station.LastCall();

    ASSERT_EQ(station.Post("/connector", R"({"State": 11})").status, 200);
    const SHttpResponse refused = Ask("POST", "/system/recommission");
    EXPECT_EQ(refused.status, 400);
    EXPECT_THAT(refused.body, HasSubstr("Cannot start commissioning, charge session in progress"));
    EXPECT_EQ(station.Calls("BoardControl", "Reboot", before).size(), 0U);

    ASSERT_EQ(station.Post("/connector", R"({"State": 1})").status, 200);
    EXPECT_EQ(Ask("POST", "/system/recommission").status, 204);
    EXPECT_EQ(station.AwaitCall("BoardControl", "Reboot", before)["Request"]["Type"], 1);
    EXPECT_THAT(Signals(before),
                testing::Contains(std::pair(20007, "Recommission triggered by web interface")).Times(2));
    ExpectCleanEnd();

    StartProcess();
    station.AwaitProcessState(ReportEnabled);
    EXPECT_EQ(ask("GET", "/config/user").status, 200);
    ExpectCleanEnd();
}

TEST_F(Config, FactoryResetEmptiesTheStationsConfiguration)
{
    PutFilesInPlace();
    root.Write("data/config/below/deep", "");
    StartAll();
    EXPECT_EQ(Ask("PATCH", "/config/user", R"({"HmiBuzzerVolume": 42})").status, 200);

    EXPECT_EQ(Ask("POST", "/system/factory-reset").status, 204);

    EXPECT_TRUE(std::filesystem::is_empty(root.Path() / "data/config"));
    EXPECT_EQ(station.AwaitCall("BoardControl", "Reboot")["Request"]["Type"], 1);
    EXPECT_THAT(Signals(), testing::Contains(std::pair(20305, "Factory reset triggered by web interface")));
    ExpectCleanEnd();
    StartProcess();
    station.AwaitProcessState(ReportEnabled);
    EXPECT_EQ(Ask("GET", "/config/user").status, 401) << "the session went with the files";
    ExpectCleanEnd();
}
