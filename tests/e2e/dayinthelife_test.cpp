// One station from its first set-up to its last day: what an installer and an owner do with it, in the order
// in which they do it, with the process restarted wherever the board would restart the station.

#include <json/value.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/e2e/stationtest.h"
#include "tests/support/jsontext.h"
#include "tests/support/websocketclient.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

namespace
{

constexpr const char* ImagesPassword = "station-demo";
constexpr const char* Puk = "12345678";

/// Sources of current limits.
constexpr int LocalScheduledCharging = 12;
constexpr int UserDefinedLimit = 14;

/// Kinds of reboots.
constexpr int Soft = 0;
constexpr int Hard = 1;

class DayInTheLife : public StationTest
{
protected:
    DayInTheLife()
    {
        PutFilesInPlace();
        // the station's time comes from a server, and it is about noon, so that no charge goes over midnight
        const int hour = static_cast<int>(std::time(nullptr) % 86400 / 3600);
        inStation.insert(inStation.end(),
                         {"/usr/bin/env",
                          "TZ=NOON" + std::to_string(hour - 12),
                          "STATION_CLOCK=" + (root.Path() / "run/synchronised").string()});
        root.Write("run/synchronised", "");
        program = WEBBACKEND_WITH_CLOCK_STATE;
        // a new station: no session, and nothing set up
        std::filesystem::remove(root.Path() / "data/config/secrets.json");
        root.SetDefault("settings", "InstallationComplete", false);
        root.Write("data/log/system.log", "It was a fine day.\n");
    }

    /// A browser's request.
    SHttpResponse Ask(const std::string& method, const std::string& path, const std::string& body = {}) const
    {
        HttpHeaders headers;
        if (!cookie.empty())
        {
            headers.emplace_back("Cookie", cookie);
        }
        if (!body.empty())
        {
            headers.emplace_back("Content-Type", "application/json");
        }
        return HttpRequest(RestPort, method, path, headers, body);
    }

    Json::Value Get(const std::string& path) const
    {
        const SHttpResponse response = Ask("GET", path);
        EXPECT_EQ(response.status, 200) << path << '\n' << response.body;
        return Parse(response.body);
    }

    /// A request that is answered without a body.
    void Do(const std::string& method, const std::string& path, const std::string& body = {}) const
    {
        const SHttpResponse response = Ask(method, path, body);
        EXPECT_EQ(response.status, 204) << method << ' ' << path << '\n' << response.body;
    }

    void ExpectMode(const std::string& mode) const
    {
        EXPECT_EQ(Get("/system/web-interface-mode")["Mode"], mode);
    }

    void LogIn(const std::string& password)
    {
        cookie.clear();
        const SHttpResponse response = Ask("POST", "/auth/login", R"({"Password": ")" + password + "\"}");
        ASSERT_EQ(response.status, 204) << response.body;
        cookie = response.Header("Set-Cookie");
        cookie.resize(cookie.find(';'));
        EXPECT_THAT(cookie, MatchesRegex("sessionid=[0-9a-f]{64}"));
        EXPECT_EQ(Get("/auth/status")["Active"], true);
    }

    std::unique_ptr<CWebSocketClient> Listen(const std::string& topic) const
    {
        auto events = std::make_unique<CWebSocketClient>(WebSocketPort, HttpHeaders{{"Cookie", cookie}});
        events->Subscribe(topic);
        return events;
    }

    /// What the board does when it is asked to.
    void ExpectReboot(std::uint64_t after, int type)
    {
        EXPECT_EQ(station.AwaitCall("BoardControl", "Reboot", after)["Request"]["Type"], type);
        ExpectCleanEnd();
        StartProcess({"-v"});
        station.AwaitProcessState(ReportEnabled);
    }

    void Steer(const std::string& path, const std::string& body) const
    {
        ASSERT_EQ(station.Post(path, body).status, 200) << path << ' ' << body;
    }

    void Commission();
    void ConnectToTheNetwork();
    void LearnAToken();
    void ChargeWhileTheOwnerWatches();
    void LookAtTheHistory();
    void ChargeByASchedule();
    void MoveTheSlider();
    void DownloadDiagnostics();
    void UploadFirmware();
    void UpdateAutomatically();
    void ChangeThePassword();
    void ForgetThePassword();
    void CommissionAnew();
    void ResetToTheFactorysSettings();

    std::string Package() const
    {
        std::ifstream file(root.Path() / "tmp/update/package.swu", std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// The session's "name=value"; empty before the login.
    std::string cookie;
};

void DayInTheLife::Commission()
{
    ExpectMode("commissioning");
    EXPECT_FALSE(CRawHttp::CanConnect(FileServerPort));
    const Json::Value offices = Get("/config/ocpp-backoffice");
    EXPECT_THAT(offices.toStyledString(), HasSubstr("Demo Fleet"));
    Do("PUT", "/config/ocpp-backoffice", R"({"Name": "Demo Fleet", "Url": "ws://fleet.example.org/1"})");

    const std::uint64_t before = station.LastCall();
    Do("POST", "/system/finishcommissioning", R"({"NetMApEnable": false})");
    ExpectReboot(before, Soft);

    ExpectMode("dashboard");
    EXPECT_EQ(Ask("GET", "/config/user").status, 401);
}

void DayInTheLife::ConnectToTheNetwork()
{
    std::vector<std::string> names;
    const Json::Value scan = Get("/network/scanwlan");
    for (const Json::Value& network : scan["Networks"])
    {
        names.push_back(network["Ssid"].asString());
    }
    EXPECT_THAT(names, testing::UnorderedElementsAre("Home", "Workshop", "Guests"));
    const auto events = Listen("/network/status");
    EXPECT_EQ(Ask("POST", "/network/connectwlan", R"({"Ssid": "Home", "Password": "wrong"})").status, 500);

    Do("POST", "/network/connectwlan", R"({"Ssid": "Home", "Password": "home-password"})");

    Json::Value status;
    do
    {
        status = events->ReceiveJson()["data"];
    } while (status["interface"] != "EIfNameWlan" || status["status"] != "ENetStatusConnected");
    EXPECT_EQ(root.Stored("network")["NetMSsid"], "Home");
    EXPECT_EQ(root.Stored("network")["NetMWlanEnable"], true);
    EXPECT_EQ(Get("/config/network")["NetMSsid"], "Home");
}

void DayInTheLife::LearnAToken()
{
    const auto events = Listen("/rfid/tokenfound");
    station.AwaitCall("Rfid", "SetTokenReport");
    Steer("/rfid", R"({"Token": "04A1B2C3"})");
    const std::string token = events->ReceiveJson()["data"]["tokenId"].asString();
    EXPECT_EQ(token, "04A1B2C3");

    const std::string list = "/config/auth/standalonelist";
    Do("POST", list, R"({"RfidTokenUid": ")" + token + R"(", "RfidTokenDescription": "Car"})");

    EXPECT_EQ(Get(list + "/" + token)["RfidTokenDescription"], "Car");
    EXPECT_EQ(root.Stored("rfid_standalone")["Tokens"].size(), 1U);
}

void DayInTheLife::ChargeWhileTheOwnerWatches()
{
    // the meter's time stands still unless the test moves it
    Steer("/time", R"({"Factor": 0})");
    Steer("/meter", R"({"Power": [2300, 2300, 2300], "TotalEnergy": 1000000})");
    const auto events = Listen("/session/status");
    EXPECT_EQ(events->ReceiveJson()["data"]["state"], "unknown") << "nothing has happened yet";
    for (const auto& [number, state] :
         {std::pair(4, "preparingPluggedIn"), std::pair(5, "preparingAuthorized")})
    {
        Steer("/connector", R"({"State": )" + std::to_string(number) + "}");
        EXPECT_EQ(events->ReceiveJson()["data"]["state"], state);
    }
    Steer("/connector", R"({"State": 11})");
    Json::Value charging;
    do
    {
        charging = events->ReceiveJson()["data"];
    } while (charging["state"] != "charging" || charging["meterData"]["instantaneousPower"][0] != 2300);
    EXPECT_EQ(Ask("POST", "/system/recommission").status, 400) << "not while a car charges";

    Steer("/time", R"({"Skip": 3600})");
    do
    {
        charging = events->ReceiveJson()["data"];
    } while (charging["meterData"]["sessionEnergy"] == 0);
    EXPECT_EQ(charging["state"], "charging");
    EXPECT_EQ(charging["meterData"]["sessionEnergy"], 6900);
    EXPECT_EQ(charging["meterData"]["totalEnergy"], 1006900);

    Steer("/connector", R"({"State": 9})");
    Json::Value finishing;
    do
    {
        finishing = events->ReceiveJson()["data"];
    } while (finishing["state"] != "finishing");
    Steer("/connector", R"({"State": 1})");
    EXPECT_EQ(events->ReceiveJson()["data"]["state"], "available");
}

void DayInTheLife::LookAtTheHistory()
{
    double energy = 0;
    const Json::Value history = Get("/statistics/history");
    for (const Json::Value& day : history["HistoryMonth"][0]["Energy"])
    {
        energy += day.asDouble();
    }
    EXPECT_EQ(energy, 6900);
    EXPECT_GE(Get("/statistics/session")["data"].size(), 2U);
}

void DayInTheLife::ChargeByASchedule()
{
    std::string week;
    for (const char* day : {"Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday", "Sunday"})
    {
        week += std::string(week.empty() ? "{\"" : ", \"") + day +
                R"(": [{"StartTime": 0, "CurrentLimit": 10000}])";
    }
    Do("POST", "/config/scheduledcharging/schedules", week + "}");
    const std::uint64_t before = station.LastCall();

    EXPECT_EQ(Ask("PATCH", "/config/user", R"({"ScheduledChargingEnable": true})").status, 200);

    const Json::Value limit = station.AwaitCall("CurrentControl", "SetLimit", before)["Request"];
    EXPECT_EQ(limit["Source"], LocalScheduledCharging);
    EXPECT_EQ(limit["Limit"], 10000);
    EXPECT_EQ(Ask("PATCH", "/config/user", R"({"ScheduledChargingEnable": false})").status, 200);
    station.AwaitCall("CurrentControl", "ClearLimit", before);
}

void DayInTheLife::MoveTheSlider()
{
    EXPECT_EQ(Ask("PATCH", "/config/user", R"({"UserDefinedChargeLimitCurrent": 13})").status, 200);
    const std::uint64_t before = station.LastCall();

    Do("POST", "/charging/current-slider");

    const Json::Value limit = station.AwaitCall("CurrentControl", "SetLimit", before)["Request"];
    EXPECT_EQ(limit["Source"], UserDefinedLimit);
    EXPECT_EQ(limit["Limit"], 13000);
}

void DayInTheLife::DownloadDiagnostics()
{
    const SHttpResponse package = Ask("GET", "/system/diagnostics/freezeframes");

    EXPECT_EQ(package.status, 200);
    EXPECT_THAT(package.Header("Content-Disposition"), StartsWith("attachment; filename=DEMO_SIM0000001_"));
    EXPECT_THAT(package.body, HasSubstr("It was a fine day.\n"));
    EXPECT_THAT(package.body, HasSubstr("freezeframe_"));
}

void DayInTheLife::UploadFirmware()
{
    Steer("/firmware", R"({"NewIdentifier": "2.0.0", "ProgrammingMs": 10})");
    const auto events = Listen("/system/fwupdate/status");
    const std::string package("firmware of\r\n\0an owner", 22);
    const std::uint64_t before = station.LastCall();

    const SHttpResponse response = HttpRequest(
        FileServerPort,
        "PUT",
        "/",
        {{"Cookie", cookie}, {"Content-Type", "multipart/form-data; boundary=boundary"}},
        "--boundary\r\nContent-Disposition: form-data; name=\"firmware\"; filename=\"2.0.0.swu\"\r\n"
        "Content-Type: application/octet-stream\r\n\r\n" +
            package + "\r\n--boundary--\r\n");

    EXPECT_EQ(response.status, 201);
    EXPECT_EQ(response.body, "Created");
    EXPECT_EQ(station.AwaitCall("BoardControl", "RequestFirmwareUpdate", before)["Request"]["Value"],
              "WebInterface");
    EXPECT_EQ(Package(), package);
    const Json::Value event = events->ReceiveJson()["data"];
    EXPECT_EQ(event["status"], "EFwUpdateStatusSuccess");
    EXPECT_EQ(event["fwIdentNew"], "2.0.0");
}

void DayInTheLife::UpdateAutomatically()
{
    const std::string path = "/system/software/automatic-update/";
    EXPECT_EQ(Get(path + "current-versions")["Firmware"], "1.0.0-simulated");
    Steer("/download",
          R"({"Path": "/versions.json", "Text": "{\"firmwareVersion\": \"3.0.0\", )"
          R"(\"firmwareUrl\": \"http://127.0.0.1:8091/3.0.0.swu\"}"})");
    Steer("/download", R"({"Path": "/3.0.0.swu", "Text": "firmware of the maker"})");
    EXPECT_EQ(Get(path + "available-versions"), Parse(R"({"Firmware": "3.0.0"})"));
    Steer("/firmware", R"({"NewIdentifier": "3.0.0", "ProgrammingMs": 10})");
    const std::uint64_t before = station.LastCall();

    Do("POST", path + "update", R"({"Package-Type": "Firmware"})");

    EXPECT_EQ(station.AwaitCall("BoardControl", "RequestFirmwareUpdate", before)["Request"]["Value"],
              "WebInterfaceAutomatic");
    EXPECT_EQ(Package(), "firmware of the maker");
    const auto events = Listen("/system/fwupdate/status");
    Json::Value event;
    do
    {
        // the upload's event, unless the update has ended
        event = events->ReceiveJson()["data"];
    } while (event["fwIdentNew"] != "3.0.0");
    EXPECT_EQ(event["status"], "EFwUpdateStatusSuccess");
}

void DayInTheLife::ChangeThePassword()
{
    Do("PUT",
       "/config/secrets/webifmanagement",
       R"({"CurrentPassword": ")" + std::string(ImagesPassword) + R"(", "NewPassword": "owner's own"})");

    EXPECT_EQ(Ask("GET", "/config/user").status, 401) << "a new password logs everybody out";
    EXPECT_EQ(Ask("POST", "/auth/login", R"({"Password": ")" + std::string(ImagesPassword) + "\"}").status,
              401);
    LogIn("owner's own");
}

void DayInTheLife::ForgetThePassword()
{
    cookie.clear();
    Do("PUT",
       "/config/secrets/webifmanagement/puk",
       R"({"PukCode": ")" + std::string(Puk) + R"(", "NewPassword": "easier"})");

    EXPECT_EQ(Ask("POST", "/auth/login", R"({"Password": "owner's own"})").status, 401);
    LogIn("easier");
}

void DayInTheLife::CommissionAnew()
{
    std::uint64_t before = station.LastCall();
    Do("POST", "/system/recommission");
    ExpectReboot(before, Hard);
    ExpectMode("commissioning");
    EXPECT_EQ(Get("/config/network")["NetMSsid"], "Home") << "what was set up stays";

    before = station.LastCall();
    Do("POST", "/system/finishcommissioning");
    ExpectReboot(before, Soft);
    ExpectMode("dashboard");
    LogIn("easier");
}

void DayInTheLife::ResetToTheFactorysSettings()
{
    EXPECT_FALSE(std::filesystem::is_empty(root.Path() / "data/config"));
    const std::uint64_t before = station.LastCall();

    Do("POST", "/system/factory-reset");

    EXPECT_TRUE(std::filesystem::is_empty(root.Path() / "data/config"));
    ExpectReboot(before, Hard);
    cookie.clear();
    ExpectMode("commissioning");
    EXPECT_EQ(Get("/config/network")["NetMSsid"], "");
    EXPECT_EQ(Get("/config/auth/standalonelist")["Tokens"].size(), 0U);
}

} // namespace

TEST_F(DayInTheLife, FromTheFirstSetUpToTheFactorysSettings)
{
    StartStation();
    StartProcess({"-v"});
    station.AwaitProcessState(ReportEnabled);

    Commission();
    LogIn(ImagesPassword);
    ConnectToTheNetwork();
    LearnAToken();
    ChargeWhileTheOwnerWatches();
    LookAtTheHistory();
    ChargeByASchedule();
    MoveTheSlider();
    DownloadDiagnostics();
    UploadFirmware();
    UpdateAutomatically();
    ChangeThePassword();
    ForgetThePassword();
    CommissionAnew();
    ResetToTheFactorysSettings();

    ExpectCleanEnd();
}
