#include "src/api/restserver.h"
#include "src/session/authorization.h"

#include "contracts/diagnostics/diagnosticscommclient.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/privatenetwork.h"
#include "tests/support/quickpassword.h"
#include "tests/support/rawhttp.h"
#include "tests/unit/src/api/answertext.h"
#include "tests/unit/src/api/configtest.h"

// Whole answers of the configuration as they go over the wire, behind a login.

namespace
{

using Resources::CConfigApi;
using testing::NiceMock;

const auto* const network = testing::AddGlobalTestEnvironment(new CPrivateNetwork);

constexpr std::uint16_t Port = 8080;
constexpr bool Gated = true;
constexpr bool Open = false;

class ConfigWire : public ConfigApiTest
{
protected:
    ConfigWire()
    {
        CDiagnosticsCommClient::Initialize(std::make_shared<NiceMock<CMockDiagnosticsReport>>());
        files.Write("settings", R"({"HmiBuzzerVolume":5})");
        files.Write("network", R"({"NetMSsid":"home"})");
        files.Write("secrets",
                    R"({"NetMLteApn":"internet","WebIfManagementPassword":")" + EncodedQuickly("current") +
                        R"(","WebIfPukCode":")" + EncodedQuickly("puk") + "\"}");
        sessions = std::make_shared<CAuthorization>(files.Open("secrets"));
        Start(sessions);
        server = std::make_unique<CRestServer>(Port, sessions);
        AddRoutes();
        server->Start();
        session = sessions->CreateSession("current", 900, false).value();
    }

    ~ConfigWire() override
    {
        server.reset();
        CDiagnosticsCommClient::Shutdown();
    }

    void AddRoutes()
    {
        const std::string list = "/config/auth/standalonelist";
        const std::string token = list + "/{RfidTokenUid}";
        server->AddRoute(EHttpMethod::Get, "/config/user", Without(&CConfigApi::GetUserConfig), Gated);
        server->AddRoute(EHttpMethod::Patch, "/config/user", With(&CConfigApi::PatchUserConfig), Gated);
        server->AddRoute(EHttpMethod::Get, "/config/network", Without(&CConfigApi::GetNetworkConfig), Gated);
        server->AddRoute(EHttpMethod::Get, list, Without(&CConfigApi::GetAuthStandaloneList), Gated);
        server->AddRoute(EHttpMethod::Post, list, With(&CConfigApi::PostAuthStandaloneList), Gated);
        server->AddRoute(EHttpMethod::Get, token, With(&CConfigApi::GetAuthStandaloneToken), Gated);
        server->AddRoute(EHttpMethod::Delete, token, With(&CConfigApi::DeleteAuthStandaloneToken), Gated);
        server->AddRoute(EHttpMethod::Put,
                         "/config/secrets/webifmanagement",
                         With(&CConfigApi::PutWebIfManagementPassword),
                         Gated);
        server->AddRoute(EHttpMethod::Put,
                         "/config/secrets/webifmanagement/puk",
                         With(&CConfigApi::PutWebIfManagementPasswordPuk),
                         Open);
        server->AddRoute(EHttpMethod::Get,
                         "/config/scheduledcharging/schedules",
                         Without(&CConfigApi::GetLocalChargingSchedule),
                         Gated);
    }

    CRestResource::Handler With(Response (CConfigApi::*handler)(const IHttpRequest&))
    {
        return [this, handler](const IHttpRequest& request) { return (*api.*handler)(request); };
    }

    CRestResource::Handler Without(Response (CConfigApi::*handler)())
    {
        return [this, handler](const IHttpRequest&) { return (*api.*handler)(); };
    }

    /// The whole answer to a request with the session's cookie.
    std::string Answer(const std::string& method, const std::string& path, const std::string& body = "") const
    {
        HttpHeaders headers{{"Cookie", "sessionid=" + session}};
        if (!body.empty())
        {
            headers.emplace_back("Content-Type", "application/json");
        }
        return AnswerText(HttpRequest(Port, method, path, headers, body));
    }

    std::shared_ptr<CAuthorization> sessions;
    std::unique_ptr<CRestServer> server;
    std::string session;
};

const std::string Unauthorized = JsonAnswer("401 Unauthorized", "\"Unauthorized\"\n");

} // namespace

TEST_F(ConfigWire, SettingsAreStyledJson)
{
    EXPECT_EQ(Answer("GET", "/config/user"), JsonAnswer("200 OK", "{\n\t\"HmiBuzzerVolume\" : 5\n}\n"));
    EXPECT_EQ(Answer("PATCH", "/config/user", R"({"HmiBuzzerVolume":6})"),
              JsonAnswer("200 OK", "{\n\t\"HmiBuzzerVolume\" : 6\n}\n"));
    EXPECT_EQ(Answer("GET", "/config/network"),
              JsonAnswer("200 OK", "{\n\t\"NetMLteApn\" : \"internet\",\n\t\"NetMSsid\" : \"home\"\n}\n"));
}

TEST_F(ConfigWire, FailuresAreJsonTexts)
{
    EXPECT_EQ(Answer("PATCH", "/config/user", R"({"Unknown":6})"),
              JsonAnswer("400 Bad Request", "\"Bad Request\"\n"));
    EXPECT_EQ(Answer("PATCH", "/config/user", "[]"),
              JsonAnswer("400 Bad Request", "\"\\\"Bad request body\\\"\"\n"));
    EXPECT_EQ(Answer("POST", "/config/auth/standalonelist", "[]"),
              JsonAnswer("500 Internal Server Error",
                         "\"in Json::Value::find(begin, end): requires objectValue or nullValue\"\n"));
    EXPECT_EQ(Answer("GET", "/config/scheduledcharging/schedules"),
              JsonAnswer("404 Not Found", "\"Not Found\"\n"));
}

TEST_F(ConfigWire, TokensAreFoundUnderTheirPath)
{
    const std::string list = "/config/auth/standalonelist";
    const std::string styled =
        "{\n\t\"RfidTokenDescription\" : \"mine\",\n\t\"RfidTokenUid\" : \"AB 01\"\n}\n";

    EXPECT_EQ(Answer("POST", list, R"({"RfidTokenUid":"AB 01","RfidTokenDescription":"mine"})"),
              EmptyAnswer());
    EXPECT_EQ(Answer("POST", list, R"({"RfidTokenUid":"AB 01","RfidTokenDescription":"mine"})"),
              JsonAnswer("409 Conflict", "\"{\\\"Reason\\\":\\\"RfidTokenUid\\\"}\"\n"));
    EXPECT_EQ(Answer("GET", list + "/AB%2001"), JsonAnswer("200 OK", styled));
    EXPECT_EQ(Answer("GET", list + "/ab%2001"), JsonAnswer("404 Not Found", "\"Not Found\"\n"));
    EXPECT_EQ(Answer("DELETE", list + "/AB%2001"), EmptyAnswer());
    EXPECT_EQ(Answer("GET", list), JsonAnswer("200 OK", "{\n\t\"Tokens\" : []\n}\n"));
}

TEST_F(ConfigWire, SessionThatChangesThePasswordIsGoneAtTheNextRequest)
{
    EXPECT_EQ(Answer("PUT",
                     "/config/secrets/webifmanagement",
                     R"({"CurrentPassword":"wrong","NewPassword":"new"})"),
              JsonAnswer("401 Unauthorized", "\"\\\"Current password is incorrect\\\"\"\n"));
    EXPECT_EQ(Answer("GET", "/config/user").substr(0, 15), "HTTP/1.1 200 OK");

    EXPECT_EQ(Answer("PUT",
                     "/config/secrets/webifmanagement",
                     R"({"CurrentPassword":"current","NewPassword":"new"})"),
              EmptyAnswer());

    EXPECT_EQ(Answer("GET", "/config/user"), Unauthorized);
}

TEST_F(ConfigWire, PukNeedsNoSessionAndEndsAll)
{
    const std::string path = "/config/secrets/webifmanagement/puk";
    const std::string own = std::exchange(session, "none");
    EXPECT_EQ(Answer("GET", "/config/user"), Unauthorized);

    EXPECT_EQ(Answer("PUT", path, R"({"PukCode":"","NewPassword":"new"})"),
              JsonAnswer("401 Unauthorized", "\"\\\"Empty PUK code is not allowed\\\"\"\n"));
    EXPECT_EQ(Answer("PUT", path, R"({"PukCode":"puk","NewPassword":"new"})"), EmptyAnswer());

    session = own;
    EXPECT_EQ(Answer("GET", "/config/user"), Unauthorized);
}
