#pragma once

#include "platform/worker/workerclock.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

/// The calls of one worker in order of time, and the loop that runs them. Shared by the worker, its thread
/// and, weakly, the handles, which may outlive it.
///
/// Threads: Run on the worker's, the others on any. No call runs, and none is destroyed, under the lock.
class CCallQueue
{
public:
    struct SCall;

    explicit CCallQueue(std::shared_ptr<IWorkerClock> clock);
    ~CCallQueue();
    CCallQueue(const CCallQueue&) = delete;
    CCallQueue& operator=(const CCallQueue&) = delete;
    CCallQueue(CCallQueue&&) = delete;
    CCallQueue& operator=(CCallQueue&&) = delete;

    /// Plans a call behind all that are due at the same time.
    std::shared_ptr<SCall> Add(const std::function<void()>& function,
                               std::chrono::steady_clock::time_point first,
                               std::chrono::nanoseconds period);

    /// Plans a single call behind all that are due by now.
    std::shared_ptr<SCall> AddNow(const std::function<void()>& function);

    /// Takes the call out of the plan; one under way finishes and is not planned again.
    void Cancel(SCall& call);

    /// Opens the loop: from here on IsOpen holds, until Run has returned or Close.
    void Open();
    void Close();
    bool IsOpen() const;

    /// Runs calls as they become due, until RequestEnd; what is planned then stays planned.
    void Run();
    void RequestEnd();

    bool IsOnLoopThread() const;

    /// Waits until all calls that are due by now have ended. Returns at once on the loop's thread, and when
    /// the loop is not open.
    void Sync();

private:
    std::shared_ptr<SCall> Insert(std::shared_ptr<SCall> call);
    std::shared_ptr<SCall> TakeDue();
    static void Execute(const SCall& call);
    void Replan(const std::shared_ptr<SCall>& call);
    std::optional<std::chrono::steady_clock::time_point> NextDue() const;
    bool IsEndRequested() const;

    // Constant after construction
    const std::shared_ptr<IWorkerClock> clock;

    mutable std::mutex mutex;
    std::condition_variable progress;

    // Guarded by mutex
    std::multimap<std::chrono::steady_clock::time_point, std::shared_ptr<SCall>> calls;
    std::thread::id loopThread;
    bool isOpen = false;
    bool isEndRequested = false;
};
