#include "src/localscheduledcharging/chargingschedulemanager.h"
#include "src/localscheduledcharging/scheduleexecutor.h"

#include <json/value.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/capturedlog.h"
#include "tests/support/eventually.h"
#include "tests/support/manualclock.h"
#include "tests/support/manualsystemclock.h"
#include "tests/support/runtogether.h"
#include "tests/support/timezone.h"
#include "tests/unit/src/localscheduledcharging/schedules.h"

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;
using std::chrono::system_clock;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace
{

/// What a test shows by what does not happen, it watches for this long.
constexpr milliseconds Watch{200};

constexpr seconds TimeSyncInterval{5};

/// A schedule whose limit the test sets at any time, and which takes down when it is asked.
class CSettableSchedule : public IChargingScheduleManager
{
public:
    void Init() override {}
    bool ValidateSchedule(const Json::Value& /*schedule*/) override { return true; }
    void WriteSchedule(const Json::Value& /*schedule*/) override {}
    Json::Value ReadSchedule() override { return {}; }

    std::uint32_t GetCurrentLimit(system_clock::time_point now) override
    {
        asked.Add(now);
        return limit;
    }

    std::vector<system_clock::time_point> Asked() { return asked.Await(0); }

    std::atomic<std::uint32_t> limit{16000};

private:
    CCollector<system_clock::time_point> asked;
};

/// One executor whose clocks are moved together, from Monday, 12:00:50 on.
class ScheduleExecutor : public testing::Test
{
protected:
    ScheduleExecutor()
    {
        executor->SetCurrentLimitCallback(
            [this](std::uint32_t limit)
            {
                calls.Add("set " + std::to_string(limit));
                return isAccepted.load();
            });
        executor->SetClearCurrentLimitCallback(
            [this]
            {
                calls.Add("clear");
                return true;
            });
        executor->SetTimeSyncedCallback(
            [this]
            {
                ++syncQuestions;
                return isTimeSynced.load();
            });
    }

    /// Second by second.
    void Advance(seconds duration)
    {
        for (seconds passed{0}; passed < duration; ++passed)
        {
            AdvanceInOneGo(seconds(1));
        }
    }

    /// What becomes due meanwhile sees the time of day at the end.
    void AdvanceInOneGo(seconds duration)
    {
        timeOfDay.Advance(duration);
        workerClock->Advance(duration);
    }

    std::vector<std::string> Calls() { return calls.Await(0); }

    const CTimeZone zone{"UTC"};
    CManualSystemClock timeOfDay{At(Monday, 12, 0, 50)};
    const std::shared_ptr<CManualClock> workerClock = std::make_shared<CManualClock>();
    CSettableSchedule schedule;
    CCollector<std::string> calls;
    CCollector<bool> begun;
    std::atomic<bool> isAccepted{true};
    std::atomic<bool> isTimeSynced{true};
    std::atomic<int> syncQuestions{0};
    std::unique_ptr<CScheduleExecutor> executor =
        std::make_unique<CScheduleExecutor>(schedule, TimeSyncInterval, timeOfDay.Source(), workerClock);
};

} // namespace

// ------------------------------------------------------------------------------------------------- Running

TEST_F(ScheduleExecutor, HandsTheLimitOnAtOnceAndChecksFromTheNextFullMinuteOn)
{
    EXPECT_EQ(executor->Start(), 2);
    EXPECT_THAT(Calls(), ElementsAre("set 16000"));
    EXPECT_THAT(schedule.Asked(), ElementsAre(At(Monday, 12, 0, 50)));

    Advance(seconds(9));
    EXPECT_THAT(schedule.Asked(), SizeIs(1));
    Advance(seconds(130));

    EXPECT_THAT(
        schedule.Asked(),
        ElementsAre(At(Monday, 12, 0, 50), At(Monday, 12, 1, 0), At(Monday, 12, 2, 0), At(Monday, 12, 3, 0)));
}

TEST_F(ScheduleExecutor, WaitsForTheWholeMinuteOnAFullOne)
{
    timeOfDay.Set(At(Monday, 12));
    executor->Start();

    Advance(seconds(59));
    EXPECT_THAT(schedule.Asked(), SizeIs(1));
    Advance(seconds(1));

    EXPECT_THAT(schedule.Asked(), ElementsAre(At(Monday, 12), At(Monday, 12, 1)));
}

TEST_F(ScheduleExecutor, MinutesAreThoseOfTheLocalTime)
{
    // 12:01:10 there
    const CTimeZone oddZone("XXX-0:00:20");
    executor->Start();

    Advance(seconds(50));

    EXPECT_THAT(schedule.Asked(), ElementsAre(At(Monday, 12, 0, 50), At(Monday, 12, 1, 40)));
}

TEST_F(ScheduleExecutor, ScheduleIsAskedForWholeSeconds)
{
    timeOfDay.Set(At(Monday, 12, 0, 50) + milliseconds(999));

    executor->Start();

    EXPECT_THAT(schedule.Asked(), ElementsAre(At(Monday, 12, 0, 50)));
}

TEST_F(ScheduleExecutor, ChangedLimitIsHandedOnAtTheNextFullMinute)
{
    executor->Start();
    schedule.limit = 10000;
    Advance(seconds(9));
    EXPECT_THAT(Calls(), ElementsAre("set 16000"));

    Advance(seconds(1));
    EXPECT_THAT(Calls(), ElementsAre("set 16000", "set 10000"));

    schedule.limit = 0;
    Advance(seconds(60));
    schedule.limit = 4294967295;
    Advance(seconds(60));
    EXPECT_THAT(Calls(), ElementsAre("set 16000", "set 10000", "set 0", "set 4294967295"));
}

TEST_F(ScheduleExecutor, UnchangedLimitIsHandedOnOnceInAWholeDay)
{
    executor->Start();
    Advance(seconds(10));
    for (int minute = 0; minute < 1440; ++minute)
    {
        AdvanceInOneGo(minutes(1));
    }

    EXPECT_THAT(schedule.Asked(), SizeIs(1442));
    EXPECT_THAT(Calls(), ElementsAre("set 16000"));
}

TEST_F(ScheduleExecutor, LimitOfZeroIsALimit)
{
    schedule.limit = 0;

    executor->Start();

    EXPECT_THAT(Calls(), ElementsAre("set 0"));
}

TEST_F(ScheduleExecutor, RefusedLimitIsNotRepeatedUntilItChanges)
{
    isAccepted = false;
    executor->Start();
    Advance(minutes(10));
    EXPECT_THAT(Calls(), ElementsAre("set 16000"));

    schedule.limit = 10000;
    Advance(minutes(10));

    EXPECT_THAT(Calls(), ElementsAre("set 16000", "set 10000"));
}

TEST_F(ScheduleExecutor, CheckThatThrowsIsNotTheLast)
{
    executor->SetCurrentLimitCallback(
        [this](std::uint32_t limit) -> bool
        {
            calls.Add("set " + std::to_string(limit));
            if (limit == 10000)
            {
                throw std::runtime_error("out of order");
            }
            return true;
        });
    executor->Start();
    schedule.limit = 10000;
    Advance(minutes(5));
    schedule.limit = 8000;
    Advance(minutes(5));

    EXPECT_THAT(Calls(), ElementsAre("set 16000", "set 10000", "set 8000"));
}

TEST_F(ScheduleExecutor, UpdateMayBeAskedForAtAnyTime)
{
    executor->UpdateCurrentLimitation();
    executor->UpdateCurrentLimitation();
    schedule.limit = 10000;
    executor->UpdateCurrentLimitation();

    EXPECT_THAT(Calls(), ElementsAre("set 16000", "set 10000"));
}

// ------------------------------------------------------------------------------------------- Starting again

TEST_F(ScheduleExecutor, SecondStartChangesNothingOnceTheChecksHaveBegun)
{
    executor->Start();
    Advance(seconds(10));
    schedule.limit = 10000;

    EXPECT_EQ(executor->Start(), 2);

    EXPECT_THAT(schedule.Asked(), SizeIs(2));
    EXPECT_EQ(syncQuestions, 1);
    EXPECT_THAT(Calls(), ElementsAre("set 16000"));
}

TEST_F(ScheduleExecutor, SecondStartBeforeThatBeginsAnew)
{
    executor->Start();
    schedule.limit = 10000;

    EXPECT_EQ(executor->Start(), 2);

    EXPECT_EQ(syncQuestions, 2);
    EXPECT_THAT(Calls(), ElementsAre("set 16000", "set 10000"));
    EXPECT_THAT(schedule.Asked(), SizeIs(2));
    Advance(seconds(10));
    EXPECT_THAT(schedule.Asked(), SizeIs(3));
    Advance(minutes(10));
    EXPECT_THAT(schedule.Asked(), SizeIs(13)) << "one check in a minute";
}

TEST_F(ScheduleExecutor, StartWithoutACallbackIsRefused)
{
    for (const int missing : {0, 1, 2})
    {
        CScheduleExecutor wanting(schedule, TimeSyncInterval);
        if (missing != 0)
        {
            wanting.SetCurrentLimitCallback([](std::uint32_t) { return true; });
        }
        if (missing != 1)
        {
            wanting.SetClearCurrentLimitCallback([] { return true; });
        }
        if (missing != 2)
        {
            wanting.SetTimeSyncedCallback([] { return true; });
        }
        const CCapturedLog log;

        EXPECT_EQ(wanting.Start(), 0);

        EXPECT_THAT(
            log.Messages(),
            ElementsAre(CCapturedLog::SLine{Log::ELogLevel::Trace, "CScheduleExecutor::Start"},
                        CCapturedLog::SLine{Log::ELogLevel::Error, "One of the callback is not set"}));
        EXPECT_THAT(schedule.Asked(), IsEmpty());
        wanting.Stop();
    }
}

TEST_F(ScheduleExecutor, FailureOfTheFirstUpdateReachesWhoStarts)
{
    executor->SetCurrentLimitCallback([](std::uint32_t) -> bool { throw std::runtime_error("broken"); });

    EXPECT_THROW(executor->Start(), std::runtime_error);

    EXPECT_EQ(executor->Start(), 2) << "the limit counts as handed on";
    Advance(seconds(70));
    EXPECT_THAT(schedule.Asked(), SizeIs(4));
}

// ------------------------------------------------------------------------------------------------- Stopping

TEST_F(ScheduleExecutor, StopEndsTheChecksAndClearsTheLimit)
{
    executor->Start();
    Advance(seconds(10));

    executor->Stop();

    EXPECT_THAT(Calls(), ElementsAre("set 16000", "clear"));
    schedule.limit = 10000;
    AdvanceInOneGo(hours(1));
    EXPECT_THAT(schedule.Asked(), SizeIs(2));
    EXPECT_THAT(Calls(), SizeIs(2));
}

TEST_F(ScheduleExecutor, StopBeforeTheFullMinuteKeepsTheChecksFromBeginning)
{
    executor->Start();

    executor->Stop();

    AdvanceInOneGo(hours(1));
    EXPECT_THAT(schedule.Asked(), SizeIs(1));
    EXPECT_THAT(Calls(), ElementsAre("set 16000", "clear"));
}

TEST_F(ScheduleExecutor, ChecksThatWereStoppedDoNotBeginWhileTheNextStartWaitsForTheTime)
{
    executor->Start();
    executor->Stop();
    isTimeSynced = false;
    executor->Start();

    Advance(minutes(5));

    EXPECT_THAT(schedule.Asked(), SizeIs(1));
}

TEST_F(ScheduleExecutor, StopClearsTheLimitAlsoWhenNothingRuns)
{
    executor->Stop();
    executor->Stop();

    EXPECT_THAT(Calls(), ElementsAre("clear", "clear"));
}

TEST_F(ScheduleExecutor, StartAfterAStopHandsTheSameLimitOnAgain)
{
    for (int round = 0; round < 3; ++round)
    {
        executor->Start();
        Advance(seconds(61));
        executor->Stop();
    }

    EXPECT_THAT(Calls(), ElementsAre("set 16000", "clear", "set 16000", "clear", "set 16000", "clear"));
}

TEST_F(ScheduleExecutor, StopWaitsForACheckUnderWaySoThatItsLimitIsNotLeftBehind)
{
    executor->SetCurrentLimitCallback(
        [this](std::uint32_t limit)
        {
            if (limit == 10000)
            {
                begun.Add(true);
                calls.AwaitAny([](const std::string& call) { return call == "clear"; }, Watch);
            }
            calls.Add("set " + std::to_string(limit));
            return true;
        });
    executor->Start();
    Advance(seconds(10));
    schedule.limit = 10000;
    workerClock->Jump(seconds(60));
    ASSERT_THAT(begun.Await(1), SizeIs(1));

    executor->Stop();

    EXPECT_THAT(Calls(), ElementsAre("set 16000", "set 10000", "clear"));
    executor->Start();
    EXPECT_THAT(Calls(), ElementsAre("set 16000", "set 10000", "clear", "set 10000"))
        << "the limit of that check doesn't count as the last one";
}

TEST_F(ScheduleExecutor, StopDuringAStartThatTheWorkerMakesLeavesNothingPlanned)
{
    executor->SetCurrentLimitCallback(
        [this](std::uint32_t)
        {
            begun.Add(true);
            calls.AwaitAny([](const std::string& call) { return call == "clear"; }, Watch);
            return true;
        });
    isTimeSynced = false;
    executor->Start();
    isTimeSynced = true;
    workerClock->Jump(TimeSyncInterval);
    ASSERT_THAT(begun.Await(1), SizeIs(1));

    executor->Stop();

    const std::size_t asked = schedule.Asked().size();
    AdvanceInOneGo(hours(1));
    EXPECT_THAT(schedule.Asked(), SizeIs(asked));
}

TEST_F(ScheduleExecutor, EndWithoutAStopLeavesTheLimitAndPlansNothing)
{
    for (const bool isSynced : {true, false})
    {
        isTimeSynced = isSynced;
        const auto clock = std::make_shared<CManualClock>();
        CScheduleExecutor ending(schedule, TimeSyncInterval, timeOfDay.Source(), clock);
        ending.SetCurrentLimitCallback([](std::uint32_t) { return true; });
        ending.SetClearCurrentLimitCallback(
            [this]
            {
                calls.Add("clear");
                return true;
            });
        ending.SetTimeSyncedCallback([this] { return isTimeSynced.load(); });
        ending.Start();
    }

    EXPECT_THAT(Calls(), IsEmpty());
}

// ---------------------------------------------------------------------------------------- Waiting for time

TEST_F(ScheduleExecutor, WaitsUntilTheTimeIsSynchronised)
{
    isTimeSynced = false;
    EXPECT_EQ(executor->Start(), 1);
    Advance(seconds(4));
    EXPECT_EQ(syncQuestions, 1);
    Advance(seconds(8));
    EXPECT_EQ(syncQuestions, 3);
    EXPECT_THAT(schedule.Asked(), IsEmpty());
    EXPECT_THAT(Calls(), IsEmpty());

    // 12:01:05 when it asks again
    isTimeSynced = true;
    Advance(seconds(3));

    EXPECT_THAT(Calls(), ElementsAre("set 16000"));
    Advance(seconds(120));
    EXPECT_THAT(schedule.Asked(), ElementsAre(At(Monday, 12, 1, 5), At(Monday, 12, 2), At(Monday, 12, 3)));
    EXPECT_EQ(syncQuestions, 4) << "synchronised once is enough";
}

TEST_F(ScheduleExecutor, ClockThatJumpsAtTheSynchronisationCounts)
{
    timeOfDay.Set(system_clock::from_time_t(0));
    isTimeSynced = false;
    executor->Start();
    Advance(seconds(4));
    timeOfDay.Set(At(Monday, 12, 0, 41));
    isTimeSynced = true;

    Advance(seconds(1));
    Advance(seconds(18));

    EXPECT_THAT(schedule.Asked(), ElementsAre(At(Monday, 12, 0, 42), At(Monday, 12, 1)));
}

TEST_F(ScheduleExecutor, StopWhileWaitingKeepsItFromStarting)
{
    isTimeSynced = false;
    executor->Start();

    executor->Stop();

    isTimeSynced = true;
    AdvanceInOneGo(hours(1));
    EXPECT_EQ(syncQuestions, 1);
    EXPECT_THAT(Calls(), ElementsAre("clear"));
}

TEST_F(ScheduleExecutor, StartWhileWaitingAsksAgainAndThenEveryFiveSeconds)
{
    isTimeSynced = false;
    executor->Start();
    Advance(seconds(3));

    EXPECT_EQ(executor->Start(), 1);

    EXPECT_EQ(syncQuestions, 2);
    Advance(seconds(4));
    EXPECT_EQ(syncQuestions, 2) << "the pending question was replaced";
    Advance(seconds(51));
    EXPECT_EQ(syncQuestions, 13);
}

TEST_F(ScheduleExecutor, StartWhileWaitingThatFindsTheTimeSynchronisedEndsTheWaiting)
{
    isTimeSynced = false;
    timeOfDay.Set(At(Monday, 12, 0, 57));
    executor->Start();
    isTimeSynced = true;

    EXPECT_EQ(executor->Start(), 2);

    EXPECT_THAT(Calls(), ElementsAre("set 16000"));
    Advance(seconds(3) + minutes(5));
    EXPECT_EQ(syncQuestions, 2);
    EXPECT_THAT(schedule.Asked(), SizeIs(7)) << "one check in a minute";
}

// ----------------------------------------------------------------------------------------------------- Log

TEST_F(ScheduleExecutor, StartAndChecksAreLogged)
{
    using Log::ELogLevel;
    using Line = CCapturedLog::SLine;
    const CCapturedLog log;

    executor->Start();
    EXPECT_THAT(
        log.Messages(),
        ElementsAre(Line{ELogLevel::Trace, "CScheduleExecutor::Start"},
                    Line{ELogLevel::Trace, "CScheduleExecutor::StartWhenTimeSynced"},
                    Line{ELogLevel::Info, "System time synced, start local scheduled charging"},
                    Line{ELogLevel::Trace, "CScheduleExecutor::UpdateCurrentLimitation"},
                    Line{ELogLevel::Info, "Periodic charging schedule checking will start in 10 seconds"}));
    Advance(seconds(9));
    EXPECT_THAT(log.Messages(), SizeIs(5));

    Advance(seconds(1));
    EXPECT_THAT(log.Messages(), SizeIs(7));
    EXPECT_TRUE(log.Has(ELogLevel::Debug, "Scheduling periodic current limitation check"));
    EXPECT_EQ(log.Messages().back(), (Line{ELogLevel::Trace, "CScheduleExecutor::UpdateCurrentLimitation"}));
}

TEST_F(ScheduleExecutor, FullMinuteIsLoggedAsSixtySecondsAway)
{
    const CCapturedLog log;
    timeOfDay.Set(At(Monday, 12));

    executor->Start();

    EXPECT_TRUE(
        log.Has(Log::ELogLevel::Info, "Periodic charging schedule checking will start in 60 seconds"));
}

TEST_F(ScheduleExecutor, WaitingAndStoppingAreLogged)
{
    using Log::ELogLevel;
    using Line = CCapturedLog::SLine;
    isTimeSynced = false;
    CCapturedLog log;

    executor->Start();
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{ELogLevel::Trace, "CScheduleExecutor::Start"},
                            Line{ELogLevel::Trace, "CScheduleExecutor::StartWhenTimeSynced"},
                            Line{ELogLevel::Debug,
                                 "Systemtime is not yet synced, wait for 5 second and check again."},
                            Line{ELogLevel::Info,
                                 "System time not yet synced, periodical sync check is scheduled. Local "
                                 "scheduled charging will be started once the system time is synced."}));
    log.Clear();

    executor->Stop();
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{ELogLevel::Trace, "CScheduleExecutor::Stop"},
                            Line{ELogLevel::Info, "Local scheduled charging is stopped."}));
}

// ------------------------------------------------------------------------------------------------- Threads

namespace
{

/// Seconds that the tests below go on at least; a soak gives more.
seconds LoadTime()
{
    const char* given = std::getenv("WEBBACKEND_LOAD_SECONDS");
    return seconds(given ? std::stoi(given) : 0);
}

/// Runs rounds of their number at least, and for the load's time.
void Repeat(int rounds, const std::function<void()>& round)
{
    const auto end = std::chrono::steady_clock::now() + LoadTime();
    for (int count = 0; count < rounds || std::chrono::steady_clock::now() < end; ++count)
    {
        round();
    }
}

/// An executor under way: its time runs on as fast as it can, and its schedule changes all the while. What
/// the station has got is the limit, none after it was cleared.
class BusyScheduleExecutor : public testing::Test
{
protected:
    static constexpr std::int64_t NoLimit = -1;

    BusyScheduleExecutor()
    {
        executor.SetCurrentLimitCallback(
            [this](std::uint32_t limit)
            {
                ++settings;
                stationLimit = limit;
                return true;
            });
        executor.SetClearCurrentLimitCallback(
            [this]
            {
                stationLimit = NoLimit;
                return true;
            });
        executor.SetTimeSyncedCallback([this] { return ++questions % 3 != 0; });
        time = std::thread(
            [this]
            {
                std::mt19937 random(1);
                while (!isOver)
                {
                    schedule.limit = static_cast<std::uint32_t>(random() % 1000);
                    const seconds step(random() % 30);
                    timeOfDay.Advance(step);
                    workerClock->Jump(step);
                    std::this_thread::yield();
                }
            });
    }

    ~BusyScheduleExecutor() override { StopTime(); }

    void StopTime()
    {
        isOver = true;
        if (time.joinable())
        {
            time.join();
        }
    }

    /// A schedule that only counts: the load asks it without end.
    class CCountingSchedule : public CSettableSchedule
    {
    public:
        std::uint32_t GetCurrentLimit(system_clock::time_point /*now*/) override
        {
            ++questions;
            return limit;
        }

        std::atomic<int> questions{0};
    };

    const CTimeZone zone{"UTC"};
    CManualSystemClock timeOfDay{At(Monday, 12)};
    const std::shared_ptr<CManualClock> workerClock = std::make_shared<CManualClock>();
    CCountingSchedule schedule;
    std::atomic<std::int64_t> stationLimit{NoLimit};
    std::atomic<int> settings{0};
    std::atomic<int> questions{0};
    CScheduleExecutor executor{schedule, TimeSyncInterval, timeOfDay.Source(), workerClock};
    std::atomic<bool> isOver{false};
    std::thread time;
};

} // namespace

TEST_F(BusyScheduleExecutor, NothingIsSetOrAskedOnceStopHasReturned)
{
    Repeat(300,
           [this]
           {
               executor.Start();
               const int before = schedule.questions;
               // until checks run, now and then
               while (settings % 4 == 0 && schedule.questions < before + 2)
               {
                   std::this_thread::yield();
               }
               executor.Stop();
               const int asked = schedule.questions;
               ASSERT_EQ(stationLimit, NoLimit);
               workerClock->WaitUntilIdle();
               ASSERT_EQ(schedule.questions, asked);
               ASSERT_EQ(stationLimit, NoLimit);
           });
}

TEST_F(BusyScheduleExecutor, ManyWhoStartAndStopLeaveOneChainOfChecks)
{
    RunTogether(4,
                [this](int thread)
                {
                    std::mt19937 random(static_cast<unsigned>(thread));
                    Repeat(200,
                           [&]
                           {
                               if (random() % 2 == 0)
                               {
                                   EXPECT_NE(executor.Start(), 0);
                               }
                               else
                               {
                                   executor.Stop();
                               }
                           });
                });
    StopTime();
    executor.Stop();
    EXPECT_EQ(stationLimit, NoLimit);
    int asked = schedule.questions;
    workerClock->Advance(hours(1));
    EXPECT_EQ(schedule.questions, asked) << "a chain outlived Stop";

    executor.SetTimeSyncedCallback([] { return true; });
    timeOfDay.Set(At(Monday, 12));
    EXPECT_EQ(executor.Start(), 2);
    asked = schedule.questions;
    workerClock->Advance(minutes(10));
    EXPECT_EQ(schedule.questions, asked + 10) << "one check in a minute";
    EXPECT_EQ(stationLimit, static_cast<std::int64_t>(schedule.limit));
}
