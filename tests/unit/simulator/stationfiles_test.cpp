#include "platform/json/jsonutil.h"
#include "simulator/stationfiles.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "tests/support/temporarydirectory.h"

using Simulator::CStationFiles;

namespace
{

/// 2024-05-01T12:00:00.250Z
const std::chrono::system_clock::time_point noon{std::chrono::milliseconds(1714564800250)};

class StationFiles : public testing::Test
{
protected:
    CTemporaryDirectory directory;
    CStationFiles files{directory.Path(),
                        directory.Path() / "data/log",
                        directory.Path() / "package.swu",
                        [] { return noon; }};
};

Json::Value ReadJson(const std::string& path)
{
    std::ifstream stream(path);
    return JsonUtil::ParseObject(std::string(std::istreambuf_iterator<char>(stream), {}));
}

} // namespace

TEST_F(StationFiles, NetworkConfigIsReadFromBothLayers)
{
    directory.Write("etc/config/network.json", R"({"NetMSsid": "Image", "NetMLteEnable": true})");
    directory.Write("data/config/network.json", R"({"NetMSsid": "Own"})");
    directory.Write("data/config/secrets.json", R"({"WlanStaPassword": "pass"})");
    const auto config = files.ReadNetworkConfig();
    ASSERT_TRUE(config);
    EXPECT_EQ(config->at(ipc::EIfNameWlan).ssid, "Own");
    EXPECT_EQ(config->at(ipc::EIfNameWlan).password, "pass");
    EXPECT_TRUE(config->at(ipc::EIfNameLte).isEnabled);
}

TEST_F(StationFiles, NetworkConfigFollowsTheFile)
{
    directory.Write("data/config/network.json", R"({"NetMSsid": "One"})");
    EXPECT_EQ(files.ReadNetworkConfig()->at(ipc::EIfNameWlan).ssid, "One");
    directory.Write("data/config/network.json", R"({"NetMSsid": "Two"})");
    EXPECT_EQ(files.ReadNetworkConfig()->at(ipc::EIfNameWlan).ssid, "Two");
}

TEST_F(StationFiles, BrokenNetworkConfigIsNone)
{
    directory.Write("data/config/network.json", R"({"NetMSsid": )");
    EXPECT_FALSE(files.ReadNetworkConfig());
}

TEST_F(StationFiles, FirmwareIdentifierIsThatOfTheImage)
{
    EXPECT_EQ(files.ReadFirmwareIdentifier(), "unknown");
    directory.Write("etc/config/fwinfo.json", R"({"FwIdent": "3.2.1"})");
    EXPECT_EQ(files.ReadFirmwareIdentifier(), "3.2.1");
}

TEST_F(StationFiles, FirmwarePackageIsLookedFor)
{
    EXPECT_FALSE(files.IsFirmwarePackageThere());
    directory.Write("package.swu", "x");
    EXPECT_TRUE(files.IsFirmwarePackageThere());
}

TEST_F(StationFiles, FreezeFrameGetsADatedFileOfItsOwn)
{
    Json::Value frame;
    frame["Reason"] = "first";
    const std::string first = files.WriteFreezeFrame(frame);
    EXPECT_EQ(first, (directory.Path() / "data/log/freezeframe_2024-05-01T120000.json").string());
    EXPECT_EQ(ReadJson(first)["Reason"], "first");
    EXPECT_EQ(ReadJson(first)["Time"], "2024-05-01T12:00:00.250Z");

    frame["Reason"] = "second";
    const std::string second = files.WriteFreezeFrame(frame);
    EXPECT_NE(second, first);
    EXPECT_EQ(ReadJson(second)["Reason"], "second");
    EXPECT_EQ(ReadJson(first)["Reason"], "first");
}

TEST_F(StationFiles, FreezeFrameThatCannotBeWrittenHasNoName)
{
    // a file stands where the directory should be
    directory.Write("data/log", "x");
    EXPECT_EQ(files.WriteFreezeFrame(Json::objectValue), "");
}

TEST_F(StationFiles, SynchronisedTimeIsAFile)
{
    EXPECT_FALSE(files.IsTimeSynchronised());
    for (int round = 0; round < 2; ++round)
    {
        files.SetTimeSynchronised(true);
        EXPECT_TRUE(files.IsTimeSynchronised());
        EXPECT_TRUE(std::filesystem::exists(directory.Path() / "run/synchronised"));
    }
    for (int round = 0; round < 2; ++round)
    {
        files.SetTimeSynchronised(false);
        EXPECT_FALSE(files.IsTimeSynchronised());
        EXPECT_FALSE(std::filesystem::exists(directory.Path() / "run/synchronised"));
    }
}

TEST_F(StationFiles, SynchronisedTimeThatCantBeStoredIsAnError)
{
    directory.Write("run", "no directory");
    EXPECT_THROW(files.SetTimeSynchronised(true), std::runtime_error);
}
