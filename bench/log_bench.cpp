#include "platform/log/log.h"

#include <string>

#include <benchmark/benchmark.h>

namespace
{

/// A statement below the threshold, as nearly all are in everyday operation. Goal: less than 2 ns.
void SuppressedStatement(benchmark::State& state)
{
    Log::Init("bench", Log::ELogLevel::Error);
    const std::string text = "value";
    int number = 0;
    for (auto _ : state)
    {
        LOG_DEBUG("Creating message for state: {} {}", text, ++number);
        benchmark::DoNotOptimize(number);
    }
}
BENCHMARK(SuppressedStatement);

/// The loop of SuppressedStatement without the statement.
void EmptyLoop(benchmark::State& state)
{
    int number = 0;
    for (auto _ : state)
    {
        ++number;
        benchmark::DoNotOptimize(number);
    }
}
BENCHMARK(EmptyLoop);

} // namespace
