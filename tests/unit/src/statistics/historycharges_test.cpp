#include "platform/json/jsonutil.h"

#include "tests/support/capturedlog.h"
#include "tests/unit/src/statistics/historytest.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

// Where the energy of charges is booked.

namespace
{

class HistoryCharges : public HistoryTest
{
protected:
    std::vector<std::string> Warnings() const { return log.Messages(Log::ELogLevel::Warn); }

    const CCapturedLog log{Log::ELogLevel::Warn};
};

} // namespace

TEST_F(HistoryCharges, FirstOneInANewFileMakesAnElementInEachArray)
{
    Start();
    EXPECT_TRUE(component->ReadHistoryStatistics().isNull());

    Charge(Local(2024, 5, 3, 8), Local(2024, 5, 3, 12), 7500);

    const std::string expected =
        R"({"HistoryMonth":[{"Energy":[0,0,7500,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0],)"
        R"("Month":5,"Year":2024}],"HistoryYear":[{"Energy":[0,0,0,0,7500,0,0,0,0,0,0,0],"Year":2024}]})";
    EXPECT_EQ(JsonUtil::WriteUnstyled(component->ReadHistoryStatistics()), expected);
    EXPECT_EQ(File(), expected);
}

TEST_F(HistoryCharges, OnOneDayAddUpInOneCell)
{
    Start();

    Charge(Local(2024, 5, 3, 8), Local(2024, 5, 3, 9), 7500);
    Charge(Local(2024, 5, 3, 18), Local(2024, 5, 3, 23), 11001);

    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(3, 18501)));
    EXPECT_THAT(Months(2024), ElementsAre(Pair(5, 18501)));
}

TEST_F(HistoryCharges, ThreeInAWeekStandInTheCellsOfTheirDays)
{
    Start();

    Charge(Local(2024, 5, 6, 8), Local(2024, 5, 6, 17), 7501);
    Charge(Local(2024, 5, 8, 18), Local(2024, 5, 8, 23, 59, 58), 11003);
    Charge(Local(2024, 5, 12, 0, 0, 1), Local(2024, 5, 12, 1), 1);

    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(6, 7501), Pair(8, 11003), Pair(12, 1)));
    EXPECT_THAT(Months(2024), ElementsAre(Pair(5, 7501 + 11003 + 1)));
}

TEST_F(HistoryCharges, EnergyBetweenThemCountsForNothing)
{
    Start();

    Count(123456);
    Charge(Local(2024, 5, 3, 8), Local(2024, 5, 3, 9), 100);
    Count(654321);
    Charge(Local(2024, 5, 4, 8), Local(2024, 5, 4, 9), 10);

    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(3, 100), Pair(4, 10)));
}

TEST_F(HistoryCharges, SuspensionsAndOtherStatesBookNothing)
{
    Start();
    for (int state = 0; state <= 13; ++state)
    {
        if (state != Charging && state != Finishing)
        {
            Notify(state);
        }
    }
    EXPECT_EQ(meter->Readings(), 0);
    Notify(Charging);
    Count(70);
    Notify(ipc::EConnectorStateSuspendedEv);
    EXPECT_EQ(File(), "");
    EXPECT_EQ(meter->Readings(), 1);
}

TEST_F(HistoryCharges, ChargeThatResumesLosesWhatCameBefore)
{
    Start();
    Notify(Charging);
    Count(70);
    Notify(Charging);
    Count(7);
    Notify(Finishing);

    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(1, 7)));
}

TEST_F(HistoryCharges, OverMidnightIsSplitBetweenTheTwoDays)
{
    Start();
    time.AdvanceTo(Local(2024, 5, 3, 22));
    Notify(Charging);
    time.AdvanceTo(Local(2024, 5, 3, 23, 59, 58));
    Count(4001);
    EXPECT_EQ(File(), "");
    time.AdvanceTo(Local(2024, 5, 4, 0, 0, 2));
    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(3, 4001)));
    Count(6007);
    time.AdvanceTo(Local(2024, 5, 4, 3));
    Notify(Finishing);

    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(3, 4001), Pair(4, 6007)));
    EXPECT_THAT(Months(2024), ElementsAre(Pair(5, 4001 + 6007)));
}

TEST_F(HistoryCharges, OverSeveralNightsIsSplitAtEach)
{
    Start(Local(2024, 2, 27, 12));
    Notify(Charging);
    for (const int energy : {27, 28, 29})
    {
        Count(energy);
        time.Advance(24h);
    }
    Count(1);
    Notify(Finishing);

    EXPECT_THAT(Days(2024, 2), ElementsAre(Pair(27, 27), Pair(28, 28), Pair(29, 29)));
    EXPECT_THAT(Days(2024, 3), ElementsAre(Pair(1, 1)));
    EXPECT_THAT(Months(2024), ElementsAre(Pair(2, 27 + 28 + 29), Pair(3, 1)));
}

TEST_F(HistoryCharges, OverNewYearsEveIsSplitBetweenTheYears)
{
    Start(Local(2023, 12, 31, 12));
    time.AdvanceTo(Local(2023, 12, 31, 20));
    Notify(Charging);
    Count(4001);
    time.AdvanceTo(Local(2024, 1, 1, 0, 0, 2));
    EXPECT_THAT(Days(2023, 12), ElementsAre(Pair(31, 4001)));
    EXPECT_THAT(Months(2023), ElementsAre(Pair(12, 4001)));
    Count(6007);
    time.AdvanceTo(Local(2024, 1, 1, 6));
    Notify(Finishing);

    EXPECT_THAT(Days(2023, 12), ElementsAre(Pair(31, 4001)));
    EXPECT_THAT(Days(2024, 1), ElementsAre(Pair(1, 6007)));
    EXPECT_THAT(Months(2023), ElementsAre(Pair(12, 4001)));
    EXPECT_THAT(Months(2024), ElementsAre(Pair(1, 6007)));
}

TEST_F(HistoryCharges, CellsBehindAShortMonthsEndStayZero)
{
    Start(Local(2023, 2, 1, 12));
    for (int day = 1; day <= 28; ++day)
    {
        Charge(Local(2023, 2, day, 13), Local(2023, 2, day, 14), 1);
    }

    const Json::Value history = component->ReadHistoryStatistics();
    const Json::Value& energy = history["HistoryMonth"][0]["Energy"];
    ASSERT_EQ(energy.size(), 31U);
    EXPECT_EQ(energy[27], 1);
    for (const Json::ArrayIndex behind : {28U, 29U, 30U})
    {
        EXPECT_EQ(energy[behind], 0);
    }
}

TEST_F(HistoryCharges, OnADayWithoutEnergyIsACellOfZero)
{
    Start();
    Charge(Local(2024, 5, 3, 8), Local(2024, 5, 3, 9), 0);
    EXPECT_EQ(component->ReadHistoryStatistics()["HistoryMonth"].size(), 1U);
    EXPECT_THAT(Days(2024, 5), IsEmpty());
}

// ------------------------------------------------------------------------------------- synchronised time

TEST_F(HistoryCharges, EndWithoutSynchronisedTimeLosesTheEnergy)
{
    isSynced = false;
    Start();

    Charge(Local(2024, 5, 3, 8), Local(2024, 5, 3, 9), 7500);

    EXPECT_EQ(File(), "");
    EXPECT_THAT(Warnings(), ElementsAre(NotSynced));
    isSynced = true;
    Charge(Local(2024, 5, 4, 8), Local(2024, 5, 4, 9), 11);
    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(4, 11)));
    EXPECT_THAT(Warnings(), SizeIs(1));
}

TEST_F(HistoryCharges, NightWithoutSynchronisedTimeCarriesTheEnergyAlong)
{
    isSynced = false;
    Start();
    Notify(Charging);
    Count(4001);
    time.AdvanceTo(Local(2024, 5, 2, 12));
    EXPECT_EQ(File(), "");
    EXPECT_THAT(Warnings(), testing::AllOf(testing::Not(IsEmpty()), testing::Each(NotSynced)));
    EXPECT_EQ(meter->Readings(), 1);

    isSynced = true;
    Count(6007);
    Notify(Finishing);

    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(2, 4001 + 6007)));
}

TEST_F(HistoryCharges, NightAfterTheOneWithoutSynchronisedTimeBooksForBoth)
{
    isSynced = false;
    Start();
    Notify(Charging);
    Count(4001);
    time.AdvanceTo(Local(2024, 5, 2, 12));
    isSynced = true;
    Count(6007);
    time.AdvanceTo(Local(2024, 5, 3, 1));

    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(2, 4001 + 6007)));
}

TEST_F(HistoryCharges, WithoutATimeCheckAreNotBooked)
{
    component = std::make_unique<CHistoryStatisticsComponent>(
        meter, notifications, files.Open("charging_history"), worker, MaxMonths, MaxYears, time.Source());
    component->Init({});

    Charge(Local(2024, 5, 3, 8), Local(2024, 5, 3, 9), 7500);

    EXPECT_EQ(File(), "");
    EXPECT_THAT(Warnings(), ElementsAre(NotSynced));
}

// ------------------------------------------------------------------------------------------ summer time

TEST_F(HistoryCharges, OverTheBeginningOfSummerTimeAreBookedToTheUnit)
{
    Start(Local(2024, 3, 30, 12));
    time.AdvanceTo(Local(2024, 3, 30, 22));
    Notify(Charging);
    Count(101);
    time.AdvanceTo(Local(2024, 3, 31, 0, 0, 2));
    EXPECT_THAT(Days(2024, 3), ElementsAre(Pair(30, 101)));
    Count(203);
    time.AdvanceTo(Local(2024, 3, 31, 12));
    Notify(Finishing);
    EXPECT_THAT(Days(2024, 3), ElementsAre(Pair(30, 101), Pair(31, 203)));

    Charge(Local(2024, 3, 31, 20), Local(2024, 3, 31, 23), 307);
    EXPECT_THAT(Days(2024, 3), ElementsAre(Pair(30, 101), Pair(31, 203 + 307)));
}

TEST_F(HistoryCharges, NightThatEndsTheFirstDayOfSummerTimeIsAnHourLate)
{
    Start(Local(2024, 3, 30, 12));
    time.AdvanceTo(Local(2024, 3, 31, 22));
    Notify(Charging);
    Count(101);
    time.AdvanceTo(Local(2024, 4, 1, 0, 59, 58));
    EXPECT_EQ(File(), "") << "planned by winter time: 23:59:59 of that is 0:59:59 now";
    Count(203);
    time.AdvanceTo(Local(2024, 4, 1, 1));
    EXPECT_THAT(Days(2024, 3), ElementsAre(Pair(31, 101 + 203)));
    Count(307);
    time.AdvanceTo(Local(2024, 4, 1, 23, 59, 58));
    EXPECT_THAT(Days(2024, 4), IsEmpty());
    time.AdvanceTo(Local(2024, 4, 2, 0, 0, 2));
    EXPECT_THAT(Days(2024, 4), ElementsAre(Pair(1, 307)));
    Count(409);
    Notify(Finishing);

    EXPECT_THAT(Days(2024, 4), ElementsAre(Pair(1, 307), Pair(2, 409)));
    EXPECT_THAT(Months(2024), ElementsAre(Pair(3, 101 + 203), Pair(4, 307 + 409)));
}

TEST_F(HistoryCharges, OverTheEndOfSummerTimeAreBookedToTheUnit)
{
    Start(Local(2024, 10, 26, 12));
    time.AdvanceTo(Local(2024, 10, 26, 22));
    Notify(Charging);
    Count(101);
    time.AdvanceTo(Local(2024, 10, 27, 0, 0, 2));
    EXPECT_THAT(Days(2024, 10), ElementsAre(Pair(26, 101)));
    Count(203);
    time.AdvanceTo(Local(2024, 10, 27, 22));
    EXPECT_THAT(Days(2024, 10), ElementsAre(Pair(26, 101)));
    time.AdvanceTo(Local(2024, 10, 27, 23));
    EXPECT_THAT(Days(2024, 10), ElementsAre(Pair(26, 101), Pair(27, 203)))
        << "planned by summer time: 23:59:59 of that is 22:59:59 now";
    Count(307);
    time.AdvanceTo(Local(2024, 10, 28, 0, 0, 2));
    EXPECT_THAT(Days(2024, 10), ElementsAre(Pair(26, 101), Pair(27, 203 + 307)));
    Count(409);
    Notify(Finishing);

    EXPECT_THAT(Days(2024, 10), ElementsAre(Pair(26, 101), Pair(27, 203 + 307), Pair(28, 409)));
    EXPECT_THAT(Months(2024), ElementsAre(Pair(10, 101 + 203 + 307 + 409)));
}

// ------------------------------------------------------------------------------------------ the register

TEST_F(HistoryCharges, EndAfterARestartBooksTheWholeRegister)
{
    Start();
    Count(6007);

    Notify(Finishing);

    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(1, 1000 + 6007)));
}

TEST_F(HistoryCharges, NightAfterARestartBooksNothing)
{
    Start();
    time.AdvanceTo(Local(2024, 5, 3, 12));
    EXPECT_EQ(File(), "");
    EXPECT_EQ(meter->Readings(), 0);
    EXPECT_THAT(Warnings(), IsEmpty());
}

TEST_F(HistoryCharges, SecondEndInARowBooksTheDifference)
{
    Start();
    Notify(Charging);
    Count(5);
    Notify(Finishing);
    Count(7);
    Notify(Finishing);

    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(1, 12)));
}

TEST_F(HistoryCharges, RegisterThatRunsBackwardsIsTakenOff)
{
    Start();
    Charge(Local(2024, 5, 3, 8), Local(2024, 5, 3, 9), 500);
    Charge(Local(2024, 5, 3, 10), Local(2024, 5, 3, 11), -200);
    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(3, 300)));

    Charge(Local(2024, 5, 3, 12), Local(2024, 5, 3, 13), -400);
    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(3, -100)));

    Charge(Local(2024, 5, 3, 14), Local(2024, 5, 3, 15), 101);
    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(3, 1)));
}

TEST_F(HistoryCharges, RegisterThatWrapsAtSixtyFourBitsGoesOn)
{
    Start();
    meter->SetTotal(std::numeric_limits<std::int64_t>::max());
    Notify(Charging);
    meter->SetTotal(std::numeric_limits<std::int64_t>::min() + 9);
    Notify(Finishing);
    meter->SetTotal(-1);
    Notify(Charging);
    meter->SetTotal(99);
    Notify(Finishing);

    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(1, 10 + 100)));
}

TEST_F(HistoryCharges, RegisterThatWrapsAtThirtyTwoBitsHasRunBackwards)
{
    constexpr std::int64_t last = std::numeric_limits<std::uint32_t>::max();
    Start();
    meter->SetTotal(last);
    Notify(Charging);
    meter->SetTotal(9);
    Notify(Finishing);

    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(1, 9 - last)));
    EXPECT_THROW(Notify(Finishing), Json::Exception) << "the cell's old value doesn't fit in 32 bits";
}

TEST_F(HistoryCharges, CellTakesMoreThanThirtyTwoBitsOnce)
{
    Start();
    Charge(Local(2024, 5, 3, 8), Local(2024, 5, 3, 9), 3000000000);
    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(3, 3000000000)));
    EXPECT_THAT(Months(2024), ElementsAre(Pair(5, 3000000000)));
}

// ------------------------------------------------------------------------------------------ no meter

TEST_F(HistoryCharges, WithoutAMeterAreNeverBooked)
{
    component = std::make_unique<CHistoryStatisticsComponent>(
        nullptr, notifications, files.Open("charging_history"), worker, MaxMonths, MaxYears, time.Source());
    component->Init([] { return true; });
    EXPECT_THAT(Warnings(),
                ElementsAre("History statistics component is constructed without a meter service. No history "
                            "will be stored"));

    Charge(Local(2024, 5, 3, 22), Local(2024, 5, 4, 1), 7500);

    EXPECT_TRUE(component->ReadHistoryStatistics().isNull());
    EXPECT_EQ(File(), "");
    EXPECT_THAT(Warnings(), SizeIs(1));
}

TEST_F(HistoryCharges, OfEarlierTimesAreReadWithoutAMeter)
{
    WriteFile(R"({"HistoryYear":[{"Year":2020,"Energy":[1]}]})");
    component = std::make_unique<CHistoryStatisticsComponent>(
        nullptr, notifications, files.Open("charging_history"), worker, MaxMonths, MaxYears, time.Source());
    EXPECT_EQ(JsonUtil::WriteUnstyled(component->ReadHistoryStatistics()),
              R"({"HistoryYear":[{"Energy":[1],"Year":2020}]})");
}
