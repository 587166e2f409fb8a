#include "src/api/config.h"

#include <json/value.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/mockconfigapplicator.h"
#include "tests/unit/src/api/configtest.h"

// User settings, network settings, the back office and the schedule, and what all handlers do with bodies.

namespace
{

using testing::IsEmpty;
using testing::NiceMock;
using testing::Return;
using testing::StartsWith;

const std::string BadRequest = "400 Bad Request";
const std::string BadBody = "400 \"Bad request body\"";

class ConfigSettings : public ConfigApiTest
{
protected:
    ConfigSettings()
    {
        files.Write("settings", R"({"HmiBuzzerVolume":5,"InstallationComplete":true,"TimeZone":"UTC"})");
        files.Write("network", R"({"NetMDnsAuto":true,"NetMSsid":"home","NtpServer1":"time.example"})");
        files.Write("secrets",
                    R"({"NetMLteApn":"internet","NetMLteSimPin":"1234","WebIfPukCode":"unreadable"})");
        Start();
    }

    std::string PatchUser(const std::string& body)
    {
        return AnswerOf([&] { return api->PatchUserConfig(CFakeRequest(body)); });
    }

    std::string PatchNetwork(const std::string& body)
    {
        return AnswerOf([&] { return api->PatchNetworkConfig(CFakeRequest(body)); });
    }

    std::string GetNetwork()
    {
        return AnswerOf([this] { return api->GetNetworkConfig(); });
    }

    /// Handlers over a network configuration and secrets that are given as they are.
    std::string NetworkAnswerOf(const Json::Value& network, const Json::Value& secrets)
    {
        const auto networkApplicator = std::make_shared<NiceMock<CMockConfigApplicator>>();
        const auto secretsApplicator = std::make_shared<NiceMock<CMockConfigApplicator>>();
        ON_CALL(*networkApplicator, GetConfig).WillByDefault(Return(network));
        ON_CALL(*secretsApplicator, GetConfig).WillByDefault(Return(secrets));
        Resources::CConfigApi other(nullptr,
                                    rfidConfig,
                                    nullptr,
                                    networkApplicator,
                                    secretsApplicator,
                                    nullptr,
                                    secretsConfig,
                                    nullptr);
        return AnswerOf([&] { return other.GetNetworkConfig(); });
    }

    void StartWithSchedule()
    {
        scheduledCharging = std::make_shared<testing::StrictMock<CMockScheduledCharging>>();
        Start();
    }
};

Json::Value Object(const std::map<std::string, std::string>& members)
{
    Json::Value object(Json::objectValue);
    for (const auto& [key, value] : members)
    {
        object[key] = value;
    }
    return object;
}

} // namespace

// ------------------------------------------------------------------------------------------ User settings

TEST_F(ConfigSettings, UserSettingsAreThoseOfTheTable)
{
    EXPECT_EQ(AnswerOf([this] { return api->GetUserConfig(); }),
              R"(200 {"HmiBuzzerVolume":5,"TimeZone":"UTC"})");
}

TEST_F(ConfigSettings, PatchAnswersWithAllUserSettingsAsTheyAreThen)
{
    EXPECT_EQ(PatchUser(R"({"HmiBuzzerVolume":6,"GroundMonitoring":true})"),
              R"(200 {"GroundMonitoring":true,"HmiBuzzerVolume":6,"TimeZone":"UTC"})");
    EXPECT_EQ(PatchUser("{}"), R"(200 {"GroundMonitoring":true,"HmiBuzzerVolume":6,"TimeZone":"UTC"})");
}

TEST_F(ConfigSettings, RefusedPatchOfUserSettingsChangesNothing)
{
    EXPECT_EQ(PatchUser(R"({"HmiBuzzerVolume":6,"SeccOcppUri":"ws://x"})"), BadRequest);

    EXPECT_EQ(AnswerOf([this] { return api->GetUserConfig(); }),
              R"(200 {"HmiBuzzerVolume":5,"TimeZone":"UTC"})");
}

TEST_F(ConfigSettings, StationWithoutAnySettingAnswersNull)
{
    files.Write("settings", "{}");
    Start();

    EXPECT_EQ(AnswerOf([this] { return api->GetUserConfig(); }), "200 null");
}

// --------------------------------------------------------------------------------------- Network settings

TEST_F(ConfigSettings, NetworkSettingsComeWithTheSecretThatMayBeSeen)
{
    EXPECT_EQ(GetNetwork(), R"(200 {"NetMDnsAuto":true,"NetMLteApn":"internet","NetMSsid":"home"})");
}

TEST_F(ConfigSettings, WithoutNetworkSettingsTheSecretStandsAlone)
{
    files.Write("network", "{}");
    Start();

    EXPECT_EQ(GetNetwork(), R"(200 {"NetMLteApn":"internet"})");
}

TEST_F(ConfigSettings, WithoutSettingsAndSecretsTheAnswerIsNull)
{
    files.Write("network", "{}");
    files.Write("secrets", "{}");
    Start();

    EXPECT_EQ(GetNetwork(), "200 null");
}

TEST_F(ConfigSettings, SecretWinsOverANetworkSettingOfTheSameName)
{
    const CCapturedLog log(Log::ELogLevel::Info);

    const std::string answer = NetworkAnswerOf(Object({{"A", "of the network"}, {"B", "of the network"}}),
                                               Object({{"B", "of the secrets"}, {"C", "of the secrets"}}));

    EXPECT_EQ(answer, R"(200 {"A":"of the network","B":"of the secrets","C":"of the secrets"})");
    EXPECT_THAT(
        log.Messages(Log::ELogLevel::Warn),
        testing::Contains("Could not include key 'B' from secrets in response as it already exists in "
                          "network settings"));
}

TEST_F(ConfigSettings, SecretOfAnotherNameIsNotWarnedOf)
{
    GetNetwork();
    const CCapturedLog log(Log::ELogLevel::Debug);

    NetworkAnswerOf(Object({{"A", "1"}}), Object({{"B", "2"}}));

    for (const std::string& text : log.Messages(Log::ELogLevel::Warn))
    {
        EXPECT_THAT(text, testing::Not(StartsWith("Could not include")));
    }
}

TEST_F(ConfigSettings, PatchAnswersWithAllNetworkSettingsAsTheyAreThen)
{
    EXPECT_CALL(*netM, ValidateConfig).WillOnce(Return(true));

    EXPECT_EQ(PatchNetwork(R"({"NetMSsid":"office"})"),
              R"(200 {"NetMDnsAuto":true,"NetMLteApn":"internet","NetMSsid":"office"})");
}

TEST_F(ConfigSettings, AnswerCanBePatchedBackAndReachesTheManagerOnlyIfSomethingDiffers)
{
    const std::string answer = GetNetwork().substr(4);
    EXPECT_CALL(*netM, ValidateConfig).Times(0);
    EXPECT_EQ(PatchNetwork(answer), "200 " + answer);
    testing::Mock::VerifyAndClearExpectations(netM.get());

    EXPECT_CALL(*netM, ValidateConfig).WillOnce(Return(true));
    std::string changed = answer;
    changed.replace(changed.find("home"), 4, "work");
    EXPECT_EQ(PatchNetwork(changed), "200 " + changed);
}

TEST_F(ConfigSettings, SecretsInAPatchAreDroppedWithoutAWordWhateverTheyAre)
{
    EXPECT_CALL(*netM, ValidateConfig).Times(0);
    for (const std::string value : {"\"other\"", "null", "1", "[]", "{}"})
    {
        const CCapturedLog log(Log::ELogLevel::Info);
        EXPECT_EQ(PatchNetwork(R"({"NetMLteApn":)" + value + "}"), GetNetwork());
        EXPECT_THAT(log.Messages(Log::ELogLevel::Error), IsEmpty());
        for (const std::string& text : log.Messages(Log::ELogLevel::Warn))
        {
            EXPECT_THAT(text, testing::Not(testing::HasSubstr("NetMLteApn")));
        }
    }
    EXPECT_EQ(files.Stored("secrets", "NetMLteApn"), "\"internet\"");
}

TEST_F(ConfigSettings, OtherSecretsInAPatchAreUnknownSettings)
{
    EXPECT_EQ(PatchNetwork(R"({"NetMLteApnPass":"x"})"), BadRequest);
    EXPECT_EQ(PatchNetwork(R"({"NetMLteApn":"x","WlanStaPassword":"x"})"), BadRequest);
}

TEST_F(ConfigSettings, RefusalOfTheManagerIsAnInternalError)
{
    EXPECT_CALL(*netM, ValidateConfig).WillOnce(Return(false)).WillOnce(Return(true));

    EXPECT_EQ(PatchNetwork(R"({"NetMSsid":"office"})"), "500 Internal Server Error");

    EXPECT_EQ(files.Stored("network", "NetMSsid"), "\"home\"");
}

// ------------------------------------------------------------------------------------------- Back offices

TEST_F(ConfigSettings, BackOfficesAreShownAndOneIsChosen)
{
    files.Write("ocpp_backoffices", R"({"Backoffices":[{"Name":"Cloud","UrlTemplate":"ws://cloud","Settings":[
        {"File":"settings","Key":"HmiBuzzerVolume","Value":"1"}]}]})");
    Start();

    EXPECT_EQ(AnswerOf([this] { return api->GetOcppBackofficeConfig(); }),
              R"(200 {"Backoffices":[{"Name":"Cloud","UrlTemplate":"ws://cloud"}]})");
    EXPECT_EQ(AnswerOf(
                  [this] {
                      return api->PutOcppBackofficeConfig(
                          CFakeRequest(R"({"Name":"Cloud","Url":"ws://cloud/1"})"));
                  }),
              "204");
    EXPECT_EQ(AnswerOf([this] { return api->GetUserConfig(); }),
              R"(200 {"HmiBuzzerVolume":"1","PredefinedCpoName":"Cloud","SeccOcppUri":"ws://cloud/1",)"
              R"("TimeZone":"UTC"})");
}

// ---------------------------------------------------------------------------------------------- Schedules

TEST_F(ConfigSettings, ScheduleIsNotFoundOnAStationWithoutIt)
{
    EXPECT_EQ(AnswerOf([this] { return api->GetLocalChargingSchedule(); }), "404 Not Found");
    for (const std::string body : {"{}", R"({"Monday":[]})", "[]", "1", "null"})
    {
        EXPECT_EQ(AnswerOf([&] { return api->PostLocalChargingSchedule(CFakeRequest(body)); }),
                  "404 Not Found");
    }
}

TEST_F(ConfigSettings, ScheduleIsTheComponents)
{
    StartWithSchedule();
    EXPECT_CALL(*scheduledCharging, ReadSchedule).WillOnce(Return(Object({{"Monday", "a schedule"}})));

    EXPECT_EQ(AnswerOf([this] { return api->GetLocalChargingSchedule(); }), R"(200 {"Monday":"a schedule"})");
}

TEST_F(ConfigSettings, ScheduleThatTheComponentTakesIsAnsweredWithoutABody)
{
    StartWithSchedule();
    EXPECT_CALL(*scheduledCharging, WriteSchedule(Object({{"Monday", "a schedule"}}))).WillOnce(Return(true));

    EXPECT_EQ(
        AnswerOf([this]
                 { return api->PostLocalChargingSchedule(CFakeRequest(R"({"Monday":"a schedule"})")); }),
        "204");
}

TEST_F(ConfigSettings, ScheduleThatTheComponentRefusesIsABadRequest)
{
    StartWithSchedule();
    EXPECT_CALL(*scheduledCharging, WriteSchedule).WillOnce(Return(false));

    EXPECT_EQ(AnswerOf([this] { return api->PostLocalChargingSchedule(CFakeRequest("{}")); }),
              "400 \"Bad request. Invalid schedule.\"");
}

TEST_F(ConfigSettings, PatchOfTheScheduleSwitchReachesTheComponent)
{
    StartWithSchedule();
    EXPECT_CALL(*scheduledCharging, Enable).WillOnce(Return(true));

    EXPECT_EQ(PatchUser(R"({"ScheduledChargingEnable":true})"),
              R"(200 {"HmiBuzzerVolume":5,"ScheduledChargingEnable":true,"TimeZone":"UTC"})");
}

// -------------------------------------------------------------------------------------------- All handlers

TEST_F(ConfigSettings, BodyThatIsNoJsonIsABadRequestOfEveryHandler)
{
    for (const auto& [name, call] : HandlersOfBodies())
    {
        for (const std::string body : {"", " ", "{", "{\"a\":}", "Name=Cloud", "\xff", "{\"a\":1e999}"})
        {
            EXPECT_THAT(AnswerOf([&, &call = call] { return call(CFakeRequest(body)); }),
                        StartsWith("400 \"Could not parse body: "))
                << name << body;
        }
    }
}

TEST_F(ConfigSettings, BodyThatIsNoObjectHasItsAnswerInEveryHandler)
{
    const std::string libraryText = "500 in Json::Value::";
    const std::map<std::string, std::string> answers{
        {"PatchUserConfig", BadBody},
        {"PatchNetworkConfig", BadBody},
        {"PostAuthStandaloneList", libraryText},
        {"PatchAuthStandaloneToken", libraryText},
        {"PutWebIfManagementPassword", libraryText},
        {"PutWebIfManagementPasswordPuk", libraryText},
        {"PostLocalChargingSchedule", "404 Not Found"},
        {"PutOcppBackofficeConfig", libraryText},
    };
    for (const auto& [name, call] : HandlersOfBodies())
    {
        for (const std::string body :
             {"[]", "[1]", R"([{"NewPassword":"x"}])", "\"text\"", "\"\"", "1", "1.5", "true", "false"})
        {
            EXPECT_THAT(AnswerOf([&, &call = call] { return call(CFakeRequest(body)); }),
                        StartsWith(answers.at(name)))
                << name << body;
        }
    }
}

TEST_F(ConfigSettings, NullHasItsAnswerInEveryHandler)
{
    const std::map<std::string, std::string> answers{
        {"PatchUserConfig", BadBody},
        {"PatchNetworkConfig", BadBody},
        {"PostAuthStandaloneList", BadRequest},
        {"PatchAuthStandaloneToken", BadRequest},
        {"PutWebIfManagementPassword", BadRequest},
        {"PutWebIfManagementPasswordPuk", BadRequest},
        {"PostLocalChargingSchedule", "404 Not Found"},
        {"PutOcppBackofficeConfig", "204"},
    };
    for (const auto& [name, call] : HandlersOfBodies())
    {
        EXPECT_EQ(AnswerOf([&call = call] { return call(CFakeRequest("null")); }), answers.at(name)) << name;
    }
}

TEST_F(ConfigSettings, HandlersTraceTheirEntry)
{
    const CFakeRequest request;
    std::vector<SHandler> handlers = HandlersOfBodies();
    const auto add = [&](const std::string& name, const std::function<Response()>& call) {
        handlers.push_back({name, [call](const CFakeRequest&) { return call(); }});
    };
    add("GetUserConfig", [this] { return api->GetUserConfig(); });
    add("GetNetworkConfig", [this] { return api->GetNetworkConfig(); });
    add("GetAuthStandaloneList", [this] { return api->GetAuthStandaloneList(); });
    add("GetAuthStandaloneToken", [&] { return api->GetAuthStandaloneToken(request); });
    add("DeleteAuthStandaloneToken", [&] { return api->DeleteAuthStandaloneToken(request); });
    add("GetLocalChargingSchedule", [this] { return api->GetLocalChargingSchedule(); });
    add("GetOcppBackofficeConfig", [this] { return api->GetOcppBackofficeConfig(); });
    for (const auto& [name, call] : handlers)
    {
        const CCapturedLog log;
        AnswerOf([&, &call = call] { return call(request); });
        EXPECT_EQ(log.Messages().front(),
                  (CCapturedLog::SLine{Log::ELogLevel::Trace, "Resources::CConfigApi::" + name}));
    }
}

TEST_F(ConfigSettings, TenThousandMembersAreRefused)
{
    std::string body = "{";
    for (int i = 0; i < 10000; ++i)
    {
        body += "\"key" + std::to_string(i) + "\":" + std::to_string(i) + ",";
    }
    body.back() = '}';
    for (const auto& [name, call] : HandlersOfBodies())
    {
        if (name != "PostLocalChargingSchedule" && name != "PutOcppBackofficeConfig")
        {
            EXPECT_EQ(AnswerOf([&, &call = call] { return call(CFakeRequest(body)); }), BadRequest) << name;
        }
    }
}

TEST_F(ConfigSettings, NumbersBeyondAnIntegerAreRefused)
{
    for (const std::string value : {"2147483648",
                                    "-2147483649",
                                    "4294967296",
                                    "9223372036854775807",
                                    "9223372036854775808",
                                    "18446744073709551616",
                                    "1e30",
                                    "-1e300"})
    {
        EXPECT_EQ(PatchUser(R"({"HmiBuzzerVolume":)" + value + "}"), BadRequest) << value;
    }
    EXPECT_EQ(PatchUser(R"({"HmiBuzzerVolume":2147483647})"),
              R"(200 {"HmiBuzzerVolume":2147483647,"TimeZone":"UTC"})");
}

TEST_F(ConfigSettings, CommentsInABodyAreReadAndForgotten)
{
    EXPECT_EQ(PatchUser("{ // a comment\n \"TimeZone\": /* here */ \"CET\" /* and there */ }"),
              R"(200 {"HmiBuzzerVolume":5,"TimeZone":"CET"})");
    EXPECT_EQ(files.Stored("settings", "TimeZone"), "\"CET\"");
}
