#include "tests/e2e/interface/interfacetest.h"

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <tuple>
#include <utility>

#include <gmock/gmock.h>

#include "tests/e2e/interface/wire.h"

using namespace Interface;

namespace
{

constexpr const char* Synchronised = "run/synchronised";
const std::string UnknownSession = "0bad" + std::string(60, 'f');

Json::Value Parse(const std::string& text)
{
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}

std::string Compact(const Json::Value& value)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

std::string CallText(const Json::Value& call)
{
    const std::string operation = call["Service"].asString() + "." + call["Operation"].asString();
    if (operation == "Diagnostics.SendSignal")
    {
        // without the time
        const Json::Value& signal = call["Request"]["Signal"];
        return operation + " " + signal["Identifier"].asString() + " " + signal["Value"][0].asString();
    }
    return operation + " " + Compact(call["Request"]);
}

/// Whether a row would have told of this call: not of subscriptions and of the polled meter.
bool IsTold(const Json::Value& call)
{
    const std::string operation = call["Operation"].asString();
    return operation.rfind("Subscribe", 0) != 0 && operation != "GetMeterData";
}

std::string NameOf(unsigned who)
{
    const std::vector<std::pair<unsigned, const char*>> names{{None, "None"},
                                                              {Wrong, "Wrong"},
                                                              {Valid, "Valid"},
                                                              {Latest, "Latest"},
                                                              {Earlier, "Earlier"},
                                                              {Browser, "Browser"},
                                                              {Second, "Second"},
                                                              {BrowserOfNone, "BrowserOfNone"},
                                                              {BrowserOfWrong, "BrowserOfWrong"},
                                                              {BrowserOfLatest, "BrowserOfLatest"},
                                                              {BrowserWith, "BrowserWith"},
                                                              {Station, "Station"},
                                                              {File, "File"},
                                                              {Remove, "Remove"},
                                                              {Holds, "Holds"},
                                                              {Gone, "Gone"},
                                                              {Stored, "Stored"},
                                                              {Through, "Through"},
                                                              {Soon, "Soon"},
                                                              {Meanwhile, "Meanwhile"},
                                                              {Begins, "Begins"},
                                                              {Ends, "Ends"}};
    std::string text;
    for (const auto& [bit, name] : names)
    {
        if ((who & bit) != 0)
        {
            text.append(text.empty() ? "" : " | ").append(name);
        }
    }
    return text;
}

/// Whether a row may reach for /data or /tmp, which have to be the station's then. The others start sooner.
bool TouchesFiles(const SSection& section)
{
    static const std::vector<std::string> routes{
        ":8082/", "/system/diagnostics/freezeframes", "/system/factory-reset", "/automatic-update/update"};
    return std::any_of(section.rows.begin(),
                       section.rows.end(),
                       [](const SRow& row)
                       {
                           return std::any_of(routes.begin(),
                                              routes.end(),
                                              [&](const std::string& route)
                                              { return row.request.find(route) != std::string::npos; });
                       });
}

std::string Describe(const SSection& section, std::size_t index)
{
    constexpr std::size_t longest = 200;
    const SRow& row = section.rows[index];
    return section.name + ", row " + std::to_string(index + 1) + ": " + NameOf(row.who) + ", \"" +
           row.request + "\", " + row.body.text.substr(0, longest);
}

/// Port and path of "/path" or ":8082/path".
std::pair<std::uint16_t, std::string> Address(const std::string& target)
{
    if (target.front() != ':')
    {
        return {RestPort, target};
    }
    const std::size_t path = target.find('/');
    return {static_cast<std::uint16_t>(std::stoi(target.substr(1, path - 1))), target.substr(path)};
}

template <class Condition>
void AwaitThat(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + TestPatience;
    while (!condition() && std::chrono::steady_clock::now() < end)
    {
        std::this_thread::yield();
    }
}

std::string Read(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

void InterfaceTest::Run(const SSection& section)
{
    Start(section);
    for (std::size_t index = 0; index < section.rows.size(); ++index)
    {
        const std::string description = Describe(section, index);
        SCOPED_TRACE(description);
        try
        {
            Run(section.rows[index]);
        }
        catch (const std::exception& error)
        {
            // what follows may still tell something
            ADD_FAILURE() << error.what();
        }
    }
    AwaitMeanwhile();
    connections.clear();
    ExpectCleanEnd();
}

void InterfaceTest::Start(const SSection& section)
{
    if (TouchesFiles(section))
    {
        PutFilesInPlace();
    }
    const bool isCommissioned = section.mode == EMode::Dashboard;
    root.SetDefault("settings", "InstallationComplete", isCommissioned);
    for (const auto& [name, contents] : section.files)
    {
        AddFile(name, contents);
    }
    if (std::filesystem::exists(root.Path() / Synchronised))
    {
        program = WEBBACKEND_WITH_CLOCK_STATE;
        setenv("STATION_CLOCK", (root.Path() / Synchronised).c_str(), 1);
    }
    StartAll();
    AwaitListener(WebSocketPort);
    if (isCommissioned)
    {
        AwaitListener(FileServerPort);
    }
    for (const auto& [service, subscription] :
         {std::pair("NetM", "SubscribeNetworkStatus"), std::pair("Rfid", "SubscribeTokenFound")})
    {
        station.AwaitCall(service, subscription);
    }
    station.AwaitCall("Diagnostics", "SubscribeFreezeFrameDone");
    if (isCommissioned)
    {
        station.AwaitCall("SessionManager", "SubscribeConnectorState");
        station.AwaitCall("Diagnostics", "SubscribeSignalChange");
        station.AwaitCall("BoardControl", "SubscribeFirmwareUpdateStatus");
    }
}

void InterfaceTest::AddFile(const std::string& name, const std::string& contents) const
{
    if (name.find('/') != std::string::npos)
    {
        root.Write(name, contents);
        return;
    }
    const std::string file = "etc/config/" + name + ".json";
    if (!std::filesystem::exists(root.Path() / file))
    {
        root.Write(file, "{}");
    }
    const Json::Value members = Parse(contents);
    for (const std::string& key : members.getMemberNames())
    {
        if (members[key].isNull())
        {
            root.RemoveDefault(name, key);
        }
        else
        {
            root.SetDefault(name, key, members[key]);
        }
    }
}

void InterfaceTest::Run(const SRow& row)
{
    switch (row.who & ~unsigned{Soon})
    {
    case Station:
        Steer(row);
        break;
    case File:
        root.Write(row.request, row.body.text);
        break;
    case Remove:
        std::filesystem::remove_all(root.Path() / row.request);
        break;
    case Holds:
        ExpectContents(row);
        break;
    case Gone:
        ExpectGone(row);
        break;
    case Stored:
        ExpectStored(row);
        break;
    case Through:
        AwaitMeanwhile();
        break;
    default:
        IsRequest(row) ? Ask(row) : Listen(row);
        break;
    }
}

void InterfaceTest::Ask(const SRow& row)
{
    for (const unsigned who : {None, Wrong, Valid, Latest, Earlier})
    {
        if ((row.who & who) == 0)
        {
            continue;
        }
        SCOPED_TRACE(NameOf(who));
        if ((row.who & Meanwhile) != 0)
        {
            AskMeanwhile(who, row);
        }
        else if ((row.who & Begins) != 0)
        {
            Begin(who, row);
        }
        else if ((row.who & Ends) != 0)
        {
            End(row);
        }
        else
        {
            AskAs(who, row);
        }
    }
}

void InterfaceTest::AskAs(unsigned who, const SRow& row)
{
    const std::uint64_t before = station.LastCall();
    auto [actual, expected] = Exchange(who, row);
    if ((row.who & Soon) != 0)
    {
        AwaitThat(
            [&, who]
            {
                std::tie(actual, expected) = Exchange(who, row);
                return actual == expected;
            });
    }
    EXPECT_EQ(expected, actual);
    ExpectCalls(before, row.calls);
}

void InterfaceTest::AskMeanwhile(unsigned who, const SRow& row)
{
    const std::uint64_t before = station.LastCall();
    const auto [method, target] = Split(row.request);
    underWay.push_back({NameOf(row.who) + ", \"" + row.request + "\"",
                        &row,
                        std::async(std::launch::async,
                                   [method = method, target = target, headers = Headers(who, row), &row] {
                                       return HttpRequest(RestPort, method, target, headers, row.body.text);
                                   })});
    ExpectCalls(before, row.calls);
}

void InterfaceTest::AwaitMeanwhile()
{
    for (SUnderWay& request : underWay)
    {
        SCOPED_TRACE(request.description);
        try
        {
            const auto [actual, expected] = Compare(*request.row, request.response.get());
            EXPECT_EQ(expected, actual);
        }
        catch (const std::exception& error)
        {
            ADD_FAILURE() << error.what();
        }
    }
    underWay.clear();
}

void InterfaceTest::Begin(unsigned who, const SRow& row)
{
    const auto [method, target] = Split(row.request);
    const auto [port, path] = Address(target);
    const std::string text = HttpRequestText(method, path, Headers(who, row), row.body.text);
    begun = std::make_unique<CRawHttp>(port);
    begun->Send(text.substr(0, text.size() - 1));
}

void InterfaceTest::End(const SRow& row)
{
    const std::uint64_t before = station.LastCall();
    begun->Send(row.body.text.substr(row.body.text.size() - 1));
    const auto [actual, expected] = Compare(row, begun->Receive(Split(row.request).first));
    EXPECT_EQ(expected, actual);
    ExpectCalls(before, row.calls);
    begun.reset();
}

HttpHeaders InterfaceTest::Headers(unsigned who, const SRow& row) const
{
    HttpHeaders headers;
    if (who != None)
    {
        headers.emplace_back("Cookie", "sessionid=" + Session(who));
    }
    if (!row.body.type.empty())
    {
        headers.emplace_back("Content-Type", row.body.type);
    }
    return headers;
}

std::pair<std::string, std::string> InterfaceTest::Exchange(unsigned who, const SRow& row)
{
    const auto [method, target] = Split(row.request);
    const auto [port, path] = Address(target);
    if (row.answer.status == 0)
    {
        return {CRawHttp::CanConnect(port) ? "a connection" : "no connection", "no connection"};
    }
    return Compare(row, HttpRequest(port, method, path, Headers(who, row), row.body.text));
}

std::pair<std::string, std::string> InterfaceTest::Compare(const SRow& row, const SHttpResponse& response)
{
    std::string key = latestKey;
    const std::string expected = Expected(row.answer, Split(row.request).first, response, key);
    if (key != latestKey)
    {
        earlierKey = std::exchange(latestKey, key);
    }
    return {Text(response), expected};
}

std::string InterfaceTest::Session(unsigned who) const
{
    switch (who)
    {
    case Valid:
    case Browser:
    case Second:
        return SessionKey;
    case Latest:
    case BrowserOfLatest:
        return latestKey;
    case Earlier:
        return earlierKey;
    default:
        return UnknownSession;
    }
}

void InterfaceTest::Steer(const SRow& row) const
{
    const std::uint64_t before = station.LastCall();
    const auto [method, path] = Split(row.request);
    const SSteeringAnswer answer =
        method == "DELETE" ? station.Delete(path) : station.Post(path, row.body.text);
    EXPECT_EQ(answer.status, 200) << answer.body;
    ExpectCalls(before, row.calls);
}

void InterfaceTest::Listen(const SRow& row)
{
    const std::uint64_t before = station.LastCall();
    CWebSocketClient& client = row.who == BrowserWith ? ConnectWith(row.body.text) : Connection(row.who);
    const auto [action, topic] = Split(row.request);
    if (action == "says")
    {
        topic == "bytes" ? client.SendBinary(row.body.text) : client.Send(row.body.text);
    }
    else if (action != "hears")
    {
        client.Request(action, topic);
    }
    std::vector<std::string> expected = row.answer.frames;
    std::vector<std::string> received = Receive(client, row.answer);
    if (row.answer.isMixed && !received.empty())
    {
        std::sort(std::next(expected.begin()), expected.end());
        std::sort(std::next(received.begin()), received.end());
    }
    EXPECT_EQ(expected, received);
    connections.erase(BrowserWith);
    ExpectCalls(before, row.calls);
}

CWebSocketClient& InterfaceTest::ConnectWith(std::string cookie)
{
    const std::string placeholder = "<session>";
    if (const std::size_t place = cookie.find(placeholder); place != std::string::npos)
    {
        cookie.replace(place, placeholder.size(), SessionKey);
    }
    auto& connection = connections[BrowserWith];
    connection = std::make_unique<CWebSocketClient>(WebSocketPort, HttpHeaders{{"Cookie", cookie}});
    return *connection;
}

CWebSocketClient& InterfaceTest::Connection(unsigned who)
{
    std::unique_ptr<CWebSocketClient>& connection = connections[who];
    if (!connection)
    {
        const HttpHeaders headers =
            who == BrowserOfNone ? HttpHeaders() : HttpHeaders{{"Cookie", "sessionid=" + Session(who)}};
        connection = std::make_unique<CWebSocketClient>(WebSocketPort, headers);
    }
    return *connection;
}

std::vector<std::string> InterfaceTest::Receive(CWebSocketClient& client, const SAnswer& expected)
{
    if (!expected.frames.empty() && expected.frames.front().rfind("closed ", 0) == 0)
    {
        const int code = client.AwaitClose();
        EXPECT_EQ(client.Waiting(), 0U);
        return {Closed(code, client.CloseReason())};
    }
    std::vector<std::string> frames;
    while (frames.size() < expected.frames.size())
    {
        frames.push_back(client.Receive());
    }
    if (expected.isBeginning)
    {
        return frames;
    }
    // what else has been sent comes before the answer to this
    client.Request("end", "/end");
    const std::string end = InvalidTopic("end", "/end");
    for (std::string frame = client.Receive(); frame != end; frame = client.Receive())
    {
        frames.push_back(frame);
    }
    return frames;
}

std::vector<std::string> InterfaceTest::Calls(std::uint64_t before, std::size_t expected) const
{
    const auto end = std::chrono::steady_clock::now() + TestPatience;
    for (;;)
    {
        const Json::Value record = station.Get("/calls?after=" + std::to_string(before)).body;
        std::vector<std::string> calls;
        for (const Json::Value& call : record["Calls"])
        {
            if (IsTold(call))
            {
                calls.push_back(CallText(call));
            }
        }
        if (calls.size() >= expected || std::chrono::steady_clock::now() > end)
        {
            // the schedule sends its limits in its own time: they stand first
            std::stable_partition(calls.begin(),
                                  calls.end(),
                                  [](const std::string& call)
                                  { return call.rfind("CurrentControl.", 0) == 0; });
            return calls;
        }
        station.Get("/calls?after=" + record["Last"].asString() + "&wait=5");
    }
}

void InterfaceTest::ExpectCalls(std::uint64_t before, const std::vector<std::string>& expected) const
{
    EXPECT_EQ(expected, Calls(before, expected.size()));
}

void InterfaceTest::ExpectStored(const SRow& row) const
{
    const Json::Value stored = root.Stored(row.request);
    const Json::Value expected = Parse(row.body.text);
    for (const std::string& key : expected.getMemberNames())
    {
        EXPECT_EQ(expected[key], stored[key]) << key;
    }
}

void InterfaceTest::ExpectContents(const SRow& row) const
{
    const std::filesystem::path file = root.Path() / row.request;
    if ((row.who & Soon) != 0)
    {
        AwaitThat([&] { return Read(file) == row.body.text; });
    }
    EXPECT_EQ(row.body.text, Read(file));
}

void InterfaceTest::ExpectGone(const SRow& row) const
{
    const std::filesystem::path file = root.Path() / row.request;
    if ((row.who & Soon) != 0)
    {
        AwaitThat([&] { return !std::filesystem::exists(file); });
    }
    EXPECT_FALSE(std::filesystem::exists(file));
}
