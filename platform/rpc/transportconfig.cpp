#include "platform/rpc/transportconfig.h"

#include <json/reader.h>
#include <json/value.h>

#include <sys/un.h>

#include <fstream>
#include <stdexcept>
#include <string_view>

namespace Rpc
{

namespace
{

constexpr std::string_view FileUnderRoot = "etc/iipc.json";
constexpr std::string_view UnixPrefix = "unix:";
constexpr std::size_t MaxUnixPathLength = sizeof(sockaddr_un::sun_path) - 1;

[[noreturn]] void Fail(const std::string& path, const std::string& reason)
{
    throw std::runtime_error("Transport configuration " + path + ": " + reason);
}

Json::Value ParseFile(const std::string& path)
{
    std::ifstream file(path);
    if (!file)
    {
        Fail(path, "cannot be read");
    }
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    Json::Value config;
    std::string errors;
    if (!Json::parseFromStream(builder, file, &config, &errors))
    {
        Fail(path, errors);
    }
    return config;
}

std::string RootOf(const std::string& path)
{
    const std::size_t rootLength =
        path.size() < FileUnderRoot.size() ? 0 : path.size() - FileUnderRoot.size();
    return path.compare(rootLength, std::string::npos, FileUnderRoot) == 0 ? path.substr(0, rootLength) : "";
}

bool IsHostAndPort(const std::string& address)
{
    const std::size_t colon = address.rfind(':');
    const std::string port = colon == std::string::npos ? "" : address.substr(colon + 1);
    return colon > 0 && !port.empty() && port.size() <= 5 &&
           port.find_first_not_of("0123456789") == std::string::npos;
}

std::string ReadAddress(const Json::Value& value, const std::string& name, const std::string& path)
{
    if (!value.isString())
    {
        Fail(path, "the address of \"" + name + "\" is missing or not a string");
    }
    const std::string address = value.asString();
    if (address.compare(0, UnixPrefix.size(), UnixPrefix) != 0)
    {
        if (!IsHostAndPort(address))
        {
            Fail(path,
                 "the address \"" + address + "\" of \"" + name + "\" is neither unix:PATH nor HOST:PORT");
        }
        return address;
    }

    const std::string socketPath = address.substr(UnixPrefix.size());
    const std::string fullPath =
        socketPath.empty() || socketPath.front() == '/' ? socketPath : RootOf(path) + socketPath;
    if (socketPath.empty() || fullPath.size() > MaxUnixPathLength)
    {
        Fail(path, "the socket path \"" + fullPath + "\" of \"" + name + "\" is empty or too long");
    }
    return std::string(UnixPrefix) + fullPath;
}

} // namespace

const std::string& STransportConfig::AddressOf(const std::string& service) const
{
    const auto found = services.find(service);
    if (found == services.end())
    {
        Fail(path, "service \"" + service + "\" is missing");
    }
    return found->second;
}

STransportConfig ReadTransportConfig(const std::string& path)
{
    const Json::Value config = ParseFile(path);
    if (!config.isObject() || !config["Services"].isObject())
    {
        Fail(path, "an object with \"Listen\" and the object \"Services\" is expected");
    }

    STransportConfig result;
    result.path = path;
    result.listen = ReadAddress(config["Listen"], "Listen", path);
    const Json::Value& services = config["Services"];
    for (const std::string& name : services.getMemberNames())
    {
        result.services[name] = ReadAddress(services[name], name, path);
    }
    return result;
}

} // namespace Rpc
