#include "simulator/faulttable.h"

#include <utility>

namespace Simulator
{

namespace
{

Json::Value FaultToJson(std::string_view service, std::string_view operation, const SFault& fault)
{
    Json::Value json(Json::objectValue);
    json["Service"] = std::string(service);
    json["Operation"] = std::string(operation);
    if (fault.delay.count() > 0)
    {
        json["DelayMs"] = Json::Int64{fault.delay.count()};
    }
    if (fault.answer)
    {
        json["Answer"] = *fault.answer;
    }
    for (const auto& [name, isSet] :
         {std::pair{"Refuse", fault.refuse}, std::pair{"Fail", fault.fail}, std::pair{"Hang", fault.hang}})
    {
        if (isSet)
        {
            json[name] = true;
        }
    }
    if (fault.times > 0)
    {
        json["Times"] = fault.times;
    }
    return json;
}

} // namespace

void CFaultTable::Add(const SOperation& operation, const SFault& fault)
{
    const std::lock_guard lock(mutex);
    std::deque<SFault>& queue = faults[{operation.service, operation.name}];
    if (!queue.empty() && queue.back().times == 0)
    {
        queue.pop_back();
    }
    queue.push_back(fault);
}

SFault CFaultTable::Take(const SOperation& operation)
{
    const std::lock_guard lock(mutex);
    const auto found = faults.find({operation.service, operation.name});
    if (found == faults.end())
    {
        return {};
    }
    std::deque<SFault>& queue = found->second;
    const SFault fault = queue.front();
    if (fault.times > 0 && --queue.front().times == 0)
    {
        queue.pop_front();
    }
    if (queue.empty())
    {
        faults.erase(found);
    }
    return fault;
}

void CFaultTable::Remove(std::string_view service, std::string_view operation)
{
    const std::lock_guard lock(mutex);
    for (auto entry = faults.begin(); entry != faults.end();)
    {
        const auto& [entryService, entryOperation] = entry->first;
        const bool isMeant = (service.empty() || service == entryService) &&
                             (operation.empty() || operation == entryOperation);
        entry = isMeant ? faults.erase(entry) : std::next(entry);
    }
}

Json::Value CFaultTable::ToJson() const
{
    Json::Value array(Json::arrayValue);
    const std::lock_guard lock(mutex);
    for (const auto& [key, queue] : faults)
    {
        for (const SFault& fault : queue)
        {
            array.append(FaultToJson(key.first, key.second, fault));
        }
    }
    return array;
}

} // namespace Simulator
