#include "platform/rpc/subscription.h"

#include "platform/rpc/transportlog.h"

#include <algorithm>
#include <exception>

namespace Rpc
{

namespace
{

constexpr std::chrono::milliseconds FirstBackOff{100};
constexpr std::chrono::milliseconds LongestBackOff{5000};

} // namespace

CSubscription::CSubscription(CEventLoop& loop, CTaskQueue& receivers, std::string name)
    : loop(loop)
    , receivers(receivers)
    , name(std::move(name))
    , started([this](bool ok) { OnStarted(ok); })
    , read([this](bool ok) { OnRead(ok); })
    , finished([this](bool) { OnFinished(); })
    , retry([this](bool) { OnRetry(); })
    , backOff(FirstBackOff)
{
}

void CSubscription::Start()
{
    EndStream();
    context.emplace();
    context->set_wait_for_ready(true);
    streamBegin = std::chrono::steady_clock::now();
    BeginStream(*context, started);
}

void CSubscription::Cancel()
{
    cancelled = true;
    if (context)
    {
        context->TryCancel();
    }
    retryAlarm.Cancel();
}

void CSubscription::OnStarted(bool ok)
{
    if (!cancelled)
    {
        ok ? BeginRead(read) : BeginFinish(status, finished);
    }
}

void CSubscription::OnRead(bool ok)
{
    if (cancelled)
    {
        return;
    }
    if (!ok)
    {
        BeginFinish(status, finished);
        return;
    }
    backOff = FirstBackOff;
    receivers.Post(
        [this]
        {
            DeliverContained();
            loop.Post([this] { ReadNext(); });
        });
}

void CSubscription::ReadNext()
{
    if (!cancelled)
    {
        BeginRead(read);
    }
}

void CSubscription::OnFinished()
{
    if (cancelled)
    {
        return;
    }
    TransportLog().Debug(name + " ended: " + status.error_message());
    if (std::chrono::steady_clock::now() - streamBegin >= LongestBackOff)
    {
        backOff = FirstBackOff;
    }
    const gpr_timespec wait = gpr_time_from_millis(backOff.count(), GPR_TIMESPAN);
    retryAlarm.Set(&loop.Queue(), gpr_time_add(gpr_now(GPR_CLOCK_MONOTONIC), wait), &retry);
    backOff = std::min(2 * backOff, LongestBackOff);
}

void CSubscription::OnRetry()
{
    if (!cancelled)
    {
        Start();
    }
}

void CSubscription::DeliverContained()
{
    try
    {
        Deliver();
    }
    catch (const std::exception& error)
    {
        TransportLog().Error("Receiver of " + name + " failed: " + error.what());
    }
    catch (...)
    {
        TransportLog().Error("Receiver of " + name + " failed.");
    }
}

} // namespace Rpc
