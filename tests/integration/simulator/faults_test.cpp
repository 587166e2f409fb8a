#include <future>
#include <optional>

#include <gtest/gtest.h>

#include "tests/integration/simulator/runningsimulator.h"
#include "tests/integration/simulator/streamcollector.h"

using namespace std::chrono_literals;

namespace
{

class SimulatedFaults : public testing::Test
{
protected:
    void SetFault(const std::string& body) { ASSERT_EQ(station.steering.Post("/fault", body).status, 200); }

    grpc::Status Validate(grpc::ClientContext& context)
    {
        return netM->ValidateConfig(&context, ipc::MVoid(), &accepted);
    }

    /// What the service answers; nothing if the call fails.
    std::optional<bool> Validate()
    {
        SPatientContext context;
        return Validate(context).ok() ? std::optional(accepted.value()) : std::nullopt;
    }

    CRunningSimulator station;
    std::unique_ptr<ipc::NetM::Stub> netM = station.Connect<ipc::NetM>("NetM");
    ipc::MBool accepted;
};

} // namespace

TEST_F(SimulatedFaults, AnswerReplacesTheStationsAsOftenAsItSays)
{
    SetFault(R"({"Service": "NetM", "Operation": "ValidateConfig", "Answer": false, "Times": 2})");
    EXPECT_EQ(Validate(), false);
    EXPECT_EQ(Validate(), false);
    EXPECT_EQ(Validate(), true);
}

TEST_F(SimulatedFaults, CallThatAFaultAnswersHasNoEffect)
{
    station.root.Write("data/config/network.json", R"({"NetMLteEnable": true})");
    SetFault(R"({"Service": "NetM", "Operation": "ValidateConfig", "Answer": true, "Times": 1})");
    EXPECT_EQ(Validate(), true);
    EXPECT_EQ(station.steering.Get("/station").body["Interfaces"][3]["Status"], 1);
    EXPECT_EQ(Validate(), true);
    EXPECT_EQ(station.steering.Get("/station").body["Interfaces"][3]["Status"], 4);
}

TEST_F(SimulatedFaults, NullScanIsAFailureInsideTheService)
{
    SetFault(R"({"Service": "NetM", "Operation": "ScanWlan", "Answer": null})");
    SPatientContext context;
    ipc::MScanWlanResult scan;
    ASSERT_TRUE(netM->ScanWlan(&context, ipc::MVoid(), &scan).ok());
    EXPECT_FALSE(scan.has_scan());
}

TEST_F(SimulatedFaults, RefusalIsTheResultIllegal)
{
    SetFault(R"({"Service": "Feedback", "Operation": "SendEvent", "Refuse": true})");
    const auto feedback = station.Connect<ipc::Feedback>("Feedback");
    SPatientContext context;
    ipc::MResult result;
    ASSERT_TRUE(feedback->SendEvent(&context, ipc::MFbEventType(), &result).ok());
    EXPECT_EQ(result.status(), ipc::EResultIllegal);
}

TEST_F(SimulatedFaults, AnswerToAResultIsItsCode)
{
    SetFault(R"({"Service": "Feedback", "Operation": "SendEvent", "Answer": 5})");
    const auto feedback = station.Connect<ipc::Feedback>("Feedback");
    SPatientContext context;
    ipc::MResult result;
    ASSERT_TRUE(feedback->SendEvent(&context, ipc::MFbEventType(), &result).ok());
    EXPECT_EQ(static_cast<int>(result.status()), 5);
}

TEST_F(SimulatedFaults, FailureIsOneOfTheTransport)
{
    SetFault(R"({"Service": "NetM", "Operation": "ValidateConfig", "Fail": true, "Times": 1})");
    EXPECT_EQ(Validate(), std::nullopt);
    EXPECT_EQ(Validate(), true);
}

TEST_F(SimulatedFaults, DelayedCallIsAnsweredLater)
{
    SetFault(
        R"({"Service": "NetM", "Operation": "ValidateConfig", "DelayMs": 300, "Answer": false, "Times": 1})");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Validate(), false);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 300ms);
}

TEST_F(SimulatedFaults, CallWhoseCallerGaveUpIsNotAnsweredWhenItsDelayIsOver)
{
    SetFault(R"({"Service": "NetM", "Operation": "ValidateConfig", "DelayMs": 150, "Times": 1})");
    SImpatientContext impatient;
    EXPECT_EQ(Validate(impatient).error_code(), grpc::StatusCode::DEADLINE_EXCEEDED);
    // the delay of this one ends after that of the first
    SetFault(R"({"Service": "NetM", "Operation": "ValidateConfig", "DelayMs": 200, "Times": 1})");
    EXPECT_EQ(Validate(), true);
}

TEST_F(SimulatedFaults, HangingCallIsLeftUnansweredAndOthersAreNot)
{
    SetFault(R"({"Service": "NetM", "Operation": "ValidateConfig", "Hang": true, "Times": 1})");
    SImpatientContext impatient;
    EXPECT_EQ(Validate(impatient).error_code(), grpc::StatusCode::DEADLINE_EXCEEDED);
    EXPECT_EQ(Validate(), true);
}

TEST_F(SimulatedFaults, FaultedCallsAreOnRecord)
{
    SetFault(R"({"Service": "NetM", "Operation": "ValidateConfig", "Fail": true})");
    Validate();
    EXPECT_EQ(station.steering.Calls("NetM", "ValidateConfig").size(), 1U);
}

TEST_F(SimulatedFaults, NotificationCanBeLost)
{
    const auto sessions = station.Connect<ipc::SessionManager>("SessionManager");
    CStreamCollector<ipc::MConnectorState> states(
        [&](auto* call) { return sessions->SubscribeConnectorState(call, ipc::MVoid()); });
    SetFault(R"({"Service": "SessionManager", "Operation": "ConnectorState", "Hang": true, "Times": 1})");
    station.steering.Post("/connector", R"({"State": 4})");
    station.steering.Post("/connector", R"({"State": 11})");
    const auto reports = states.received.Await(1);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].state(), 11);
}

TEST_F(SimulatedFaults, NotificationCanBeLate)
{
    const auto sessions = station.Connect<ipc::SessionManager>("SessionManager");
    CStreamCollector<ipc::MConnectorState> states(
        [&](auto* call) { return sessions->SubscribeConnectorState(call, ipc::MVoid()); });
    SetFault(R"({"Service": "SessionManager", "Operation": "ConnectorState", "DelayMs": 100, "Times": 1})");
    station.steering.Post("/connector", R"({"State": 4})");
    station.steering.Post("/connector", R"({"State": 11})");
    const auto reports = states.received.Await(2);
    ASSERT_EQ(reports.size(), 2U);
    EXPECT_EQ(reports[0].state(), 11);
    EXPECT_EQ(reports[1].state(), 4);
}

TEST_F(SimulatedFaults, SubscriptionCanFail)
{
    SetFault(R"({"Service": "Rfid", "Operation": "SubscribeTokenFound", "Fail": true, "Times": 1})");
    const auto rfid = station.Connect<ipc::Rfid>("Rfid");
    SPatientContext context;
    const auto reader = rfid->SubscribeTokenFound(&context, ipc::MVoid());
    ipc::MText token;
    EXPECT_FALSE(reader->Read(&token));
    EXPECT_EQ(reader->Finish().error_code(), grpc::StatusCode::UNAVAILABLE);
}

TEST_F(SimulatedFaults, RemovedFaultMeetsNobody)
{
    SetFault(R"({"Service": "NetM", "Operation": "ValidateConfig", "Fail": true})");
    EXPECT_EQ(station.steering.Get("/fault").body.size(), 1U);
    EXPECT_EQ(station.steering.Delete("/fault?service=NetM&operation=ValidateConfig").body.size(), 0U);
    EXPECT_EQ(Validate(), true);
}

TEST_F(SimulatedFaults, WhatCannotBeIsRefusedWithAReason)
{
    for (const char* const body :
         {R"({"Operation": "Reboot", "Fail": true})",
          R"({"Service": "Nobody", "Operation": "Reboot", "Fail": true})",
          R"({"Service": "NetM", "Operation": "Reboot", "Fail": true})",
          R"({"Service": "NetM", "Operation": "ScanWlan"})",
          R"({"Service": "NetM", "Operation": "ScanWlan", "Fail": true, "Hang": true})",
          R"({"Service": "NetM", "Operation": "ScanWlan", "Refuse": true})",
          R"({"Service": "NetM", "Operation": "ScanWlan", "Answer": {}})",
          R"({"Service": "NetM", "Operation": "ValidateConfig", "Answer": 1})",
          R"({"Service": "Rfid", "Operation": "SetTokenReport", "Answer": true})",
          R"({"Service": "MeterService", "Operation": "GetMeterData", "Answer": 1})",
          R"({"Service": "Rfid", "Operation": "TokenFound", "Fail": true})",
          R"({"Service": "Rfid", "Operation": "SetTokenReport", "Refuse": 1})",
          R"({"Service": "Rfid", "Operation": "SetTokenReport", "Fail": true, "Times": 0})",
          R"({"Service": "Rfid", "Operation": "SetTokenReport", "Fail": true, "Often": 1})"})
    {
        const SSteeringAnswer answer = station.steering.Post("/fault", body);
        EXPECT_EQ(answer.status, 400) << body;
        EXPECT_FALSE(answer.body["Error"].asString().empty()) << body;
    }
    EXPECT_EQ(station.steering.Get("/fault").body.size(), 0U);
}
