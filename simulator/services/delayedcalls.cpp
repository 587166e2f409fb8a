#include "simulator/services/delayedcalls.h"

#include <utility>

namespace Simulator
{

CDelayedCalls::CDelayedCalls(std::shared_ptr<CWorker> worker)
    : worker(std::move(worker))
{
}

void CDelayedCalls::Add(std::chrono::milliseconds delay, const std::function<void()>& function)
{
    // under the lock, so that a call that is due at once finds its entry
    const std::lock_guard lock(mutex);
    const std::uint64_t number = ++lastNumber;
    pending[number] = worker->AddCall(
        [weak = weak_from_this(), number, function]
        {
            if (const auto self = weak.lock())
            {
                self->Run(number, function);
            }
        },
        worker->Now() + delay,
        std::chrono::nanoseconds(0));
}

void CDelayedCalls::Run(std::uint64_t number, const std::function<void()>& function)
{
    {
        const std::lock_guard lock(mutex);
        pending.erase(number);
    }
    function();
}

} // namespace Simulator
