#include "src/api/authentication.h"
#include "src/api/httpexception.h"
#include "src/api/jsonresponse.h"

#include <json/value.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fakerequest.h"
#include "tests/fakes/mockauthorization.h"
#include "tests/support/capturedlog.h"

namespace
{

using Resources::CAuthenticationApi;
using testing::ElementsAre;
using testing::InSequence;
using testing::Return;
using testing::StartsWith;
using testing::StrictMock;

constexpr std::uint64_t SessionTimeout = 900;
constexpr std::uint64_t TenYears = 315360000;
const std::string NewKey = "new-key";
const std::string OldKey = "old-key";

std::string CookieOf(const CAuthenticationApi::Response& response)
{
    return std::string(response->get_header("Set-Cookie"));
}

const Json::Value& ValueOf(const CAuthenticationApi::Response& response)
{
    return dynamic_cast<const JsonResponse&>(*response).GetValue();
}

CFakeRequest RequestFrom(const std::string& key, const std::string& body = {})
{
    return CFakeRequest(body, {{"sessionid", key}});
}

void ExpectEmpty(const CAuthenticationApi::Response& response)
{
    EXPECT_EQ(response->get_response_code(), 204);
    EXPECT_EQ(std::string(response->get_header("Content-Type")), "text/plain");
    EXPECT_TRUE(ValueOf(response).isNull());
}

/// Status and text of the failure that a call ends in.
void ExpectFailure(int status, const testing::Matcher<std::string>& text, const std::function<void()>& call)
{
    try
    {
        call();
        ADD_FAILURE() << "no failure";
    }
    catch (const HttpException& exception)
    {
        EXPECT_EQ(exception.GetStatus(), status);
        EXPECT_THAT(std::string(exception.what()), text);
    }
}

class AuthenticationApi : public testing::Test
{
protected:
    void ExpectLogin(const std::string& password, std::uint64_t timeout, bool persistent)
    {
        EXPECT_CALL(*authorization, CreateSession(password, timeout, persistent)).WillOnce(Return(NewKey));
        EXPECT_CALL(*authorization, RemoveSession(""));
    }

    // strict: what a test doesn't expect must not happen
    const std::shared_ptr<StrictMock<CMockAuthorization>> authorization =
        std::make_shared<StrictMock<CMockAuthorization>>();
    CAuthenticationApi api{authorization, SessionTimeout, false};
};

} // namespace

// ------------------------------------------------------------------------------------------------- Login

TEST_F(AuthenticationApi, PlainLoginGivesACookieThatEndsWithTheBrowser)
{
    ExpectLogin("secret", SessionTimeout, false);

    const auto response = api.Login(CFakeRequest(R"({"Password": "secret"})"));

    ExpectEmpty(response);
    EXPECT_EQ(CookieOf(response), "sessionid=new-key; path=/; SameSite=Strict");
}

TEST_F(AuthenticationApi, PersistentLoginGivesACookieForTenYears)
{
    ExpectLogin("secret", TenYears, true);

    const auto response = api.Login(CFakeRequest(R"({"Password": "secret", "PersistentSession": true})"));

    ExpectEmpty(response);
    EXPECT_EQ(CookieOf(response), "sessionid=new-key; path=/; SameSite=Strict; Max-Age=315360000");
}

TEST_F(AuthenticationApi, PersistentSessionOfAnotherTypeCountsAsFalse)
{
    for (const std::string value : {R"("true")", "false", "1", "null", "[true]", R"({"a": true})"})
    {
        ExpectLogin("secret", SessionTimeout, false);
        const auto response =
            api.Login(CFakeRequest(R"({"Password": "secret", "PersistentSession": )" + value + "}"));
        EXPECT_EQ(CookieOf(response), "sessionid=new-key; path=/; SameSite=Strict") << value;
    }
}

TEST_F(AuthenticationApi, SameSiteIsLeftOutOnDemand)
{
    CAuthenticationApi lax(authorization, SessionTimeout, true);
    ExpectLogin("secret", TenYears, true);

    EXPECT_EQ(CookieOf(lax.Login(CFakeRequest(R"({"Password": "secret", "PersistentSession": true})"))),
              "sessionid=new-key; path=/; Max-Age=315360000");

    EXPECT_CALL(*authorization, IsSessionValid(NewKey)).WillOnce(Return(true));
    EXPECT_CALL(*authorization, IsSessionPersistent(NewKey)).WillOnce(Return(true));
    EXPECT_EQ(CookieOf(lax.GetStatus(RequestFrom(NewKey))), "sessionid=new-key; path=/; Max-Age=315360000");
}

TEST_F(AuthenticationApi, LoginEndsTheSessionThatTheBrowserCameWithAfterTheNewOneIsMade)
{
    const InSequence sequence;
    EXPECT_CALL(*authorization, CreateSession("secret", SessionTimeout, false)).WillOnce(Return(NewKey));
    EXPECT_CALL(*authorization, RemoveSession(OldKey));

    api.Login(RequestFrom(OldKey, R"({"Password": "secret"})"));
}

TEST_F(AuthenticationApi, WrongPasswordIsA401AndLeavesTheOldSession)
{
    EXPECT_CALL(*authorization, CreateSession).WillOnce(Return(std::nullopt));
    EXPECT_CALL(*authorization, RemoveSession).Times(0);
    const CCapturedLog log;

    ExpectFailure(
        401, "\"Login failed\"", [&] { api.Login(RequestFrom(OldKey, R"({"Password": "wrong"})")); });

    EXPECT_THAT(log.Messages(Log::ELogLevel::Warn),
                ElementsAre("No session key was returned from Authorization. Login failed"));
}

TEST_F(AuthenticationApi, BodyWithoutAPasswordIsABadRequest)
{
    for (const auto* body : {"{}",
                             "null",
                             "[]",
                             R"(["Password"])",
                             R"("secret")",
                             "1",
                             R"({"Password": 1})",
                             R"({"Password": null})",
                             R"({"password": "secret"})"})
    {
        ExpectFailure(400, "Bad Request", [&] { api.Login(CFakeRequest(body)); });
        ExpectFailure(400, "Bad Request", [&] { api.VerifyPassword(CFakeRequest(body)); });
    }
}

TEST_F(AuthenticationApi, BodyThatIsNoJsonIsABadRequestWithTheParsersWords)
{
    for (const auto* body : {"", "Password=secret", "{"})
    {
        ExpectFailure(400, StartsWith("\"Could not parse body: "), [&] { api.Login(CFakeRequest(body)); });
        ExpectFailure(
            400, StartsWith("\"Could not parse body: "), [&] { api.VerifyPassword(CFakeRequest(body)); });
    }
}

TEST_F(AuthenticationApi, PasswordReachesTheCheckByteForByte)
{
    const std::string odd("a\0\xc3\xa4\"", 5);
    EXPECT_CALL(*authorization, CheckPassword(odd)).WillOnce(Return(true));

    api.VerifyPassword(CFakeRequest("{\"Password\": \"a\\u0000\xc3\xa4\\\"\"}"));
}

TEST_F(AuthenticationApi, NoPasswordAndNoKeyIsLogged)
{
    EXPECT_CALL(*authorization, CreateSession).WillOnce(Return(NewKey)).WillOnce(Return(std::nullopt));
    EXPECT_CALL(*authorization, RemoveSession(OldKey));
    EXPECT_CALL(*authorization, CheckPassword).WillOnce(Return(false));
    const CCapturedLog log;
    const CFakeRequest request = RequestFrom(OldKey, R"({"Password": "hunter2"})");

    api.Login(request);
    EXPECT_THROW(api.Login(request), HttpException);
    api.VerifyPassword(request);

    for (const CCapturedLog::SLine& line : log.Lines())
    {
        for (const std::string& secret : {std::string("hunter2"), NewKey, OldKey})
        {
            EXPECT_EQ(line.text.find(secret), std::string::npos) << line.text;
        }
    }
}

// ------------------------------------------------------------------------------------------------ Logout

TEST_F(AuthenticationApi, LogoutRemovesTheSessionAndLeavesTheCookie)
{
    EXPECT_CALL(*authorization, RemoveSession(OldKey));

    const auto response = api.Logout(RequestFrom(OldKey));

    ExpectEmpty(response);
    EXPECT_EQ(CookieOf(response), "");
}

TEST_F(AuthenticationApi, LogoutWithoutACookieIsASuccess)
{
    EXPECT_CALL(*authorization, RemoveSession(""));

    ExpectEmpty(api.Logout(CFakeRequest()));
}

// ------------------------------------------------------------------------------------------------ Status

TEST_F(AuthenticationApi, StatusWithoutASessionIsInactive)
{
    EXPECT_CALL(*authorization, IsSessionValid("")).WillOnce(Return(false));

    const auto response = api.GetStatus(CFakeRequest());

    EXPECT_EQ(response->get_response_code(), 200);
    EXPECT_EQ(ValueOf(response).toStyledString(), "{\n\t\"Active\" : false\n}\n");
    EXPECT_EQ(CookieOf(response), "");
}

TEST_F(AuthenticationApi, StatusOfAPlainSessionIsActiveWithoutACookieAndProlongsNothing)
{
    EXPECT_CALL(*authorization, IsSessionValid(OldKey)).WillOnce(Return(true));
    EXPECT_CALL(*authorization, IsSessionPersistent(OldKey)).WillOnce(Return(false));

    const auto response = api.GetStatus(RequestFrom(OldKey));

    EXPECT_EQ(ValueOf(response).toStyledString(), "{\n\t\"Active\" : true\n}\n");
    EXPECT_EQ(CookieOf(response), "");
}

TEST_F(AuthenticationApi, StatusOfAPersistentSessionSendsItsCookieAnew)
{
    EXPECT_CALL(*authorization, IsSessionValid(OldKey)).WillOnce(Return(true));
    EXPECT_CALL(*authorization, IsSessionPersistent(OldKey)).WillOnce(Return(true));

    EXPECT_EQ(CookieOf(api.GetStatus(RequestFrom(OldKey))),
              "sessionid=old-key; path=/; SameSite=Strict; Max-Age=315360000");
}

TEST_F(AuthenticationApi, StatusIsActiveForEverybodyWhereNobodyHasToLogIn)
{
    CAuthenticationApi open(nullptr, SessionTimeout, false);

    const auto response = open.GetStatus(RequestFrom(OldKey));

    EXPECT_EQ(ValueOf(response).toStyledString(), "{\n\t\"Active\" : true\n}\n");
    EXPECT_EQ(CookieOf(response), "");
}

// ------------------------------------------------------------------------------------------- Verification

TEST_F(AuthenticationApi, VerificationAnswersWhetherThePasswordIsRight)
{
    EXPECT_CALL(*authorization, CheckPassword("secret")).WillOnce(Return(true));
    EXPECT_CALL(*authorization, CheckPassword("wrong")).WillOnce(Return(false));

    const auto right = api.VerifyPassword(CFakeRequest(R"({"Password": "secret"})"));
    const auto wrong = api.VerifyPassword(CFakeRequest(R"({"Password": "wrong"})"));

    EXPECT_EQ(right->get_response_code(), 200);
    EXPECT_EQ(ValueOf(right).toStyledString(), "{\n\t\"PasswordCorrect\" : true\n}\n");
    EXPECT_EQ(wrong->get_response_code(), 200);
    EXPECT_EQ(ValueOf(wrong).toStyledString(), "{\n\t\"PasswordCorrect\" : false\n}\n");
    EXPECT_EQ(CookieOf(right), "");
}

// ------------------------------------------------------------------------------------------------ Log

TEST_F(AuthenticationApi, EntriesAreTraced)
{
    EXPECT_CALL(*authorization, CreateSession).WillOnce(Return(NewKey));
    EXPECT_CALL(*authorization, RemoveSession).Times(2);
    EXPECT_CALL(*authorization, IsSessionValid).WillOnce(Return(false));
    EXPECT_CALL(*authorization, CheckPassword).WillOnce(Return(false));
    const CCapturedLog log;
    const CFakeRequest request(R"({"Password": "secret"})");

    CAuthenticationApi traced(authorization, SessionTimeout, false);
    traced.Login(request);
    traced.Logout(request);
    traced.GetStatus(request);
    traced.VerifyPassword(request);

    EXPECT_THAT(log.Messages(Log::ELogLevel::Trace),
                ElementsAre("Resources::CAuthenticationApi::CAuthenticationApi",
                            "Resources::CAuthenticationApi::Login",
                            "Resources::CAuthenticationApi::Logout",
                            "Resources::CAuthenticationApi::GetStatus",
                            "Resources::CAuthenticationApi::VerifyPassword"));
}
