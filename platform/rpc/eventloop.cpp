#include "platform/rpc/eventloop.h"

#include <utility>

namespace Rpc
{

CEventLoop::CEventLoop(std::unique_ptr<grpc::ServerCompletionQueue> queue)
    : queue(std::move(queue))
    , wakeUp([this](bool) { RunTasks(); })
{
}

CEventLoop::~CEventLoop()
{
    // a queue must be shut down and empty before it goes
    Close([] {});
    Join();
    Run();
}

void CEventLoop::Start()
{
    thread = std::thread([this] { Run(); });
}

void CEventLoop::Join()
{
    if (thread.joinable())
    {
        thread.join();
    }
}

void CEventLoop::Run()
{
    void* tag = nullptr;
    bool ok = false;
    while (queue->Next(&tag, &ok))
    {
        static_cast<IOperation*>(tag)->OnDone(ok);
    }
}

void CEventLoop::Post(std::function<void()> task)
{
    if (Add(std::move(task)))
    {
        Wake();
    }
}

void CEventLoop::Close(std::function<void()> lastTask)
{
    const auto end = [this, lastTask = std::move(lastTask)]
    {
        lastTask();
        queue->Shutdown();
    };
    if (Add(end, true))
    {
        Wake();
    }
}

bool CEventLoop::Add(std::function<void()> task, bool last)
{
    const std::lock_guard lock(mutex);
    if (closed)
    {
        return false;
    }
    tasks.push_back(std::move(task));
    closed = last;
    return !std::exchange(wakePending, true);
}

void CEventLoop::Wake()
{
    // a time that has passed: the present one, rounded up, would start a timer of the library
    alarm.Set(queue.get(), gpr_inf_past(GPR_CLOCK_MONOTONIC), &wakeUp);
}

void CEventLoop::RunTasks()
{
    std::vector<std::function<void()>> due;
    {
        const std::lock_guard lock(mutex);
        wakePending = false;
        due.swap(tasks);
    }
    for (const std::function<void()>& task : due)
    {
        task();
    }
}

} // namespace Rpc
