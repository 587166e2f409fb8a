#include "src/localscheduledcharging/localscheduledchargingcomponent.h"

#include "src/localscheduledcharging/chargingschedulemanager.h"
#include "src/localscheduledcharging/scheduleexecutor.h"

#include "platform/log/log.h"

#include <json/value.h>

#include <utility>

CLocalScheduledChargingComponent::CLocalScheduledChargingComponent(
    std::unique_ptr<IChargingScheduleManager> manager, std::unique_ptr<IScheduleExecutor> executor)
    : manager(std::move(manager))
    , executor(std::move(executor))
{
}

CLocalScheduledChargingComponent::~CLocalScheduledChargingComponent() = default;

bool CLocalScheduledChargingComponent::Init()
{
    LOG_ENTRY(CLocalScheduledChargingComponent, "Init");
    manager->Init();
    return true;
}

bool CLocalScheduledChargingComponent::Enable()
{
    LOG_ENTRY(CLocalScheduledChargingComponent, "Enable");
    return executor->Start() != IScheduleExecutor::CallbackIsMissing;
}

void CLocalScheduledChargingComponent::Disable()
{
    LOG_ENTRY(CLocalScheduledChargingComponent, "Disable");
    executor->Stop();
}

bool CLocalScheduledChargingComponent::WriteSchedule(const Json::Value& schedule)
{
    LOG_ENTRY(CLocalScheduledChargingComponent, "WriteSchedule");
    if (!manager->ValidateSchedule(schedule))
    {
        return false;
    }
    manager->WriteSchedule(schedule);
    return true;
}

Json::Value CLocalScheduledChargingComponent::ReadSchedule()
{
    LOG_ENTRY(CLocalScheduledChargingComponent, "ReadSchedule");
    return manager->ReadSchedule();
}
