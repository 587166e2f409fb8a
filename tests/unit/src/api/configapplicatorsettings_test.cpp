#include "src/api/configapplicator.h"
#include "src/api/jsonbody.h"

#include "platform/json/jsonutil.h"

#include <json/value.h>

#include <memory>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fakerequest.h"
#include "tests/fakes/mockscheduledcharging.h"
#include "tests/support/capturedlog.h"
#include "tests/support/configfiles.h"
#include "tests/support/requestfailure.h"

namespace
{

using testing::Return;
using testing::StrictMock;
using testing::Throw;

const std::string BadRequest = "400 Bad Request";

Json::Value Parse(const std::string& body)
{
    return ParseJsonBody(CFakeRequest(body));
}

class SettingsApplicator : public testing::Test
{
protected:
    SettingsApplicator()
    {
        files.Write("settings", R"({"HmiBuzzerVolume":5,"ScheduledChargingEnable":false})");
        settings = files.Open("settings");
    }

    std::string PatchFailure(const std::string& body)
    {
        CSettingsConfigApplicator applicator(settings, scheduledCharging);
        return FailureOf([&] { applicator.PatchConfig(Parse(body)); });
    }

    std::string Stored() const { return files.Stored("settings"); }

    const CConfigFiles files;
    std::shared_ptr<TarnConfig> settings;
    // strict: it must not be switched unless a test expects it
    std::shared_ptr<StrictMock<CMockScheduledCharging>> scheduledCharging =
        std::make_shared<StrictMock<CMockScheduledCharging>>();
    const std::string unchanged = R"({"HmiBuzzerVolume":5,"ScheduledChargingEnable":false})";
};

} // namespace

TEST_F(SettingsApplicator, SwitchingTheScheduleOnEnablesTheComponentBeforeTheFileIsWritten)
{
    EXPECT_CALL(*scheduledCharging, Enable)
        .WillOnce(
            [this]
            {
                EXPECT_EQ(Stored(), unchanged);
                return true;
            });

    EXPECT_EQ(PatchFailure(R"({"ScheduledChargingEnable":true})"), "");

    EXPECT_EQ(Stored(), R"({"HmiBuzzerVolume":5,"ScheduledChargingEnable":true})");
}

TEST_F(SettingsApplicator, SwitchingTheScheduleOffDisablesTheComponent)
{
    EXPECT_CALL(*scheduledCharging, Disable);

    EXPECT_EQ(PatchFailure(R"({"ScheduledChargingEnable":false,"HmiBuzzerVolume":6})"), "");

    EXPECT_EQ(Stored(), R"({"HmiBuzzerVolume":6,"ScheduledChargingEnable":false})");
}

TEST_F(SettingsApplicator, OtherSettingsLeaveTheScheduleAlone)
{
    EXPECT_EQ(PatchFailure(R"({"HmiBuzzerVolume":6,"SolarChargingEnable":true})"), "");
    EXPECT_EQ(PatchFailure("{}"), "");

    EXPECT_EQ(Stored(),
              R"({"HmiBuzzerVolume":6,"ScheduledChargingEnable":false,"SolarChargingEnable":true})");
}

TEST_F(SettingsApplicator, ScheduleIsSwitchedEvenIfThePatchIsRefused)
{
    for (const std::string badMember : {R"("Unknown":1)",
                                        R"("SeccOcppUri":"ws://elsewhere")",
                                        R"("ScheduledChargingAllowed":true)",
                                        R"("HmiBuzzerVolume":"loud")"})
    {
        EXPECT_CALL(*scheduledCharging, Enable).WillOnce(Return(true));
        EXPECT_EQ(PatchFailure(R"({"ScheduledChargingEnable":true,)" + badMember + "}"), BadRequest);

        EXPECT_CALL(*scheduledCharging, Disable);
        EXPECT_EQ(PatchFailure("{" + badMember + R"(,"ScheduledChargingEnable":false})"), BadRequest);
    }
    EXPECT_EQ(Stored(), unchanged);
}

TEST_F(SettingsApplicator, ScheduleIsSwitchedByWhatConvertsToABooleanThoughItIsRefused)
{
    for (const std::string value : {"1", "-1", "0.5"})
    {
        EXPECT_CALL(*scheduledCharging, Enable).WillOnce(Return(true));
        EXPECT_EQ(PatchFailure(R"({"ScheduledChargingEnable":)" + value + "}"), BadRequest) << value;
    }
    for (const std::string value : {"0", "0.0", "null"})
    {
        EXPECT_CALL(*scheduledCharging, Disable);
        EXPECT_EQ(PatchFailure(R"({"ScheduledChargingEnable":)" + value + "}"), BadRequest) << value;
    }
    EXPECT_EQ(Stored(), unchanged);
}

TEST_F(SettingsApplicator, WhatDoesNotConvertToABooleanFailsTheRequestAndSwitchesNothing)
{
    for (const std::string value : {R"("true")", R"("")", "[]", "[true]", R"({"a":true})"})
    {
        EXPECT_EQ(PatchFailure(R"({"ScheduledChargingEnable":)" + value + "}"),
                  "500 Value is not convertible to bool.")
            << value;
    }
    EXPECT_EQ(Stored(), unchanged);
}

TEST_F(SettingsApplicator, ComponentThatCannotBeEnabledDoesNotKeepTheSettingFromTheFile)
{
    EXPECT_CALL(*scheduledCharging, Enable).WillOnce(Return(false));

    EXPECT_EQ(PatchFailure(R"({"ScheduledChargingEnable":true})"), "");

    EXPECT_EQ(files.Stored("settings", "ScheduledChargingEnable"), "true");
}

TEST_F(SettingsApplicator, ComponentThatThrowsFailsTheRequestAndNothingIsWritten)
{
    EXPECT_CALL(*scheduledCharging, Enable).WillOnce(Throw(std::runtime_error("out of order")));

    EXPECT_EQ(PatchFailure(R"({"ScheduledChargingEnable":true,"HmiBuzzerVolume":6})"), "500 out of order");

    EXPECT_EQ(Stored(), unchanged);
}

TEST_F(SettingsApplicator, WithoutAComponentTheSettingIsOnlyWritten)
{
    scheduledCharging = nullptr;

    EXPECT_EQ(PatchFailure(R"({"ScheduledChargingEnable":true})"), "");
    EXPECT_EQ(files.Stored("settings", "ScheduledChargingEnable"), "true");
    EXPECT_EQ(PatchFailure(R"({"ScheduledChargingEnable":"false"})"), BadRequest);
    EXPECT_EQ(PatchFailure(R"({"ScheduledChargingEnable":false})"), "");
    EXPECT_EQ(files.Stored("settings", "ScheduledChargingEnable"), "false");
}

TEST_F(SettingsApplicator, AddressOfTheBackOfficeCannotBePatched)
{
    const CCapturedLog log(Log::ELogLevel::Info);

    EXPECT_EQ(PatchFailure(R"({"SeccOcppUri":"ws://elsewhere"})"), BadRequest);

    EXPECT_TRUE(
        log.Has(Log::ELogLevel::Warn,
                "Attempted to write setting 'SeccOcppUri' but it is not writable from the web interface."));
    EXPECT_EQ(Stored(), unchanged);
}

TEST_F(SettingsApplicator, SettingsAreWrittenInKeyOrder)
{
    std::string keys;
    settings = files.Open("settings", [&](const std::string& key, const Json::Value&) { keys += key + " "; });

    EXPECT_EQ(PatchFailure(R"({"TimeZone":"UTC","BopSource":"P1","HmiBuzzerVolume":1})"), "");

    EXPECT_EQ(keys, "BopSource HmiBuzzerVolume TimeZone ");
}

TEST_F(SettingsApplicator, ValuesThatAreInForceAreNotWrittenAgain)
{
    int changes = 0;
    settings = files.Open("settings", [&](const std::string&, const Json::Value&) { ++changes; });

    EXPECT_EQ(PatchFailure(R"({"HmiBuzzerVolume":5})"), "");

    EXPECT_EQ(changes, 0);
    EXPECT_FALSE(settings->HasChanged());
}

TEST_F(SettingsApplicator, FailureOfAChangeCallbackFailsTheRequestAtThatSetting)
{
    settings = files.Open("settings",
                          [](const std::string& key, const Json::Value&)
                          {
                              if (key == "HmiBuzzerVolume")
                              {
                                  throw std::runtime_error("unreachable");
                              }
                          });

    EXPECT_EQ(PatchFailure(R"({"TimeZone":"UTC","BopSource":"P1","HmiBuzzerVolume":1})"), "500 unreachable");

    EXPECT_EQ(Stored(), R"({"BopSource":"P1","HmiBuzzerVolume":1,"ScheduledChargingEnable":false})");
}

TEST_F(SettingsApplicator, OperationsTraceTheirEntry)
{
    CSettingsConfigApplicator applicator(settings, nullptr);
    const CCapturedLog log;

    applicator.PatchConfig(Json::objectValue);
    applicator.GetConfig();

    EXPECT_EQ(log.Messages().front(),
              (CCapturedLog::SLine{Log::ELogLevel::Trace, "CSettingsConfigApplicator::PatchConfig"}));
    EXPECT_TRUE(log.Has(Log::ELogLevel::Trace, "CSettingsConfigApplicator::GetConfig"));
}
