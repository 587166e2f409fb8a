#pragma once

#include "src/api/configapplicator.h"

#include <json/value.h>

#include <gmock/gmock.h>

class CMockConfigApplicator : public IConfigApplicator
{
public:
    MOCK_METHOD(Json::Value, GetConfig, (), (const, override));
    MOCK_METHOD(void, PatchConfig, (const Json::Value& patch), (override));
};
