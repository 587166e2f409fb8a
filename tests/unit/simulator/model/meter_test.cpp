#include "simulator/model/meter.h"

#include <limits>

#include <gtest/gtest.h>

using Simulator::CMeter;
using Simulator::TimePoint;
using namespace std::chrono_literals;

namespace
{

const TimePoint start{};

} // namespace

TEST(SimulatedMeter, EnergyIsPowerOfAllPhasesTimesTime)
{
    CMeter meter(start);
    meter.SetPower({3000, 2000, 1000}, start);
    EXPECT_EQ(meter.Read(start + 30min).total_energy(), 3000);
    EXPECT_EQ(meter.Read(start + 2h).total_energy(), 12000);
}

TEST(SimulatedMeter, ChangeOfPowerCountsFromItsTimeOn)
{
    CMeter meter(start);
    meter.SetPower({1000}, start);
    meter.SetPower({4000}, start + 1h);
    EXPECT_EQ(meter.Read(start + 2h).total_energy(), 5000);
}

TEST(SimulatedMeter, FrequentReadingsLoseNothing)
{
    CMeter meter(start);
    meter.SetPower({100}, start);
    for (auto time = 0s; time < 3600s; time += 1s)
    {
        meter.Read(start + time + 333us);
    }
    EXPECT_EQ(meter.Read(start + 1h).total_energy(), 100);
}

TEST(SimulatedMeter, GreatestPowerForYearsStaysInRange)
{
    CMeter meter(start);
    const std::int32_t greatest = std::numeric_limits<std::int32_t>::max();
    meter.SetPower({greatest, greatest, greatest}, start);
    EXPECT_EQ(meter.Read(start + 24h * 365 * 10).total_energy(), 3LL * greatest * 24 * 365 * 10);
}

TEST(SimulatedMeter, GivesPowerPerPhaseInOrder)
{
    CMeter meter(start);
    meter.SetPower({7, 8}, start);
    const ipc::MMeterData data = meter.Read(start);
    ASSERT_EQ(data.power_size(), 2);
    EXPECT_EQ(data.power(0), 7);
    EXPECT_EQ(data.power(1), 8);
}

TEST(SimulatedMeter, SessionKeepsTheRegisterOfItsBegin)
{
    CMeter meter(start);
    meter.SetPower({1000}, start);
    meter.BeginSession("session-1", start + 1h);
    const ipc::MMeterData data = meter.Read(start + 3h);
    EXPECT_EQ(data.session_marker(), "session-1");
    EXPECT_EQ(data.energy_at_session_start(), 1000);
    EXPECT_EQ(data.total_energy(), 3000);
}

TEST(SimulatedMeter, HasNoMarkerAfterTheSession)
{
    CMeter meter(start);
    meter.BeginSession("session-1", start);
    EXPECT_TRUE(meter.HasSession());
    meter.EndSession();
    EXPECT_FALSE(meter.HasSession());
    EXPECT_EQ(meter.Read(start).session_marker(), "");
}

TEST(SimulatedMeter, SetRegisterCountsOnFromThere)
{
    CMeter meter(start);
    meter.SetPower({1000}, start);
    meter.SetTotalEnergy(5'000'000'000, start + 1h);
    EXPECT_EQ(meter.Read(start + 2h).total_energy(), 5'000'001'000);
}
