#include "simulator/model/networkconfig.h"

#include <arpa/inet.h>

#include <array>
#include <tuple>

namespace Simulator
{

namespace
{

bool GetBool(const Json::Value& file, const char* key)
{
    return file.isMember(key) && file[key].isBool() && file[key].asBool();
}

std::string GetString(const Json::Value& file, const char* key)
{
    return file.isMember(key) && file[key].isString() ? file[key].asString() : std::string();
}

bool IsIpv4(const std::string& text)
{
    in_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

bool IsIpv4OrEmpty(const std::string& text)
{
    return text.empty() || IsIpv4(text);
}

std::optional<std::string> FindFault(const SInterfaceConfig& config)
{
    if (!config.usesDhcp && (!IsIpv4(config.address) || !IsIpv4(config.netmask)))
    {
        return "neither DHCP nor an IPv4 address and netmask";
    }
    if (!config.usesDhcp && !IsIpv4OrEmpty(config.gateway))
    {
        return "the gateway is no IPv4 address";
    }
    if (!config.isDnsAutomatic && (!IsIpv4(config.preferredDns) || !IsIpv4OrEmpty(config.alternativeDns)))
    {
        return "DNS is not automatic, and a server is no IPv4 address";
    }
    return std::nullopt;
}

void ReadDns(const Json::Value& network, SInterfaceConfig& config)
{
    config.isDnsAutomatic = GetBool(network, "NetMDnsAuto");
    config.preferredDns = GetString(network, "NetMPreferredDnsServerAddr");
    config.alternativeDns = GetString(network, "NetMAlternativeDnsServerAddr");
}

} // namespace

bool SInterfaceConfig::operator==(const SInterfaceConfig& other) const
{
    const auto tie = [](const SInterfaceConfig& one)
    {
        return std::tie(one.isEnabled,
                        one.usesDhcp,
                        one.address,
                        one.netmask,
                        one.gateway,
                        one.ssid,
                        one.password,
                        one.isDnsAutomatic,
                        one.preferredDns,
                        one.alternativeDns);
    };
    return tie(*this) == tie(other);
}

NetworkConfig ParseNetworkConfig(const Json::Value& network, const Json::Value& secrets)
{
    NetworkConfig config;
    SInterfaceConfig& ethernet = config[ipc::EIfNameEthernet];
    ethernet.isEnabled = GetBool(network, "NetMEthEnable");
    ethernet.usesDhcp = GetBool(network, "NetMEthDhcpEnable");
    ethernet.address = GetString(network, "NetMEthIpv4Addr");
    ethernet.netmask = GetString(network, "NetMEthIpv4Netmask");
    ethernet.gateway = GetString(network, "NetMEthGatewayAddr");
    ReadDns(network, ethernet);

    SInterfaceConfig& wlan = config[ipc::EIfNameWlan];
    wlan.isEnabled = GetBool(network, "NetMWlanEnable");
    wlan.usesDhcp = GetBool(network, "NetMWlanDhcpEnable");
    wlan.address = GetString(network, "NetMWlanIpv4Addr");
    wlan.netmask = GetString(network, "NetMWlanIpv4Netmask");
    wlan.ssid = GetString(network, "NetMSsid");
    wlan.password = GetString(secrets, "WlanStaPassword");
    ReadDns(network, wlan);

    config[ipc::EIfNameAccessPoint].isEnabled = GetBool(network, "NetMApEnable");
    config[ipc::EIfNameLte].isEnabled = GetBool(network, "NetMLteEnable");
    config[ipc::EIfNamePlc].isEnabled = GetBool(network, "NetMPlcEnable");
    return config;
}

std::optional<std::string> FindFault(const NetworkConfig& config)
{
    for (const auto& [interface, interfaceConfig] : config)
    {
        if (!interfaceConfig.isEnabled)
        {
            continue;
        }
        if (const auto fault = FindFault(interfaceConfig))
        {
            return ipc::EIfName_Name(interface) + ": " + *fault;
        }
    }
    return std::nullopt;
}

} // namespace Simulator
