#pragma once

#include "platform/rpc/eventloop.h"
#include "platform/rpc/subscription.h"

#include <grpcpp/channel.h>
#include <grpcpp/client_context.h>
#include <grpcpp/support/status.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Rpc
{

class CNotificationHub;

/// One service as this process reaches it: its channel, the time limits of its calls, and the calls under
/// way. Threads: any.
class CConnection
{
public:
    CConnection(std::string service,
                std::shared_ptr<grpc::Channel> channel,
                std::shared_ptr<CNotificationHub> hub);
    ~CConnection();
    CConnection(const CConnection&) = delete;
    CConnection& operator=(const CConnection&) = delete;
    CConnection(CConnection&&) = delete;
    CConnection& operator=(CConnection&&) = delete;

    void SetCallTimeLimit(int seconds) { callTimeLimit = seconds; }
    void SetConnectTimeLimit(int seconds) { connectTimeLimit = seconds; }

    const std::shared_ptr<grpc::Channel>& Channel() const { return channel; }

    /// Makes one call and waits for its answer.
    /// @throws CommunicationException
    template <class Stub, class Request, class Response>
    Response Call(const char* operation,
                  Stub& stub,
                  grpc::Status (Stub::*method)(grpc::ClientContext*, const Request&, Response*),
                  const Request& request)
    {
        Response response;
        Perform(operation,
                [&](grpc::ClientContext& context) { return (stub.*method)(&context, request, &response); });
        return response;
    }

    /// Has @p receive run on the notification thread for each message of a stream, for as long as the
    /// transport runs.
    template <class Message>
    void Subscribe(const char* operation,
                   typename CTypedSubscription<Message>::Prepare prepare,
                   typename CTypedSubscription<Message>::Receive receive);

    /// Lets calls under way fail, and those that follow until ResumeCalls.
    void InterruptCalls();
    void ResumeCalls();

private:
    class CCallInProgress;

    void Perform(const char* operation, const std::function<grpc::Status(grpc::ClientContext&)>& call);
    void AwaitService(const char* operation) const;
    [[noreturn]] void Fail(const char* operation, const std::string& reason) const;

    // Constant after construction
    const std::string service;
    const std::shared_ptr<grpc::Channel> channel;
    const std::shared_ptr<CNotificationHub> hub;

    std::atomic<int> callTimeLimit{-1};
    std::atomic<int> connectTimeLimit{1};
    std::atomic<bool> interrupted{false};

    std::mutex mutex;

    // Guarded by mutex
    std::set<grpc::ClientContext*> calls;
};

/// All notifications of a process, delivered one at a time on the thread of Run, in order of arrival.
/// Threads: Run on one; Add and Stop from any; Cancel on the event loop.
class CNotificationHub
{
public:
    explicit CNotificationHub(CEventLoop& loop);
    CNotificationHub(const CNotificationHub&) = delete;
    CNotificationHub& operator=(const CNotificationHub&) = delete;
    CNotificationHub(CNotificationHub&&) = delete;
    CNotificationHub& operator=(CNotificationHub&&) = delete;
    ~CNotificationHub() = default;

    /// Makes a subscription, which starts once Run runs.
    template <class Message>
    void Add(std::string name,
             typename CTypedSubscription<Message>::Prepare prepare,
             typename CTypedSubscription<Message>::Receive receive)
    {
        Add(std::make_shared<CTypedSubscription<Message>>(
            loop, receivers, std::move(name), std::move(prepare), std::move(receive)));
    }

    /// Delivers until Stop.
    void Run();
    void Stop();

    /// Ends all subscriptions.
    void Cancel();

private:
    void Add(std::shared_ptr<CSubscription> subscription);
    void StartWaiting();

    // Constant after construction
    CEventLoop& loop;

    CTaskQueue receivers;

    std::mutex mutex;

    // Guarded by mutex
    std::vector<std::shared_ptr<CSubscription>> waiting;
    bool running = false;

    // Touched on the event loop only
    std::vector<std::shared_ptr<CSubscription>> subscriptions;
};

template <class Message>
void CConnection::Subscribe(const char* operation,
                            typename CTypedSubscription<Message>::Prepare prepare,
                            typename CTypedSubscription<Message>::Receive receive)
{
    hub->Add<Message>(service + "." + operation, std::move(prepare), std::move(receive));
}

} // namespace Rpc
