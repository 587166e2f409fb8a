#include "simulator/faulttable.h"

#include <gtest/gtest.h>

using Simulator::CFaultTable;
using Simulator::SFault;
namespace Operations = Simulator::Operations;

namespace
{

SFault Refusal(unsigned times)
{
    SFault fault;
    fault.refuse = true;
    fault.times = times;
    return fault;
}

SFault Failure(unsigned times)
{
    SFault fault;
    fault.fail = true;
    fault.times = times;
    return fault;
}

} // namespace

TEST(FaultTable, WithoutFaultNothingIsChanged)
{
    CFaultTable table;
    const SFault fault = table.Take(Operations::Reboot);
    EXPECT_FALSE(fault.answer || fault.refuse || fault.fail || fault.hang);
    EXPECT_EQ(fault.delay.count(), 0);
}

TEST(FaultTable, FaultMeetsItsOperationOnly)
{
    CFaultTable table;
    table.Add(Operations::SetLimit, Refusal(0));
    EXPECT_FALSE(table.Take(Operations::ClearLimit).refuse);
    EXPECT_FALSE(table.Take(Operations::Reboot).refuse);
    EXPECT_TRUE(table.Take(Operations::SetLimit).refuse);
}

TEST(FaultTable, FaultWithANumberIsUsedUp)
{
    CFaultTable table;
    table.Add(Operations::Reboot, Refusal(2));
    EXPECT_TRUE(table.Take(Operations::Reboot).refuse);
    EXPECT_TRUE(table.Take(Operations::Reboot).refuse);
    EXPECT_FALSE(table.Take(Operations::Reboot).refuse);
}

TEST(FaultTable, FaultWithoutANumberStays)
{
    CFaultTable table;
    table.Add(Operations::Reboot, Refusal(0));
    for (int call = 0; call < 5; ++call)
    {
        EXPECT_TRUE(table.Take(Operations::Reboot).refuse);
    }
}

TEST(FaultTable, FaultsOfAnOperationFollowEachOther)
{
    CFaultTable table;
    table.Add(Operations::Reboot, Refusal(1));
    table.Add(Operations::Reboot, Failure(1));
    EXPECT_TRUE(table.Take(Operations::Reboot).refuse);
    EXPECT_TRUE(table.Take(Operations::Reboot).fail);
    EXPECT_FALSE(table.Take(Operations::Reboot).fail);
}

TEST(FaultTable, NewFaultReplacesOneWithoutANumber)
{
    CFaultTable table;
    table.Add(Operations::Reboot, Refusal(0));
    table.Add(Operations::Reboot, Failure(1));
    EXPECT_TRUE(table.Take(Operations::Reboot).fail);
    EXPECT_FALSE(table.Take(Operations::Reboot).refuse);
}

TEST(FaultTable, RemovesTheFaultsOfOneOperation)
{
    CFaultTable table;
    table.Add(Operations::SetLimit, Refusal(0));
    table.Add(Operations::ClearLimit, Refusal(0));
    table.Remove("CurrentControl", "SetLimit");
    EXPECT_FALSE(table.Take(Operations::SetLimit).refuse);
    EXPECT_TRUE(table.Take(Operations::ClearLimit).refuse);
}

TEST(FaultTable, RemovesTheFaultsOfAServiceOrAll)
{
    CFaultTable table;
    table.Add(Operations::SetLimit, Refusal(0));
    table.Add(Operations::ClearLimit, Refusal(0));
    table.Add(Operations::Reboot, Refusal(0));
    table.Remove("CurrentControl", "");
    EXPECT_FALSE(table.Take(Operations::SetLimit).refuse);
    EXPECT_FALSE(table.Take(Operations::ClearLimit).refuse);
    EXPECT_TRUE(table.Take(Operations::Reboot).refuse);
    table.Remove("", "");
    EXPECT_FALSE(table.Take(Operations::Reboot).refuse);
}

TEST(FaultTable, ShowsFaultsAsTheyAreSet)
{
    CFaultTable table;
    SFault fault;
    fault.answer = Json::Value(false);
    fault.delay = std::chrono::milliseconds(2000);
    fault.times = 3;
    table.Add(Operations::ValidateConfig, fault);
    table.Take(Operations::ValidateConfig);

    Json::Value expected;
    expected["Service"] = "NetM";
    expected["Operation"] = "ValidateConfig";
    expected["Answer"] = false;
    expected["DelayMs"] = Json::Int64{2000};
    expected["Times"] = 2U;
    ASSERT_EQ(table.ToJson().size(), 1U);
    EXPECT_EQ(table.ToJson()[0], expected);
}
