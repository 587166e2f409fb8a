#include "simulator/model/currentlimits.h"

#include "contracts/station.pb.h"

#include <algorithm>

namespace Simulator
{

namespace
{

bool CanBeSet(int source)
{
    return source > ipc::ECurrentControlNone && source <= ipc::ECurrentControlUserLimitCurrent &&
           source != ipc::ECurrentControlHardwareLimit;
}

} // namespace

CCurrentLimits::CCurrentLimits(std::uint32_t hardwareLimit)
    : limits{{ipc::ECurrentControlHardwareLimit, hardwareLimit}}
{
}

bool CCurrentLimits::Set(int source, std::uint32_t milliamperes)
{
    if (!CanBeSet(source))
    {
        return false;
    }
    limits[source] = milliamperes;
    return true;
}

bool CCurrentLimits::Clear(int source)
{
    if (!CanBeSet(source))
    {
        return false;
    }
    limits.erase(source);
    return true;
}

CCurrentLimits::SLimit CCurrentLimits::Least() const
{
    const auto least =
        std::min_element(limits.begin(),
                         limits.end(),
                         [](const auto& one, const auto& other) { return one.second < other.second; });
    return {least->first, least->second};
}

} // namespace Simulator
