#include "src/utils/messagetexts.h"

#include "src/utils/statustexts.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <ostream>

using std::chrono::duration_cast;
using std::chrono::microseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using std::chrono::system_clock;

std::string FwUpdateStatusToString(const ipc::MFwUpdateStatus& status)
{
    const std::string text = FwUpdateStatusToString(status.status());
    if (status.status() != ipc::EFwUpdateStatusSuccess)
    {
        return text;
    }
    return fmt::format("{}, old FW: {}, new FW: {}",
                       text,
                       status.old_firmware_identifier(),
                       status.new_firmware_identifier());
}

std::string ConnectorSessionToString(const ipc::MConnectorSession& session)
{
    return fmt::format("Session Id: {}, Authorized: {}", session.session_id(), session.authorized());
}

std::string ConnectorReservationToString(const ipc::MConnectorReservation& reservation)
{
    return fmt::format("Reservation Id: {}, Expiration Date: {}, Id Token: {}",
                       reservation.reservation_id(),
                       reservation.expiry_date(),
                       reservation.id_token());
}

std::string ConnectorInfoToString(const ipc::MConnectorInfo& info)
{
    return fmt::format("State: {}, Session Info: ({}), Reservation Info: ({})",
                       ConnectorStateToString(info.connector_state()),
                       ConnectorSessionToString(info.session()),
                       ConnectorReservationToString(info.reservation()));
}

std::string SmcuHashToString(std::uint64_t hash, bool dirty)
{
    return fmt::format("{:x}{}", hash, dirty ? " - dirty" : "");
}

system_clock::time_point ToSystemClock(const ipc::MTimestamp& timestamp)
{
    const nanoseconds whole = seconds(timestamp.seconds());
    const nanoseconds rest = microseconds(timestamp.microseconds());
    return system_clock::time_point(
        duration_cast<system_clock::duration>(timestamp.seconds() < 0 ? whole - rest : whole + rest));
}

ipc::MTimestamp ToTimestamp(system_clock::time_point time)
{
    const nanoseconds sinceEpoch = time.time_since_epoch();
    const auto whole = duration_cast<seconds>(sinceEpoch);
    ipc::MTimestamp timestamp;
    timestamp.set_seconds(whole.count());
    timestamp.set_microseconds(
        static_cast<std::int32_t>(duration_cast<microseconds>(sinceEpoch - whole).count()));
    return timestamp;
}

std::ostream& ipc::operator<<(std::ostream& stream, const MDiagnosticsData& data)
{
    switch (data.value_case())
    {
    case MDiagnosticsData::kBoolValue:
        return stream << data.bool_value();
    case MDiagnosticsData::kIntValue:
        return stream << data.int_value();
    case MDiagnosticsData::kUintValue:
        return stream << data.uint_value();
    case MDiagnosticsData::kFloatValue:
        return stream << data.float_value();
    case MDiagnosticsData::kStringValue:
        return stream << data.string_value();
    default:
        return stream;
    }
}

std::ostream& ipc::operator<<(std::ostream& stream, const MDiagnosticsSignal& signal)
{
    if (signal.data_size() == 1)
    {
        return stream << signal.data(0);
    }
    const char* separator = "[";
    for (const MDiagnosticsData& data : signal.data())
    {
        stream << separator << data;
        separator = ", ";
    }
    return signal.data().empty() ? stream : stream << "]";
}

std::ostream& ipc::operator<<(std::ostream& stream, const MTimestamp& timestamp)
{
    return stream << fmt::format("{0:%Y-%m-%dT%H:%M:%S}.{1:06d}{0:%z}",
                                 fmt::localtime(timestamp.seconds()),
                                 timestamp.microseconds());
}
