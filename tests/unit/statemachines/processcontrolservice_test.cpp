#include "statemachines/processcontrolservice.h"

#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::ElementsAre;

ipc::MResult Result(ipc::EResult status)
{
    ipc::MResult result;
    result.set_status(status);
    return result;
}

} // namespace

TEST(ProcessControlService, EnableAndDisableRunTheirFunctions)
{
    CProcessControlService service;
    std::vector<const char*> calls;
    service.SetEnableCall(
        [&]
        {
            calls.push_back("enable");
            return Result(ipc::EResultOk);
        });
    service.SetDisableCall(
        [&]
        {
            calls.push_back("disable");
            return Result(ipc::EResultIllegal);
        });

    IGenericControl& control = service;
    EXPECT_EQ(control.Enable().status(), ipc::EResultOk);
    EXPECT_EQ(control.Disable().status(), ipc::EResultIllegal);
    EXPECT_THAT(calls, ElementsAre(testing::StrEq("enable"), testing::StrEq("disable")));
}

TEST(ProcessControlService, CallWithoutAFunctionIsABadFunctionCall)
{
    CProcessControlService service;
    EXPECT_THROW(service.Enable(), std::bad_function_call);
    EXPECT_THROW(service.Disable(), std::bad_function_call);

    service.SetEnableCall([] { return Result(ipc::EResultOk); });
    service.SetDisableCall([] { return Result(ipc::EResultOk); });
    service.SetEnableCall(nullptr);
    EXPECT_THROW(service.Enable(), std::bad_function_call);
    EXPECT_EQ(service.Disable().status(), ipc::EResultOk);
    service.SetDisableCall(nullptr);
    EXPECT_THROW(service.Disable(), std::bad_function_call);
}

TEST(ProcessControlService, WhatAFunctionThrowsReachesTheCaller)
{
    CProcessControlService service;
    service.SetEnableCall([]() -> ipc::MResult { throw std::runtime_error("no machine"); });

    EXPECT_THROW(service.Enable(), std::runtime_error);
}

TEST(ProcessControlService, FunctionMayBeTakenAwayWhileItRuns)
{
    CProcessControlService service;
    const auto captured = std::make_shared<int>(7);
    service.SetEnableCall(
        [&service, captured]
        {
            service.SetEnableCall(nullptr);
            return Result(*captured == 7 ? ipc::EResultOk : ipc::EResultIllegal);
        });

    EXPECT_EQ(service.Enable().status(), ipc::EResultOk);
    EXPECT_EQ(captured.use_count(), 1);
}

TEST(ProcessControlService, FunctionsMayBeReplacedWhileOtherThreadsCall)
{
    constexpr int Rounds = 500;
    CProcessControlService service;
    service.SetEnableCall([] { return Result(ipc::EResultOk); });
    service.SetDisableCall([] { return Result(ipc::EResultOk); });
    std::thread caller(
        [&service]
        {
            for (int round = 0; round < Rounds; ++round)
            {
                EXPECT_EQ(service.Enable().status(), ipc::EResultOk);
                EXPECT_EQ(service.Disable().status(), ipc::EResultOk);
            }
        });
    for (int round = 0; round < Rounds; ++round)
    {
        service.SetEnableCall([] { return Result(ipc::EResultOk); });
        service.SetDisableCall([] { return Result(ipc::EResultOk); });
    }
    caller.join();
}

TEST(ProcessControlService, SendsStatesAndAliveSignalsToTheTransport)
{
    CProcessControlService service;
    std::vector<int> sent;
    service.StateOutput = [&](const ipc::MState& state) { sent.push_back(state.state()); };
    service.AliveOutput = [&] { sent.push_back(-1); };

    IProcessControl& process = service;
    ipc::MState state;
    state.set_state(ipc::EStateError);
    process.SendState(state);
    process.SendAlive();

    EXPECT_THAT(sent, ElementsAre(4, -1));
}

TEST(ProcessControlService, SendingWithoutATransportIsABadFunctionCall)
{
    CProcessControlService service;

    EXPECT_THROW(service.SendState(ipc::MState()), std::bad_function_call);
    EXPECT_THROW(service.SendAlive(), std::bad_function_call);
}
