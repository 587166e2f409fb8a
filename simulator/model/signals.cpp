#include "simulator/model/signals.h"

namespace Simulator
{

ipc::MDiagnosticsSignal EmptySignal(int identifier)
{
    ipc::MDiagnosticsSignal signal;
    signal.set_identifier(static_cast<ipc::ESignalIdentifier>(identifier));
    return signal;
}

int ChangeType(const ipc::MDiagnosticsSignal& signal)
{
    if (signal.data_size() != 1 || signal.data(0).value_case() != ipc::MDiagnosticsData::kBoolValue)
    {
        return 2;
    }
    return signal.data(0).bool_value() ? 0 : 1;
}

void CSignals::Set(const ipc::MDiagnosticsSignal& signal)
{
    signals[signal.identifier()] = signal;
}

void CSignals::Clear(int identifier)
{
    signals.erase(identifier);
}

ipc::MDiagnosticsSignal CSignals::Find(int identifier, const std::vector<ipc::MDiagnosticsSignal>& live) const
{
    const auto all = All(live);
    const auto found = all.find(identifier);
    return found == all.end() ? EmptySignal(identifier) : found->second;
}

ipc::MDiagnosticsSnapshot CSignals::Snapshot(const std::vector<ipc::MDiagnosticsSignal>& live) const
{
    ipc::MDiagnosticsSnapshot snapshot;
    for (const auto& [identifier, signal] : All(live))
    {
        *snapshot.add_signal() = signal;
    }
    return snapshot;
}

std::map<int, ipc::MDiagnosticsSignal> CSignals::All(const std::vector<ipc::MDiagnosticsSignal>& live) const
{
    std::map<int, ipc::MDiagnosticsSignal> all = signals;
    for (const ipc::MDiagnosticsSignal& signal : live)
    {
        all.emplace(signal.identifier(), signal);
    }
    return all;
}

} // namespace Simulator
