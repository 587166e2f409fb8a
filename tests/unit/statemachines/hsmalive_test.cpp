#include "statemachines/hsmalive.h"
#include "statemachines/webbackendhsm.h"

#include "platform/log/log.h"
#include "platform/worker/worker.h"

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fakehsmevent.h"
#include "tests/support/capturedlog.h"
#include "tests/support/manualclock.h"

namespace
{

using namespace std::chrono_literals;
using testing::IsEmpty;

class CAliveActions : public CHsmAlive<CWebbackendHsmActionHandlerBase>
{
public:
    explicit CAliveActions(std::shared_ptr<IWorkerClock> clock)
        : CWorker(std::move(clock))
    {
        CWorker::Start();
    }

    void IntStartComponents() override {}
    void IntStartServers() override {}
    void IntStopComponents() override {}
    void IntStopServers() override {}
};

class HsmAlive : public testing::Test
{
protected:
    HsmAlive()
    {
        actions->ExtSendAlive = [this] { ++signals; };
    }

    CCapturedLog log{Log::ELogLevel::Warn};
    std::atomic<int> signals{0};
    std::shared_ptr<CManualClock> clock = std::make_shared<CManualClock>();
    std::shared_ptr<CAliveActions> actions = std::make_shared<CAliveActions>(clock);
};

} // namespace

TEST_F(HsmAlive, SignalsAtOnceAndThenEveryFourSeconds)
{
    actions->IntStartAliveTimer();
    clock->WaitUntilIdle();
    EXPECT_EQ(signals, 1);
    clock->Advance(4s - 1ns);
    EXPECT_EQ(signals, 1);
    clock->Advance(1ns);
    EXPECT_EQ(signals, 2);
    clock->Advance(4s - 1ns);
    EXPECT_EQ(signals, 2);
    clock->Advance(1ns);
    EXPECT_EQ(signals, 3);
    clock->Advance(40s);
    EXPECT_EQ(signals, 13);
}

TEST_F(HsmAlive, SignalsNoMoreAfterTheTimerIsStopped)
{
    actions->IntStartAliveTimer();
    clock->Advance(4s);
    actions->IntStopAliveTimer();
    clock->Advance(20s);

    EXPECT_EQ(signals, 2);
}

TEST_F(HsmAlive, StartsAgainAfterAStop)
{
    actions->IntStartAliveTimer();
    clock->Advance(4s);
    actions->IntStopAliveTimer();
    clock->Advance(3s);
    actions->IntStartAliveTimer();
    clock->WaitUntilIdle();
    EXPECT_EQ(signals, 3);
    clock->Advance(4s);
    EXPECT_EQ(signals, 4);
}

TEST_F(HsmAlive, StopWithoutStartIsHarmless)
{
    actions->IntStopAliveTimer();
    clock->Advance(8s);

    EXPECT_EQ(signals, 0);
}

TEST_F(HsmAlive, StopReturnsWhenTheSignalUnderWayHasEnded)
{
    std::promise<void> entered;
    std::atomic<bool> stopBegun{false};
    std::atomic<bool> ended{false};
    actions->ExtSendAlive = [&]
    {
        entered.set_value();
        // long enough for a stop that doesn't wait to be seen
        for (int round = 0; round < 10000 || !stopBegun; ++round)
        {
            std::this_thread::yield();
        }
        ended = true;
    };
    actions->IntStartAliveTimer();
    entered.get_future().wait();
    stopBegun = true;
    actions->IntStopAliveTimer();
    const bool hasEndedAtReturn = ended;
    // the signal uses what stands here
    actions.reset();

    EXPECT_TRUE(hasEndedAtReturn);
}

TEST_F(HsmAlive, EmptyFunctionIsSkippedWithoutAnError)
{
    actions->ExtSendAlive = nullptr;
    actions->IntStartAliveTimer();
    clock->Advance(8s);

    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(HsmAlive, DestructionWaitsForTheSignalUnderWayBeforeItsFunctionGoes)
{
    // part of the function, and so gone with it
    const auto held = std::make_shared<int>(1);
    std::promise<void> entered;
    std::atomic<bool> destructionBegun{false};
    std::atomic<long> owners{0};
    actions->ExtSendAlive = [&, held]
    {
        entered.set_value();
        // long enough for a destruction that doesn't wait to be seen
        for (int round = 0; round < 10000 || !destructionBegun; ++round)
        {
            std::this_thread::yield();
        }
        owners = held.use_count();
    };
    actions->IntStartAliveTimer();
    entered.get_future().wait();
    destructionBegun = true;
    actions.reset();

    EXPECT_EQ(owners, 2);
}

TEST_F(HsmAlive, SignalsInEnabledOnly)
{
    const auto hsm = std::make_shared<CWebbackendHsm>(actions);
    std::thread machine([hsm] { hsm->Run(); });
    // Each mark is answered when all before it is done; the second stands behind what the event made the
    // machine post to itself.
    const auto handle = [&hsm](std::shared_ptr<IHsmEvent> event)
    {
        hsm->PostEvent(std::move(event));
        for (int mark = 0; mark < 2; ++mark)
        {
            std::promise<void> reached;
            hsm->PostEvent(
                std::make_shared<CFakeHsmEvent>("Mark", [&reached](bool) { reached.set_value(); }));
            reached.get_future().wait();
        }
    };
    using namespace WebbackendHsm;

    clock->Advance(8s);
    EXPECT_EQ(signals, 0) << "Uninitialized";
    handle(std::make_shared<ExtDisableReq>());
    clock->Advance(8s);
    EXPECT_EQ(signals, 0) << "Disabled";
    handle(std::make_shared<ExtEnableReq>());
    clock->Advance(8s);
    EXPECT_EQ(signals, 3) << "Enabled";
    handle(std::make_shared<ExtEnableReq>());
    clock->Advance(8s);
    EXPECT_EQ(signals, 5) << "a second enable doesn't begin anew";
    handle(std::make_shared<ExtDisableReq>());
    clock->Advance(8s);
    EXPECT_EQ(signals, 5) << "Disabled again";
    handle(std::make_shared<ExtEnableReq>());
    clock->Advance(4s);
    EXPECT_EQ(signals, 7) << "Enabled again";

    hsm->PostEvent(std::make_shared<IntTerminate>());
    machine.join();
    clock->Advance(8s);
    EXPECT_EQ(signals, 7) << "ended";
}
