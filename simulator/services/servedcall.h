#pragma once

#include "contracts/station.pb.h"
#include "simulator/messagejson.h"
#include "simulator/services/callgate.h"
#include "simulator/services/servedoperation.h"

#include <grpcpp/server_context.h>
#include <grpcpp/support/async_unary_call.h>
#include <grpcpp/support/status.h>

#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <type_traits>
#include <utility>

namespace Simulator
{

/// An operation with one answer. Any number of its calls can wait for theirs at the same time.
/// Threads: that of the event loop.
template <class Request, class Response>
class CServedCall : public IServedOperation
{
public:
    /// Lets the transport take the next call in.
    using Accept = std::function<void(grpc::ServerContext*,
                                      Request*,
                                      grpc::ServerAsyncResponseWriter<Response>*,
                                      grpc::ServerCompletionQueue*,
                                      void* tag)>;

    /// What the station does and answers.
    using Act = std::function<void(const Request&, Response&)>;

    CServedCall(const SOperation& operation, CCallGate& gate, Accept accept, Act act)
        : operation(operation)
        , gate(gate)
        , accept(std::move(accept))
        , act(std::move(act))
    {
    }

    void Begin(const std::shared_ptr<Rpc::CEventLoop>& newLoop) override
    {
        loop = newLoop;
        AcceptNext();
    }

    void End() override
    {
        isEnded = true;
        for (const auto& [key, call] : calls)
        {
            if (call->hasArrived)
            {
                Finish(*call, grpc::Status::CANCELLED);
            }
        }
    }

private:
    struct SCall
    {
        explicit SCall(CServedCall& owner)
            : arrived([this, &owner](bool ok) { owner.OnArrived(*this, ok); })
            , finished([this, &owner](bool) { owner.Remove(*this); })
        {
        }

        grpc::ServerContext context;
        Request request;
        Response response;
        grpc::ServerAsyncResponseWriter<Response> writer{&context};
        bool hasArrived = false;
        bool isFinished = false;
        Rpc::COperation arrived;
        Rpc::COperation finished;
    };

    void AcceptNext()
    {
        if (isEnded)
        {
            return;
        }
        const auto call = std::make_shared<SCall>(*this);
        calls[call.get()] = call;
        accept(&call->context, &call->request, &call->writer, &loop->Queue(), &call->arrived);
    }

    void OnArrived(SCall& call, bool ok)
    {
        call.hasArrived = ok;
        if (!ok)
        {
            Remove(call);
            return;
        }
        if (isEnded)
        {
            Finish(call, grpc::Status::CANCELLED);
            return;
        }
        AcceptNext();
        gate.Record(operation, ToJson(call.request));
        // the gate may let it go on from another thread, and after this object's end: then the loop drops it
        gate.Pass(operation,
                  [this, loop = loop, weak = std::weak_ptr(calls.at(&call))](const SFault& fault)
                  {
                      loop->Post(
                          [this, weak, fault]
                          {
                              if (const auto waiting = weak.lock())
                              {
                                  Answer(*waiting, fault);
                              }
                          });
                  });
    }

    void Answer(SCall& call, const SFault& fault)
    {
        if (call.isFinished)
        {
            return;
        }
        if (fault.fail)
        {
            Finish(call, {grpc::StatusCode::UNAVAILABLE, "fault set for this operation"});
            return;
        }
        try
        {
            FillResponse(call, fault);
            Finish(call, grpc::Status::OK);
        }
        catch (const std::exception& error)
        {
            Finish(call, {grpc::StatusCode::INTERNAL, error.what()});
        }
    }

    void FillResponse(SCall& call, const SFault& fault)
    {
        if (fault.answer)
        {
            SetAnswer(*fault.answer, call.response);
        }
        else if (fault.refuse)
        {
            SetAnswer(Json::Value(ipc::EResultIllegal), call.response);
        }
        else
        {
            act(call.request, call.response);
        }
    }

    /// A result, a bool, or else a scan that is absent: other operations are not given answers.
    static void SetAnswer(const Json::Value& answer, Response& response)
    {
        if constexpr (std::is_same_v<Response, ipc::MResult>)
        {
            response.set_status(static_cast<ipc::EResult>(answer.asInt()));
        }
        else if constexpr (std::is_same_v<Response, ipc::MBool>)
        {
            response.set_value(answer.asBool());
        }
        else
        {
            response.Clear();
        }
    }

    void Finish(SCall& call, const grpc::Status& status)
    {
        if (call.isFinished)
        {
            return;
        }
        call.isFinished = true;
        if (status.ok())
        {
            call.writer.Finish(call.response, status, &call.finished);
        }
        else
        {
            call.writer.FinishWithError(status, &call.finished);
        }
    }

    /// Later, since it is one of the call's own operations that is running.
    void Remove(SCall& call)
    {
        loop->Post([this, &call] { calls.erase(&call); });
    }

    // Constant after construction
    const SOperation& operation;
    CCallGate& gate;
    const Accept accept;
    const Act act;

    // Touched on the event loop only
    std::shared_ptr<Rpc::CEventLoop> loop;
    std::map<SCall*, std::shared_ptr<SCall>> calls;
    bool isEnded = false;
};

} // namespace Simulator
