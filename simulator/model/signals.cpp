#include "simulator/model/signals.h"

#include "contracts/diagnostics/diagnosticsdata.h"
#include "contracts/diagnostics/signalcatalogue.h"

#include <string>
#include <string_view>
#include <variant>

namespace Simulator
{

namespace
{

template <class T>
void AppendInitial(const T& value, ipc::MDiagnosticsSignal& signal)
{
    AppendData(value, signal);
}

void AppendInitial(std::string_view value, ipc::MDiagnosticsSignal& signal)
{
    AppendData(std::string(value), signal);
}

template <class T>
void AppendInitial(const CInitialList<T>& list, ipc::MDiagnosticsSignal& signal)
{
    for (const T& element : list)
    {
        AppendInitial(element, signal);
    }
}

std::map<int, ipc::MDiagnosticsSignal> InitialSignals()
{
    std::map<int, ipc::MDiagnosticsSignal> signals;
    for (const Signals::SDescription& description : Signals::Descriptions())
    {
        ipc::MDiagnosticsSignal signal = EmptySignal(description.identifier);
        std::visit([&signal](const auto& value) { AppendInitial(value, signal); }, description.initialValue);
        signals.emplace(description.identifier, signal);
    }
    return signals;
}

ipc::MDiagnosticsSnapshot ToSnapshot(const std::map<int, ipc::MDiagnosticsSignal>& signals)
{
    ipc::MDiagnosticsSnapshot snapshot;
    for (const auto& [identifier, signal] : signals)
    {
        *snapshot.add_signal() = signal;
    }
    return snapshot;
}

} // namespace

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

CSignals::CSignals()
    : initial(InitialSignals())
{
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
    const Values all = AllValues(live);
    const auto found = all.find(identifier);
    return found == all.end() ? EmptySignal(identifier) : found->second;
}

ipc::MDiagnosticsSnapshot CSignals::Snapshot(const std::vector<ipc::MDiagnosticsSignal>& live) const
{
    return ToSnapshot(AllValues(live));
}

ipc::MDiagnosticsSnapshot CSignals::Known(const std::vector<ipc::MDiagnosticsSignal>& live) const
{
    return ToSnapshot(KnownValues(live));
}

CSignals::Values CSignals::KnownValues(const std::vector<ipc::MDiagnosticsSignal>& live) const
{
    Values known = signals;
    for (const ipc::MDiagnosticsSignal& signal : live)
    {
        known.emplace(signal.identifier(), signal);
    }
    return known;
}

CSignals::Values CSignals::AllValues(const std::vector<ipc::MDiagnosticsSignal>& live) const
{
    Values all = KnownValues(live);
    all.insert(initial.begin(), initial.end());
    return all;
}

} // namespace Simulator
