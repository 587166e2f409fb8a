#include "platform/rpc/tarnlogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/capturedlog.h"

using Log::ELogLevel;
using testing::ElementsAre;

TEST(TarnLogger, EachOperationLogsAtItsLevelWithoutSourcePrefix)
{
    const CCapturedLog log;
    Rpc::TarnLogger logger;

    logger.Critical("one");
    logger.Error("two");
    logger.Warning("three");
    logger.Info("four");
    logger.Debug("five");
    logger.Trace("six");

    EXPECT_THAT(log.Lines(),
                ElementsAre(CCapturedLog::SLine{ELogLevel::Critical, "[RPC] one"},
                            CCapturedLog::SLine{ELogLevel::Error, "[RPC] two"},
                            CCapturedLog::SLine{ELogLevel::Warn, "[RPC] three"},
                            CCapturedLog::SLine{ELogLevel::Info, "[RPC] four"},
                            CCapturedLog::SLine{ELogLevel::Debug, "[RPC] five"},
                            CCapturedLog::SLine{ELogLevel::Trace, "[RPC] six"}));
}

TEST(TarnLogger, TextIsNoFormat)
{
    const CCapturedLog log;

    Rpc::TarnLogger().Warning("{} of {x}");

    EXPECT_THAT(log.Lines(), ElementsAre(CCapturedLog::SLine{ELogLevel::Warn, "[RPC] {} of {x}"}));
}
