#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>

class IDiagnostics;

namespace Toolbox
{
class CInterruption;
}

/// Has the Diagnostics service take freeze frames, dated records of the station's present state, and waits
/// for each. Threads: any. One freeze frame at a time: the callers after the first are turned away until it
/// is done.
class CFreezeFrames
{
public:
    /// Waits until the file name is there. @return false if it is not there in the time
    using Wait =
        std::function<bool(const std::future<std::string>& fileName, std::chrono::nanoseconds longest)>;

    /// @param interruption  ends the freeze frame that is under way, and those to come while it lasts; the
    /// object needs it for as long as it lives
    CFreezeFrames(std::shared_ptr<IDiagnostics> diagnostics, Toolbox::CInterruption& interruption, Wait wait);

    /// The same on the steady clock.
    CFreezeFrames(std::shared_ptr<IDiagnostics> diagnostics, Toolbox::CInterruption& interruption);

    /// Returns when the freeze frame is done, when the service refuses it or can't be reached, or after 10
    /// seconds; the log tells which.
    /// @throws std::future_error if another one is under way, which is not disturbed
    /// @throws Rpc::CommunicationException if it is interrupted. Whoever lets the service's call fail at the
    /// same time interrupts first: the call counts as refused otherwise.
    void Create(const std::string& reason);

private:
    using Promise = std::promise<std::string>;
    class CTurn;

    bool Request(const std::string& reason);

    // Constant after construction
    const std::shared_ptr<IDiagnostics> diagnostics;
    Toolbox::CInterruption& interruption;
    const Wait wait;

    std::mutex mutex;

    // Guarded by mutex. Each freeze frame leaves a fresh promise behind: a notification that comes late falls
    // on one that nobody waits for.
    std::shared_ptr<Promise> promise;
};
