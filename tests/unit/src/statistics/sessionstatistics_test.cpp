#include "src/statistics/sessionstatisticscomponent.h"

#include "platform/json/jsonutil.h"
#include "platform/rpc/communicationexception.h"

#include <stdlib.h>

#include <array>
#include <limits>
#include <string>

#include "tests/support/capturedlog.h"
#include "tests/unit/src/statistics/chargetest.h"

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace
{

/// 2024-05-01T12:00:00Z
const CStationTime::Time Noon{1714564800s};

using Powers = std::array<std::int64_t, 3>;

class SessionStatistics : public ChargeTest
{
protected:
    static constexpr auto PollPeriod = 30s;
    static constexpr auto BufferInterval = 300s;
    static constexpr unsigned int MaxBufferSize = 288;

    SessionStatistics()
        : ChargeTest(Noon)
    {
        meter->SetPower({100, 200, 300});
    }

    void Start(unsigned int maxBufferSize = MaxBufferSize)
    {
        component = std::make_unique<CSessionStatisticsComponent>(
            meter, notifications, worker, PollPeriod, BufferInterval, maxBufferSize, time.Source());
    }

    std::string Text() const { return JsonUtil::WriteUnstyled(component->ReadSessionStatistics()); }

    std::vector<Powers> AveragePowers() const
    {
        std::vector<Powers> powers;
        const Json::Value statistics = component->ReadSessionStatistics();
        for (const Json::Value& point : statistics["data"])
        {
            EXPECT_EQ(point["averagePower"].size(), 3U);
            powers.push_back({point["averagePower"][0].asInt64(),
                              point["averagePower"][1].asInt64(),
                              point["averagePower"][2].asInt64()});
        }
        return powers;
    }

    std::vector<std::string> Timestamps() const
    {
        std::vector<std::string> timestamps;
        const Json::Value statistics = component->ReadSessionStatistics();
        for (const Json::Value& point : statistics["data"])
        {
            timestamps.push_back(point["timestamp"].asString());
        }
        return timestamps;
    }

    std::unique_ptr<CSessionStatisticsComponent> component;
};

} // namespace

// ------------------------------------------------------------------------------------------ the curve

TEST_F(SessionStatistics, AreAnEmptyArrayBeforeTheFirstCharge)
{
    Start();
    EXPECT_EQ(Text(), R"({"data":[]})");
}

TEST_F(SessionStatistics, OfAShortSessionAreItsStartAndItsEnd)
{
    Start();

    Notify(Charging);
    time.Advance(PollPeriod - 1s);
    meter->SetPower({10, 20, 30});
    Notify(Finishing);

    EXPECT_EQ(Text(),
              R"({"data":[{"averagePower":[100,200,300],"timestamp":"2024-05-01T12:00:00Z"},)"
              R"({"averagePower":[10,20,30],"timestamp":"2024-05-01T12:00:29Z"}]})");
}

TEST_F(SessionStatistics, AfterOnePollPeriodHoldTwoPointsToo)
{
    Start();

    Notify(Charging);
    meter->SetPower({40, 50, 60});
    time.Advance(PollPeriod);
    meter->SetPower({20, 10, 0});
    Notify(Finishing);

    EXPECT_THAT(AveragePowers(), ElementsAre(Powers{100, 200, 300}, Powers{30, 30, 30}));
}

TEST_F(SessionStatistics, HaveTheFirstRegularPointAnIntervalAfterTheStart)
{
    Start();
    Notify(Charging);

    time.Advance(BufferInterval - 1s);
    EXPECT_THAT(Timestamps(), ElementsAre("2024-05-01T12:00:00Z"));
    time.Advance(1s);
    EXPECT_THAT(Timestamps(), ElementsAre("2024-05-01T12:00:00Z", "2024-05-01T12:05:00Z"));
    time.Advance(BufferInterval - 1s);
    EXPECT_THAT(Timestamps(), SizeIs(2));
    time.Advance(1s);
    EXPECT_THAT(Timestamps(),
                ElementsAre("2024-05-01T12:00:00Z", "2024-05-01T12:05:00Z", "2024-05-01T12:10:00Z"));
}

TEST_F(SessionStatistics, AverageTheTenReadingsOfAnInterval)
{
    Start();
    Notify(Charging);

    for (int poll = 1; poll <= 10; ++poll)
    {
        meter->SetPower({poll, 10 * poll, -poll});
        time.Advance(PollPeriod);
    }

    // the sums are 55, 550 and -55: divided towards zero
    EXPECT_THAT(AveragePowers(), ElementsAre(Powers{100, 200, 300}, Powers{5, 55, -5}));
    EXPECT_EQ(meter->Readings(), 11);
}

TEST_F(SessionStatistics, AverageWhatHasComeInUntilTheEnd)
{
    Start();
    Notify(Charging);
    time.Advance(BufferInterval);

    meter->SetPower({1, 2, 3});
    time.Advance(2 * PollPeriod);
    meter->SetPower({7, 8, 9});
    Notify(Finishing);

    EXPECT_THAT(AveragePowers(), ElementsAre(Powers{100, 200, 300}, Powers{100, 200, 300}, Powers{3, 4, 5}));
}

TEST_F(SessionStatistics, StayReadableAndUnchangedAfterTheEnd)
{
    Start();
    Notify(Charging);
    Notify(Finishing);
    const std::string end = Text();

    time.Advance(24h);

    EXPECT_EQ(Text(), end);
    EXPECT_EQ(meter->Readings(), 2);
}

TEST_F(SessionStatistics, BeginAnewWithTheNextCharge)
{
    Start();
    Notify(Charging);
    Notify(Finishing);
    time.Advance(1h);

    meter->SetPower({7, 8, 9});
    Notify(Charging);

    EXPECT_EQ(Text(), R"({"data":[{"averagePower":[7,8,9],"timestamp":"2024-05-01T13:00:00Z"}]})");
}

TEST_F(SessionStatistics, LoseTheEarlierPartWhenAChargeResumes)
{
    Start();
    Notify(Charging);
    time.Advance(BufferInterval);
    Notify(ipc::EConnectorStateSuspendedEv);
    time.Advance(1s);

    Notify(Charging);

    EXPECT_THAT(Timestamps(), ElementsAre("2024-05-01T12:05:01Z"));
}

TEST_F(SessionStatistics, FirstPointOfAResumedChargeTakesInWhatWasPolledBefore)
{
    Start();
    Notify(Charging);
    meter->SetPower({1, 1, 1});
    time.Advance(2 * PollPeriod);
    meter->SetPower({7, 7, 7});

    Notify(Charging);

    EXPECT_THAT(AveragePowers(), ElementsAre(Powers{3, 3, 3}));
}

TEST_F(SessionStatistics, ResumedChargeIsPolledFromThenOn)
{
    Start();
    Notify(Charging);
    time.Advance(20s);
    Notify(Charging);
    const int before = meter->Readings();

    time.Advance(29s);
    EXPECT_EQ(meter->Readings(), before);
    time.Advance(1s);
    EXPECT_EQ(meter->Readings(), before + 1);
    time.Advance(60s);
    EXPECT_EQ(meter->Readings(), before + 3);
}

TEST_F(SessionStatistics, SuspendedChargeIsPolledOn)
{
    Start();
    Notify(Charging);
    meter->SetPower({0, 0, 0});
    Notify(ipc::EConnectorStateSuspendedEvse);

    time.Advance(BufferInterval);

    EXPECT_THAT(AveragePowers(), ElementsAre(Powers{100, 200, 300}, Powers{0, 0, 0}));
}

TEST_F(SessionStatistics, OtherStatesAreIgnored)
{
    Start();
    for (int state = 0; state <= 13; ++state)
    {
        if (state != Charging && state != Finishing)
        {
            Notify(state);
        }
    }
    time.Advance(BufferInterval);

    EXPECT_EQ(Text(), R"({"data":[]})");
    EXPECT_EQ(meter->Readings(), 0);
}

TEST_F(SessionStatistics, EndWithoutAStartIsAPointOfItsOwn)
{
    Start();
    Notify(Finishing);
    time.Advance(BufferInterval);

    EXPECT_THAT(AveragePowers(), ElementsAre(Powers{100, 200, 300}));
    EXPECT_EQ(meter->Readings(), 1);
}

TEST_F(SessionStatistics, TimestampsAreUtcInWholeSecondsInAnyTimeZone)
{
    setenv("TZ", "ZONE-5:30", 1);
    tzset();
    time.Set(CStationTime::Time(951868799s) + 999ms);
    Start();

    Notify(Charging);
    unsetenv("TZ");
    tzset();

    EXPECT_THAT(Timestamps(), ElementsAre("2000-02-29T23:59:59Z"));
}

// ------------------------------------------------------------------------------------------ the buffer

TEST_F(SessionStatistics, FullBufferKeepsItsBeginningAndEndsThePolling)
{
    Start();
    Notify(Charging);
    time.Advance(287 * BufferInterval);
    ASSERT_THAT(Timestamps(), SizeIs(288));
    EXPECT_EQ(Timestamps().front(), "2024-05-01T12:00:00Z");
    EXPECT_EQ(Timestamps().back(), "2024-05-02T11:55:00Z");
    const std::string full = Text();
    const int readings = meter->Readings();

    time.Advance(BufferInterval);
    EXPECT_EQ(meter->Readings(), readings + 10) << "the next update that is due ends the polling";
    time.Advance(24h);
    EXPECT_EQ(meter->Readings(), readings + 10);
    EXPECT_EQ(Text(), full);

    Notify(Finishing);
    EXPECT_EQ(Text(), full) << "the last point of a very long session is missing";
}

TEST_F(SessionStatistics, FullBufferLeavesTheSumsForTheNextChargesFirstPoint)
{
    Start(2);
    Notify(Charging);
    time.Advance(BufferInterval);
    meter->SetPower({11, 0, 0});
    time.Advance(BufferInterval);
    Notify(Finishing);
    ASSERT_THAT(AveragePowers(), SizeIs(2));

    meter->SetPower({1331, 0, 0});
    Notify(Charging);

    // eleven readings of 11 and one of 1331
    EXPECT_THAT(AveragePowers(), ElementsAre(Powers{121, 0, 0}));
}

TEST_F(SessionStatistics, BufferForNothingStaysEmpty)
{
    Start(0);
    Notify(Charging);
    time.Advance(BufferInterval);
    const int readings = meter->Readings();
    time.Advance(BufferInterval);

    EXPECT_EQ(Text(), R"({"data":[]})");
    EXPECT_EQ(meter->Readings(), readings);
}

TEST_F(SessionStatistics, IntervalBelowThePeriodMakesEveryReadingAPoint)
{
    component = std::make_unique<CSessionStatisticsComponent>(
        meter, notifications, worker, 30s, 29s, MaxBufferSize, time.Source());
    Notify(Charging);
    time.Advance(2 * PollPeriod);

    EXPECT_THAT(Timestamps(), SizeIs(3));
}

TEST_F(SessionStatistics, PollsOfAPointAreAWholeNumber)
{
    component = std::make_unique<CSessionStatisticsComponent>(
        meter, notifications, worker, 30s, 89s, MaxBufferSize, time.Source());
    Notify(Charging);
    time.Advance(2 * PollPeriod);

    EXPECT_THAT(Timestamps(), ElementsAre("2024-05-01T12:00:00Z", "2024-05-01T12:01:00Z"));
}

// ------------------------------------------------------------------------------------------ the meter

TEST_F(SessionStatistics, OnePhaseIsTheFirstOfThree)
{
    meter->SetPower({3680});
    Start();
    Notify(Charging);
    EXPECT_THAT(AveragePowers(), ElementsAre(Powers{3680, 0, 0}));
}

TEST_F(SessionStatistics, OfTwoPhasesOnlyTheFirstCounts)
{
    meter->SetPower({3680, 3690});
    Start();
    Notify(Charging);
    EXPECT_THAT(AveragePowers(), ElementsAre(Powers{3680, 0, 0}));
}

TEST_F(SessionStatistics, OfMoreThanThreePhasesThreeCount)
{
    meter->SetPower({1, 2, 3, 4});
    Start();
    Notify(Charging);
    EXPECT_THAT(AveragePowers(), ElementsAre(Powers{1, 2, 3}));
}

TEST_F(SessionStatistics, ReadingWithoutPowerIsAPointOfZeros)
{
    meter->SetPower({});
    Start();
    Notify(Charging);
    EXPECT_THAT(AveragePowers(), ElementsAre(Powers{0, 0, 0}));
}

TEST_F(SessionStatistics, ReadingWithFewerPhasesCountsForAllAverages)
{
    Start();
    Notify(Charging);
    meter->SetPower({10, 20, 30});
    time.Advance(PollPeriod);
    meter->SetPower({10});
    Notify(Finishing);

    EXPECT_THAT(AveragePowers(), ElementsAre(Powers{100, 200, 300}, Powers{10, 10, 15}));
}

TEST_F(SessionStatistics, NegativePowerStaysNegative)
{
    meter->SetPower({-3680, -1, std::numeric_limits<std::int32_t>::min()});
    Start();
    Notify(Charging);
    EXPECT_THAT(AveragePowers(), ElementsAre(Powers{-3680, -1, std::numeric_limits<std::int32_t>::min()}));
}

TEST_F(SessionStatistics, SumsWrapAroundAtThirtyTwoBits)
{
    Start();
    Notify(Charging);
    meter->SetPower({std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::min(), 0});
    time.Advance(PollPeriod);
    Notify(Finishing);

    EXPECT_THAT(AveragePowers(), ElementsAre(Powers{100, 200, 300}, Powers{-1, 0, 0}));
}

TEST_F(SessionStatistics, MeterThatFailsAtTheStartLeavesAnEmptyCurveThatIsNotPolled)
{
    Start();
    Notify(Charging);
    Notify(Finishing);
    meter->Fail();

    EXPECT_THROW(Notify(Charging), Rpc::CommunicationException);

    EXPECT_EQ(Text(), R"({"data":[]})");
    time.Advance(BufferInterval);
    EXPECT_EQ(meter->Readings(), 3);
}

TEST_F(SessionStatistics, MeterThatFailsAtTheEndLeavesOutTheLastPointAndIsNotPolledFurther)
{
    Start();
    Notify(Charging);
    meter->Fail();

    EXPECT_THROW(Notify(Finishing), Rpc::CommunicationException);

    EXPECT_THAT(AveragePowers(), SizeIs(1));
    time.Advance(BufferInterval);
    EXPECT_EQ(meter->Readings(), 2);
}

TEST_F(SessionStatistics, ReadingThatFailsDoesNotCountAndThePollingGoesOn)
{
    Start();
    Notify(Charging);
    const CCapturedLog log(Log::ELogLevel::Error);
    time.Advance(4 * PollPeriod);
    meter->Fail();
    time.Advance(3 * PollPeriod);
    EXPECT_THAT(
        log.Messages(Log::ELogLevel::Error),
        testing::AllOf(SizeIs(3),
                       testing::Each("A call on a worker failed: MeterService.GetMeterData: out of reach")));
    meter->onReading = [] {};

    time.Advance(5 * PollPeriod);
    EXPECT_THAT(Timestamps(), SizeIs(1));
    time.Advance(PollPeriod);
    EXPECT_THAT(Timestamps(), ElementsAre("2024-05-01T12:00:00Z", "2024-05-01T12:06:30Z"));
}

TEST_F(SessionStatistics, WithoutAMeterAreEmptyForGood)
{
    const CCapturedLog log;
    component = std::make_unique<CSessionStatisticsComponent>(
        nullptr, notifications, worker, PollPeriod, BufferInterval, MaxBufferSize, time.Source());
    EXPECT_THAT(log.Messages(),
                ElementsAre(CCapturedLog::SLine{
                    Log::ELogLevel::Warn,
                    "Session statistics Component is constructed without a meter service. No meter data will "
                    "be included in statistics"}));

    Notify(Charging);
    time.Advance(BufferInterval);
    Notify(Finishing);

    EXPECT_EQ(Text(), R"({"data":[]})");
    EXPECT_THAT(log.Messages(), SizeIs(1)) << "no listener is registered";
}

// ------------------------------------------------------------------------------------------ the log

TEST_F(SessionStatistics, LogTheirStepsInOrder)
{
    CCapturedLog log;
    Start();
    EXPECT_THAT(log.Messages(), IsEmpty());

    Notify(Charging);
    EXPECT_THAT(log.Messages(Log::ELogLevel::Trace),
                ElementsAre("CSessionStatisticsComponent::HandleSessionStateChange",
                            "CSessionStatisticsComponent::PollMeterData",
                            "CSessionStatisticsComponent::UpdateInstantPowerBuffer",
                            "CSessionStatisticsComponent::StartPeriodicUpdate"));
    log.Clear();

    time.Advance(PollPeriod);
    EXPECT_THAT(log.Messages(Log::ELogLevel::Trace),
                ElementsAre("CSessionStatisticsComponent::PollMeterData"));
    log.Clear();

    Notify(Finishing);
    EXPECT_THAT(log.Messages(Log::ELogLevel::Trace),
                ElementsAre("CSessionStatisticsComponent::HandleSessionStateChange",
                            "CSessionStatisticsComponent::StopPeriodicUpdate",
                            "CSessionStatisticsComponent::PollMeterData",
                            "CSessionStatisticsComponent::UpdateInstantPowerBuffer"));
    log.Clear();

    Notify(ipc::EConnectorStateAvailable);
    EXPECT_THAT(log.Messages(),
                ElementsAre(CCapturedLog::SLine{Log::ELogLevel::Trace,
                                                "CSessionStatisticsComponent::HandleSessionStateChange"}));
}

TEST_F(SessionStatistics, SecondStartInARowIsLogged)
{
    Start();
    CCapturedLog log;
    Notify(Charging);
    EXPECT_THAT(log.Messages(Log::ELogLevel::Debug), IsEmpty());

    Notify(Charging);

    EXPECT_THAT(log.Messages(Log::ELogLevel::Debug),
                ElementsAre("Request to start polling of session status data, but it is already running."));
    Notify(Finishing);
    log.Clear();
    Notify(Charging);
    EXPECT_THAT(log.Messages(Log::ELogLevel::Debug), IsEmpty());
}

TEST_F(SessionStatistics, UpdateThatFindsTheBufferFullLogsOnlyTheStop)
{
    Start(1);
    Notify(Charging);
    time.Advance(9 * PollPeriod);
    const CCapturedLog log;

    time.Advance(PollPeriod);

    EXPECT_THAT(log.Messages(Log::ELogLevel::Trace),
                ElementsAre("CSessionStatisticsComponent::PollMeterData",
                            "CSessionStatisticsComponent::UpdateInstantPowerBuffer",
                            "CSessionStatisticsComponent::StopPeriodicUpdate"));
    EXPECT_THAT(log.Messages(), SizeIs(3));
}

TEST_F(SessionStatistics, PlacesOfTheStatementsStandBeforeThem)
{
    const CCapturedLog log;
    Start();
    Notify(Charging);
    Notify(Charging);

    for (const CCapturedLog::SLine& line : log.Lines())
    {
        if (line.level == Log::ELogLevel::Debug)
        {
            EXPECT_THAT(line.text, testing::StartsWith("(src/statistics/"));
        }
    }
}
