#include "src/api/configapplicator.h"

#include "platform/json/jsonutil.h"

#include <json/value.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/mockscheduledcharging.h"
#include "tests/fakes/mockservices.h"
#include "tests/support/configfiles.h"
#include "tests/support/requestfailure.h"
#include "tests/support/runtogether.h"

namespace
{

using testing::NiceMock;

constexpr int Rounds = 20;

const std::vector<std::string> IntegerKeys{"HmiLedIntensityMin",
                                           "HmiLedIntensityMax",
                                           "HmiLedIntensityManual",
                                           "HmiBuzzerVolume",
                                           "CurrentCtrlFixedChargeCurrentLimit",
                                           "CurrentCtrlBopFuseRating",
                                           "GroupLoadBalancingMaxCurrent",
                                           "GroupLoadBalancingFallbackCurrent",
                                           "BopFallbackCurrent",
                                           "UserDefinedChargeLimitCurrent"};

Json::Value Patch(const std::string& key, const Json::Value& value)
{
    Json::Value patch(Json::objectValue);
    patch[key] = value;
    return patch;
}

} // namespace

TEST(ConfigApplicatorConcurrency, PatchesOfDifferentSettingsAllLand)
{
    const CConfigFiles files;
    files.Write("settings", R"({"HmiBuzzerVolume":-1,"InstallationComplete":true,"TimeZone":"UTC"})");
    const auto component = std::make_shared<NiceMock<CMockScheduledCharging>>();
    CSettingsConfigApplicator applicator(files.Open("settings"), component);

    RunTogether(10,
                [&](int number)
                {
                    const std::string& key = IntegerKeys[static_cast<std::size_t>(number)];
                    for (int round = 1; round <= Rounds; ++round)
                    {
                        applicator.PatchConfig(Patch(key, round));
                        EXPECT_EQ(applicator.GetConfig()[key], round);
                    }
                });

    Json::Value expected(Json::objectValue);
    expected["InstallationComplete"] = true;
    expected["TimeZone"] = "UTC";
    for (const std::string& key : IntegerKeys)
    {
        expected[key] = Rounds;
    }
    EXPECT_EQ(files.Stored("settings"), JsonUtil::WriteUnstyled(expected));
}

TEST(ConfigApplicatorConcurrency, ProcessesThatPatchOneFileLoseNothing)
{
    const CConfigFiles files;

    RunTogether(10,
                [&](int number)
                {
                    // as a process of its own has it
                    CSettingsConfigApplicator applicator(files.Open("settings"), nullptr);
                    applicator.PatchConfig(Patch(IntegerKeys[static_cast<std::size_t>(number)], number));
                });

    Json::Value expected(Json::objectValue);
    for (int number = 0; number < 10; ++number)
    {
        expected[IntegerKeys[static_cast<std::size_t>(number)]] = number;
    }
    EXPECT_EQ(files.Stored("settings"), JsonUtil::WriteUnstyled(expected));
}

TEST(ConfigApplicatorConcurrency, RevertsThatMeetLeaveAWholeFileOfPatchedValues)
{
    const CConfigFiles files;
    files.Write("network", R"({"NetMEthIpv4Addr":"0","NetMSsid":"0","NetMWlanIpv4Addr":"0"})");
    const auto netM = std::make_shared<NiceMock<CMockNetM>>();
    std::atomic<int> calls{0};
    ON_CALL(*netM, ValidateConfig).WillByDefault([&] { return ++calls % 3 == 0; });
    CNetworkConfigApplicator applicator(files.Open("network"), netM);

    RunTogether(5,
                [&](int number)
                {
                    const std::vector<std::string> keys{"NetMEthIpv4Addr", "NetMSsid", "NetMWlanIpv4Addr"};
                    for (int round = 1; round <= Rounds; ++round)
                    {
                        const std::string& key = keys[static_cast<std::size_t>(number + round) % keys.size()];
                        const std::string failure =
                            FailureOf([&] { applicator.PatchConfig(Patch(key, std::to_string(round))); });
                        EXPECT_TRUE(failure.empty() || failure == "500 Internal Server Error") << failure;
                    }
                });

    const Json::Value stored = JsonUtil::ParseObject(files.Stored("network"));
    EXPECT_EQ(stored.size(), 3U);
    for (const Json::Value& value : stored)
    {
        EXPECT_GE(std::stoi(value.asString()), 0);
        EXPECT_LE(std::stoi(value.asString()), Rounds);
    }
}

TEST(ConfigApplicatorConcurrency, ChoicesOfBackOfficesMeetReadsAndPatches)
{
    const CConfigFiles files;
    files.Write("ocpp_backoffices", R"({"Backoffices":[
        {"Name":"A","Settings":[{"File":"network","Key":"NtpServer1","Value":"a"}]},
        {"Name":"B","Settings":[{"File":"network","Key":"NtpServer1","Value":"b"}]}]})");
    const auto settings = files.Open("settings");
    COcppBackofficeApplicator choice(
        files.Open("ocpp_backoffices"), settings, files.Open("network"), files.Open("secrets"));
    CSettingsConfigApplicator user(settings, nullptr);

    RunTogether(4,
                [&](int number)
                {
                    for (int round = 1; round <= Rounds; ++round)
                    {
                        choice.PatchConfig(Patch("Name", number % 2 == 0 ? "A" : "B"));
                        EXPECT_EQ(choice.GetConfig()["Backoffices"].size(), 2U);
                        user.PatchConfig(Patch("HmiBuzzerVolume", round));
                        EXPECT_TRUE(user.GetConfig()["PredefinedCpoName"].isString());
                    }
                });

    EXPECT_THAT(files.Stored("network", "NtpServer1"), testing::AnyOf(R"("a")", R"("b")"));
    EXPECT_THAT(files.Stored("settings", "PredefinedCpoName"), testing::AnyOf(R"("A")", R"("B")"));
    EXPECT_EQ(files.Stored("settings", "HmiBuzzerVolume"), std::to_string(Rounds));
}
