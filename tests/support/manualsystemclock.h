#pragma once

#include "platform/toolbox/systemclock.h"

#include <atomic>
#include <chrono>
#include <memory>

/// A time of day that stands still until the test moves it. What it hands out may outlive it.
/// Threads: any. It puts no order between them, which would hide from the thread sanitizer what the code
/// under test lacks.
class CManualSystemClock
{
public:
    using Time = std::chrono::system_clock::time_point;

    explicit CManualSystemClock(Time time)
        : now(std::make_shared<std::atomic<Time>>(time))
    {
    }

    Time Now() const { return now->load(std::memory_order_relaxed); }
    void Set(Time time) { now->store(time, std::memory_order_relaxed); }
    void Advance(std::chrono::nanoseconds duration) { Set(Now() + duration); }

    Toolbox::SystemClock Source() const
    {
        return [now = now] { return now->load(std::memory_order_relaxed); };
    }

private:
    const std::shared_ptr<std::atomic<Time>> now;
};
