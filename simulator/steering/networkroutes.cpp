#include "simulator/messagejson.h"
#include "simulator/steering/jsonreader.h"
#include "simulator/steering/routes.h"

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Simulator
{

namespace
{

using Change = std::function<void(ipc::MNetStatus&)>;

Change ReadSignalStrength(CJsonReader& reader)
{
    if (reader.IsNull("SignalStrength"))
    {
        return [](ipc::MNetStatus& status) { status.clear_signal_strength(); };
    }
    const auto strength = reader.Integer("SignalStrength", INT32_MIN, INT32_MAX);
    return [strength](ipc::MNetStatus& status)
    { status.set_signal_strength(static_cast<std::int32_t>(strength)); };
}

Change ReadNetProperties(CJsonReader& reader)
{
    if (reader.IsNull("NetProperties"))
    {
        return [](ipc::MNetStatus& status) { status.clear_net_properties(); };
    }
    CJsonReader part = reader.Object("NetProperties");
    ipc::MNetStatus::MNetProperties properties;
    properties.set_ipv4_addr(part.OptionalText("Ipv4Addr").value_or(""));
    properties.set_ipv4_netmask(part.OptionalText("Ipv4Netmask").value_or(""));
    properties.set_gateway(part.OptionalText("Gateway").value_or(""));
    part.RefuseOthers();
    return [properties](ipc::MNetStatus& status) { *status.mutable_net_properties() = properties; };
}

Change ReadNetDns(CJsonReader& reader)
{
    if (reader.IsNull("NetDns"))
    {
        return [](ipc::MNetStatus& status) { status.clear_net_dns(); };
    }
    CJsonReader part = reader.Object("NetDns");
    ipc::MNetStatus::MNetDns dns;
    dns.set_preferred_dns_server(part.OptionalText("PreferredDnsServer").value_or(""));
    dns.set_alternative_dns_server(part.OptionalText("AlternativeDnsServer").value_or(""));
    part.RefuseOthers();
    return [dns](ipc::MNetStatus& status) { *status.mutable_net_dns() = dns; };
}

Change ReadLteInfo(CJsonReader& reader)
{
    if (reader.IsNull("LteInfo"))
    {
        return [](ipc::MNetStatus& status) { status.clear_lte_info(); };
    }
    CJsonReader part = reader.Object("LteInfo");
    ipc::MNetStatus::MLteInfo info;
    info.set_carrier(part.OptionalText("Carrier").value_or(""));
    info.set_technology(part.OptionalText("Technology").value_or(""));
    info.set_iccid(part.OptionalText("Iccid").value_or(""));
    info.set_imsi(part.OptionalText("Imsi").value_or(""));
    info.set_imei(part.OptionalText("Imei").value_or(""));
    part.RefuseOthers();
    return [info](ipc::MNetStatus& status) { *status.mutable_lte_info() = info; };
}

Change ReadStatus(CJsonReader& reader)
{
    const int number = reader.Enumerator<ipc::ENetStatus>("Status", &ipc::ENetStatus_Parse);
    return [number](ipc::MNetStatus& status) { status.set_status(static_cast<ipc::ENetStatus>(number)); };
}

Json::Value PostNetwork(const SStation& station, const SSteeringRequest& request)
{
    CJsonReader reader(request.body);
    const int interface = reader.Enumerator<ipc::EIfName>("Interface", &ipc::EIfName_Parse);
    std::vector<Change> changes;
    for (const auto& [key, read] : {std::pair{"Status", &ReadStatus},
                                    std::pair{"SignalStrength", &ReadSignalStrength},
                                    std::pair{"NetProperties", &ReadNetProperties},
                                    std::pair{"NetDns", &ReadNetDns},
                                    std::pair{"LteInfo", &ReadLteInfo}})
    {
        if (reader.Has(key))
        {
            changes.push_back(read(reader));
        }
    }
    reader.RefuseOthers();
    station.network->Update(interface,
                            [&changes](ipc::MNetStatus& status)
                            {
                                for (const Change& change : changes)
                                {
                                    change(status);
                                }
                            });
    return station.network->ToJson()["Interfaces"];
}

SWlanNetwork ReadWlan(const Json::Value& json)
{
    CJsonReader reader(json, "Networks");
    SWlanNetwork network;
    network.scan.set_ssid(reader.Text("Ssid"));
    network.scan.set_security(reader.OptionalText("Security").value_or("Open"));
    network.scan.set_signal_strength(static_cast<std::int32_t>(
        reader.OptionalInteger("SignalStrength", INT32_MIN, INT32_MAX).value_or(-60)));
    network.scan.set_channel(static_cast<std::uint32_t>(
        reader.OptionalInteger("Channel", 0, std::numeric_limits<std::uint32_t>::max()).value_or(1)));
    network.password = reader.OptionalText("Password").value_or("");
    reader.RefuseOthers();
    return network;
}

Json::Value PostWlan(const SStation& station, const SSteeringRequest& request)
{
    CJsonReader reader(request.body);
    std::vector<SWlanNetwork> networks;
    for (const Json::Value& network : reader.Array("Networks"))
    {
        networks.push_back(ReadWlan(network));
    }
    reader.RefuseOthers();
    station.network->SetNeighbourhood(std::move(networks));
    return station.network->ToJson()["Wlans"];
}

} // namespace

void AddNetworkRoutes(CSteering& steering, const SStation& station)
{
    steering.Add(
        "/network", "POST", [&station](const auto& request) { return PostNetwork(station, request); });
    steering.Add("/wlan", "POST", [&station](const auto& request) { return PostWlan(station, request); });
}

} // namespace Simulator
