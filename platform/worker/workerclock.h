#pragma once

#include <chrono>
#include <memory>
#include <optional>

/// The time by which one worker's calls become due, and its sleep in between. Belongs to a single worker.
/// Threads: Now and Wake from any, SleepUntil from the worker's own.
class IWorkerClock
{
public:
    IWorkerClock() = default;
    IWorkerClock(const IWorkerClock&) = delete;
    IWorkerClock& operator=(const IWorkerClock&) = delete;
    IWorkerClock(IWorkerClock&&) = delete;
    IWorkerClock& operator=(IWorkerClock&&) = delete;
    virtual ~IWorkerClock() = default;

    virtual std::chrono::steady_clock::time_point Now() const = 0;

    /// Returns when the time is reached or Wake is called, whichever is first; without a time on Wake only.
    virtual void SleepUntil(std::optional<std::chrono::steady_clock::time_point> time) = 0;

    /// Ends the sleep; one that has not begun yet then ends at once.
    virtual void Wake() = 0;
};

/// The host's monotonic clock.
std::shared_ptr<IWorkerClock> CreateSteadyWorkerClock();
