#pragma once

#include "platform/rpc/eventloop.h"
#include "platform/rpc/taskqueue.h"

#include <grpcpp/alarm.h>
#include <grpcpp/client_context.h>
#include <grpcpp/support/async_stream.h>
#include <grpcpp/support/status.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace Rpc
{

/// One notification of a service: a stream that is asked for again, with back-off, whenever it ends. The next
/// message is read when the receiver has returned. Threads: Start and Cancel on the event loop; the receiver
/// runs on the thread of the task queue.
class CSubscription
{
public:
    /// @param receivers  runs the receiver
    /// @param name       service and operation, for log lines
    CSubscription(CEventLoop& loop, CTaskQueue& receivers, std::string name);
    virtual ~CSubscription() = default;
    CSubscription(const CSubscription&) = delete;
    CSubscription& operator=(const CSubscription&) = delete;
    CSubscription(CSubscription&&) = delete;
    CSubscription& operator=(CSubscription&&) = delete;

    /// Waits for the service if it is away, however long.
    void Start();

    /// Ends the stream for good. The operations under way still end on the event loop.
    void Cancel();

protected:
    /// Lets go of the stream before; it lives in its context's memory.
    virtual void EndStream() = 0;
    virtual void BeginStream(grpc::ClientContext& context, IOperation& started) = 0;
    virtual void BeginRead(IOperation& read) = 0;
    virtual void BeginFinish(grpc::Status& status, IOperation& finished) = 0;
    virtual void Deliver() = 0;

private:
    void OnStarted(bool ok);
    void OnRead(bool ok);
    void ReadNext();
    void OnFinished();
    void OnRetry();
    void DeliverContained();

    // Constant after construction
    CEventLoop& loop;
    CTaskQueue& receivers;
    const std::string name;

    // Touched on the event loop only
    std::optional<grpc::ClientContext> context;
    COperation started;
    COperation read;
    COperation finished;
    COperation retry;
    grpc::Alarm retryAlarm;
    grpc::Status status;
    std::chrono::steady_clock::time_point streamBegin;
    std::chrono::milliseconds backOff;
    bool cancelled = false;
};

/// @tparam Message what the stream carries
template <class Message>
class CTypedSubscription : public CSubscription
{
public:
    using Reader = std::unique_ptr<grpc::ClientAsyncReader<Message>>;
    using Prepare = std::function<Reader(grpc::ClientContext*, grpc::CompletionQueue*)>;
    using Receive = std::function<void(const Message&)>;

    CTypedSubscription(
        CEventLoop& loop, CTaskQueue& receivers, std::string name, Prepare prepare, Receive receive)
        : CSubscription(loop, receivers, std::move(name))
        , queue(loop.Queue())
        , prepare(std::move(prepare))
        , receive(std::move(receive))
    {
    }

protected:
    void EndStream() override { reader.reset(); }

    void BeginStream(grpc::ClientContext& context, IOperation& started) override
    {
        reader = prepare(&context, &queue);
        reader->StartCall(&started);
    }

    void BeginRead(IOperation& read) override { reader->Read(&message, &read); }
    void BeginFinish(grpc::Status& status, IOperation& finished) override
    {
        reader->Finish(&status, &finished);
    }
    void Deliver() override { receive(message); }

private:
    // Constant after construction
    grpc::CompletionQueue& queue;
    const Prepare prepare;
    const Receive receive;

    // Touched on the event loop only
    Reader reader;

    // Touched on the event loop, and by the receiver's thread between a message's arrival and the next read
    Message message;
};

} // namespace Rpc
