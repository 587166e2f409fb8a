#include "simulator/model/charging.h"
#include "simulator/model/signals.h"

#include <vector>

#include <gtest/gtest.h>

using Simulator::CCharging;
using Simulator::CConnector;
using Simulator::TimePoint;
using namespace std::chrono_literals;

namespace
{

class SimulatedCharging : public testing::Test
{
protected:
    void Set(int state)
    {
        CConnector::SUpdate update;
        update.state = state;
        charging.SetConnector(update);
    }

    std::vector<int> Power()
    {
        const ipc::MMeterData data = charging.MeterData();
        return {data.power().begin(), data.power().end()};
    }

    ipc::MDiagnosticsSignal Signal(int identifier)
    {
        for (const ipc::MDiagnosticsSignal& signal : charging.Signals())
        {
            if (signal.identifier() == identifier)
            {
                return signal;
            }
        }
        return {};
    }

    TimePoint now{};
    std::vector<int> reports;
    CCharging charging{[this] { return now; },
                       [this](const ipc::MConnectorState& state) { reports.push_back(state.state()); }};
};

} // namespace

TEST_F(SimulatedCharging, ReportsEachStateThatIsSet)
{
    Set(4);
    Set(11);
    Set(11);
    EXPECT_EQ(reports, (std::vector<int>{4, 11, 11}));
    EXPECT_EQ(charging.ConnectorInfo().connector_state(), ipc::EConnectorStateCharging);
}

TEST_F(SimulatedCharging, PowerFlowsWhileChargingOnly)
{
    charging.SetDemand({2300, 2300, 2300});
    EXPECT_EQ(Power(), (std::vector<int>{0, 0, 0}));
    Set(11);
    EXPECT_EQ(Power(), (std::vector<int>{2300, 2300, 2300}));
    Set(7);
    EXPECT_EQ(Power(), (std::vector<int>{0, 0, 0}));
    Set(12);
    EXPECT_EQ(Power(), (std::vector<int>{2300, 2300, 2300}));
}

TEST_F(SimulatedCharging, LeastLimitBoundsEachPhase)
{
    charging.SetDemand({3680, 1000, 3680});
    Set(11);
    EXPECT_TRUE(charging.SetLimit(ipc::ECurrentControlUserLimitCurrent, 10000));
    EXPECT_EQ(Power(), (std::vector<int>{2300, 1000, 2300}));
    EXPECT_TRUE(charging.SetLimit(ipc::ECurrentControlBop, 6000));
    EXPECT_EQ(Power(), (std::vector<int>{1380, 1000, 1380}));
    EXPECT_TRUE(charging.ClearLimit(ipc::ECurrentControlBop));
    EXPECT_TRUE(charging.ClearLimit(ipc::ECurrentControlUserLimitCurrent));
    EXPECT_EQ(Power(), (std::vector<int>{3680, 1000, 3680}));
}

TEST_F(SimulatedCharging, RefusesALimitOfNoSource)
{
    EXPECT_FALSE(charging.SetLimit(ipc::ECurrentControlNone, 6000));
    EXPECT_FALSE(charging.ClearLimit(ipc::ECurrentControlHardwareLimit));
}

TEST_F(SimulatedCharging, EnergyFollowsPowerAndTime)
{
    charging.SetDemand({1000, 1000, 1000});
    now += 1h;
    Set(11);
    now += 2h;
    Set(9);
    now += 1h;
    EXPECT_EQ(charging.MeterData().total_energy(), 6000);
}

TEST_F(SimulatedCharging, MeterHoldsASessionWhileTheConnectorHasOne)
{
    charging.SetTotalEnergy(50000);
    charging.SetDemand({1000});
    EXPECT_EQ(charging.MeterData().session_marker(), "");
    Set(4);
    const std::string session = charging.ConnectorInfo().session().session_id();
    EXPECT_EQ(charging.MeterData().session_marker(), session);
    Set(5);
    Set(11);
    now += 1h;
    Set(9);
    const ipc::MMeterData finishing = charging.MeterData();
    EXPECT_EQ(finishing.session_marker(), session);
    EXPECT_EQ(finishing.energy_at_session_start(), 50000);
    EXPECT_EQ(finishing.total_energy(), 51000);
    Set(1);
    EXPECT_EQ(charging.MeterData().session_marker(), "");
    EXPECT_EQ(charging.MeterData().energy_at_session_start(), 0);
}

TEST_F(SimulatedCharging, NextSessionStartsAtTheRegisterOfItsBegin)
{
    charging.SetDemand({1000});
    Set(11);
    now += 1h;
    Set(9);
    Set(1);
    Set(4);
    EXPECT_EQ(charging.MeterData().energy_at_session_start(), 1000);
    EXPECT_EQ(charging.MeterData().session_marker(), charging.ConnectorInfo().session().session_id());
}

TEST_F(SimulatedCharging, ResumedChargeKeepsTheStartOfItsSession)
{
    charging.SetDemand({1000});
    Set(11);
    now += 1h;
    Set(7);
    Set(11);
    EXPECT_EQ(charging.MeterData().energy_at_session_start(), 0);
}

TEST_F(SimulatedCharging, MeterHasAsManyPhasesAsTheDemand)
{
    charging.SetDemand({});
    EXPECT_EQ(charging.MeterData().power_size(), 0);
    charging.SetDemand({1000});
    EXPECT_EQ(charging.MeterData().power_size(), 1);
}

TEST_F(SimulatedCharging, SignalsFollowTheCharge)
{
    charging.SetDemand({3680, 3680, 2300});
    charging.SetLimit(ipc::ECurrentControlThermal, 14000);
    Set(11);
    const ipc::MDiagnosticsSignal current = Signal(52);
    ASSERT_EQ(current.data_size(), 3);
    EXPECT_EQ(current.data(0).int_value(), 14000);
    EXPECT_EQ(current.data(2).int_value(), 10000);
    ASSERT_EQ(Signal(53).data_size(), 3);
    EXPECT_EQ(Signal(53).data(0).int_value(), 230000);
    EXPECT_EQ(Signal(54).data(2).int_value(), 2300);
    ASSERT_EQ(Signal(31).data_size(), 1);
    EXPECT_FLOAT_EQ(Signal(31).data(0).float_value(), 14.0F);
    ASSERT_EQ(Signal(142).data_size(), 1);
    EXPECT_EQ(Signal(142).data(0).string_value(), "ECurrentControlThermal");
    now += 1h;
    ASSERT_EQ(Signal(50).data_size(), 1);
    EXPECT_EQ(Signal(50).data(0).int64_value(), 3220 + 3220 + 2300);
}

TEST_F(SimulatedCharging, SetpointIsZeroWhileNothingCharges)
{
    EXPECT_FLOAT_EQ(Signal(31).data(0).float_value(), 0.0F);
}

TEST_F(SimulatedCharging, ViewNamesTheSourcesOfLimits)
{
    charging.SetLimit(ipc::ECurrentControlBop, 6000);
    const Json::Value limits = charging.ToJson()["Limits"];
    EXPECT_EQ(limits["ECurrentControlBop"].asUInt(), 6000U);
    EXPECT_EQ(limits["ECurrentControlHardwareLimit"].asUInt(), 32000U);
}

TEST_F(SimulatedCharging, TimeOfTheMeterIsSteered)
{
    charging.SetDemand({1000});
    Set(11);
    charging.SetTimeFactor(60);
    EXPECT_EQ(charging.TimeFactor(), 60);
    now += 1min;
    EXPECT_EQ(charging.MeterData().total_energy(), 1000);
    charging.SkipTime(2h);
    EXPECT_EQ(charging.MeterData().total_energy(), 3000);
}
