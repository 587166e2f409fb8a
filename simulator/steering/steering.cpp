#include "simulator/steering/steering.h"

#include "platform/json/jsonutil.h"
#include "platform/log/log.h"
#include "simulator/steering/steeringerror.h"

#include <charconv>
#include <exception>
#include <stdexcept>

namespace Simulator
{

namespace
{

Json::Value ParseBody(const std::string& body)
{
    if (body.empty())
    {
        return Json::nullValue;
    }
    try
    {
        return JsonUtil::ParseObject(body);
    }
    catch (const std::runtime_error& error)
    {
        throw CBadRequest(error.what());
    }
}

SHttpAnswer MakeError(unsigned status, const std::string& reason)
{
    Json::Value json;
    json["Error"] = reason;
    return {status, JsonUtil::WriteUnstyled(json) + "\n"};
}

} // namespace

void CSteering::Add(const std::string& path, const std::string& method, Handler handler)
{
    routes[path][method] = std::move(handler);
}

bool CSteering::Knows(const std::string& path, const std::string& method) const
{
    const auto found = routes.find(path);
    return found != routes.end() && found->second.count(method) > 0;
}

SHttpAnswer CSteering::Handle(const SHttpRequest& request) const
{
    LOG_DEBUG("{} {}", request.method, request.path);
    try
    {
        return {200, JsonUtil::WriteUnstyled(Run(request)) + "\n"};
    }
    catch (const CSteeringError& error)
    {
        return MakeError(error.Status(), error.what());
    }
    catch (const std::exception& error)
    {
        LOG_ERROR("{} {} failed: {}", request.method, request.path, error.what());
        return MakeError(500, error.what());
    }
}

Json::Value CSteering::Run(const SHttpRequest& request) const
{
    const auto route = routes.find(request.path);
    if (route == routes.end())
    {
        throw CSteeringError(404, "there is no " + request.path);
    }
    const auto handler = route->second.find(request.method);
    if (handler == route->second.end())
    {
        throw CSteeringError(405, request.path + " does not take " + request.method);
    }
    return handler->second({request.query, ParseBody(request.body)});
}

double QueryNumber(const SSteeringRequest& request, const char* key, double fallback, double greatest)
{
    const auto found = request.query.find(key);
    if (found == request.query.end())
    {
        return fallback;
    }
    const std::string& text = found->second;
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || !(number >= 0 && number <= greatest))
    {
        throw CBadRequest(std::string(key) + " is no number from 0 to " + std::to_string(greatest));
    }
    return number;
}

std::string QueryText(const SSteeringRequest& request, const char* key)
{
    const auto found = request.query.find(key);
    return found == request.query.end() ? std::string() : found->second;
}

} // namespace Simulator
