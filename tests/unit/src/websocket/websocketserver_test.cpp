#include "src/api/httpexception.h"
#include "src/websocket/websocketserver.h"
#include "src/websocket/websockettopic.h"

#include "platform/worker/worker.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/mockauthorization.h"
#include "tests/support/capturedlog.h"
#include "tests/support/eventually.h"
#include "tests/support/manualclock.h"
#include "tests/support/privatenetwork.h"
#include "tests/support/rawhttp.h"
#include "tests/support/runtogether.h"
#include "tests/support/websocketclient.h"

using testing::_;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::NiceMock;
using testing::StartsWith;
using namespace std::chrono_literals;

namespace
{

const auto* const network = testing::AddGlobalTestEnvironment(new CPrivateNetwork);

constexpr std::uint16_t Port = 8081;
constexpr int UnauthorizedCode = 4401;
const std::string Topic = "/news";
const std::string Handshake = "GET / HTTP/1.1\r\nHost: x\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
                              "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n";

/// Of version 0 of the protocol, with the eight bytes behind it.
const std::string OldHandshake =
    "GET / HTTP/1.1\r\nHost: x\r\nConnection: Upgrade\r\nUpgrade: WebSocket\r\nOrigin: http://x\r\n"
    "Sec-WebSocket-Key1: 18x 6]8vM;54 *(5:  {   U1]8  z [  8\r\n"
    "Sec-WebSocket-Key2: 1_ tx7X d  <  nf  334J702) 7]o}` 0\r\n\r\nTm[K T2u";

HttpHeaders Cookie(const std::string& value)
{
    return {{"Cookie", value}};
}

Json::Value Unparsable()
{
    return WebSocketResult("error", "/unknown", "", "Could not parse request");
}

Json::Value WrongStructure()
{
    return WebSocketResult("error", "/unknown", "", "Invalid request structure");
}

/// The event server on its port, with the topic "/news".
class WebSocketServer : public testing::Test
{
protected:
    /// Everybody may connect.
    void Start() { Start(nullptr); }

    /// Those may connect whose session has been made valid.
    void StartWithAuthorization()
    {
        authorization = std::make_shared<NiceMock<CMockAuthorization>>();
        ON_CALL(*authorization, IsSessionValid(_))
            .WillByDefault(
                [this](const std::string& key)
                {
                    const std::lock_guard lock(mutex);
                    return valid.count(key) > 0;
                });
        Start(authorization);
    }

    void Start(std::shared_ptr<IAuthorization> newAuthorization)
    {
        worker.Start();
        server = std::make_shared<CWebSocketServer>(Port, worker, std::move(newAuthorization));
        topic = server->CreateTopic(Topic);
        server->Start();
        AwaitListener(Port);
    }

    void SetValid(const std::string& session)
    {
        const std::lock_guard lock(mutex);
        valid.insert(session);
    }

    void SetInvalid(const std::string& session)
    {
        const std::lock_guard lock(mutex);
        valid.erase(session);
    }

    /// Waits for a line that the server's thread logs.
    bool AwaitLog(Log::ELogLevel level, const std::string& text)
    {
        const auto deadline = std::chrono::steady_clock::now() + TestPatience;
        while (!log.Has(level, text))
        {
            if (std::chrono::steady_clock::now() > deadline)
            {
                return false;
            }
            std::this_thread::yield();
        }
        return true;
    }

    bool AwaitLogBeginning(const std::string& text)
    {
        const auto deadline = std::chrono::steady_clock::now() + TestPatience;
        while (std::chrono::steady_clock::now() < deadline)
        {
            for (const std::string& line : log.Messages(Log::ELogLevel::Error))
            {
                if (line.find(text) == 0)
                {
                    return true;
                }
            }
            std::this_thread::yield();
        }
        return false;
    }

    void AwaitSubscribers(std::size_t count)
    {
        const auto deadline = std::chrono::steady_clock::now() + TestPatience;
        while (topic->NumberOfSubscribers() != count)
        {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline);
            std::this_thread::yield();
        }
    }

    /// What a client that sends @p request gets, up to the answer to a request that everybody knows.
    static std::vector<Json::Value> Answers(CWebSocketClient& client, const std::string& request)
    {
        client.Send(request);
        client.Send(R"({"topic": "/last", "action": "none"})");
        std::vector<Json::Value> answers;
        for (Json::Value answer = client.ReceiveJson(); answer["topic"] != "/last";
             answer = client.ReceiveJson())
        {
            answers.push_back(answer);
        }
        return answers;
    }

    CCapturedLog log;
    std::mutex mutex;
    std::set<std::string> valid;
    std::shared_ptr<NiceMock<CMockAuthorization>> authorization;
    std::shared_ptr<CManualClock> clock = std::make_shared<CManualClock>();
    CWorker worker{clock};
    std::shared_ptr<CWebSocketServer> server;
    std::shared_ptr<ITopic> topic;
};

using WebSocketHandshake = WebSocketServer;
using WebSocketActions = WebSocketServer;
using WebSocketPings = WebSocketServer;
using WebSocketLifecycle = WebSocketServer;
using WebSocketBadInput = WebSocketServer;
using WebSocketLoad = WebSocketServer;

} // namespace

TEST_F(WebSocketHandshake, NeedsNoSessionWithoutAuthorization)
{
    Start();
    CWebSocketClient client(Port);
    client.Subscribe(Topic);
    EXPECT_TRUE(log.Has(Log::ELogLevel::Info,
                        "No authorization required (we are probably in commissioning mode). WebSocket "
                        "connection is accepted."));
}

TEST_F(WebSocketHandshake, WithAValidSessionIsAccepted)
{
    SetValid("a");
    StartWithAuthorization();
    CWebSocketClient client(Port, Cookie("sessionid=a"));
    client.Subscribe(Topic);
}

TEST_F(WebSocketHandshake, WithoutCookieSucceedsAndIsClosedAsUnauthorized)
{
    StartWithAuthorization();
    CWebSocketClient client(Port);
    EXPECT_EQ(client.AwaitClose(), UnauthorizedCode);
    EXPECT_EQ(client.CloseReason(), "Unauthorized");
    EXPECT_EQ(client.Waiting(), 0U);
    EXPECT_TRUE(log.Has(
        Log::ELogLevel::Error,
        "Refusing WebSocket connection because the handshake request does not contain a sessionid cookie."));
}

TEST_F(WebSocketHandshake, WithAnEmptyCookieHeaderIsClosedAsUnauthorized)
{
    StartWithAuthorization();
    CWebSocketClient client(Port, Cookie(""));
    EXPECT_EQ(client.AwaitClose(), UnauthorizedCode);
    EXPECT_TRUE(log.Has(
        Log::ELogLevel::Error,
        "Refusing WebSocket connection because the handshake request does not contain a sessionid cookie."));
}

TEST_F(WebSocketHandshake, WithoutTheSessionsCookieIsClosedAsUnauthorized)
{
    SetValid("");
    SetValid("a");
    StartWithAuthorization();
    for (const char* header : {"x=1", "sessionid=", "x=1; sessionid=a", "SessionId=a"})
    {
        log.Clear();
        CWebSocketClient client(Port, Cookie(header));
        EXPECT_EQ(client.AwaitClose(), UnauthorizedCode) << header;
        EXPECT_EQ(client.CloseReason(), "Unauthorized") << header;
        EXPECT_TRUE(log.Has(
            Log::ELogLevel::Error,
            "Refusing WebSocket connection because the handshake request does not contain a sessionid."))
            << header;
    }
}

TEST_F(WebSocketHandshake, WithAnInvalidSessionIsClosedAsUnauthorized)
{
    SetValid("a");
    StartWithAuthorization();
    CWebSocketClient client(Port, Cookie("sessionid=b"));
    EXPECT_EQ(client.AwaitClose(), UnauthorizedCode);
    EXPECT_TRUE(log.Has(Log::ELogLevel::Error,
                        "Refusing WebSocket connection because the presented sessionid 'b' is not associated "
                        "with a valid session."));
}

TEST_F(WebSocketHandshake, TakesASessionInTheMiddleOfTheCookiesWithWhatFollows)
{
    SetValid("a;y=2");
    StartWithAuthorization();
    CWebSocketClient client(Port, Cookie("x=1;sessionid=a;y=2"));
    client.Subscribe(Topic);
}

TEST_F(WebSocketHandshake, RequestOfARefusedClientIsNotHeard)
{
    StartWithAuthorization();
    CRawHttp client(Port);
    // a masked text frame on the heels of the handshake
    client.Send(Handshake + "\r\n" + std::string("\x81\x82\0\0\0\0{}", 8));
    const std::string received = client.ReceiveSome();
    client.EndSending();
    EXPECT_THAT(received, StartsWith("HTTP/1.1 101"));
    EXPECT_THAT(received + client.ReceiveUntilClose(), testing::Not(HasSubstr("Invalid request structure")));
}

TEST_F(WebSocketActions, SubscribeIsAnsweredBeforeTheTopicsFirstEvent)
{
    Start();
    topic->OnSubscribe = [](const ITopic::Reply& reply) { reply("first"); };
    CWebSocketClient client(Port);
    client.Request("subscribe", Topic);
    EXPECT_EQ(client.ReceiveJson(), WebSocketResult("ok", Topic, "subscribe", "Subscribed to topic"));
    EXPECT_EQ(client.ReceiveJson(), WebSocketEvent(Topic, "first"));
}

TEST_F(WebSocketActions, EventIsAStyledTextOfItsThreeMembers)
{
    Start();
    CWebSocketClient client(Port);
    client.Subscribe(Topic);
    topic->Broadcast(1);
    EXPECT_EQ(client.Receive(), "{\n\t\"data\" : 1,\n\t\"topic\" : \"/news\",\n\t\"type\" : \"event\"\n}\n");
}

TEST_F(WebSocketActions, ClientOfVersion0HearsFramesOfItsVersion)
{
    Start();
    CWebSocketClient before(Port);
    before.Subscribe(Topic);
    CRawHttp client(Port);
    client.Send(OldHandshake);
    std::string received = client.ReceiveSome();
    while (received.find("fQJ,fN/4F4!~K~MH") == std::string::npos)
    {
        received += client.ReceiveSome();
    }
    client.Send(std::string(1, '\0') + R"({"topic": "/news", "action": "subscribe"})" + "\xff");
    AwaitSubscribers(2);
    CWebSocketClient after(Port);
    after.Subscribe(Topic);

    topic->Broadcast(1);
    const std::string event = "{\n\t\"data\" : 1,\n\t\"topic\" : \"/news\",\n\t\"type\" : \"event\"\n}\n";
    EXPECT_EQ(before.Receive(), event);
    EXPECT_EQ(after.Receive(), event);
    received.clear();
    while (std::count(received.begin(), received.end(), '\xff') < 2)
    {
        received += client.ReceiveSome();
    }
    EXPECT_THAT(received,
                StartsWith(std::string(1, '\0') + "{\n\t\"data\" : \n\t{\n\t\t\"action\" : \"subscribe\""));
    EXPECT_THAT(received, testing::EndsWith(std::string("\xff\0", 2) + event + "\xff"));
}

TEST_F(WebSocketActions, ReplyStaysBehindWhatAnotherThreadHasBroadcast)
{
    Start();
    topic->OnSubscribe = [this](const ITopic::Reply& reply)
    {
        std::thread([this] { topic->Broadcast("first"); }).join();
        reply("second");
    };
    CWebSocketClient client(Port);
    client.Subscribe(Topic);
    EXPECT_EQ(client.ReceiveJson(), WebSocketEvent(Topic, "first"));
    EXPECT_EQ(client.ReceiveJson(), WebSocketEvent(Topic, "second"));
}

TEST_F(WebSocketActions, UnsubscribedClientHearsNoMore)
{
    Start();
    CWebSocketClient client(Port);
    client.Subscribe(Topic);
    client.Request("unsubscribe", Topic);
    EXPECT_EQ(client.ReceiveJson(), WebSocketResult("ok", Topic, "unsubscribe", "Unsubscribed from topic"));
    EXPECT_EQ(topic->NumberOfSubscribers(), 0U);
    topic->Broadcast("unheard");
    EXPECT_THAT(Answers(client, R"({"topic": "/news", "action": "subscribe"})"),
                ElementsAre(WebSocketResult("ok", Topic, "subscribe", "Subscribed to topic")));
}

TEST_F(WebSocketActions, UnsubscribeRunsTheTopicsHandlerBeforeItsAnswer)
{
    Start();
    std::atomic<int> left{0};
    topic->OnUnsubscribe = [&] { ++left; };
    CWebSocketClient client(Port);
    client.Request("unsubscribe", Topic);
    client.Receive();
    EXPECT_EQ(left, 1);
    client.Close();
    client.AwaitClose();
    server.reset();
}

TEST_F(WebSocketActions, WhatIsNoJsonIsAnsweredOnce)
{
    Start();
    CWebSocketClient client(Port);
    for (const char* request : {"hello", "", "{", R"({"topic": "/news")"})
    {
        EXPECT_THAT(Answers(client, request), ElementsAre(Unparsable())) << request;
    }
}

TEST_F(WebSocketActions, BinaryFrameIsNotAnswered)
{
    Start();
    CWebSocketClient client(Port);
    client.SendBinary(R"({"topic": "/news", "action": "subscribe"})");
    EXPECT_THAT(Answers(client, "x"), ElementsAre(Unparsable()));
    EXPECT_EQ(topic->NumberOfSubscribers(), 0U);
    EXPECT_TRUE(log.Has(Log::ELogLevel::Warn, "Discarded non-text message sent to websocket server"));
}

TEST_F(WebSocketActions, TopicWithoutActionIsAnsweredTwice)
{
    Start();
    CWebSocketClient client(Port);
    EXPECT_THAT(Answers(client, R"({"topic": "/news"})"),
                ElementsAre(WrongStructure(), WebSocketResult("error", Topic, "", "Invalid action")));
    EXPECT_TRUE(log.Has(Log::ELogLevel::Error,
                        "Websocket action processing failed because of an unknown action '' on topic ''"));
}

TEST_F(WebSocketActions, ActionWithoutTopicIsAnsweredTwice)
{
    Start();
    CWebSocketClient client(Port);
    EXPECT_THAT(Answers(client, R"({"action": "subscribe"})"),
                ElementsAre(WrongStructure(), WebSocketResult("error", "", "subscribe", "Invalid topic")));
}

TEST_F(WebSocketActions, NullAndEmptyObjectsAreAnsweredTwice)
{
    Start();
    CWebSocketClient client(Port);
    for (const char* request : {"null", "{}", R"({"topic": null, "action": null})"})
    {
        EXPECT_THAT(Answers(client, request),
                    ElementsAre(WrongStructure(), WebSocketResult("error", "", "", "Invalid topic")))
            << request;
    }
}

TEST_F(WebSocketActions, NumbersAndBooleansCountByTheirText)
{
    Start();
    CWebSocketClient client(Port);
    EXPECT_THAT(Answers(client, R"({"topic": 5, "action": true})"),
                ElementsAre(WrongStructure(), WebSocketResult("error", "5", "true", "Invalid topic")));
    EXPECT_TRUE(
        log.Has(Log::ELogLevel::Error, "Websocket action processing failed because of invalid topic '5'"));
    EXPECT_THAT(Answers(client, R"({"topic": "/news", "action": 1})"),
                ElementsAre(WrongStructure(), WebSocketResult("error", Topic, "1", "Invalid action")));
}

TEST_F(WebSocketActions, OtherMembersAreIgnored)
{
    Start();
    CWebSocketClient client(Port);
    EXPECT_THAT(Answers(client, R"({"topic": "/news", "action": "subscribe", "data": [{}], "type": 1})"),
                ElementsAre(WebSocketResult("ok", Topic, "subscribe", "Subscribed to topic")));
}

TEST_F(WebSocketActions, UnknownTopicIsNamedInTheLog)
{
    Start();
    CWebSocketClient client(Port);
    EXPECT_THAT(Answers(client, R"({"topic": "/session/status", "action": "subscribe"})"),
                ElementsAre(WebSocketResult("error", "/session/status", "subscribe", "Invalid topic")));
    EXPECT_TRUE(log.Has(Log::ELogLevel::Error,
                        "Websocket action processing failed because of invalid topic '/session/status'"));
}

TEST_F(WebSocketActions, TopicsAreNamedByteByByte)
{
    Start();
    CWebSocketClient client(Port);
    for (const char* name : {"/News", "news", "/news/", "/news "})
    {
        const std::string request = std::string(R"({"action": "subscribe", "topic": ")") + name + "\"}";
        EXPECT_THAT(Answers(client, request),
                    ElementsAre(WebSocketResult("error", name, "subscribe", "Invalid topic")));
    }
}

TEST_F(WebSocketActions, ActionsAreNamedByteByByte)
{
    Start();
    CWebSocketClient client(Port);
    EXPECT_THAT(Answers(client, R"({"topic": "/news", "action": "Subscribe"})"),
                ElementsAre(WebSocketResult("error", Topic, "Subscribe", "Invalid action")));
}

TEST_F(WebSocketActions, FailureOfAHandlerLeavesTheClientSubscribed)
{
    Start();
    topic->OnSubscribe = [](const ITopic::Reply&) { throw HttpStatusException<503>(); };
    CWebSocketClient client(Port);
    client.Subscribe(Topic);
    topic->Broadcast(1);
    EXPECT_EQ(client.ReceiveJson(), WebSocketEvent(Topic, 1));
}

TEST_F(WebSocketActions, HandlerThatThrowsSomethingElseIsAnInternalError)
{
    Start();
    topic->OnSubscribe = [](const ITopic::Reply&) { throw 1; };
    CWebSocketClient client(Port);
    EXPECT_THAT(Answers(client, R"({"topic": "/news", "action": "subscribe"})"),
                ElementsAre(WebSocketResult("ok", Topic, "subscribe", "Subscribed to topic"),
                            WebSocketResult("error", Topic, "subscribe", "Internal server error")));
    EXPECT_TRUE(log.Has(Log::ELogLevel::Error,
                        "Websocket action processing failed because of an unknown exception."));
}

TEST_F(WebSocketActions, ConnectionsOfOneSessionAreIndependent)
{
    SetValid("a");
    StartWithAuthorization();
    CWebSocketClient one(Port, Cookie("sessionid=a"));
    {
        CWebSocketClient other(Port, Cookie("sessionid=a"));
        one.Subscribe(Topic);
        other.Subscribe(Topic);
        EXPECT_EQ(topic->NumberOfSubscribers(), 2U);
    }
    AwaitSubscribers(1);
    topic->Broadcast("still");
    EXPECT_EQ(one.ReceiveJson(), WebSocketEvent(Topic, "still"));
}

TEST_F(WebSocketActions, SessionThatEndsLosesItsTopicsButNotItsConnection)
{
    SetValid("a");
    StartWithAuthorization();
    CWebSocketClient client(Port, Cookie("sessionid=a"));
    client.Subscribe(Topic);
    SetInvalid("a");

    topic->Broadcast("unheard");

    EXPECT_EQ(topic->NumberOfSubscribers(), 0U);
    SetValid("a");
    EXPECT_THAT(Answers(client, R"({"topic": "/news", "action": "subscribe"})"),
                ElementsAre(WebSocketResult("ok", Topic, "subscribe", "Subscribed to topic")));
}

TEST_F(WebSocketActions, TopicIsMadeOnce)
{
    server = std::make_shared<CWebSocketServer>(Port, worker, nullptr);
    topic = server->CreateTopic(Topic);
    EXPECT_EQ(server->CreateTopic(Topic), topic);
    EXPECT_NE(server->CreateTopic("/other"), topic);
}

TEST_F(WebSocketActions, ConnectionThatClosesLeavesTopicsThatItNeverSubscribedTo)
{
    CCollector<int> left;
    Start();
    topic->OnUnsubscribe = [&] { left.Add(1); };
    {
        const CWebSocketClient client(Port);
    }
    EXPECT_EQ(left.Await(1).size(), 1U);
    server.reset();
}

TEST_F(WebSocketActions, OperationsLogTheirEntry)
{
    Start();
    topic->OnSubscribe = [](const ITopic::Reply& reply) { reply("first"); };
    {
        CWebSocketClient client(Port);
        client.Subscribe(Topic);
        client.Receive();
    }
    AwaitSubscribers(0);
    server->Stop();
    server.reset();
    std::vector<std::string> entries;
    for (const std::string& line : log.Messages(Log::ELogLevel::Trace))
    {
        if (line.rfind("CWebSocketServer::", 0) == 0)
        {
            entries.push_back(line.substr(18));
        }
    }
    EXPECT_THAT(entries,
                ElementsAre("CWebSocketServer",
                            "CreateTopic",
                            "Start",
                            "OnOpen",
                            "RespondResult",
                            "Respond",
                            "IsConnectionAuthorized",
                            "Respond",
                            "OnClose",
                            "Stop",
                            "~CWebSocketServer",
                            "Stop"));
}

TEST_F(WebSocketActions, ConnectionThatIsNotOpenIsNotAuthorized)
{
    SetValid("a");
    StartWithAuthorization();
    const auto unknown = std::make_shared<int>();
    EXPECT_FALSE(server->IsConnectionAuthorized(unknown));
}

TEST_F(WebSocketActions, EverybodyIsAuthorizedWithoutAuthorization)
{
    Start();
    EXPECT_TRUE(server->IsConnectionAuthorized(std::make_shared<int>()));
}

TEST_F(WebSocketActions, EventToAConnectionThatIsGoneIsLoggedOnly)
{
    Start();
    std::promise<ITopic::Reply> replies;
    topic->OnSubscribe = [&](const ITopic::Reply& newReply) { replies.set_value(newReply); };
    ITopic::Reply reply;
    {
        CWebSocketClient client(Port);
        client.Subscribe(Topic);
        reply = replies.get_future().get();
        client.Close();
        client.AwaitClose();
    }
    AwaitSubscribers(0);
    reply("late");
    EXPECT_TRUE(AwaitLogBeginning("Could not send websocket message. Error "));
}

TEST_F(WebSocketPings, AreDueAtOnceAndThenEveryTwentySeconds)
{
    server = std::make_shared<CWebSocketServer>(Port, worker, nullptr);
    server->Start();
    AwaitListener(Port);
    CWebSocketClient client(Port);
    const auto pings = [&]
    {
        // a ping that is due leaves before the answer
        Answers(client, "x");
        return client.Pings();
    };
    EXPECT_EQ(pings(), 0U);
    worker.Start();
    clock->WaitUntilIdle();
    EXPECT_EQ(pings(), 1U);
    clock->Advance(20s - 1ms);
    EXPECT_EQ(pings(), 1U);
    clock->Advance(1ms);
    EXPECT_EQ(pings(), 2U);
    clock->Advance(20s);
    EXPECT_EQ(pings(), 3U);
    EXPECT_TRUE(AwaitLog(Log::ELogLevel::Trace, R"(Received websocket pong message from client: "".)"));
}

TEST_F(WebSocketPings, ClientThatAnswersNoneStaysAndHearsEvents)
{
    SetValid("a");
    StartWithAuthorization();
    CWebSocketClient client(Port, Cookie("sessionid=a"));
    client.Subscribe(Topic);
    client.IgnorePings();
    clock->Advance(20s);
    client.AwaitPings(1);
    EXPECT_TRUE(AwaitLog(Log::ELogLevel::Warn, R"(Pong timeout was hit for websocket ping message: "".)"));
    topic->Broadcast("still");
    EXPECT_EQ(client.ReceiveJson(), WebSocketEvent(Topic, "still"));
    clock->Advance(20s);
    client.AwaitPings(2);
}

TEST_F(WebSocketPings, ThatFailTakeTheConnectionOffTheListAndOffItsTopics)
{
    SetValid("a");
    StartWithAuthorization();
    // asking for a connection that is not open makes it an entry without a session
    const std::weak_ptr<void> gone = std::make_shared<int>();
    std::dynamic_pointer_cast<CWebSocketTopic>(topic)->AddConnection(gone);
    EXPECT_FALSE(server->IsConnectionAuthorized(gone));
    clock->Advance(20s);
    EXPECT_TRUE(AwaitLogBeginning("Sending ping to connection failed. Removing it from the list of pinged "
                                  "connections. Exception: "));
    log.Clear();
    clock->Advance(20s);
    CWebSocketClient client(Port, Cookie("sessionid=a"));
    client.Subscribe(Topic);
    EXPECT_THAT(log.Messages(Log::ELogLevel::Error), testing::IsEmpty());
    topic->Broadcast("event");
    EXPECT_EQ(topic->NumberOfSubscribers(), 1U);
    EXPECT_EQ(client.ReceiveJson(), WebSocketEvent(Topic, "event"));
}

TEST_F(WebSocketLifecycle, SecondStartIsRefused)
{
    Start();
    EXPECT_THAT([this] { server->Start(); },
                testing::ThrowsMessage<std::runtime_error>("Websocket already started"));
}

TEST_F(WebSocketLifecycle, StartAfterAStopIsRefused)
{
    Start();
    server->Stop();
    EXPECT_THAT([this] { server->Start(); },
                testing::ThrowsMessage<std::runtime_error>("Websocket already started"));
}

TEST_F(WebSocketLifecycle, StopWithoutStartIsIgnored)
{
    const auto idle = std::make_shared<CWebSocketServer>(Port, worker, nullptr);
    idle->Stop();
    EXPECT_TRUE(log.Has(Log::ELogLevel::Warn, "Websocket server is not started. Ignoring call to stop."));
}

TEST_F(WebSocketLifecycle, SecondStopLogsTheLibrarysError)
{
    Start();
    server->Stop();
    EXPECT_THAT(log.Messages(Log::ELogLevel::Error), testing::IsEmpty());
    server->Stop();
    EXPECT_THAT(log.Messages(Log::ELogLevel::Error),
                ElementsAre(StartsWith("Could not stop websocket server. Error: ")));
}

TEST_F(WebSocketLifecycle, StoppedServerTakesNobodyAndKeepsThoseWhoAreThere)
{
    Start();
    CWebSocketClient client(Port);
    client.Subscribe(Topic);
    server->Stop();
    EXPECT_FALSE(CRawHttp::CanConnect(Port));
    topic->Broadcast("still");
    EXPECT_EQ(client.ReceiveJson(), WebSocketEvent(Topic, "still"));
}

TEST_F(WebSocketLifecycle, DestructionWaitsForTheClientsWhoseTopicsStillHearOfTheirLeave)
{
    Start();
    CCollector<int> left;
    topic->OnUnsubscribe = [&] { left.Add(1); };
    auto client = std::make_unique<CWebSocketClient>(Port);
    client->Subscribe(Topic);
    auto end = std::async(std::launch::async, [this] { server.reset(); });
    EXPECT_EQ(end.wait_for(50ms), std::future_status::timeout);
    client.reset();
    end.get();
    EXPECT_THAT(left.Await(1), ElementsAre(1));
}

TEST_F(WebSocketLifecycle, DestructionRightAfterStartComesToItsEnd)
{
    for (int round = 0; round < 50; ++round)
    {
        const auto brief = std::make_shared<CWebSocketServer>(Port, worker, nullptr);
        brief->Start();
    }
}

TEST_F(WebSocketLifecycle, WorkerMayBeGoneFirst)
{
    auto brief = std::make_unique<CWorker>();
    brief->Start();
    const auto orphan = std::make_shared<CWebSocketServer>(Port, *brief, nullptr);
    orphan->Start();
    AwaitListener(Port);
    brief.reset();
}

TEST_F(WebSocketLifecycle, ServerMayBeGoneBeforeItsTopicsAndTheWorker)
{
    Start();
    server.reset();
    topic->Broadcast("unheard");
    clock->Advance(60s);
}

TEST_F(WebSocketLifecycle, TopicStillReachesItsListenersWhileTheDestructionWaitsForThem)
{
    Start();
    auto client = std::make_unique<CWebSocketClient>(Port);
    client->Subscribe(Topic);
    auto end = std::async(std::launch::async, [this] { server.reset(); });
    while (CRawHttp::CanConnect(Port))
    {
        std::this_thread::yield();
    }
    topic->Broadcast("still");
    EXPECT_EQ(client->ReceiveJson(), WebSocketEvent(Topic, "still"));
    client.reset();
    end.get();
    topic->Broadcast("unheard");
}

TEST_F(WebSocketLifecycle, StopWaitsForTheHandlerUnderWay)
{
    Start();
    std::promise<void> entered;
    std::promise<void> leave;
    topic->OnSubscribe = [&](const ITopic::Reply& reply)
    {
        entered.set_value();
        leave.get_future().wait();
        reply("first");
    };
    CWebSocketClient client(Port);
    client.Request("subscribe", Topic);
    entered.get_future().wait();
    std::atomic<bool> left{false};
    auto stop = std::async(std::launch::async,
                           [&]
                           {
                               server->Stop();
                               EXPECT_TRUE(left);
                           });
    left = true;
    leave.set_value();
    stop.get();
    client.Receive();
    EXPECT_EQ(client.ReceiveJson(), WebSocketEvent(Topic, "first"));
}

class WebSocketFatalRequest : public WebSocketServer, public testing::WithParamInterface<const char*>
{
};

TEST_P(WebSocketFatalRequest, EndsTheServersThread)
{
    Start();
    CWebSocketClient client(Port);
    client.Send(GetParam());
    EXPECT_TRUE(AwaitLogBeginning("Websocket server stopped running. Reason: "));
    // silent from now on, and still to be stopped and destroyed
    topic->Broadcast("unheard");
    server->Stop();
    server.reset();
    EXPECT_FALSE(CRawHttp::CanConnect(Port));
}

INSTANTIATE_TEST_SUITE_P(
    Roots,
    WebSocketFatalRequest,
    testing::Values("[]", "5", "true", R"("text")", R"([{"topic": "/news", "action": "subscribe"}])"));
INSTANTIATE_TEST_SUITE_P(Members,
                         WebSocketFatalRequest,
                         testing::Values(R"({"topic": [], "action": "subscribe"})",
                                         R"({"topic": {}, "action": "subscribe"})",
                                         R"({"topic": "/news", "action": ["subscribe"]})",
                                         R"({"topic": "/nowhere", "action": {}})"));

TEST_F(WebSocketBadInput, DeeplyNestedJsonIsUnparsable)
{
    Start();
    CWebSocketClient client(Port);
    EXPECT_THAT(Answers(client, std::string(10000, '[')), ElementsAre(Unparsable()));
    EXPECT_THAT(Answers(client, std::string(10000, '[') + std::string(10000, ']')),
                ElementsAre(Unparsable()));
    std::string objects;
    for (int depth = 0; depth < 10000; ++depth)
    {
        objects += R"({"topic":)";
    }
    EXPECT_THAT(Answers(client, objects), ElementsAre(Unparsable()));
}

TEST_F(WebSocketBadInput, FrameOf32MegabytesClosesItsConnectionOnly)
{
    Start();
    CWebSocketClient other(Port);
    other.Subscribe(Topic);
    {
        CWebSocketClient client(Port);
        client.Send(std::string(32000001, 'x'));
        client.AwaitClose();
    }
    topic->Broadcast("still");
    EXPECT_EQ(other.ReceiveJson(), WebSocketEvent(Topic, "still"));
}

TEST_F(WebSocketBadInput, FragmentedRequestIsPutTogether)
{
    Start();
    CRawHttp client(Port);
    client.Send(Handshake + "\r\n");
    EXPECT_THAT(client.ReceiveSome(), StartsWith("HTTP/1.1 101"));
    client.Send(std::string("\x01\x83\0\0\0\0{\"t", 9));
    client.Send(std::string("\x00\x83\0\0\0\0opi", 9));
    client.Send(std::string("\x80\x86\0\0\0\0c\":\"\"}", 12));
    EXPECT_THAT(client.ReceiveSome(), HasSubstr("Invalid request structure"));
}

TEST_F(WebSocketBadInput, InvalidUtf8ClosesItsConnectionOnly)
{
    Start();
    CWebSocketClient other(Port);
    other.Subscribe(Topic);
    CRawHttp client(Port);
    client.Send(Handshake + "\r\n");
    EXPECT_THAT(client.ReceiveSome(), StartsWith("HTTP/1.1 101"));
    client.Send(std::string("\x81\x82\0\0\0\0\xff\xfe", 8));
    // 1007, invalid payload
    EXPECT_THAT(client.ReceiveSome(), HasSubstr("\x03\xef"));
    topic->Broadcast("still");
    EXPECT_EQ(other.ReceiveJson(), WebSocketEvent(Topic, "still"));
}

TEST_F(WebSocketBadInput, EventThatIsNoUtf8IsSentWithReplacements)
{
    Start();
    CWebSocketClient client(Port);
    client.Subscribe(Topic);
    topic->Broadcast("a\xff");
    EXPECT_EQ(client.ReceiveJson(), WebSocketEvent(Topic, "a\xef\xbf\xbd"));
}

TEST_F(WebSocketBadInput, RequestsThatAreNoHandshakeAreRefused)
{
    Start();
    EXPECT_EQ(HttpRequest(Port, "GET", "/").status, 426);
    EXPECT_GE(HttpRequest(Port, "POST", "/system/reboot", {}, "{}").status, 400);
    CRawHttp garbage(Port);
    garbage.Send(std::string("\x16\x03\x01\x02\0\x01\0", 7) + "\r\n\r\n");
    EXPECT_THAT(garbage.ReceiveUntilClose(), StartsWith("HTTP/1.1 400"));
    CWebSocketClient client(Port);
    client.Subscribe(Topic);
}

TEST_F(WebSocketBadInput, HalfHandshakesHoldNobodyUp)
{
    Start();
    std::vector<std::unique_ptr<CRawHttp>> halves;
    for (std::size_t length = 1; length < Handshake.size(); length += 7)
    {
        halves.push_back(std::make_unique<CRawHttp>(Port));
        halves.back()->Send(Handshake.substr(0, length));
    }
    CWebSocketClient client(Port);
    client.Subscribe(Topic);
    for (const auto& half : halves)
    {
        half->Abort();
    }
}

TEST_F(WebSocketLoad, ThousandConnectionsThatOpenAndCloseLeaveNothing)
{
    Start();
    for (int number = 0; number < 1000; ++number)
    {
        CRawHttp client(Port);
        client.Send(Handshake + "\r\n");
        if (number % 2 == 0)
        {
            client.Abort();
        }
        else
        {
            client.ReceiveSome();
            client.EndSending();
        }
    }
    CWebSocketClient client(Port);
    client.Subscribe(Topic);
    EXPECT_EQ(topic->NumberOfSubscribers(), 1U);
    // an entry that was left behind could not be pinged
    log.Clear();
    clock->Advance(20s);
    client.AwaitPings(1);
    EXPECT_THAT(log.Messages(Log::ELogLevel::Error), testing::IsEmpty());
}

TEST_F(WebSocketLoad, BroadcastsOfAllThreadsReachEveryClientInTheirOrder)
{
    constexpr int threads = 3;
    constexpr int events = 50;
    Start();
    std::vector<std::unique_ptr<CWebSocketClient>> clients;
    for (int number = 0; number < 5; ++number)
    {
        clients.push_back(std::make_unique<CWebSocketClient>(Port));
        clients.back()->Subscribe(Topic);
    }
    RunTogether(threads,
                [&](int thread)
                {
                    for (int number = 0; number < events; ++number)
                    {
                        topic->Broadcast(thread * events + number);
                    }
                });
    for (const auto& client : clients)
    {
        std::vector<std::vector<int>> heard(threads);
        for (int count = 0; count < threads * events; ++count)
        {
            const int number = client->ReceiveJson()["data"].asInt();
            heard[static_cast<std::size_t>(number / events)].push_back(number % events);
        }
        for (const auto& ofThread : heard)
        {
            EXPECT_TRUE(std::is_sorted(ofThread.begin(), ofThread.end()));
            EXPECT_EQ(ofThread.size(), static_cast<std::size_t>(events));
        }
    }
}

TEST_F(WebSocketLoad, ClientsComeAndGoAndLoseTheirSessionsDuringBroadcastsAndPings)
{
    SetValid("stays");
    StartWithAuthorization();
    CWebSocketClient listener(Port, Cookie("sessionid=stays"));
    listener.Subscribe(Topic);
    std::atomic<bool> over{false};
    std::thread broadcaster(
        [&]
        {
            while (!over)
            {
                topic->Broadcast("event");
                // no more than one event waits for the listener
                listener.Receive();
                clock->Jump(20s);
                clock->Wake();
            }
        });
    RunTogether(3,
                [&](int number)
                {
                    const std::string session = std::to_string(number);
                    for (int round = 0; round < 15; ++round)
                    {
                        SetValid(session);
                        CWebSocketClient client(Port, Cookie("sessionid=" + session));
                        client.Request("subscribe", Topic);
                        client.Receive();
                        client.SendPong("unasked");
                        SetInvalid(session);
                    }
                });
    over = true;
    broadcaster.join();
    AwaitSubscribers(1);
    topic->Broadcast("last");
    EXPECT_EQ(listener.ReceiveJson(), WebSocketEvent(Topic, "last"));
}

TEST_F(WebSocketLoad, ClientThatDoesNotReadIsDisconnectedAndHoldsNobodyUp)
{
    Start();
    CRawHttp slow(Port);
    slow.Send(Handshake + "\r\n");
    EXPECT_THAT(slow.ReceiveSome(), StartsWith("HTTP/1.1 101"));
    const std::string request = R"({"action":"subscribe","topic":"/news"})";
    slow.Send(std::string("\x81") + static_cast<char>(0x80U | request.size()) + std::string(4, '\0') +
              request);
    AwaitSubscribers(1);
    CWebSocketClient other(Port);
    other.Subscribe(Topic);

    const std::string big(100000, 'x');
    const std::string warning = "Disconnecting a client that does not read its messages";
    int sent = 0;
    while (!log.Has(Log::ELogLevel::Warn, warning))
    {
        topic->Broadcast(big);
        ++sent;
        EXPECT_EQ(other.ReceiveJson(), WebSocketEvent(Topic, big));
        // what the kernel takes is limited
        ASSERT_LT(sent, 1000);
    }
    // 1008
    const std::string close = "\x03\xf0Too slow";
    const std::string received = slow.ReceiveUntilClose();
    EXPECT_EQ(received.substr(received.size() - close.size()), close);
    AwaitSubscribers(1);
}
