/// What holds for every route of the REST server.
#include "tests/e2e/interface/sections.h"

namespace Interface
{

Sections Frame()
{
    // clang-format off
    return {
    {"PathsAndMethods", EMode::Dashboard, {}, {
        // a path that there is not
        {Anybody,     "GET /",                      {}, NoSuchPath()},
        {Anybody,     "GET /nowhere",               {}, NoSuchPath()},
        {None,        "HEAD /nowhere",              {}, NoSuchPath()},
        {None,        "FOO /nowhere",               {}, NoSuchPath()},
        {None,        "POST /nowhere",              "{}", NoSuchPath()},
        {None,        "GET /system",                {}, NoSuchPath()},
        {None,        "GET /system/healthy",        {}, NoSuchPath()},
        {None,        "OPTIONS *",                  {}, NoSuchPath()},
        // other ways to write a path, and paths below it
        {None,        "GET /system/health/",        {}, NoContent()},
        {None,        "GET //system///health",      {}, NoContent()},
        {None,        "GET /SYSTEM/Health",         {}, NoContent()},
        {None,        "GET /system%2Fhealth",       {}, NoContent()},
        {None,        "GET /system/health?x=1",     {}, NoContent()},
        {None,        "GET /system/health/a/b",     {}, NoContent()},
        {NoneOrWrong, "GET /config/user/a/b",       {}, Unauthorized()},
        // a method that the path does not have is refused before the session is looked at
        {Anybody,     "POST /system/health",        {}, NotAllowed()},
        {Anybody,     "PUT /system/health",         {}, NotAllowed()},
        {Anybody,     "DELETE /system/health",      {}, NotAllowed()},
        {Anybody,     "PATCH /system/health",       {}, NotAllowed()},
        {Anybody,     "HEAD /system/health",        {}, NotAllowed()},
        {Anybody,     "OPTIONS /system/health",     {}, NotAllowed()},
        {Anybody,     "TRACE /system/health",       {}, NotAllowed()},
        {Anybody,     "CONNECT /system/health",     {}, NotAllowed()},
        {Anybody,     "POST /system/info",          {}, NotAllowed()},
        {Anybody,     "POST /system/info",          Typed("text/plain", "x"), NotAllowed()},
        {Anybody,     "GET /system/reboot/below",   {}, NotAllowed()},
        // a method that nobody has
        {Anybody,     "FOO /system/health",         {}, NoSuchMethod()},
        {Anybody,     "get /system/health",         {}, NoSuchMethod()},
        {Anybody,     "PROPFIND /config/user",      {}, NoSuchMethod()},
    }},
    {"Bodies", EMode::Dashboard, {}, {
        // the type is checked before the session, and on open routes too
        {Anybody, "POST /system/reboot",     Typed("", "{}"),                                Message(400, "Invalid content type")},
        {Anybody, "POST /system/reboot",     Typed("text/plain", "{}"),                      Message(400, "Invalid content type")},
        {Anybody, "POST /system/reboot",     Typed("application/json; charset=utf-8", "{}"), Message(400, "Invalid content type")},
        {Anybody, "POST /system/reboot",     Typed("Application/JSON", "{}"),                Message(400, "Invalid content type")},
        {Anybody, "POST /auth/login",        Typed("", "{}"),                                Message(400, "Invalid content type")},
        {Anybody, "PUT /config/secrets/webifmanagement/puk", Form("a=b"),                    Message(400, "Invalid content type")},
        {Anybody, "DELETE /config/auth/standalonelist/04AA", Typed("text/plain", "x"),       Message(400, "Invalid content type")},
        // not without a body, nor on a GET, whose body is dropped
        {NoneOrWrong, "POST /system/reboot", Typed("text/plain", ""),  Unauthorized()},
        {Valid,       "POST /system/reboot", Typed("text/plain", ""),  NoValue()},
        {Anybody,     "GET /system/health",  Typed("text/plain", ""),  NoContent()},
        {Anybody,     "GET /system/health",  Typed("text/plain", "x"), NoContent()},
        // what is no JSON
        {Valid, "POST /system/reboot", {},     NoValue()},
        {Valid, "POST /system/reboot", "\n",   Message(400, "Could not parse body: * Line 2, Column 1\n  Syntax error: value, object or array expected.\n")},
        {Valid, "POST /system/reboot", "{",    Message(400, "Could not parse body: * Line 1, Column 2\n  Missing '}' or object member name\n")},
        {Valid, "POST /system/reboot", "[1,",  Message(400, "Could not parse body: <...>")},
        {Valid, "POST /system/reboot", "yes",  NoValue()},
        // JSON, but no object
        {Valid, "POST /system/reboot", "null", BadRequest()},
        {Valid, "POST /system/reboot", "[]",   NoObject()},
        {Valid, "POST /system/reboot", "1",    NoObject()},
    }},
    };
    // clang-format on
}

} // namespace Interface
