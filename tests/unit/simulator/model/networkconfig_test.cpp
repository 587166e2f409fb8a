#include "simulator/model/networkconfig.h"

#include <gtest/gtest.h>

using Simulator::FindFault;
using Simulator::NetworkConfig;
using Simulator::ParseNetworkConfig;

namespace
{

Json::Value StaticEthernet()
{
    Json::Value network;
    network["NetMEthEnable"] = true;
    network["NetMEthDhcpEnable"] = false;
    network["NetMEthIpv4Addr"] = "10.1.2.3";
    network["NetMEthIpv4Netmask"] = "255.0.0.0";
    network["NetMEthGatewayAddr"] = "10.0.0.1";
    network["NetMDnsAuto"] = true;
    return network;
}

} // namespace

TEST(SimulatedNetworkConfig, TakesTheSettingsOfBothFiles)
{
    Json::Value network = StaticEthernet();
    network["NetMWlanEnable"] = true;
    network["NetMSsid"] = "Home";
    network["NetMApEnable"] = true;
    Json::Value secrets;
    secrets["WlanStaPassword"] = "secret";
    const NetworkConfig config = ParseNetworkConfig(network, secrets);
    EXPECT_EQ(config.at(ipc::EIfNameEthernet).address, "10.1.2.3");
    EXPECT_FALSE(config.at(ipc::EIfNameEthernet).usesDhcp);
    EXPECT_TRUE(config.at(ipc::EIfNameWlan).isEnabled);
    EXPECT_EQ(config.at(ipc::EIfNameWlan).ssid, "Home");
    EXPECT_EQ(config.at(ipc::EIfNameWlan).password, "secret");
    EXPECT_TRUE(config.at(ipc::EIfNameAccessPoint).isEnabled);
    EXPECT_FALSE(config.at(ipc::EIfNameLte).isEnabled);
    EXPECT_FALSE(config.at(ipc::EIfNamePlc).isEnabled);
}

TEST(SimulatedNetworkConfig, ValueOfAnotherTypeCountsAsAbsent)
{
    Json::Value network;
    network["NetMLteEnable"] = "true";
    network["NetMSsid"] = 5;
    const NetworkConfig config = ParseNetworkConfig(network, Json::objectValue);
    EXPECT_FALSE(config.at(ipc::EIfNameLte).isEnabled);
    EXPECT_EQ(config.at(ipc::EIfNameWlan).ssid, "");
}

TEST(SimulatedNetworkConfig, StaticAddressIsAllRight)
{
    EXPECT_EQ(FindFault(ParseNetworkConfig(StaticEthernet(), Json::objectValue)), std::nullopt);
}

TEST(SimulatedNetworkConfig, EveryAddressThatCountsIsChecked)
{
    for (const char* const key : {"NetMEthIpv4Addr", "NetMEthIpv4Netmask", "NetMEthGatewayAddr"})
    {
        Json::Value network = StaticEthernet();
        network[key] = "10.1.2.300";
        EXPECT_NE(FindFault(ParseNetworkConfig(network, Json::objectValue)), std::nullopt) << key;
    }
}

TEST(SimulatedNetworkConfig, GatewayMayBeEmpty)
{
    Json::Value network = StaticEthernet();
    network["NetMEthGatewayAddr"] = "";
    EXPECT_EQ(FindFault(ParseNetworkConfig(network, Json::objectValue)), std::nullopt);
}

TEST(SimulatedNetworkConfig, AddressesAreOfNoInterestWithDhcpOrOff)
{
    Json::Value network = StaticEthernet();
    network["NetMEthIpv4Addr"] = "nonsense";
    network["NetMEthDhcpEnable"] = true;
    EXPECT_EQ(FindFault(ParseNetworkConfig(network, Json::objectValue)), std::nullopt);
    network["NetMEthDhcpEnable"] = false;
    network["NetMEthEnable"] = false;
    EXPECT_EQ(FindFault(ParseNetworkConfig(network, Json::objectValue)), std::nullopt);
}

TEST(SimulatedNetworkConfig, DnsByHandNeedsAServer)
{
    Json::Value network = StaticEthernet();
    network["NetMDnsAuto"] = false;
    EXPECT_NE(FindFault(ParseNetworkConfig(network, Json::objectValue)), std::nullopt);
    network["NetMPreferredDnsServerAddr"] = "9.9.9.9";
    EXPECT_EQ(FindFault(ParseNetworkConfig(network, Json::objectValue)), std::nullopt);
    network["NetMAlternativeDnsServerAddr"] = "dns.example.com";
    EXPECT_NE(FindFault(ParseNetworkConfig(network, Json::objectValue)), std::nullopt);
}
