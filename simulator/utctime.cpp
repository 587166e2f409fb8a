#include "simulator/utctime.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

namespace Simulator
{

namespace
{

std::tm SecondsOf(std::chrono::system_clock::time_point time)
{
    return fmt::gmtime(std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(time)));
}

} // namespace

std::string ToIsoText(std::chrono::system_clock::time_point time)
{
    const auto fraction = time - std::chrono::floor<std::chrono::seconds>(time);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z",
                       SecondsOf(time),
                       std::chrono::duration_cast<std::chrono::milliseconds>(fraction).count());
}

std::string ToFileNameText(std::chrono::system_clock::time_point time)
{
    return fmt::format("{:%Y-%m-%dT%H%M%S}", SecondsOf(time));
}

} // namespace Simulator
