#include <memory>

#include <gtest/gtest.h>

#include "tests/integration/simulator/processdouble.h"
#include "tests/integration/simulator/runningsimulator.h"

using namespace std::chrono_literals;

namespace
{

class SimulatedController : public testing::Test
{
protected:
    void StartProcess() { process = std::make_unique<CProcessDouble>(station.root.Root()); }

    Json::Value Wait(const std::string& condition)
    {
        return station.steering.Get("/controller?wait=20&" + condition).body;
    }

    /// The states that were reported so far.
    std::vector<int> States()
    {
        std::vector<int> states;
        const Json::Value controller = station.steering.Get("/controller").body;
        for (const Json::Value& report : controller["States"])
        {
            states.push_back(report["State"].asInt());
        }
        return states;
    }

    CRunningSimulator station;
    std::unique_ptr<CProcessDouble> process;
};

} // namespace

TEST_F(SimulatedController, BringsTheProcessThroughDisableAndEnable)
{
    StartProcess();
    station.steering.AwaitProcessState(3);
    EXPECT_EQ(States(), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(process->Requests().Await(2), (std::vector<std::string>{"Disable", "Enable"}));
}

TEST_F(SimulatedController, FindsAProcessThatRestarts)
{
    StartProcess();
    station.steering.AwaitProcessState(3);
    process.reset();
    EXPECT_EQ(Wait("connected=false")["Connected"], false);
    StartProcess();
    station.steering.AwaitProcessState(3);
    EXPECT_EQ(States(), (std::vector<int>{1, 2, 3, 1, 2, 3}));
}

TEST_F(SimulatedController, EnablesAgainAfterErrors)
{
    station.steering.Post("/controller", R"({"Mode": "manual"})");
    StartProcess();
    Wait("state=1");
    process->FailEnables(2);
    station.steering.Post("/controller", R"({"Mode": "auto"})");
    station.steering.AwaitProcessState(3);
    EXPECT_EQ(States(), (std::vector<int>{1, 2, 4, 2, 4, 2, 3}));
}

TEST_F(SimulatedController, RepeatsARefusedRequest)
{
    station.steering.Post("/controller", R"({"Mode": "manual"})");
    StartProcess();
    Wait("state=1");
    process->RefuseRequests(2);
    station.steering.Post("/controller", R"({"Mode": "auto"})");
    station.steering.AwaitProcessState(3);
    EXPECT_EQ(process->Requests().Await(4),
              (std::vector<std::string>{"Disable", "Disable", "Disable", "Enable"}));
}

TEST_F(SimulatedController, ManualModeLeavesTheProcessAlone)
{
    EXPECT_EQ(station.steering.Post("/controller", R"({"Mode": "manual"})").body["Mode"], "manual");
    StartProcess();
    Wait("state=1");
    EXPECT_TRUE(process->Requests().Await(1, 50ms).empty());

    EXPECT_EQ(station.steering.Post("/controller/disable").body["Code"], 0);
    EXPECT_EQ(Wait("state=2")["State"], 2);
    EXPECT_EQ(process->Requests().Await(2, 50ms), std::vector<std::string>{"Disable"});
    EXPECT_EQ(station.steering.Post("/controller/enable").body["Code"], 0);
    EXPECT_EQ(Wait("state=3")["State"], 3);
}

TEST_F(SimulatedController, AutomaticModeTakesOverInAnyState)
{
    station.steering.Post("/controller", R"({"Mode": "manual"})");
    StartProcess();
    Wait("state=1");
    station.steering.Post("/controller/disable");
    Wait("state=2");
    station.steering.Post("/controller", R"({"Mode": "auto"})");
    station.steering.AwaitProcessState(3);
}

TEST_F(SimulatedController, RequestByHandTellsTheCode)
{
    station.steering.Post("/controller", R"({"Mode": "manual"})");
    StartProcess();
    Wait("state=1");
    process->RefuseRequests(1);
    EXPECT_EQ(station.steering.Post("/controller/enable").body["Code"], 1);
}

TEST_F(SimulatedController, RequestByHandFailsWithoutAProcess)
{
    const SSteeringAnswer answer = station.steering.Post("/controller/enable");
    EXPECT_EQ(answer.status, 502);
    EXPECT_EQ(answer.body["Error"].asString().substr(0, 8), "Enable: ");
}

TEST_F(SimulatedController, CountsAliveSignals)
{
    StartProcess();
    station.steering.AwaitProcessState(3);
    // a signal that is sent before the subscription stands is lost, as any other
    do
    {
        process->SendAlive();
    } while (station.steering.Get("/controller?alive=1&wait=0.05").body["Alive"]["Count"].asInt() == 0);
    EXPECT_FALSE(station.steering.Get("/controller").body["Alive"]["Time"].isNull());
}

TEST_F(SimulatedController, WrongModesAreRefused)
{
    EXPECT_EQ(station.steering.Post("/controller", R"({"Mode": "half"})").status, 400);
    EXPECT_EQ(station.steering.Post("/controller").status, 400);
    EXPECT_EQ(station.steering.Get("/controller?connected=maybe").status, 400);
}
