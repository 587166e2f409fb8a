#pragma once

#include <grpcpp/server_context.h>
#include <grpcpp/support/sync_stream.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

#include "tests/support/eventually.h"

/// An operation of a service that records each request and gives the answer it was told. Threads: any.
template <class Request, class Response>
class CFakeOperation
{
public:
    void AnswerWith(Response newAnswer)
    {
        const std::lock_guard lock(mutex);
        answer = std::move(newAnswer);
    }

    grpc::Status Take(const Request& request, Response& response)
    {
        requests.Add(request);
        const std::lock_guard lock(mutex);
        response = answer;
        return grpc::Status::OK;
    }

    CCollector<Request> requests;

private:
    std::mutex mutex;

    // Guarded by mutex
    Response answer;
};

/// A subscription of a service: what is sent waits for the subscriber. Threads: any.
template <class Message>
class CFakeStream
{
public:
    void Send(Message message)
    {
        const std::lock_guard lock(mutex);
        outgoing.push_back(std::move(message));
        changed.notify_all();
    }

    /// Serves one subscriber until it has gone or the server shuts down.
    grpc::Status Serve(grpc::ServerContext& context, grpc::ServerWriter<Message>& writer)
    {
        while (!context.IsCancelled())
        {
            for (const Message& message : TakeAll())
            {
                writer.Write(message);
            }
        }
        return grpc::Status::OK;
    }

private:
    /// How often a service looks whether its subscriber has gone.
    static constexpr std::chrono::milliseconds LookAround{20};

    std::deque<Message> TakeAll()
    {
        std::unique_lock lock(mutex);
        changed.wait_for(lock, LookAround, [this] { return !outgoing.empty(); });
        return std::exchange(outgoing, {});
    }

    std::mutex mutex;
    std::condition_variable changed;

    // Guarded by mutex
    std::deque<Message> outgoing;
};
