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

TEST(SimulatedMeter, TimeFactorCountsFromItsTimeOn)
{
    CMeter meter(start);
    meter.SetPower({600}, start);
    meter.SetTimeFactor(1440, start + 1h);
    EXPECT_EQ(meter.TimeFactor(), 1440);
    EXPECT_EQ(meter.Read(start + 1h + 1min).total_energy(), 600 + 24 * 600);
    meter.SetTimeFactor(1, start + 1h + 1min);
    EXPECT_EQ(meter.Read(start + 2h + 1min).total_energy(), 600 + 24 * 600 + 600);
}

TEST(SimulatedMeter, FrequentReadingsOfFastTimeLoseNothing)
{
    CMeter meter(start);
    meter.SetTimeFactor(1440, start);
    meter.SetPower({7}, start);
    for (auto time = 0s; time < 60s; time += 1s)
    {
        meter.Read(start + time + 333us);
    }
    EXPECT_EQ(meter.Read(start + 1min).total_energy(), 24 * 7);
}

TEST(SimulatedMeter, StandingTimeIsMovedBySkippingOnly)
{
    CMeter meter(start);
    meter.SetPower({1000}, start);
    meter.SetTimeFactor(0, start);
    EXPECT_EQ(meter.Read(start + 5h).total_energy(), 0);
    meter.SkipTime(30min, start + 5h);
    meter.SkipTime(24h, start + 5h);
    EXPECT_EQ(meter.Read(start + 6h).total_energy(), 24500);
}

TEST(SimulatedMeter, GreatestPowerInFastestTimeStaysInRange)
{
    CMeter meter(start);
    const std::int32_t greatest = std::numeric_limits<std::int32_t>::max();
    meter.SetTimeFactor(Simulator::GreatestTimeFactor, start);
    meter.SetPower({greatest, greatest, greatest}, start);
    EXPECT_EQ(meter.Read(start + 24h).total_energy(), 3LL * greatest * 24 * 86400);
    // an hour but a second
    EXPECT_EQ(meter.Read(start + 24h + 3599s).total_energy(),
              3LL * greatest * 24 * 86400 + 3LL * greatest * 24 * 3599);
}
