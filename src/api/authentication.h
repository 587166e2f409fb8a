#pragma once

#include <cstdint>
#include <memory>
#include <string>

class IAuthorization;
class IHttpRequest;

namespace httpserver
{
class http_response;
}

namespace Resources
{

/// Handlers of the routes below /auth, and the one place that knows the session cookie: "sessionid", with the
/// key of the session as its value. A plain session's cookie ends with the browser, a persistent one's after
/// 3650 days.
/// Threads: any, several at the same time.
class CAuthenticationApi
{
public:
    using Response = std::shared_ptr<httpserver::http_response>;

    /// @param authorization   null while nobody has to log in: then only GetStatus may be called
    /// @param sessionTimeout  seconds that a session lives which is not persistent
    /// @param omitSameSite    leaves "; SameSite=Strict" out of the cookies
    CAuthenticationApi(std::shared_ptr<IAuthorization> authorization,
                       std::uint64_t sessionTimeout,
                       bool omitSameSite);

    /// Takes {"Password": string, "PersistentSession": true or anything else, which counts as false}. Answers
    /// 204 with the cookie of a new session, and ends the session that the client came with.
    /// @throws HttpStatusException<400> for any other body
    /// @throws HttpStatusException<401> "Login failed" for a wrong password; the client's session stays
    Response Login(const IHttpRequest& request);

    /// Ends the client's session. 204, whether or not there was one.
    Response Logout(const IHttpRequest& request);

    /// 200 with {"Active": whether the client may use the interface}. Prolongs no session; a persistent one's
    /// cookie is sent anew, so that the browser keeps it.
    Response GetStatus(const IHttpRequest& request);

    /// Takes {"Password": string}. 200 with {"PasswordCorrect": boolean}.
    /// @throws HttpStatusException<400> for any other body
    Response VerifyPassword(const IHttpRequest& request);

private:
    /// @param age  the attribute that gives the cookie's life, with what separates it; empty for none
    std::string Cookie(const std::string& key, const std::string& age) const;

    // Constant after construction
    const std::shared_ptr<IAuthorization> authorization;
    const std::uint64_t sessionTimeout;
    const bool omitSameSite;
};

} // namespace Resources
