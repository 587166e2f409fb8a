#include "platform/rpc/taskqueue.h"

#include <utility>

namespace Rpc
{

void CTaskQueue::Run()
{
    std::unique_lock lock(mutex);
    while (true)
    {
        changed.wait(lock, [this] { return closed || !tasks.empty(); });
        if (closed)
        {
            return;
        }
        const std::function<void()> task = std::move(tasks.front());
        tasks.pop_front();
        lock.unlock();
        task();
        lock.lock();
    }
}

void CTaskQueue::Post(std::function<void()> task)
{
    {
        const std::lock_guard lock(mutex);
        if (closed)
        {
            return;
        }
        tasks.push_back(std::move(task));
    }
    changed.notify_one();
}

void CTaskQueue::Close()
{
    std::deque<std::function<void()>> dropped;
    {
        const std::lock_guard lock(mutex);
        closed = true;
        tasks.swap(dropped);
    }
    changed.notify_one();
}

} // namespace Rpc
