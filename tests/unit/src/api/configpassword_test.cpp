#include "src/api/configapplicator.h"
#include "src/session/authorization.h"

#include "contracts/diagnostics/diagnosticscommclient.h"
#include "platform/toolbox/password.h"

#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/quickpassword.h"
#include "tests/support/runtogether.h"
#include "tests/unit/src/api/configtest.h"

namespace
{

using testing::_;
using testing::ElementsAre;
using testing::NiceMock;
using testing::Return;
using testing::StartsWith;

const std::string BadRequest = "400 Bad Request";
const std::string WrongPassword = "401 \"Current password is incorrect\"";
const std::string WeakPassword = "400 \"Password strength not sufficient\"";
const std::string EmptyPuk = "401 \"Empty PUK code is not allowed\"";
const std::string WrongPuk = "401 \"PUK code is incorrect\"";

const std::string PukInitialized = "Web interface PUK code successfully initialized from configuration.";
const std::string PukUnreadable = "Failed to decode web interface PUK code from configuration. Any "
                                  "authorization attempts using the PUK code "
                                  "will fail.";

std::string Body(const std::string& key, const std::string& value, const std::string& newPassword)
{
    return "{\"" + key + "\":\"" + value + R"(","NewPassword":")" + newPassword + "\"}";
}

class ConfigPassword : public ConfigApiTest
{
protected:
    ConfigPassword() { StartWith(EncodedQuickly("puk")); }

    void StartWith(const std::string& encodedPuk)
    {
        files.Write("secrets", R"({"WebIfManagementPassword":"old","WebIfPukCode":")" + encodedPuk + "\"}");
        Start();
    }

    std::string Put(const std::string& currentPassword, const std::string& newPassword)
    {
        return PutBody(Body("CurrentPassword", currentPassword, newPassword));
    }

    std::string PutBody(const std::string& body)
    {
        return AnswerOf([&] { return api->PutWebIfManagementPassword(CFakeRequest(body)); });
    }

    std::string PutPuk(const std::string& puk, const std::string& newPassword)
    {
        return PutPukBody(Body("PukCode", puk, newPassword));
    }

    std::string PutPukBody(const std::string& body)
    {
        return AnswerOf([&] { return api->PutWebIfManagementPasswordPuk(CFakeRequest(body)); });
    }

    std::string StoredPassword() const { return files.Stored("secrets", "WebIfManagementPassword"); }

    bool IsStored(const std::string& password) const
    {
        const auto decoded =
            Toolbox::CPassword::FromEncoded(files.Open("secrets")->GetString("WebIfManagementPassword", ""));
        return decoded && decoded->Equal(password);
    }

    void PasswordIs(const std::string& password)
    {
        EXPECT_CALL(*authorization, CheckPassword(_)).WillRepeatedly(Return(false));
        EXPECT_CALL(*authorization, CheckPassword(password)).WillRepeatedly(Return(true));
    }
};

} // namespace

// ------------------------------------------------------------------------------------------ With password

TEST_F(ConfigPassword, IsEncodedInTheFileBeforeEverybodyIsLoggedOut)
{
    PasswordIs("current");
    EXPECT_CALL(*authorization, RemoveAllSessions).WillOnce([this] { EXPECT_TRUE(IsStored("new")); });

    EXPECT_EQ(Put("current", "new"), "204");

    EXPECT_TRUE(IsStored("new"));
    EXPECT_FALSE(IsStored("current"));
}

TEST_F(ConfigPassword, IsNotChangedWithoutTheCurrentOne)
{
    PasswordIs("current");

    for (const std::string password : {"wrong", "", "Current", "current "})
    {
        EXPECT_EQ(Put(password, "new"), WrongPassword);
    }
    EXPECT_EQ(StoredPassword(), "\"old\"");
}

TEST_F(ConfigPassword, ThatIsEmptyIsRefusedAndPasswordAndSessionsStay)
{
    PasswordIs("current");
    const CCapturedLog log(Log::ELogLevel::Debug);

    EXPECT_EQ(Put("current", ""), WeakPassword);

    EXPECT_EQ(StoredPassword(), "\"old\"");
    EXPECT_THAT(log.Messages(),
                ElementsAre(CCapturedLog::SLine{
                    Log::ELogLevel::Info,
                    "Refusing setting a new password because it does not pass strength checks"}));
}

TEST_F(ConfigPassword, CurrentOneIsCheckedBeforeTheNewOne)
{
    PasswordIs("current");

    EXPECT_EQ(Put("wrong", ""), WrongPassword);
}

TEST_F(ConfigPassword, OfOneByteIsStrongEnough)
{
    PasswordIs("current");
    EXPECT_CALL(*authorization, RemoveAllSessions).Times(2);

    EXPECT_EQ(Put("current", "x"), "204");
    EXPECT_TRUE(IsStored("x"));
    EXPECT_EQ(Put("current", " "), "204");
    EXPECT_TRUE(IsStored(" "));
}

TEST_F(ConfigPassword, ThatCannotBeEncodedFailsTheRequestAndPasswordAndSessionsStay)
{
    PasswordIs("current");

    for (const std::string& password :
         {std::string(512, 'x'), std::string(1 << 20, 'x'), std::string(R"(a\u0000b)")})
    {
        EXPECT_THAT(Put("current", password), StartsWith("500 A password has at most"));
        EXPECT_THAT(PutPuk("puk", password), StartsWith("500 A password has at most"));
    }
    EXPECT_EQ(StoredPassword(), "\"old\"");
}

TEST_F(ConfigPassword, BodyWithoutTwoTextsIsABadRequest)
{
    for (const std::string value : {"null", "1", "1.5", "true", "[]", "{}", "[\"x\"]"})
    {
        EXPECT_EQ(PutBody(R"({"CurrentPassword":)" + value + R"(,"NewPassword":"new"})"), BadRequest);
        EXPECT_EQ(PutBody(R"({"CurrentPassword":"current","NewPassword":)" + value + "}"), BadRequest);
        EXPECT_EQ(PutPukBody(R"({"PukCode":)" + value + R"(,"NewPassword":"new"})"), BadRequest);
        EXPECT_EQ(PutPukBody(R"({"PukCode":"puk","NewPassword":)" + value + "}"), BadRequest);
    }
    EXPECT_EQ(PutBody(R"({"NewPassword":"new"})"), BadRequest);
    EXPECT_EQ(PutBody(R"({"CurrentPassword":"current"})"), BadRequest);
    EXPECT_EQ(PutPukBody(R"({"NewPassword":"new"})"), BadRequest);
    EXPECT_EQ(PutPukBody(R"({"PukCode":""})"), BadRequest);
    EXPECT_EQ(StoredPassword(), "\"old\"");
}

TEST_F(ConfigPassword, WriteThatFailsLeavesTheSessions)
{
    PasswordIs("current");
    secretsConfig = TarnConfig::CreateStaticOnly("secrets", files.Root());
    api = std::make_unique<Resources::CConfigApi>(
        authorization, rfidConfig, nullptr, nullptr, nullptr, nullptr, secretsConfig, nullptr);

    EXPECT_THAT(Put("current", "new"), StartsWith("500 "));
}

// ----------------------------------------------------------------------------------------------- With PUK

TEST_F(ConfigPassword, IsSetWithThePukWithoutTheCurrentOne)
{
    EXPECT_CALL(*authorization, RemoveAllSessions).WillOnce([this] { EXPECT_TRUE(IsStored("new")); });

    EXPECT_EQ(PutPuk("puk", "new"), "204");

    EXPECT_TRUE(IsStored("new"));
}

TEST_F(ConfigPassword, WrongPukIsRefused)
{
    for (const std::string puk : {"wrong", "PUK", "puk ", "pu", " "})
    {
        const CCapturedLog log(Log::ELogLevel::Debug);
        EXPECT_EQ(PutPuk(puk, "new"), WrongPuk);
        EXPECT_THAT(
            log.Messages(),
            ElementsAre(CCapturedLog::SLine{
                Log::ELogLevel::Info,
                "Refusing password change request because PUK code in request does not match PUK code "
                "configured on the system"}));
    }
    EXPECT_EQ(StoredPassword(), "\"old\"");
}

TEST_F(ConfigPassword, EmptyPukIsRefused)
{
    const CCapturedLog log(Log::ELogLevel::Debug);

    EXPECT_EQ(PutPuk("", "new"), EmptyPuk);

    EXPECT_THAT(
        log.Messages(),
        ElementsAre(CCapturedLog::SLine{
            Log::ELogLevel::Info, "Refusing password change request because PUK code in request is empty"}));
}

TEST_F(ConfigPassword, PukIsCheckedBeforeTheNewPassword)
{
    EXPECT_EQ(PutPuk("wrong", ""), WrongPuk);
    EXPECT_EQ(PutPuk("", ""), EmptyPuk);
    EXPECT_EQ(PutPuk("puk", ""), WeakPassword);
    EXPECT_EQ(StoredPassword(), "\"old\"");
}

TEST_F(ConfigPassword, WithoutAReadablePukEveryPukIsWrong)
{
    for (const std::string encoded : {"", "puk", "$2b$04$", "$unknown$x"})
    {
        StartWith(encoded);
        for (const std::string& puk : {std::string("puk"), encoded, std::string("x")})
        {
            EXPECT_EQ(PutPuk(puk, "new"), puk.empty() ? EmptyPuk : WrongPuk);
            EXPECT_EQ(PutPuk(puk, ""), puk.empty() ? EmptyPuk : WrongPuk);
        }
    }
    EXPECT_EQ(StoredPassword(), "\"old\"");
}

TEST_F(ConfigPassword, EmptyPukOfTheFileIsNotOpenToAnEmptyRequest)
{
    StartWith(EncodedQuickly(""));

    EXPECT_EQ(PutPuk("", "new"), EmptyPuk);
}

TEST_F(ConfigPassword, PukOfTheStartCountsForTheLifeOfTheProcess)
{
    EXPECT_CALL(*authorization, RemoveAllSessions);
    secretsConfig->SetString("WebIfPukCode", EncodedQuickly("other"));

    EXPECT_EQ(PutPuk("other", "new"), WrongPuk);
    EXPECT_EQ(PutPuk("puk", "new"), "204");
}

TEST_F(ConfigPassword, PukThatIsNoTextIsUnreadable)
{
    for (const std::string value : {"1", "null", "[]", "{}"})
    {
        files.Write("secrets", R"({"WebIfPukCode":)" + value + "}");
        Start();
        EXPECT_EQ(PutPuk("puk", "new"), WrongPuk);
    }
}

TEST_F(ConfigPassword, StartTellsWhetherThePukCanBeRead)
{
    {
        const CCapturedLog log;
        Start();
        EXPECT_THAT(
            log.Messages(),
            ElementsAre(CCapturedLog::SLine{Log::ELogLevel::Trace, "Resources::CConfigApi::CConfigApi"},
                        CCapturedLog::SLine{Log::ELogLevel::Info, PukInitialized}));
    }
    const CCapturedLog log;
    StartWith("unreadable");
    EXPECT_THAT(log.Messages(),
                ElementsAre(CCapturedLog::SLine{Log::ELogLevel::Trace, "Resources::CConfigApi::CConfigApi"},
                            CCapturedLog::SLine{Log::ELogLevel::Warn, PukUnreadable}));
}

TEST_F(ConfigPassword, IsSetWithThePukWhereNobodyHasToLogIn)
{
    authorization = nullptr;
    Start();

    EXPECT_EQ(PutPuk("wrong", "new"), WrongPuk);
    EXPECT_EQ(PutPuk("puk", "new"), "204");

    EXPECT_TRUE(IsStored("new"));
}

TEST_F(ConfigPassword, NoPasswordAndNoPukIsLogged)
{
    StartWith(EncodedQuickly("hidden-puk"));
    PasswordIs("hidden-current");
    EXPECT_CALL(*authorization, RemoveAllSessions).Times(2);
    const CCapturedLog log;

    EXPECT_EQ(Put("hidden-wrong", "hidden-new"), WrongPassword);
    EXPECT_EQ(Put("hidden-current", "hidden-new"), "204");
    EXPECT_EQ(PutPuk("hidden-wrong", "hidden-new"), WrongPuk);
    EXPECT_EQ(PutPuk("hidden-puk", "hidden-new"), "204");

    for (const CCapturedLog::SLine& line : log.Lines())
    {
        EXPECT_EQ(line.text.find("hidden"), std::string::npos) << line.text;
        EXPECT_EQ(line.text.find("$y$"), std::string::npos) << line.text;
    }
}

// ----------------------------------------------------------------------------------------- With sessions

TEST_F(ConfigPassword, ChangeEndsTheSessionThatMadeItAndCountsFromTheNextLoginOn)
{
    CDiagnosticsCommClient::Initialize(std::make_shared<NiceMock<CMockDiagnosticsReport>>());
    files.Write("secrets",
                R"({"WebIfManagementPassword":")" + EncodedQuickly("current") + R"(","WebIfPukCode":""})");
    const auto sessions = std::make_shared<CAuthorization>(files.Open("secrets"));
    Start(sessions);
    const auto own = sessions->CreateSession("current", 900, false);
    const auto persistent = sessions->CreateSession("current", 900, true);
    ASSERT_TRUE(own && persistent && sessions->RefreshSession(*own));

    EXPECT_EQ(Put("current", ""), WeakPassword);
    EXPECT_TRUE(sessions->RefreshSession(*own));
    EXPECT_EQ(Put("current", "new"), "204");

    EXPECT_FALSE(sessions->RefreshSession(*own));
    EXPECT_FALSE(sessions->RefreshSession(*persistent));
    EXPECT_EQ(files.Stored("secrets", "WebSessions"), "[]");
    EXPECT_TRUE(sessions->CheckPassword("current"));
    EXPECT_FALSE(sessions->CreateSession("current", 900, false));
    EXPECT_TRUE(sessions->CreateSession("new", 900, false));
    EXPECT_FALSE(sessions->CheckPassword("current"));
    EXPECT_TRUE(sessions->CheckPassword("new"));
    CDiagnosticsCommClient::Shutdown();
}

TEST_F(ConfigPassword, ChangesAtTheSameTimeLeaveTheOneOfEither)
{
    PasswordIs("current");
    EXPECT_CALL(*authorization, RemoveAllSessions).Times(4);

    RunTogether(4,
                [this](int number)
                {
                    const std::string password = "new " + std::to_string(number);
                    EXPECT_EQ(number % 2 == 0 ? Put("current", password) : PutPuk("puk", password), "204");
                });

    EXPECT_TRUE(IsStored("new 0") || IsStored("new 1") || IsStored("new 2") || IsStored("new 3"));
}
