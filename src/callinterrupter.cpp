#include "src/callinterrupter.h"

#include "platform/worker/heldsignals.h"

#include <utility>

CCallInterrupter::CCallInterrupter(GrpcBackend& transport,
                                   std::chrono::milliseconds grace,
                                   std::function<void()> endWaits)
    : transport(transport)
    , endWaits(std::move(endWaits))
{
    const CHeldSignals held;
    thread = std::thread([this, grace] { InterruptAfter(grace); });
}

CCallInterrupter::~CCallInterrupter()
{
    {
        const std::lock_guard lock(mutex);
        over = true;
    }
    changed.notify_one();
    thread.join();
    transport.ResumeCalls();
}

void CCallInterrupter::InterruptAfter(std::chrono::milliseconds grace)
{
    std::unique_lock lock(mutex);
    if (!changed.wait_for(lock, grace, [this] { return over; }))
    {
        lock.unlock();
        transport.InterruptCalls();
        endWaits();
    }
}
