#include "simulator/controller/controllerlogic.h"

#include <gtest/gtest.h>

using Simulator::CControllerLogic;
using Simulator::ERequest;
using namespace std::chrono_literals;
using Plan = CControllerLogic::SPlan;

TEST(ControllerLogic, DisablesBeforeItEnables)
{
    CControllerLogic logic(1s);
    EXPECT_EQ(logic.StateReported(1), (Plan{ERequest::Disable, 0ms}));
    EXPECT_EQ(logic.StateReported(2), (Plan{ERequest::Enable, 0ms}));
    EXPECT_EQ(logic.StateReported(3), std::nullopt);
}

TEST(ControllerLogic, LeavesAnErrorToTheProcessAndEnablesAfterAPause)
{
    CControllerLogic logic(1s);
    EXPECT_EQ(logic.StateReported(4), std::nullopt);
    EXPECT_EQ(logic.StateReported(2), (Plan{ERequest::Enable, 1s}));
}

TEST(ControllerLogic, PauseDoublesWithEachErrorUpToHalfAMinute)
{
    CControllerLogic logic(1s);
    for (const auto pause : {1s, 2s, 4s, 8s, 16s, 30s, 30s})
    {
        logic.StateReported(4);
        EXPECT_EQ(logic.StateReported(2), (Plan{ERequest::Enable, pause}));
    }
    for (int error = 0; error < 100; ++error)
    {
        logic.StateReported(4);
    }
    EXPECT_EQ(logic.StateReported(2), (Plan{ERequest::Enable, 30s}));
}

TEST(ControllerLogic, EnabledProcessMakesErrorsForgotten)
{
    CControllerLogic logic(1s);
    logic.StateReported(4);
    logic.StateReported(4);
    logic.StateReported(3);
    EXPECT_EQ(logic.StateReported(2), (Plan{ERequest::Enable, 0ms}));
}

TEST(ControllerLogic, RestartedProcessIsNotMadeToWait)
{
    CControllerLogic logic(1s);
    logic.StateReported(4);
    logic.Disconnected();
    EXPECT_EQ(logic.PresentPlan(), std::nullopt);
    EXPECT_EQ(logic.StateReported(1), (Plan{ERequest::Disable, 0ms}));
}

TEST(ControllerLogic, FailedRequestIsRepeatedAfterAPause)
{
    CControllerLogic logic(1s);
    logic.StateReported(2);
    EXPECT_EQ(logic.RequestFailed(ERequest::Enable), (Plan{ERequest::Enable, 1s}));
    EXPECT_EQ(logic.RequestFailed(ERequest::Enable), (Plan{ERequest::Enable, 2s}));
}

TEST(ControllerLogic, FailedRequestThatTheStateNoLongerWantsDoesNotCount)
{
    CControllerLogic logic(1s);
    logic.StateReported(1);
    logic.StateReported(2);
    EXPECT_EQ(logic.RequestFailed(ERequest::Disable), (Plan{ERequest::Enable, 0ms}));
    logic.Disconnected();
    EXPECT_EQ(logic.RequestFailed(ERequest::Enable), std::nullopt);
    EXPECT_EQ(logic.StateReported(1), (Plan{ERequest::Disable, 0ms}));
}

TEST(ControllerLogic, NothingHelpsAFatalError)
{
    CControllerLogic logic(1s);
    EXPECT_EQ(logic.StateReported(5), std::nullopt);
}
