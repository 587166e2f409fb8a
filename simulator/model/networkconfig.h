#pragma once

#include "contracts/station.pb.h"

#include <json/value.h>

#include <map>
#include <optional>
#include <string>

namespace Simulator
{

/// What the configuration wants of one interface.
struct SInterfaceConfig
{
    bool isEnabled = false;
    bool usesDhcp = true;
    std::string address;
    std::string netmask;
    std::string gateway;
    /// of the WLAN only
    std::string ssid;
    std::string password;
    bool isDnsAutomatic = true;
    std::string preferredDns;
    std::string alternativeDns;

    bool operator==(const SInterfaceConfig& other) const;
};

/// The network part of the station's configuration.
using NetworkConfig = std::map<ipc::EIfName, SInterfaceConfig>;

/// Takes the settings out of the files "network" and "secrets". One that is absent or of another type than it
/// should be counts as false or empty.
NetworkConfig ParseNetworkConfig(const Json::Value& network, const Json::Value& secrets);

/// What is wrong with it, nothing if all is well. An enabled interface needs an IPv4 address and netmask if
/// it has no DHCP, and the IPv4 address of the preferred DNS server if DNS is not automatic; the rest is an
/// address or empty.
std::optional<std::string> FindFault(const NetworkConfig& config);

} // namespace Simulator
