#include "contracts/diagnostics/diagnosticscommclient.h"
#include "platform/rpc/communicationexception.h"

#include <fmt/format.h>

#include <stdexcept>

#include "tests/support/capturedlog.h"
#include "tests/unit/src/session/authorizationtest.h"

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using testing::_;
using testing::DoAll;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Return;
using testing::SaveArg;
using testing::Throw;

namespace
{

using Log::ELogLevel;

constexpr const char* Initialized =
    "Web interface authorization password successfully initialized from configuration.";
constexpr const char* NotDecoded =
    "Failed to decode web interface authorization password from configuration. "
    "Any authorization attempts will fail.";
constexpr const char* Reloaded =
    "The config file containing the webinterface password was reloaded because of a detected change.";
constexpr const char* Mismatch = "The passwords no not match. No session will be returned.";

class AuthorizationLogin : public AuthorizationTest
{
};

/// Contents of the image's file in which no password is to be found.
class UnusablePassword : public AuthorizationTest, public testing::WithParamInterface<const char*>
{
};

} // namespace

TEST_F(AuthorizationLogin, GivesAKeyThatNamesALiveSession)
{
    Start();

    const std::optional<std::string> key = Login();

    ASSERT_TRUE(key);
    EXPECT_THAT(*key, MatchesRegex("[0-9a-f]{64}"));
    EXPECT_TRUE(authorization->IsSessionValid(*key));
}

TEST_F(AuthorizationLogin, TakesItsKeysFromTheEngineInOrder)
{
    Start();

    EXPECT_EQ(Login(), FirstKey);
    EXPECT_EQ(Login(), SecondKey);
}

TEST_F(AuthorizationLogin, HasOtherKeysInEachProcess)
{
    Start();
    CAuthorization one(config);
    CAuthorization other(config);

    EXPECT_NE(one.CreateSession(Password, ShortLife, false), other.CreateSession(Password, ShortLife, false));
}

TEST_F(AuthorizationLogin, GoesByTheSystemsClockWhereNoneIsGiven)
{
    Start();
    CAuthorization withSystemClock(config);

    withSystemClock.CreateSession(Password, LongLife, true);

    const std::int64_t expiry = config->GetValue("WebSessions", {})[0]["Expiry"].asInt64();
    const Time now = std::chrono::system_clock::now();
    EXPECT_LE(Time(seconds(expiry)), now + seconds(LongLife));
    EXPECT_GE(Time(seconds(expiry)), now + seconds(LongLife) - std::chrono::minutes(1));
}

TEST_F(AuthorizationLogin, LastsForTheTimeoutThatWasAskedFor)
{
    Start();
    const std::string key = Login(100).value();

    clock.Advance(seconds(100));
    EXPECT_TRUE(authorization->IsSessionValid(key));

    clock.Advance(nanoseconds(1));
    EXPECT_FALSE(authorization->IsSessionValid(key));
}

TEST_F(AuthorizationLogin, IsToldToTheDiagnostics)
{
    ipc::MSignalReport report;
    EXPECT_CALL(*diagnostics, SendSignal(_)).WillOnce(DoAll(SaveArg<0>(&report), Return(ipc::MResult())));
    Start();

    Login();

    EXPECT_EQ(report.signal().identifier(), 20502);
    ASSERT_EQ(report.signal().data_size(), 1);
    EXPECT_EQ(report.signal().data(0).string_value(), "Successful web interface login");
}

TEST_F(AuthorizationLogin, LogsWhatKindOfSessionBegins)
{
    Start();
    const CCapturedLog log(ELogLevel::Debug);

    Login();
    PersistentLogin();

    EXPECT_THAT(
        log.Messages(),
        ElementsAre(CCapturedLog::SLine{ELogLevel::Debug,
                                        "The passwords match. A non-persistent session is being created "
                                        "and stored in the container."},
                    CCapturedLog::SLine{ELogLevel::Debug,
                                        "The passwords match. A persistent session is being created "
                                        "and stored in the container."}));
}

TEST_F(AuthorizationLogin, WithAWrongPasswordLeavesEverythingAsItIs)
{
    EXPECT_CALL(*diagnostics, SendSignal(_)).Times(0);
    Start();
    const CCapturedLog log(ELogLevel::Debug);

    EXPECT_FALSE(authorization->CreateSession("open barley", LongLife, true));
    EXPECT_FALSE(authorization->CreateSession("", LongLife, true));

    EXPECT_THAT(log.Messages(),
                ElementsAre(CCapturedLog::SLine{ELogLevel::Debug, Mismatch},
                            CCapturedLog::SLine{ELogLevel::Debug, Mismatch}));
    EXPECT_THAT(saves, IsEmpty());
    EXPECT_EQ(File(), "");
    // nor has a key been drawn
    testing::Mock::VerifyAndClearExpectations(diagnostics.get());
    EXPECT_EQ(Login(), FirstKey);
}

TEST_F(AuthorizationLogin, HasNoLimitOnWrongPasswords)
{
    Start();
    for (int i = 0; i < 20; ++i)
    {
        EXPECT_FALSE(authorization->CreateSession("guess", ShortLife, false));
    }

    EXPECT_TRUE(Login());
}

TEST_F(AuthorizationLogin, FailsWithoutASessionWhenTheDiagnosticsCannotBeReached)
{
    EXPECT_CALL(*diagnostics, SendSignal(_))
        .WillOnce(Throw(Rpc::CommunicationException("Diagnostics.SendSignal: service not reached")))
        .WillOnce(Return(ipc::MResult()));
    Start();

    EXPECT_THROW(Login(LongLife, true), Rpc::CommunicationException);

    EXPECT_THAT(saves, IsEmpty());
    // the store is not locked, and the key had not been drawn
    EXPECT_FALSE(authorization->IsSessionValid(FirstKey));
    EXPECT_EQ(Login(), FirstKey);
}

TEST_F(AuthorizationLogin, IsNotStoppedByARefusalOfTheDiagnostics)
{
    ipc::MResult refusal;
    refusal.set_status(ipc::EResultIllegal);
    EXPECT_CALL(*diagnostics, SendSignal(_)).WillOnce(Return(refusal));
    Start();

    EXPECT_TRUE(Login());
}

TEST_F(AuthorizationLogin, IsStoredOnlyWhenPersistent)
{
    Start();

    Login();
    EXPECT_EQ(File(), "");

    PersistentLogin();
    EXPECT_EQ(File(), R"({"WebSessions":[)" + Element(SecondKey, LongLife) + "]}\n");
}

TEST_F(AuthorizationLogin, StoresWholeSeconds)
{
    clock.Advance(milliseconds(999));
    Start();

    PersistentLogin(100);

    EXPECT_EQ(File(), R"({"WebSessions":[)" + Element(FirstKey, 100) + "]}\n");
}

TEST_F(AuthorizationLogin, StoresAllPersistentSessionsInTheOrderOfTheirKeys)
{
    StoreSessions("[" + Element("Z", 50) + "," + Element("z", 60) + "]");
    Start();

    PersistentLogin(100);
    PersistentLogin(200);

    EXPECT_EQ(saves.back(),
              "[" + Element(FirstKey, 100) + "," + Element("Z", 50) + "," + Element(SecondKey, 200) + "," +
                  Element("z", 60) + "]");
}

TEST_F(AuthorizationLogin, StoresExpiredSessionsTooThatNobodyHasLookedAt)
{
    StoreSessions("[" + Element("a", 50) + "]");
    Start();
    clock.Advance(seconds(51));

    PersistentLogin(100);

    EXPECT_THAT(StoredKeys(), ElementsAre(FirstKey, "a"));
}

TEST_F(AuthorizationLogin, LeavesTheOtherKeysOfTheFileAlone)
{
    directory.Write("data/config/secrets.json", R"({"NetMLteApn":"internet"})");
    Start();

    PersistentLogin(100);

    EXPECT_EQ(File(), R"({"NetMLteApn":"internet","WebSessions":[)" + Element(FirstKey, 100) + "]}\n");
}

TEST_F(AuthorizationLogin, LeavesASessionThatHasTheSameKeyInItsPlace)
{
    StoreSessions("[" + Element(FirstKey, 50) + "]");
    Start();

    EXPECT_EQ(Login(ShortLife, false), FirstKey);

    EXPECT_TRUE(authorization->IsSessionPersistent(FirstKey));
    clock.Advance(seconds(51));
    EXPECT_FALSE(authorization->IsSessionValid(FirstKey));
}

TEST_F(AuthorizationLogin, ThatCannotBeStoredThrowsAndLeavesTheSession)
{
    Start();
    afterSave = [] { throw std::runtime_error("no report of the change"); };

    EXPECT_THROW(PersistentLogin(), std::runtime_error);

    // and the store is not locked
    EXPECT_TRUE(authorization->IsSessionValid(FirstKey));
}

TEST_F(AuthorizationLogin, LogsAtTheStartWhetherThereIsAPassword)
{
    const CCapturedLog log(ELogLevel::Debug);

    Start();

    EXPECT_THAT(log.Messages(), ElementsAre(CCapturedLog::SLine{ELogLevel::Info, Initialized}));
}

TEST_F(AuthorizationLogin, DoesNotReloadAFileThatHasNotChanged)
{
    Start();
    const CCapturedLog log(ELogLevel::Debug);

    Login();

    EXPECT_FALSE(log.Has(ELogLevel::Debug, Reloaded));
}

TEST_F(AuthorizationLogin, ReloadsTheFileAfterASaveOfItsOwn)
{
    Start();
    PersistentLogin();
    const CCapturedLog log(ELogLevel::Debug);

    Login();
    Login();

    EXPECT_THAT(log.Messages(ELogLevel::Info), ElementsAre(Initialized));
}

TEST_F(AuthorizationLogin, SeesAPasswordThatAnotherProcessHasSet)
{
    Start();
    ChangeElsewhere("WebIfManagementPassword", EncodedOtherPassword);
    const CCapturedLog log(ELogLevel::Debug);

    EXPECT_TRUE(authorization->CreateSession(OtherPassword, ShortLife, false));

    EXPECT_THAT(
        log.Messages(),
        ElementsAre(CCapturedLog::SLine{ELogLevel::Debug, Reloaded},
                    CCapturedLog::SLine{ELogLevel::Info, Initialized},
                    CCapturedLog::SLine{ELogLevel::Debug,
                                        "The passwords match. A non-persistent session is being created "
                                        "and stored in the container."}));
    EXPECT_FALSE(Login());
}

TEST_F(AuthorizationLogin, SeesAPasswordThatWasSetThroughTheSameConfiguration)
{
    Start();
    config->SetString("WebIfManagementPassword", EncodedOtherPassword);
    authorization->RemoveAllSessions();

    EXPECT_FALSE(Login());
    EXPECT_TRUE(authorization->CreateSession(OtherPassword, ShortLife, false));
}

TEST_F(AuthorizationLogin, MakesTheCheckOfThePasswordFollowAChange)
{
    Start();
    config->SetString("WebIfManagementPassword", EncodedOtherPassword);

    EXPECT_TRUE(authorization->CheckPassword(Password));
    EXPECT_FALSE(authorization->CheckPassword(OtherPassword));

    // whether it succeeds or not
    EXPECT_FALSE(Login());
    EXPECT_FALSE(authorization->CheckPassword(Password));
    EXPECT_TRUE(authorization->CheckPassword(OtherPassword));
}

TEST_F(AuthorizationLogin, KeepsThePasswordWhenTheChangedOneCannotBeDecoded)
{
    Start();
    ChangeElsewhere("WebIfManagementPassword", "plain text");
    const CCapturedLog log(ELogLevel::Debug);

    EXPECT_TRUE(Login());

    EXPECT_THAT(
        log.Messages(),
        ElementsAre(CCapturedLog::SLine{ELogLevel::Debug, Reloaded},
                    CCapturedLog::SLine{ELogLevel::Warn, NotDecoded},
                    CCapturedLog::SLine{ELogLevel::Debug,
                                        "The passwords match. A non-persistent session is being created "
                                        "and stored in the container."}));
    EXPECT_TRUE(authorization->CheckPassword(Password));
}

TEST_F(AuthorizationLogin, DoesNotTakeOverSessionsFromAChangedFile)
{
    Start();
    StoreSessions("[" + Element("a", 100) + "]");

    Login();

    EXPECT_FALSE(authorization->IsSessionValid("a"));
}

TEST_F(AuthorizationLogin, FailsWithTheReasonOfAFileThatCannotBeReloaded)
{
    Start();
    directory.Write("data/config/secrets.json", "{");

    EXPECT_THROW(Login(), std::runtime_error);

    // and the store is not locked
    directory.Write("data/config/secrets.json", "{}");
    EXPECT_TRUE(Login());
}

TEST_F(AuthorizationLogin, TracesEachOperation)
{
    const CCapturedLog log(ELogLevel::Trace);

    Start();
    authorization->IsSessionValid("");
    authorization->RefreshSession("");
    authorization->IsSessionPersistent("");
    authorization->CheckPassword("");
    authorization->CreateSession("", 0, false);
    authorization->RemoveSession("");
    authorization->RemoveAllSessions();

    for (const auto* operation : {"CAuthorization",
                                  "IsSessionValid",
                                  "RefreshSession",
                                  "IsSessionPersistent",
                                  "CheckPassword",
                                  "CreateSession",
                                  "RemoveSession",
                                  "RemoveAllSessions"})
    {
        EXPECT_TRUE(log.Has(ELogLevel::Trace, fmt::format("CAuthorization::{}", operation))) << operation;
    }
}

TEST_F(AuthorizationLogin, KeepsPasswordAndKeyOutOfTheLog)
{
    const CCapturedLog log(ELogLevel::Trace);
    Start();

    const std::string key = PersistentLogin();
    authorization->RefreshSession(key);
    authorization->CheckPassword(Password);

    for (const CCapturedLog::SLine& line : log.Lines())
    {
        EXPECT_EQ(line.text.find(Password), std::string::npos) << line;
        EXPECT_EQ(line.text.find(EncodedPassword), std::string::npos) << line;
        EXPECT_EQ(line.text.find(key), std::string::npos) << line;
    }
}

TEST_P(UnusablePassword, FailsEveryCheckAndLogin)
{
    directory.Write("etc/config/secrets.json", GetParam());
    const CCapturedLog log(ELogLevel::Debug);

    Start();

    EXPECT_THAT(log.Messages(), ElementsAre(CCapturedLog::SLine{ELogLevel::Warn, NotDecoded}));
    for (const std::string& password :
         {std::string(), Password, std::string("plain text"), std::string("*0")})
    {
        EXPECT_FALSE(authorization->CheckPassword(password)) << password;
        EXPECT_FALSE(authorization->CreateSession(password, ShortLife, true)) << password;
    }
}

TEST_P(UnusablePassword, IsReplacedByOneThatCanBeDecodedAtTheNextLogin)
{
    directory.Write("etc/config/secrets.json", GetParam());
    Start();

    config->SetString("WebIfManagementPassword", EncodedPassword);

    EXPECT_TRUE(Login());
    EXPECT_TRUE(authorization->CheckPassword(Password));
}

INSTANTIATE_TEST_SUITE_P(Authorization,
                         UnusablePassword,
                         testing::Values("{}",
                                         R"({"WebIfManagementPassword": ""})",
                                         R"({"WebIfManagementPassword": "plain text"})",
                                         R"({"WebIfManagementPassword": "*0"})",
                                         R"({"WebIfManagementPassword": null})",
                                         R"({"WebIfManagementPassword": 5})",
                                         R"({"WebIfManagementPassword": ["plain text"]})"));
