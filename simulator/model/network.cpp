#include "simulator/model/network.h"

#include "platform/log/log.h"
#include "simulator/messagejson.h"
#include "simulator/model/signals.h"

#include <algorithm>
#include <utility>

namespace Simulator
{

namespace
{

constexpr const char* OpenSecurity = "Open";
/// dBm
constexpr int LteSignalStrength = -71;

SWlanNetwork
MakeWlan(const char* ssid, const char* security, int strength, unsigned channel, const char* password)
{
    SWlanNetwork network;
    network.scan.set_ssid(ssid);
    network.scan.set_security(security);
    network.scan.set_signal_strength(strength);
    network.scan.set_channel(channel);
    network.password = password;
    return network;
}

void SetProperties(ipc::MNetStatus& status, const char* address, const char* netmask, const char* gateway)
{
    status.mutable_net_properties()->set_ipv4_addr(address);
    status.mutable_net_properties()->set_ipv4_netmask(netmask);
    status.mutable_net_properties()->set_gateway(gateway);
}

void SetDns(ipc::MNetStatus& status, const SInterfaceConfig& config)
{
    ipc::MNetStatus::MNetDns& dns = *status.mutable_net_dns();
    dns.set_preferred_dns_server(config.isDnsAutomatic ? "192.0.2.1" : config.preferredDns);
    dns.set_alternative_dns_server(config.isDnsAutomatic ? "" : config.alternativeDns);
}

/// Address and DNS of an interface that the configuration gives an address to.
void SetUp(ipc::MNetStatus& status, const SInterfaceConfig& config, const char* dhcpAddress)
{
    if (config.usesDhcp)
    {
        SetProperties(status, dhcpAddress, "255.255.255.0", "192.0.2.1");
    }
    else
    {
        SetProperties(status, config.address.c_str(), config.netmask.c_str(), config.gateway.c_str());
    }
    SetDns(status, config);
}

void SetLte(ipc::MNetStatus& status)
{
    status.set_signal_strength(LteSignalStrength);
    ipc::MNetStatus::MLteInfo& info = *status.mutable_lte_info();
    info.set_carrier("Simulated Mobile");
    info.set_technology("LTE-M");
    info.set_iccid("8900000000000000001");
    info.set_imsi("001010000000001");
    info.set_imei("350000000000001");
}

void Connect(ipc::MNetStatus& status, const SInterfaceConfig& config)
{
    status.set_status(ipc::ENetStatusConnected);
    switch (status.interface())
    {
    case ipc::EIfNameEthernet:
        SetUp(status, config, "192.0.2.50");
        break;
    case ipc::EIfNameWlan:
        SetUp(status, config, "192.0.2.51");
        break;
    case ipc::EIfNameAccessPoint:
        SetProperties(status, "192.0.2.129", "255.255.255.128", "");
        break;
    case ipc::EIfNameLte:
        SetLte(status);
        break;
    default:
        break;
    }
}

} // namespace

CNetwork::CNetwork(Output networkStatus)
    : networkStatus(std::move(networkStatus))
    , neighbourhood{MakeWlan("Home", "WPA2", -48, 6, "home-password"),
                    MakeWlan("Workshop", "WPA3", -67, 11, "workshop-password"),
                    MakeWlan("Guests", OpenSecurity, -80, 1, "")}
{
}

ipc::MScanWlan CNetwork::Scan() const
{
    const std::lock_guard lock(mutex);
    ipc::MScanWlan scan;
    for (const SWlanNetwork& network : neighbourhood)
    {
        *scan.add_network() = network.scan;
    }
    return scan;
}

bool CNetwork::Apply(const NetworkConfig& config)
{
    if (const auto fault = FindFault(config))
    {
        LOG_INFO("Network configuration refused: {}", *fault);
        return false;
    }
    std::vector<ipc::MNetStatus> reports;
    bool isComplete = false;
    {
        const std::lock_guard lock(mutex);
        for (const auto& [interface, interfaceConfig] : config)
        {
            const auto before = applied.find(interface);
            // a WLAN that is not joined is tried again
            const bool isRetry = interface == ipc::EIfNameWlan && !IsWlanJoined();
            if (before == applied.end() || !(before->second == interfaceConfig) || isRetry)
            {
                interfaces[interface] = StatusFor(interface, interfaceConfig);
                reports.push_back(interfaces[interface]);
            }
        }
        applied = config;
        isComplete = IsWlanJoined();
    }
    std::for_each(reports.begin(), reports.end(), networkStatus);
    return isComplete;
}

void CNetwork::Update(int interface, const std::function<void(ipc::MNetStatus&)>& change)
{
    ipc::MNetStatus report;
    {
        const std::lock_guard lock(mutex);
        ipc::MNetStatus& status = interfaces[interface];
        status.set_interface(static_cast<ipc::EIfName>(interface));
        change(status);
        report = status;
    }
    networkStatus(report);
}

void CNetwork::SetNeighbourhood(std::vector<SWlanNetwork> networks)
{
    const std::lock_guard lock(mutex);
    neighbourhood = std::move(networks);
}

std::vector<ipc::MDiagnosticsSignal> CNetwork::Signals() const
{
    std::vector<ipc::MDiagnosticsSignal> signals;
    const std::lock_guard lock(mutex);
    for (const auto& [interface, number] :
         {std::pair<int, int>{ipc::EIfNameLte, SignalNumbers::LteSignalStrength},
          std::pair<int, int>{ipc::EIfNameWlan, SignalNumbers::WlanSignalStrength}})
    {
        const auto found = interfaces.find(interface);
        if (found != interfaces.end() && found->second.has_signal_strength())
        {
            signals.push_back(EmptySignal(number));
            signals.back().add_data()->set_int_value(found->second.signal_strength());
        }
    }
    return signals;
}

Json::Value CNetwork::ToJson() const
{
    const std::lock_guard lock(mutex);
    Json::Value json;
    json["Interfaces"] = Json::Value(Json::arrayValue);
    for (const auto& [interface, status] : interfaces)
    {
        json["Interfaces"].append(Simulator::ToJson(status));
    }
    json["Wlans"] = Json::Value(Json::arrayValue);
    for (const SWlanNetwork& network : neighbourhood)
    {
        json["Wlans"].append(Simulator::ToJson(network.scan));
    }
    return json;
}

ipc::MNetStatus CNetwork::StatusFor(ipc::EIfName interface, const SInterfaceConfig& config) const
{
    ipc::MNetStatus status;
    status.set_interface(interface);
    if (!config.isEnabled)
    {
        status.set_status(ipc::ENetStatusDisabled);
        return status;
    }
    if (interface == ipc::EIfNameWlan)
    {
        const SWlanNetwork* const network = FindJoinable(config);
        if (network == nullptr)
        {
            status.set_status(ipc::ENetStatusDisconnected);
            return status;
        }
        status.set_signal_strength(network->scan.signal_strength());
    }
    Connect(status, config);
    return status;
}

const SWlanNetwork* CNetwork::FindJoinable(const SInterfaceConfig& config) const
{
    const auto found = std::find_if(neighbourhood.begin(),
                                    neighbourhood.end(),
                                    [&config](const SWlanNetwork& network)
                                    {
                                        return network.scan.ssid() == config.ssid &&
                                               (network.scan.security() == OpenSecurity ||
                                                network.password == config.password);
                                    });
    return found == neighbourhood.end() ? nullptr : &*found;
}

bool CNetwork::IsWlanJoined() const
{
    // true also while nobody wants it
    const auto wlan = interfaces.find(ipc::EIfNameWlan);
    return wlan == interfaces.end() || wlan->second.status() != ipc::ENetStatusDisconnected;
}

} // namespace Simulator
