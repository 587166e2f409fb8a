#include "src/chargingcurrentlimit.h"

#include "platform/rpc/communicationexception.h"

#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"

using testing::ElementsAre;
using testing::Return;
using testing::StrictMock;
using testing::Throw;

namespace
{

constexpr int LocalScheduledCharging = 12;

ipc::MResult Result(ipc::EResult status)
{
    ipc::MResult result;
    result.set_status(status);
    return result;
}

MATCHER_P(IsLimit, limit, "")
{
    return arg.source() == LocalScheduledCharging && arg.has_limit() && arg.limit() == limit;
}

MATCHER(IsWithoutLimit, "")
{
    return arg.source() == LocalScheduledCharging && !arg.has_limit();
}

class ChargingCurrentLimit : public testing::Test
{
protected:
    StrictMock<CMockCurrentControl> currentControl;
    const ipc::MResult accepted = Result(ipc::EResultOk);
    const ipc::MResult refused = Result(ipc::EResultIllegal);
    const Rpc::CommunicationException away{"CurrentControl.SetLimit: service not reached"};
};

} // namespace

TEST_F(ChargingCurrentLimit, IsSetInTheNameOfTheSchedule)
{
    EXPECT_CALL(currentControl, SetLimit(IsLimit(16000U))).WillOnce(Return(accepted));
    EXPECT_CALL(currentControl, SetLimit(IsLimit(0U))).WillOnce(Return(accepted));
    EXPECT_CALL(currentControl, SetLimit(IsLimit(4294967295U))).WillOnce(Return(accepted));

    EXPECT_TRUE(SetChargingCurrentLimit(currentControl, 16000));
    EXPECT_TRUE(SetChargingCurrentLimit(currentControl, 0));
    EXPECT_TRUE(SetChargingCurrentLimit(currentControl, 4294967295));
}

TEST_F(ChargingCurrentLimit, IsClearedInTheNameOfTheSchedule)
{
    EXPECT_CALL(currentControl, ClearLimit(IsWithoutLimit())).WillOnce(Return(accepted));

    EXPECT_TRUE(ClearChargingCurrentLimit(currentControl));
}

TEST_F(ChargingCurrentLimit, RefusalIsFalse)
{
    EXPECT_CALL(currentControl, SetLimit).WillOnce(Return(refused));
    EXPECT_CALL(currentControl, ClearLimit).WillOnce(Return(refused));

    EXPECT_FALSE(SetChargingCurrentLimit(currentControl, 16000));
    EXPECT_FALSE(ClearChargingCurrentLimit(currentControl));
}

TEST_F(ChargingCurrentLimit, ServiceOutOfReachIsFalseAndLogged)
{
    EXPECT_CALL(currentControl, SetLimit).WillOnce(Throw(away));
    EXPECT_CALL(currentControl, ClearLimit).WillOnce(Throw(away));
    const CCapturedLog log(Log::ELogLevel::Error);

    EXPECT_FALSE(SetChargingCurrentLimit(currentControl, 16000));
    EXPECT_FALSE(ClearChargingCurrentLimit(currentControl));

    const CCapturedLog::SLine line{
        Log::ELogLevel::Error,
        "Cannot communicate with CurrentControl, error: CurrentControl.SetLimit: service not reached"};
    EXPECT_THAT(log.Messages(), ElementsAre(line, line));
}

TEST_F(ChargingCurrentLimit, OtherFailuresReachTheCaller)
{
    EXPECT_CALL(currentControl, SetLimit).WillOnce(Throw(std::runtime_error("else")));
    EXPECT_CALL(currentControl, ClearLimit).WillOnce(Throw(std::runtime_error("else")));

    EXPECT_THROW(SetChargingCurrentLimit(currentControl, 16000), std::runtime_error);
    EXPECT_THROW(ClearChargingCurrentLimit(currentControl), std::runtime_error);
}
