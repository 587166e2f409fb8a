#pragma once

#include <grpcpp/client_context.h>
#include <grpcpp/support/sync_stream.h>

#include <memory>
#include <thread>

#include "tests/support/eventually.h"

/// A subscription of a test's: reads the stream on a thread of its own until it ends.
template <class Message>
class CStreamCollector
{
public:
    /// Returns when the service has taken the subscription in.
    /// @param subscribe makes the reader from a context
    template <class Subscribe>
    explicit CStreamCollector(Subscribe subscribe)
        : reader(subscribe(&context))
    {
        reader->WaitForInitialMetadata();
        thread = std::thread(
            [this]
            {
                Message message;
                while (reader->Read(&message))
                {
                    received.Add(message);
                }
                ended.Add(reader->Finish());
            });
    }

    ~CStreamCollector()
    {
        context.TryCancel();
        thread.join();
    }

    CStreamCollector(const CStreamCollector&) = delete;
    CStreamCollector& operator=(const CStreamCollector&) = delete;
    CStreamCollector(CStreamCollector&&) = delete;
    CStreamCollector& operator=(CStreamCollector&&) = delete;

    CCollector<Message> received;
    /// the status of the stream when it has ended
    CCollector<grpc::Status> ended;

private:
    grpc::ClientContext context;
    std::unique_ptr<grpc::ClientReader<Message>> reader;
    std::thread thread;
};
