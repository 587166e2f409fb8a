#include "src/statistics/historyrecords.h"

#include "platform/json/jsonutil.h"

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace
{

using Months = std::vector<std::pair<int, int>>;

constexpr unsigned int MaxMonths = 6;
constexpr unsigned int MaxYears = 10;

Json::Value Month(int year, int month)
{
    Json::Value element;
    element["Year"] = year;
    element["Month"] = month;
    element["Energy"] = Json::Value(Json::arrayValue);
    return element;
}

Json::Value History(const Months& months)
{
    Json::Value history(Json::arrayValue);
    for (const auto& [year, month] : months)
    {
        history.append(Month(year, month));
    }
    return history;
}

Json::Value History(const std::vector<int>& years)
{
    Json::Value history(Json::arrayValue);
    for (const int year : years)
    {
        Json::Value element;
        element["Year"] = year;
        history.append(element);
    }
    return history;
}

Months MonthsOf(const Json::Value& history)
{
    Months months;
    for (const Json::Value& element : history)
    {
        months.emplace_back(element["Year"].asInt(), element["Month"].asInt());
    }
    return months;
}

std::vector<int> YearsOf(const Json::Value& history)
{
    std::vector<int> years;
    for (const Json::Value& element : history)
    {
        years.push_back(element["Year"].asInt());
    }
    return years;
}

} // namespace

// ------------------------------------------------------------------------------------------ months

TEST(RollHistoryMonth, KeepsOneMonthMoreThanItsNumber)
{
    const Months seven{{2024, 1}, {2024, 2}, {2024, 3}, {2024, 4}, {2024, 5}, {2024, 6}, {2024, 7}};
    EXPECT_EQ(MonthsOf(HistoryRecords::RollHistoryMonth(History(seven), MaxMonths)), seven);
}

TEST(RollHistoryMonth, DropsTheOldestOfEight)
{
    const Months eight{
        {2024, 1}, {2024, 2}, {2024, 3}, {2024, 4}, {2024, 5}, {2024, 6}, {2024, 7}, {2024, 8}};
    EXPECT_EQ(MonthsOf(HistoryRecords::RollHistoryMonth(History(eight), MaxMonths)),
              Months(eight.begin() + 1, eight.end()));
}

TEST(RollHistoryMonth, ReachesBackIntoTheYearBefore)
{
    for (const auto& [newest, cutOff] : {std::pair(1, 7), std::pair(5, 11), std::pair(6, 12)})
    {
        Months months;
        for (int month = 1; month <= 12; ++month)
        {
            months.emplace_back(2023, month);
        }
        months.emplace_back(2024, newest);
        Months expected(months.begin() + cutOff - 1, months.end());
        EXPECT_EQ(MonthsOf(HistoryRecords::RollHistoryMonth(History(months), MaxMonths)), expected) << newest;
    }
}

TEST(RollHistoryMonth, StaysInTheYearWhereSixMonthsFit)
{
    Months months{{2023, 12}, {2024, 1}, {2024, 2}, {2024, 3}, {2024, 4}, {2024, 5}, {2024, 6}, {2024, 7}};
    EXPECT_EQ(MonthsOf(HistoryRecords::RollHistoryMonth(History(months), MaxMonths)),
              Months(months.begin() + 1, months.end()));
}

TEST(RollHistoryMonth, DropsByDateAndNotByNumber)
{
    const Months months{{2020, 1}, {2021, 1}, {2022, 1}, {2023, 1}, {2023, 6}, {2023, 7}, {2024, 1}};
    EXPECT_THAT(MonthsOf(HistoryRecords::RollHistoryMonth(History(months), MaxMonths)),
                ElementsAre(Pair(2023, 7), Pair(2024, 1)));
}

TEST(RollHistoryMonth, LeavesAShortArrayAsItIs)
{
    const Months six{{1999, 1}, {2021, 1}, {2022, 1}, {2023, 1}, {2023, 6}, {2024, 1}};
    EXPECT_EQ(MonthsOf(HistoryRecords::RollHistoryMonth(History(six), MaxMonths)), six);
    EXPECT_EQ(HistoryRecords::RollHistoryMonth(Json::nullValue, MaxMonths), Json::nullValue);
}

TEST(RollHistoryMonth, KeepsTheOrderOfAnUnsortedArray)
{
    const Months months{
        {2024, 3}, {2023, 12}, {2023, 8}, {2024, 1}, {2023, 9}, {2024, 2}, {2023, 10}, {2023, 11}};
    EXPECT_THAT(MonthsOf(HistoryRecords::RollHistoryMonth(History(months), MaxMonths)),
                ElementsAre(Pair(2024, 3),
                            Pair(2023, 12),
                            Pair(2024, 1),
                            Pair(2023, 9),
                            Pair(2024, 2),
                            Pair(2023, 10),
                            Pair(2023, 11)));
}

TEST(RollHistoryMonth, KeepsMonthsOfTheFutureAndDropsThePresentForThem)
{
    const Months months{{2024, 1}, {2024, 2}, {2024, 3}, {2024, 4}, {2024, 5}, {2024, 6}, {2038, 1}};
    EXPECT_THAT(MonthsOf(HistoryRecords::RollHistoryMonth(History(months), MaxMonths)),
                ElementsAre(Pair(2038, 1)));
}

TEST(RollHistoryMonth, TakesMonthsAtTheEndsOfAnInt)
{
    constexpr int least = std::numeric_limits<int>::min();
    constexpr int most = std::numeric_limits<int>::max();
    const Months months{{most, least}, {least, least}, {0, 0}, {1, 1}, {2, 2}, {3, 3}, {most - 1, most}};
    EXPECT_THAT(MonthsOf(HistoryRecords::RollHistoryMonth(History(months), MaxMonths)),
                ElementsAre(Pair(most, least), Pair(most - 1, most)));
}

// ------------------------------------------------------------------------------------------ years

TEST(RollHistoryYear, KeepsOneYearMoreThanItsNumber)
{
    std::vector<int> years;
    for (int year = 2013; year <= 2024; ++year)
    {
        years.push_back(year);
    }
    EXPECT_EQ(YearsOf(HistoryRecords::RollHistoryYear(History(years), MaxYears)),
              std::vector<int>(years.begin() + 1, years.end()));
}

TEST(RollHistoryYear, DropsFromAShortArrayToo)
{
    EXPECT_THAT(
        YearsOf(HistoryRecords::RollHistoryYear(History(std::vector<int>{2024, 2013, 2014}), MaxYears)),
        ElementsAre(2024, 2014));
}

TEST(RollHistoryYear, OfNothingIsNull)
{
    EXPECT_TRUE(HistoryRecords::RollHistoryYear(Json::nullValue, MaxYears).isNull());
    EXPECT_TRUE(HistoryRecords::RollHistoryYear(Json::arrayValue, MaxYears).isNull());
}

// ------------------------------------------------------------------------------------------ bookings

TEST(UpdateMonthHistory, FindsTheElementByYearAndMonth)
{
    const Json::Value history = HistoryRecords::UpdateMonthHistory(
        History(Months{{2023, 5}, {2024, 4}, {2024, 5}, {2024, 6}}), {12, 5}, {2024, 5}, 0, MaxMonths);

    EXPECT_EQ(history.size(), 4U);
    EXPECT_EQ(JsonUtil::WriteUnstyled(history[2]), R"({"Energy":[7],"Month":5,"Year":2024})");
}

TEST(UpdateMonthHistory, AppendsANewMonthAtTheEndAndRolls)
{
    const Json::Value history = HistoryRecords::UpdateMonthHistory(
        History(Months{{2024, 1}, {2024, 2}, {2024, 3}, {2024, 4}, {2024, 5}, {2024, 6}, {2024, 7}}),
        {12, 5},
        {2024, 8},
        30,
        MaxMonths);

    EXPECT_EQ(history.size(), 7U);
    EXPECT_EQ(history[0]["Month"], 2);
    EXPECT_EQ(
        JsonUtil::WriteUnstyled(history[6]),
        R"({"Energy":[0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,7],"Month":8,"Year":2024})");
}

TEST(UpdateMonthHistory, MayDropWhatItHasBookedBehindTheFuture)
{
    const Months months{{2038, 1}, {2038, 2}, {2038, 3}, {2038, 4}, {2038, 5}, {2038, 6}};
    EXPECT_EQ(
        MonthsOf(HistoryRecords::UpdateMonthHistory(History(months), {12, 5}, {2024, 8}, 30, MaxMonths)),
        months);
}

TEST(UpdateYearHistory, FindsTheElementByYear)
{
    const Json::Value history =
        HistoryRecords::UpdateYearHistory(History(std::vector<int>{2023, 2024}), {12, 5}, 2023, 2, MaxYears);

    EXPECT_EQ(JsonUtil::WriteUnstyled(history), R"([{"Energy":[null,null,7],"Year":2023},{"Year":2024}])");
}

TEST(UpdateYearHistory, AppendsANewYearAtTheEndAndRolls)
{
    const Json::Value history =
        HistoryRecords::UpdateYearHistory(History(std::vector<int>{2013, 2014}), {12, 5}, 2024, 11, MaxYears);

    EXPECT_THAT(YearsOf(history), ElementsAre(2014, 2024));
    EXPECT_EQ(JsonUtil::WriteUnstyled(history[1]), R"({"Energy":[0,0,0,0,0,0,0,0,0,0,0,7],"Year":2024})");
}
