/// Login, logout, and changes of the password.
#include "tests/e2e/interface/sections.h"
#include "tests/e2e/stationtest.h"

namespace Interface
{

namespace
{

const std::string Login = "Diagnostics.SendSignal 20502 Successful web interface login";
const std::string Forever = "; Max-Age=315360000";

} // namespace

Sections Authentication()
{
    // clang-format off
    return {
    {"Login", EMode::Dashboard, {}, {
        {Anybody, "POST /auth/login", {},                     NoValue()},
        {Anybody, "POST /auth/login", "{}",                   BadRequest()},
        {Anybody, "POST /auth/login", "[]",                   BadRequest()},
        {Anybody, "POST /auth/login", "null",                 BadRequest()},
        {Anybody, "POST /auth/login", "\"station-demo\"",     BadRequest()},
        {Anybody, "POST /auth/login", R"({"Password": 1})",   BadRequest()},
        {Anybody, "POST /auth/login", R"({"password": "station-demo"})", BadRequest()},
        {Anybody, "POST /auth/login", R"({"Password": "wrong"})", Message(401, "Login failed")},
        {Anybody, "POST /auth/login", R"({"Password": ""})",      Message(401, "Login failed")},
        {None,    "POST /auth/login", R"({"Password": "station-demo"})",
         NoContent().WithCookie("sessionid=<key>; path=/; SameSite=Strict"), {Login}},
        {Latest,  "GET /auth/status", {}, Ok(R"({"Active": true})")},
        {Latest,  "GET /config/auth/standalonelist", {}, Ok(R"({"Tokens": []})")},
        // a failed login leaves the session that it came with alone, and a login ends it
        {Latest,  "POST /auth/login", R"({"Password": "wrong"})", Message(401, "Login failed")},
        {Latest,  "GET /auth/status", {}, Ok(R"({"Active": true})")},
        {Latest,  "POST /auth/login", R"({"Password": "station-demo", "PersistentSession": true})",
         NoContent().WithCookie("sessionid=<key>; path=/; SameSite=Strict" + Forever), {Login}},
        {Earlier, "GET /auth/status", {}, Ok(R"({"Active": false})")},
        {Earlier, "GET /config/auth/standalonelist", {}, Unauthorized()},
        {Latest,  "GET /auth/status", {}, Ok(R"({"Active": true})").WithCookie("sessionid=<latest>; path=/; SameSite=Strict" + Forever)},
        {Latest,  "GET /config/auth/standalonelist", {}, Ok(R"({"Tokens": []})")},
        // only true is persistent
        {Wrong,   "POST /auth/login", R"({"Password": "station-demo", "PersistentSession": "true"})",
         NoContent().WithCookie("sessionid=<key>; path=/; SameSite=Strict"), {Login}},
        {None,    "POST /auth/login", R"({"Password": "station-demo", "PersistentSession": false})",
         NoContent().WithCookie("sessionid=<key>; path=/; SameSite=Strict"), {Login}},
        {Earlier | Latest, "GET /auth/status", {}, Ok(R"({"Active": true})")},
        // the event of a login cannot be sent
        {Station, "POST /fault", R"({"Service": "Diagnostics", "Operation": "SendSignal", "Fail": true, "Times": 1})"},
        {None,    "POST /auth/login", R"({"Password": "station-demo"})", Failure("Diagnostics.SendSignal: <...>"), {Login}},
        {Valid,   "POST /auth/login", R"({"Password": "station-demo"})",
         NoContent().WithCookie("sessionid=<key>; path=/; SameSite=Strict"), {Login}},
        {Valid,   "GET /auth/status", {}, Ok(R"({"Active": false})")},
    }},
    {"Logout", EMode::Dashboard, {}, {
        {NoneOrWrong, "GET /auth/status",  {}, Ok(R"({"Active": false})")},
        {Valid,       "GET /auth/status",  {}, Ok(R"({"Active": true})").WithCookie("sessionid=" + SessionKey + "; path=/; SameSite=Strict" + Forever)},
        {NoneOrWrong, "POST /auth/logout", {}, NoContent()},
        {Valid,       "GET /config/auth/standalonelist", {}, Ok(R"({"Tokens": []})")},
        {Valid,       "POST /auth/logout", {}, NoContent()},
        {Valid,       "GET /auth/status",  {}, Ok(R"({"Active": false})")},
        {Valid,       "GET /config/auth/standalonelist", {}, Unauthorized()},
        {Valid,       "POST /auth/logout", {}, NoContent()},
        {Stored,      "secrets", R"({"WebSessions": []})"},
    }},
    {"VerifyPassword", EMode::Dashboard, {}, {
        {Anybody, "POST /auth/verify-password", R"({"Password": "station-demo"})", Ok(R"({"PasswordCorrect": true})")},
        {Anybody, "POST /auth/verify-password", R"({"Password": "wrong"})",        Ok(R"({"PasswordCorrect": false})")},
        {Anybody, "POST /auth/verify-password", R"({"Password": ""})",             Ok(R"({"PasswordCorrect": false})")},
        {Anybody, "POST /auth/verify-password", {},                                NoValue()},
        {Anybody, "POST /auth/verify-password", "{}",                              BadRequest()},
        {Anybody, "POST /auth/verify-password", "[]",                              BadRequest()},
        {Anybody, "POST /auth/verify-password", R"({"Password": null})",           BadRequest()},
    }},
    {Commissioning, EMode::Commissioning, {}, {
        {Anybody, "GET /auth/status",            {}, Ok(R"({"Active": true})")},
        {Anybody, "POST /auth/login",            R"({"Password": "station-demo"})", NoSuchPath()},
        {Anybody, "POST /auth/logout",           {}, NoSuchPath()},
        {Anybody, "POST /auth/verify-password",  R"({"Password": "station-demo"})", NoSuchPath()},
    }},
    };
    // clang-format on
}

Sections Passwords()
{
    // clang-format off
    return {
    {"ChangeOfThePassword", EMode::Dashboard, {}, {
        {NoneOrWrong, "PUT /config/secrets/webifmanagement", {}, Unauthorized()},
        {NoneOrWrong, "PUT /config/secrets/webifmanagement", R"({"NewPassword": "new", "CurrentPassword": "station-demo"})", Unauthorized()},
        {Valid, "PUT /config/secrets/webifmanagement", {},                                                  NoValue()},
        {Valid, "PUT /config/secrets/webifmanagement", "{}",                                                BadRequest()},
        {Valid, "PUT /config/secrets/webifmanagement", "[]",                                                NoObject()},
        {Valid, "PUT /config/secrets/webifmanagement", R"({"NewPassword": "new"})",                         BadRequest()},
        {Valid, "PUT /config/secrets/webifmanagement", R"({"CurrentPassword": "station-demo"})",            BadRequest()},
        {Valid, "PUT /config/secrets/webifmanagement", R"({"NewPassword": 1, "CurrentPassword": "station-demo"})", BadRequest()},
        {Valid, "PUT /config/secrets/webifmanagement", R"({"NewPassword": "new", "CurrentPassword": ""})",  Message(401, "Current password is incorrect")},
        {Valid, "PUT /config/secrets/webifmanagement", R"({"NewPassword": "new", "CurrentPassword": "x"})", Message(401, "Current password is incorrect")},
        {Valid, "PUT /config/secrets/webifmanagement", R"({"NewPassword": "", "CurrentPassword": "x"})",    Message(401, "Current password is incorrect")},
        {Valid, "PUT /config/secrets/webifmanagement", R"({"NewPassword": "", "CurrentPassword": "station-demo"})",
         Message(400, "Password strength not sufficient")},
        {Valid, "GET /config/auth/standalonelist", {}, Ok(R"({"Tokens": []})")},
        {Valid, "PUT /config/secrets/webifmanagement", R"({"NewPassword": "n", "CurrentPassword": "station-demo"})",
         NoContent(), {SecurityChanged("WebIfManagementPassword", "****")}},
        // all sessions are gone, and the next login takes the new password over
        {Valid, "GET /config/auth/standalonelist", {}, Unauthorized()},
        {Stored, "secrets", R"({"WebSessions": []})"},
        {None,  "POST /auth/verify-password", R"({"Password": "station-demo"})", Ok(R"({"PasswordCorrect": true})")},
        {None,  "POST /auth/verify-password", R"({"Password": "n"})",            Ok(R"({"PasswordCorrect": false})")},
        {None,  "POST /auth/login",           R"({"Password": "station-demo"})", Message(401, "Login failed")},
        {None,  "POST /auth/verify-password", R"({"Password": "n"})",            Ok(R"({"PasswordCorrect": true})")},
        {None,  "POST /auth/login",           R"({"Password": "n"})", NoContent().WithCookie("sessionid=<key>; path=/; SameSite=Strict"), {Login}},
    }},
    {"ChangeOfThePasswordByPuk", EMode::Dashboard, {}, {
        {Anybody, "PUT /config/secrets/webifmanagement/puk", {},                                             NoValue()},
        {Anybody, "PUT /config/secrets/webifmanagement/puk", "{}",                                           BadRequest()},
        {Anybody, "PUT /config/secrets/webifmanagement/puk", "[]",                                           NoObject()},
        {Anybody, "PUT /config/secrets/webifmanagement/puk", R"({"PukCode": "12345678"})",                   BadRequest()},
        {Anybody, "PUT /config/secrets/webifmanagement/puk", R"({"NewPassword": "new"})",                    BadRequest()},
        {Anybody, "PUT /config/secrets/webifmanagement/puk", R"({"PukCode": 12345678, "NewPassword": "n"})", BadRequest()},
        {Anybody, "PUT /config/secrets/webifmanagement/puk", R"({"PukCode": "", "NewPassword": "new"})",     Message(401, "Empty PUK code is not allowed")},
        {Anybody, "PUT /config/secrets/webifmanagement/puk", R"({"PukCode": "", "NewPassword": ""})",        Message(401, "Empty PUK code is not allowed")},
        {Anybody, "PUT /config/secrets/webifmanagement/puk", R"({"PukCode": "1", "NewPassword": "new"})",    Message(401, "PUK code is incorrect")},
        {Anybody, "PUT /config/secrets/webifmanagement/puk", R"({"PukCode": "1", "NewPassword": ""})",       Message(401, "PUK code is incorrect")},
        {Anybody, "PUT /config/secrets/webifmanagement/puk", R"({"PukCode": "12345678", "NewPassword": ""})", Message(400, "Password strength not sufficient")},
        {Valid,   "GET /config/auth/standalonelist", {}, Ok(R"({"Tokens": []})")},
        {Anybody, "PUT /config/secrets/webifmanagement/puk", R"({"PukCode": "12345678", "NewPassword": "n"})",
         NoContent(), {SecurityChanged("WebIfManagementPassword", "****")}},
        {Valid,   "GET /config/auth/standalonelist", {}, Unauthorized()},
        {Stored,  "secrets", R"({"WebSessions": []})"},
        {None,    "POST /auth/login", R"({"Password": "n"})", NoContent().WithCookie("sessionid=<key>; path=/; SameSite=Strict"), {Login}},
    }},
    {BareStation, EMode::Dashboard, {{"secrets", R"({"WebIfManagementPassword": "plain", "WebIfPukCode": "12345678"})"}}, {
        {None, "POST /auth/login",           R"({"Password": "plain"})", Message(401, "Login failed")},
        {None, "POST /auth/login",           R"({"Password": ""})",      Message(401, "Login failed")},
        {None, "POST /auth/verify-password", R"({"Password": "plain"})", Ok(R"({"PasswordCorrect": false})")},
        {None, "POST /auth/verify-password", R"({"Password": ""})",      Ok(R"({"PasswordCorrect": false})")},
        {None, "PUT /config/secrets/webifmanagement/puk", R"({"PukCode": "12345678", "NewPassword": "n"})", Message(401, "PUK code is incorrect")},
        {None, "PUT /config/secrets/webifmanagement/puk", R"({"PukCode": "", "NewPassword": "n"})",         Message(401, "Empty PUK code is not allowed")},
    }},
    {Commissioning, EMode::Commissioning, {}, {
        // its path has the route of the PUK below it only
        {Anybody, "PUT /config/secrets/webifmanagement",     R"({"NewPassword": "n", "CurrentPassword": "station-demo"})", NoSuchPath()},
        {Anybody, "PUT /config/secrets/webifmanagement/puk", R"({"PukCode": "1", "NewPassword": "new"})",        Message(401, "PUK code is incorrect")},
        {Anybody, "PUT /config/secrets/webifmanagement/puk", R"({"PukCode": "12345678", "NewPassword": ""})",    Message(400, "Password strength not sufficient")},
        {Anybody, "PUT /config/secrets/webifmanagement/puk", R"({"PukCode": "12345678", "NewPassword": "new"})",
         NoContent(), {SecurityChanged("WebIfManagementPassword", "****")}},
    }},
    };
    // clang-format on
}

} // namespace Interface
