#include "src/api/httpexception.h"
#include "src/api/jsonresponse.h"
#include "src/api/system.h"

#include "contracts/diagnostics/diagnosticscommclient.h"
#include "platform/config/tarnconfig.h"
#include "platform/rpc/communicationexception.h"
#include "platform/toolbox/diagnosticspackager.h"

#include <json/value.h>

#include <sys/stat.h>

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fakerequest.h"
#include "tests/fakes/mockconfigapplicator.h"
#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"
#include "tests/support/privatemounts.h"
#include "tests/support/temporarydirectory.h"

namespace
{

using Log::ELogLevel;
using Resources::CSystemApi;
using testing::ElementsAre;
using testing::InSequence;
using testing::Return;
using testing::StrictMock;
using testing::Throw;
using testing::UnorderedElementsAre;

namespace fs = std::filesystem;

const CFakeRequest WithoutBody;

ipc::MResult Result(ipc::EResult status)
{
    ipc::MResult result;
    result.set_status(status);
    return result;
}

ipc::MConnectorInfo InState(int state)
{
    ipc::MConnectorInfo info;
    info.set_connector_state(static_cast<ipc::EConnectorState>(state));
    return info;
}

MATCHER_P2(IsSignal, identifier, text, "")
{
    return arg.signal().identifier() == identifier && arg.signal().data_size() == 1 &&
           arg.signal().data(0).string_value() == text;
}

const auto RecommissionSignal = IsSignal(20007, "Recommission triggered by web interface");
const auto FactoryResetSignal = IsSignal(20305, "Factory reset triggered by web interface");

class Commissioning : public testing::Test
{
protected:
    Commissioning()
    {
        fs::create_directories(configDirectory);
        CDiagnosticsCommClient::Initialize(report);
    }

    ~Commissioning() override { CDiagnosticsCommClient::Shutdown(); }

    CSystemApi Api() const
    {
        return {boardControl,
                nullptr,
                nullptr,
                settings,
                TarnConfig::CreateStaticOnly("hwinfo", directory.Root()),
                TarnConfig::CreateStaticOnly("fwinfo", directory.Root()),
                networkApplicator,
                nullptr,
                nullptr,
                sessionManager,
                configDirectory};
    }

    void SetInstallationComplete(bool complete) const { settings->SetBool("InstallationComplete", complete); }
    bool InstallationComplete() const { return settings->GetBool("InstallationComplete", false); }

    void ExpectReboot(ERebootType type)
    {
        EXPECT_CALL(*boardControl, Reboot(type)).WillOnce(Return(Result(ipc::EResultOk)));
    }

    void ExpectPatch(bool accessPoint)
    {
        Json::Value patch;
        patch["NetMApEnable"] = accessPoint;
        EXPECT_CALL(*networkApplicator, PatchConfig(patch));
    }

    static void ExpectEmpty(const CSystemApi::Response& response)
    {
        EXPECT_EQ(response->get_response_code(), 204);
        EXPECT_EQ(std::string(response->get_header("Content-Type")), "text/plain");
        EXPECT_TRUE(dynamic_cast<const JsonResponse&>(*response).GetValue().isNull());
    }

    const CTemporaryDirectory directory;
    const fs::path configDirectory = directory.Path() / "reset";
    const std::shared_ptr<TarnConfig> settings = TarnConfig::Create("settings", directory.Root());
    // strict: what a test does not expect must not happen
    const std::shared_ptr<StrictMock<CMockBoardControl>> boardControl =
        std::make_shared<StrictMock<CMockBoardControl>>();
    const std::shared_ptr<StrictMock<CMockSessionManager>> sessionManager =
        std::make_shared<StrictMock<CMockSessionManager>>();
    const std::shared_ptr<StrictMock<CMockConfigApplicator>> networkApplicator =
        std::make_shared<StrictMock<CMockConfigApplicator>>();
    const std::shared_ptr<StrictMock<CMockDiagnosticsReport>> report =
        std::make_shared<StrictMock<CMockDiagnosticsReport>>();
};

} // namespace

// ------------------------------------------------------------------------------------- End of the first
// set-up

TEST_F(Commissioning, WithoutABodyAppliesNothingAndRestartsInDashboardMode)
{
    ExpectReboot(ERebootType::Soft);
    const CCapturedLog log(ELogLevel::Debug);

    ExpectEmpty(Api().FinishCommissioning(WithoutBody));

    EXPECT_TRUE(InstallationComplete());
    EXPECT_THAT(log.Messages(),
                ElementsAre(
                    CCapturedLog::SLine{
                        ELogLevel::Debug,
                        "FinishCommissioning called without body. No additional settings are applied."},
                    CCapturedLog::SLine{ELogLevel::Info,
                                        "InstallationComplete set to True. Performing soft reset now."}));
}

TEST_F(Commissioning, KeepsOrSwitchesOffTheAccessPointAsTheBodySays)
{
    for (const bool wanted : {true, false})
    {
        SetInstallationComplete(false);
        ExpectPatch(wanted);
        ExpectReboot(ERebootType::Soft);

        ExpectEmpty(Api().FinishCommissioning(
            CFakeRequest(wanted ? R"({"NetMApEnable": true})" : R"({"NetMApEnable": false})")));

        EXPECT_TRUE(InstallationComplete());
    }
}

TEST_F(Commissioning, BodyWithoutABooleanSwitchesTheAccessPointOff)
{
    for (const std::string body :
         {"{}", "null", R"({"NetMApEnable": "yes"})", R"({"NetMApEnable": 1})", R"({"NetMApEnable": null})"})
    {
        SCOPED_TRACE(body);
        SetInstallationComplete(false);
        ExpectPatch(false);
        ExpectReboot(ERebootType::Soft);
        const CCapturedLog log(ELogLevel::Debug);

        ExpectEmpty(Api().FinishCommissioning(CFakeRequest(body)));

        EXPECT_TRUE(InstallationComplete());
        EXPECT_THAT(log.Messages(ELogLevel::Debug),
                    ElementsAre("Could not retrieve property 'NetMApEnable' from request body. We will set "
                                "NetMApEnable to false in the system. Error: Bad Request"));
    }
}

TEST_F(Commissioning, BodyThatIsNoJsonChangesNothing)
{
    EXPECT_THROW(Api().FinishCommissioning(CFakeRequest("{")), HttpStatusException<400>);
    EXPECT_FALSE(InstallationComplete());
}

TEST_F(Commissioning, BodyThatIsNoObjectChangesNothing)
{
    EXPECT_THROW(Api().FinishCommissioning(CFakeRequest("[true]")), Json::Exception);
    EXPECT_FALSE(InstallationComplete());
}

TEST_F(Commissioning, FinishesThoughTheNetworkManagerRefuses)
{
    EXPECT_CALL(*networkApplicator, PatchConfig).WillOnce(Throw(HttpStatusException<500>()));
    ExpectReboot(ERebootType::Soft);
    const CCapturedLog log(ELogLevel::Error);

    ExpectEmpty(Api().FinishCommissioning(CFakeRequest(R"({"NetMApEnable": true})")));

    EXPECT_TRUE(InstallationComplete());
    EXPECT_THAT(log.Messages(ELogLevel::Error),
                ElementsAre("An internal server error was thrown while applying NetM config during end of "
                            "commissioning. Commissioning will complete but its side-effects not applied. "
                            "Exception: Internal Server Error"));
}

TEST_F(Commissioning, StaysOpenIfThePatchFailsInAnotherWay)
{
    EXPECT_CALL(*networkApplicator, PatchConfig)
        .WillOnce(Throw(HttpStatusException<400>()))
        .WillOnce(Throw(Rpc::CommunicationException("NetM.ValidateConfig")));
    const CFakeRequest request(R"({"NetMApEnable": true})");

    EXPECT_THROW(Api().FinishCommissioning(request), HttpStatusException<400>);
    EXPECT_THROW(Api().FinishCommissioning(request), Rpc::CommunicationException);

    EXPECT_FALSE(InstallationComplete());
}

TEST_F(Commissioning, IsFinishedThoughTheBoardRefusesToRestart)
{
    EXPECT_CALL(*boardControl, Reboot(ERebootType::Soft)).WillOnce(Return(Result(ipc::EResultIllegal)));

    ExpectEmpty(Api().FinishCommissioning(WithoutBody));

    EXPECT_TRUE(InstallationComplete());
}

TEST_F(Commissioning, IsFinishedBeforeTheBoardIsAsked)
{
    EXPECT_CALL(*boardControl, Reboot)
        .WillOnce(
            [this](ERebootType)
            {
                EXPECT_TRUE(InstallationComplete());
                return Result(ipc::EResultOk);
            });

    Api().FinishCommissioning(WithoutBody);
}

// ------------------------------------------------------------------------------------------ Recommissioning

TEST_F(Commissioning, IsOpenedAgainInEachStateWithoutACharge)
{
    for (const int state : {0, 1, 2, 3, 10})
    {
        SCOPED_TRACE(state);
        SetInstallationComplete(true);
        const InSequence sequence;
        EXPECT_CALL(*report, SendSignal(RecommissionSignal)).WillOnce(Return(Result(ipc::EResultOk)));
        EXPECT_CALL(*sessionManager, GetConnectorInfo).WillOnce(Return(InState(state)));
        ExpectReboot(ERebootType::Hard);

        ExpectEmpty(Api().Recommission());

        EXPECT_FALSE(InstallationComplete());
    }
}

TEST_F(Commissioning, IsNotOpenedDuringAChargeAndTheAttemptIsReported)
{
    for (const int state : {-1, 4, 5, 6, 7, 8, 9, 11, 12, 13, 255})
    {
        SCOPED_TRACE(state);
        SetInstallationComplete(true);
        EXPECT_CALL(*report, SendSignal(RecommissionSignal)).WillOnce(Return(Result(ipc::EResultOk)));
        EXPECT_CALL(*sessionManager, GetConnectorInfo).WillOnce(Return(InState(state)));

        EXPECT_THAT([this] { Api().Recommission(); },
                    testing::ThrowsMessage<HttpStatusException<400>>(
                        "\"Cannot start commissioning, charge session in progress\""));

        EXPECT_TRUE(InstallationComplete());
    }
}

TEST_F(Commissioning, StaysClosedIfAServiceIsOutOfReach)
{
    SetInstallationComplete(true);
    EXPECT_CALL(*report, SendSignal)
        .WillOnce(Throw(Rpc::CommunicationException("Diagnostics.SendSignal")))
        .WillOnce(Return(Result(ipc::EResultOk)));
    EXPECT_CALL(*sessionManager, GetConnectorInfo)
        .WillOnce(Throw(Rpc::CommunicationException("SessionManager.GetConnectorInfo")));

    EXPECT_THROW(Api().Recommission(), Rpc::CommunicationException);
    EXPECT_THROW(Api().Recommission(), Rpc::CommunicationException);

    EXPECT_TRUE(InstallationComplete());
}

// ------------------------------------------------------------------------------------------ Factory reset

TEST_F(Commissioning, FactoryResetOfAnEmptyDirectoryGoesStraightToTheRestart)
{
    const InSequence sequence;
    EXPECT_CALL(*report, SendSignal(FactoryResetSignal)).WillOnce(Return(Result(ipc::EResultOk)));
    ExpectReboot(ERebootType::Hard);

    ExpectEmpty(Api().FactoryReset());

    EXPECT_TRUE(fs::is_directory(configDirectory));
}

TEST_F(Commissioning, FactoryResetRemovesAllThatIsInTheDirectoryAndNothingBehindLinks)
{
    directory.Write("elsewhere/kept", "");
    directory.Write("reset/settings.json", "{}");
    directory.Write("reset/.secrets.json.tmp", "{}");
    directory.Write("reset/below/deep/file", "");
    fs::create_directory_symlink(directory.Path() / "elsewhere", configDirectory / "link");
    fs::create_symlink("nowhere", configDirectory / "dangling");
    ASSERT_EQ(mkfifo((configDirectory / "pipe").c_str(), 0600), 0);
    EXPECT_CALL(*report, SendSignal(FactoryResetSignal))
        .WillOnce(
            [this](const ipc::MSignalReport&)
            {
                EXPECT_FALSE(fs::is_empty(configDirectory));
                return Result(ipc::EResultOk);
            });
    EXPECT_CALL(*boardControl, Reboot(ERebootType::Hard))
        .WillOnce(
            [this](ERebootType)
            {
                EXPECT_TRUE(fs::is_empty(configDirectory));
                return Result(ipc::EResultOk);
            });
    const CCapturedLog log(ELogLevel::Debug);

    ExpectEmpty(Api().FactoryReset());

    EXPECT_TRUE(fs::exists(directory.Path() / "elsewhere/kept"));
    const auto removing = [this](const std::string& name)
    { return "Removing " + (configDirectory / name).string() + " as part of a factory reset operation."; };
    EXPECT_THAT(log.Messages(ELogLevel::Debug),
                UnorderedElementsAre(removing("settings.json"),
                                     removing(".secrets.json.tmp"),
                                     removing("below"),
                                     removing("link"),
                                     removing("dangling"),
                                     removing("pipe")));
}

TEST_F(Commissioning, FactoryResetThatMeetsAnUnremovableEntryFailsAndRestartsNothing)
{
    directory.Write("reset/mounted/kept", "");
    EXPECT_CALL(*report, SendSignal).WillOnce(Return(Result(ipc::EResultOk)));

    // a thread, since it sees its mounts for as long as it lives
    std::thread thread(
        [this]
        {
            const CPrivateMounts mounts;
            mounts.MountMemory(configDirectory / "mounted", "size=64k");
            EXPECT_THROW(Api().FactoryReset(), fs::filesystem_error);
        });
    thread.join();

    EXPECT_TRUE(fs::exists(configDirectory / "mounted"));
}

TEST_F(Commissioning, FactoryResetWithoutItsDirectoryFailsAndRestartsNothing)
{
    fs::remove(configDirectory);
    EXPECT_CALL(*report, SendSignal).WillOnce(Return(Result(ipc::EResultOk)));

    EXPECT_THROW(Api().FactoryReset(), fs::filesystem_error);
}

TEST_F(Commissioning, FactoryResetThatCannotBeReportedRemovesNothing)
{
    directory.Write("reset/settings.json", "{}");
    EXPECT_CALL(*report, SendSignal).WillOnce(Throw(Rpc::CommunicationException("Diagnostics.SendSignal")));

    EXPECT_THROW(Api().FactoryReset(), Rpc::CommunicationException);

    EXPECT_TRUE(fs::exists(configDirectory / "settings.json"));
}

TEST_F(Commissioning, FactoryResetDoesNotAskForACharge)
{
    EXPECT_CALL(*report, SendSignal).WillOnce(Return(Result(ipc::EResultOk)));
    EXPECT_CALL(*sessionManager, GetConnectorInfo).Times(0);
    EXPECT_CALL(*boardControl, Reboot).WillOnce(Return(Result(ipc::EResultIllegal)));

    ExpectEmpty(Api().FactoryReset());
}

TEST_F(Commissioning, EntriesAreTraced)
{
    EXPECT_CALL(*report, SendSignal).Times(2).WillRepeatedly(Return(Result(ipc::EResultOk)));
    EXPECT_CALL(*sessionManager, GetConnectorInfo).WillOnce(Return(InState(1)));
    EXPECT_CALL(*boardControl, Reboot).Times(3).WillRepeatedly(Return(Result(ipc::EResultOk)));
    CSystemApi api = Api();
    const CCapturedLog log;

    api.FinishCommissioning(WithoutBody);
    api.Recommission();
    api.FactoryReset();

    EXPECT_THAT(log.Messages(ELogLevel::Trace),
                ElementsAre("Resources::CSystemApi::FinishCommissioning",
                            "Resources::CSystemApi::Recommission",
                            "Resources::CSystemApi::FactoryReset"));
}
