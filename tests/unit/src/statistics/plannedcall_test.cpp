#include "src/statistics/plannedcall.h"

#include <atomic>
#include <future>
#include <memory>

#include <gtest/gtest.h>

#include "tests/support/eventually.h"
#include "tests/unit/src/statistics/chargetest.h"

using namespace std::chrono_literals;

namespace
{

class PlannedCall : public testing::Test
{
protected:
    PlannedCall() { worker->Start(); }
    ~PlannedCall() override { worker->Stop(); }

    const std::shared_ptr<CManualClock> clock = std::make_shared<CManualClock>();
    const std::shared_ptr<CWorker> worker = std::make_shared<CWorker>(clock);
    std::atomic<int> runs{0};
};

} // namespace

TEST_F(PlannedCall, RunsAfterTheDelayAndThenEachPeriod)
{
    CPlannedCall call(worker);
    EXPECT_FALSE(call.IsPlanned());
    call.Plan([this] { ++runs; }, 10s, 30s);
    EXPECT_TRUE(call.IsPlanned());

    clock->Advance(10s - 1ns);
    EXPECT_EQ(runs, 0);
    clock->Advance(1ns);
    EXPECT_EQ(runs, 1);
    clock->Advance(60s);
    EXPECT_EQ(runs, 3);
}

TEST_F(PlannedCall, TakesThePlaceOfTheOneBefore)
{
    std::atomic<int> earlier{0};
    CPlannedCall call(worker);
    call.Plan([&earlier] { ++earlier; }, 10s, 10s);
    call.Plan([this] { ++runs; }, 10s, 0s);

    clock->Advance(60s);

    EXPECT_EQ(earlier, 0);
    EXPECT_EQ(runs, 1);
    EXPECT_TRUE(call.IsPlanned()) << "a single call counts also after its run";
}

TEST_F(PlannedCall, DoesNotRunOnceCancelled)
{
    CPlannedCall call(worker);
    call.Cancel();
    call.Plan([this] { ++runs; }, 10s, 10s);
    call.Cancel();

    clock->Advance(60s);

    EXPECT_EQ(runs, 0);
    EXPECT_FALSE(call.IsPlanned());
}

TEST_F(PlannedCall, OutlivesTheCancellationOfAnEarlierOne)
{
    CPlannedCall call(worker);
    call.Plan([this] { ++runs; }, 10s, 10s);
    const std::uint64_t earlier = call.PlanNumber();
    call.Plan([this] { ++runs; }, 10s, 10s);

    call.Cancel(earlier);
    clock->Advance(10s);
    EXPECT_EQ(runs, 1);

    call.Cancel(call.PlanNumber());
    clock->Advance(60s);
    EXPECT_EQ(runs, 1);
}

TEST_F(PlannedCall, MayPlanItsOwnSuccessor)
{
    CPlannedCall call(worker);
    const std::function<void()> again = [this, &call, &again]
    {
        if (++runs < 3)
        {
            call.Plan(again, 10s, 0s);
        }
    };
    call.Plan(again, 0s, 0s);

    clock->Advance(60s);

    EXPECT_EQ(runs, 3);
    call.End();
}

TEST_F(PlannedCall, EndWaitsForTheRunUnderWayAndItsSuccessorNeverRuns)
{
    std::promise<void> begun;
    std::promise<void> goOn;
    CPlannedCall call(worker);
    call.Plan(
        [&]
        {
            begun.set_value();
            goOn.get_future().wait();
            call.Plan([this] { ++runs; }, 0s, 0s);
        },
        0s,
        0s);
    begun.get_future().wait();

    auto end = std::async(std::launch::async, [&call] { call.End(); });

    EXPECT_EQ(end.wait_for(Watch), std::future_status::timeout);
    // the end has begun: what the run plans now comes too late
    while (call.IsPlanned())
    {
        std::this_thread::yield();
    }
    goOn.set_value();
    end.get();
    clock->Advance(60s);
    EXPECT_EQ(runs, 0);
    EXPECT_FALSE(call.IsPlanned());
}

TEST_F(PlannedCall, PlansNothingAfterTheEnd)
{
    CPlannedCall call(worker);
    call.End();

    call.Plan([this] { ++runs; }, 0s, 10s);

    EXPECT_FALSE(call.IsPlanned());
    clock->Advance(60s);
    EXPECT_EQ(runs, 0);
}

TEST_F(PlannedCall, EndDoesNotWaitForAWorkerThatDoesNotRun)
{
    CPlannedCall call(worker);
    call.Plan([this] { ++runs; }, 0s, 0s);
    worker->Stop();

    call.End();

    EXPECT_FALSE(call.IsPlanned());
}
