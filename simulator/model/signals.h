#pragma once

#include "contracts/station.pb.h"

#include <map>
#include <optional>
#include <vector>

namespace Simulator
{

/// Numbers of the signals that the station itself keeps up to date.
namespace SignalNumbers
{

constexpr int CurrentSetpoint = 31;
constexpr int LifetimeEnergy = 50;
constexpr int MeterCurrent = 52;
constexpr int MeterVoltage = 53;
constexpr int MeterPower = 54;
constexpr int LteSignalStrength = 127;
constexpr int WlanSignalStrength = 128;
constexpr int LimitingSource = 142;

} // namespace SignalNumbers

/// A signal without values.
ipc::MDiagnosticsSignal EmptySignal(int identifier);

/// The number with which a change to this signal is announced: 0 for a flag that came up, 1 for one that
/// went, 2 for every other value.
int ChangeType(const ipc::MDiagnosticsSignal& signal);

/// The values of the station's signals. Each has the first of: what was set by hand or sent by a process,
/// what the station says of itself, and its initial value, if it is in the catalogue. Threads: one at a time.
class CSignals
{
public:
    CSignals();

    void Set(const ipc::MDiagnosticsSignal& signal);
    void Clear(int identifier);

    /// @param live what the station says
    /// @return a signal without values for an unknown number
    ipc::MDiagnosticsSignal Find(int identifier, const std::vector<ipc::MDiagnosticsSignal>& live) const;

    /// All signals by number.
    ipc::MDiagnosticsSnapshot Snapshot(const std::vector<ipc::MDiagnosticsSignal>& live) const;

    /// Those that have more than an initial value.
    ipc::MDiagnosticsSnapshot Known(const std::vector<ipc::MDiagnosticsSignal>& live) const;

private:
    using Values = std::map<int, ipc::MDiagnosticsSignal>;

    Values KnownValues(const std::vector<ipc::MDiagnosticsSignal>& live) const;
    Values AllValues(const std::vector<ipc::MDiagnosticsSignal>& live) const;

    const Values initial;
    Values signals;
};

} // namespace Simulator
