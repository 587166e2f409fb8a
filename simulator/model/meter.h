#pragma once

#include "contracts/station.pb.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace Simulator
{

using TimePoint = std::chrono::steady_clock::time_point;

/// A meter whose register follows power and time.
/// Threads: one at a time.
class CMeter
{
public:
    explicit CMeter(TimePoint start);

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

    std::vector<std::int32_t> power;
    TimePoint lastAdvance;
    std::int64_t totalEnergy = 0;
    /// what has flowed since the last whole watt-hour, in watt-milliseconds
    std::int64_t remainder = 0;
    std::int64_t energyAtSessionStart = 0;
    std::string sessionMarker;
};

} // namespace Simulator
