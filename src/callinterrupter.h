#pragma once

#include "platform/rpc/grpcbackend.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

/// Sees to it that stopping servers and components ends although they wait for a service that does not
/// answer: once the grace time is over, outgoing calls fail for as long as the object lives, and so does what
/// else handlers may wait for. Threads: made and destroyed on one; has a thread of its own meanwhile.
class CCallInterrupter
{
public:
    /// @param endWaits     ends the waits that are no calls; runs on the object's thread before calls fail
    /// @param resumeWaits  allows them again; runs when the object goes
    CCallInterrupter(GrpcBackend& transport,
                     std::chrono::milliseconds grace,
                     std::function<void()> endWaits,
                     std::function<void()> resumeWaits);
    ~CCallInterrupter();
    CCallInterrupter(const CCallInterrupter&) = delete;
    CCallInterrupter& operator=(const CCallInterrupter&) = delete;
    CCallInterrupter(CCallInterrupter&&) = delete;
    CCallInterrupter& operator=(CCallInterrupter&&) = delete;

private:
    void InterruptAfter(std::chrono::milliseconds grace);

    // Constant after construction
    GrpcBackend& transport;
    const std::function<void()> endWaits;
    const std::function<void()> resumeWaits;

    std::mutex mutex;
    std::condition_variable changed;

    // Guarded by mutex
    bool over = false;

    std::thread thread;
};
