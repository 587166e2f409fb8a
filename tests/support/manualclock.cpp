#include "tests/support/manualclock.h"

#include <stdexcept>

namespace
{

/// Real time within which a worker comes to rest, generous for a loaded machine.
constexpr std::chrono::seconds RestLimit{30};

} // namespace

CManualClock::CManualClock()
    : now(std::chrono::steady_clock::now())
{
}

std::chrono::steady_clock::time_point CManualClock::Now() const
{
    const std::lock_guard lock(mutex);
    return now;
}

void CManualClock::SleepUntil(std::optional<std::chrono::steady_clock::time_point> time)
{
    std::unique_lock lock(mutex);
    sleepEnd = time;
    if (!IsSleepOver())
    {
        isAsleep = true;
        changed.notify_all();
        changed.wait(lock, [this] { return IsSleepOver(); });
        isAsleep = false;
        ++wakeUps;
    }
    isWoken = false;
}

void CManualClock::Wake()
{
    const std::lock_guard lock(mutex);
    isWoken = true;
    changed.notify_all();
}

void CManualClock::Advance(std::chrono::nanoseconds duration)
{
    std::unique_lock lock(mutex);
    const auto end = now + duration;
    WaitUntilIdle(lock);
    while (sleepEnd && *sleepEnd <= end)
    {
        now = *sleepEnd;
        changed.notify_all();
        WaitUntilIdle(lock);
    }
    now = end;
}

void CManualClock::Jump(std::chrono::nanoseconds duration)
{
    const std::lock_guard lock(mutex);
    now += duration;
    changed.notify_all();
}

void CManualClock::WaitUntilIdle()
{
    std::unique_lock lock(mutex);
    WaitUntilIdle(lock);
}

int CManualClock::WakeUps() const
{
    const std::lock_guard lock(mutex);
    return wakeUps;
}

void CManualClock::WaitUntilIdle(std::unique_lock<std::mutex>& lock)
{
    if (!changed.wait_for(lock, RestLimit, [this] { return isAsleep && !IsSleepOver(); }))
    {
        throw std::runtime_error("the worker doesn't come to rest");
    }
}

bool CManualClock::IsSleepOver() const
{
    return isWoken || (sleepEnd && *sleepEnd <= now);
}
