#include "simulator/callrecorder.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Simulator
{

namespace
{

/// calls
constexpr std::size_t CallsKept = 10000;

bool Matches(const SCall& call, const SCallFilter& filter)
{
    return call.number > filter.after && (filter.service.empty() || filter.service == call.service) &&
           (filter.operation.empty() || filter.operation == call.operation);
}

} // namespace

CCallRecorder::CCallRecorder(UtcSource utcNow)
    : utcNow(std::move(utcNow))
{
}

void CCallRecorder::Add(const SOperation& operation, Json::Value request)
{
    {
        const std::lock_guard lock(mutex);
        calls.push_back({++lastNumber, operation.service, operation.name, std::move(request), utcNow()});
        if (calls.size() > CallsKept)
        {
            calls.pop_front();
        }
    }
    changed.notify_all();
}

std::vector<SCall> CCallRecorder::Find(const SCallFilter& filter) const
{
    const std::lock_guard lock(mutex);
    return Matching(filter);
}

std::vector<SCall>
CCallRecorder::WaitFor(const SCallFilter& filter, std::size_t count, std::chrono::milliseconds limit) const
{
    std::unique_lock lock(mutex);
    const auto areThere = [&]
    {
        const auto matches = [&filter](const SCall& call) { return Matches(call, filter); };
        return static_cast<std::size_t>(std::count_if(calls.begin(), calls.end(), matches)) >= count;
    };
    changed.wait_for(lock, limit, [&] { return isWaitingEnded || areThere(); });
    return Matching(filter);
}

std::vector<SCall> CCallRecorder::Matching(const SCallFilter& filter) const
{
    std::vector<SCall> matching;
    std::copy_if(calls.begin(),
                 calls.end(),
                 std::back_inserter(matching),
                 [&](const SCall& call) { return Matches(call, filter); });
    return matching;
}

std::uint64_t CCallRecorder::LastNumber() const
{
    const std::lock_guard lock(mutex);
    return lastNumber;
}

void CCallRecorder::Clear()
{
    const std::lock_guard lock(mutex);
    calls.clear();
}

void CCallRecorder::EndWaiting()
{
    {
        const std::lock_guard lock(mutex);
        isWaitingEnded = true;
    }
    changed.notify_all();
}

Json::Value ToJson(const SCall& call)
{
    Json::Value json;
    json["Number"] = Json::UInt64{call.number};
    json["Service"] = std::string(call.service);
    json["Operation"] = std::string(call.operation);
    json["Request"] = call.request;
    json["Time"] = ToIsoText(call.time);
    return json;
}

} // namespace Simulator
