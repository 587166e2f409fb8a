#pragma once

#include "src/session/authorization.h"

#include "contracts/station.pb.h"
#include "platform/config/tarnconfig.h"

#include <json/value.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/mockservices.h"
#include "tests/support/manualsystemclock.h"
#include "tests/support/temporarydirectory.h"

/// A session store over files of its own, at a time that stands still, with diagnostics in reach.
class AuthorizationTest : public testing::Test
{
protected:
    using Time = std::chrono::system_clock::time_point;

    /// Seconds since the epoch at which each test begins.
    static constexpr std::int64_t Noon = 1714564800;
    static constexpr std::uint64_t ShortLife = 900;
    static constexpr std::uint64_t LongLife = 315360000;

    /// The password of the image's file, and another one, with their encoded forms.
    static const std::string Password;
    static const std::string EncodedPassword;
    static const std::string OtherPassword;
    static const std::string EncodedOtherPassword;

    /// What a store that is made from this seed gives its sessions as keys, in order.
    static constexpr std::uint32_t Seed = 2;
    static const std::string FirstKey;
    static const std::string SecondKey;

    AuthorizationTest();
    ~AuthorizationTest() override;

    /// Makes the store over the files as they are now, as the start of the process does.
    void Start();

    std::optional<std::string> Login(std::uint64_t timeout = ShortLife, bool persistent = false)
    {
        return authorization->CreateSession(Password, timeout, persistent);
    }

    /// Logs in for good. @return the key
    std::string PersistentLogin(std::uint64_t timeout = LongLife) { return Login(timeout, true).value(); }

    /// Replaces the stored sessions, before the start. @param json text of the value
    void StoreSessions(const std::string& json) const;

    /// An element of the stored sessions. @param expiry seconds from the test's beginning
    static std::string Element(const std::string& key, std::int64_t expiry);

    /// As many elements in key order, PREFIX0 to PREFIX9 and on, each of which expires a second after the one
    /// before, the first at @p expiry.
    static std::string Elements(const std::string& prefix, int count, std::int64_t expiry);

    /// The text of the writable file.
    std::string File() const;

    /// Keys of the sessions in the file, in their order.
    std::vector<std::string> StoredKeys() const;

    /// Changes a value of the file as another process does.
    void ChangeElsewhere(const std::string& key, const Json::Value& value) const;

    const CTemporaryDirectory directory;
    CManualSystemClock clock{Time(std::chrono::seconds(Noon))};
    const std::shared_ptr<testing::NiceMock<CMockDiagnosticsReport>> diagnostics =
        std::make_shared<testing::NiceMock<CMockDiagnosticsReport>>();

    /// The stored sessions of each change that the store has made, as JSON text.
    std::vector<std::string> saves;

    /// Runs after each change of the file.
    std::function<void()> afterSave = [] {};

    std::shared_ptr<TarnConfig> config;
    std::unique_ptr<CAuthorization> authorization;
};
