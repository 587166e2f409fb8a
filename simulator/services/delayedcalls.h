#pragma once

#include "platform/worker/worker.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

namespace Simulator
{

/// Calls that run once after a while, on the thread of a worker.
/// Threads: any.
class CDelayedCalls : public std::enable_shared_from_this<CDelayedCalls>
{
public:
    explicit CDelayedCalls(std::shared_ptr<CWorker> worker);

    /// Dropped if this object is gone by then.
    void Add(std::chrono::milliseconds delay, const std::function<void()>& function);

private:
    void Run(std::uint64_t number, const std::function<void()>& function);

    // Constant after construction
    const std::shared_ptr<CWorker> worker;

    std::mutex mutex;

    // Guarded by mutex
    std::map<std::uint64_t, std::shared_ptr<CWorkerCall>> pending;
    std::uint64_t lastNumber = 0;
};

} // namespace Simulator
