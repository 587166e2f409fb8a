#include "simulator/steering/jsonreader.h"
#include "simulator/steering/routes.h"
#include "simulator/steering/steeringerror.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace Simulator
{

namespace
{

/// milliseconds
constexpr std::int64_t LongestDelay = 3'600'000;
constexpr std::int64_t MostTimes = 1'000'000;

std::string FullName(const SOperation& operation)
{
    return std::string(operation.service) + "." + std::string(operation.name);
}

std::string_view ReadService(CJsonReader& reader)
{
    const std::string name = reader.Text("Service");
    if (!IsServiceName(name))
    {
        throw CBadRequest("there is no service " + name);
    }
    return *std::find(ServiceNames.begin(), ServiceNames.end(), name);
}

const SOperation& ReadOperation(CJsonReader& reader)
{
    const std::string_view service = ReadService(reader);
    const std::string name = reader.Text("Operation");
    const SOperation* const operation = FindOperation(service, name);
    if (operation == nullptr)
    {
        throw CBadRequest("there is no operation " + std::string(service) + "." + name);
    }
    return *operation;
}

/// @return null if such an answer can be given, or what it should be
const char* FaultOfAnswer(EAnswer kind, const Json::Value& answer)
{
    switch (kind)
    {
    case EAnswer::Result:
        return answer.isInt() ? nullptr : "Answer is no integer";
    case EAnswer::Bool:
        return answer.isBool() ? nullptr : "Answer is neither true nor false";
    case EAnswer::WlanScan:
        return answer.isNull() ? nullptr
                               : "Answer can only be null, for a scan that failed; set the rest with /wlan";
    default:
        return "Answer can't be set for this operation";
    }
}

void CheckFits(const SOperation& operation, const SFault& fault)
{
    if (fault.answer)
    {
        const char* const reason = FaultOfAnswer(operation.answer, *fault.answer);
        if (reason != nullptr)
        {
            throw CBadRequest(FullName(operation) + ": " + reason);
        }
    }
    if (fault.refuse && operation.answer != EAnswer::Result)
    {
        throw CBadRequest(FullName(operation) + " answers with no result that could refuse");
    }
    if (fault.fail && operation.answer == EAnswer::Notification)
    {
        throw CBadRequest(FullName(operation) + " is a notification: it can only be delayed or hang");
    }
}

void CheckIsOne(const SFault& fault)
{
    const std::array kinds{fault.answer.has_value(), fault.refuse, fault.fail, fault.hang};
    const auto count = std::count(kinds.begin(), kinds.end(), true);
    if (count > 1 || (count == 0 && fault.delay.count() == 0))
    {
        throw CBadRequest("one of Answer, Refuse, Fail and Hang is needed, or DelayMs");
    }
}

Json::Value PostFault(CFaultTable& faults, const SSteeringRequest& request)
{
    CJsonReader reader(request.body);
    const SOperation& operation = ReadOperation(reader);
    SFault fault;
    if (reader.Has("Answer"))
    {
        fault.answer = reader.Any("Answer");
    }
    fault.delay = std::chrono::milliseconds(reader.OptionalInteger("DelayMs", 0, LongestDelay).value_or(0));
    fault.refuse = reader.OptionalBool("Refuse").value_or(false);
    fault.fail = reader.OptionalBool("Fail").value_or(false);
    fault.hang = reader.OptionalBool("Hang").value_or(false);
    fault.times = static_cast<unsigned>(reader.OptionalInteger("Times", 1, MostTimes).value_or(0));
    reader.RefuseOthers();
    CheckIsOne(fault);
    CheckFits(operation, fault);
    faults.Add(operation, fault);
    return faults.ToJson();
}

Json::Value DeleteFaults(CFaultTable& faults, const SSteeringRequest& request)
{
    faults.Remove(QueryText(request, "service"), QueryText(request, "operation"));
    return faults.ToJson();
}

EServiceState ReadServiceState(CJsonReader& reader)
{
    const std::string state = reader.Text("State");
    if (state == "up")
    {
        return EServiceState::Up;
    }
    if (state == "down")
    {
        return EServiceState::Down;
    }
    if (state == "hung")
    {
        return EServiceState::Hung;
    }
    throw CBadRequest("State is none of up, down, hung");
}

Json::Value PostService(CStationServices& services, const SSteeringRequest& request)
{
    CJsonReader reader(request.body);
    const std::string_view name = ReadService(reader);
    const EServiceState state = ReadServiceState(reader);
    reader.RefuseOthers();
    services.SetState(name, state);
    return services.ToJson();
}

} // namespace

void AddFaultRoutes(CSteering& steering, CFaultTable& faults, CStationServices& services)
{
    steering.Add("/fault", "GET", [&faults](const auto&) { return faults.ToJson(); });
    steering.Add("/fault", "POST", [&faults](const auto& request) { return PostFault(faults, request); });
    steering.Add(
        "/fault", "DELETE", [&faults](const auto& request) { return DeleteFaults(faults, request); });
    steering.Add("/service", "GET", [&services](const auto&) { return services.ToJson(); });
    steering.Add(
        "/service", "POST", [&services](const auto& request) { return PostService(services, request); });
}

} // namespace Simulator
