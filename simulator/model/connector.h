#pragma once

#include "contracts/station.pb.h"

#include <optional>
#include <string>

namespace Simulator
{

/// The connector with its session and reservation.
///
/// A session exists in the states from "plugged in" to "finishing" and in the two of charging. It is
/// authorized in all of them but "plugged in", and stays so. A reservation exists while the state is
/// "reserved", or where it was given. Threads: one at a time.
class CConnector
{
public:
    struct SUpdate
    {
        /// number of ipc::EConnectorState, or one that has no name
        int state = 0;
        /// in place of a made-up one
        std::optional<std::string> sessionId;
        /// in place of what the state says
        std::optional<bool> authorized;
        std::optional<ipc::MConnectorReservation> reservation;
    };

    void Update(const SUpdate& update);

    const ipc::MConnectorInfo& Info() const { return info; }
    int State() const { return info.connector_state(); }

    /// Whether current flows.
    bool IsCharging() const;

private:
    void UpdateSession(const SUpdate& update);

    ipc::MConnectorInfo info = AvailableInfo();
    unsigned sessions = 0;

    static ipc::MConnectorInfo AvailableInfo();
};

} // namespace Simulator
