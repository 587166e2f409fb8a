#include "simulator/options.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

using Simulator::ParseOptions;
using Simulator::SOptions;

namespace
{

SOptions Parse(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "stationsim");
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
    {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    return ParseOptions(static_cast<int>(arguments.size()), pointers.data());
}

} // namespace

TEST(SimulatorOptions, RootAloneGivesTheDefaults)
{
    const SOptions options = Parse({"-r", "/station"});
    EXPECT_EQ(options.simulator.root, "/station");
    EXPECT_EQ(options.simulator.steerPort, 8090);
    EXPECT_EQ(options.simulator.downloadPort, 8091);
    EXPECT_EQ(options.simulator.script, std::nullopt);
    EXPECT_EQ(options.simulator.logDirectory, "");
    EXPECT_EQ(options.simulator.firmwarePackage, "/tmp/update/package.swu");
    EXPECT_FALSE(options.simulator.hasManualController);
    EXPECT_EQ(options.simulator.timeFactor, 1);
    EXPECT_FALSE(options.isVerbose);
    EXPECT_FALSE(options.isHelpWanted);
}

TEST(SimulatorOptions, AllOptionsAreTaken)
{
    const SOptions options = Parse({"--root",
                                    "/station",
                                    "--script",
                                    "steps.json",
                                    "--steer-port",
                                    "0",
                                    "--download-port",
                                    "7000",
                                    "--log-dir",
                                    "/log",
                                    "--manual-controller",
                                    "--time-factor",
                                    "1440",
                                    "--package",
                                    "/p.swu",
                                    "-v"});
    EXPECT_TRUE(options.simulator.hasManualController);
    EXPECT_EQ(options.simulator.timeFactor, 1440);
    EXPECT_EQ(options.simulator.root, "/station");
    EXPECT_EQ(options.simulator.script, "steps.json");
    EXPECT_EQ(options.simulator.steerPort, 0);
    EXPECT_EQ(options.simulator.downloadPort, 7000);
    EXPECT_EQ(options.simulator.logDirectory, "/log");
    EXPECT_EQ(options.simulator.firmwarePackage, "/p.swu");
    EXPECT_TRUE(options.isVerbose);
}

TEST(SimulatorOptions, HelpNeedsNoRoot)
{
    EXPECT_TRUE(Parse({"-h"}).isHelpWanted);
}

TEST(SimulatorOptions, WrongCommandLinesAreRefused)
{
    const std::vector<std::vector<std::string>> wrong{{},
                                                      {"-r"},
                                                      {"-r", "/station", "--steer-port", "65536"},
                                                      {"-r", "/station", "--steer-port", "80a"},
                                                      {"-r", "/station", "--steer-port", "-1"},
                                                      {"-r", "/station", "--download-port", "x"},
                                                      {"-r", "/station", "--unknown"},
                                                      {"-r", "/station", "surplus"}};
    for (const auto& arguments : wrong)
    {
        EXPECT_THROW(Parse(arguments), std::runtime_error) << testing::PrintToString(arguments);
    }
}

TEST(SimulatorOptions, TimeFactorOutOfRangeIsRefused)
{
    EXPECT_EQ(Parse({"-r", "/station", "--time-factor", "0"}).simulator.timeFactor, 0);
    EXPECT_EQ(Parse({"-r", "/station", "--time-factor", "86400"}).simulator.timeFactor, 86400);
    for (const char* const factor : {"-1", "86401", "1.5", "fast", ""})
    {
        EXPECT_THROW(Parse({"-r", "/station", "--time-factor", factor}), std::runtime_error) << factor;
    }
}
