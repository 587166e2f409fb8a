#include "platform/toolbox/phaseconfig.h"

#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/temporarydirectory.h"

namespace
{

struct SCase
{
    std::string hardware;
    std::string settings;
    bool canSingle;
    bool canThree;
    bool canChange;
};

std::ostream& operator<<(std::ostream& stream, const SCase& one)
{
    return stream << one.hardware << " with " << one.settings;
}

class PhaseConfigTest : public testing::TestWithParam<SCase>
{
};

} // namespace

TEST_P(PhaseConfigTest, AnswersByHardwareConnectionAndRelay)
{
    const SCase& one = GetParam();
    const CTemporaryDirectory directory;
    directory.Write("etc/config/hwinfo.json", one.hardware);
    directory.Write("etc/config/settings.json", one.settings);
    const CPhaseConfig phases(TarnConfig::Create("settings", directory.Root()),
                              TarnConfig::CreateStaticOnly("hwinfo", directory.Root()));

    EXPECT_EQ(phases.CanChargeSinglePhase(), one.canSingle);
    EXPECT_EQ(phases.CanChargeThreePhases(), one.canThree);
    EXPECT_EQ(phases.CanChangeChargingPhases(), one.canChange);
}

INSTANTIATE_TEST_SUITE_P(
    Stations,
    PhaseConfigTest,
    testing::Values(
        // one phase without a word
        SCase{"{}", "{}", true, false, false},
        SCase{R"({"HwOneOrThreePhase": 1})", "{}", true, false, false},
        // connected are as many as the hardware has, without a word
        SCase{R"({"HwOneOrThreePhase": 3})", "{}", false, true, false},
        SCase{R"({"HwOneOrThreePhase": 3, "HwHas4pRelay": true})", "{}", true, true, true},
        SCase{R"({"HwOneOrThreePhase": 3, "HwHas4pRelay": false})", "{}", false, true, false},
        // the connection counts
        SCase{R"({"HwOneOrThreePhase": 3})", R"({"ConnectedPhases": 3})", false, true, false},
        SCase{R"({"HwOneOrThreePhase": 3, "HwHas4pRelay": true})",
              R"({"ConnectedPhases": 3})",
              true,
              true,
              true},
        SCase{R"({"HwOneOrThreePhase": 3, "HwHas4pRelay": true})",
              R"({"ConnectedPhases": 1})",
              true,
              false,
              false},
        SCase{R"({"HwOneOrThreePhase": 3, "HwHas4pRelay": true})",
              R"({"ConnectedPhases": 2})",
              false,
              false,
              false},
        // and so does the hardware
        SCase{R"({"HwOneOrThreePhase": 1, "HwHas4pRelay": true})",
              R"({"ConnectedPhases": 3})",
              true,
              false,
              false},
        SCase{R"({"HwHas4pRelay": true})", R"({"ConnectedPhases": 3})", true, false, false},
        // values of another type are as none
        SCase{R"({"HwOneOrThreePhase": 3, "HwHas4pRelay": "true"})",
              R"({"ConnectedPhases": "1"})",
              false,
              true,
              false},
        SCase{R"({"HwOneOrThreePhase": "3"})", "{}", true, false, false}));

TEST(PhaseConfig, FollowsAChangeOfTheSettings)
{
    const CTemporaryDirectory directory;
    directory.Write("etc/config/hwinfo.json", R"({"HwOneOrThreePhase": 3})");
    const auto settings = TarnConfig::Create("settings", directory.Root());
    const CPhaseConfig phases(settings, TarnConfig::CreateStaticOnly("hwinfo", directory.Root()));
    EXPECT_TRUE(phases.CanChargeThreePhases());

    settings->SetValue("ConnectedPhases", 1);

    EXPECT_FALSE(phases.CanChargeThreePhases());
    EXPECT_TRUE(phases.CanChargeSinglePhase());
}
