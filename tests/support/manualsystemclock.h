#pragma once

#include "platform/toolbox/systemclock.h"

#include <atomic>
#include <chrono>
#include <memory>

/// A time of day that stands still until the test moves it. What it hands out may outlive it.
/// Threads: any.
class CManualSystemClock
{
public:
    using Time = std::chrono::system_clock::time_point;

    explicit CManualSystemClock(Time time)
        : now(std::make_shared<std::atomic<Time>>(time))
    {
    }

    Time Now() const { return now->load(); }
    void Set(Time time) { now->store(time); }
    void Advance(std::chrono::nanoseconds duration) { Set(Now() + duration); }

    Toolbox::SystemClock Source() const
    {
        return [now = now] { return now->load(); };
    }

private:
    const std::shared_ptr<std::atomic<Time>> now;
};
