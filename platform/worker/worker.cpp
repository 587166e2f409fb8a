#include "platform/worker/worker.h"

#include "platform/worker/heldsignals.h"

#include <pthread.h>

#include <cstddef>
#include <stdexcept>
#include <utility>

namespace
{

/// What the kernel keeps of a thread's name, in characters.
constexpr std::size_t ThreadNameLimit = 15;

} // namespace

CWorkerCall::CWorkerCall(const std::shared_ptr<CCallQueue>& queue,
                         const std::shared_ptr<CCallQueue::SCall>& call,
                         EOwnership ownership)
    : queue(queue)
    , call(call)
    , ownership(ownership)
{
}

CWorkerCall::~CWorkerCall()
{
    if (ownership == EOwnership::EndsWithHandle)
    {
        Cancel();
    }
}

void CWorkerCall::Cancel()
{
    const auto livingQueue = queue.lock();
    const auto livingCall = call.lock();
    if (livingQueue && livingCall)
    {
        livingQueue->Cancel(*livingCall);
    }
}

CWorker::CWorker()
    : CWorker("worker")
{
}

CWorker::CWorker(const std::string& threadName)
    : CWorker(CreateSteadyWorkerClock(), threadName)
{
}

CWorker::CWorker(std::shared_ptr<IWorkerClock> clock, const std::string& threadName)
    : clock(std::move(clock))
    , queue(std::make_shared<CCallQueue>(this->clock))
    , threadName(threadName.substr(0, ThreadNameLimit))
{
}

CWorker::~CWorker()
{
    Stop();
}

void CWorker::Start()
{
    if (queue->IsOnLoopThread())
    {
        return;
    }
    const std::lock_guard lock(lifecycleMutex);
    if (thread.joinable())
    {
        return;
    }
    queue->Open();
    try
    {
        const CHeldSignals held;
        thread = std::thread(
            [queue = queue, name = threadName]
            {
                pthread_setname_np(pthread_self(), name.c_str());
                queue->Run();
            });
    }
    catch (...)
    {
        queue->Close();
        throw;
    }
}

void CWorker::Stop()
{
    if (queue->IsOnLoopThread())
    {
        throw std::logic_error("a worker can't be stopped by one of its own calls");
    }
    const std::lock_guard lock(lifecycleMutex);
    if (thread.joinable())
    {
        queue->RequestEnd();
        thread.join();
    }
}

bool CWorker::IsRunning() const
{
    return queue->IsOpen();
}

std::shared_ptr<CWorkerCall> CWorker::AddCall(const std::function<void()>& function,
                                              std::chrono::steady_clock::time_point first,
                                              std::chrono::nanoseconds period)
{
    if (period < std::chrono::nanoseconds(0))
    {
        throw std::invalid_argument("a call's period can't be negative");
    }
    return std::make_shared<CWorkerCall>(
        queue, queue->Add(function, first, period), CWorkerCall::EOwnership::EndsWithHandle);
}

std::shared_ptr<CWorkerCall> CWorker::NonBlockingCall(const std::function<void()>& function)
{
    return std::make_shared<CWorkerCall>(
        queue, queue->AddNow(function), CWorkerCall::EOwnership::OutlivesHandle);
}

void CWorker::Sync()
{
    queue->Sync();
}

std::chrono::steady_clock::time_point CWorker::Now() const
{
    return clock->Now();
}
