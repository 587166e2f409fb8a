#include "tests/e2e/interface/row.h"

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <memory>
#include <stdexcept>

#include "tests/support/websocketclient.h"

namespace Interface
{

namespace
{

constexpr const char* Boundary = "----boundary";

Json::Value Parse(const std::string& json)
{
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value value;
    std::string errors;
    if (!reader->parse(json.data(), json.data() + json.size(), &value, &errors))
    {
        throw std::runtime_error("A row has bad JSON: " + json + "\n" + errors);
    }
    return value;
}

std::string Compact(const Json::Value& value)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

SAnswer Text(int status, const std::string& type, const std::string& text)
{
    return {status, {{"Content-Type", type}}, text};
}

SAnswer Error(int status, const std::string& text)
{
    return Text(status, "application/json", Json::Value(text).toStyledString());
}

} // namespace

SBody Typed(const std::string& type, const std::string& text)
{
    return {type, text};
}

SBody Form(const std::string& text)
{
    return {"application/x-www-form-urlencoded", text};
}

SBody Multipart(const std::vector<std::pair<std::string, std::string>>& values)
{
    std::string text;
    for (const auto& [name, value] : values)
    {
        text.append("--").append(Boundary).append("\r\n");
        text.append("Content-Disposition: form-data; name=\"").append(name).append("\"\r\n\r\n");
        text.append(value).append("\r\n");
    }
    text.append("--").append(Boundary).append("--\r\n");
    return {std::string("multipart/form-data; boundary=") + Boundary, text};
}

SAnswer SAnswer::WithCookie(const std::string& cookie) const
{
    SAnswer answer = *this;
    // shorter names come first
    answer.headers.insert(answer.headers.begin(), {"Set-Cookie", cookie});
    return answer;
}

SAnswer Ok(const std::string& json)
{
    return Text(200, "application/json", Styled(json));
}

SAnswer NoContent()
{
    return Text(204, "text/plain", "");
}

SAnswer Reason(int status)
{
    switch (status)
    {
    case 400:
        return Error(400, "Bad Request");
    case 401:
        return Error(401, "Unauthorized");
    case 403:
        return Error(403, "Forbidden");
    case 404:
        return Error(404, "Not Found");
    case 405:
        return Error(405, "Method not Allowed");
    case 409:
        return Error(409, "Conflict");
    case 500:
        return Error(500, "Internal Server Error");
    case 503:
        return Error(503, "Service Unavailable");
    default:
        throw std::runtime_error("A row has a status without a reason word");
    }
}

SAnswer Unauthorized()
{
    return Reason(401);
}

SAnswer BadRequest()
{
    return Reason(400);
}

SAnswer Message(int status, const std::string& text)
{
    return Error(status, Compact(text));
}

SAnswer MessageOf(int status, const std::string& json)
{
    return Error(status, Compact(Parse(json)));
}

SAnswer Failure(const std::string& text)
{
    return Error(500, text);
}

SAnswer NotAllowed()
{
    return Reason(405);
}

SAnswer NoValue()
{
    return Message(400,
                   "Could not parse body: * Line 1, Column 1\n"
                   "  Syntax error: value, object or array expected.\n");
}

SAnswer NoObject()
{
    return Failure("in Json::Value::find(begin, end): requires objectValue or nullValue");
}

SAnswer NoSuchPath()
{
    return Text(404, "text/plain", "Not Found");
}

SAnswer NoSuchMethod()
{
    return Text(405, "text/plain", "Method not Allowed");
}

SAnswer Download(const std::string& name, const std::string& contents)
{
    return {200,
            {{"Content-Type", "application/octet-stream"},
             {"Content-Disposition", "attachment; filename=" + name}},
            contents};
}

SAnswer Page(int status, const std::string& text)
{
    return Text(status, "text/html", text);
}

SAnswer NoConnection()
{
    return {};
}

SAnswer Frames(std::vector<std::string> frames)
{
    SAnswer answer;
    answer.frames = std::move(frames);
    return answer;
}

SAnswer MixedFrames(std::vector<std::string> frames)
{
    SAnswer answer = Frames(std::move(frames));
    answer.isMixed = true;
    return answer;
}

SAnswer FirstFrames(std::vector<std::string> frames)
{
    SAnswer answer = Frames(std::move(frames));
    answer.isBeginning = true;
    return answer;
}

std::string Result(const std::string& status,
                   const std::string& topic,
                   const std::string& action,
                   const std::string& message)
{
    return WebSocketResult(status, topic, action, message).toStyledString();
}

std::string Subscribed(const std::string& topic)
{
    return Result("ok", topic, "subscribe", "Subscribed to topic");
}

std::string Unsubscribed(const std::string& topic)
{
    return Result("ok", topic, "unsubscribe", "Unsubscribed from topic");
}

std::string InvalidTopic(const std::string& action, const std::string& topic)
{
    return Result("error", topic, action, "Invalid topic");
}

std::string Event(const std::string& topic, const std::string& json)
{
    return WebSocketEvent(topic, Parse(json)).toStyledString();
}

std::string Closed(int code, const std::string& reason)
{
    return "closed " + std::to_string(code) + " " + reason;
}

std::string Changed(const std::string& key, const std::string& value)
{
    return "Diagnostics.SendSignal 20500 Parameter " + key + " has been reconfigured to " + value;
}

std::string SecurityChanged(const std::string& key, const std::string& value)
{
    return "Diagnostics.SendSignal 20301 Security parameter " + key + " has been reconfigured to " + value;
}

std::string Styled(const std::string& json)
{
    return Parse(json).toStyledString();
}

std::string With(const std::string& json, const std::string& members)
{
    Json::Value value = Parse(json);
    const Json::Value others = Parse(members);
    for (const std::string& name : others.getMemberNames())
    {
        value[name] = others[name];
    }
    return Compact(value);
}

std::string Without(const std::string& json, const std::string& member)
{
    Json::Value value = Parse(json);
    value.removeMember(member);
    return Compact(value);
}

bool IsRequest(const SRow& row)
{
    return (row.who & (Anybody | Latest | Earlier)) != 0;
}

std::pair<std::string, std::string> Split(const std::string& request)
{
    const std::size_t blank = request.find(' ');
    return {request.substr(0, blank), blank == std::string::npos ? "" : request.substr(blank + 1)};
}

} // namespace Interface
