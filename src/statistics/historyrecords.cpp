#include "src/statistics/historyrecords.h"

#include "src/statistics/historystatisticscomponent.h"

#include "platform/log/log.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <optional>
#include <utility>

namespace HistoryRecords
{

namespace
{

constexpr Json::ArrayIndex DaysPerMonth = 31;
constexpr Json::ArrayIndex MonthsPerYear = 12;

/// Year and month, in the order of time; wide enough for any number of months back.
using YearAndMonth = std::pair<std::int64_t, std::int64_t>;

using Condition = std::function<bool(const Json::Value& element)>;

/// In 64 bits, which wrap around.
Json::Int64 Add(std::int64_t energy, const SReadings& readings)
{
    return static_cast<Json::Int64>(static_cast<std::uint64_t>(energy) + readings.total - readings.baseline);
}

std::optional<Json::ArrayIndex> Find(const Json::Value& history, const Condition& condition)
{
    for (Json::ArrayIndex index = 0; index < history.size(); ++index)
    {
        if (condition(history[index]))
        {
            return index;
        }
    }
    return std::nullopt;
}

/// The elements that fulfil the condition, in their order.
Json::Value Filter(const Json::Value& history, const Condition& condition)
{
    Json::Value kept(Json::arrayValue);
    for (const Json::Value& element : history)
    {
        if (condition(element))
        {
            kept.append(element);
        }
    }
    return kept;
}

void Book(Json::Value& element, Json::ArrayIndex index, const SReadings& readings)
{
    Json::Value& cell = element["Energy"][index];
    cell = Add(cell.asInt(), readings);
}

void Append(Json::Value& history,
            Json::Value element,
            Json::ArrayIndex cells,
            Json::ArrayIndex index,
            const SReadings& readings)
{
    Json::Value energy(Json::arrayValue);
    for (Json::ArrayIndex cell = 0; cell < cells; ++cell)
    {
        energy.append(0);
    }
    element["Energy"] = std::move(energy);
    Book(element, index, readings);
    history.append(std::move(element));
}

YearAndMonth MonthOf(const Json::Value& element)
{
    return {element["Year"].asInt(), element["Month"].asInt()};
}

} // namespace

Json::Value UpdateMonthHistory(Json::Value history,
                               const SReadings& readings,
                               SMonth month,
                               Json::ArrayIndex day,
                               unsigned int maxMonths)
{
    LOG_ENTRY(CHistoryStatisticsComponent, "UpdateMonthHistory");
    const auto found =
        Find(history,
             [&month](const Json::Value& element)
             { return element["Month"].asInt() == month.month && element["Year"].asInt() == month.year; });
    if (found)
    {
        Book(history[*found], day, readings);
    }
    else
    {
        Json::Value element;
        element["Year"] = month.year;
        element["Month"] = month.month;
        Append(history, std::move(element), DaysPerMonth, day, readings);
    }
    return RollHistoryMonth(history, maxMonths);
}

Json::Value UpdateYearHistory(
    Json::Value history, const SReadings& readings, int year, Json::ArrayIndex month, unsigned int maxYears)
{
    LOG_ENTRY(CHistoryStatisticsComponent, "UpdateYearHistory");
    const auto found =
        Find(history, [year](const Json::Value& element) { return element["Year"].asInt() == year; });
    if (found)
    {
        Book(history[*found], month, readings);
    }
    else
    {
        Json::Value element;
        element["Year"] = year;
        Append(history, std::move(element), MonthsPerYear, month, readings);
    }
    return RollHistoryYear(history, maxYears);
}

Json::Value RollHistoryMonth(const Json::Value& history, unsigned int maxMonths)
{
    LOG_ENTRY(CHistoryStatisticsComponent, "RollHistoryMonth");
    if (history.size() <= maxMonths)
    {
        return history;
    }
    YearAndMonth newest{std::numeric_limits<int>::min(), std::numeric_limits<int>::min()};
    for (const Json::Value& element : history)
    {
        newest = std::max(newest, MonthOf(element));
    }
    YearAndMonth cutOff{newest.first, newest.second - maxMonths};
    if (cutOff.second < 1)
    {
        cutOff.first -= 1;
        cutOff.second += MonthsPerYear;
    }
    return Filter(history, [&cutOff](const Json::Value& element) { return MonthOf(element) >= cutOff; });
}

Json::Value RollHistoryYear(const Json::Value& history, unsigned int maxYears)
{
    LOG_ENTRY(CHistoryStatisticsComponent, "RollHistoryYear");
    if (history.empty())
    {
        return Json::nullValue;
    }
    std::int64_t newest = std::numeric_limits<int>::min();
    for (const Json::Value& element : history)
    {
        newest = std::max<std::int64_t>(newest, element["Year"].asInt());
    }
    const std::int64_t cutOff = newest - maxYears;
    return Filter(history,
                  [cutOff](const Json::Value& element) { return element["Year"].asInt() >= cutOff; });
}

} // namespace HistoryRecords
