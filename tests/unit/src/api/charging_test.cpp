#include "src/api/charging.h"
#include "src/api/jsonresponse.h"

#include "platform/config/tarnconfig.h"
#include "platform/rpc/communicationexception.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"
#include "tests/support/configfiles.h"

namespace
{

using Resources::CChargingApi;
using testing::AllOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Property;
using testing::Return;
using testing::StrictMock;
using testing::Throw;

auto UserLimit(std::uint32_t milliamperes)
{
    return AllOf(Property(&ipc::MCurrentControlLimit::source, 14),
                 Property(&ipc::MCurrentControlLimit::has_limit, true),
                 Property(&ipc::MCurrentControlLimit::limit, milliamperes));
}

class ChargingApi : public testing::Test
{
protected:
    /// The API over these settings. What it answers to the slider must be empty.
    void Apply(const std::string& json)
    {
        files.Write("settings", json);
        settings = files.Open("settings");
        CChargingApi api(settings, currentControl);
        ExpectEmpty(api.ApplyCurrentSlider());
    }

    static void ExpectEmpty(const CChargingApi::Response& response)
    {
        EXPECT_EQ(response->get_response_code(), 204);
        EXPECT_EQ(std::string(response->get_header("Content-Type")), "text/plain");
        EXPECT_TRUE(dynamic_cast<const JsonResponse&>(*response).GetValue().isNull());
    }

    const CConfigFiles files;
    std::shared_ptr<TarnConfig> settings;
    // strict: without the allowance nothing must be sent
    const std::shared_ptr<StrictMock<CMockCurrentControl>> currentControl =
        std::make_shared<StrictMock<CMockCurrentControl>>();
};

} // namespace

TEST_F(ChargingApi, SliderSendsTheSettingInMilliamperes)
{
    EXPECT_CALL(*currentControl, SetLimit(UserLimit(16000)));
    Apply(R"({"UserDefinedChargeLimitCurrentAllowed":true,"UserDefinedChargeLimitCurrent":16})");
}

TEST_F(ChargingApi, SliderWithoutTheAllowanceSendsNothing)
{
    Apply(R"({"UserDefinedChargeLimitCurrentAllowed":false,"UserDefinedChargeLimitCurrent":16})");
    Apply(R"({"UserDefinedChargeLimitCurrent":16})");
    Apply(R"({"UserDefinedChargeLimitCurrentAllowed":"true","UserDefinedChargeLimitCurrent":16})");
}

TEST_F(ChargingApi, SliderWithoutTheSettingSendsThirtyTwoAmperes)
{
    EXPECT_CALL(*currentControl, SetLimit(UserLimit(32000)));
    Apply(R"({"UserDefinedChargeLimitCurrentAllowed":true})");
}

TEST_F(ChargingApi, SliderWithASettingThatIsNoIntegerSendsThirtyTwoAmperes)
{
    for (const std::string value : {"null", "true", "\"16\"", "16.5", "[16]", "{}", "3000000000"})
    {
        EXPECT_CALL(*currentControl, SetLimit(UserLimit(32000)));
        Apply(R"({"UserDefinedChargeLimitCurrentAllowed":true,"UserDefinedChargeLimitCurrent":)" + value +
              "}");
    }
}

TEST_F(ChargingApi, SliderSendsZeroToo)
{
    EXPECT_CALL(*currentControl, SetLimit(UserLimit(0)));
    Apply(R"({"UserDefinedChargeLimitCurrentAllowed":true,"UserDefinedChargeLimitCurrent":0})");
}

TEST_F(ChargingApi, SliderOutOfRangeWrapsAround)
{
    EXPECT_CALL(*currentControl, SetLimit(UserLimit(std::numeric_limits<std::uint32_t>::max() - 999)));
    Apply(R"({"UserDefinedChargeLimitCurrentAllowed":true,"UserDefinedChargeLimitCurrent":-1})");
    // 2147483647000 modulo 2^32
    EXPECT_CALL(*currentControl, SetLimit(UserLimit(4294966296)));
    Apply(R"({"UserDefinedChargeLimitCurrentAllowed":true,"UserDefinedChargeLimitCurrent":2147483647})");
}

TEST_F(ChargingApi, SliderTakesWhatTheSettingsHoldThen)
{
    EXPECT_CALL(*currentControl, SetLimit(UserLimit(16000)));
    Apply(R"({"UserDefinedChargeLimitCurrentAllowed":true,"UserDefinedChargeLimitCurrent":16})");
    CChargingApi api(settings, currentControl);
    settings->SetValue("UserDefinedChargeLimitCurrent", 10);

    EXPECT_CALL(*currentControl, SetLimit(UserLimit(10000)));
    ExpectEmpty(api.ApplyCurrentSlider());
}

TEST_F(ChargingApi, SliderThatIsRefusedIsASuccess)
{
    ipc::MResult refusal;
    refusal.set_status(ipc::EResultIllegal);
    EXPECT_CALL(*currentControl, SetLimit).WillOnce(Return(refusal));
    const CCapturedLog log(Log::ELogLevel::Debug);
    Apply(R"({"UserDefinedChargeLimitCurrentAllowed":true})");
    EXPECT_THAT(log.Messages(), IsEmpty());
}

TEST_F(ChargingApi, SliderWithoutTheServiceIsLoggedAndASuccess)
{
    EXPECT_CALL(*currentControl, SetLimit)
        .WillOnce(Throw(Rpc::CommunicationException("CurrentControl.SetLimit: out of reach")));
    const CCapturedLog log(Log::ELogLevel::Debug);
    Apply(R"({"UserDefinedChargeLimitCurrentAllowed":true})");
    EXPECT_THAT(log.Messages(),
                ElementsAre(CCapturedLog::SLine{
                    Log::ELogLevel::Error,
                    "Cannot communicate with CurrentControl, error: CurrentControl.SetLimit: out of reach"}));
}

TEST_F(ChargingApi, SliderLetsOtherFailuresThrough)
{
    EXPECT_CALL(*currentControl, SetLimit).WillOnce(Throw(std::runtime_error("other")));
    EXPECT_THROW(Apply(R"({"UserDefinedChargeLimitCurrentAllowed":true})"), std::runtime_error);
}

TEST_F(ChargingApi, SliderLogsItsEntry)
{
    files.Write("settings", "{}");
    CChargingApi api(files.Open("settings"), currentControl);
    const CCapturedLog log;
    api.ApplyCurrentSlider();
    EXPECT_THAT(log.Messages(Log::ELogLevel::Trace),
                ElementsAre("Resources::CChargingApi::ApplyCurrentSlider"));
}
