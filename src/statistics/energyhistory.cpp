#include "src/statistics/energyhistory.h"

#include "src/statistics/historyrecords.h"
#include "src/statistics/historystatisticscomponent.h"

#include "platform/log/log.h"

#include <array>
#include <chrono>
#include <utility>

using std::chrono::system_clock;

namespace
{

constexpr const char* MonthKey = "HistoryMonth";
constexpr const char* YearKey = "HistoryYear";
constexpr std::array<const char*, 2> Keys{MonthKey, YearKey};

constexpr const char* NotSynced = "NTP is not synced history update will not be executed";

/// How far back a nightly booking looks for its date, in seconds.
constexpr std::time_t HalfDay = 43200;

constexpr int FirstYear = 1900;

std::tm LocalTime(std::time_t time)
{
    std::tm local{};
    localtime_r(&time, &local);
    return local;
}

std::uint64_t TotalEnergy(IMeter& meter)
{
    return static_cast<std::uint64_t>(meter.GetMeterData().total_energy());
}

} // namespace

CEnergyHistory::CEnergyHistory(std::shared_ptr<IMeter> meter,
                               std::shared_ptr<TarnConfig> historyConfig,
                               std::shared_ptr<CWorker> worker,
                               unsigned int maxMonths,
                               unsigned int maxYears,
                               Toolbox::SystemClock clock)
    : meter(std::move(meter))
    , historyConfig(std::move(historyConfig))
    , maxMonths(maxMonths)
    , maxYears(maxYears)
    , clock(std::move(clock))
    , nightlyCall(std::move(worker))
{
}

void CEnergyHistory::SetTimeCheck(const std::function<bool()>& isTimeSynced)
{
    this->isTimeSynced = isTimeSynced;
}

void CEnergyHistory::HandleSessionStateChange(const ipc::MConnectorState& message)
{
    LOG_ENTRY(CHistoryStatisticsComponent, "HandleSessionStateChange");
    if (!meter)
    {
        LOG_TRACE("No meter service available to read.");
        return;
    }
    if (message.state() == ipc::EConnectorStateCharging)
    {
        ExchangeLastReading(TotalEnergy(*meter));
        SetSessionRunning(true);
    }
    else if (message.state() == ipc::EConnectorStateFinishing)
    {
        SetSessionRunning(false);
        if (IsTimeSynced())
        {
            UpdateHistoryStatistics(PresentTime());
        }
        else
        {
            LOG_WARN("{}", NotSynced);
        }
    }
}

void CEnergyHistory::SetNightlyUpdateCall(bool firstCall)
{
    LOG_ENTRY(CHistoryStatisticsComponent, "SetNightlyUpdateCall");
    if (IsSessionRunning())
    {
        if (IsTimeSynced())
        {
            std::tm time = PresentTime();
            UpdateHistoryStatistics(firstCall ? time : LocalTime(std::mktime(&time) - HalfDay));
        }
        else
        {
            LOG_WARN("{}", NotSynced);
        }
    }
    PlanNightlyUpdateCall();
}

void CEnergyHistory::PlanNightlyUpdateCall()
{
    const system_clock::time_point now = clock();
    std::tm night = LocalTime(system_clock::to_time_t(now));
    night.tm_hour = 23;
    night.tm_min = 59;
    night.tm_sec = 59;
    const auto delay = std::chrono::duration_cast<std::chrono::seconds>(
        system_clock::from_time_t(std::mktime(&night)) - now);
    const auto update = [weak = weak_from_this()]
    {
        if (const std::shared_ptr<CEnergyHistory> history = weak.lock())
        {
            history->SetNightlyUpdateCall(false);
        }
    };
    nightlyCall.Plan(update, delay, std::chrono::nanoseconds(0));
}

void CEnergyHistory::UpdateHistoryStatistics(const std::tm& time)
{
    LOG_ENTRY(CHistoryStatisticsComponent, "UpdateHistoryStatistics");
    if (!meter)
    {
        LOG_TRACE("No meter service available to read, not updating History.");
        return;
    }
    const std::uint64_t total = TotalEnergy(*meter);
    const HistoryRecords::SReadings readings{total, ExchangeLastReading(total)};
    const int year = time.tm_year + FirstYear;
    const auto day = static_cast<Json::ArrayIndex>(time.tm_mday - 1);
    const auto month = static_cast<Json::ArrayIndex>(time.tm_mon);

    Json::Value history = ReadHistoryStatistics();
    history[MonthKey] = HistoryRecords::UpdateMonthHistory(
        history[MonthKey], readings, {year, time.tm_mon + 1}, day, maxMonths);
    history[YearKey] = HistoryRecords::UpdateYearHistory(history[YearKey], readings, year, month, maxYears);
    WriteHistoryStatistics(history);
}

Json::Value CEnergyHistory::ReadHistoryStatistics() const
{
    LOG_ENTRY(CHistoryStatisticsComponent, "ReadHistoryStatistics");
    const std::lock_guard lock(fileMutex);
    Json::Value history;
    for (const char* key : Keys)
    {
        if (historyConfig->Contains(key))
        {
            history[key] = historyConfig->GetValue(key, Json::nullValue);
        }
    }
    return history;
}

void CEnergyHistory::WriteHistoryStatistics(const Json::Value& history)
{
    LOG_ENTRY(CHistoryStatisticsComponent, "WriteHistoryStatistics");
    const std::lock_guard lock(fileMutex);
    for (const char* key : Keys)
    {
        historyConfig->SetValue(key, history[key]);
    }
}

void CEnergyHistory::End()
{
    nightlyCall.End();
}

bool CEnergyHistory::IsTimeSynced() const
{
    return isTimeSynced && isTimeSynced();
}

std::tm CEnergyHistory::PresentTime() const
{
    return LocalTime(system_clock::to_time_t(clock()));
}

bool CEnergyHistory::IsSessionRunning() const
{
    const std::lock_guard lock(sessionMutex);
    return isSessionRunning;
}

void CEnergyHistory::SetSessionRunning(bool running)
{
    const std::lock_guard lock(sessionMutex);
    isSessionRunning = running;
}

std::uint64_t CEnergyHistory::ExchangeLastReading(std::uint64_t total)
{
    const std::lock_guard lock(readingMutex);
    return std::exchange(lastReading, total);
}
