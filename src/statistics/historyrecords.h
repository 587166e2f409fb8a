#pragma once

#include <json/value.h>

#include <cstdint>

/// The two arrays of the charging history. What an element lacks reads as 0, and every operation throws a
/// Json::Exception for what is of a wrong type. Log lines bear the name of CHistoryStatisticsComponent.
/// Threads: any.
namespace HistoryRecords
{

/// Two readings of the meter's register, the earlier of which is the baseline. A register may have run
/// backwards: then the energy is negative.
struct SReadings
{
    std::uint64_t total;
    std::uint64_t baseline;
};

struct SMonth
{
    int year;
    /// 1 to 12
    int month;
};

/// Books the energy between two readings on a day.
/// @param history  array of {"Year": year, "Month": 1 to 12, "Energy": [energy of each day, 31 of them]}
/// @param day      0 for the month's first
/// @return the array with it, as RollHistoryMonth leaves it
Json::Value UpdateMonthHistory(Json::Value history,
                               const SReadings& readings,
                               SMonth month,
                               Json::ArrayIndex day,
                               unsigned int maxMonths);

/// The same in a month.
/// @param history  array of {"Year": year, "Energy": [energy of each month, 12 of them]}
/// @param month    0 for January
Json::Value UpdateYearHistory(
    Json::Value history, const SReadings& readings, int year, Json::ArrayIndex month, unsigned int maxYears);

/// An array of more than @p maxMonths elements without what is further back from the newest month than so
/// many months; a shorter one as it is. So a month more than @p maxMonths stays.
Json::Value RollHistoryMonth(const Json::Value& history, unsigned int maxMonths);

/// The array without what is further back from the newest year than @p maxYears; null for an empty one.
Json::Value RollHistoryYear(const Json::Value& history, unsigned int maxYears);

} // namespace HistoryRecords
