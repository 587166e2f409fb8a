#include "platform/rpc/communicationexception.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/capturedlog.h"
#include "tests/unit/src/websocket/broadcasters/sessionstatustest.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;
using testing::Throw;
using Level = Log::ELogLevel;
using Line = CCapturedLog::SLine;

namespace
{

const Rpc::CommunicationException outOfReach("MeterService.GetMeterData");

/// A worker's clock that calls out while it is woken.
class CCallingClock : public CManualClock
{
public:
    void Wake() override
    {
        CManualClock::Wake();
        if (onWake)
        {
            onWake();
        }
    }

    std::function<void()> onWake;
};

} // namespace

// ------------------------------------------------------------------------------------------- the state

TEST_F(SessionStatus, HasAWordForEachState)
{
    const std::array<const char*, 13> words{"unknown",
                                            "available",
                                            "unavailable",
                                            "reserved",
                                            "preparingPluggedIn",
                                            "preparingAuthorized",
                                            "charging",
                                            "charging",
                                            "charging",
                                            "finishing",
                                            "faulted",
                                            "charging",
                                            "charging"};
    MakeBroadcaster(nullptr);
    for (std::size_t state = 0; state < words.size(); ++state)
    {
        Set(static_cast<int>(state));
        EXPECT_THAT(topic->TakeBroadcasts(), ElementsAre(Event(words[state]))) << state;
        EXPECT_THAT(topic->Subscribe(), ElementsAre(Event(words[state]))) << state;
    }
}

TEST_F(SessionStatus, BroadcastsEachNotificationAlsoOfTheSameState)
{
    Set(1);
    Set(1);
    EXPECT_THAT(topic->TakeBroadcasts(), ElementsAre(Event("available"), Event("available")));
}

TEST_F(SessionStatus, IsUnknownBeforeTheFirstNotification)
{
    MakeBroadcaster(nullptr);
    EXPECT_THAT(topic->Subscribe(), ElementsAre(Event("unknown")));
}

TEST_F(SessionStatus, SendsNothingInAStateWithoutAWord)
{
    MakeBroadcaster(nullptr);
    for (const int state : {13, 100, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
    {
        const CCapturedLog log(Level::Debug);
        Set(state);
        EXPECT_THAT(topic->Subscribe(), IsEmpty()) << state;
        const Line uninteresting{Level::Debug,
                                 "Can't create message for uninteresting session state change to ''."};
        EXPECT_THAT(log.Messages(),
                    ElementsAre(uninteresting,
                                uninteresting,
                                Line{Level::Debug, "Can't send message because it is nullopt"}))
            << state;
    }
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
}

TEST_F(SessionStatus, IsBackWithTheNextStateThatHasAWord)
{
    Set(13);
    Set(10);
    EXPECT_THAT(topic->TakeBroadcasts(), ElementsAre(Event("faulted")));
}

// ------------------------------------------------------------------------------------------- the meter's
// data

TEST_F(SessionStatus, HasMeterDataOnceTheMeterHasBeenRead)
{
    SetReading(Reading(10));
    Set(1);
    topic->Subscribe();
    Set(4);
    EXPECT_THAT(topic->TakeBroadcasts(), ElementsAre(Event("available"), Event("preparingPluggedIn", 10)));
}

TEST_F(SessionStatus, ShowsTheSessionsEnergyWhileTheMeterHoldsASession)
{
    ipc::MMeterData reading = Reading(5'000'000'123, {3680, -20, 2'000'000'000});
    reading.set_energy_at_session_start(123);
    reading.set_session_marker("session-1");
    SetReading(reading);
    EXPECT_THAT(topic->Subscribe(),
                ElementsAre(R"({"meterData":{"instantaneousPower":[3680,-20,2000000000],)"
                            R"("sessionEnergy":5000000000,"totalEnergy":5000000123},"state":"unknown"})"));
}

TEST_F(SessionStatus, ShowsNoSessionsEnergyWithoutASession)
{
    ipc::MMeterData reading = Reading(1000, {1, 2, 3});
    reading.set_energy_at_session_start(123);
    SetReading(reading);
    EXPECT_THAT(
        topic->Subscribe(),
        ElementsAre(R"({"meterData":{"instantaneousPower":[1,2,3],"totalEnergy":1000},"state":"unknown"})"));
}

TEST_F(SessionStatus, ForgetsTheSessionsEnergyWithTheSession)
{
    ipc::MMeterData reading = Reading(1000);
    reading.set_session_marker("session-1");
    SetReading(reading);
    topic->Subscribe();
    SetReading(Reading(1001));
    EXPECT_THAT(topic->Subscribe(), ElementsAre(Event("unknown", 1001)));
}

TEST_F(SessionStatus, ReckonsTheSessionsEnergyInSixtyFourBits)
{
    const auto sessionEnergy = [this](std::int64_t total, std::int64_t start)
    {
        ipc::MMeterData reading = Reading(total);
        reading.set_energy_at_session_start(start);
        reading.set_session_marker("session-1");
        SetReading(reading);
        const std::string reply = topic->Subscribe().at(0);
        const std::string key = R"("sessionEnergy":)";
        return std::stoll(reply.substr(reply.find(key) + key.size()));
    };
    constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t greatest = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(sessionEnergy(0, 0), 0);
    EXPECT_EQ(sessionEnergy(100, 300), -200);
    EXPECT_EQ(sessionEnergy(greatest, 0), greatest);
    EXPECT_EQ(sessionEnergy(least, 0), least);
    // out of range: any answer but no undefined one
    EXPECT_EQ(sessionEnergy(least, 1), greatest);
}

TEST_F(SessionStatus, TakesOneOrThreePowerValues)
{
    const auto power = [this](const std::vector<int>& values)
    {
        SetReading(Reading(0, values));
        const std::string reply = topic->Subscribe().at(0);
        return reply.substr(reply.find('['), reply.find(']') - reply.find('[') + 1);
    };
    EXPECT_EQ(power({}), "[0,0,0]");
    EXPECT_EQ(power({1}), "[1,0,0]");
    EXPECT_EQ(power({1, 2}), "[1,0,0]");
    EXPECT_EQ(power({1, 2, 3}), "[1,2,3]");
    EXPECT_EQ(power({1, 2, 3, 4}), "[1,2,3]");
}

TEST_F(SessionStatus, ReadsNoMeterForAChangeOtherThanTheEnd)
{
    EXPECT_CALL(*meter, GetMeterData).Times(0);
    for (const int state : {0, 1, 2, 3, 4, 5, 6, 7, 8, 10, 11, 12, 13})
    {
        Set(state);
    }
}

// ------------------------------------------------------------------------------------------- without a meter

TEST_F(SessionStatus, HoldsOnlyTheStateOnAStationWithoutAMeter)
{
    MakeBroadcaster(nullptr);
    worker->Start();
    Set(11);
    clock->WaitUntilIdle();
    EXPECT_THAT(topic->Subscribe(), ElementsAre(Event("charging")));
    Set(9);
    EXPECT_THAT(topic->TakeBroadcasts(),
                ElementsAre(Event("charging"), Event("charging"), Event("finishing")));
}

TEST_F(SessionStatus, SaysAtItsConstructionThatThereIsNoMeter)
{
    const CCapturedLog log(Level::Debug);
    MakeBroadcaster(meter);
    EXPECT_THAT(log.Messages(), IsEmpty());
    MakeBroadcaster(nullptr);
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{Level::Info,
                                 "Session status broadcaster is constructed without a meter service. No "
                                 "meter data will be included in events."}));
}

// ------------------------------------------------------------------------------------------- a new
// subscriber

TEST_F(SessionStatus, SendsANewSubscriberAloneACurrentReading)
{
    Set(4);
    topic->TakeBroadcasts();
    SetReading(Reading(20));
    EXPECT_THAT(topic->Subscribe(), ElementsAre(Event("preparingPluggedIn", 20)));
    SetReading(Reading(21));
    EXPECT_THAT(topic->Subscribe(), ElementsAre(Event("preparingPluggedIn", 21)));
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
}

TEST_F(SessionStatus, ReadsNoMeterForASubscriptionWithoutAReplyCallable)
{
    EXPECT_CALL(*meter, GetMeterData).Times(0);
    const CCapturedLog log;
    topic->OnSubscribe({});
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{Level::Debug,
                                 "OnSubscribe callback was not provided with a reply callback object."}));
}

TEST_F(SessionStatus, LeavesUnsubscriptionsAlone)
{
    EXPECT_FALSE(topic->OnUnsubscribe);
}

// ------------------------------------------------------------------------------------------- periodic events

TEST_F(SessionStatus, BroadcastsAtOnceAndEveryTwoSecondsFromTheStartOfACharge)
{
    worker->Start();
    SetReading(Reading(1));
    Set(11);
    clock->WaitUntilIdle();
    EXPECT_THAT(topic->TakeBroadcasts(), ElementsAre(Event("charging"), Event("charging", 1)));

    SetReading(Reading(2));
    clock->Advance(2s - 1ns);
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
    clock->Advance(1ns);
    EXPECT_THAT(topic->TakeBroadcasts(), ElementsAre(Event("charging", 2)));

    SetReading(Reading(3));
    clock->Advance(4s);
    EXPECT_THAT(topic->TakeBroadcasts(), ElementsAre(Event("charging", 3), Event("charging", 3)));
}

TEST_F(SessionStatus, BroadcastsPeriodicallyFromNoOtherStateOn)
{
    worker->Start();
    for (const int state : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 12, 13})
    {
        Set(state);
        topic->TakeBroadcasts();
        clock->Advance(10s);
        EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty()) << state;
    }
}

TEST_F(SessionStatus, BroadcastsPeriodicallyThroughAnyStateUntilTheEnd)
{
    worker->Start();
    Set(11);
    clock->WaitUntilIdle();
    for (const int state : {7, 6, 8, 12, 1, 10, 0})
    {
        Set(state);
        topic->TakeBroadcasts();
        clock->Advance(4s);
        EXPECT_EQ(topic->TakeBroadcasts().size(), 2U) << state;
    }
    Set(13);
    clock->Advance(4s);
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
    Set(7);
    clock->Advance(4s);
    EXPECT_EQ(topic->TakeBroadcasts().size(), 3U);
}

TEST_F(SessionStatus, SendsTheFinalReadingAsTheLastEventOfASession)
{
    worker->Start();
    SetReading(Reading(1));
    Set(11);
    clock->WaitUntilIdle();
    clock->Advance(1s);
    topic->TakeBroadcasts();
    SetReading(Reading(2));
    Set(9);
    EXPECT_THAT(topic->TakeBroadcasts(), ElementsAre(Event("finishing", 2)));
    clock->Advance(1min);
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
}

TEST_F(SessionStatus, BroadcastsPeriodicallyAgainFromTheNextChargeOn)
{
    worker->Start();
    Set(11);
    Set(9);
    const CCapturedLog log;
    Set(11);
    clock->WaitUntilIdle();
    topic->TakeBroadcasts();
    clock->Advance(4s);
    EXPECT_EQ(topic->TakeBroadcasts().size(), 2U);
    EXPECT_FALSE(log.Has(
        Level::Debug, "Request to start broadcasts of session status data, but they are already running."));
}

TEST_F(SessionStatus, GoesOnAtASecondStartOfTheSameCharge)
{
    worker->Start();
    CCapturedLog log;
    Set(11);
    clock->WaitUntilIdle();
    clock->Advance(1s);
    Set(7);
    const std::string running =
        "Request to start broadcasts of session status data, but they are already running.";
    EXPECT_FALSE(log.Has(Level::Debug, running));
    topic->TakeBroadcasts();

    Set(11);
    clock->WaitUntilIdle();

    EXPECT_TRUE(log.Has(Level::Debug, running));
    EXPECT_EQ(topic->TakeBroadcasts().size(), 2U);
    clock->Advance(6s);
    // the worker ends the first call with its handle
    EXPECT_EQ(topic->TakeBroadcasts().size(), 3U);
    Set(9);
    topic->TakeBroadcasts();
    clock->Advance(6s);
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
}

// ------------------------------------------------------------------------------------------- order of
// effects

TEST_F(SessionStatus, StopsReadsStoresAndBroadcastsAtTheEnd)
{
    const CCapturedLog log;
    Set(9);
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{Level::Trace, "CSessionStatusBroadcaster::HandleSessionStateChange"},
                            Line{Level::Trace, "CSessionStatusBroadcaster::StopPeriodicBroadcast"},
                            Line{Level::Trace, "CSessionStatusBroadcaster::PollMeterData"},
                            Line{Level::Trace, "CSessionStatusBroadcaster::BroadcastMessage"},
                            Line{Level::Trace, "CSessionStatusBroadcaster::ConstructMessage"},
                            Line{Level::Debug, "Creating message for state: EConnectorStateFinishing"},
                            Line{Level::Trace, "Including meterdata"}));
}

TEST_F(SessionStatus, StoresTheEndAfterTheReading)
{
    Set(6);
    std::vector<std::string> replies;
    EXPECT_CALL(*meter, GetMeterData)
        .WillOnce(
            [&]
            {
                replies = topic->Subscribe();
                return Reading(2);
            })
        .WillOnce(Return(Reading(1)));
    Set(9);
    EXPECT_THAT(replies, ElementsAre(Event("charging", 1)));
    EXPECT_THAT(topic->TakeBroadcasts(), ElementsAre(Event("charging"), Event("finishing", 2)));
}

TEST_F(SessionStatus, StoresBroadcastsAndStartsAtTheBeginningOfACharge)
{
    const CCapturedLog log;
    Set(11);
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{Level::Trace, "CSessionStatusBroadcaster::HandleSessionStateChange"},
                            Line{Level::Trace, "CSessionStatusBroadcaster::BroadcastMessage"},
                            Line{Level::Trace, "CSessionStatusBroadcaster::ConstructMessage"},
                            Line{Level::Debug, "Creating message for state: EConnectorStateCharging"},
                            Line{Level::Trace, "CSessionStatusBroadcaster::StartPeriodicBroadcast"}));
}

TEST_F(SessionStatus, StoresAndBroadcastsAnyOtherState)
{
    const CCapturedLog log;
    Set(7);
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{Level::Trace, "CSessionStatusBroadcaster::HandleSessionStateChange"},
                            Line{Level::Trace, "CSessionStatusBroadcaster::BroadcastMessage"},
                            Line{Level::Trace, "CSessionStatusBroadcaster::ConstructMessage"},
                            Line{Level::Debug, "Creating message for state: EConnectorStateSuspendedEvse"}));
}

TEST_F(SessionStatus, ReadsAndThenSendsForASubscriber)
{
    MakeBroadcaster(nullptr);
    const CCapturedLog log;
    topic->Subscribe();
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{Level::Trace, "CSessionStatusBroadcaster::PollMeterData"},
                            Line{Level::Trace, "No meter service available to poll."},
                            Line{Level::Trace, "CSessionStatusBroadcaster::ConstructMessage"},
                            Line{Level::Debug, "Creating message for state: EConnectorStateUnknown"}));
}

TEST_F(SessionStatus, LetsAPeriodicEventUnderWayEndBeforeItReadsForTheEnd)
{
    worker->Start();
    std::promise<void> readingHasBegun;
    std::promise<void> letGo;
    EXPECT_CALL(*meter, GetMeterData)
        .WillOnce(
            [&]
            {
                readingHasBegun.set_value();
                letGo.get_future().wait();
                return Reading(1);
            })
        .WillOnce(Return(Reading(2)));
    Set(11);
    readingHasBegun.get_future().wait();

    auto finishing = std::async(std::launch::async, [this] { Set(9); });
    EXPECT_EQ(finishing.wait_for(20ms), std::future_status::timeout);
    letGo.set_value();
    finishing.get();

    EXPECT_THAT(topic->TakeBroadcasts(),
                ElementsAre(Event("charging"), Event("charging", 1), Event("finishing", 2)));
}

// ------------------------------------------------------------------------------------------- failures

TEST_F(SessionStatus, PassesOnThatTheMeterIsOutOfReachAtTheEnd)
{
    worker->Start();
    SetReading(Reading(1));
    Set(11);
    clock->WaitUntilIdle();
    topic->TakeBroadcasts();
    EXPECT_CALL(*meter, GetMeterData).WillOnce(Throw(outOfReach)).WillRepeatedly(Return(Reading(2)));

    EXPECT_THROW(Set(9), Rpc::CommunicationException);

    // neither stored nor broadcast, but stopped
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
    EXPECT_THAT(topic->Subscribe(), ElementsAre(Event("charging", 2)));
    clock->Advance(10s);
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
}

TEST_F(SessionStatus, PassesOnThatTheMeterIsOutOfReachForASubscriber)
{
    EXPECT_CALL(*meter, GetMeterData).WillOnce(Throw(outOfReach));
    const CCapturedLog log;
    EXPECT_THROW(topic->Subscribe(), Rpc::CommunicationException);
    EXPECT_THAT(log.Messages(), ElementsAre(Line{Level::Trace, "CSessionStatusBroadcaster::PollMeterData"}));
}

TEST_F(SessionStatus, KeepsTheLastReadingWhenOneFails)
{
    EXPECT_CALL(*meter, GetMeterData).WillOnce(Return(Reading(1))).WillOnce(Throw(outOfReach));
    topic->Subscribe();
    EXPECT_THROW(topic->Subscribe(), Rpc::CommunicationException);
    Set(1);
    EXPECT_THAT(topic->TakeBroadcasts(), ElementsAre(Event("available", 1)));
}

TEST_F(SessionStatus, LeavesOutAPeriodicEventWithoutAReading)
{
    worker->Start();
    EXPECT_CALL(*meter, GetMeterData)
        .WillOnce(Return(Reading(1)))
        .WillOnce(Throw(outOfReach))
        .WillOnce(Return(Reading(3)));
    Set(11);
    clock->WaitUntilIdle();
    topic->TakeBroadcasts();
    clock->Advance(2s);
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
    clock->Advance(2s);
    EXPECT_THAT(topic->TakeBroadcasts(), ElementsAre(Event("charging", 3)));
}

// ------------------------------------------------------------------------------------------- no lock outside

TEST_F(SessionStatus, LetsTheTopicCallBackWhileItBroadcasts)
{
    std::vector<std::string> replies;
    topic->onBroadcast = [&] { replies = topic->Subscribe(); };
    SetReading(Reading(5));
    Set(4);
    EXPECT_THAT(replies, ElementsAre(Event("preparingPluggedIn", 5)));
}

TEST_F(SessionStatus, LetsTheMeterCallBackWhileItIsRead)
{
    EXPECT_CALL(*meter, GetMeterData)
        .WillOnce(
            [this]
            {
                Set(4);
                return Reading(1);
            });
    EXPECT_THAT(topic->Subscribe(), ElementsAre(Event("preparingPluggedIn", 1)));
}

TEST_F(SessionStatus, LetsTheSubscriberCallBackWhileItIsServed)
{
    std::vector<std::string> replies;
    topic->OnSubscribe([&](const Json::Value&) { replies = topic->Subscribe(); });
    EXPECT_THAT(replies, ElementsAre(Event("unknown", 0)));
}

TEST_F(SessionStatus, LetsTheWorkerCallBackWhileItTakesTheCall)
{
    const auto callingClock = std::make_shared<CCallingClock>();
    worker = std::make_shared<CWorker>(callingClock);
    MakeBroadcaster(nullptr);
    std::vector<std::string> replies;
    callingClock->onWake = [&] { replies = topic->Subscribe(); };
    Set(11);
    callingClock->onWake = {};
    EXPECT_THAT(replies, ElementsAre(Event("charging")));
}
