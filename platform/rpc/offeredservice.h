#pragma once

#include "platform/rpc/eventloop.h"
#include "platform/rpc/iofferedservice.h"
#include "platform/rpc/taskqueue.h"

#include <grpcpp/server_context.h>
#include <grpcpp/support/async_stream.h>
#include <grpcpp/support/async_unary_call.h>
#include <grpcpp/support/status.h>

#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace Rpc
{

/// Runs @p handler; what it throws becomes the status of the call.
grpc::Status RunContained(const std::string& name, const std::function<void()>& handler);

/// One operation with one answer. Its calls are handled one after the other on the thread that handles calls.
/// Threads: as IOfferedService.
template <class Request, class Response>
class CUnaryOperation
{
public:
    using Accept = std::function<void(
        grpc::ServerContext*, Request*, grpc::ServerAsyncResponseWriter<Response>*, SServerSide, void* tag)>;
    using Handler = std::function<Response(const Request&)>;

    CUnaryOperation(std::string name, Accept accept, Handler handler)
        : name(std::move(name))
        , accept(std::move(accept))
        , handler(std::move(handler))
        , arrived([this](bool ok) { OnArrived(ok); })
        , answered([this](bool) { AcceptNext(); })
    {
    }

    void Begin(SServerSide serverSide)
    {
        side.emplace(serverSide);
        side->loop.Post([this] { AcceptNext(); });
    }

    void End() { ended = true; }

private:
    struct SCall
    {
        grpc::ServerContext context;
        Request request;
        Response response;
        grpc::ServerAsyncResponseWriter<Response> writer{&context};
    };

    void AcceptNext()
    {
        if (!ended)
        {
            call.emplace();
            accept(&call->context, &call->request, &call->writer, *side, &arrived);
        }
    }

    void OnArrived(bool ok)
    {
        if (!ok || ended)
        {
            return;
        }
        side->handlers.Post([this] { Handle(); });
    }

    void Handle()
    {
        const grpc::Status status = RunContained(name, [this] { call->response = handler(call->request); });
        side->loop.Post([this, status] { Answer(status); });
    }

    void Answer(const grpc::Status& status)
    {
        if (ended)
        {
            return;
        }
        if (status.ok())
        {
            call->writer.Finish(call->response, status, &answered);
        }
        else
        {
            call->writer.FinishWithError(status, &answered);
        }
    }

    // Constant after Begin
    const std::string name;
    const Accept accept;
    const Handler handler;
    std::optional<SServerSide> side;

    // Touched on the event loop, and by the handling thread between a call's arrival and its answer
    std::optional<SCall> call;

    // Touched on the event loop only
    COperation arrived;
    COperation answered;
    bool ended = false;
};

/// One stream that all its subscribers get. A subscriber that does not read loses the oldest messages.
/// Threads: Publish from any, without waiting; the others as IOfferedService.
template <class Request, class Message>
class CStreamOperation
{
public:
    using Accept = std::function<void(
        grpc::ServerContext*, Request*, grpc::ServerAsyncWriter<Message>*, SServerSide, void* tag)>;

    /// @param repeatLast   whether a new subscriber gets the last message at once
    /// @param queueLength  messages kept for a subscriber that does not read
    CStreamOperation(Accept accept, bool repeatLast, std::size_t queueLength)
        : accept(std::move(accept))
        , repeatLast(repeatLast)
        , queueLength(queueLength)
    {
    }

    void Begin(SServerSide serverSide)
    {
        side.emplace(serverSide);
        side->loop.Post([this] { AcceptNext(); });
    }

    void End() { ended = true; }

    void Publish(const Message& message)
    {
        if (side)
        {
            side->loop.Post([this, message] { Distribute(message); });
        }
    }

private:
    struct SSubscriber
    {
        explicit SSubscriber(CStreamOperation& stream)
            : arrived([this, &stream](bool ok) { stream.OnArrived(*this, ok); })
            , written([this, &stream](bool) { stream.OnWritten(*this); })
            , done([this, &stream](bool) { stream.OnGone(*this); })
        {
        }

        grpc::ServerContext context;
        Request request;
        grpc::ServerAsyncWriter<Message> writer{&context};
        std::deque<Message> waiting;
        bool writing = false;
        bool gone = false;
        COperation arrived;
        COperation written;
        COperation done;
    };

    void AcceptNext()
    {
        if (!ended)
        {
            subscribers.emplace_back(*this);
            SSubscriber& next = subscribers.back();
            next.context.AsyncNotifyWhenDone(&next.done);
            accept(&next.context, &next.request, &next.writer, *side, &next.arrived);
        }
    }

    void OnArrived(SSubscriber& subscriber, bool ok)
    {
        if (!ok || ended)
        {
            return;
        }
        active.push_back(&subscriber);
        // tells the subscriber that it will miss nothing from now on
        subscriber.writing = true;
        subscriber.writer.SendInitialMetadata(&subscriber.written);
        if (repeatLast && last)
        {
            Send(subscriber, *last);
        }
        AcceptNext();
    }

    void Distribute(const Message& message)
    {
        last = message;
        for (SSubscriber* subscriber : active)
        {
            Send(*subscriber, message);
        }
    }

    void Send(SSubscriber& subscriber, const Message& message)
    {
        if (subscriber.waiting.size() == queueLength)
        {
            subscriber.waiting.pop_front();
        }
        subscriber.waiting.push_back(message);
        WriteNext(subscriber);
    }

    void WriteNext(SSubscriber& subscriber)
    {
        if (!ended && !subscriber.writing && !subscriber.waiting.empty())
        {
            const Message message = std::move(subscriber.waiting.front());
            subscriber.waiting.pop_front();
            subscriber.writing = true;
            subscriber.writer.Write(message, &subscriber.written);
        }
    }

    void OnWritten(SSubscriber& subscriber)
    {
        subscriber.writing = false;
        subscriber.gone ? Remove(subscriber) : WriteNext(subscriber);
    }

    void OnGone(SSubscriber& subscriber)
    {
        subscriber.gone = true;
        active.remove(&subscriber);
        if (!subscriber.writing)
        {
            Remove(subscriber);
        }
    }

    /// Later, since it is one of the subscriber's own operations that is running.
    void Remove(SSubscriber& subscriber)
    {
        side->loop.Post(
            [this, &subscriber]
            { subscribers.remove_if([&](const SSubscriber& other) { return &other == &subscriber; }); });
    }

    // Constant after Begin
    const Accept accept;
    const bool repeatLast;
    const std::size_t queueLength;
    std::optional<SServerSide> side;

    // Touched on the event loop only
    std::list<SSubscriber> subscribers;
    std::list<SSubscriber*> active;
    std::optional<Message> last;
    bool ended = false;
};

} // namespace Rpc
