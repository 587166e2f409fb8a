#pragma once

#include "contracts/station.pb.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace Simulator
{

using TimePoint = std::chrono::steady_clock::time_point;

/// A day goes by in a second.
constexpr std::int32_t GreatestTimeFactor = 86400;

/// A meter whose register follows power and time. The time may go faster for it than for others.
/// Threads: one at a time.
class CMeter
{
public:
    explicit CMeter(TimePoint start);

    /// How much faster the time goes from @p now on: 1 at first, up to GreatestTimeFactor, 0 to stand still.
    void SetTimeFactor(std::int32_t factor, TimePoint now);
    std::int32_t TimeFactor() const { return timeFactor; }

    /// Lets this much of the meter's own time go by at once.
    void SkipTime(std::chrono::seconds duration, TimePoint now);

    /// The power from @p now on.
    /// @param watts one value per phase, any number of them
    void SetPower(std::vector<std::int32_t> watts, TimePoint now);

    /// Sets the register.
    void SetTotalEnergy(std::int64_t wattHours, TimePoint now);

    /// @param marker not empty; the register as it stands is the session's start
    void BeginSession(const std::string& marker, TimePoint now);
    void EndSession();
    bool HasSession() const { return !sessionMarker.empty(); }

    ipc::MMeterData Read(TimePoint now);

private:
    void Advance(TimePoint now);
    void Count(std::chrono::milliseconds duration);

    std::vector<std::int32_t> power;
    TimePoint lastAdvance;
    std::int32_t timeFactor = 1;
    std::int64_t totalEnergy = 0;
    /// what has flowed since the last whole watt-hour, in watt-milliseconds
    std::int64_t remainder = 0;
    std::int64_t energyAtSessionStart = 0;
    std::string sessionMarker;
};

} // namespace Simulator
