#include "src/api/config.h"
#include "src/api/configapplicator.h"
#include "src/api/jsonbody.h"
#include "src/api/jsonresponse.h"
#include "src/configaudit.h"

#include "contracts/diagnostics/diagnosticscommclient.h"
#include "platform/config/tarnconfig.h"
#include "platform/json/jsonutil.h"
#include "platform/rpc/communicationexception.h"

#include <json/value.h>

#include <array>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fakerequest.h"
#include "tests/fakes/mockauthorization.h"
#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"
#include "tests/support/configfiles.h"
#include "tests/support/quickpassword.h"
#include "tests/support/requestfailure.h"
#include "tests/support/runtogether.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::NiceMock;
using testing::UnorderedElementsAreArray;

constexpr int SecurityParameterChanged = 20301;
constexpr int ParameterChanged = 20500;

/// Number and text of a signal.
using Signal = std::pair<int, std::string>;

const std::vector<std::string> MaskedKeys{"AuthorizationKey",
                                          "FwUpdateAuthPassword",
                                          "WebIfManagementPassword",
                                          "WlanApPassword",
                                          "WlanStaPassword"};

const std::vector<std::string> ClearSecurityKeys{"SeccOcppUri", "NtpServer1", "NtpServer2"};

/// Keys of the three files that are neither.
const std::vector<std::string> PlainKeys{"HmiLedIntensityMin",
                                         "HmiLedIntensityMax",
                                         "HmiLedIntensityManual",
                                         "HmiLedIntensityMode",
                                         "HmiBuzzerVolume",
                                         "SessionManagerChargeWithoutAuth",
                                         "CurrentCtrlFixedChargeCurrentLimit",
                                         "SeccOcppActive",
                                         "GroundMonitoring",
                                         "ConnectedPhases",
                                         "PhaseRotation",
                                         "CurrentCtrlBopEnable",
                                         "CurrentCtrlBopFuseRating",
                                         "CurrentCtrlBopCtType",
                                         "GroupLoadBalancingEnable",
                                         "GroupLoadBalancingRole",
                                         "GroupLoadBalancingMaxCurrent",
                                         "GroupLoadBalancingFallbackCurrent",
                                         "TimeZone",
                                         "BopSource",
                                         "BopSourceParameters",
                                         "BopHomeWizardAddress",
                                         "BopFallbackCurrent",
                                         "LocalSmartChargingAllowed",
                                         "UserDefinedChargeLimitCurrentAllowed",
                                         "UserDefinedChargeLimitCurrent",
                                         "ScheduledChargingAllowed",
                                         "ScheduledChargingEnable",
                                         "SolarChargingAllowed",
                                         "SolarChargingEnable",
                                         "SolarChargingSource",
                                         "SolarChargingSourceParameters",
                                         "SolarChargingMode",
                                         "PredefinedCpoName",
                                         "InstallationComplete",
                                         "WebIfUpdateHelperUrl",
                                         "NetMApEnable",
                                         "NetMEthEnable",
                                         "NetMWlanEnable",
                                         "NetMLteEnable",
                                         "NetMLteNbIotEnable",
                                         "NetMPlcEnable",
                                         "NetMEthDhcpEnable",
                                         "NetMWlanDhcpEnable",
                                         "NetMDnsAuto",
                                         "NetMEthIpv4Addr",
                                         "NetMEthIpv4Netmask",
                                         "NetMWlanIpv4Addr",
                                         "NetMWlanIpv4Netmask",
                                         "NetMEthGatewayAddr",
                                         "NetMPreferredDnsServerAddr",
                                         "NetMAlternativeDnsServerAddr",
                                         "NetMSsid",
                                         "NetMLteApn",
                                         "NetMLteApnPass",
                                         "NetMLteSimPin",
                                         "WebIfPukCode",
                                         "HwMaxCurrent"};

Signal SecuritySignal(const std::string& key, const std::string& shown)
{
    return {SecurityParameterChanged, "Security parameter " + key + " has been reconfigured to " + shown};
}

Signal PlainSignal(const std::string& key, const std::string& shown)
{
    return {ParameterChanged, "Parameter " + key + " has been reconfigured to " + shown};
}

const Json::Value& ValueOf(const Resources::CConfigApi::Response& response)
{
    return dynamic_cast<const JsonResponse&>(*response).GetValue();
}

class ConfigAudit : public testing::Test
{
protected:
    ConfigAudit()
    {
        CDiagnosticsCommClient::Initialize(diagnostics);
        ON_CALL(*diagnostics, SendSignal)
            .WillByDefault(
                [this](const ipc::MSignalReport& report)
                {
                    EXPECT_EQ(report.signal().data_size(), 1);
                    const std::lock_guard lock(mutex);
                    signals.emplace_back(report.signal().identifier(),
                                         report.signal().data(0).string_value());
                    return ipc::MResult();
                });
    }

    ~ConfigAudit() override { CDiagnosticsCommClient::Shutdown(); }

    /// A configuration whose changes are reported.
    std::shared_ptr<TarnConfig> Open(const std::string& name) const
    {
        return files.Open(name, &ConfigChangeCallback);
    }

    /// The signals since the last of these.
    std::vector<Signal> TakeSignals()
    {
        const std::lock_guard lock(mutex);
        return std::exchange(signals, {});
    }

    /// What goes out for a value, as JSON text, of a plain setting.
    std::vector<Signal> SignalsOf(const std::string& value)
    {
        ConfigChangeCallback("Key", ParseJsonBody(CFakeRequest(value)));
        return TakeSignals();
    }

    const CConfigFiles files;
    const std::shared_ptr<NiceMock<CMockDiagnosticsReport>> diagnostics =
        std::make_shared<NiceMock<CMockDiagnosticsReport>>();

private:
    std::mutex mutex;

    // Guarded by mutex
    std::vector<Signal> signals;
};

} // namespace

// ----------------------------------------------------------------------------------------------- By key

TEST_F(ConfigAudit, PasswordsAndKeysGoOutMasked)
{
    for (const std::string& key : MaskedKeys)
    {
        ConfigChangeCallback(key, "secret");
        EXPECT_THAT(TakeSignals(), ElementsAre(SecuritySignal(key, "****"))) << key;
    }
}

TEST_F(ConfigAudit, MaskDoesNotTellWhetherThereIsAValue)
{
    for (const std::string& key : MaskedKeys)
    {
        for (const Json::Value& value : {Json::Value(""), Json::Value(), Json::Value(1), Json::Value(true)})
        {
            ConfigChangeCallback(key, value);
            EXPECT_THAT(TakeSignals(), ElementsAre(SecuritySignal(key, "****"))) << key;
        }
    }
}

TEST_F(ConfigAudit, OtherSecurityParametersGoOutInClear)
{
    for (const std::string& key : ClearSecurityKeys)
    {
        ConfigChangeCallback(key, "time.example");
        EXPECT_THAT(TakeSignals(), ElementsAre(SecuritySignal(key, "time.example")));
    }
}

TEST_F(ConfigAudit, AllOtherKeysAreParametersInClear)
{
    for (const std::string& key : PlainKeys)
    {
        ConfigChangeCallback(key, "new value");
        EXPECT_THAT(TakeSignals(), ElementsAre(PlainSignal(key, "new value")));
    }
}

TEST_F(ConfigAudit, KeysAreComparedExactly)
{
    for (const std::string key : {"wlanstapassword",
                                  "WlanStaPassword ",
                                  "WlanStaPasswor",
                                  "ntpserver1",
                                  "NtpServer",
                                  "NtpServer3",
                                  ""})
    {
        ConfigChangeCallback(key, "x");
        EXPECT_THAT(TakeSignals(), ElementsAre(PlainSignal(key, "x")));
    }
    const std::string withZero("NtpServer1\0", 11);
    ConfigChangeCallback(withZero, "x");
    EXPECT_THAT(TakeSignals(), ElementsAre(PlainSignal(withZero, "x")));
}

// --------------------------------------------------------------------------------------------- By value

TEST_F(ConfigAudit, BooleansAndNumbersGoOutAsTheirText)
{
    EXPECT_THAT(SignalsOf("true"), ElementsAre(PlainSignal("Key", "true")));
    EXPECT_THAT(SignalsOf("false"), ElementsAre(PlainSignal("Key", "false")));
    EXPECT_THAT(SignalsOf("16"), ElementsAre(PlainSignal("Key", "16")));
    EXPECT_THAT(SignalsOf("-7"), ElementsAre(PlainSignal("Key", "-7")));
    EXPECT_THAT(SignalsOf("18446744073709551615"), ElementsAre(PlainSignal("Key", "18446744073709551615")));
    EXPECT_THAT(SignalsOf("1.5"), ElementsAre(PlainSignal("Key", "1.5")));
}

TEST_F(ConfigAudit, NullGoesOutAsAnEmptyText)
{
    EXPECT_THAT(SignalsOf("null"), ElementsAre(PlainSignal("Key", "")));
    EXPECT_THAT(SignalsOf("\"\""), ElementsAre(PlainSignal("Key", "")));
}

TEST_F(ConfigAudit, TextsGoOutAsTheyAre)
{
    EXPECT_THAT(SignalsOf(R"("{} %s \"quoted\" \u0000 \u00e4")"),
                ElementsAre(PlainSignal("Key", std::string("{} %s \"quoted\" \0 \xc3\xa4", 19))));
    const std::string huge(1 << 20, 'x');
    EXPECT_THAT(SignalsOf("\"" + huge + "\""), ElementsAre(PlainSignal("Key", huge)));
}

TEST_F(ConfigAudit, ArraysAndObjectsAreLoggedAndSendNothing)
{
    for (const std::string value : {"[]", "[1,2]", R"([{"Key":"a"}])", "{}", R"({"a":1})"})
    {
        const CCapturedLog log;

        EXPECT_THAT(SignalsOf(value), IsEmpty());

        const std::string styled = ParseJsonBody(CFakeRequest(value)).toStyledString();
        EXPECT_THAT(log.Messages(),
                    ElementsAre(CCapturedLog::SLine{
                        Log::ELogLevel::Debug,
                        "Skip logging. Key Key is changed with non string-convertible value " + styled}));
    }
}

TEST_F(ConfigAudit, SecurityParameterWithoutATextSendsNothing)
{
    ConfigChangeCallback("NtpServer1", Json::Value(Json::arrayValue));

    EXPECT_THAT(TakeSignals(), IsEmpty());
}

TEST_F(ConfigAudit, MaskIsForReportsAndNotForValuesWithoutAText)
{
    for (const std::string& key : MaskedKeys)
    {
        const CCapturedLog log;
        const Json::Value value = ParseJsonBody(CFakeRequest(R"({"inner":["odd"]})"));

        ConfigChangeCallback(key, value);

        EXPECT_THAT(TakeSignals(), IsEmpty());
        EXPECT_THAT(log.Messages(),
                    ElementsAre(CCapturedLog::SLine{Log::ELogLevel::Debug,
                                                    "Skip logging. Key " + key +
                                                        " is changed with non string-convertible value " +
                                                        value.toStyledString()}));
    }
}

// ----------------------------------------------------------------------------------- Through the settings

TEST_F(ConfigAudit, ChangedSettingIsReportedOnceAndAnUnchangedOneIsNot)
{
    const auto settings = Open("settings");

    settings->SetValue("HmiBuzzerVolume", 5);
    settings->SetValue("HmiBuzzerVolume", 5);
    settings->SetBool("ScheduledChargingEnable", true);
    settings->SetString("SeccOcppUri", "ws://office");

    EXPECT_THAT(TakeSignals(),
                ElementsAre(PlainSignal("HmiBuzzerVolume", "5"),
                            PlainSignal("ScheduledChargingEnable", "true"),
                            SecuritySignal("SeccOcppUri", "ws://office")));
}

TEST_F(ConfigAudit, EachSettingOfAPatchIsReportedInKeyOrder)
{
    files.Write("settings", R"({"HmiBuzzerVolume":5,"TimeZone":"UTC"})");
    CSettingsConfigApplicator applicator(Open("settings"), nullptr);

    applicator.PatchConfig(ParseJsonBody(
        CFakeRequest(R"({"TimeZone":"UTC","HmiBuzzerVolume":6,"GroundMonitoring":false,"BopSource":"P1"})")));

    EXPECT_THAT(TakeSignals(),
                ElementsAre(PlainSignal("BopSource", "P1"),
                            PlainSignal("GroundMonitoring", "false"),
                            PlainSignal("HmiBuzzerVolume", "6")));
}

TEST_F(ConfigAudit, RefusedPatchReportsNothing)
{
    CSettingsConfigApplicator applicator(Open("settings"), nullptr);

    EXPECT_EQ(FailureOf(
                  [&] {
                      applicator.PatchConfig(
                          ParseJsonBody(CFakeRequest(R"({"HmiBuzzerVolume":6,"SeccOcppUri":"ws://x"})")));
                  }),
              "400 Bad Request");

    EXPECT_THAT(TakeSignals(), IsEmpty());
}

TEST_F(ConfigAudit, RevertIsReportedAsWellAsTheChange)
{
    files.Write("network", R"({"NetMSsid":"home"})");
    const auto netM = std::make_shared<NiceMock<CMockNetM>>();
    CNetworkConfigApplicator applicator(Open("network"), netM);

    EXPECT_EQ(
        FailureOf([&] { applicator.PatchConfig(ParseJsonBody(CFakeRequest(R"({"NetMSsid":"office"})"))); }),
        "500 Internal Server Error");

    EXPECT_THAT(TakeSignals(),
                ElementsAre(PlainSignal("NetMSsid", "office"), PlainSignal("NetMSsid", "home")));
}

TEST_F(ConfigAudit, UnreachableDiagnosticsFailTheRequestAndTheChangeStands)
{
    EXPECT_CALL(*diagnostics, SendSignal)
        .WillOnce(testing::Throw(Rpc::CommunicationException("Diagnostics.SendSignal: gone")));
    CSettingsConfigApplicator applicator(Open("settings"), nullptr);

    EXPECT_EQ(
        FailureOf([&] { applicator.PatchConfig(ParseJsonBody(CFakeRequest(R"({"HmiBuzzerVolume":6})"))); }),
        "500 Diagnostics.SendSignal: gone");

    EXPECT_EQ(files.Stored("settings"), R"({"HmiBuzzerVolume":6})");
}

TEST_F(ConfigAudit, MaskedValuesOfABackOfficeAppearNowhere)
{
    std::string settings;
    std::vector<std::string> secrets;
    std::vector<Signal> expected{PlainSignal("PredefinedCpoName", "Cloud"),
                                 SecuritySignal("SeccOcppUri", "ws://x")};
    for (const std::string file : {"network", "secrets", "settings"})
    {
        for (const std::string& key : MaskedKeys)
        {
            secrets.push_back("hidden" + std::to_string(secrets.size()));
            settings += (settings.empty() ? "" : ",") + std::string(R"({"File":")") + file + R"(","Key":")" +
                        key + R"(","Value":")" + secrets.back() + "\"}";
            expected.push_back(SecuritySignal(key, "****"));
        }
    }
    files.Write("ocpp_backoffices", R"({"Backoffices":[{"Name":"Cloud","Settings":[)" + settings + "]}]}");
    COcppBackofficeApplicator applicator(
        files.Open("ocpp_backoffices"), Open("settings"), Open("network"), Open("secrets"));
    const CCapturedLog log;

    applicator.PatchConfig(ParseJsonBody(CFakeRequest(R"({"Name":"Cloud","Url":"ws://x"})")));

    EXPECT_THAT(TakeSignals(), UnorderedElementsAreArray(expected));
    for (const std::string& secret : secrets)
    {
        for (const CCapturedLog::SLine& line : log.Lines())
        {
            EXPECT_EQ(line.text.find(secret), std::string::npos) << line.text;
        }
        EXPECT_EQ(JsonUtil::WriteUnstyled(applicator.GetConfig()).find(secret), std::string::npos);
    }
}

TEST_F(ConfigAudit, PasswordsThatAreSetOverTheApiAppearNowhere)
{
    const auto authorization = std::make_shared<NiceMock<CMockAuthorization>>();
    ON_CALL(*authorization, CheckPassword).WillByDefault(testing::Return(true));
    files.Write("secrets", R"({"WebIfPukCode":")" + EncodedQuickly("hidden-puk") + "\"}");
    const auto secrets = Open("secrets");
    const CCapturedLog log;
    Resources::CConfigApi api(authorization,
                              files.Open("rfid_standalone"),
                              nullptr,
                              std::make_shared<CNetworkConfigApplicator>(Open("network"), nullptr),
                              std::make_shared<CNetworkSecretsApplicator>(secrets),
                              nullptr,
                              secrets,
                              nullptr);

    api.PutWebIfManagementPassword(
        CFakeRequest(R"({"CurrentPassword":"hidden-current","NewPassword":"hidden-new"})"));
    const std::string firstEncoded = secrets->GetString("WebIfManagementPassword", "");
    api.PutWebIfManagementPasswordPuk(
        CFakeRequest(R"({"PukCode":"hidden-puk","NewPassword":"hidden-newer"})"));
    const std::string secondEncoded = secrets->GetString("WebIfManagementPassword", "");
    ASSERT_NE(firstEncoded, secondEncoded);
    const std::string answer = ValueOf(api.GetNetworkConfig()).toStyledString();

    EXPECT_THAT(TakeSignals(),
                ElementsAre(SecuritySignal("WebIfManagementPassword", "****"),
                            SecuritySignal("WebIfManagementPassword", "****")));
    for (const std::string& secret : {std::string("hidden"), firstEncoded, secondEncoded})
    {
        EXPECT_EQ(answer.find(secret), std::string::npos);
        for (const CCapturedLog::SLine& line : log.Lines())
        {
            EXPECT_EQ(line.text.find(secret), std::string::npos) << line.text;
        }
    }
}

TEST_F(ConfigAudit, TextOfTheSignalIsNotLogged)
{
    const CCapturedLog log;

    ConfigChangeCallback("HmiBuzzerVolume", 5);
    ConfigChangeCallback("NtpServer1", "time.example");
    ConfigChangeCallback("WlanStaPassword", "secret");

    EXPECT_THAT(log.Messages(), IsEmpty());
}

TEST_F(ConfigAudit, ChangesOfSeveralFilesAtTheSameTimeAreAllReported)
{
    constexpr int Rounds = 20;
    const std::array<std::shared_ptr<TarnConfig>, 3> configs{
        Open("network"), Open("secrets"), Open("settings")};

    RunTogether(6,
                [&](int number)
                {
                    const auto& config = configs.at(static_cast<std::size_t>(number) % configs.size());
                    for (int round = 0; round < Rounds; ++round)
                    {
                        config->SetValue("Key" + std::to_string(number), round);
                    }
                });

    std::multiset<Signal> expected;
    for (int number = 0; number < 6; ++number)
    {
        for (int round = 0; round < Rounds; ++round)
        {
            expected.insert(PlainSignal("Key" + std::to_string(number), std::to_string(round)));
        }
    }
    const std::vector<Signal> sent = TakeSignals();
    EXPECT_EQ(std::multiset<Signal>(sent.begin(), sent.end()), expected);
}
