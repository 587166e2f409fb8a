#include "platform/rpc/connection.h"

#include "platform/rpc/client.h"
#include "platform/rpc/communicationexception.h"

#include <grpc/grpc.h>

#include <algorithm>
#include <chrono>

namespace Rpc
{

namespace
{

/// How often a call that waits for an absent service looks whether it has been interrupted.
constexpr std::chrono::milliseconds ConnectSlice{100};

using Clock = std::chrono::steady_clock;

gpr_timespec After(Clock::duration time)
{
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
    return gpr_time_add(gpr_now(GPR_CLOCK_MONOTONIC), gpr_time_from_millis(milliseconds, GPR_TIMESPAN));
}

} // namespace

/// Enters a call's context in the connection while it is under way.
class CConnection::CCallInProgress
{
public:
    CCallInProgress(CConnection& connection, grpc::ClientContext& context)
        : connection(connection)
        , context(context)
    {
        const std::lock_guard lock(connection.mutex);
        connection.calls.insert(&context);
        if (connection.interrupted)
        {
            context.TryCancel();
        }
    }

    ~CCallInProgress()
    {
        const std::lock_guard lock(connection.mutex);
        connection.calls.erase(&context);
    }

    CCallInProgress(const CCallInProgress&) = delete;
    CCallInProgress& operator=(const CCallInProgress&) = delete;
    CCallInProgress(CCallInProgress&&) = delete;
    CCallInProgress& operator=(CCallInProgress&&) = delete;

private:
    CConnection& connection;
    grpc::ClientContext& context;
};

CConnection::CConnection(std::string service,
                         std::shared_ptr<grpc::Channel> channel,
                         std::shared_ptr<CNotificationHub> hub)
    : service(std::move(service))
    , channel(std::move(channel))
    , hub(std::move(hub))
{
}

CConnection::~CConnection() = default;

void CConnection::Perform(const char* operation,
                          const std::function<grpc::Status(grpc::ClientContext&)>& call)
{
    AwaitService(operation);

    grpc::ClientContext context;
    const int limit = callTimeLimit;
    if (limit >= 0)
    {
        context.set_deadline(After(std::chrono::seconds(limit)));
    }
    const CCallInProgress inProgress(*this, context);
    const grpc::Status status = call(context);
    if (!status.ok())
    {
        Fail(operation, status.error_message());
    }
}

void CConnection::AwaitService(const char* operation) const
{
    grpc_connectivity_state state = channel->GetState(true);
    if (state == GRPC_CHANNEL_READY)
    {
        return;
    }
    if (state == GRPC_CHANNEL_TRANSIENT_FAILURE)
    {
        grpc::experimental::ChannelResetConnectionBackoff(channel.get());
    }
    const auto deadline = Clock::now() + std::chrono::seconds(connectTimeLimit);
    while (
        !channel->WaitForConnected(After(std::min<Clock::duration>(deadline - Clock::now(), ConnectSlice))))
    {
        if (interrupted || Clock::now() >= deadline)
        {
            Fail(operation, interrupted ? "interrupted" : "service not reached");
        }
    }
}

void CConnection::Fail(const char* operation, const std::string& reason) const
{
    throw CommunicationException(service + "." + operation + ": " + reason);
}

void CConnection::InterruptCalls()
{
    interrupted = true;
    const std::lock_guard lock(mutex);
    for (grpc::ClientContext* context : calls)
    {
        context->TryCancel();
    }
}

void CConnection::ResumeCalls()
{
    interrupted = false;
}

CNotificationHub::CNotificationHub(CEventLoop& loop)
    : loop(loop)
{
}

void CNotificationHub::Add(std::shared_ptr<CSubscription> subscription)
{
    const std::lock_guard lock(mutex);
    waiting.push_back(std::move(subscription));
    if (running)
    {
        StartWaiting();
    }
}

void CNotificationHub::Run()
{
    {
        const std::lock_guard lock(mutex);
        running = true;
        StartWaiting();
    }
    receivers.Run();
}

void CNotificationHub::StartWaiting()
{
    loop.Post(
        [this, starting = std::move(waiting)]
        {
            for (const std::shared_ptr<CSubscription>& subscription : starting)
            {
                subscriptions.push_back(subscription);
                subscription->Start();
            }
        });
    waiting.clear();
}

void CNotificationHub::Stop()
{
    receivers.Close();
}

void CNotificationHub::Cancel()
{
    for (const std::shared_ptr<CSubscription>& subscription : subscriptions)
    {
        subscription->Cancel();
    }
}

void SetCallTimeLimit(CConnection& connection, int seconds)
{
    connection.SetCallTimeLimit(seconds);
}

void SetConnectTimeLimit(CConnection& connection, int seconds)
{
    connection.SetConnectTimeLimit(seconds);
}

} // namespace Rpc
