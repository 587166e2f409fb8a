#include "src/api/configapplicator.h"
#include "src/api/jsonbody.h"

#include "platform/json/jsonutil.h"
#include "platform/rpc/communicationexception.h"

#include <json/value.h>

#include <memory>
#include <string>
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

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrictMock;

const std::string BadRequest = "400 Bad Request";
const std::string InternalError = "500 Internal Server Error";

const std::string NothingChanged =
    "Attempt to patch the NetM configuration did not result in a different config. Skipping validation and "
    "application of the config.";

std::string Refused(const std::string& config)
{
    return "NetM config validation failed with new config values in the request. We will revert and try "
           "again. The following config changes were made " +
           config + ".";
}

const std::string Reverted = "NetM validation succeeded after reverting config values.";

std::string RevertRefused(const std::string& config)
{
    return "Even after reverting the config values to their original state NetM returned a failure. We "
           "return an internal server error exception. Original config: " +
           config;
}

CCapturedLog::SLine Error(const std::string& text)
{
    return {Log::ELogLevel::Error, text};
}

CCapturedLog::SLine Warning(const std::string& text)
{
    return {Log::ELogLevel::Warn, text};
}

CCapturedLog::SLine Info(const std::string& text)
{
    return {Log::ELogLevel::Info, text};
}

/// Members of the present configuration, as JSON text.
std::string Config(bool dnsAuto, const std::string& ssid)
{
    std::string text = R"({"NetMAlternativeDnsServerAddr":"","NetMApEnable":true,"NetMDnsAuto":)";
    text += dnsAuto ? "true" : "false";
    text +=
        R"(,"NetMEthDhcpEnable":true,"NetMEthEnable":true,"NetMEthGatewayAddr":"","NetMEthIpv4Addr":"",)"
        R"("NetMEthIpv4Netmask":"","NetMLteEnable":false,"NetMLteNbIotEnable":false,"NetMPlcEnable":false,)"
        R"("NetMPreferredDnsServerAddr":"","NetMSsid":")";
    return text + ssid +
           R"(","NetMWlanDhcpEnable":true,"NetMWlanEnable":false,"NetMWlanIpv4Addr":"",)"
           R"("NetMWlanIpv4Netmask":""})";
}

class NetworkApplicator : public testing::Test
{
protected:
    NetworkApplicator() { Start(Config(true, "home")); }

    void Start(const std::string& json)
    {
        files.Write("network", json);
        network = files.Open("network");
        applicator = std::make_unique<CNetworkConfigApplicator>(network, netM);
    }

    std::string PatchFailure(const std::string& body)
    {
        return FailureOf([&] { applicator->PatchConfig(ParseJsonBody(CFakeRequest(body))); });
    }

    /// Has the manager answer its next calls. It notes what the file holds at each.
    void ManagerAnswers(const std::vector<bool>& answers)
    {
        auto& call = EXPECT_CALL(*netM, ValidateConfig).Times(static_cast<int>(answers.size()));
        for (const bool answer : answers)
        {
            call.WillOnce(
                [this, answer]
                {
                    validated.push_back(files.Stored("network"));
                    return answer;
                });
        }
    }

    std::string Stored() const { return files.Stored("network"); }

    const CConfigFiles files;
    // strict: it must not be called unless a test expects it
    const std::shared_ptr<StrictMock<CMockNetM>> netM = std::make_shared<StrictMock<CMockNetM>>();
    std::shared_ptr<TarnConfig> network;
    std::unique_ptr<CNetworkConfigApplicator> applicator;
    std::vector<std::string> validated;
};

} // namespace

TEST_F(NetworkApplicator, ManagerFindsAChangeInTheFile)
{
    ManagerAnswers({true});
    const CCapturedLog log(Log::ELogLevel::Info);

    EXPECT_EQ(PatchFailure(R"({"NetMDnsAuto":false,"NetMSsid":"office"})"), "");

    EXPECT_THAT(validated, ElementsAre(Config(false, "office")));
    EXPECT_EQ(Stored(), Config(false, "office"));
    EXPECT_THAT(log.Messages(), IsEmpty());
}

TEST_F(NetworkApplicator, RefusedPatchReachesNeitherFileNorManager)
{
    for (const std::string badMember : {R"("A":1)", R"("zz":1)", R"("NetMLteApn":"x")", R"("NetMSsid":1)"})
    {
        EXPECT_EQ(PatchFailure(R"({"NetMDnsAuto":false,)" + badMember + "}"), BadRequest) << badMember;
        EXPECT_EQ(PatchFailure("{" + badMember + R"(,"NetMDnsAuto":false})"), BadRequest) << badMember;
    }
    EXPECT_EQ(Stored(), Config(true, "home"));
}

TEST_F(NetworkApplicator, PatchWithoutEffectIsASuccessThatTheManagerDoesNotHearOf)
{
    for (const std::string body : {"{}", "null", R"({"NetMDnsAuto":true})", R"({"NetMSsid":"home"})"})
    {
        const CCapturedLog log(Log::ELogLevel::Info);
        EXPECT_EQ(PatchFailure(body), "") << body;
        EXPECT_THAT(log.Messages(), ElementsAre(Warning(NothingChanged))) << body;
    }
    EXPECT_EQ(Stored(), Config(true, "home"));
}

TEST_F(NetworkApplicator, OwnAnswerPatchedBackIsWithoutEffect)
{
    EXPECT_EQ(FailureOf([&] { applicator->PatchConfig(applicator->GetConfig()); }), "");
}

TEST_F(NetworkApplicator, RefusedChangeIsRevertedAndTheManagerActsOnTheOldValues)
{
    ManagerAnswers({false, true});
    const CCapturedLog log(Log::ELogLevel::Info);

    EXPECT_EQ(PatchFailure(R"({"NetMDnsAuto":false,"NetMSsid":"office"})"), InternalError);

    EXPECT_THAT(validated, ElementsAre(Config(false, "office"), Config(true, "home")));
    EXPECT_EQ(Stored(), Config(true, "home"));
    EXPECT_THAT(log.Messages(), ElementsAre(Error(Refused(Config(false, "office"))), Info(Reverted)));
}

TEST_F(NetworkApplicator, RefusedRevertIsToldInTheLogOnly)
{
    ManagerAnswers({false, false});
    const CCapturedLog log(Log::ELogLevel::Info);

    EXPECT_EQ(PatchFailure(R"({"NetMDnsAuto":false,"NetMSsid":"office"})"), InternalError);

    EXPECT_THAT(validated, ElementsAre(Config(false, "office"), Config(true, "home")));
    EXPECT_EQ(Stored(), Config(true, "home"));
    EXPECT_THAT(
        log.Messages(),
        ElementsAre(Error(Refused(Config(false, "office"))), Error(RevertRefused(Config(true, "home")))));
}

TEST_F(NetworkApplicator, RevertKeepsSettingsThatThePatchHasAdded)
{
    Start(R"({"NetMDnsAuto":true})");
    ManagerAnswers({false, true});

    EXPECT_EQ(PatchFailure(R"({"NetMDnsAuto":false,"NetMSsid":"office"})"), InternalError);

    EXPECT_THAT(validated,
                ElementsAre(R"({"NetMDnsAuto":false,"NetMSsid":"office"})",
                            R"({"NetMDnsAuto":true,"NetMSsid":"office"})"));
    EXPECT_EQ(Stored(), R"({"NetMDnsAuto":true,"NetMSsid":"office"})");
}

TEST_F(NetworkApplicator, RevertOfTheVeryFirstSettingHasNothingToWrite)
{
    Start("{}");
    ManagerAnswers({false, false});
    const CCapturedLog log(Log::ELogLevel::Error);

    EXPECT_EQ(PatchFailure(R"({"NetMSsid":"office"})"), InternalError);

    EXPECT_EQ(Stored(), R"({"NetMSsid":"office"})");
    EXPECT_THAT(log.Messages(),
                ElementsAre(Error(Refused(R"({"NetMSsid":"office"})")),
                            Error(RevertRefused(R"({"NetMSsid":"office"})"))));
}

TEST_F(NetworkApplicator, RevertLeavesSettingsOutsideTheTableAlone)
{
    Start(R"({"NetMDnsAuto":true,"NtpServer1":"a"})");
    EXPECT_CALL(*netM, ValidateConfig)
        .WillOnce(
            [this]
            {
                network->SetString("NtpServer1", "b");
                return false;
            })
        .WillOnce([] { return true; });

    EXPECT_EQ(PatchFailure(R"({"NetMDnsAuto":false})"), InternalError);

    EXPECT_EQ(Stored(), R"({"NetMDnsAuto":true,"NtpServer1":"b"})");
}

TEST_F(NetworkApplicator, RevertWipesOutWhatAnotherPatchHasWrittenInBetween)
{
    EXPECT_CALL(*netM, ValidateConfig)
        .WillOnce(
            [this]
            {
                network->SetString("NetMSsid", "of another patch");
                return false;
            })
        .WillOnce([] { return true; });

    EXPECT_EQ(PatchFailure(R"({"NetMDnsAuto":false})"), InternalError);

    EXPECT_EQ(Stored(), Config(true, "home"));
}

TEST_F(NetworkApplicator, UnreachableManagerFailsTheRequestAndTheChangeStays)
{
    EXPECT_CALL(*netM, ValidateConfig)
        .WillOnce(testing::Throw(Rpc::CommunicationException("NetM.ValidateConfig: gone")));

    EXPECT_EQ(PatchFailure(R"({"NetMDnsAuto":false})"), "500 NetM.ValidateConfig: gone");

    EXPECT_EQ(Stored(), Config(false, "home"));
}

TEST_F(NetworkApplicator, ManagerThatIsGoneAfterARefusalLeavesTheOldValuesInTheFile)
{
    EXPECT_CALL(*netM, ValidateConfig)
        .WillOnce(testing::Return(false))
        .WillOnce(testing::Throw(Rpc::CommunicationException("NetM.ValidateConfig: gone")));

    EXPECT_EQ(PatchFailure(R"({"NetMDnsAuto":false})"), "500 NetM.ValidateConfig: gone");

    EXPECT_EQ(Stored(), Config(true, "home"));
}

TEST_F(NetworkApplicator, SecondPatchAfterARefusalIsTakenAsTheFirst)
{
    ManagerAnswers({false, true, true});

    EXPECT_EQ(PatchFailure(R"({"NetMDnsAuto":false})"), InternalError);
    EXPECT_EQ(PatchFailure(R"({"NetMDnsAuto":false})"), "");

    EXPECT_EQ(Stored(), Config(false, "home"));
}

TEST_F(NetworkApplicator, OperationsTraceTheirEntry)
{
    const CCapturedLog log;

    applicator->PatchConfig(Json::objectValue);
    applicator->GetConfig();

    EXPECT_EQ(log.Messages().front(),
              (CCapturedLog::SLine{Log::ELogLevel::Trace, "CNetworkConfigApplicator::PatchConfig"}));
    EXPECT_EQ(log.Messages().back(),
              (CCapturedLog::SLine{Log::ELogLevel::Trace, "CNetworkConfigApplicator::GetConfig"}));
}

// ----------------------------------------------------------------------------------------------- Secrets

TEST(NetworkSecretsApplicator, ShowsTheAccessPointNameAlone)
{
    const CConfigFiles files;
    files.Write("secrets",
                R"({"NetMLteApn":"internet","NetMLteApnPass":"p","NetMLteSimPin":"1","WebIfPukCode":"c"})");
    const CNetworkSecretsApplicator applicator(files.Open("secrets"));

    EXPECT_EQ(JsonUtil::WriteUnstyled(applicator.GetConfig()), R"({"NetMLteApn":"internet"})");
}

TEST(NetworkSecretsApplicator, RefusesEveryPatch)
{
    const CConfigFiles files;
    files.Write("secrets", R"({"NetMLteApn":"internet"})");
    CNetworkSecretsApplicator applicator(files.Open("secrets"));
    for (const std::string body :
         {R"({"NetMLteApn":"other"})", R"({"NetMLteApn":"internet"})", R"({"Unknown":1})", "{}", "[]", "1"})
    {
        const CCapturedLog log;
        EXPECT_EQ(FailureOf([&] { applicator.PatchConfig(ParseJsonBody(CFakeRequest(body))); }),
                  InternalError);
        EXPECT_THAT(
            log.Messages(),
            ElementsAre(CCapturedLog::SLine{Log::ELogLevel::Trace, "CNetworkSecretsApplicator::PatchConfig"},
                        Error("Patching of network secrets is not yet implemented")));
    }
    EXPECT_EQ(files.Stored("secrets"), R"({"NetMLteApn":"internet"})");
}
