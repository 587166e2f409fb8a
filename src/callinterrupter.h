#pragma once

#include "platform/rpc/grpcbackend.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

/// Sees to it that stopping the servers ends although a handler waits for a service that does not answer:
/// once the grace time is over, outgoing calls fail for as long as the object lives. Threads: made and
/// destroyed on one; has a thread of its own meanwhile.
class CCallInterrupter
{
public:
    CCallInterrupter(GrpcBackend& transport, std::chrono::milliseconds grace);
    ~CCallInterrupter();
    CCallInterrupter(const CCallInterrupter&) = delete;
    CCallInterrupter& operator=(const CCallInterrupter&) = delete;
    CCallInterrupter(CCallInterrupter&&) = delete;
    CCallInterrupter& operator=(CCallInterrupter&&) = delete;

private:
    void InterruptAfter(std::chrono::milliseconds grace);

    // Constant after construction
    GrpcBackend& transport;

    std::mutex mutex;
    std::condition_variable changed;

    // Guarded by mutex
    bool over = false;

    std::thread thread;
};
