#pragma once

#include "contracts/station.pb.h"
#include "simulator/services/callgate.h"
#include "simulator/services/servedoperation.h"
#include "simulator/services/subscribers.h"

#include <grpcpp/server_context.h>
#include <grpcpp/support/async_stream.h>
#include <grpcpp/support/status.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace Simulator
{

/// A subscription that an operation offers. A subscriber gets the stream's first metadata when its
/// subscription stands, and is on record from then on; one that does not read loses the oldest messages.
/// Threads: that of the event loop.
template <class Message>
class CServedStream : public IServedOperation
{
public:
    /// Lets the transport take the next subscription in.
    using Accept = std::function<void(grpc::ServerContext*,
                                      ipc::MVoid*,
                                      grpc::ServerAsyncWriter<Message>*,
                                      grpc::ServerCompletionQueue*,
                                      void* tag)>;

    CServedStream(const SOperation& operation,
                  CCallGate& gate,
                  Accept accept,
                  std::shared_ptr<CSubscribers<Message>> subscribers)
        : operation(operation)
        , gate(gate)
        , accept(std::move(accept))
        , subscribers(std::move(subscribers))
    {
    }

    void Begin(const std::shared_ptr<Rpc::CEventLoop>& newLoop) override
    {
        loop = newLoop;
        AcceptNext();
    }

    /// The end of the server cancels the streams, and each goes when that is told.
    void End() override { isEnded = true; }

private:
    /// messages that wait for a subscriber
    static constexpr std::size_t QueueLimit = 1000;

    struct SStream
    {
        explicit SStream(CServedStream& owner)
            : arrived([this, &owner](bool ok) { owner.OnArrived(*this, ok); })
            , written([this, &owner](bool) { owner.OnWritten(*this); })
            , gone([this, &owner](bool) { owner.OnGone(*this); })
        {
        }

        grpc::ServerContext context;
        ipc::MVoid request;
        grpc::ServerAsyncWriter<Message> writer{&context};
        std::deque<Message> waiting;
        /// an operation of the writer is under way
        bool isWriting = false;
        bool isGone = false;
        /// keeps the subscription alive
        std::shared_ptr<ISubscriber<Message>> subscriber;
        Rpc::COperation arrived;
        Rpc::COperation written;
        Rpc::COperation gone;
    };

    /// What other threads see of a stream.
    class CSubscriber : public ISubscriber<Message>
    {
    public:
        CSubscriber(CServedStream& owner,
                    std::shared_ptr<Rpc::CEventLoop> loop,
                    std::weak_ptr<SStream> stream)
            : owner(owner)
            , loop(std::move(loop))
            , stream(std::move(stream))
        {
        }

        void Send(const Message& message) override
        {
            // the stream, and its owner, are there as long as the loop runs tasks and the stream can be
            // locked
            loop->Post(
                [&owner = owner, weak = stream, message]
                {
                    if (const auto living = weak.lock())
                    {
                        owner.Send(*living, message);
                    }
                });
        }

    private:
        // Constant after construction
        CServedStream& owner;
        const std::shared_ptr<Rpc::CEventLoop> loop;
        const std::weak_ptr<SStream> stream;
    };

    void AcceptNext()
    {
        if (isEnded)
        {
            return;
        }
        const auto stream = std::make_shared<SStream>(*this);
        streams[stream.get()] = stream;
        stream->context.AsyncNotifyWhenDone(&stream->gone);
        accept(&stream->context, &stream->request, &stream->writer, &loop->Queue(), &stream->arrived);
    }

    void OnArrived(SStream& stream, bool ok)
    {
        if (!ok)
        {
            Remove(stream);
            return;
        }
        if (isEnded)
        {
            return;
        }
        AcceptNext();
        // the gate may let it go on from another thread, and after this object's end: then the loop drops it
        gate.Pass(operation,
                  [this, loop = loop, weak = std::weak_ptr(streams.at(&stream))](const SFault& fault)
                  {
                      loop->Post(
                          [this, weak, fault]
                          {
                              if (const auto waiting = weak.lock())
                              {
                                  Enter(waiting, fault);
                              }
                          });
                  });
    }

    void Enter(const std::shared_ptr<SStream>& stream, const SFault& fault)
    {
        if (stream->isGone)
        {
            return;
        }
        stream->isWriting = true;
        gate.Record(operation, Json::objectValue);
        if (fault.fail)
        {
            stream->writer.Finish({grpc::StatusCode::UNAVAILABLE, "fault set for this operation"},
                                  &stream->written);
            return;
        }
        // the metadata tell the subscriber that it misses nothing from now on, so they come last
        stream->subscriber = std::make_shared<CSubscriber>(*this, loop, stream);
        subscribers->Add(stream->subscriber);
        stream->writer.SendInitialMetadata(&stream->written);
    }

    void Send(SStream& stream, const Message& message)
    {
        if (stream.waiting.size() == QueueLimit)
        {
            stream.waiting.pop_front();
        }
        stream.waiting.push_back(message);
        WriteNext(stream);
    }

    void WriteNext(SStream& stream)
    {
        if (stream.isWriting || stream.isGone || stream.waiting.empty())
        {
            return;
        }
        stream.isWriting = true;
        stream.writer.Write(stream.waiting.front(), &stream.written);
        stream.waiting.pop_front();
    }

    void OnWritten(SStream& stream)
    {
        stream.isWriting = false;
        stream.isGone ? Remove(stream) : WriteNext(stream);
    }

    void OnGone(SStream& stream)
    {
        stream.isGone = true;
        if (!stream.isWriting)
        {
            Remove(stream);
        }
    }

    /// Later, since it is one of the stream's own operations that is running.
    void Remove(SStream& stream)
    {
        loop->Post([this, &stream] { streams.erase(&stream); });
    }

    // Constant after construction
    const SOperation& operation;
    CCallGate& gate;
    const Accept accept;
    const std::shared_ptr<CSubscribers<Message>> subscribers;

    // Touched on the event loop only
    std::shared_ptr<Rpc::CEventLoop> loop;
    std::map<SStream*, std::shared_ptr<SStream>> streams;
    bool isEnded = false;
};

} // namespace Simulator
