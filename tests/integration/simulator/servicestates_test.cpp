#include <future>

#include <gtest/gtest.h>

#include "tests/integration/simulator/runningsimulator.h"
#include "tests/integration/simulator/streamcollector.h"

using namespace std::chrono_literals;

namespace
{

class SimulatedServiceStates : public testing::Test
{
protected:
    void SetState(const char* service, const char* state)
    {
        Json::Value body;
        const SSteeringAnswer answer = station.steering.Post(
            "/service", std::string(R"({"Service": ")") + service + R"(", "State": ")" + state + "\"}");
        ASSERT_EQ(answer.status, 200);
        EXPECT_EQ(answer.body[service], state);
    }

    grpc::Status Scan(grpc::ClientContext& context)
    {
        ipc::MScanWlanResult scan;
        return station.Connect<ipc::NetM>("NetM")->ScanWlan(&context, ipc::MVoid(), &scan);
    }

    grpc::StatusCode Scan()
    {
        SPatientContext context;
        return Scan(context).error_code();
    }

    CRunningSimulator station;
};

} // namespace

TEST_F(SimulatedServiceStates, AllAreUpAtFirst)
{
    const Json::Value states = station.steering.Get("/service").body;
    EXPECT_EQ(states.size(), 8U);
    for (const std::string& name : states.getMemberNames())
    {
        EXPECT_EQ(states[name], "up") << name;
    }
}

TEST_F(SimulatedServiceStates, ServiceThatIsDownCannotBeReachedAndComesBack)
{
    EXPECT_EQ(Scan(), grpc::StatusCode::OK);
    SetState("NetM", "down");
    EXPECT_EQ(Scan(), grpc::StatusCode::UNAVAILABLE);
    SetState("NetM", "up");
    EXPECT_EQ(Scan(), grpc::StatusCode::OK);
}

TEST_F(SimulatedServiceStates, OthersGoOnWhileOneIsDown)
{
    SetState("NetM", "down");
    SPatientContext context;
    ipc::MMeterData data;
    EXPECT_TRUE(
        station.Connect<ipc::MeterService>("MeterService")->GetMeterData(&context, ipc::MVoid(), &data).ok());
}

TEST_F(SimulatedServiceStates, GoingDownEndsCallsAndStreams)
{
    const auto netM = station.Connect<ipc::NetM>("NetM");
    CStreamCollector<ipc::MNetStatus> statuses([&](auto* call)
                                               { return netM->SubscribeNetworkStatus(call, ipc::MVoid()); });
    station.steering.Post("/fault", R"({"Service": "NetM", "Operation": "ScanWlan", "Hang": true})");
    auto hanging = std::async(std::launch::async, [this] { return Scan(); });
    station.steering.AwaitCall("NetM", "ScanWlan");

    SetState("NetM", "down");
    EXPECT_NE(hanging.get(), grpc::StatusCode::OK);
    const auto ends = statuses.ended.Await(1);
    ASSERT_EQ(ends.size(), 1U);
    EXPECT_FALSE(ends[0].ok());
}

TEST_F(SimulatedServiceStates, HungServiceTakesCallsAndAnswersNone)
{
    SetState("NetM", "hung");
    SImpatientContext impatient;
    EXPECT_EQ(Scan(impatient).error_code(), grpc::StatusCode::DEADLINE_EXCEEDED);
    EXPECT_EQ(station.steering.Calls("NetM", "ScanWlan").size(), 1U);
}

TEST_F(SimulatedServiceStates, RecoveredServiceAnswersWhatCameInMeanwhile)
{
    SetState("NetM", "hung");
    auto waiting = std::async(std::launch::async, [this] { return Scan(); });
    station.steering.AwaitCall("NetM", "ScanWlan");
    EXPECT_EQ(waiting.wait_for(50ms), std::future_status::timeout);
    SetState("NetM", "up");
    EXPECT_EQ(waiting.get(), grpc::StatusCode::OK);
}

TEST_F(SimulatedServiceStates, HungServiceNotifiesWhenItRecovers)
{
    const auto sessions = station.Connect<ipc::SessionManager>("SessionManager");
    CStreamCollector<ipc::MConnectorState> states(
        [&](auto* call) { return sessions->SubscribeConnectorState(call, ipc::MVoid()); });
    SetState("SessionManager", "hung");
    station.steering.Post("/connector", R"({"State": 11})");
    EXPECT_TRUE(states.received.Await(1, 50ms).empty());
    SetState("SessionManager", "up");
    ASSERT_EQ(states.received.Await(1).size(), 1U);
    EXPECT_EQ(states.received.Await(1)[0].state(), 11);
}

TEST_F(SimulatedServiceStates, HungServiceCanGoDownAndComeBackSound)
{
    SetState("NetM", "hung");
    auto waiting = std::async(std::launch::async, [this] { return Scan(); });
    station.steering.AwaitCall("NetM", "ScanWlan");
    SetState("NetM", "down");
    EXPECT_NE(waiting.get(), grpc::StatusCode::OK);
    SetState("NetM", "up");
    EXPECT_EQ(Scan(), grpc::StatusCode::OK);
}

TEST_F(SimulatedServiceStates, ServiceCanComeUpHung)
{
    SetState("NetM", "down");
    SetState("NetM", "hung");
    SImpatientContext impatient;
    EXPECT_EQ(Scan(impatient).error_code(), grpc::StatusCode::DEADLINE_EXCEEDED);
}

TEST_F(SimulatedServiceStates, StopEndsAtOnceWithCallsHanging)
{
    station.steering.Post("/fault", R"({"Service": "NetM", "Operation": "ScanWlan", "Hang": true})");
    auto hanging = std::async(std::launch::async, [this] { return Scan(); });
    station.steering.AwaitCall("NetM", "ScanWlan");
    auto waiting = std::async(std::launch::async,
                              [this] { return station.steering.Get("/calls?after=1e9&wait=60").status; });
    const auto start = std::chrono::steady_clock::now();
    station.simulator.Stop();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    EXPECT_NE(hanging.get(), grpc::StatusCode::OK);
    try
    {
        waiting.get();
    }
    catch (const std::runtime_error&)
    {
        // the connection may end before its answer
    }
}

TEST_F(SimulatedServiceStates, WrongStatesAndServicesAreRefused)
{
    EXPECT_EQ(station.steering.Post("/service", R"({"Service": "NetM", "State": "asleep"})").status, 400);
    EXPECT_EQ(station.steering.Post("/service", R"({"Service": "Nobody", "State": "up"})").status, 400);
    EXPECT_EQ(station.steering.Post("/service", R"({"Service": "NetM"})").status, 400);
}
