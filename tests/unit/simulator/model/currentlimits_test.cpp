#include "contracts/station.pb.h"
#include "simulator/model/currentlimits.h"

#include <gtest/gtest.h>

using Simulator::CCurrentLimits;

TEST(SimulatedCurrentLimits, HardwareLimitHoldsWhileThereIsNoOther)
{
    const CCurrentLimits limits(32000);
    EXPECT_EQ(limits.Least().milliamperes, 32000U);
    EXPECT_EQ(limits.Least().source, ipc::ECurrentControlHardwareLimit);
}

TEST(SimulatedCurrentLimits, LeastOfAllSourcesHolds)
{
    CCurrentLimits limits(32000);
    EXPECT_TRUE(limits.Set(ipc::ECurrentControlUserLimitCurrent, 16000));
    EXPECT_TRUE(limits.Set(ipc::ECurrentControlLocalScheduledCharging, 10000));
    EXPECT_EQ(limits.Least().milliamperes, 10000U);
    EXPECT_EQ(limits.Least().source, ipc::ECurrentControlLocalScheduledCharging);
}

TEST(SimulatedCurrentLimits, ClearedLimitHoldsNoMore)
{
    CCurrentLimits limits(32000);
    limits.Set(ipc::ECurrentControlUserLimitCurrent, 16000);
    limits.Set(ipc::ECurrentControlLocalScheduledCharging, 10000);
    EXPECT_TRUE(limits.Clear(ipc::ECurrentControlLocalScheduledCharging));
    EXPECT_EQ(limits.Least().milliamperes, 16000U);
}

TEST(SimulatedCurrentLimits, NewLimitOfASourceReplacesItsOld)
{
    CCurrentLimits limits(32000);
    limits.Set(ipc::ECurrentControlBop, 6000);
    limits.Set(ipc::ECurrentControlBop, 20000);
    EXPECT_EQ(limits.Least().milliamperes, 20000U);
}

TEST(SimulatedCurrentLimits, ClearingWhatIsNotSetIsAllRight)
{
    CCurrentLimits limits(32000);
    EXPECT_TRUE(limits.Clear(ipc::ECurrentControlBop));
}

TEST(SimulatedCurrentLimits, SourcesThatDoNotExistAreRefused)
{
    CCurrentLimits limits(32000);
    for (const int source : {-1, 0, 15})
    {
        EXPECT_FALSE(limits.Set(source, 1000)) << source;
        EXPECT_FALSE(limits.Clear(source)) << source;
    }
    EXPECT_EQ(limits.Least().milliamperes, 32000U);
}

TEST(SimulatedCurrentLimits, HardwareLimitCanNeitherBeSetNorCleared)
{
    CCurrentLimits limits(32000);
    EXPECT_FALSE(limits.Set(ipc::ECurrentControlHardwareLimit, 1000));
    EXPECT_FALSE(limits.Clear(ipc::ECurrentControlHardwareLimit));
    EXPECT_EQ(limits.Least().milliamperes, 32000U);
}
