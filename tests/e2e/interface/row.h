/// The language of the tables that state the interface of the process, one row a case.
///
///     {None,  "GET /system/info", {}, Unauthorized()},
///     {Valid, "POST /system/reboot", R"({"RebootType": "SoftReboot"})", NoContent(),
///      {R"(BoardControl.Reboot {"Type":0})"}},
///
/// reads: without a session the information is refused; with one a reboot is answered by 204, after the one
/// call of a service that stands there. What is expected is everything: the status line, all headers but the
/// date, the body, and all calls that arrive at the station's services but the readings of the meter.
///
/// Expected texts may hold these in place of what nobody can foretell:
///     <key>      a session's key
///     <latest>   the one that the last <key> stood for
///     <time>     2024-05-01T12:00:00Z
///     <stamp>    2024-05-01T120000
///     <...>      anything up to what follows, but not nothing and not a line feed
///     <archive>  a tar archive
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/e2e/routelist.h"
#include "tests/support/rawhttp.h"

namespace Interface
{

/// Whom a row is about. Rows of those who ask may name several: the row holds for each of them in turn.
enum EWho : unsigned
{
    /// Ask by HTTP: "GET /path" at the REST server, "PUT :8082/path" at another port.
    None = 1U << 0,    ///< without a cookie
    Wrong = 1U << 1,   ///< with a session that there is not
    Valid = 1U << 2,   ///< with the session that there is from the start
    Latest = 1U << 3,  ///< with the session that the last <key> stood for
    Earlier = 1U << 4, ///< with the one that the <key> before stood for
    NoneOrWrong = None | Wrong,
    Anybody = None | Wrong | Valid,

    /// Connections to the event server, which are opened by their first row and stay: "subscribe /topic" or
    /// any other action, "says" with the text to send as body, "hears" for what comes by itself.
    Browser = 1U << 5,         ///< with the valid session
    Second = 1U << 6,          ///< likewise
    BrowserOfNone = 1U << 7,   ///< without a cookie
    BrowserOfWrong = 1U << 8,  ///< with a session that there is not
    BrowserOfLatest = 1U << 9, ///< with the session that the last <key> stood for
    BrowserWith = 1U << 21,    ///< with the body as cookie, <session> for the valid one; for one row only
};

/// Between those who ask: what happens in the station, and what its files hold.
enum EStep : unsigned
{
    Station = 1U << 10, ///< "POST /fault" and a body: steers the simulated station
    File = 1U << 11,    ///< a path below the station's root and contents: writes it
    Remove = 1U << 12,  ///< a path: removes it with all that is in it
    Holds = 1U << 13,   ///< a path and contents: what it holds
    Gone = 1U << 14,    ///< a path: there is no such file
    Stored = 1U << 15,  ///< a configuration file's name and members: what the process has written of them
    Through = 1U << 16  ///< waits for what is asked meanwhile
};

/// How they ask, beside who does.
enum EManner : unsigned
{
    Soon = 1U << 17,      ///< until it is so: the answer, or what a file holds, comes about by itself
    Meanwhile = 1U << 18, ///< beside the rows that follow; until Through or the section's end
    Begins = 1U << 19,    ///< all but the last byte of the request
    Ends = 1U << 20,      ///< the last byte of it; to be answered
};

/// A request's body, as JSON unless told otherwise.
struct SBody
{
    SBody() = default;
    SBody(const char* json)
        : SBody("application/json", json)
    {
    }
    SBody(std::string json)
        : SBody("application/json", std::move(json))
    {
    }
    SBody(std::string type, std::string text)
        : type(std::move(type))
        , text(std::move(text))
    {
    }

    /// empty: without the header
    std::string type;
    std::string text;
};

SBody Typed(const std::string& type, const std::string& text);

/// An urlencoded form
SBody Form(const std::string& text);

/// A multipart form with these values
SBody Multipart(const std::vector<std::pair<std::string, std::string>>& values);

/// What is answered, or what a connection to the event server receives.
struct SAnswer
{
    int status = 0;
    /// In the order of the wire, without Date and Content-Length.
    HttpHeaders headers = {};
    std::string body = {};
    /// Frames, or the close as "closed CODE REASON"
    std::vector<std::string> frames = {};
    /// whether more frames may follow
    bool isBeginning = false;
    /// whether the frames behind the first one come in no certain order
    bool isMixed = false;

    SAnswer WithCookie(const std::string& cookie) const;
};

// ------------------------------------------------------------------------------- answers of the REST server

/// 200 with a value, given as JSON text of any style
SAnswer Ok(const std::string& json);
SAnswer NoContent();

/// An error whose text is its reason word.
SAnswer Reason(int status);
SAnswer Unauthorized();
SAnswer BadRequest();

/// An error with a text of a handler's own, which comes wrapped twice.
SAnswer Message(int status, const std::string& text);

/// The same with a value for the text.
SAnswer MessageOf(int status, const std::string& json);

/// 500 with an exception's text
SAnswer Failure(const std::string& text);
SAnswer NotAllowed();

/// 400 for a body that is empty or begins with what is no value
SAnswer NoValue();

/// 500 for a body that is no object
SAnswer NoObject();

/// The pages of the HTTP library
SAnswer NoSuchPath();
SAnswer NoSuchMethod();

/// 200 with a file to be saved under this name
SAnswer Download(const std::string& name, const std::string& contents);

// ------------------------------------------------------------------------------- answers of the upload
// server

SAnswer Page(int status, const std::string& text);

/// Nobody listens on the port.
SAnswer NoConnection();

// ------------------------------------------------------------------------------- frames of the event server

SAnswer Frames(std::vector<std::string> frames);

/// Frames of which the first is followed by the others in any order.
SAnswer MixedFrames(std::vector<std::string> frames);

/// Frames that others may follow.
SAnswer FirstFrames(std::vector<std::string> frames);

std::string Result(const std::string& status,
                   const std::string& topic,
                   const std::string& action,
                   const std::string& message);
std::string Subscribed(const std::string& topic);
std::string Unsubscribed(const std::string& topic);
std::string InvalidTopic(const std::string& action, const std::string& topic);

/// @param json  the event's data
std::string Event(const std::string& topic, const std::string& json);
std::string Closed(int code, const std::string& reason);

// ----------------------------------------------------------------------------------------------------- calls

/// The audit's event of a setting, and of one that concerns security
std::string Changed(const std::string& key, const std::string& value);
std::string SecurityChanged(const std::string& key, const std::string& value);

// ---------------------------------------------------------------------------------------------------- tables

struct SRow
{
    unsigned who = None;
    std::string request = {};
    SBody body = {};
    SAnswer answer = {};
    /// Calls that arrive at services: "Service.Operation REQUEST", or "Diagnostics.SendSignal NUMBER TEXT".
    std::vector<std::string> calls = {};
};

/// Rows that follow each other in one station and one process.
struct SSection
{
    std::string name;
    EMode mode = EMode::Dashboard;

    /// What the station has from the start: the image's defaults of a file, by its name and members, where
    /// null takes one away; or a whole file, by its path.
    std::vector<std::pair<std::string, std::string>> files = {};
    std::vector<SRow> rows = {};
};

using Sections = std::vector<SSection>;

/// JSON text in the style of the answers.
std::string Styled(const std::string& json);

/// An object with some of its members replaced.
std::string With(const std::string& json, const std::string& members);

/// An object without a member.
std::string Without(const std::string& json, const std::string& member);

/// Whether a row is a request by HTTP.
bool IsRequest(const SRow& row);

/// "GET", and "/path" or ":8082/path"
std::pair<std::string, std::string> Split(const std::string& request);

} // namespace Interface
