#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/capturedlog.h"
#include "tests/unit/src/websocket/broadcasters/sessionstatustest.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::NiceMock;

namespace
{

/// Holds up whoever passes, until it is opened.
class CGate
{
public:
    void Pass()
    {
        hasArrived.set_value();
        isOpen.get_future().wait();
    }

    void AwaitArrival() { hasArrived.get_future().wait(); }
    void Open() { isOpen.set_value(); }

private:
    std::promise<void> hasArrived;
    std::promise<void> isOpen;
};

} // namespace

TEST_F(SessionStatus, LogsTheConnectionOfItsServiceAndItsLastStop)
{
    broadcaster.reset();
    const CCapturedLog log;
    MakeBroadcaster(meter);
    broadcaster.reset();
    EXPECT_THAT(log.Messages(Log::ELogLevel::Trace),
                ElementsAre("CSessionStatusBroadcaster::ConnectService",
                            "CSessionStatusBroadcaster::StopPeriodicBroadcast"));
}

TEST_F(SessionStatus, EndsThePeriodicEventsWhenItGoes)
{
    worker->Start();
    Set(11);
    clock->WaitUntilIdle();
    topic->TakeBroadcasts();
    broadcaster.reset();
    clock->Advance(10s);
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
}

TEST_F(SessionStatus, WaitsForAPeriodicEventUnderWayWhenItGoes)
{
    worker->Start();
    CGate reading;
    EXPECT_CALL(*meter, GetMeterData)
        .WillOnce(
            [&]
            {
                reading.Pass();
                return Reading(1);
            });
    Set(11);
    reading.AwaitArrival();

    auto going = std::async(std::launch::async, [this] { broadcaster.reset(); });
    EXPECT_EQ(going.wait_for(20ms), std::future_status::timeout);
    reading.Open();
    going.get();

    EXPECT_THAT(topic->TakeBroadcasts(), ElementsAre(Event("charging"), Event("charging", 1)));
}

TEST_F(SessionStatus, DoesNothingWhenItIsGone)
{
    EXPECT_CALL(*meter, GetMeterData).Times(0);
    broadcaster.reset();
    worker->Start();
    Set(11);
    Set(9);
    EXPECT_THAT(topic->Subscribe(), IsEmpty());
    clock->Advance(10s);
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
}

TEST_F(SessionStatus, ReleasesAllThatItWasGivenWhenItGoes)
{
    Set(11);
    broadcaster.reset();
    EXPECT_EQ(topic.use_count(), 1);
    EXPECT_EQ(meter.use_count(), 1);
    EXPECT_EQ(proxy.use_count(), 1);
    EXPECT_EQ(worker.use_count(), 1);
}

TEST_F(SessionStatus, GoesWithTheLastHoldOnTheWorker)
{
    worker->Start();
    Set(11);
    worker.reset();
    broadcaster.reset();
    EXPECT_THAT(topic->TakeBroadcasts(), testing::Contains(Event("charging")));
}

TEST_F(SessionStatus, EndsUndisturbedABroadcastUnderWayWhenItGoes)
{
    worker->Start();
    CGate broadcast;
    std::atomic<bool> isFirst{true};
    topic->onBroadcast = [&]
    {
        if (isFirst.exchange(false))
        {
            broadcast.Pass();
        }
    };
    std::thread notification([this] { Set(11); });
    broadcast.AwaitArrival();
    broadcaster.reset();
    // all that it needs to its end, but the worker, which must not end on its own thread
    EXPECT_GT(topic.use_count(), 1);
    EXPECT_EQ(worker.use_count(), 1);
    broadcast.Open();
    // which starts the periodic events behind the back of the one that has gone
    notification.join();
    EXPECT_EQ(worker.use_count(), 1);

    clock->WaitUntilIdle();
    topic->TakeBroadcasts();
    clock->Advance(10s);
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
}

TEST_F(SessionStatus, EndsUndisturbedASubscriptionUnderWayWhenItGoes)
{
    CGate reading;
    EXPECT_CALL(*meter, GetMeterData)
        .WillOnce(
            [&]
            {
                reading.Pass();
                return Reading(1);
            });
    std::vector<std::string> replies;
    std::thread subscribing([&] { replies = topic->Subscribe(); });
    reading.AwaitArrival();
    broadcaster.reset();
    EXPECT_GT(topic.use_count(), 1);
    // nor does it keep the listener registered
    Set(11);
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
    reading.Open();
    subscribing.join();
    EXPECT_EQ(topic.use_count(), 1);
    EXPECT_THAT(replies, ElementsAre(Event("unknown", 1)));
}

TEST(SessionStatusLifetime, EndsAtAnyMomentOfItsHandlers)
{
    for (int round = 0; round < 30; ++round)
    {
        const auto sessionManager = std::make_shared<NiceMock<CMockSessionManager>>();
        const auto proxy = std::make_shared<CSessionManagerNotificationProxy>(sessionManager);
        const auto meter = std::make_shared<NiceMock<CMockMeter>>();
        const auto topic = std::make_shared<CFakeTopic>();
        const auto worker = std::make_shared<CWorker>();
        worker->Start();
        auto broadcaster = std::make_unique<CSessionStatusBroadcaster>(topic, proxy, meter, worker);

        std::atomic<bool> isOver{false};
        std::promise<void> hasNotified;
        std::promise<void> hasSubscribed;
        std::thread notification(
            [&]
            {
                sessionManager->ConnectorState(ConnectorState(11));
                hasNotified.set_value();
                for (int turn = 0; !isOver; ++turn)
                {
                    sessionManager->ConnectorState(ConnectorState(turn % 3 == 0 ? 9 : 11));
                }
            });
        std::thread subscribing(
            [&]
            {
                topic->Subscribe();
                hasSubscribed.set_value();
                while (!isOver)
                {
                    topic->Subscribe();
                }
            });
        hasNotified.get_future().wait();
        hasSubscribed.get_future().wait();
        broadcaster.reset();
        isOver = true;
        notification.join();
        subscribing.join();
        worker->Stop();
        topic->TakeBroadcasts();
        EXPECT_THAT(topic->Subscribe(), IsEmpty());
    }
}
