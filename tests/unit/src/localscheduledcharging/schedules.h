/// Schedules and times for tests of what they do.
#pragma once

#include <json/reader.h>
#include <json/value.h>

#include <chrono>
#include <cstdint>
#include <ctime>
#include <sstream>
#include <string>

/// What a weekday has that isn't in the schedule.
constexpr std::uint32_t DefaultLimit = 32000;

enum EWeekday : int
{
    Sunday,
    Monday,
    Tuesday,
    Wednesday,
    Thursday,
    Friday,
    Saturday
};

inline Json::Value Parse(const std::string& text)
{
    Json::Value value;
    std::istringstream stream(text);
    stream >> value;
    return value;
}

inline Json::Value Segment(const Json::Value& start, const Json::Value& limit)
{
    Json::Value segment(Json::objectValue);
    segment["StartTime"] = start;
    segment["CurrentLimit"] = limit;
    return segment;
}

/// A time of the week from Sunday, 7 January 2024 on, in UTC.
inline std::chrono::system_clock::time_point At(int weekday, int hour, int minute = 0, int second = 0)
{
    constexpr std::time_t sunday = 1704585600;
    return std::chrono::system_clock::from_time_t(sunday + weekday * 86400 + hour * 3600 + minute * 60 +
                                                  second);
}
