#include "simulator/services/delayedcalls.h"

#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/manualclock.h"

using Simulator::CDelayedCalls;
using namespace std::chrono_literals;

namespace
{

class DelayedCalls : public testing::Test
{
protected:
    DelayedCalls() { worker->Start(); }
    ~DelayedCalls() override { worker->Stop(); }

    void Add(std::chrono::milliseconds delay, int value)
    {
        calls->Add(delay, [this, value] { run.push_back(value); });
    }

    /// filled on the worker's thread while the clock advances, read after that
    std::vector<int> run;
    std::shared_ptr<CManualClock> clock = std::make_shared<CManualClock>();
    std::shared_ptr<CWorker> worker = std::make_shared<CWorker>(clock);
    std::shared_ptr<CDelayedCalls> calls = std::make_shared<CDelayedCalls>(worker);
};

} // namespace

TEST_F(DelayedCalls, RunOnceEachAfterItsDelay)
{
    Add(2s, 2);
    Add(1s, 1);
    clock->Advance(999ms);
    EXPECT_TRUE(run.empty());
    clock->Advance(1ms);
    EXPECT_EQ(run, std::vector<int>{1});
    clock->Advance(10s);
    EXPECT_EQ(run, (std::vector<int>{1, 2}));
}

TEST_F(DelayedCalls, AreDroppedWithTheirOwner)
{
    Add(1s, 1);
    calls.reset();
    clock->Advance(2s);
    EXPECT_TRUE(run.empty());
}
