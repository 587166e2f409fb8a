#include "src/statistics/sessioncurve.h"

#include "platform/json/jsonutil.h"

#include <memory>

#include "tests/support/capturedlog.h"
#include "tests/unit/src/statistics/chargetest.h"

using namespace std::chrono_literals;
using testing::ElementsAre;

// Steps in orders that only meetings of threads bring about.

namespace
{

class SessionCurve : public ChargeTest
{
protected:
    SessionCurve()
        : ChargeTest(Time(0s))
    {
    }

    std::shared_ptr<CSessionCurve> Curve(std::shared_ptr<IMeter> ofMeter)
    {
        return std::make_shared<CSessionCurve>(std::move(ofMeter), worker, 30s, 300s, 288, time.Source());
    }
};

} // namespace

TEST_F(SessionCurve, WithoutAMeterPollsNothing)
{
    const auto curve = Curve(nullptr);
    const CCapturedLog log;

    curve->PollMeterData();

    EXPECT_THAT(
        log.Messages(Log::ELogLevel::Trace),
        ElementsAre("CSessionStatisticsComponent::PollMeterData", "No meter service available to poll."));
}

TEST_F(SessionCurve, UpdateBehindAnotherOneAppendsNothing)
{
    const auto curve = Curve(meter);
    curve->PollMeterData();
    curve->UpdateInstantPowerBuffer();
    const CCapturedLog log;

    curve->UpdateInstantPowerBuffer();

    EXPECT_THAT(log.Messages(Log::ELogLevel::Trace),
                ElementsAre("CSessionStatisticsComponent::UpdateInstantPowerBuffer",
                            "No meter polls since last buffer update"));
    EXPECT_EQ(JsonUtil::WriteUnstyled(curve->ReadSessionStatistics()),
              R"({"data":[{"averagePower":[0,0,0],"timestamp":"1970-01-01T00:00:00Z"}]})");
}

TEST_F(SessionCurve, PeriodicCallDoesNotKeepItAlive)
{
    auto curve = Curve(meter);
    curve->StartPeriodicUpdate();
    const std::weak_ptr<CSessionCurve> weak = curve;

    curve.reset();

    EXPECT_TRUE(weak.expired());
    time.Advance(300s);
    EXPECT_EQ(meter->Readings(), 0);
}
