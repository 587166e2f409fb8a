#include "src/websocket/ieventsender.h"
#include "src/websocket/websockettopic.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/capturedlog.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

using Log::ELogLevel;

/// Its server has gone: what would be sent is not.
class WebSocketTopic : public testing::Test
{
protected:
    std::size_t Count(ELogLevel level, const std::string& text) const
    {
        const std::vector<std::string> lines = log.Messages(level);
        return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), text));
    }

    CCapturedLog log;
    const std::shared_ptr<CWebSocketTopic> topic =
        std::make_shared<CWebSocketTopic>("/news", std::weak_ptr<IEventSender>());
    const std::shared_ptr<void> one = std::make_shared<int>();
    const std::shared_ptr<void> other = std::make_shared<int>();
};

} // namespace

TEST_F(WebSocketTopic, CountsItsListeners)
{
    EXPECT_EQ(topic->NumberOfSubscribers(), 0U);
    topic->AddConnection(one);
    topic->AddConnection(other);
    EXPECT_EQ(topic->NumberOfSubscribers(), 2U);
    topic->RemoveConnection(one);
    EXPECT_EQ(topic->NumberOfSubscribers(), 1U);
}

TEST_F(WebSocketTopic, TwoHandlesOfAConnectionAreOneListener)
{
    topic->AddConnection(std::weak_ptr<void>(one));
    topic->AddConnection(std::weak_ptr<void>(std::shared_ptr<void>(one, nullptr)));
    EXPECT_EQ(topic->NumberOfSubscribers(), 1U);
}

TEST_F(WebSocketTopic, SecondSubscriptionIsSkippedWithAWarning)
{
    int subscribed = 0;
    topic->OnSubscribe = [&](const ITopic::Reply&) { ++subscribed; };
    topic->AddConnection(one);
    EXPECT_EQ(Count(ELogLevel::Info, "Connection was added to listeners on topic '/news'"), 1U);
    EXPECT_EQ(Count(ELogLevel::Debug, "Calling topic subscribe for /news"), 1U);

    topic->AddConnection(one);

    EXPECT_EQ(subscribed, 1);
    EXPECT_EQ(topic->NumberOfSubscribers(), 1U);
    EXPECT_EQ(Count(ELogLevel::Warn,
                    "Connection already exists in the set of listeners on topic '/news'. Skipping this "
                    "AddConnection call."),
              1U);
    EXPECT_EQ(Count(ELogLevel::Info, "Connection was added to listeners on topic '/news'"), 1U);
}

TEST_F(WebSocketTopic, ListenerIsCountedWhenTheSubscribeHandlerRuns)
{
    std::size_t counted = 0;
    topic->OnSubscribe = [&](const ITopic::Reply&) { counted = topic->NumberOfSubscribers(); };
    topic->AddConnection(one);
    EXPECT_EQ(counted, 1U);
}

TEST_F(WebSocketTopic, WithoutHandlersOnlyCounts)
{
    topic->AddConnection(one);
    topic->RemoveConnection(one);
    EXPECT_THAT(log.Messages(ELogLevel::Debug), IsEmpty());
}

TEST_F(WebSocketTopic, UnsubscribingAStrangerLogsAndRunsTheHandler)
{
    int left = 0;
    topic->OnUnsubscribe = [&] { ++left; };
    topic->RemoveConnection(one);
    EXPECT_EQ(left, 1);
    EXPECT_EQ(Count(ELogLevel::Info, "Connection was removed from listeners on topic '/news'"), 1U);
    EXPECT_EQ(Count(ELogLevel::Debug, "Calling topic unsubscribe for /news"), 1U);
}

TEST_F(WebSocketTopic, ListenerIsNotCountedAnyMoreWhenTheUnsubscribeHandlerRuns)
{
    topic->AddConnection(one);
    std::size_t counted = 1;
    topic->OnUnsubscribe = [&] { counted = topic->NumberOfSubscribers(); };
    topic->RemoveConnection(one);
    EXPECT_EQ(counted, 0U);
}

TEST_F(WebSocketTopic, FailingSubscribeHandlerIsLoggedAndLeavesTheListener)
{
    topic->OnSubscribe = [](const ITopic::Reply&) { throw std::runtime_error("no meter"); };
    topic->AddConnection(one);
    EXPECT_EQ(topic->NumberOfSubscribers(), 1U);
    EXPECT_EQ(Count(ELogLevel::Error,
                    "Unexpected exception occurred during OnSubscribe handler of topic /news: no meter"),
              1U);
}

TEST_F(WebSocketTopic, FailingUnsubscribeHandlerIsLogged)
{
    topic->OnUnsubscribe = [] { throw std::runtime_error("no reader"); };
    topic->RemoveConnection(one);
    EXPECT_EQ(Count(ELogLevel::Error,
                    "Unexpected exception occurred during OnUnsubscribe handler of topic /news: no reader"),
              1U);
}

TEST_F(WebSocketTopic, OtherExceptionsOfHandlersReachTheCaller)
{
    topic->OnSubscribe = [](const ITopic::Reply&) { throw 1; };
    topic->OnUnsubscribe = [] { throw 2; };
    EXPECT_THROW(topic->AddConnection(one), int);
    EXPECT_THROW(topic->RemoveConnection(one), int);
}

TEST_F(WebSocketTopic, WithoutListenersBroadcastsToNobody)
{
    topic->Broadcast("event");
    EXPECT_EQ(Count(ELogLevel::Trace, "Broadcasting on topic /news for 0 listeners: \"event\""), 1U);
    EXPECT_EQ(Count(ELogLevel::Trace, "CWebSocketTopic::SendMessage"), 0U);
}

TEST_F(WebSocketTopic, WhoseServerIsGoneSaysSoOncePerListener)
{
    topic->AddConnection(one);
    topic->AddConnection(other);
    topic->Broadcast("event");
    EXPECT_EQ(Count(ELogLevel::Trace, "Broadcasting on topic /news for 2 listeners: \"event\""), 1U);
    EXPECT_EQ(Count(ELogLevel::Debug, "WebSocket ptr of topic /news is empty so nothing can be broadcast."),
              2U);
    EXPECT_EQ(topic->NumberOfSubscribers(), 2U);
}

TEST_F(WebSocketTopic, HandlersMayBroadcastAndReply)
{
    topic->OnSubscribe = [&](const ITopic::Reply& reply)
    {
        topic->Broadcast("event");
        reply("first");
    };
    topic->AddConnection(one);
    EXPECT_EQ(Count(ELogLevel::Trace, "CWebSocketTopic::SendMessage"), 2U);
}

TEST_F(WebSocketTopic, ReplyMayOutliveTheTopic)
{
    ITopic::Reply reply;
    auto brief = std::make_shared<CWebSocketTopic>("/brief", std::weak_ptr<IEventSender>());
    brief->OnSubscribe = [&](const ITopic::Reply& given) { reply = given; };
    brief->AddConnection(one);
    brief.reset();
    reply("late");
}

TEST_F(WebSocketTopic, OperationsLogTheirEntry)
{
    topic->AddConnection(one);
    topic->Broadcast("event");
    topic->NumberOfSubscribers();
    topic->RemoveConnection(one);
    std::vector<std::string> entries;
    for (const std::string& line : log.Messages(ELogLevel::Trace))
    {
        if (line.rfind("CWebSocketTopic::", 0) == 0)
        {
            entries.push_back(line);
        }
    }
    EXPECT_THAT(entries,
                ElementsAre("CWebSocketTopic::CWebSocketTopic",
                            "CWebSocketTopic::AddConnection",
                            "CWebSocketTopic::Broadcast",
                            "CWebSocketTopic::SendMessage",
                            "CWebSocketTopic::NumberOfSubscribers",
                            "CWebSocketTopic::RemoveConnection"));
}
