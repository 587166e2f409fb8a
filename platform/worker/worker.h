/// Timed and immediate work on a thread of its own.
///
/// A worker is one thread with one queue in order of time; calls run one after the other, by the monotonic
/// clock, and the thread sleeps while nothing is due. A timed call belongs to its handle.
#pragma once

#include "platform/worker/callqueue.h"
#include "platform/worker/workerclock.h"

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

/// One planned call. May outlive the worker, and then does nothing any more.
/// Threads: any.
class CWorkerCall
{
public:
    enum class EOwnership
    {
        EndsWithHandle,
        OutlivesHandle
    };

    CWorkerCall(const std::shared_ptr<CCallQueue>& queue,
                const std::shared_ptr<CCallQueue::SCall>& call,
                EOwnership ownership);

    /// Cancels a timed call.
    ~CWorkerCall();
    CWorkerCall(const CWorkerCall&) = delete;
    CWorkerCall& operator=(const CWorkerCall&) = delete;
    CWorkerCall(CWorkerCall&&) = delete;
    CWorkerCall& operator=(CWorkerCall&&) = delete;

    /// No further run begins. One that is under way finishes, and is not waited for: CWorker::Sync does that.
    /// Allowed from within the call itself.
    void Cancel();

private:
    // Constant after construction
    const std::weak_ptr<CCallQueue> queue;
    const std::weak_ptr<CCallQueue::SCall> call;
    const EOwnership ownership;
};

/// A thread with a queue of immediate and timed calls.
///
/// A call that throws ends that run only: the text goes to the log at error level. What a call captures is
/// released on the worker's thread after its last run, or where it is cancelled. A class that derives from
/// CWorker, or whose members its calls use, stops it in its own destructor.
///
/// Threads: any; Stop and the destructor not on the worker's own.
class CWorker
{
public:
    CWorker();

    /// @param threadName what tools show for the thread; the first 15 characters count
    explicit CWorker(const std::string& threadName);

    /// @param clock of this worker alone
    explicit CWorker(std::shared_ptr<IWorkerClock> clock, const std::string& threadName = "worker");

    /// Stops the thread and drops the calls that have not begun.
    virtual ~CWorker();
    CWorker(const CWorker&) = delete;
    CWorker& operator=(const CWorker&) = delete;
    CWorker(CWorker&&) = delete;
    CWorker& operator=(CWorker&&) = delete;

    /// Starts the thread, which begins with what was added before. Harmless when it runs.
    void Start();

    /// Ends the thread and waits for the call under way. Calls that have not begun wait for the next Start.
    /// Harmless when the thread does not run.
    /// @throws std::logic_error on the worker's own thread
    void Stop();

    /// From Start until Stop has ended the thread.
    bool IsRunning() const;

    /// Runs @p function at @p first, or at once if that has passed, and then at every first + n * @p period;
    /// points that have passed by the end of a run are skipped. The call ends with Cancel or with the last
    /// copy of the handle.
    /// @param period zero for a single call
    /// @throws std::invalid_argument for a negative period
    [[nodiscard]] std::shared_ptr<CWorkerCall> AddCall(const std::function<void()>& function,
                                                       std::chrono::steady_clock::time_point first,
                                                       std::chrono::nanoseconds period);

    /// Runs @p function once, behind all that is due by now. It runs whatever becomes of the handle, unless
    /// cancelled.
    std::shared_ptr<CWorkerCall> NonBlockingCall(const std::function<void()>& function);

    /// Waits until all calls that are due by now have ended, the one under way among them. Returns at once on
    /// the worker's own thread, and when the worker does not run. The caller holds no lock that a call takes.
    void Sync();

    /// The time by which calls become due: what @p first of AddCall is reckoned from.
    std::chrono::steady_clock::time_point Now() const;

private:
    // Constant after construction
    const std::shared_ptr<IWorkerClock> clock;
    const std::shared_ptr<CCallQueue> queue;
    const std::string threadName;

    // held while Stop waits for the thread, so that a second Stop and a Start wait for it too; calls never
    // take it
    std::mutex lifecycleMutex;

    // Guarded by lifecycleMutex
    std::thread thread;
};
