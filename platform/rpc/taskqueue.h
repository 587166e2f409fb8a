#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

namespace Rpc
{

/// Tasks that one thread runs in the order in which any thread posts them.
/// Threads: Run on one; Post and Close from any.
class CTaskQueue
{
public:
    /// Runs tasks until Close.
    void Run();

    /// Dropped after Close.
    void Post(std::function<void()> task);

    /// Lets Run end once the task under way has ended; the others are dropped.
    void Close();

private:
    std::mutex mutex;
    std::condition_variable changed;

    // Guarded by mutex
    std::deque<std::function<void()>> tasks;
    bool closed = false;
};

} // namespace Rpc
