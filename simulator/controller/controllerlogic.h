#pragma once

#include <chrono>
#include <optional>

namespace Simulator
{

/// What the controller can ask of the process.
enum class ERequest
{
    Disable,
    Enable
};

/// What the controller does to bring the process to "Enabled", by the states that it reports.
///
/// A process that reports "Uninitialized" is disabled, one that reports "Disabled" enabled. After an error it
/// is enabled only after a pause, which doubles with each error until the process has been enabled; a refused
/// request is repeated in the same way. Threads: one at a time.
class CControllerLogic
{
public:
    struct SPlan
    {
        ERequest request;
        std::chrono::milliseconds pause;

        bool operator==(const SPlan& other) const { return request == other.request && pause == other.pause; }
    };

    /// @param firstPause after the first error
    explicit CControllerLogic(std::chrono::milliseconds firstPause);

    /// The process reported a state. A plan made before is void.
    std::optional<SPlan> StateReported(int newState);

    /// A request was refused or failed. It counts only while the state still wants it.
    std::optional<SPlan> RequestFailed(ERequest request);

    /// The process is gone.
    void Disconnected();

    /// What is to be done in the present state, e.g. when the controller takes over.
    std::optional<SPlan> PresentPlan() const;

private:
    std::chrono::milliseconds Pause() const;

    // Constant after construction
    const std::chrono::milliseconds firstPause;

    std::optional<int> state;
    unsigned failures = 0;
};

} // namespace Simulator
