/// The upload server.
#include "tests/e2e/interface/sections.h"

namespace Interface
{

namespace
{

const std::string Requested = R"(BoardControl.RequestFirmwareUpdate {"Value":"WebInterface"})";
const std::string Package = "tmp/update/package.swu";

} // namespace

Sections Uploads()
{
    // clang-format off
    return {
    {"Uploads", EMode::Dashboard, {}, {
        // the service takes each request, and does nothing
        {Station, "POST /fault", R"({"Service": "BoardControl", "Operation": "RequestFirmwareUpdate", "Answer": 0})"},
        // methods
        {Anybody, "GET :8082/",          {}, Page(400, "Bad Request")},
        {Anybody, "HEAD :8082/",         {}, Page(400, "Bad Request")},
        {Anybody, "POST :8082/firmware", Form("firmware=abc"), Page(400, "Bad Request")},
        {Anybody, "DELETE :8082/",       {}, Page(400, "Bad Request")},
        {Anybody, "put :8082/",          Form("firmware=abc"), Page(400, "Bad Request")},
        {Gone,    Package},
        // bodies without a form
        {Anybody, "PUT :8082/", {},                            Page(400, "\"No data\"")},
        {Anybody, "PUT :8082/", R"({"firmware": "abc"})",      Page(400, "\"No data\"")},
        {Anybody, "PUT :8082/", Typed("", "firmware=abc"),     Page(400, "\"No data\"")},
        {Anybody, "PUT :8082/", Form(""),                      Page(400, "\"No data\"")},
        {Anybody, "PUT :8082/", Multipart({}),                 Page(400, "\"No data\"")},
        {Gone | Soon, Package},
        // without a session; the file is gone when the answer has been sent
        {NoneOrWrong, "PUT :8082/", Form("firmware=abc"),             Page(401, "Unauthorized")},
        {NoneOrWrong, "PUT :8082/", Multipart({{"firmware", "abc"}}), Page(401, "Unauthorized")},
        {NoneOrWrong, "PUT :8082/", Form("other=abc"),                Page(401, "Unauthorized")},
        {Gone | Soon, Package},
        // packages
        {Valid,   "PUT :8082/",         Form("firmware=a%20b+c"),           Page(201, "Created"), {Requested}},
        {Holds,   Package, "a b c"},
        {Valid,   "PUT :8082/any/path", Multipart({{"firmware", "12345"}}), Page(201, "Created"), {Requested}},
        {Holds,   Package, "12345"},
        {Valid,   "PUT :8082/",         Multipart({{"firmware", "123"}, {"firmware", "45"}}), Page(201, "Created"), {Requested}},
        {Holds,   Package, "12345"},
        {Valid,   "PUT :8082/?x=1",     Form("firmware=abc"),               Page(201, "Created"), {Requested}},
        {Holds,   Package, "abc"},
        // other fields, before and behind it
        {Valid,   "PUT :8082/", Form("other=abc"),                                  Page(403, "\"Invalid target\"")},
        {Gone | Soon, Package},
        {Valid,   "PUT :8082/", Multipart({{"name", "x"}, {"firmware", "abc"}}),    Page(403, "\"Invalid target\"")},
        {Valid,   "PUT :8082/", Multipart({{"firmware", "abc"}, {"name", "x"}}),    Page(403, "\"Invalid target\"")},
        {Valid,   "PUT :8082/", Form("Firmware=abc"),                               Page(403, "\"Invalid target\"")},
        {Gone | Soon, Package},
        // a value without contents
        {Valid,   "PUT :8082/", Multipart({{"firmware", ""}}),                      Page(400, "Bad Request")},
        {Gone | Soon, Package},
        // refused, and nobody there: the package stays
        {Station, "POST /fault", R"({"Service": "BoardControl", "Operation": "RequestFirmwareUpdate", "Refuse": true, "Times": 1})"},
        {Valid,   "PUT :8082/", Form("firmware=abc"), Page(500, "Internal communication failure"), {Requested}},
        {Holds,   Package, "abc"},
        {Station, "POST /fault", R"({"Service": "BoardControl", "Operation": "RequestFirmwareUpdate", "Fail": true, "Times": 1})"},
        {Valid,   "PUT :8082/", Form("firmware=def"), Page(500, "Internal communication failure"), {Requested}},
        {Holds,   Package, "def"},
        {Station, "POST /fault", R"({"Service": "BoardControl", "Operation": "RequestFirmwareUpdate", "Answer": 0})"},
        // one at a time, written as it comes: another is refused and the one goes on
        {Valid | Begins, "PUT :8082/", Form("firmware=abc")},
        {Holds | Soon,   Package, "ab"},
        {Valid,          "PUT :8082/", Form("firmware=def"), Page(503, "\"The firmware package is currently in use by someone else\"")},
        {None,           "PUT :8082/", Form("firmware=def"), Page(503, "\"The firmware package is currently in use by someone else\"")},
        {Valid | Ends,   "PUT :8082/", Form("firmware=abc"), Page(201, "Created"), {Requested}},
        {Holds,          Package, "abc"},
        // a session that ends on the way
        {None,           "POST /auth/login", R"({"Password": "station-demo"})", NoContent().WithCookie("sessionid=<key>; path=/; SameSite=Strict"),
         {"Diagnostics.SendSignal 20502 Successful web interface login"}},
        {Latest,         "PUT :8082/", Form("firmware=abc"), Page(201, "Created"), {Requested}},
        {Latest | Begins, "PUT :8082/", Form("firmware=def")},
        {Holds | Soon,   Package, "de"},
        {Latest,         "POST /auth/logout", {}, NoContent()},
        {Latest | Ends,  "PUT :8082/", Form("firmware=def"), Page(401, "Unauthorized")},
        {Gone | Soon, Package},
        // no file to write to
        {Remove,  Package},
        {File,    Package + "/in/the/way", "x"},
        {Valid,   "PUT :8082/", Form("firmware=abc"), Page(500, "Could not open firmware package file.")},
        {Remove,  Package},
        {Valid,   "PUT :8082/", Form("firmware=abc"), Page(201, "Created"), {Requested}},
    }},
    {Commissioning, EMode::Commissioning, {}, {
        {None,    "GET :8082/", {}, NoConnection()},
    }},
    };
    // clang-format on
}

} // namespace Interface
