#pragma once

#include "platform/worker/worker.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

/// The one call that its owner has planned on a worker.
/// Threads: any; End not on the worker's own.
class CPlannedCall
{
public:
    explicit CPlannedCall(std::shared_ptr<CWorker> worker);

    /// Plans a call in place of the one before, unless it has come to an end.
    /// @param delay   from now to the first run
    /// @param period  zero for a single run
    void Plan(const std::function<void()>& function,
              std::chrono::nanoseconds delay,
              std::chrono::nanoseconds period);

    /// Cancels the call, if there is one. A run under way finishes, and isn't waited for.
    void Cancel();

    /// The same, unless another call than the given one has been planned.
    void Cancel(std::uint64_t cancelledNumber);

    /// Which plan stands: counts on with each.
    std::uint64_t PlanNumber() const;

    /// Whether there is a call that was not cancelled. A single one counts also after its run.
    bool IsPlanned() const;

    /// Cancels the call, waits for a run under way, and from now on plans nothing.
    void End();

private:
    // Constant after construction
    const std::shared_ptr<CWorker> worker;

    // held while the worker is given a call, so that none comes behind the end
    mutable std::mutex mutex;

    // Guarded by mutex
    std::shared_ptr<CWorkerCall> call;
    std::uint64_t planNumber = 0;
    bool hasEnded = false;
};
