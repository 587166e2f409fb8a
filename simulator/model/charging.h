#pragma once

#include "contracts/station.pb.h"
#include "simulator/model/connector.h"
#include "simulator/model/currentlimits.h"
#include "simulator/model/meter.h"

#include <json/value.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

namespace Simulator
{

/// The charging side of the station: connector, meter and current limits, and how they hang together.
///
/// Power flows in the two states of charging: what the vehicle demands on each phase, bounded by the least
/// limit. The meter holds a session while the connector has one. Threads: any. The output runs on the
/// caller's thread and outside the lock.
class CCharging
{
public:
    using TimeSource = std::function<TimePoint()>;
    using Output = std::function<void(const ipc::MConnectorState&)>;

    CCharging(TimeSource now, Output connectorState);

    /// Sets the connector and reports its state, even if it is the one that it had.
    void SetConnector(const CConnector::SUpdate& update);
    ipc::MConnectorInfo ConnectorInfo() const;
    bool IsCharging() const;

    /// What the vehicle takes if it may.
    /// @param watts one value per phase; as many as the meter has
    void SetDemand(std::vector<std::int32_t> watts);
    void SetTotalEnergy(std::int64_t wattHours);
    ipc::MMeterData MeterData();

    /// As the meter's.
    void SetTimeFactor(std::int32_t factor);
    std::int32_t TimeFactor() const;
    void SkipTime(std::chrono::seconds duration);

    /// @param source number of ipc::ECurrentControlSource
    /// @return false, and nothing changed, for a source that can't be set
    bool SetLimit(int source, std::uint32_t milliamperes);
    bool ClearLimit(int source);

    /// The diagnostics signals that follow the charge, with their present values.
    std::vector<ipc::MDiagnosticsSignal> Signals();

    /// {"Connector", "Meter", "Limits"}
    Json::Value ToJson();

private:
    void UpdatePower();
    std::vector<std::int32_t> PresentPower() const;

    // Constant after construction
    const TimeSource now;
    const Output connectorState;

    mutable std::mutex mutex;

    // Guarded by mutex
    CConnector connector;
    CMeter meter;
    CCurrentLimits limits;
    std::vector<std::int32_t> demand;
};

} // namespace Simulator
