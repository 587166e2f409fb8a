#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>

/// The clocks of webbackend_with_clock_state, in a file that the process and the test map. They stand still
/// until the test writes other times. Times are in nanoseconds since the clocks' epochs.
struct SSteppedTime
{
    /// What a thread that waits for no time, or has ended, waits for.
    static constexpr std::int64_t Never = std::numeric_limits<std::int64_t>::max();
    /// What a thread that runs waits for.
    static constexpr std::int64_t Past = std::numeric_limits<std::int64_t>::min();
    static constexpr std::size_t MostThreads = 512;

    /// std::chrono::system_clock and steady_clock
    std::atomic<std::int64_t> systemTime;
    std::atomic<std::int64_t> steadyTime;

    /// For each thread of the process that has ever waited for a point of the steady clock, which point it
    /// waits for now.
    std::atomic<std::size_t> threadCount;
    std::array<std::atomic<std::int64_t>, MostThreads> awaited;
};

static_assert(std::atomic<std::int64_t>::is_always_lock_free, "it is shared between processes");
