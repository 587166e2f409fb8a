#include "tests/unit/src/statistics/historytest.h"

#include <ctime>

namespace
{

std::map<int, std::int64_t> Filled(const Json::Value& energy)
{
    std::map<int, std::int64_t> filled;
    for (Json::ArrayIndex index = 0; index < energy.size(); ++index)
    {
        if (energy[index].asInt64() != 0)
        {
            filled[static_cast<int>(index) + 1] = energy[index].asInt64();
        }
    }
    return filled;
}

} // namespace

// Europe/Amsterdam, which the host may not know
HistoryTest::HistoryTest()
    : CTimeZone("CET-1CEST,M3.5.0,M10.5.0/3")
    , ChargeTest(Local(2024, 5, 1, 12), Look)
{
    meter->SetTotal(total);
}

HistoryTest::Time HistoryTest::Local(int year, int month, int day, int hour, int minute, int second)
{
    std::tm local{};
    local.tm_year = year - 1900;
    local.tm_mon = month - 1;
    local.tm_mday = day;
    local.tm_hour = hour;
    local.tm_min = minute;
    local.tm_sec = second;
    local.tm_isdst = -1;
    return std::chrono::system_clock::from_time_t(std::mktime(&local));
}

void HistoryTest::Start(Time at)
{
    time.Set(at);
    Start(files.Open("charging_history"));
}

void HistoryTest::Start(const std::shared_ptr<TarnConfig>& config)
{
    component = std::make_unique<CHistoryStatisticsComponent>(
        meter, notifications, config, worker, MaxMonths, MaxYears, time.Source());
    component->Init([this] { return isSynced.load(); });
}

void HistoryTest::Count(std::int64_t energy)
{
    total += energy;
    meter->SetTotal(total);
}

void HistoryTest::Charge(Time from, Time to, std::int64_t energy)
{
    time.AdvanceTo(from);
    Notify(Charging);
    time.AdvanceTo(to);
    Count(energy);
    Notify(Finishing);
}

std::map<int, std::int64_t> HistoryTest::Days(int year, int month) const
{
    const Json::Value history = component->ReadHistoryStatistics();
    for (const Json::Value& element : history["HistoryMonth"])
    {
        if (element["Year"] == year && element["Month"] == month)
        {
            return Filled(element["Energy"]);
        }
    }
    return {};
}

std::map<int, std::int64_t> HistoryTest::Months(int year) const
{
    const Json::Value history = component->ReadHistoryStatistics();
    for (const Json::Value& element : history["HistoryYear"])
    {
        if (element["Year"] == year)
        {
            return Filled(element["Energy"]);
        }
    }
    return {};
}
