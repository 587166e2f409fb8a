#include "simulator/callrecorder.h"

#include <future>

#include <gtest/gtest.h>

using Simulator::CCallRecorder;
using Simulator::SCall;
using Simulator::SCallFilter;
using Simulator::ToJson;
namespace Operations = Simulator::Operations;
using namespace std::chrono_literals;

namespace
{

/// 2024-05-01T12:00:00Z
const std::chrono::system_clock::time_point noon{1714564800s};

class CallRecorder : public testing::Test
{
protected:
    static SCallFilter Of(const char* service, const char* operation, std::uint64_t after = 0)
    {
        SCallFilter filter;
        filter.service = service;
        filter.operation = operation;
        filter.after = after;
        return filter;
    }

    CCallRecorder recorder{[] { return noon; }};
};

} // namespace

TEST_F(CallRecorder, KeepsCallsInOrderWithNumberAndRequest)
{
    Json::Value limit;
    limit["Source"] = 14;
    recorder.Add(Operations::SetLimit, limit);
    recorder.Add(Operations::ValidateConfig, Json::objectValue);
    const auto calls = recorder.Find({});
    ASSERT_EQ(calls.size(), 2U);

    Json::Value expected;
    expected["Number"] = Json::UInt64{1};
    expected["Service"] = "CurrentControl";
    expected["Operation"] = "SetLimit";
    expected["Request"] = limit;
    expected["Time"] = "2024-05-01T12:00:00.000Z";
    EXPECT_EQ(ToJson(calls[0]), expected);
    EXPECT_EQ(calls[1].number, 2U);
    EXPECT_EQ(recorder.LastNumber(), 2U);
}

TEST_F(CallRecorder, FindsCallsAfterANumber)
{
    for (int call = 0; call < 3; ++call)
    {
        recorder.Add(Operations::ValidateConfig, Json::objectValue);
    }
    const auto calls = recorder.Find(Of("", "", 2));
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].number, 3U);
}

TEST_F(CallRecorder, FindsCallsOfAServiceAndOperation)
{
    recorder.Add(Operations::SetLimit, Json::objectValue);
    recorder.Add(Operations::ClearLimit, Json::objectValue);
    recorder.Add(Operations::ScanWlan, Json::objectValue);
    EXPECT_EQ(recorder.Find(Of("CurrentControl", "")).size(), 2U);
    EXPECT_EQ(recorder.Find(Of("CurrentControl", "ClearLimit")).size(), 1U);
    EXPECT_EQ(recorder.Find(Of("NetM", "ClearLimit")).size(), 0U);
}

TEST_F(CallRecorder, NumbersGoOnAfterClear)
{
    recorder.Add(Operations::ScanWlan, Json::objectValue);
    recorder.Clear();
    EXPECT_TRUE(recorder.Find({}).empty());
    recorder.Add(Operations::ScanWlan, Json::objectValue);
    EXPECT_EQ(recorder.Find({})[0].number, 2U);
}

TEST_F(CallRecorder, ForgetsTheOldestOfMoreThanTenThousand)
{
    for (int call = 0; call < 10001; ++call)
    {
        recorder.Add(Operations::ScanWlan, Json::objectValue);
    }
    const auto calls = recorder.Find({});
    EXPECT_EQ(calls.size(), 10000U);
    EXPECT_EQ(calls.front().number, 2U);
}

TEST_F(CallRecorder, WaitEndsWhenAMatchingCallArrives)
{
    auto waiting = std::async(std::launch::async,
                              [this] { return recorder.WaitFor(Of("NetM", "ValidateConfig"), 1, 1min); });
    recorder.Add(Operations::ScanWlan, Json::objectValue);
    EXPECT_EQ(waiting.wait_for(20ms), std::future_status::timeout);
    recorder.Add(Operations::ValidateConfig, Json::objectValue);
    const std::vector<SCall> calls = waiting.get();
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].number, 2U);
}

TEST_F(CallRecorder, WaitForTwoDoesNotEndWithOne)
{
    auto waiting =
        std::async(std::launch::async, [this] { return recorder.WaitFor(Of("NetM", ""), 2, 1min).size(); });
    recorder.Add(Operations::ScanWlan, Json::objectValue);
    EXPECT_EQ(waiting.wait_for(20ms), std::future_status::timeout);
    recorder.Add(Operations::ValidateConfig, Json::objectValue);
    EXPECT_EQ(waiting.get(), 2U);
}

TEST_F(CallRecorder, WaitGivesWhatThereIsAtItsLimit)
{
    recorder.Add(Operations::ScanWlan, Json::objectValue);
    EXPECT_EQ(recorder.WaitFor(Of("NetM", ""), 2, 1ms).size(), 1U);
}

TEST_F(CallRecorder, EndOfWaitingLetsReadersGo)
{
    auto waiting = std::async(std::launch::async, [this] { return recorder.WaitFor({}, 1, 1min).size(); });
    recorder.EndWaiting();
    EXPECT_EQ(waiting.get(), 0U);
    EXPECT_EQ(recorder.WaitFor({}, 1, 1min).size(), 0U);
}
