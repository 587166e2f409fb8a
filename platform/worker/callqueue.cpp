#include "platform/worker/callqueue.h"

#include "platform/log/log.h"

#include <algorithm>
#include <exception>
#include <utility>

using std::chrono::nanoseconds;
using std::chrono::steady_clock;

struct CCallQueue::SCall
{
    // Constant after construction
    const std::function<void()> function;
    const nanoseconds period;

    // Guarded by the queue's mutex
    steady_clock::time_point due;
    bool isCancelled = false;
};

namespace
{

/// The first point of the grid through @p due that is later than due and not missed yet.
steady_clock::time_point
NextPoint(steady_clock::time_point due, nanoseconds period, steady_clock::time_point now)
{
    const auto periods = (now - due + period - nanoseconds(1)) / period;
    return due + std::max<decltype(periods)>(periods, 1) * period;
}

} // namespace

CCallQueue::CCallQueue(std::shared_ptr<IWorkerClock> clock)
    : clock(std::move(clock))
{
}

CCallQueue::~CCallQueue() = default;

std::shared_ptr<CCallQueue::SCall>
CCallQueue::Add(const std::function<void()>& function, steady_clock::time_point first, nanoseconds period)
{
    auto call = std::make_shared<SCall>(SCall{function, period, first});
    const std::lock_guard lock(mutex);
    return Insert(std::move(call));
}

std::shared_ptr<CCallQueue::SCall> CCallQueue::AddNow(const std::function<void()>& function)
{
    auto call = std::make_shared<SCall>(SCall{function, nanoseconds(0), {}});
    // the time is taken under the lock, so that calls of several threads run in the order in which they came
    const std::lock_guard lock(mutex);
    call->due = clock->Now();
    return Insert(std::move(call));
}

std::shared_ptr<CCallQueue::SCall> CCallQueue::Insert(std::shared_ptr<SCall> call)
{
    const auto position = calls.emplace(call->due, call);
    if (position == calls.begin())
    {
        clock->Wake();
    }
    return call;
}

void CCallQueue::Cancel(SCall& call)
{
    std::shared_ptr<SCall> removed;
    const std::lock_guard lock(mutex);
    call.isCancelled = true;
    const auto [first, last] = calls.equal_range(call.due);
    const auto position =
        std::find_if(first, last, [&call](const auto& entry) { return entry.second.get() == &call; });
    if (position != last)
    {
        removed = std::move(position->second);
        calls.erase(position);
    }
}

void CCallQueue::Open()
{
    const std::lock_guard lock(mutex);
    isOpen = true;
    isEndRequested = false;
}

void CCallQueue::Close()
{
    {
        const std::lock_guard lock(mutex);
        isOpen = false;
        loopThread = {};
    }
    progress.notify_all();
}

bool CCallQueue::IsOpen() const
{
    const std::lock_guard lock(mutex);
    return isOpen;
}

void CCallQueue::Run()
{
    {
        const std::lock_guard lock(mutex);
        loopThread = std::this_thread::get_id();
    }
    while (!IsEndRequested())
    {
        if (const std::shared_ptr<SCall> call = TakeDue())
        {
            Execute(*call);
            Replan(call);
        }
        else
        {
            // whatever came in since TakeDue has woken the clock, and the sleep ends at once
            clock->SleepUntil(NextDue());
        }
    }
    Close();
}

void CCallQueue::RequestEnd()
{
    {
        const std::lock_guard lock(mutex);
        isEndRequested = true;
    }
    clock->Wake();
}

bool CCallQueue::IsEndRequested() const
{
    const std::lock_guard lock(mutex);
    return isEndRequested;
}

bool CCallQueue::IsOnLoopThread() const
{
    const std::lock_guard lock(mutex);
    return loopThread == std::this_thread::get_id();
}

std::shared_ptr<CCallQueue::SCall> CCallQueue::TakeDue()
{
    const std::lock_guard lock(mutex);
    if (calls.empty() || calls.begin()->first > clock->Now())
    {
        return nullptr;
    }
    return calls.extract(calls.begin()).mapped();
}

void CCallQueue::Execute(const SCall& call)
{
    try
    {
        call.function();
    }
    catch (const std::exception& error)
    {
        LOG_ERROR("A call on a worker failed: {}", error.what());
    }
    catch (...)
    {
        LOG_ERROR("A call on a worker failed: {}", "unknown exception");
    }
}

void CCallQueue::Replan(const std::shared_ptr<SCall>& call)
{
    const std::lock_guard lock(mutex);
    if (call->isCancelled || call->period == nanoseconds(0))
    {
        return;
    }
    call->due = NextPoint(call->due, call->period, clock->Now());
    calls.emplace(call->due, call);
}

std::optional<steady_clock::time_point> CCallQueue::NextDue() const
{
    const std::lock_guard lock(mutex);
    return calls.empty() ? std::nullopt : std::optional(calls.begin()->first);
}

void CCallQueue::Sync()
{
    if (IsOnLoopThread())
    {
        return;
    }
    // shared, since a restarted loop may come upon the marker while this thread is leaving
    const auto isReached = std::make_shared<bool>(false);
    const auto marker = AddNow(
        [this, isReached]
        {
            {
                const std::lock_guard lock(mutex);
                *isReached = true;
            }
            progress.notify_all();
        });
    {
        std::unique_lock lock(mutex);
        progress.wait(lock, [this, &isReached] { return *isReached || !isOpen; });
    }
    Cancel(*marker);
}
