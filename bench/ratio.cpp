#include "bench/ratio.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

namespace
{

constexpr int Rounds = 31;
constexpr std::chrono::milliseconds RoundTime{200};

double PerSecond(const std::function<void()>& operation)
{
    using Clock = std::chrono::steady_clock;
    constexpr int Batch = 50;

    const Clock::time_point begin = Clock::now();
    int operations = 0;
    while (Clock::now() - begin < RoundTime)
    {
        for (int i = 0; i < Batch; ++i)
        {
            operation();
        }
        operations += Batch;
    }
    return operations / std::chrono::duration<double>(Clock::now() - begin).count();
}

} // namespace

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

SRatio MeasureRatio(const std::function<void()>& ours, const std::function<void()>& bare)
{
    std::vector<double> oursPerSecond;
    std::vector<double> barePerSecond;
    std::vector<double> ratios;
    PerSecond(ours);
    PerSecond(bare);
    for (int round = 0; round < Rounds; ++round)
    {
        oursPerSecond.push_back(PerSecond(ours));
        barePerSecond.push_back(PerSecond(bare));
        ratios.push_back(oursPerSecond.back() / barePerSecond.back());
    }
    return {Median(oursPerSecond), Median(barePerSecond), Median(ratios)};
}

void Print(const std::string& name, const SRatio& result)
{
    std::printf("%-28s %9.0f/s   bare %9.0f/s   ratio %.3f\n",
                name.c_str(),
                result.perSecond,
                result.barePerSecond,
                result.ratio);
}
