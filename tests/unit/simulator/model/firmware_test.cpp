#include "simulator/model/firmware.h"

#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/manualclock.h"

using Simulator::CFirmware;
using namespace std::chrono_literals;

namespace
{

class SimulatedFirmware : public testing::Test
{
protected:
    SimulatedFirmware() { worker->Start(); }
    ~SimulatedFirmware() override { worker->Stop(); }

    std::string State() const { return firmware->ToJson()["State"].asString(); }

    bool isPackageThere = true;
    bool isStationIdle = true;
    /// filled on the worker's thread while the clock advances, read after that
    std::vector<ipc::MFwUpdateStatus> reports;
    std::shared_ptr<CManualClock> clock = std::make_shared<CManualClock>();
    std::shared_ptr<CWorker> worker = std::make_shared<CWorker>(clock);
    std::shared_ptr<CFirmware> firmware = std::make_shared<CFirmware>(
        worker,
        CFirmware::SConditions{[this] { return isPackageThere; }, [this] { return isStationIdle; }},
        "1.0",
        [this](const ipc::MFwUpdateStatus& status) { reports.push_back(status); });
};

} // namespace

TEST_F(SimulatedFirmware, UpdateIsCheckedThenProgrammedThenReported)
{
    CFirmware::SPlan plan;
    plan.newIdentifier = "1.1";
    plan.programmingTime = 5s;
    firmware->SetPlan(plan);
    EXPECT_EQ(State(), "Idle");
    EXPECT_TRUE(firmware->Request());
    EXPECT_EQ(State(), "Checking");
    clock->Advance(1s);
    EXPECT_EQ(State(), "Programming");
    EXPECT_TRUE(reports.empty());
    clock->Advance(5s);
    EXPECT_EQ(State(), "Idle");
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].status(), ipc::EFwUpdateStatusSuccess);
    EXPECT_EQ(reports[0].old_firmware_identifier(), "1.0");
    EXPECT_EQ(reports[0].new_firmware_identifier(), "1.1");
    EXPECT_EQ(firmware->ToJson()["Installed"], "1.1");
}

TEST_F(SimulatedFirmware, SecondRequestIsRefusedWhileOneIsUnderWay)
{
    EXPECT_TRUE(firmware->Request());
    EXPECT_FALSE(firmware->Request());
    clock->Advance(1s);
    EXPECT_FALSE(firmware->Request());
    clock->Advance(10s);
    EXPECT_TRUE(firmware->Request());
}

TEST_F(SimulatedFirmware, MissingPackageFails)
{
    isPackageThere = false;
    firmware->Request();
    clock->Advance(1s);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].status(), ipc::EFwUpdateStatusPackageMissing);
    EXPECT_EQ(State(), "Idle");
    EXPECT_EQ(firmware->ToJson()["Installed"], "1.0");
}

TEST_F(SimulatedFirmware, ChargingVehicleMakesItFail)
{
    isStationIdle = false;
    firmware->Request();
    clock->Advance(1s);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].status(), ipc::EFwUpdateStatusNotIdle);
}

TEST_F(SimulatedFirmware, PlannedFailureLeavesTheOldFirmware)
{
    CFirmware::SPlan plan;
    plan.result = ipc::EFwUpdateStatusProgrammingFailed;
    plan.programmingTime = 0s;
    firmware->SetPlan(plan);
    firmware->Request();
    clock->Advance(1s);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].status(), ipc::EFwUpdateStatusProgrammingFailed);
    EXPECT_EQ(firmware->ToJson()["Installed"], "1.0");
}

TEST_F(SimulatedFirmware, ReportsAStatusOnRequest)
{
    firmware->Report(10);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].status(), ipc::EFwUpdateStatusInternalError);
}
