#pragma once

#include "simulator/utctime.h"

#include <json/value.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>

namespace Simulator
{

/// What the process has reported to its controller. Keeps the latest thousand states.
/// Threads: any.
class CControllerRecord
{
public:
    /// What a reader waits for; all that is given must hold.
    struct SCondition
    {
        /// a state was reported with a number above this
        std::optional<std::uint64_t> after;
        /// and it was this one; without a number, the process is in this state now
        std::optional<int> state;
        /// at least so many alive signals have come
        std::uint64_t alive = 0;
        /// the process is, or is not, connected
        std::optional<bool> isConnected;
    };

    explicit CControllerRecord(UtcSource utcNow);

    void AddState(int state);
    void AddAlive();
    void SetDisconnected();

    /// Waits until the condition holds, for at most @p limit.
    void WaitFor(const SCondition& condition, std::chrono::milliseconds limit) const;

    /// {"Connected", "State" (null while not connected), "States": [{"Number", "State", "Time"}], "Alive":
    /// {"Count", "Time"}}
    /// @param after the states with numbers above this
    Json::Value ToJson(std::uint64_t after) const;

    /// Lets waiting readers go, now and from now on.
    void EndWaiting();

private:
    struct SReport
    {
        std::uint64_t number;
        int state;
        std::chrono::system_clock::time_point time;
    };

    bool Holds(const SCondition& condition) const;
    bool IsStateReached(const SCondition& condition) const;

    // Constant after construction
    const UtcSource utcNow;

    mutable std::mutex mutex;
    mutable std::condition_variable changed;

    // Guarded by mutex
    std::deque<SReport> reports;
    std::uint64_t lastNumber = 0;
    std::optional<int> presentState;
    std::uint64_t aliveCount = 0;
    std::optional<std::chrono::system_clock::time_point> lastAlive;
    bool isWaitingEnded = false;
};

} // namespace Simulator
