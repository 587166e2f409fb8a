#include "simulator/model/network.h"
#include "simulator/model/signals.h"

#include <map>
#include <vector>

#include <gtest/gtest.h>

using Simulator::CNetwork;
using Simulator::NetworkConfig;
using Simulator::ParseNetworkConfig;
using Simulator::SWlanNetwork;

namespace
{

class SimulatedNetwork : public testing::Test
{
protected:
    bool Apply() { return network.Apply(ParseNetworkConfig(settings, secrets)); }

    void WantWlan(const char* ssid, const char* password)
    {
        settings["NetMWlanEnable"] = true;
        settings["NetMWlanDhcpEnable"] = true;
        settings["NetMSsid"] = ssid;
        secrets["WlanStaPassword"] = password;
    }

    ipc::MNetStatus LastOf(ipc::EIfName interface) const
    {
        ipc::MNetStatus last;
        for (const ipc::MNetStatus& report : reports)
        {
            last = report.interface() == interface ? report : last;
        }
        return last;
    }

    void SetUp() override
    {
        settings["NetMDnsAuto"] = true;
        secrets = Json::objectValue;
    }

    Json::Value settings;
    Json::Value secrets;
    std::vector<ipc::MNetStatus> reports;
    CNetwork network{[this](const ipc::MNetStatus& status) { reports.push_back(status); }};
};

} // namespace

TEST_F(SimulatedNetwork, FirstConfigurationIsReportedForEveryInterface)
{
    settings["NetMEthEnable"] = true;
    settings["NetMEthDhcpEnable"] = true;
    EXPECT_TRUE(Apply());
    ASSERT_EQ(reports.size(), 5U);
    EXPECT_EQ(LastOf(ipc::EIfNameEthernet).status(), ipc::ENetStatusConnected);
    EXPECT_TRUE(LastOf(ipc::EIfNameEthernet).has_net_properties());
    EXPECT_TRUE(LastOf(ipc::EIfNameEthernet).has_net_dns());
    for (const auto interface : {ipc::EIfNameWlan, ipc::EIfNameAccessPoint, ipc::EIfNameLte, ipc::EIfNamePlc})
    {
        EXPECT_EQ(LastOf(interface).status(), ipc::ENetStatusDisabled) << interface;
        EXPECT_FALSE(LastOf(interface).has_net_properties()) << interface;
    }
}

TEST_F(SimulatedNetwork, OnlyWhatChangedIsReported)
{
    Apply();
    reports.clear();
    settings["NetMLteEnable"] = true;
    EXPECT_TRUE(Apply());
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].interface(), ipc::EIfNameLte);
    EXPECT_EQ(reports[0].status(), ipc::ENetStatusConnected);
    EXPECT_TRUE(reports[0].has_signal_strength());
    EXPECT_FALSE(reports[0].lte_info().imsi().empty());
}

TEST_F(SimulatedNetwork, StaticAddressShowsInTheStatus)
{
    settings["NetMEthEnable"] = true;
    settings["NetMEthDhcpEnable"] = false;
    settings["NetMEthIpv4Addr"] = "10.1.2.3";
    settings["NetMEthIpv4Netmask"] = "255.0.0.0";
    settings["NetMEthGatewayAddr"] = "10.0.0.1";
    settings["NetMDnsAuto"] = false;
    settings["NetMPreferredDnsServerAddr"] = "9.9.9.9";
    EXPECT_TRUE(Apply());
    const ipc::MNetStatus status = LastOf(ipc::EIfNameEthernet);
    EXPECT_EQ(status.net_properties().ipv4_addr(), "10.1.2.3");
    EXPECT_EQ(status.net_properties().ipv4_netmask(), "255.0.0.0");
    EXPECT_EQ(status.net_properties().gateway(), "10.0.0.1");
    EXPECT_EQ(status.net_dns().preferred_dns_server(), "9.9.9.9");
}

TEST_F(SimulatedNetwork, FaultyConfigurationChangesNothing)
{
    Apply();
    reports.clear();
    settings["NetMLteEnable"] = true;
    settings["NetMEthEnable"] = true;
    settings["NetMEthDhcpEnable"] = false;
    EXPECT_FALSE(Apply());
    EXPECT_TRUE(reports.empty());
}

TEST_F(SimulatedNetwork, JoinsAWlanInSightWithItsPassword)
{
    WantWlan("Home", "home-password");
    EXPECT_TRUE(Apply());
    EXPECT_EQ(LastOf(ipc::EIfNameWlan).status(), ipc::ENetStatusConnected);
    EXPECT_EQ(LastOf(ipc::EIfNameWlan).signal_strength(), -48);
}

TEST_F(SimulatedNetwork, DoesNotJoinWithAWrongPassword)
{
    WantWlan("Home", "wrong");
    EXPECT_FALSE(Apply());
    EXPECT_EQ(LastOf(ipc::EIfNameWlan).status(), ipc::ENetStatusDisconnected);
    EXPECT_FALSE(LastOf(ipc::EIfNameWlan).has_signal_strength());
}

TEST_F(SimulatedNetwork, DoesNotJoinWhatIsOutOfSight)
{
    WantWlan("Elsewhere", "home-password");
    EXPECT_FALSE(Apply());
}

TEST_F(SimulatedNetwork, OpenWlanTakesAnyPassword)
{
    WantWlan("Guests", "whatever");
    EXPECT_TRUE(Apply());
}

TEST_F(SimulatedNetwork, WlanThatComesInSightIsJoinedAtTheNextConfiguration)
{
    WantWlan("Late", "late-password");
    EXPECT_FALSE(Apply());
    SWlanNetwork late;
    late.scan.set_ssid("Late");
    late.scan.set_security("WPA2");
    late.password = "late-password";
    network.SetNeighbourhood({late});
    EXPECT_TRUE(Apply());
    EXPECT_EQ(LastOf(ipc::EIfNameWlan).status(), ipc::ENetStatusConnected);
}

TEST_F(SimulatedNetwork, SwitchingTheWlanOffIsAlwaysPossible)
{
    WantWlan("Home", "wrong");
    EXPECT_FALSE(Apply());
    settings["NetMWlanEnable"] = false;
    EXPECT_TRUE(Apply());
    EXPECT_EQ(LastOf(ipc::EIfNameWlan).status(), ipc::ENetStatusDisabled);
}

TEST_F(SimulatedNetwork, ScanShowsTheNeighbourhoodInOrder)
{
    SWlanNetwork one;
    one.scan.set_ssid("One");
    one.scan.set_channel(13);
    SWlanNetwork two;
    two.scan.set_ssid("Two");
    network.SetNeighbourhood({one, two});
    const ipc::MScanWlan scan = network.Scan();
    ASSERT_EQ(scan.network_size(), 2);
    EXPECT_EQ(scan.network(0).ssid(), "One");
    EXPECT_EQ(scan.network(0).channel(), 13U);
    EXPECT_EQ(scan.network(1).ssid(), "Two");
}

TEST_F(SimulatedNetwork, UpdateKeepsTheRestOfAStatusAndReportsIt)
{
    network.Update(ipc::EIfNameLte, [](ipc::MNetStatus& status) { status.set_signal_strength(-90); });
    network.Update(ipc::EIfNameLte,
                   [](ipc::MNetStatus& status) { status.set_status(ipc::ENetStatusConnecting); });
    ASSERT_EQ(reports.size(), 2U);
    EXPECT_EQ(reports[1].interface(), ipc::EIfNameLte);
    EXPECT_EQ(reports[1].signal_strength(), -90);
    EXPECT_EQ(reports[1].status(), ipc::ENetStatusConnecting);
}

TEST_F(SimulatedNetwork, StatusThatWasSetStandsUntilItsConfigurationChanges)
{
    settings["NetMEthEnable"] = true;
    settings["NetMEthDhcpEnable"] = true;
    Apply();
    network.Update(ipc::EIfNameEthernet,
                   [](ipc::MNetStatus& status) { status.set_status(ipc::ENetStatusDisconnected); });
    settings["NetMLteEnable"] = true;
    Apply();
    EXPECT_EQ(LastOf(ipc::EIfNameEthernet).status(), ipc::ENetStatusDisconnected);
    settings["NetMEthEnable"] = false;
    Apply();
    EXPECT_EQ(LastOf(ipc::EIfNameEthernet).status(), ipc::ENetStatusDisabled);
}

TEST_F(SimulatedNetwork, TakesInterfacesThatHaveNoName)
{
    network.Update(9, [](ipc::MNetStatus&) {});
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].interface(), 9);
}

TEST_F(SimulatedNetwork, SignalStrengthsShowAsSignals)
{
    EXPECT_TRUE(network.Signals().empty());
    network.Update(ipc::EIfNameWlan, [](ipc::MNetStatus& status) { status.set_signal_strength(-55); });
    const auto signals = network.Signals();
    ASSERT_EQ(signals.size(), 1U);
    EXPECT_EQ(signals[0].identifier(), 128);
    ASSERT_EQ(signals[0].data_size(), 1);
    EXPECT_EQ(signals[0].data(0).int_value(), -55);
}
