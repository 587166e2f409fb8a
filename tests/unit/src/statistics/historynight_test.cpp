#include "src/statistics/energyhistory.h"

#include "platform/rpc/communicationexception.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/capturedlog.h"
#include "tests/unit/src/statistics/historytest.h"

using namespace std::chrono_literals;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Lt;
using testing::Pair;
using testing::SizeIs;

// When the nightly call runs, and on which date it books.

namespace
{

class HistoryNight : public HistoryTest
{
protected:
    /// Takes down when the meter is read.
    void WatchReadings()
    {
        meter->onReading = [this] { readings.push_back(time.Now()); };
    }

    static int Count(const CCapturedLog& log, const std::string& text)
    {
        const std::vector<std::string> lines = log.Messages(Log::ELogLevel::Trace);
        return static_cast<int>(std::count(lines.begin(), lines.end(), text));
    }

    std::vector<Time> readings;
};

} // namespace

TEST_F(HistoryNight, RunsInTheLastSecondOfTheDayUntilThatIsOver)
{
    Start();
    Notify(Charging);
    WatchReadings();

    time.AdvanceTo(Local(2024, 5, 1, 23, 59, 58));
    EXPECT_THAT(readings, IsEmpty());
    time.AdvanceTo(Local(2024, 5, 2, 1));

    ASSERT_THAT(readings, testing::Not(IsEmpty()));
    EXPECT_GE(readings.front(), Local(2024, 5, 1, 23, 59, 59));
    EXPECT_LT(readings.front(), Local(2024, 5, 2));
    EXPECT_LT(readings.back(), Local(2024, 5, 2, 0, 0, 1));
    EXPECT_GT(readings.size(), 1U) << "repeats at once within its second";
}

TEST_F(HistoryNight, RunsEachNightWhetherAChargeIsUnderWayOrNot)
{
    const CCapturedLog log;
    Start();
    EXPECT_EQ(Count(log, "CHistoryStatisticsComponent::SetNightlyUpdateCall"), 1);

    int runs = 1;
    for (int day = 1; day <= 7; ++day)
    {
        time.AdvanceTo(Local(2024, 5, day, 23, 59, 58));
        EXPECT_EQ(Count(log, "CHistoryStatisticsComponent::SetNightlyUpdateCall"), runs);
        time.AdvanceTo(Local(2024, 5, day + 1, 0, 0, 2));
        const int later = Count(log, "CHistoryStatisticsComponent::SetNightlyUpdateCall");
        EXPECT_GT(later, runs);
        runs = later;
    }
    EXPECT_EQ(Count(log, "CHistoryStatisticsComponent::UpdateHistoryStatistics"), 0);
}

TEST_F(HistoryNight, SplitsARunningMetersEnergyWithoutLosingAny)
{
    Start();
    const Time begin = time.Now();
    // ten units a second
    meter->onReading = [this, begin]
    {
        readings.push_back(time.Now());
        meter->SetTotal(1000 + (time.Now() - begin) / 100ms);
    };
    const auto unitsAt = [begin](Time moment) { return (moment - begin) / 100ms; };
    time.AdvanceTo(Local(2024, 5, 1, 18));
    Notify(Charging);
    const Time start = readings.back();
    time.AdvanceTo(Local(2024, 5, 2, 3));
    const Time split = readings.back();
    Notify(Finishing);
    const Time end = readings.back();

    EXPECT_THAT(split, AllOf(Ge(Local(2024, 5, 1, 23, 59, 59)), Lt(Local(2024, 5, 2, 0, 0, 1))));
    EXPECT_THAT(
        Days(2024, 5),
        ElementsAre(Pair(1, unitsAt(split) - unitsAt(start)), Pair(2, unitsAt(end) - unitsAt(split))));
    EXPECT_THAT(Months(2024), ElementsAre(Pair(5, unitsAt(end) - unitsAt(start))));
}

TEST_F(HistoryNight, ThatIsLateBooksOnTheDayThatHasEnded)
{
    Start();
    Notify(Charging);
    HistoryTest::Count(70);
    time.AdvanceTo(Local(2024, 5, 1, 23));
    // an hour before it is due, the clock goes eleven hours on
    time.Set(Local(2024, 5, 2, 10));

    time.Advance(1h);

    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(1, 70)));
}

TEST_F(HistoryNight, ThatIsTwelveHoursLateBooksOnTheNewDay)
{
    Start();
    Notify(Charging);
    HistoryTest::Count(70);
    time.AdvanceTo(Local(2024, 5, 1, 23));
    time.Set(Local(2024, 5, 2, 11, 0, 2));

    time.Advance(1h);

    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(2, 70)));
}

TEST_F(HistoryNight, OfAFirstCallBooksOnThePresentDate)
{
    time.Set(Local(2024, 5, 2, 3));
    const auto config = files.Open("charging_history");
    const auto history =
        std::make_shared<CEnergyHistory>(meter, config, worker, MaxMonths, MaxYears, time.Source());
    history->SetTimeCheck([] { return true; });
    ipc::MConnectorState message;
    message.set_state(ipc::EConnectorStateCharging);
    history->HandleSessionStateChange(message);
    HistoryTest::Count(70);

    history->SetNightlyUpdateCall(true);
    EXPECT_EQ(history->ReadHistoryStatistics()["HistoryMonth"][0]["Energy"][1], 70);

    HistoryTest::Count(7);
    history->SetNightlyUpdateCall(false);
    EXPECT_EQ(history->ReadHistoryStatistics()["HistoryMonth"][0]["Energy"][0], 7);
    history->End();
}

TEST_F(HistoryNight, ThatFailsIsNotPlannedAgain)
{
    Start();
    Notify(Charging);
    meter->Fail();
    const CCapturedLog log(Log::ELogLevel::Error);

    time.AdvanceTo(Local(2024, 5, 2, 12));
    EXPECT_THAT(log.Messages(Log::ELogLevel::Error),
                ElementsAre("A call on a worker failed: MeterService.GetMeterData: out of reach"));
    EXPECT_EQ(meter->Readings(), 2);

    meter->onReading = [] {};
    HistoryTest::Count(70);
    time.AdvanceTo(Local(2024, 5, 4, 12));
    EXPECT_EQ(meter->Readings(), 2);
    Notify(Finishing);
    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(4, 70))) << "the baseline has stood";
}

TEST_F(HistoryNight, OverAFileOfAWrongShapeIsNotPlannedAgainEither)
{
    WriteFile(R"({"HistoryMonth":"none"})");
    Start();
    Notify(Charging);
    HistoryTest::Count(70);
    const CCapturedLog log(Log::ELogLevel::Error);

    time.AdvanceTo(Local(2024, 5, 4, 12));

    EXPECT_THAT(log.Messages(Log::ELogLevel::Error),
                AllOf(SizeIs(1), Each(testing::StartsWith("A call on a worker failed: "))));
    EXPECT_EQ(meter->Readings(), 2);
    EXPECT_EQ(File(), R"({"HistoryMonth":"none"})");
}

TEST_F(HistoryNight, MeterThatFailsAtTheStartLeavesSessionAndBaselineAsTheyWere)
{
    Start();
    Charge(Local(2024, 5, 1, 13), Local(2024, 5, 1, 14), 5);
    const auto answer = meter->onReading;
    meter->Fail();
    EXPECT_THROW(Notify(Charging), Rpc::CommunicationException);
    meter->onReading = answer;
    const int before = meter->Readings();

    time.AdvanceTo(Local(2024, 5, 2, 12));
    EXPECT_EQ(meter->Readings(), before) << "no session runs";
    HistoryTest::Count(70);
    Notify(Finishing);
    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(1, 5), Pair(2, 70)));
}

TEST_F(HistoryNight, MeterThatFailsAtTheEndEndsTheSessionAllTheSame)
{
    Start();
    Notify(Charging);
    HistoryTest::Count(70);
    meter->Fail();
    EXPECT_THROW(Notify(Finishing), Rpc::CommunicationException);
    meter->onReading = [] {};

    time.AdvanceTo(Local(2024, 5, 2, 12));

    EXPECT_EQ(File(), "");
    EXPECT_EQ(meter->Readings(), 2);
}

// ------------------------------------------------------------------------------------------ the log

TEST_F(HistoryNight, AndOtherStepsAreLoggedInOrder)
{
    CCapturedLog log;
    Start();
    EXPECT_THAT(log.Messages(Log::ELogLevel::Trace),
                ElementsAre("CHistoryStatisticsComponent::CHistoryStatisticsComponent",
                            "CHistoryStatisticsComponent::Init",
                            "CHistoryStatisticsComponent::SetNightlyUpdateCall"));
    log.Clear();

    Notify(Charging);
    EXPECT_THAT(log.Messages(Log::ELogLevel::Trace),
                ElementsAre("CHistoryStatisticsComponent::HandleSessionStateChange"));
    log.Clear();

    Notify(Finishing);
    EXPECT_THAT(log.Messages(Log::ELogLevel::Trace),
                ElementsAre("CHistoryStatisticsComponent::HandleSessionStateChange",
                            "CHistoryStatisticsComponent::UpdateHistoryStatistics",
                            "CHistoryStatisticsComponent::ReadHistoryStatistics",
                            "CHistoryStatisticsComponent::UpdateMonthHistory",
                            "CHistoryStatisticsComponent::RollHistoryMonth",
                            "CHistoryStatisticsComponent::UpdateYearHistory",
                            "CHistoryStatisticsComponent::RollHistoryYear",
                            "CHistoryStatisticsComponent::WriteHistoryStatistics"));
    log.Clear();

    component->ReadHistoryStatistics();
    EXPECT_THAT(log.Messages(Log::ELogLevel::Trace),
                ElementsAre("CHistoryStatisticsComponent::ReadHistoryStatistics"));
}

TEST_F(HistoryNight, IsNotPlannedWithoutAMeter)
{
    const CCapturedLog log;
    component = std::make_unique<CHistoryStatisticsComponent>(
        nullptr, notifications, files.Open("charging_history"), worker, MaxMonths, MaxYears, time.Source());
    component->Init([] { return true; });

    EXPECT_THAT(
        log.Messages(),
        ElementsAre(CCapturedLog::SLine{Log::ELogLevel::Trace,
                                        "CHistoryStatisticsComponent::CHistoryStatisticsComponent"},
                    CCapturedLog::SLine{Log::ELogLevel::Warn,
                                        "History statistics component is constructed without a meter "
                                        "service. No history will be stored"},
                    CCapturedLog::SLine{Log::ELogLevel::Trace, "CHistoryStatisticsComponent::Init"},
                    CCapturedLog::SLine{Log::ELogLevel::Trace, "No meter service available to read."}));
    Notify(Charging);
    time.AdvanceTo(Local(2024, 5, 2, 12));
    EXPECT_THAT(log.Messages(), SizeIs(4));
}

TEST_F(HistoryNight, StepsWithoutAMeterLogThatOnly)
{
    const auto history = std::make_shared<CEnergyHistory>(
        nullptr, files.Open("charging_history"), worker, MaxMonths, MaxYears, time.Source());
    CCapturedLog log;

    history->HandleSessionStateChange({});
    EXPECT_THAT(log.Messages(Log::ELogLevel::Trace),
                ElementsAre("CHistoryStatisticsComponent::HandleSessionStateChange",
                            "No meter service available to read."));
    log.Clear();

    history->UpdateHistoryStatistics({});
    EXPECT_THAT(log.Messages(Log::ELogLevel::Trace),
                ElementsAre("CHistoryStatisticsComponent::UpdateHistoryStatistics",
                            "No meter service available to read, not updating History."));
    EXPECT_EQ(File(), "");
}
