#pragma once

#include "platform/worker/workerclock.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>

/// The clock of one worker under test: time stands still until the test moves it. Begins at the host's time.
/// Threads: the worker's and the test's.
class CManualClock : public IWorkerClock
{
public:
    CManualClock();

    std::chrono::steady_clock::time_point Now() const override;
    void SleepUntil(std::optional<std::chrono::steady_clock::time_point> time) override;
    void Wake() override;

    /// Moves the time on from one due call to the next, and returns when the worker has run all that became
    /// due and sleeps. The worker runs.
    /// @throws std::runtime_error if the worker doesn't come to rest
    void Advance(std::chrono::nanoseconds duration);

    /// Moves the time in one go, over any number of points, and waits for nothing.
    void Jump(std::chrono::nanoseconds duration);

    /// Waits until the worker sleeps and nothing is due. The worker runs.
    /// @throws std::runtime_error if the worker doesn't come to rest
    void WaitUntilIdle();

    /// How often the worker was woken from its sleep so far.
    int WakeUps() const;

private:
    void WaitUntilIdle(std::unique_lock<std::mutex>& lock);
    bool IsSleepOver() const;

    mutable std::mutex mutex;
    std::condition_variable changed;

    // Guarded by mutex
    std::chrono::steady_clock::time_point now;
    std::optional<std::chrono::steady_clock::time_point> sleepEnd;
    bool isAsleep = false;
    bool isWoken = false;
    int wakeUps = 0;
};
