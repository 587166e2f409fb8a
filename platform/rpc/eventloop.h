#pragma once

#include <grpcpp/alarm.h>
#include <grpcpp/completion_queue.h>

#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace Rpc
{

/// An asynchronous operation of the transport, given to it as its tag.
class IOperation
{
public:
    IOperation() = default;
    IOperation(const IOperation&) = delete;
    IOperation& operator=(const IOperation&) = delete;
    IOperation(IOperation&&) = delete;
    IOperation& operator=(IOperation&&) = delete;
    virtual ~IOperation() = default;

    /// The operation ended. @param ok false when it failed or was cancelled
    virtual void OnDone(bool ok) = 0;
};

/// One step of an object's asynchronous work: hands the end of an operation to a function.
class COperation : public IOperation
{
public:
    explicit COperation(std::function<void(bool ok)> onDone)
        : onDone(std::move(onDone))
    {
    }

    void OnDone(bool ok) override { onDone(ok); }

private:
    std::function<void(bool)> onDone;
};

/// The one thread on which all asynchronous operations of the transport end, and on which posted tasks run.
/// Nothing that it runs may block. It sleeps without a wake-up while nothing happens; a second thread at the
/// same library would cost a wake-up of its own for each event.
/// Threads: Start and Join on one; Post and Close from any.
class CEventLoop
{
public:
    explicit CEventLoop(std::unique_ptr<grpc::ServerCompletionQueue> queue);

    /// Closes and joins.
    ~CEventLoop();
    CEventLoop(const CEventLoop&) = delete;
    CEventLoop& operator=(const CEventLoop&) = delete;
    CEventLoop(CEventLoop&&) = delete;
    CEventLoop& operator=(CEventLoop&&) = delete;

    /// Starts the thread, which handles what happens until Close has been called and every operation has
    /// ended.
    void Start();
    void Join();

    /// Runs @p task on the thread. Dropped after Close.
    void Post(std::function<void()> task);

    /// Runs @p lastTask on the thread and lets it end. The last task cancels what is under way; no operation
    /// may be begun after it. Called a second time it does nothing.
    void Close(std::function<void()> lastTask);

    /// For operations to begin on; only on the thread.
    grpc::ServerCompletionQueue& Queue() { return *queue; }

private:
    void Run();

    /// @return whether the thread must be woken, by the caller and outside the lock: it would meet the lock
    bool Add(std::function<void()> task, bool last = false);
    void Wake();
    void RunTasks();

    // Constant after construction
    const std::unique_ptr<grpc::ServerCompletionQueue> queue;
    COperation wakeUp;

    // Touched by the one thread that has set wakePending, until the loop clears it
    grpc::Alarm alarm;

    std::mutex mutex;

    // Guarded by mutex
    std::vector<std::function<void()>> tasks;
    bool wakePending = false;
    bool closed = false;

    std::thread thread;
};

} // namespace Rpc
