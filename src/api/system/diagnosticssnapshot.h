#pragma once

#include <json/value.h>

#include <memory>

class IDiagnostics;

/// The short view of the station's diagnostics in the web interface.
class IDiagnosticsSnapshot
{
public:
    IDiagnosticsSnapshot() = default;
    virtual ~IDiagnosticsSnapshot() = default;
    IDiagnosticsSnapshot(const IDiagnosticsSnapshot&) = delete;
    IDiagnosticsSnapshot& operator=(const IDiagnosticsSnapshot&) = delete;
    IDiagnosticsSnapshot(IDiagnosticsSnapshot&&) = delete;
    IDiagnosticsSnapshot& operator=(IDiagnosticsSnapshot&&) = delete;

    /// {"Signals": [{"Identifier": integer, "Value": [text], "Unit": [text]}, ...]}, always the same signals
    /// in the same order. Value and Unit have one text for each value of the signal, and are absent if it has
    /// none. A signal that still has its initial value shows one "N/A" without a unit.
    /// @throws Rpc::CommunicationException if the service can't be reached
    /// @throws std::out_of_range "map::at" if the service answers with a signal that the catalogue doesn't
    /// have
    virtual Json::Value ConstructDiagnosticsDataMessage() = 0;
};

/// Reads the signals from the service, one call for each.
/// Threads: any.
class CDiagnosticsSnapshot : public IDiagnosticsSnapshot
{
public:
    explicit CDiagnosticsSnapshot(std::shared_ptr<IDiagnostics> diagnostics);

    Json::Value ConstructDiagnosticsDataMessage() override;

private:
    // Constant after construction
    const std::shared_ptr<IDiagnostics> diagnostics;
};
