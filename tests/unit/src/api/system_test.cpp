#include "src/api/httpexception.h"
#include "src/api/jsonresponse.h"
#include "src/api/restserver.h"
#include "src/api/system.h"

#include "platform/config/tarnconfig.h"
#include "platform/rpc/communicationexception.h"
#include "platform/toolbox/diagnosticspackager.h"

#include <json/value.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fakerequest.h"
#include "tests/fakes/mockauthorization.h"
#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"
#include "tests/support/privatenetwork.h"
#include "tests/support/rawhttp.h"
#include "tests/support/temporarydirectory.h"
#include "tests/unit/src/api/answertext.h"

namespace
{

using Resources::CSystemApi;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Property;
using testing::Return;
using testing::StartsWith;
using testing::StrictMock;
using testing::Throw;

const auto* const network = testing::AddGlobalTestEnvironment(new CPrivateNetwork);

constexpr std::uint16_t Port = 8080;

ipc::MResult Result(ipc::EResult status)
{
    ipc::MResult result;
    result.set_status(status);
    return result;
}

const JsonResponse& AsJson(const CSystemApi::Response& response)
{
    return dynamic_cast<const JsonResponse&>(*response);
}

class SystemApi : public testing::Test
{
protected:
    std::string Root() const { return directory.Root(); }

    void WriteHwInfo(const std::string& json) const { directory.Write("etc/config/hwinfo.json", json); }
    void WriteFwInfo(const std::string& json) const { directory.Write("etc/config/fwinfo.json", json); }
    void WriteSettings(const std::string& json) const { directory.Write("data/config/settings.json", json); }

    /// An API over the files as they are now.
    CSystemApi Api()
    {
        settings = TarnConfig::Create("settings", Root());
        return {boardControl,
                diagnostics,
                feedback,
                settings,
                TarnConfig::CreateStaticOnly("hwinfo", Root()),
                TarnConfig::CreateStaticOnly("fwinfo", Root()),
                nullptr,
                nullptr,
                nullptr,
                nullptr};
    }

    Json::Value Info() { return AsJson(Api().GetInfo()).GetValue(); }
    Json::Value Mode() { return AsJson(Api().GetWebInterfaceMode()).GetValue(); }

    /// The text of the 400 that a reboot request ends in.
    std::string RebootFailure(const std::string& body)
    {
        try
        {
            Api().Reboot(CFakeRequest(body));
            return "";
        }
        catch (const HttpException& exception)
        {
            EXPECT_EQ(exception.GetStatus(), 400);
            return exception.what();
        }
    }

    static void ExpectEmpty(const CSystemApi::Response& response)
    {
        EXPECT_EQ(response->get_response_code(), 204);
        EXPECT_EQ(std::string(response->get_header("Content-Type")), "text/plain");
        EXPECT_TRUE(AsJson(response).GetValue().isNull());
    }

    const CTemporaryDirectory directory;
    // strict: a service that a test doesn't expect to be called must not be
    const std::shared_ptr<StrictMock<CMockBoardControl>> boardControl =
        std::make_shared<StrictMock<CMockBoardControl>>();
    const std::shared_ptr<StrictMock<CMockDiagnostics>> diagnostics =
        std::make_shared<StrictMock<CMockDiagnostics>>();
    const std::shared_ptr<StrictMock<CMockFeedback>> feedback = std::make_shared<StrictMock<CMockFeedback>>();
    std::shared_ptr<TarnConfig> settings;
};

// ------------------------------------------------------------------------------------------------ Reboot

TEST_F(SystemApi, SoftRebootIsLoggedAndPassedToTheBoard)
{
    EXPECT_CALL(*boardControl, Reboot(ERebootType::Soft)).WillOnce(Return(Result(ipc::EResultOk)));
    const CCapturedLog log;

    ExpectEmpty(Api().Reboot(CFakeRequest(R"({"RebootType": "SoftReboot"})")));

    EXPECT_THAT(log.Messages(Log::ELogLevel::Info), ElementsAre("Soft reboot requested"));
}

TEST_F(SystemApi, HardRebootIsLoggedAndPassedToTheBoard)
{
    EXPECT_CALL(*boardControl, Reboot(ERebootType::Hard)).WillOnce(Return(Result(ipc::EResultOk)));
    const CCapturedLog log;

    ExpectEmpty(Api().Reboot(CFakeRequest(R"({"RebootType": "HardReboot"})")));

    EXPECT_THAT(log.Messages(Log::ELogLevel::Info), ElementsAre("Hard reboot requested"));
}

TEST_F(SystemApi, RebootThatTheBoardRefusesIsAnsweredAsASuccess)
{
    EXPECT_CALL(*boardControl, Reboot).WillOnce(Return(Result(ipc::EResultIllegal)));

    ExpectEmpty(Api().Reboot(CFakeRequest(R"({"RebootType": "SoftReboot"})")));
}

TEST_F(SystemApi, UnknownRebootTypeIsABadRequestAndRebootsNothing)
{
    const CCapturedLog log;

    for (const std::string type : {"softreboot", "SOFTREBOOT", "SoftReboot ", "Soft", "hardReboot", ""})
    {
        EXPECT_EQ(RebootFailure(R"({"RebootType": ")" + type + "\"}"), "Bad Request") << type;
    }
    EXPECT_THAT(log.Messages(Log::ELogLevel::Info), IsEmpty());
}

TEST_F(SystemApi, RebootWithoutAStringIsABadRequestAndRebootsNothing)
{
    for (const auto* body :
         {"{}", "null", R"({"RebootType": 1})", R"({"RebootType": null})", R"({"rebootType": "SoftReboot"})"})
    {
        EXPECT_EQ(RebootFailure(body), "Bad Request") << body;
    }
}

TEST_F(SystemApi, RebootWithABodyThatIsNotJsonIsABadRequestAndRebootsNothing)
{
    EXPECT_THAT(RebootFailure(""), StartsWith("\"Could not parse body: "));
    EXPECT_THAT(RebootFailure("SoftReboot"), StartsWith("\"Could not parse body: "));
}

TEST_F(SystemApi, RebootWithAnArrayThrowsTheJsonLibrarysException)
{
    EXPECT_THROW(Api().Reboot(CFakeRequest(R"(["SoftReboot"])")), Json::Exception);
}

TEST_F(SystemApi, RebootPassesOnThatTheBoardIsOutOfReach)
{
    EXPECT_CALL(*boardControl, Reboot).WillOnce(Throw(Rpc::CommunicationException("BoardControl.Reboot")));

    EXPECT_THROW(Api().Reboot(CFakeRequest(R"({"RebootType": "HardReboot"})")), Rpc::CommunicationException);
}

// ------------------------------------------------------------------------------------------------ Identify

TEST_F(SystemApi, IdentifySendsFeedbackEventThree)
{
    EXPECT_CALL(*feedback, SendEvent(Property(&ipc::MFbEventType::type, 3)))
        .WillOnce(Return(Result(ipc::EResultOk)));

    ExpectEmpty(Api().Identify());
}

TEST_F(SystemApi, IdentifyThatIsRefusedIsAnsweredAsASuccess)
{
    EXPECT_CALL(*feedback, SendEvent).WillOnce(Return(Result(ipc::EResultIllegal)));

    ExpectEmpty(Api().Identify());
}

TEST_F(SystemApi, IdentifyPassesOnThatFeedbackIsOutOfReach)
{
    EXPECT_CALL(*feedback, SendEvent).WillOnce(Throw(Rpc::CommunicationException("Feedback.SendEvent")));

    EXPECT_THROW(Api().Identify(), Rpc::CommunicationException);
}

// ------------------------------------------------------------------------------------------------ GetHealth

TEST_F(SystemApi, HealthIsTheEmptyAnswer)
{
    ExpectEmpty(Api().GetHealth());
}

// ------------------------------------------------------------------------------------------------
// GetWebInterfaceMode

TEST_F(SystemApi, ModeIsDashboardOnceTheInstallationIsComplete)
{
    WriteSettings(R"({"InstallationComplete": true})");

    const CSystemApi::Response response = Api().GetWebInterfaceMode();

    EXPECT_EQ(response->get_response_code(), 200);
    EXPECT_EQ(AsJson(response).GetValue().toStyledString(), "{\n\t\"Mode\" : \"dashboard\"\n}\n");
}

TEST_F(SystemApi, ModeIsCommissioningBeforeThat)
{
    WriteSettings(R"({"InstallationComplete": false})");

    EXPECT_EQ(Mode().toStyledString(), "{\n\t\"Mode\" : \"commissioning\"\n}\n");
}

TEST_F(SystemApi, ModeIsCommissioningWithoutTheSetting)
{
    EXPECT_EQ(Mode()["Mode"], "commissioning");
}

TEST_F(SystemApi, ModeFollowsTheSetting)
{
    CSystemApi api = Api();
    settings->SetBool("InstallationComplete", true);

    EXPECT_EQ(AsJson(api.GetWebInterfaceMode()).GetValue()["Mode"], "dashboard");
}

// ------------------------------------------------------------------------------------------------ GetInfo

TEST_F(SystemApi, InfoWithoutAnyFileHasAllKeys)
{
    const CSystemApi::Response response = Api().GetInfo();

    EXPECT_EQ(response->get_response_code(), 200);
    EXPECT_EQ(std::string(response->get_header("Content-Type")), "application/json");
    EXPECT_EQ(AsJson(response).GetValue().toStyledString(),
              "{\n"
              "\t\"CanChangeChargingPhases\" : false,\n"
              "\t\"CanChargeSinglePhase\" : true,\n"
              "\t\"CanChargeThreePhases\" : false,\n"
              "\t\"CustomerId\" : null,\n"
              "\t\"EthMacAddr\" : null,\n"
              "\t\"FwIdent\" : null,\n"
              "\t\"Hostname\" : null,\n"
              "\t\"HwFixedCableRating\" : null,\n"
              "\t\"HwFwCompat\" : null,\n"
              "\t\"HwHas4pRelay\" : null,\n"
              "\t\"HwHasBop\" : null,\n"
              "\t\"HwHasBuzzer\" : null,\n"
              "\t\"HwHasDualSocket\" : null,\n"
              "\t\"HwHasEthernet\" : null,\n"
              "\t\"HwHasLed\" : null,\n"
              "\t\"HwHasLte\" : null,\n"
              "\t\"HwHasMeter\" : null,\n"
              "\t\"HwHasMeterDisplay\" : null,\n"
              "\t\"HwHasPlc\" : null,\n"
              "\t\"HwHasRfid\" : null,\n"
              "\t\"HwHasRs485\" : null,\n"
              "\t\"HwHasSocket\" : null,\n"
              "\t\"HwHasTpm\" : null,\n"
              "\t\"HwHasWlan\" : null,\n"
              "\t\"HwMaxCurrent\" : null,\n"
              "\t\"HwOneOrThreePhase\" : null,\n"
              "\t\"MainboardPn\" : null,\n"
              "\t\"MainboardSn\" : null,\n"
              "\t\"MeterFwIdent\" : null,\n"
              "\t\"PlcMacAddr\" : null,\n"
              "\t\"ProductModelName\" : null,\n"
              "\t\"ProductPn\" : null,\n"
              "\t\"ProductSn\" : null,\n"
              "\t\"ProductVendorName\" : null,\n"
              "\t\"WlanApMacAddr\" : null,\n"
              "\t\"WlanStaMacAddr\" : null\n"
              "}\n");
}

TEST_F(SystemApi, InfoShowsEveryHardwareKeyUnderItsOwnName)
{
    const std::vector<std::string> keys = {
        "CustomerId",       "EthMacAddr",        "Hostname",    "HwFixedCableRating", "HwFwCompat",
        "HwHas4pRelay",     "HwHasBop",          "HwHasBuzzer", "HwHasDualSocket",    "HwHasEthernet",
        "HwHasLed",         "HwHasLte",          "HwHasMeter",  "HwHasMeterDisplay",  "HwHasPlc",
        "HwHasRfid",        "HwHasRs485",        "HwHasSocket", "HwHasTpm",           "HwHasWlan",
        "HwMaxCurrent",     "HwOneOrThreePhase", "MainboardPn", "MainboardSn",        "PlcMacAddr",
        "ProductModelName", "ProductPn",         "ProductSn",   "ProductVendorName",  "WlanApMacAddr",
        "WlanStaMacAddr"};
    ASSERT_EQ(keys.size(), 31U);
    Json::Value hwinfo;
    for (const std::string& key : keys)
    {
        hwinfo[key] = "value of " + key;
    }
    WriteHwInfo(hwinfo.toStyledString());

    const Json::Value info = Info();

    EXPECT_EQ(info.size(), 36U);
    for (const std::string& key : keys)
    {
        EXPECT_EQ(info[key], "value of " + key);
    }
}

TEST_F(SystemApi, InfoPassesValuesThroughAsTheFileHoldsThem)
{
    WriteHwInfo(R"({"HwMaxCurrent": 32, "HwHasLed": true, "HwFixedCableRating": 16.5, "ProductPn": "007",
                    "HwFwCompat": {"Least": [1, 2]}, "Hostname": null})");

    const Json::Value info = Info();

    EXPECT_EQ(info["HwMaxCurrent"], 32);
    EXPECT_EQ(info["HwHasLed"], true);
    EXPECT_EQ(info["HwFixedCableRating"], 16.5);
    EXPECT_EQ(info["ProductPn"], "007");
    EXPECT_EQ(info["HwFwCompat"]["Least"][1], 2);
    EXPECT_TRUE(info["Hostname"].isNull());
}

TEST_F(SystemApi, InfoOmitsOtherKeysOfTheFiles)
{
    WriteHwInfo(R"({"Secret": "x", "MeterFwIdent": "x", "FwIdent": "x"})");
    WriteFwInfo(R"({"Other": "x", "ProductPn": "x", "MeterFwIdent": "x"})");

    const Json::Value info = Info();

    EXPECT_EQ(info.size(), 36U);
    for (const Json::Value& value : info)
    {
        EXPECT_NE(value, "x");
    }
}

TEST_F(SystemApi, InfoShowsAMissingHardwareKeyAsNull)
{
    WriteHwInfo(R"({"HwHasLed": true})");

    const Json::Value info = Info();

    EXPECT_TRUE(info.isMember("HwHasRfid"));
    EXPECT_TRUE(info["HwHasRfid"].isNull());
}

TEST_F(SystemApi, InfoShowsTheFirmwaresUnderTheirOutwardNames)
{
    WriteFwInfo(R"({"FwIdent": "1.2.3", "FwMeterVersion": "m4"})");

    const Json::Value info = Info();

    EXPECT_EQ(info["FwIdent"], "1.2.3");
    EXPECT_EQ(info["MeterFwIdent"], "m4");
    EXPECT_FALSE(info.isMember("FwMeterVersion"));
}

TEST_F(SystemApi, InfoShowsAMissingMeterFirmwareAsNull)
{
    WriteFwInfo(R"({"FwIdent": "1.2.3"})");

    const Json::Value info = Info();

    EXPECT_TRUE(info.isMember("MeterFwIdent"));
    EXPECT_TRUE(info["MeterFwIdent"].isNull());
}

TEST_F(SystemApi, InfoTellsThreePhasesOfHardwareThatHasThem)
{
    WriteHwInfo(R"({"HwOneOrThreePhase": 3})");

    const Json::Value info = Info();

    EXPECT_EQ(info["CanChargeSinglePhase"], false);
    EXPECT_EQ(info["CanChargeThreePhases"], true);
    EXPECT_EQ(info["CanChangeChargingPhases"], false);
}

TEST_F(SystemApi, InfoTellsAChangeOfPhasesWithARelay)
{
    WriteHwInfo(R"({"HwOneOrThreePhase": 3, "HwHas4pRelay": true})");

    const Json::Value info = Info();

    EXPECT_EQ(info["CanChargeSinglePhase"], true);
    EXPECT_EQ(info["CanChargeThreePhases"], true);
    EXPECT_EQ(info["CanChangeChargingPhases"], true);
}

TEST_F(SystemApi, InfoTellsASinglePhaseWhereTheSettingsConnectOne)
{
    WriteHwInfo(R"({"HwOneOrThreePhase": 3, "HwHas4pRelay": true})");
    WriteSettings(R"({"ConnectedPhases": 1})");

    const Json::Value info = Info();

    EXPECT_EQ(info["CanChargeSinglePhase"], true);
    EXPECT_EQ(info["CanChargeThreePhases"], false);
    EXPECT_EQ(info["CanChangeChargingPhases"], false);
}

// ------------------------------------------------------------------------------------------------
// GetDiagnosticsSnapshot

TEST_F(SystemApi, SnapshotIsWhatTheServiceSaysOfItsSignals)
{
    EXPECT_CALL(*diagnostics, GetSignal)
        .Times(7)
        .WillRepeatedly(
            [](const ipc::MSignalIdentifier& identifier)
            {
                ipc::MDiagnosticsSignal signal;
                signal.set_identifier(identifier.identifier());
                return signal;
            });

    const CSystemApi::Response response = Api().GetDiagnosticsSnapshot();

    EXPECT_EQ(response->get_response_code(), 200);
    EXPECT_EQ(std::string(response->get_header("Content-Type")), "application/json");
    const Json::Value& signals = AsJson(response).GetValue()["Signals"];
    ASSERT_EQ(signals.size(), 7U);
    EXPECT_EQ(signals[0]["Identifier"], 140);
}

TEST_F(SystemApi, SnapshotPassesOnThatDiagnosticsIsOutOfReach)
{
    EXPECT_CALL(*diagnostics, GetSignal)
        .WillOnce(Throw(Rpc::CommunicationException("Diagnostics.GetSignal")));

    EXPECT_THROW(Api().GetDiagnosticsSnapshot(), Rpc::CommunicationException);
}

// ------------------------------------------------------------------------------------------------ all

TEST_F(SystemApi, LogsTheEntryOfItsConstructorAndHandlers)
{
    EXPECT_CALL(*boardControl, Reboot).WillOnce(Return(Result(ipc::EResultOk)));
    EXPECT_CALL(*feedback, SendEvent).WillOnce(Return(Result(ipc::EResultOk)));
    EXPECT_CALL(*diagnostics, GetSignal).Times(7);
    const CCapturedLog log;
    CSystemApi api = Api();
    api.Reboot(CFakeRequest(R"({"RebootType": "SoftReboot"})"));
    api.GetInfo();
    api.GetHealth();
    api.Identify();
    api.GetWebInterfaceMode();
    api.GetDiagnosticsSnapshot();

    std::vector<std::string> entries;
    for (const std::string& text : log.Messages(Log::ELogLevel::Trace))
    {
        if (text.find("Resources::CSystemApi::") == 0)
        {
            entries.push_back(text);
        }
    }
    EXPECT_THAT(entries,
                ElementsAre("Resources::CSystemApi::CSystemApi",
                            "Resources::CSystemApi::Reboot",
                            "Resources::CSystemApi::GetInfo",
                            "Resources::CSystemApi::GetHealth",
                            "Resources::CSystemApi::Identify",
                            "Resources::CSystemApi::GetWebInterfaceMode",
                            "Resources::CSystemApi::GetDiagnosticsSnapshot"));
}

/// The handlers behind a server whose sessions are all dead.
class SystemApiOverTheWire : public SystemApi
{
protected:
    SystemApiOverTheWire()
        : api(Api())
        , authorization(std::make_shared<testing::NiceMock<CMockAuthorization>>())
        , server(Port, authorization)
    {
        const bool gated = true;
        server.AddRoute(
            EHttpMethod::Post,
            "/system/reboot",
            [this](const auto& request) { return api.Reboot(request); },
            false);
        server.AddRoute(
            EHttpMethod::Get, "/system/info", [this](const auto&) { return api.GetInfo(); }, gated);
        server.AddRoute(
            EHttpMethod::Get, "/system/health", [this](const auto&) { return api.GetHealth(); }, false);
        server.AddRoute(
            EHttpMethod::Get,
            "/system/diagnostics/snapshot",
            [this](const auto&) { return api.GetDiagnosticsSnapshot(); },
            false);
        server.Start();
    }

    CSystemApi api;
    const std::shared_ptr<testing::NiceMock<CMockAuthorization>> authorization;
    CRestServer server;
};

TEST_F(SystemApiOverTheWire, HealthAnswersWithoutASessionAndInfoDoesNot)
{
    EXPECT_EQ(AnswerText(HttpRequest(Port, "GET", "/system/health")), EmptyAnswer());
    EXPECT_EQ(AnswerText(HttpRequest(Port, "GET", "/system/info")),
              JsonAnswer("401 Unauthorized", "\"Unauthorized\"\n"));
}

TEST_F(SystemApiOverTheWire, SnapshotIsTheStyledTextOfItsValue)
{
    EXPECT_CALL(*diagnostics, GetSignal)
        .WillRepeatedly(
            [](const ipc::MSignalIdentifier& identifier)
            {
                ipc::MDiagnosticsSignal signal;
                signal.set_identifier(identifier.identifier());
                signal.add_data()->set_string_value("a \"word\"");
                return signal;
            });
    const Json::Value value = AsJson(api.GetDiagnosticsSnapshot()).GetValue();
    ASSERT_EQ(value["Signals"].size(), 7U);

    const SHttpResponse answer = HttpRequest(Port, "GET", "/system/diagnostics/snapshot");

    EXPECT_EQ(answer.statusLine, "HTTP/1.1 200 OK");
    EXPECT_EQ(answer.Header("Content-Type"), "application/json");
    EXPECT_EQ(answer.body, value.toStyledString());
}

TEST_F(SystemApiOverTheWire, UnknownRebootTypeIsAnsweredWithTheReasonWord)
{
    EXPECT_EQ(AnswerText(HttpRequest(Port,
                                     "POST",
                                     "/system/reboot",
                                     {{"Content-Type", "application/json"}},
                                     R"({"RebootType": "softreboot"})")),
              JsonAnswer("400 Bad Request", "\"Bad Request\"\n"));
}

TEST_F(SystemApiOverTheWire, BoardOutOfReachIsAnInternalErrorWithTheTransportsText)
{
    EXPECT_CALL(*boardControl, Reboot)
        .WillOnce(Throw(Rpc::CommunicationException("BoardControl is out of reach")));

    EXPECT_EQ(AnswerText(HttpRequest(Port,
                                     "POST",
                                     "/system/reboot",
                                     {{"Content-Type", "application/json"}},
                                     R"({"RebootType": "SoftReboot"})")),
              JsonAnswer("500 Internal Server Error", "\"BoardControl is out of reach\"\n"));
}

} // namespace
