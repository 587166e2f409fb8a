/// The charging schedule's look-up, which is done once a minute.
#include "src/localscheduledcharging/chargingschedulemanager.h"

#include "platform/config/tarnconfig.h"

#include <json/value.h>

#include <chrono>

#include <benchmark/benchmark.h>

#include "tests/support/temporarydirectory.h"

namespace
{

/// With as many segments in each day as the argument says, at times all over a week.
void GetCurrentLimit(benchmark::State& state)
{
    const CTemporaryDirectory directory;
    CChargingScheduleManager manager(TarnConfig::Create("local_charging_schedules", directory.Root()));
    Json::Value day(Json::arrayValue);
    for (std::int64_t segment = 0; segment < state.range(0); ++segment)
    {
        day[static_cast<Json::ArrayIndex>(segment)]["StartTime"] =
            Json::Int64(segment * 86400 / state.range(0));
        day[static_cast<Json::ArrayIndex>(segment)]["CurrentLimit"] = 16000;
    }
    Json::Value week(Json::objectValue);
    for (const char* weekday : {"Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday", "Sunday"})
    {
        week[weekday] = day;
    }
    manager.WriteSchedule(week);
    auto now = std::chrono::system_clock::from_time_t(1704585600);
    for (auto _ : state)
    {
        now += std::chrono::minutes(61);
        benchmark::DoNotOptimize(manager.GetCurrentLimit(now));
    }
}
BENCHMARK(GetCurrentLimit)->Arg(1)->Arg(24)->Arg(86400);

} // namespace
