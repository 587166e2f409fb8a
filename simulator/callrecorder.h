#pragma once

#include "simulator/operations.h"
#include "simulator/utctime.h"

#include <json/value.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace Simulator
{

/// A call that arrived at one of the services.
struct SCall
{
    /// 1 for the first call since the start, then counting on
    std::uint64_t number = 0;
    std::string_view service;
    std::string_view operation;
    Json::Value request;
    std::chrono::system_clock::time_point time;
};

/// Which calls a reader wants: an empty name stands for any.
struct SCallFilter
{
    std::uint64_t after = 0;
    std::string service;
    std::string operation;
};

/// The calls that arrived, in order. Keeps the latest ten thousand.
/// Threads: any.
class CCallRecorder
{
public:
    explicit CCallRecorder(UtcSource utcNow);

    void Add(const SOperation& operation, Json::Value request);

    std::vector<SCall> Find(const SCallFilter& filter) const;

    /// Waits until at least @p count calls match, for at most @p limit, and gives what matches then.
    std::vector<SCall>
    WaitFor(const SCallFilter& filter, std::size_t count, std::chrono::milliseconds limit) const;

    /// Number of the last call, 0 before the first.
    std::uint64_t LastNumber() const;

    /// Forgets the calls; their numbers go on.
    void Clear();

    /// Lets waiting readers go, now and from now on.
    void EndWaiting();

private:
    std::vector<SCall> Matching(const SCallFilter& filter) const;

    // Constant after construction
    const UtcSource utcNow;

    mutable std::mutex mutex;
    mutable std::condition_variable changed;

    // Guarded by mutex
    std::deque<SCall> calls;
    std::uint64_t lastNumber = 0;
    bool isWaitingEnded = false;
};

/// {"Number", "Service", "Operation", "Request", "Time"}
Json::Value ToJson(const SCall& call);

} // namespace Simulator
