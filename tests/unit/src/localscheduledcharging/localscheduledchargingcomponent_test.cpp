#include "src/localscheduledcharging/chargingschedulemanager.h"
#include "src/localscheduledcharging/localscheduledchargingcomponent.h"
#include "src/localscheduledcharging/scheduleexecutor.h"

#include "platform/config/tarnconfig.h"
#include "platform/json/jsonutil.h"

#include <json/value.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/mockschedule.h"
#include "tests/support/capturedlog.h"
#include "tests/support/configfiles.h"
#include "tests/support/eventually.h"
#include "tests/support/manualclock.h"
#include "tests/support/manualsystemclock.h"
#include "tests/support/timezone.h"
#include "tests/unit/src/localscheduledcharging/schedules.h"

using std::chrono::seconds;
using testing::ElementsAre;
using testing::InSequence;
using testing::Return;
using testing::StrictMock;

// -------------------------------------------------------------------------------- Between the two of them

namespace
{

class ScheduledChargingComponent : public testing::Test
{
protected:
    std::unique_ptr<StrictMock<CMockChargingScheduleManager>> ownedManager =
        std::make_unique<StrictMock<CMockChargingScheduleManager>>();
    std::unique_ptr<StrictMock<CMockScheduleExecutor>> ownedExecutor =
        std::make_unique<StrictMock<CMockScheduleExecutor>>();
    CMockChargingScheduleManager& manager = *ownedManager;
    CMockScheduleExecutor& executor = *ownedExecutor;
    CLocalScheduledChargingComponent component{std::move(ownedManager), std::move(ownedExecutor)};
    const Json::Value schedule = Parse(R"({"Monday":[]})");
};

} // namespace

TEST_F(ScheduledChargingComponent, InitLoadsTheSchedule)
{
    EXPECT_CALL(manager, Init);

    EXPECT_TRUE(component.Init());
}

TEST_F(ScheduledChargingComponent, EnableFailsOnlyWhereACallbackIsMissing)
{
    EXPECT_CALL(executor, Start).WillOnce(Return(0)).WillOnce(Return(1)).WillOnce(Return(2));

    EXPECT_FALSE(component.Enable());
    EXPECT_TRUE(component.Enable());
    EXPECT_TRUE(component.Enable());
}

TEST_F(ScheduledChargingComponent, DisableStops)
{
    EXPECT_CALL(executor, Stop);

    component.Disable();
}

TEST_F(ScheduledChargingComponent, ValidScheduleIsWritten)
{
    const InSequence inOrder;
    EXPECT_CALL(manager, ValidateSchedule(schedule)).WillOnce(Return(true));
    EXPECT_CALL(manager, WriteSchedule(schedule));

    EXPECT_TRUE(component.WriteSchedule(schedule));
}

TEST_F(ScheduledChargingComponent, InvalidScheduleIsNotWritten)
{
    EXPECT_CALL(manager, ValidateSchedule(schedule)).WillOnce(Return(false));

    EXPECT_FALSE(component.WriteSchedule(schedule));
}

TEST_F(ScheduledChargingComponent, ScheduleIsTheManagers)
{
    EXPECT_CALL(manager, ReadSchedule).WillOnce(Return(schedule));

    EXPECT_EQ(component.ReadSchedule(), schedule);
}

TEST_F(ScheduledChargingComponent, EveryOperationIsTraced)
{
    EXPECT_CALL(manager, Init);
    EXPECT_CALL(executor, Start).WillOnce(Return(2));
    EXPECT_CALL(executor, Stop);
    EXPECT_CALL(manager, ValidateSchedule).WillOnce(Return(true));
    EXPECT_CALL(manager, WriteSchedule);
    EXPECT_CALL(manager, ReadSchedule);
    const CCapturedLog log;

    component.Init();
    component.Enable();
    component.Disable();
    component.WriteSchedule(schedule);
    component.ReadSchedule();

    EXPECT_THAT(log.Messages(Log::ELogLevel::Trace),
                ElementsAre("CLocalScheduledChargingComponent::Init",
                            "CLocalScheduledChargingComponent::Enable",
                            "CLocalScheduledChargingComponent::Disable",
                            "CLocalScheduledChargingComponent::WriteSchedule",
                            "CLocalScheduledChargingComponent::ReadSchedule"));
}

// ------------------------------------------------------------------------------------------- With the two

namespace
{

/// The component as it is in a station, with clocks that are moved together, from Monday, 12:00:50 on.
class ScheduledCharging : public testing::Test
{
protected:
    ScheduledCharging()
    {
        auto manager = std::make_unique<CChargingScheduleManager>(files.Open("local_charging_schedules"));
        auto executor =
            std::make_unique<CScheduleExecutor>(*manager, seconds(5), timeOfDay.Source(), workerClock);
        executor->SetCurrentLimitCallback(
            [this](std::uint32_t limit)
            {
                calls.Add("set " + std::to_string(limit));
                return true;
            });
        executor->SetClearCurrentLimitCallback(
            [this]
            {
                calls.Add("clear");
                return true;
            });
        executor->SetTimeSyncedCallback([] { return true; });
        component =
            std::make_unique<CLocalScheduledChargingComponent>(std::move(manager), std::move(executor));
        component->Init();
    }

    void Advance(seconds duration)
    {
        timeOfDay.Advance(duration);
        workerClock->Advance(duration);
    }

    std::vector<std::string> Calls() { return calls.Await(0); }

    const CTimeZone zone{"UTC"};
    const CConfigFiles files;
    CManualSystemClock timeOfDay{At(Monday, 12, 0, 50)};
    const std::shared_ptr<CManualClock> workerClock = std::make_shared<CManualClock>();
    CCollector<std::string> calls;
    std::unique_ptr<CLocalScheduledChargingComponent> component;
};

} // namespace

TEST_F(ScheduledCharging, NewScheduleTakesEffectAtTheNextMinuteCheck)
{
    component->Enable();
    Advance(seconds(10));

    EXPECT_TRUE(component->WriteSchedule(Parse(R"({"Monday":[{"StartTime":0,"CurrentLimit":10000}]})")));
    Advance(seconds(59));
    EXPECT_THAT(Calls(), ElementsAre("set 32000"));

    Advance(seconds(1));
    EXPECT_THAT(Calls(), ElementsAre("set 32000", "set 10000"));
}

TEST_F(ScheduledCharging, RefusedScheduleLeavesTheOneInForceAndItsChecks)
{
    const std::string present = R"({"Monday":[{"CurrentLimit":10000,"StartTime":0},)"
                                R"({"CurrentLimit":12000,"StartTime":43320}]})";
    component->WriteSchedule(Parse(present));
    component->Enable();
    Advance(seconds(10));
    const std::string before = JsonUtil::WriteUnstyled(component->ReadSchedule());

    EXPECT_FALSE(component->WriteSchedule(Parse(R"({"Monday":[{"StartTime":86400,"CurrentLimit":1}]})")));
    EXPECT_FALSE(component->WriteSchedule(Parse(R"({"Friday":[],"monday":[]})")));
    EXPECT_THROW(component->WriteSchedule(Parse("[]")), Json::LogicError);

    EXPECT_EQ(JsonUtil::WriteUnstyled(component->ReadSchedule()), before);
    EXPECT_EQ(files.Stored("local_charging_schedules"), present);
    Advance(seconds(60));
    EXPECT_THAT(Calls(), ElementsAre("set 10000", "set 12000")) << "12:02:00";
}

TEST_F(ScheduledCharging, LimitFollowsTheWeek)
{
    component->WriteSchedule(Parse(R"({"Monday":[{"StartTime":0,"CurrentLimit":10000},
                                                 {"StartTime":64800,"CurrentLimit":16000}],
                                       "Tuesday":[{"StartTime":21600,"CurrentLimit":8000}]})"));
    component->Enable();
    Advance(seconds(10));
    for (int minute = 1; minute < 3 * 1440; ++minute)
    {
        Advance(seconds(60));
    }

    EXPECT_THAT(Calls(), ElementsAre("set 10000", "set 16000", "set 8000", "set 32000"));
}

TEST_F(ScheduledCharging, DisableAndEnableHandTheLimitOnAgain)
{
    component->Enable();
    component->Disable();
    component->Enable();
    component->Enable();

    EXPECT_THAT(Calls(), ElementsAre("set 32000", "clear", "set 32000"));
}
