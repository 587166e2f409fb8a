#include "src/localscheduledcharging/chargingschedulemanager.h"

#include "src/localscheduledcharging/localtime.h"

#include "platform/config/tarnconfig.h"
#include "platform/log/log.h"

#include <json/value.h>

#include <algorithm>
#include <array>
#include <iomanip>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

namespace
{

constexpr const char* StartKey = "StartTime";
constexpr const char* LimitKey = "CurrentLimit";

/// By number, as tm_wday counts.
constexpr std::array<std::string_view, 7> Weekdays{
    "Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
constexpr std::uint32_t UnknownWeekday = Weekdays.size();

/// Milliamperes.
constexpr std::uint32_t DefaultLimit = 32000;

constexpr std::uint32_t SecondsPerMinute = 60;
constexpr std::uint32_t SecondsPerHour = 3600;
constexpr std::uint32_t SecondsPerDay = 86400;

std::uint32_t NumberOf(std::string_view weekday)
{
    const auto* const place = std::find(Weekdays.begin(), Weekdays.end(), weekday);
    return static_cast<std::uint32_t>(std::distance(Weekdays.begin(), place));
}

std::string_view NameOf(std::uint32_t weekday)
{
    return weekday < UnknownWeekday ? Weekdays[weekday] : "Unknown";
}

/// The segments of a day; none if it is no array.
const Json::Value& SegmentsOf(const Json::Value& day)
{
    static const Json::Value none(Json::arrayValue);
    return day.isArray() ? day : none;
}

bool IsSegment(const Json::Value& value)
{
    return value.isObject() && value[StartKey].isUInt() && value[StartKey].asUInt() < SecondsPerDay &&
           value[LimitKey].isUInt();
}

bool AreSegments(const Json::Value& values)
{
    for (const Json::Value& value : values)
    {
        if (!IsSegment(value))
        {
            LOG_WARN("Validating charging schedule, bad segment: {}", value.toStyledString());
            return false;
        }
    }
    return true;
}

std::string TextOf(const tm& time)
{
    std::ostringstream text;
    text << std::put_time(&time, "%c %Z");
    return text.str();
}

std::uint32_t SecondOfDay(const tm& time)
{
    return static_cast<std::uint32_t>(time.tm_sec) +
           static_cast<std::uint32_t>(time.tm_min) * SecondsPerMinute +
           static_cast<std::uint32_t>(time.tm_hour) * SecondsPerHour;
}

} // namespace

CChargingScheduleManager::CChargingScheduleManager(std::shared_ptr<TarnConfig> config)
    : config(std::move(config))
    , schedule(DefaultSchedule())
{
}

void CChargingScheduleManager::Init()
{
    const std::lock_guard lock(mutex);
    LOG_INFO("Loading local charging schedule");
    Load();
}

void CChargingScheduleManager::Load()
{
    schedule = DefaultSchedule();
    for (const std::string& key : config->GetKeys())
    {
        LOG_DEBUG("Loading schedule for {}", key);
        schedule[NumberOf(key)] = ConvertSchedule(config->GetValue(key, Json::nullValue));
    }
}

bool CChargingScheduleManager::ValidateSchedule(const Json::Value& schedule)
{
    LOG_ENTRY(CChargingScheduleManager, "ValidateSchedule");
    for (const std::string& name : schedule.getMemberNames())
    {
        if (NumberOf(name) == UnknownWeekday)
        {
            LOG_WARN("Validating charging schedule, unknown weekday: {}", name);
            return false;
        }
        if (!AreSegments(SegmentsOf(schedule[name])))
        {
            return false;
        }
    }
    return true;
}

void CChargingScheduleManager::WriteSchedule(const Json::Value& schedule)
{
    const std::lock_guard lock(mutex);
    try
    {
        config->Clear();
        this->schedule = DefaultSchedule();
        for (const std::string& name : schedule.getMemberNames())
        {
            Day day = ConvertSchedule(schedule[name]);
            config->SetValue(name, schedule[name]);
            this->schedule[NumberOf(name)] = std::move(day);
        }
    }
    catch (const std::exception&)
    {
        // a write that failed may have changed the file all the same
        Load();
        throw;
    }
    LOG_INFO("Local charging schedule is updated.");
}

Json::Value CChargingScheduleManager::ReadSchedule()
{
    Json::Value result(Json::objectValue);
    const std::lock_guard lock(mutex);
    for (const auto& [weekday, day] : schedule)
    {
        Json::Value& segments = result[std::string(NameOf(weekday))] = Json::arrayValue;
        for (const auto& [start, limit] : day)
        {
            Json::Value segment(Json::objectValue);
            segment[StartKey] = start;
            segment[LimitKey] = limit;
            segments.append(std::move(segment));
        }
    }
    return result;
}

std::uint32_t CChargingScheduleManager::GetCurrentLimit(std::chrono::system_clock::time_point now)
{
    const std::lock_guard lock(mutex);
    const tm local = LocalTime(now);
    LOG_DEBUG("Checking current at time: {}", TextOf(local));
    const std::uint32_t secondOfDay = SecondOfDay(local);
    const auto weekday = static_cast<std::uint32_t>(local.tm_wday);
    LOG_DEBUG("weekday is: {}, seconds of the day is : {}", NameOf(weekday), secondOfDay);
    return LimitAt(schedule[weekday], secondOfDay);
}

CChargingScheduleManager::Week CChargingScheduleManager::DefaultSchedule()
{
    Week week;
    for (std::uint32_t weekday = 0; weekday < UnknownWeekday; ++weekday)
    {
        week[weekday] = {{0, DefaultLimit}};
    }
    return week;
}

CChargingScheduleManager::Day CChargingScheduleManager::ConvertSchedule(const Json::Value& segments)
{
    Day day;
    for (const Json::Value& segment : SegmentsOf(segments))
    {
        const std::uint32_t start = segment[StartKey].asUInt();
        const std::uint32_t limit = segment[LimitKey].asUInt();
        LOG_DEBUG("Parsing schedule: {} second, {} mA", start, limit);
        day.try_emplace(start, limit);
    }
    return day;
}

std::uint32_t CChargingScheduleManager::LimitAt(const Day& day, std::uint32_t secondOfDay)
{
    if (day.empty())
    {
        return DefaultLimit;
    }
    const auto next = day.upper_bound(secondOfDay);
    return (next == day.begin() ? next : std::prev(next))->second;
}
