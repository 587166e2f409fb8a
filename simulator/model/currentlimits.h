#pragma once

#include <cstdint>
#include <map>

namespace Simulator
{

/// The current limits of all sources, of which the least holds.
/// Threads: one at a time.
class CCurrentLimits
{
public:
    struct SLimit
    {
        /// number of ipc::ECurrentControlSource; of equal limits the lowest
        int source;
        std::uint32_t milliamperes;
    };

    /// @param hardwareLimit in milliamperes; the station's own, always there
    explicit CCurrentLimits(std::uint32_t hardwareLimit);

    /// @return false, and nothing changed, for a source that does not exist or is the hardware's
    bool Set(int source, std::uint32_t milliamperes);

    /// Removes the limit of a source, if it has one.
    /// @return as Set
    bool Clear(int source);

    SLimit Least() const;

    /// Limits in milliamperes by source.
    const std::map<int, std::uint32_t>& All() const { return limits; }

private:
    std::map<int, std::uint32_t> limits;
};

} // namespace Simulator
