#include "src/statistics/plannedcall.h"

#include <utility>

CPlannedCall::CPlannedCall(std::shared_ptr<CWorker> worker)
    : worker(std::move(worker))
{
}

void CPlannedCall::Plan(const std::function<void()>& function,
                        std::chrono::nanoseconds delay,
                        std::chrono::nanoseconds period)
{
    std::shared_ptr<CWorkerCall> earlier;
    const std::lock_guard lock(mutex);
    if (!hasEnded)
    {
        earlier = std::exchange(call, worker->AddCall(function, worker->Now() + delay, period));
        ++planNumber;
    }
}

void CPlannedCall::Cancel()
{
    std::shared_ptr<CWorkerCall> cancelled;
    const std::lock_guard lock(mutex);
    cancelled.swap(call);
}

void CPlannedCall::Cancel(std::uint64_t cancelledNumber)
{
    std::shared_ptr<CWorkerCall> cancelled;
    const std::lock_guard lock(mutex);
    if (planNumber == cancelledNumber)
    {
        cancelled.swap(call);
    }
}

std::uint64_t CPlannedCall::PlanNumber() const
{
    const std::lock_guard lock(mutex);
    return planNumber;
}

bool CPlannedCall::IsPlanned() const
{
    const std::lock_guard lock(mutex);
    return call != nullptr;
}

void CPlannedCall::End()
{
    {
        const std::lock_guard lock(mutex);
        hasEnded = true;
    }
    Cancel();
    worker->Sync();
}
