#pragma once

#include "src/session/authorization.h"

#include <string>

#include <gmock/gmock.h>

class CMockAuthorization : public IAuthorization
{
public:
    MOCK_METHOD(bool, RefreshSession, (const std::string& key), (override));
};
