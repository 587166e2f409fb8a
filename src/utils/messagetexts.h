/// Messages of the station's services as texts, for diagnostics and logs, and the conversions of its time
/// stamps. Threads: any.
#pragma once

#include "contracts/station.pb.h"

#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <string>

/// The status and, of a success, both firmwares: "Success, old FW: 1.0, new FW: 1.1".
std::string FwUpdateStatusToString(const ipc::MFwUpdateStatus& status);

/// "Session Id: 5, Authorized: true"
std::string ConnectorSessionToString(const ipc::MConnectorSession& session);

/// "Reservation Id: 5, Expiration Date: 2030-01-01T00:00:00Z, Id Token: 04AABB"
std::string ConnectorReservationToString(const ipc::MConnectorReservation& reservation);

/// "State: NAME, Session Info: (SESSION), Reservation Info: (RESERVATION)"; an absent part is printed as an
/// empty one.
std::string ConnectorInfoToString(const ipc::MConnectorInfo& info);

/// The firmware of the safety microcontroller: the hash in lower-case hexadecimal, and " - dirty" if it was
/// built from changed sources.
std::string SmcuHashToString(std::uint64_t hash, bool dirty);

/// The time stamp must lie within the 292 years around 1970 that the clock can tell.
std::chrono::system_clock::time_point ToSystemClock(const ipc::MTimestamp& timestamp);

/// What is below a microsecond is cut off. Before 1970 the microseconds are negative, unlike what
/// ToSystemClock takes.
ipc::MTimestamp ToTimestamp(std::chrono::system_clock::time_point time);

namespace ipc
{

/// The value as the stream prints its kind; nothing for a 64-bit integer and for no value.
std::ostream& operator<<(std::ostream& stream, const MDiagnosticsData& data);

/// One value alone, several as "[1, 2]".
std::ostream& operator<<(std::ostream& stream, const MDiagnosticsSignal& signal);

/// Local time, "2024-05-01T14:00:00.000250+0200".
/// @throws fmt::format_error "time_t value out of range" if there is no such year
std::ostream& operator<<(std::ostream& stream, const MTimestamp& timestamp);

} // namespace ipc
