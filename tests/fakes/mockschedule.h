/// The two halves of local scheduled charging for tests of what holds them.
#pragma once

#include "src/localscheduledcharging/chargingschedulemanager.h"
#include "src/localscheduledcharging/scheduleexecutor.h"

#include <json/value.h>

#include <cstdint>
#include <functional>

#include <gmock/gmock.h>

class CMockChargingScheduleManager : public IChargingScheduleManager
{
public:
    MOCK_METHOD(void, Init, (), (override));
    MOCK_METHOD(bool, ValidateSchedule, (const Json::Value& schedule), (override));
    MOCK_METHOD(void, WriteSchedule, (const Json::Value& schedule), (override));
    MOCK_METHOD(Json::Value, ReadSchedule, (), (override));
    MOCK_METHOD(std::uint32_t, GetCurrentLimit, (std::chrono::system_clock::time_point now), (override));
};

class CMockScheduleExecutor : public IScheduleExecutor
{
public:
    MOCK_METHOD(int, Start, (), (override));
    MOCK_METHOD(void, Stop, (), (override));
    MOCK_METHOD(void, SetCurrentLimitCallback, (std::function<bool(std::uint32_t)> callback), (override));
    MOCK_METHOD(void, SetClearCurrentLimitCallback, (std::function<bool()> callback), (override));
    MOCK_METHOD(void, SetTimeSyncedCallback, (std::function<bool()> callback), (override));
    MOCK_METHOD(void, UpdateCurrentLimitation, (), (override));
};
