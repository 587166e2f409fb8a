#include "src/localscheduledcharging/localtime.h"

tm LocalTime(std::chrono::system_clock::time_point time)
{
    const time_t seconds = std::chrono::system_clock::to_time_t(time);
    tm local{};
    // localtime_r alone may stay with the zone of its first call
    tzset();
    localtime_r(&seconds, &local);
    return local;
}
