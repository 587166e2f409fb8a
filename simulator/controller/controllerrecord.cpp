#include "simulator/controller/controllerrecord.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Simulator
{

namespace
{

/// states
constexpr std::size_t ReportsKept = 1000;

} // namespace

CControllerRecord::CControllerRecord(UtcSource utcNow)
    : utcNow(std::move(utcNow))
{
}

void CControllerRecord::AddState(int state)
{
    {
        const std::lock_guard lock(mutex);
        reports.push_back({++lastNumber, state, utcNow()});
        if (reports.size() > ReportsKept)
        {
            reports.pop_front();
        }
        presentState = state;
    }
    changed.notify_all();
}

void CControllerRecord::AddAlive()
{
    {
        const std::lock_guard lock(mutex);
        ++aliveCount;
        lastAlive = utcNow();
    }
    changed.notify_all();
}

void CControllerRecord::SetDisconnected()
{
    {
        const std::lock_guard lock(mutex);
        presentState.reset();
    }
    changed.notify_all();
}

void CControllerRecord::WaitFor(const SCondition& condition, std::chrono::milliseconds limit) const
{
    std::unique_lock lock(mutex);
    changed.wait_for(lock, limit, [&] { return isWaitingEnded || Holds(condition); });
}

bool CControllerRecord::Holds(const SCondition& condition) const
{
    return IsStateReached(condition) && aliveCount >= condition.alive &&
           (!condition.isConnected || presentState.has_value() == *condition.isConnected);
}

bool CControllerRecord::IsStateReached(const SCondition& condition) const
{
    if (!condition.after)
    {
        return !condition.state || presentState == condition.state;
    }
    return std::any_of(reports.begin(),
                       reports.end(),
                       [&condition](const SReport& report) {
                           return report.number > *condition.after &&
                                  report.state == condition.state.value_or(report.state);
                       });
}

Json::Value CControllerRecord::ToJson(std::uint64_t after) const
{
    const std::lock_guard lock(mutex);
    Json::Value json;
    json["Connected"] = presentState.has_value();
    json["State"] = presentState ? Json::Value(*presentState) : Json::Value();
    json["States"] = Json::Value(Json::arrayValue);
    for (const SReport& report : reports)
    {
        if (report.number > after)
        {
            Json::Value entry;
            entry["Number"] = Json::UInt64{report.number};
            entry["State"] = report.state;
            entry["Time"] = ToIsoText(report.time);
            json["States"].append(entry);
        }
    }
    json["Alive"]["Count"] = Json::UInt64{aliveCount};
    json["Alive"]["Time"] = lastAlive ? Json::Value(ToIsoText(*lastAlive)) : Json::Value();
    return json;
}

void CControllerRecord::EndWaiting()
{
    {
        const std::lock_guard lock(mutex);
        isWaitingEnded = true;
    }
    changed.notify_all();
}

} // namespace Simulator
