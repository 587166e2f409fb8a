#include "simulator/steering/jsonreader.h"
#include "simulator/steering/routes.h"
#include "simulator/steering/steeringerror.h"

#include <chrono>
#include <exception>
#include <optional>
#include <string>

namespace Simulator
{

namespace
{

/// seconds
constexpr double LongestWait = 60;
/// the greatest whole number that a query can hold
constexpr double MostCalls = 1e15;

std::chrono::milliseconds ReadWait(const SSteeringRequest& request)
{
    const std::chrono::duration<double> seconds(QueryNumber(request, "wait", 0, LongestWait));
    return std::chrono::duration_cast<std::chrono::milliseconds>(seconds);
}

std::uint64_t ReadCount(const SSteeringRequest& request, const char* key, double fallback)
{
    return static_cast<std::uint64_t>(QueryNumber(request, key, fallback, MostCalls));
}

Json::Value GetCalls(const CCallRecorder& recorder, const SSteeringRequest& request)
{
    SCallFilter filter;
    filter.after = ReadCount(request, "after", 0);
    filter.service = QueryText(request, "service");
    filter.operation = QueryText(request, "operation");
    const auto count = static_cast<std::size_t>(ReadCount(request, "count", 1));

    Json::Value answer;
    answer["Calls"] = Json::Value(Json::arrayValue);
    for (const SCall& call : recorder.WaitFor(filter, count, ReadWait(request)))
    {
        answer["Calls"].append(ToJson(call));
    }
    answer["Last"] = Json::UInt64{recorder.LastNumber()};
    return answer;
}

Json::Value DeleteCalls(CCallRecorder& recorder)
{
    recorder.Clear();
    Json::Value answer;
    answer["Last"] = Json::UInt64{recorder.LastNumber()};
    return answer;
}

Json::Value ShowController(CController& controller, std::uint64_t after)
{
    Json::Value answer = controller.Record().ToJson(after);
    answer["Mode"] = controller.Mode() == CController::EMode::Automatic ? "auto" : "manual";
    return answer;
}

Json::Value GetController(CController& controller, const SSteeringRequest& request)
{
    CControllerRecord::SCondition condition;
    if (request.query.count("after") > 0)
    {
        condition.after = ReadCount(request, "after", 0);
    }
    if (request.query.count("state") > 0)
    {
        condition.state = static_cast<int>(ReadCount(request, "state", 0));
    }
    condition.alive = ReadCount(request, "alive", 0);
    const std::string connected = QueryText(request, "connected");
    if (!connected.empty() && connected != "true" && connected != "false")
    {
        throw CBadRequest("connected is neither true nor false");
    }
    if (!connected.empty())
    {
        condition.isConnected = connected == "true";
    }
    controller.Record().WaitFor(condition, ReadWait(request));
    return ShowController(controller, condition.after.value_or(0));
}

Json::Value PostController(CController& controller, const SSteeringRequest& request)
{
    CJsonReader reader(request.body);
    const std::string mode = reader.Text("Mode");
    reader.RefuseOthers();
    if (mode != "auto" && mode != "manual")
    {
        throw CBadRequest("Mode is neither auto nor manual");
    }
    controller.SetMode(mode == "auto" ? CController::EMode::Automatic : CController::EMode::Manual);
    return ShowController(controller, 0);
}

Json::Value SendByHand(CController& controller, ERequest request)
{
    Json::Value answer;
    try
    {
        answer["Code"] = controller.Send(request);
    }
    catch (const std::exception& error)
    {
        throw CSteeringError(502, error.what());
    }
    return answer;
}

} // namespace

void AddCallRoutes(CSteering& steering, CCallRecorder& recorder)
{
    steering.Add("/calls", "GET", [&recorder](const auto& request) { return GetCalls(recorder, request); });
    steering.Add("/calls", "DELETE", [&recorder](const auto&) { return DeleteCalls(recorder); });
}

void AddControllerRoutes(CSteering& steering, CController& controller)
{
    steering.Add("/controller",
                 "GET",
                 [&controller](const auto& request) { return GetController(controller, request); });
    steering.Add("/controller",
                 "POST",
                 [&controller](const auto& request) { return PostController(controller, request); });
    steering.Add("/controller/enable",
                 "POST",
                 [&controller](const auto&) { return SendByHand(controller, ERequest::Enable); });
    steering.Add("/controller/disable",
                 "POST",
                 [&controller](const auto&) { return SendByHand(controller, ERequest::Disable); });
}

} // namespace Simulator
