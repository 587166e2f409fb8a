#include "simulator/controller/controllerrecord.h"

#include <future>

#include <gtest/gtest.h>

using Simulator::CControllerRecord;
using namespace std::chrono_literals;

namespace
{

/// 2024-05-01T12:00:00Z
const std::chrono::system_clock::time_point noon{1714564800s};

class ControllerRecord : public testing::Test
{
protected:
    using SCondition = CControllerRecord::SCondition;

    std::future<void> Wait(const SCondition& condition)
    {
        return std::async(std::launch::async, [this, condition] { record.WaitFor(condition, 1min); });
    }

    static bool IsWaiting(const std::future<void>& waiting)
    {
        return waiting.wait_for(20ms) == std::future_status::timeout;
    }

    CControllerRecord record{[] { return noon; }};
};

} // namespace

TEST_F(ControllerRecord, KnowsNothingAtFirst)
{
    const Json::Value json = record.ToJson(0);
    EXPECT_EQ(json["Connected"], false);
    EXPECT_TRUE(json["State"].isNull());
    EXPECT_EQ(json["States"], Json::Value(Json::arrayValue));
    EXPECT_EQ(json["Alive"]["Count"].asInt(), 0);
    EXPECT_TRUE(json["Alive"]["Time"].isNull());
}

TEST_F(ControllerRecord, ShowsStatesInOrderWithNumberAndTime)
{
    record.AddState(1);
    record.AddState(2);
    record.AddAlive();
    const Json::Value json = record.ToJson(0);
    EXPECT_EQ(json["Connected"], true);
    EXPECT_EQ(json["State"], 2);
    ASSERT_EQ(json["States"].size(), 2U);
    EXPECT_EQ(json["States"][0]["State"], 1);
    EXPECT_EQ(json["States"][1]["State"], 2);
    EXPECT_EQ(json["States"][1]["Number"].asInt(), 2);
    EXPECT_EQ(json["States"][1]["Time"], "2024-05-01T12:00:00.000Z");
    EXPECT_EQ(json["Alive"]["Count"].asInt(), 1);
    EXPECT_EQ(json["Alive"]["Time"], "2024-05-01T12:00:00.000Z");
    EXPECT_EQ(record.ToJson(1)["States"].size(), 1U);
}

TEST_F(ControllerRecord, ProcessThatIsGoneHasNoState)
{
    record.AddState(3);
    record.SetDisconnected();
    EXPECT_EQ(record.ToJson(0)["Connected"], false);
    EXPECT_TRUE(record.ToJson(0)["State"].isNull());
    EXPECT_EQ(record.ToJson(0)["States"].size(), 1U);
}

TEST_F(ControllerRecord, WaitsForThePresentState)
{
    SCondition condition;
    condition.state = 3;
    auto waiting = Wait(condition);
    record.AddState(2);
    EXPECT_TRUE(IsWaiting(waiting));
    record.AddState(3);
    waiting.get();
}

TEST_F(ControllerRecord, WaitsForALaterReportOfAState)
{
    record.AddState(3);
    SCondition condition;
    condition.state = 3;
    condition.after = 1;
    auto waiting = Wait(condition);
    record.AddState(2);
    EXPECT_TRUE(IsWaiting(waiting));
    record.AddState(3);
    // the report counts even if the state has passed by now
    record.AddState(2);
    waiting.get();
}

TEST_F(ControllerRecord, WaitsForANumberOfAliveSignals)
{
    SCondition condition;
    condition.alive = 2;
    auto waiting = Wait(condition);
    record.AddAlive();
    EXPECT_TRUE(IsWaiting(waiting));
    record.AddAlive();
    waiting.get();
}

TEST_F(ControllerRecord, WaitsForTheProcessToBeGone)
{
    record.AddState(3);
    SCondition condition;
    condition.isConnected = false;
    auto waiting = Wait(condition);
    EXPECT_TRUE(IsWaiting(waiting));
    record.SetDisconnected();
    waiting.get();
}

TEST_F(ControllerRecord, EndOfWaitingLetsReadersGo)
{
    SCondition condition;
    condition.state = 3;
    auto waiting = Wait(condition);
    record.EndWaiting();
    waiting.get();
}

TEST_F(ControllerRecord, KeepsTheLatestThousandStates)
{
    for (int report = 0; report < 1001; ++report)
    {
        record.AddState(3);
    }
    EXPECT_EQ(record.ToJson(0)["States"].size(), 1000U);
    EXPECT_EQ(record.ToJson(0)["States"][0]["Number"].asInt(), 2);
}
