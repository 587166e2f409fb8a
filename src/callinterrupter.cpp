#include "src/callinterrupter.h"

#include "platform/log/log.h"
#include "platform/worker/heldsignals.h"

#include <utility>

CCallInterrupter::CCallInterrupter(GrpcBackend& transport,
                                   std::chrono::milliseconds grace,
                                   std::function<void()> endWaits,
                                   std::function<void()> resumeWaits)
    : transport(transport)
    , endWaits(std::move(endWaits))
    , resumeWaits(std::move(resumeWaits))
{
    LOG_ENTRY(CCallInterrupter, "CCallInterrupter");
    const CHeldSignals held;
    thread = std::thread([this, grace] { InterruptAfter(grace); });
}

CCallInterrupter::~CCallInterrupter()
{
    LOG_ENTRY(CCallInterrupter, "~CCallInterrupter");
    {
        const std::lock_guard lock(mutex);
        over = true;
    }
    changed.notify_one();
    thread.join();
    transport.ResumeCalls();
    resumeWaits();
}

void CCallInterrupter::InterruptAfter(std::chrono::milliseconds grace)
{
    LOG_ENTRY(CCallInterrupter, "InterruptAfter");
    std::unique_lock lock(mutex);
    if (!changed.wait_for(lock, grace, [this] { return over; }))
    {
        lock.unlock();
        // first the waits: whoever sees a call fail over this is to know of it
        endWaits();
        transport.InterruptCalls();
    }
}
