#include "simulator/model/rfidreader.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

using Simulator::CRfidReader;

namespace
{

class SimulatedRfidReader : public testing::Test
{
protected:
    std::vector<std::string> found;
    CRfidReader reader{[this](const std::string& token) { found.push_back(token); }};
};

} // namespace

TEST_F(SimulatedRfidReader, TapIsLostWhileNobodyWantsToHear)
{
    EXPECT_FALSE(reader.Tap("04AABB"));
    EXPECT_TRUE(found.empty());
}

TEST_F(SimulatedRfidReader, TapIsReportedWhileTheReportIsOn)
{
    reader.SetReport(true);
    EXPECT_TRUE(reader.Tap("04AABB"));
    EXPECT_EQ(found, std::vector<std::string>{"04AABB"});
    reader.SetReport(false);
    EXPECT_FALSE(reader.Tap("04AABB"));
    EXPECT_EQ(found.size(), 1U);
}
