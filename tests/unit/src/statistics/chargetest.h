#pragma once

#include "src/services/sessionmanagernotificationproxy.h"

#include "platform/toolbox/systemclock.h"
#include "platform/worker/worker.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/mockservices.h"
#include "tests/support/manualclock.h"

/// How long a test watches for what must not happen.
constexpr std::chrono::milliseconds Watch{100};

/// A station's time of day and its worker's clock, which go together and stand still until the test moves
/// them. What Source hands out may outlive it. Threads: any.
class CStationTime
{
public:
    using Time = std::chrono::system_clock::time_point;

    /// @param look  what goes by while somebody looks at the time of day
    explicit CStationTime(Time start, std::chrono::nanoseconds look = {});

    Time Now() const { return state->Now(); }
    Toolbox::SystemClock Source() const;
    std::shared_ptr<CManualClock> WorkerClock() const { return state->clock; }

    /// As CManualClock's: the worker runs what becomes due on the way.
    void Advance(std::chrono::nanoseconds duration) { state->clock->Advance(duration); }
    void AdvanceTo(Time time) { Advance(time - Now()); }

    /// The time of day is set, which the worker's clock knows nothing of.
    void Set(Time time);

private:
    struct SState
    {
        Time Now() const;

        const std::shared_ptr<CManualClock> clock;
        const std::chrono::steady_clock::time_point begin;
        const std::chrono::nanoseconds look;
        std::atomic<Time> start;
    };

    const std::shared_ptr<SState> state;
};

/// A meter that answers what the test has set. Threads: any, while the test leaves it as it is; SetTotal also
/// then.
class CCommandedMeter final : public CMockMeter
{
public:
    /// No gmock here: its lock would hide from the thread sanitizer what the code under test lacks.
    ipc::MMeterData GetMeterData() override;

    void SetPower(const std::vector<std::int32_t>& values);
    void SetTotal(std::int64_t value) { total.store(value, std::memory_order_relaxed); }

    /// Lets every reading fail as an absent service does.
    void Fail();

    int Readings() const { return readings.load(std::memory_order_relaxed); }

    /// Runs at each reading, before the answer.
    std::function<void()> onReading = [] {};

private:
    ipc::MMeterData data;
    std::atomic<std::int64_t> total{0};
    std::atomic<int> readings{0};
};

/// A call of the meter that hangs until the test lets it go on.
class CHungMeter
{
public:
    /// From now on, readings of @p meter hang.
    explicit CHungMeter(CCommandedMeter& meter);
    ~CHungMeter() { GoOn(); }
    CHungMeter(const CHungMeter&) = delete;
    CHungMeter& operator=(const CHungMeter&) = delete;
    CHungMeter(CHungMeter&&) = delete;
    CHungMeter& operator=(CHungMeter&&) = delete;

    /// Waits until a reading hangs. @return false if none does in time
    bool Await();
    void GoOn();

private:
    struct SState
    {
        std::promise<void> hanging;
        std::promise<void> goOn;
        std::shared_future<void> gone = goOn.get_future().share();
        std::atomic<bool> hasHung{false};
        std::atomic<bool> hasGoneOn{false};
    };

    const std::shared_ptr<SState> state = std::make_shared<SState>();
    std::future<void> hanging = state->hanging.get_future();
};

/// What the statistics stand between: a meter, the session manager's notifications, and a worker that runs.
class ChargeTest : public testing::Test
{
protected:
    using Time = CStationTime::Time;

    static constexpr int Charging = 11;
    static constexpr int Finishing = 9;

    explicit ChargeTest(Time start, std::chrono::nanoseconds look = {});
    ~ChargeTest() override;

    /// Delivers a state, as the notification thread does; what the listeners throw comes out.
    void Notify(int state) const;

    const std::shared_ptr<CCommandedMeter> meter = std::make_shared<CCommandedMeter>();
    const std::shared_ptr<CMockSessionManager> sessionManager = std::make_shared<CMockSessionManager>();
    const std::shared_ptr<CSessionManagerNotificationProxy> notifications =
        std::make_shared<CSessionManagerNotificationProxy>(sessionManager);
    CStationTime time;
    const std::shared_ptr<CWorker> worker;
};
