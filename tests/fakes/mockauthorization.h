#pragma once

#include "src/session/authorization.h"

#include <cstdint>
#include <optional>
#include <string>

#include <gmock/gmock.h>

class CMockAuthorization : public IAuthorization
{
public:
    MOCK_METHOD(bool, IsSessionValid, (const std::string& key), (override));
    MOCK_METHOD(bool, RefreshSession, (const std::string& key), (override));
    MOCK_METHOD(bool, IsSessionPersistent, (const std::string& key), (override));
    MOCK_METHOD(bool, CheckPassword, (const std::string& password), (override));
    MOCK_METHOD(std::optional<std::string>,
                CreateSession,
                (const std::string& password, std::uint64_t timeoutSeconds, bool persistent),
                (override));
    MOCK_METHOD(void, RemoveSession, (const std::string& key), (override));
    MOCK_METHOD(void, RemoveAllSessions, (), (override));
};
