#include "simulator/model/meter.h"

#include <numeric>
#include <utility>

namespace Simulator
{

namespace
{

constexpr std::int64_t WattMillisecondsPerWattHour = 3'600'000;

} // namespace

CMeter::CMeter(TimePoint start)
    : lastAdvance(start)
{
}

void CMeter::SetTimeFactor(std::int32_t factor, TimePoint now)
{
    Advance(now);
    timeFactor = factor;
}

void CMeter::SkipTime(std::chrono::seconds duration, TimePoint now)
{
    Advance(now);
    Count(duration);
}

void CMeter::SetPower(std::vector<std::int32_t> watts, TimePoint now)
{
    Advance(now);
    power = std::move(watts);
}

void CMeter::SetTotalEnergy(std::int64_t wattHours, TimePoint now)
{
    Advance(now);
    totalEnergy = wattHours;
    remainder = 0;
}

void CMeter::BeginSession(const std::string& marker, TimePoint now)
{
    Advance(now);
    sessionMarker = marker;
    energyAtSessionStart = totalEnergy;
}

void CMeter::EndSession()
{
    sessionMarker.clear();
    energyAtSessionStart = 0;
}

ipc::MMeterData CMeter::Read(TimePoint now)
{
    Advance(now);
    ipc::MMeterData data;
    for (const std::int32_t watts : power)
    {
        data.add_power(watts);
    }
    data.set_session_marker(sessionMarker);
    data.set_total_energy(totalEnergy);
    data.set_energy_at_session_start(energyAtSessionStart);
    return data;
}

void CMeter::Advance(TimePoint now)
{
    // by whole milliseconds only, so that frequent readings lose nothing
    const auto duration = std::chrono::duration_cast<std::chrono::milliseconds>(now - lastAdvance);
    lastAdvance += duration;
    Count(duration * timeFactor);
}

void CMeter::Count(std::chrono::milliseconds duration)
{
    const std::int64_t watts = std::accumulate(power.begin(), power.end(), std::int64_t{0});
    // whole hours apart, so that no power that fits the message leaves the range of 64 bits
    const auto hours = std::chrono::duration_cast<std::chrono::hours>(duration);
    totalEnergy += watts * hours.count();
    remainder += watts * (duration - hours).count();
    totalEnergy += remainder / WattMillisecondsPerWattHour;
    remainder %= WattMillisecondsPerWattHour;
}

} // namespace Simulator
