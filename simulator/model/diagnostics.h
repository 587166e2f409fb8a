#pragma once

#include "contracts/station.pb.h"
#include "platform/worker/worker.h"
#include "simulator/model/signals.h"

#include <json/value.h>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace Simulator
{

/// Writes a finished freeze frame; its file name, or nothing when that failed.
using FreezeFrameWriter = std::function<std::string(const Json::Value& frame)>;

/// The signals of the station and its freeze frames.
/// Threads: any. The outputs run outside the lock: signal changes on the caller's thread, freeze frames on
/// the worker's.
class CDiagnostics : public std::enable_shared_from_this<CDiagnostics>
{
public:
    using LiveSignals = std::function<std::vector<ipc::MDiagnosticsSignal>()>;

    struct SOutputs
    {
        std::function<void(const ipc::MSignalChange&)> signalChange;
        /// the file name, empty when the frame could not be written
        std::function<void(const std::string&)> freezeFrameDone;
    };

    /// @param liveSignals what the rest of the station says of itself
    CDiagnostics(std::shared_ptr<CWorker> worker,
                 LiveSignals liveSignals,
                 FreezeFrameWriter writeFreezeFrame,
                 SOutputs outputs);

    ipc::MDiagnosticsSignal GetSignal(int identifier) const;
    ipc::MDiagnosticsSnapshot GetSnapshot() const;

    /// The signals that were set or that the station says of itself.
    ipc::MDiagnosticsSnapshot GetKnownSignals() const;

    /// Sets a signal and announces the change.
    /// @param type of the announcement, in place of the one that fits the value
    void SetSignal(const ipc::MDiagnosticsSignal& signal, std::optional<int> type = std::nullopt);

    /// Forgets what was set; the station's own value or the initial one, if there is one, shows again.
    /// Nothing is announced.
    void ClearSignal(int identifier);

    /// Begins a freeze frame. It is written on the worker's thread, and then announced.
    void CreateFreezeFrame(const std::string& reason);

    /// Announces a freeze frame that was never taken.
    void AnnounceFreezeFrame(const std::string& fileName) const;

private:
    void WriteFreezeFrame(const std::string& reason) const;

    // Constant after construction
    const std::shared_ptr<CWorker> worker;
    const LiveSignals liveSignals;
    const FreezeFrameWriter writeFreezeFrame;
    const SOutputs outputs;

    mutable std::mutex mutex;

    // Guarded by mutex
    CSignals signals;
};

} // namespace Simulator
