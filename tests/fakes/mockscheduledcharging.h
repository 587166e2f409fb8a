#pragma once

#include "src/localscheduledcharging/localscheduledchargingcomponent.h"

#include <json/value.h>

#include <gmock/gmock.h>

class CMockScheduledCharging : public ILocalScheduledChargingComponent
{
public:
    MOCK_METHOD(bool, Init, (), (override));
    MOCK_METHOD(bool, Enable, (), (override));
    MOCK_METHOD(void, Disable, (), (override));
    MOCK_METHOD(bool, WriteSchedule, (const Json::Value& schedule), (override));
    MOCK_METHOD(Json::Value, ReadSchedule, (), (override));
};
