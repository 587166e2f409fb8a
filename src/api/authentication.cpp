#include "src/api/authentication.h"

#include "src/api/httpexception.h"
#include "src/api/jsonbody.h"
#include "src/api/jsonresponse.h"
#include "src/session/authorization.h"

#include "platform/log/log.h"

#include <fmt/format.h>
#include <json/value.h>

#include <optional>
#include <utility>

namespace Resources
{

namespace
{

/// Seconds that a persistent session and its cookie live: 3650 days.
constexpr std::uint64_t PersistentTimeout = 315360000;

constexpr const char* CookieHeader = "Set-Cookie";

std::string PersistentAge()
{
    return fmt::format("; Max-Age={}", PersistentTimeout);
}

/// @throws HttpStatusException<400> unless @p body is an object with a string for a password
std::string PasswordIn(const Json::Value& body)
{
    if (!body.isObject())
    {
        throw HttpStatusException<400>();
    }
    return GetJsonString(body, "Password");
}

bool WantsPersistentSession(const Json::Value& body)
{
    const Json::Value& wanted = body["PersistentSession"];
    return wanted.isBool() && wanted.asBool();
}

} // namespace

CAuthenticationApi::CAuthenticationApi(std::shared_ptr<IAuthorization> authorization,
                                       std::uint64_t sessionTimeout,
                                       bool omitSameSite)
    : authorization(std::move(authorization))
    , sessionTimeout(sessionTimeout)
    , omitSameSite(omitSameSite)
{
    LOG_ENTRY(CAuthenticationApi, "CAuthenticationApi");
}

CAuthenticationApi::Response CAuthenticationApi::Login(const IHttpRequest& request)
{
    LOG_ENTRY(CAuthenticationApi, "Login");
    const Json::Value body = ParseJsonBody(request);
    const std::string password = PasswordIn(body);
    const bool persistent = WantsPersistentSession(body);

    const std::optional<std::string> key =
        authorization->CreateSession(password, persistent ? PersistentTimeout : sessionTimeout, persistent);
    if (!key)
    {
        LOG_WARN("No session key was returned from Authorization. Login failed");
        throw HttpStatusException<401>(Json::Value("Login failed"));
    }
    authorization->RemoveSession(GetSessionId(request));

    auto response = std::make_shared<JsonResponse>();
    response->with_header(CookieHeader, Cookie(*key, persistent ? PersistentAge() : ""));
    return response;
}

CAuthenticationApi::Response CAuthenticationApi::Logout(const IHttpRequest& request)
{
    LOG_ENTRY(CAuthenticationApi, "Logout");
    authorization->RemoveSession(GetSessionId(request));
    return std::make_shared<JsonResponse>();
}

CAuthenticationApi::Response CAuthenticationApi::GetStatus(const IHttpRequest& request)
{
    LOG_ENTRY(CAuthenticationApi, "GetStatus");
    const std::string key = GetSessionId(request);
    const bool active = !authorization || authorization->IsSessionValid(key);

    Json::Value status;
    status["Active"] = active;
    auto response = std::make_shared<JsonResponse>(std::move(status));
    if (authorization && active && authorization->IsSessionPersistent(key))
    {
        response->with_header(CookieHeader, Cookie(key, PersistentAge()));
    }
    return response;
}

CAuthenticationApi::Response CAuthenticationApi::VerifyPassword(const IHttpRequest& request)
{
    LOG_ENTRY(CAuthenticationApi, "VerifyPassword");
    const std::string password = PasswordIn(ParseJsonBody(request));

    Json::Value result;
    result["PasswordCorrect"] = authorization->CheckPassword(password);
    return std::make_shared<JsonResponse>(std::move(result));
}

std::string CAuthenticationApi::Cookie(const std::string& key, const std::string& age) const
{
    return fmt::format("sessionid={}; path=/{}{}", key, omitSameSite ? "" : "; SameSite=Strict", age);
}

} // namespace Resources
