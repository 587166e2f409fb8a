#include "simulator/services/callgate.h"

#include "platform/log/log.h"

#include <utility>

namespace Simulator
{

CCallGate::CCallGate(std::shared_ptr<CWorker> worker, CFaultTable& faults, CCallRecorder& recorder)
    : faults(faults)
    , recorder(recorder)
    , delayed(std::make_shared<CDelayedCalls>(std::move(worker)))
{
}

void CCallGate::Record(const SOperation& operation, const Json::Value& request)
{
    recorder.Add(operation, request);
}

void CCallGate::SetHung(std::string_view service, bool isHung)
{
    std::vector<SHeld> released;
    {
        const std::lock_guard lock(mutex);
        if (isHung)
        {
            held.try_emplace(service);
        }
        else if (const auto found = held.find(service); found != held.end())
        {
            released = std::move(found->second);
            held.erase(found);
        }
    }
    for (const SHeld& call : released)
    {
        Pass(*call.operation, call.proceed);
    }
}

void CCallGate::Forget(std::string_view service)
{
    const std::lock_guard lock(mutex);
    held.erase(service);
}

void CCallGate::Pass(const SOperation& operation, const Proceed& proceed)
{
    LOG_DEBUG("{}.{}", operation.service, operation.name);
    if (Hold(operation, proceed))
    {
        return;
    }
    const SFault fault = faults.Take(operation);
    if (fault.hang)
    {
        // the call stays unanswered until its caller gives up or the service ends
        return;
    }
    if (fault.delay.count() > 0)
    {
        delayed->Add(fault.delay, [proceed, fault] { proceed(fault); });
        return;
    }
    proceed(fault);
}

bool CCallGate::Hold(const SOperation& operation, const Proceed& proceed)
{
    const std::lock_guard lock(mutex);
    const auto found = held.find(operation.service);
    if (found == held.end())
    {
        return false;
    }
    found->second.push_back({&operation, proceed});
    return true;
}

} // namespace Simulator
