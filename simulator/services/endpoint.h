#pragma once

#include "simulator/services/servedcall.h"
#include "simulator/services/servedoperation.h"
#include "simulator/services/servedstream.h"

#include <grpcpp/completion_queue.h>
#include <grpcpp/impl/codegen/service_type.h>

#include <memory>
#include <utility>
#include <vector>

namespace Simulator
{

/// A service with its operations, for one server and its event loop.
/// Threads: Begin and End that of the event loop.
class CEndpoint
{
public:
    CEndpoint(std::unique_ptr<grpc::Service> service,
              std::vector<std::unique_ptr<IServedOperation>> operations)
        : service(std::move(service))
        , operations(std::move(operations))
    {
    }

    grpc::Service& Service() { return *service; }

    void Begin(const std::shared_ptr<Rpc::CEventLoop>& loop)
    {
        for (const auto& operation : operations)
        {
            operation->Begin(loop);
        }
    }

    void End()
    {
        for (const auto& operation : operations)
        {
            operation->End();
        }
    }

private:
    // Constant after construction
    const std::unique_ptr<grpc::Service> service;
    const std::vector<std::unique_ptr<IServedOperation>> operations;
};

/// Puts an endpoint together.
/// @tparam AsyncService of the generated service
template <class AsyncService>
class CEndpointBuilder
{
public:
    explicit CEndpointBuilder(CCallGate& gate)
        : gate(gate)
    {
    }

    /// @param request  the generated function that takes a call in
    /// @param act      what the station does: void(const Request&, Response&)
    template <class Base, class Request, class Response, class Act>
    void Call(const SOperation& operation,
              void (Base::*request)(grpc::ServerContext*,
                                    Request*,
                                    grpc::ServerAsyncResponseWriter<Response>*,
                                    grpc::CompletionQueue*,
                                    grpc::ServerCompletionQueue*,
                                    void*),
              Act act)
    {
        operations.push_back(std::make_unique<CServedCall<Request, Response>>(
            operation,
            gate,
            [&target = *service, request](auto* context, auto* message, auto* writer, auto* queue, void* tag)
            { (target.*request)(context, message, writer, queue, queue, tag); },
            std::move(act)));
    }

    template <class Base, class Message>
    void Stream(const SOperation& operation,
                void (Base::*request)(grpc::ServerContext*,
                                      ipc::MVoid*,
                                      grpc::ServerAsyncWriter<Message>*,
                                      grpc::CompletionQueue*,
                                      grpc::ServerCompletionQueue*,
                                      void*),
                std::shared_ptr<CSubscribers<Message>> subscribers)
    {
        operations.push_back(std::make_unique<CServedStream<Message>>(
            operation,
            gate,
            [&target = *service, request](auto* context, auto* message, auto* writer, auto* queue, void* tag)
            { (target.*request)(context, message, writer, queue, queue, tag); },
            std::move(subscribers)));
    }

    /// To be called last.
    std::unique_ptr<CEndpoint> Build()
    {
        return std::make_unique<CEndpoint>(std::move(service), std::move(operations));
    }

private:
    CCallGate& gate;
    std::unique_ptr<AsyncService> service = std::make_unique<AsyncService>();
    std::vector<std::unique_ptr<IServedOperation>> operations;
};

} // namespace Simulator
