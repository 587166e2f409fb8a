#pragma once

#include "platform/worker/worker.h"
#include "simulator/steering/steering.h"

#include <json/value.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace Simulator
{

/// One steering request of a script.
struct SScriptStep
{
    /// after the step before, or after the start
    std::chrono::milliseconds after{0};
    std::string path;
    std::string body;
};

/// Reads a script: a JSON array of {"After": seconds, "Post": path, "Body": object or absent}.
/// @throws std::runtime_error that names file, step and reason if it can't be read, or a step's path is not
/// known
std::vector<SScriptStep> ReadScript(const std::string& path, const CSteering& steering);

/// Runs the steps of a script one after the other, on a thread of its own. A step that is answered with an
/// error is logged, and the script goes on. Threads: Start and Stop on one.
class CScript
{
public:
    /// @param steering outlives this object
    CScript(std::vector<SScriptStep> steps, const CSteering& steering);

    /// Stops.
    ~CScript();
    CScript(const CScript&) = delete;
    CScript& operator=(const CScript&) = delete;
    CScript(CScript&&) = delete;
    CScript& operator=(CScript&&) = delete;

    void Start();

    /// Waits for the step under way.
    void Stop();

private:
    void PlanNext();
    void RunNext();

    // Constant after construction
    const std::vector<SScriptStep> steps;
    const CSteering& steering;

    // Touched by Start and then by the worker's thread
    std::size_t next = 0;
    std::chrono::steady_clock::time_point due;
    std::shared_ptr<CWorkerCall> planned;

    CWorker worker;
};

} // namespace Simulator
