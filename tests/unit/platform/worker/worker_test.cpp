#include "platform/worker/worker.h"

#include <pthread.h>

#include <array>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/capturedlog.h"
#include "tests/support/manualclock.h"

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

/// How long a test watches that something does not happen.
constexpr auto Glance = 20ms;

/// Within this real time what should happen has happened, on a loaded machine too.
constexpr auto Patience = 30s;

class WorkerTest : public testing::Test
{
protected:
    /// A call that notes the time since the start of the test.
    std::function<void()> NoteTime()
    {
        return [this] { times.push_back(clock->Now() - begin); };
    }

    std::function<void()> NoteText(const std::string& text)
    {
        return [this, text] { texts.push_back(text); };
    }

    std::shared_ptr<CManualClock> clock = std::make_shared<CManualClock>();
    const steady_clock::time_point begin = clock->Now();

    // touched by the worker's thread while it is awake, by the test while it sleeps
    std::vector<std::chrono::nanoseconds> times;
    std::vector<std::string> texts;

    CWorker worker{clock};
};

/// A call that begins, and ends when it is let go.
class CHeldCall
{
public:
    std::function<void()> Function()
    {
        return [this]
        {
            begun.set_value();
            letGo.get_future().wait();
            hasEnded = true;
        };
    }

    void WaitUntilBegun() { begun.get_future().wait(); }
    void LetGo() { letGo.set_value(); }
    bool HasEnded() const { return hasEnded; }

private:
    std::promise<void> begun;
    std::promise<void> letGo;
    std::atomic<bool> hasEnded{false};
};

template <class TFuture>
bool IsReady(const TFuture& future, std::chrono::milliseconds within)
{
    return future.wait_for(within) == std::future_status::ready;
}

} // namespace

TEST_F(WorkerTest, RunsCallsOnOneThreadOfItsOwn)
{
    std::array<std::thread::id, 2> threads;
    worker.Start();

    worker.NonBlockingCall([&] { threads[0] = std::this_thread::get_id(); });
    const auto timed = worker.AddCall([&] { threads[1] = std::this_thread::get_id(); }, begin, 0ns);
    clock->WaitUntilIdle();

    EXPECT_NE(threads[0], std::thread::id());
    EXPECT_NE(threads[0], std::this_thread::get_id());
    EXPECT_EQ(threads[0], threads[1]);
}

TEST_F(WorkerTest, CallsAddedBeforeStartWaitForIt)
{
    worker.NonBlockingCall(NoteText("first"));
    const auto timed = worker.AddCall(NoteText("second"), begin, 0ns);
    EXPECT_THAT(texts, IsEmpty());

    worker.Start();
    clock->WaitUntilIdle();

    EXPECT_THAT(texts, ElementsAre("first", "second"));
}

TEST_F(WorkerTest, RunsCallsInOrderOfTimeWhateverTheOrderOfAdding)
{
    worker.Start();
    const auto late = worker.AddCall(NoteText("late"), begin + 2s, 0ns);
    const auto early = worker.AddCall(NoteText("early"), begin + 1s, 0ns);
    const auto past = worker.AddCall(NoteText("past"), begin - 1s, 0ns);

    clock->WaitUntilIdle();
    clock->Jump(2s);
    clock->WaitUntilIdle();

    EXPECT_THAT(texts, ElementsAre("past", "early", "late"));
}

TEST_F(WorkerTest, CallsDueAtTheSameTimeRunInOrderOfAdding)
{
    const auto one = worker.AddCall(NoteText("one"), begin, 0ns);
    worker.NonBlockingCall(NoteText("two"));
    const auto three = worker.AddCall(NoteText("three"), begin, 0ns);

    worker.Start();
    clock->WaitUntilIdle();

    EXPECT_THAT(texts, ElementsAre("one", "two", "three"));
}

TEST_F(WorkerTest, SingleCallRunsOnceAtItsTime)
{
    worker.Start();
    const auto call = worker.AddCall(NoteTime(), begin + 5s, 0ns);

    clock->Advance(4999ms);
    EXPECT_THAT(times, IsEmpty());
    clock->Advance(1h);

    EXPECT_THAT(times, ElementsAre(5s));
}

TEST_F(WorkerTest, PeriodicCallRunsAtFirstAndThenAtEachPeriod)
{
    worker.Start();
    const auto call = worker.AddCall(NoteTime(), begin + 1s, 2s);

    clock->Advance(8s);

    EXPECT_THAT(times, ElementsAre(1s, 3s, 5s, 7s));
}

TEST_F(WorkerTest, FirstTimeInThePastRunsAtOnceAndKeepsTheGrid)
{
    worker.Start();
    const auto call = worker.AddCall(NoteTime(), begin - 3s, 2s);

    clock->Advance(4s);

    EXPECT_THAT(times, ElementsAre(0s, 1s, 3s));
}

TEST_F(WorkerTest, LateRunSkipsThePointsThatItMissed)
{
    worker.Start();
    const auto call = worker.AddCall(NoteTime(), begin + 2s, 2s);
    clock->WaitUntilIdle();

    clock->Jump(7s);
    clock->WaitUntilIdle();
    clock->Advance(3s);

    EXPECT_THAT(times, ElementsAre(7s, 8s, 10s));
}

TEST_F(WorkerTest, LongRunSkipsThePointsWithinIt)
{
    worker.Start();
    const auto call = worker.AddCall(
        [this]
        {
            times.push_back(clock->Now() - begin);
            if (times.size() == 1)
            {
                clock->Jump(5s);
            }
        },
        begin,
        2s);

    clock->WaitUntilIdle();
    clock->Advance(3s);

    EXPECT_THAT(times, ElementsAre(0s, 6s, 8s));
}

TEST_F(WorkerTest, RunThatEndsOnAPointDoesNotMissIt)
{
    worker.Start();
    const auto call = worker.AddCall(
        [this]
        {
            times.push_back(clock->Now() - begin);
            if (times.size() == 1)
            {
                clock->Jump(4s);
            }
        },
        begin,
        2s);

    clock->WaitUntilIdle();

    EXPECT_THAT(times, ElementsAre(0s, 4s));
}

TEST_F(WorkerTest, NegativePeriodIsRefused)
{
    EXPECT_THROW(static_cast<void>(worker.AddCall(NoteTime(), begin, -1ns)), std::invalid_argument);
}

TEST_F(WorkerTest, CancelledCallDoesNotRun)
{
    worker.Start();
    const auto timed = worker.AddCall(NoteText("timed"), begin + 1s, 1s);
    const auto other = worker.AddCall(NoteText("other"), begin + 1s, 0ns);

    timed->Cancel();
    clock->Advance(5s);

    EXPECT_THAT(texts, ElementsAre("other"));
}

TEST_F(WorkerTest, CallEndsWithTheLastCopyOfItsHandle)
{
    worker.Start();
    auto handle = worker.AddCall(NoteTime(), begin + 1s, 1s);
    auto copy = handle;

    handle.reset();
    clock->Advance(1s);
    copy.reset();
    clock->Advance(5s);

    EXPECT_THAT(times, ElementsAre(1s));
}

TEST_F(WorkerTest, NonBlockingCallRunsThoughItsHandleIsGone)
{
    worker.NonBlockingCall(NoteText("run")).reset();

    worker.Start();
    clock->WaitUntilIdle();

    EXPECT_THAT(texts, ElementsAre("run"));
}

TEST_F(WorkerTest, NonBlockingCallCanBeCancelled)
{
    const auto handle = worker.NonBlockingCall(NoteText("run"));

    handle->Cancel();
    worker.Start();
    clock->WaitUntilIdle();

    EXPECT_THAT(texts, IsEmpty());
}

TEST_F(WorkerTest, CallMayCancelItself)
{
    std::shared_ptr<CWorkerCall> handle;
    handle = worker.AddCall(
        [&]
        {
            times.push_back(clock->Now() - begin);
            handle->Cancel();
        },
        begin,
        1s);

    worker.Start();
    clock->Advance(5s);

    EXPECT_THAT(times, ElementsAre(0s));
}

TEST_F(WorkerTest, CallMayReplaceItsOwnHandle)
{
    std::shared_ptr<CWorkerCall> handle;
    handle = worker.AddCall(
        [&]
        {
            texts.emplace_back("old");
            handle = worker.AddCall(NoteText("new"), clock->Now() + 1s, 0ns);
        },
        begin,
        1s);

    worker.Start();
    clock->Advance(5s);

    EXPECT_THAT(texts, ElementsAre("old", "new"));
}

TEST_F(WorkerTest, CallUnderWayFinishesWhenItIsCancelledAndIsNotPlannedAgain)
{
    CHeldCall held;
    int runs = 0;
    worker.Start();
    const auto handle = worker.AddCall(
        [&, function = held.Function()]
        {
            ++runs;
            function();
        },
        begin,
        1s);
    held.WaitUntilBegun();

    handle->Cancel();
    EXPECT_FALSE(held.HasEnded());
    held.LetGo();
    clock->Advance(5s);

    EXPECT_TRUE(held.HasEnded());
    EXPECT_EQ(runs, 1);
}

TEST_F(WorkerTest, CancelReleasesWhatTheCallCaptured)
{
    auto captured = std::make_shared<int>(0);
    const auto handle = worker.AddCall([captured] { ++*captured; }, begin + 1h, 0ns);
    const std::weak_ptr<int> watched = captured;
    captured.reset();
    ASSERT_FALSE(watched.expired());

    handle->Cancel();

    EXPECT_TRUE(watched.expired());
}

TEST_F(WorkerTest, SingleCallReleasesWhatItCapturedAfterItsRun)
{
    auto captured = std::make_shared<int>(0);
    const auto handle = worker.AddCall([captured] { ++*captured; }, begin, 0ns);
    const std::weak_ptr<int> watched = captured;
    captured.reset();

    worker.Start();
    clock->WaitUntilIdle();

    EXPECT_TRUE(watched.expired());
}

TEST_F(WorkerTest, CallMayOwnTheHandleOfAnother)
{
    auto inner = worker.AddCall(NoteText("inner"), begin + 1h, 0ns);
    const auto outer = worker.AddCall([inner] {}, begin + 2h, 0ns);
    inner.reset();

    outer->Cancel();
    worker.Start();
    clock->Advance(3h);

    EXPECT_THAT(texts, IsEmpty());
}

TEST(Worker, HandleMayOutliveIt)
{
    bool hasRun = false;
    auto worker = std::make_unique<CWorker>();
    worker->Start();
    const auto timed = worker->AddCall([&] { hasRun = true; }, worker->Now() + 1h, 1h);
    const auto immediate = worker->NonBlockingCall([] {});
    worker.reset();

    timed->Cancel();
    immediate->Cancel();

    EXPECT_FALSE(hasRun);
}

TEST(Worker, DestructionReleasesWhatWaitingCallsCaptured)
{
    auto captured = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = captured;
    std::shared_ptr<CWorkerCall> handle;
    {
        CWorker worker;
        handle = worker.AddCall([captured] { ++*captured; }, worker.Now() + 1h, 0ns);
        captured.reset();
    }

    EXPECT_TRUE(watched.expired());
}

TEST(Worker, DestructionWaitsForTheCallUnderWay)
{
    CHeldCall held;
    auto worker = std::make_unique<CWorker>();
    worker->Start();
    worker->NonBlockingCall(held.Function());
    held.WaitUntilBegun();

    auto destruction = std::async(std::launch::async, [&] { worker.reset(); });
    EXPECT_FALSE(IsReady(destruction, Glance));
    held.LetGo();
    destruction.get();

    EXPECT_TRUE(held.HasEnded());
}

TEST_F(WorkerTest, SyncWaitsForTheCallUnderWayAndAllThatAreDue)
{
    CHeldCall held;
    worker.Start();
    worker.NonBlockingCall(held.Function());
    held.WaitUntilBegun();
    worker.NonBlockingCall(NoteText("queued"));
    const auto due = worker.AddCall(NoteText("due"), begin, 0ns);
    const auto later = worker.AddCall(NoteText("later"), begin + 1s, 0ns);

    auto sync = std::async(std::launch::async, [this] { worker.Sync(); });
    EXPECT_FALSE(IsReady(sync, Glance));
    held.LetGo();
    sync.get();

    EXPECT_TRUE(held.HasEnded());
    EXPECT_THAT(texts, ElementsAre("queued", "due"));
}

TEST_F(WorkerTest, SyncReturnsAtOnceOnTheWorkersThread)
{
    worker.Start();
    auto inCall = std::make_shared<std::promise<void>>();
    auto reached = inCall->get_future();
    worker.NonBlockingCall(
        [this, inCall]
        {
            worker.Sync();
            inCall->set_value();
        });

    EXPECT_TRUE(IsReady(reached, Patience));
}

TEST_F(WorkerTest, SyncReturnsAtOnceWhenTheWorkerDoesNotRun)
{
    worker.NonBlockingCall(NoteText("call"));

    worker.Sync();
    EXPECT_THAT(texts, IsEmpty());
    worker.Start();
    worker.Stop();
    worker.Sync();
}

TEST_F(WorkerTest, SyncEndsWhenTheWorkerIsStopped)
{
    CHeldCall held;
    worker.Start();
    worker.NonBlockingCall(held.Function());
    held.WaitUntilBegun();
    auto sync = std::async(std::launch::async, [this] { worker.Sync(); });
    auto stop = std::async(std::launch::async, [this] { worker.Stop(); });
    EXPECT_FALSE(IsReady(sync, Glance));

    held.LetGo();

    EXPECT_TRUE(IsReady(sync, Patience));
    EXPECT_TRUE(held.HasEnded());
}

TEST_F(WorkerTest, CallThatThrowsIsLoggedAndStaysPlanned)
{
    const CCapturedLog log(Log::ELogLevel::Error);
    worker.Start();
    const auto call = worker.AddCall(
        [this]
        {
            times.push_back(clock->Now() - begin);
            throw std::runtime_error("no meter");
        },
        begin,
        1s);

    clock->Advance(1s);

    EXPECT_THAT(times, ElementsAre(0s, 1s));
    EXPECT_THAT(log.Messages(Log::ELogLevel::Error),
                ElementsAre("A call on a worker failed: no meter", "A call on a worker failed: no meter"));
}

TEST_F(WorkerTest, CallThatThrowsNoStandardExceptionIsLogged)
{
    const CCapturedLog log(Log::ELogLevel::Error);
    worker.Start();
    worker.NonBlockingCall([] { throw 7; });
    worker.NonBlockingCall(NoteText("next"));

    clock->WaitUntilIdle();

    EXPECT_THAT(texts, ElementsAre("next"));
    EXPECT_THAT(log.Messages(Log::ELogLevel::Error),
                ElementsAre("A call on a worker failed: unknown exception"));
}

TEST_F(WorkerTest, RunsFromStartToStop)
{
    EXPECT_FALSE(worker.IsRunning());
    worker.Start();
    EXPECT_TRUE(worker.IsRunning());
    worker.Stop();
    EXPECT_FALSE(worker.IsRunning());
}

TEST_F(WorkerTest, StartAndStopTwiceAreHarmless)
{
    worker.Stop();
    worker.Start();
    worker.Start();
    worker.NonBlockingCall(NoteText("call"));
    clock->WaitUntilIdle();
    worker.Stop();
    worker.Stop();

    EXPECT_THAT(texts, ElementsAre("call"));
    EXPECT_FALSE(worker.IsRunning());
}

TEST_F(WorkerTest, StopLetsTheCallUnderWayFinishAndKeepsTheOthersForTheNextStart)
{
    CHeldCall held;
    worker.Start();
    worker.NonBlockingCall(held.Function());
    held.WaitUntilBegun();
    auto stop = std::async(std::launch::async, [this] { worker.Stop(); });
    EXPECT_FALSE(IsReady(stop, Glance));
    worker.NonBlockingCall(NoteText("kept"));
    held.LetGo();
    stop.get();
    EXPECT_TRUE(held.HasEnded());
    EXPECT_THAT(texts, IsEmpty());

    worker.Start();
    clock->WaitUntilIdle();

    EXPECT_THAT(texts, ElementsAre("kept"));
}

TEST_F(WorkerTest, StopOnItsOwnThreadIsRefused)
{
    worker.Start();
    bool isRefused = false;
    worker.NonBlockingCall(
        [&]
        {
            worker.Start();
            try
            {
                worker.Stop();
            }
            catch (const std::logic_error&)
            {
                isRefused = true;
            }
        });
    clock->WaitUntilIdle();

    EXPECT_TRUE(isRefused);
    EXPECT_TRUE(worker.IsRunning());
}

TEST_F(WorkerTest, IsWokenOnlyForWorkThatIsDue)
{
    worker.Start();
    const auto first = worker.AddCall([] {}, begin + 1h, 1h);
    clock->WaitUntilIdle();
    const int before = clock->WakeUps();

    const auto later = worker.AddCall([] {}, begin + 90min, 0ns);
    clock->Jump(59min);
    clock->WaitUntilIdle();
    EXPECT_EQ(clock->WakeUps(), before);

    clock->Advance(61min);
    EXPECT_EQ(clock->WakeUps(), before + 3);
}

TEST(Worker, ShowsTheNameOfItsThread)
{
    std::array<char, 16> name{};
    CWorker worker("schedule-executor");
    worker.Start();

    worker.NonBlockingCall([&] { pthread_getname_np(pthread_self(), name.data(), name.size()); });
    worker.Sync();

    EXPECT_STREQ(name.data(), "schedule-execut");
}

TEST(Worker, KeepsTheHostsTime)
{
    CWorker worker;
    worker.Start();
    std::promise<steady_clock::time_point> run;
    const auto first = steady_clock::now() + Glance;

    const auto call = worker.AddCall([&] { run.set_value(steady_clock::now()); }, first, 0ns);

    EXPECT_GE(run.get_future().get(), first);
}

TEST(Worker, ImmediateCallDoesNotWaitForATimedOne)
{
    CWorker worker;
    worker.Start();
    const auto timed = worker.AddCall([] {}, worker.Now() + 1h, 0ns);
    std::promise<void> run;
    auto hasRun = run.get_future();

    worker.NonBlockingCall([&] { run.set_value(); });

    EXPECT_TRUE(IsReady(hasRun, Patience));
}

TEST(Worker, IsUsedFromManyThreadsAtOnce)
{
    constexpr int threadCount = 4;
    constexpr int rounds = 500;
    std::atomic<int> runs{0};
    CWorker worker;
    worker.Start();
    std::vector<std::thread> threads;
    for (int number = 0; number < threadCount; ++number)
    {
        threads.emplace_back(
            [&]
            {
                for (int round = 0; round < rounds; ++round)
                {
                    worker.NonBlockingCall([&] { ++runs; });
                    const auto timed = worker.AddCall([] {}, worker.Now(), 1ms);
                    if (round % 50 == 0)
                    {
                        worker.Sync();
                    }
                    timed->Cancel();
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    worker.Sync();

    EXPECT_EQ(runs, threadCount * rounds);
}

TEST(Worker, StartStopAndSyncMeetOnManyThreads)
{
    constexpr int rounds = 200;
    CWorker worker;
    std::atomic<int> runs{0};
    std::thread starter(
        [&]
        {
            for (int round = 0; round < rounds; ++round)
            {
                worker.Start();
                worker.Stop();
            }
        });
    std::thread stopper(
        [&]
        {
            for (int round = 0; round < rounds; ++round)
            {
                worker.Stop();
            }
        });
    for (int round = 0; round < rounds; ++round)
    {
        worker.NonBlockingCall([&] { ++runs; });
        worker.Sync();
    }
    starter.join();
    stopper.join();
    worker.Start();
    worker.Sync();

    EXPECT_EQ(runs, rounds);
}

TEST(Worker, MayBeTheVirtualBaseOfAClass)
{
    class CTicker : public virtual CWorker
    {
    public:
        CTicker() { Start(); }
        ~CTicker() override { Stop(); }
        CTicker(const CTicker&) = delete;
        CTicker& operator=(const CTicker&) = delete;
        CTicker(CTicker&&) = delete;
        CTicker& operator=(CTicker&&) = delete;
    };

    bool hasRun = false;
    CTicker ticker;
    ticker.NonBlockingCall([&] { hasRun = true; });
    ticker.Sync();

    EXPECT_TRUE(hasRun);
}
