#include "simulator/script.h"
#include "simulator/steering/steeringerror.h"

#include <gtest/gtest.h>

#include "tests/support/eventually.h"
#include "tests/support/temporarydirectory.h"

using Simulator::CBadRequest;
using Simulator::CScript;
using Simulator::CSteering;
using Simulator::ReadScript;
using Simulator::SScriptStep;
using Simulator::SSteeringRequest;
using namespace std::chrono_literals;

namespace
{

class SimulatorScript : public testing::Test
{
protected:
    SimulatorScript()
    {
        steering.Add("/connector",
                     "POST",
                     [this](const SSteeringRequest& request)
                     {
                         requests.Add(request.body);
                         if (request.body["State"] == 99)
                         {
                             throw CBadRequest("no such state");
                         }
                         return Json::Value();
                     });
        steering.Add("/station", "GET", [](const SSteeringRequest&) { return Json::Value(); });
    }

    std::vector<SScriptStep> Read(const std::string& text)
    {
        directory.Write("steps.json", text);
        return ReadScript((directory.Path() / "steps.json").string(), steering);
    }

    std::string ReasonOf(const std::string& text)
    {
        try
        {
            Read(text);
        }
        catch (const std::runtime_error& error)
        {
            return error.what();
        }
        return "";
    }

    CTemporaryDirectory directory;
    CCollector<Json::Value> requests;
    CSteering steering;
};

} // namespace

TEST_F(SimulatorScript, StepsAreReadInOrder)
{
    const auto steps = Read(R"([{"After": 0.25, "Post": "/connector", "Body": {"State": 11}},
                                {"After": 3, "Post": "/connector"}])");
    ASSERT_EQ(steps.size(), 2U);
    EXPECT_EQ(steps[0].after, 250ms);
    EXPECT_EQ(steps[0].path, "/connector");
    EXPECT_EQ(steps[0].body, R"({"State":11})");
    EXPECT_EQ(steps[1].after, 3s);
    EXPECT_EQ(steps[1].body, "");
}

TEST_F(SimulatorScript, FaultsAreNamedWithTheirStep)
{
    EXPECT_NE(ReasonOf(R"([{"After": 0, "Post": "/connector"}, {"After": 0, "Post": "/nowhere"}])")
                  .find("step 2: there is no POST /nowhere"),
              std::string::npos);
    EXPECT_NE(ReasonOf(R"([{"After": 0, "Post": "/station"}])").find("no POST /station"), std::string::npos);
    EXPECT_NE(ReasonOf(R"([{"After": -1, "Post": "/connector"}])").find("After"), std::string::npos);
    EXPECT_NE(ReasonOf(R"([{"After": 0, "Post": "/connector", "Body": 5}])").find("Body"), std::string::npos);
    EXPECT_NE(ReasonOf(R"([{"After": 0, "Post": "/connector", "Boddy": {}}])").find("Boddy"),
              std::string::npos);
    EXPECT_NE(ReasonOf(R"({"After": 0})").find("no JSON array"), std::string::npos);
    EXPECT_NE(ReasonOf("[").find("no JSON array"), std::string::npos);
}

TEST_F(SimulatorScript, FileThatIsNotThereIsRefused)
{
    EXPECT_THROW(ReadScript((directory.Path() / "absent.json").string(), steering), std::runtime_error);
}

TEST_F(SimulatorScript, StepsRunInOrderAndGoOnAfterAnError)
{
    CScript script(Read(R"([{"After": 0, "Post": "/connector", "Body": {"State": 4}},
                            {"After": 0.001, "Post": "/connector", "Body": {"State": 99}},
                            {"After": 0, "Post": "/connector", "Body": {"State": 11}}])"),
                   steering);
    script.Start();
    const auto run = requests.Await(3);
    ASSERT_EQ(run.size(), 3U);
    EXPECT_EQ(run[0]["State"], 4);
    EXPECT_EQ(run[1]["State"], 99);
    EXPECT_EQ(run[2]["State"], 11);
}

TEST_F(SimulatorScript, StopDropsTheStepsToCome)
{
    CScript script(Read(R"([{"After": 0, "Post": "/connector", "Body": {"State": 4}},
                            {"After": 3600, "Post": "/connector", "Body": {"State": 11}}])"),
                   steering);
    script.Start();
    ASSERT_EQ(requests.Await(1).size(), 1U);
    script.Stop();
    EXPECT_EQ(requests.Await(2, 1ms).size(), 1U);
}
