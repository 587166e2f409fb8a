#include "simulator/model/diagnostics.h"

#include "simulator/messagejson.h"

#include <utility>

namespace Simulator
{

CDiagnostics::CDiagnostics(std::shared_ptr<CWorker> worker,
                           LiveSignals liveSignals,
                           FreezeFrameWriter writeFreezeFrame,
                           SOutputs outputs)
    : worker(std::move(worker))
    , liveSignals(std::move(liveSignals))
    , writeFreezeFrame(std::move(writeFreezeFrame))
    , outputs(std::move(outputs))
{
}

ipc::MDiagnosticsSignal CDiagnostics::GetSignal(int identifier) const
{
    const auto live = liveSignals();
    const std::lock_guard lock(mutex);
    return signals.Find(identifier, live);
}

ipc::MDiagnosticsSnapshot CDiagnostics::GetSnapshot() const
{
    const auto live = liveSignals();
    const std::lock_guard lock(mutex);
    return signals.Snapshot(live);
}

ipc::MDiagnosticsSnapshot CDiagnostics::GetKnownSignals() const
{
    const auto live = liveSignals();
    const std::lock_guard lock(mutex);
    return signals.Known(live);
}

void CDiagnostics::SetSignal(const ipc::MDiagnosticsSignal& signal, std::optional<int> type)
{
    {
        const std::lock_guard lock(mutex);
        signals.Set(signal);
    }
    ipc::MSignalChange change;
    *change.mutable_signal() = signal;
    change.mutable_type()->set_type(type.value_or(ChangeType(signal)));
    outputs.signalChange(change);
}

void CDiagnostics::ClearSignal(int identifier)
{
    const std::lock_guard lock(mutex);
    signals.Clear(identifier);
}

void CDiagnostics::CreateFreezeFrame(const std::string& reason)
{
    worker->NonBlockingCall(
        [weak = weak_from_this(), reason]
        {
            if (const auto self = weak.lock())
            {
                self->WriteFreezeFrame(reason);
            }
        });
}

void CDiagnostics::AnnounceFreezeFrame(const std::string& fileName) const
{
    outputs.freezeFrameDone(fileName);
}

void CDiagnostics::WriteFreezeFrame(const std::string& reason) const
{
    Json::Value frame;
    frame["Reason"] = reason;
    frame["Signals"] = ToJson(GetSnapshot());
    outputs.freezeFrameDone(writeFreezeFrame(frame));
}

} // namespace Simulator
