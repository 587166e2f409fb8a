#include "tests/support/steeringclient.h"

#include <json/reader.h>

#include <chrono>
#include <memory>
#include <stdexcept>

#include "tests/support/rawhttp.h"

namespace
{

/// How long the station is asked to wait for what must happen, and the connection a little longer.
constexpr std::chrono::seconds Patience{20};
constexpr std::chrono::seconds ConnectionPatience{30};

std::string PatientQuery()
{
    return "wait=" + std::to_string(Patience.count());
}

std::string CallsTarget(const std::string& service, const std::string& operation, std::uint64_t after)
{
    return "/calls?service=" + service + "&operation=" + operation + "&after=" + std::to_string(after);
}

Json::Value ParseBody(const std::string& body)
{
    Json::Value json;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    const bool isJson = reader->parse(body.data(), body.data() + body.size(), &json, nullptr);
    return isJson ? json : Json::Value();
}

} // namespace

CSteeringClient::CSteeringClient(std::uint16_t port)
    : port(port)
{
}

SSteeringAnswer CSteeringClient::Get(const std::string& target) const
{
    return Request("GET", target, {});
}

SSteeringAnswer CSteeringClient::Delete(const std::string& target) const
{
    return Request("DELETE", target, {});
}

SSteeringAnswer CSteeringClient::Post(const std::string& path, const std::string& body) const
{
    return Request("POST", path, body);
}

std::uint64_t CSteeringClient::LastCall() const
{
    return Get("/calls?after=1e15").body["Last"].asUInt64();
}

Json::Value CSteeringClient::AwaitCall(const std::string& service,
                                       const std::string& operation,
                                       std::uint64_t after) const
{
    const Json::Value calls =
        Get(CallsTarget(service, operation, after) + "&" + PatientQuery()).body["Calls"];
    if (calls.empty())
    {
        throw std::runtime_error("no call of " + service + "." + operation + " arrived");
    }
    return calls[0];
}

Json::Value
CSteeringClient::Calls(const std::string& service, const std::string& operation, std::uint64_t after) const
{
    return Get(CallsTarget(service, operation, after)).body["Calls"];
}

void CSteeringClient::AwaitProcessState(int state) const
{
    const Json::Value controller =
        Get("/controller?state=" + std::to_string(state) + "&" + PatientQuery()).body;
    if (controller["State"] != state)
    {
        throw std::runtime_error("the process does not reach state " + std::to_string(state));
    }
}

SSteeringAnswer
CSteeringClient::Request(const char* method, const std::string& target, const std::string& body) const
{
    CRawHttp client(port, ConnectionPatience);
    const SHttpResponse response = client.Request(method, target, {}, body);
    return {response.status, ParseBody(response.body)};
}
