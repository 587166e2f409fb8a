/// The words of the station: texts for the enumerations of its services, in diagnostics and logs. A number
/// that has no word gives a text too, which each group below names. Threads: any.
#pragma once

#include "contracts/station.pb.h"

#include <optional>
#include <string>

/// "unknown result" for others.
std::string ResultToString(ipc::EResult result);
std::string ResultToString(const ipc::MResult& result);

/// "unknown state" for others.
std::string StateToString(ipc::EState state);
std::string StateToString(const ipc::MState& state);

/// "unknown status" for others.
std::string RelayStatusToString(ipc::ERelayState state);
std::string RelayStatusToString(const ipc::MRelayStatus& status);

/// "unknown status" for others.
std::string McuStatusToString(ipc::EMcuControlState state);
std::string McuStatusToString(const ipc::MMcuStatus& status);

/// The error of the microcontroller; "unknown status" for others.
std::string ErrorToString(ipc::EMcuControlError error);

/// "unknown state" for others.
std::string CpStateToString(ipc::ECpState state);
std::string CpStateToString(const ipc::MCpState& state);

/// "unknown state" for others.
std::string PpStateToString(ipc::EPpState state);
std::string PpStateToString(const ipc::MPpState& state);

/// "ERfidAuthState unknown" for others.
std::string ERfidAuthStateToString(ipc::ERfidAuthState state);

/// "Unknown status" for others. The form that takes the message is among the composed texts of
/// messagetexts.h.
std::string FwUpdateStatusToString(ipc::EFwUpdateStatus status);

/// The name of the enumerator, empty for others.
std::string ConnectorStateToString(ipc::EConnectorState state);
std::string ConnectorStateToString(const ipc::MConnectorState& state);

/// The name of the enumerator, which is also the value of the signal "CurrentControl limiting current
/// source"; "Unknown source" for others.
std::string SourceToString(ipc::ECurrentControlSource source);

/// What the web interface shows for the value of a signal: a word for each text of SourceToString, nothing
/// for any other value, which is shown as it is.
std::optional<std::string> SignalValueToHumanReadableString(const std::string& value);

/// The counters that outlive a restart; "Unknown ID" for others.
std::string PersistentIdToString(ipc::ESignalIdentifier identifier);

/// The events; "UnknownStatus" for others.
std::string EventToString(ipc::ESignalIdentifier identifier);

/// The codes of errors (1000 to 1999) and warnings (10000 and above); "Unspecified" for others.
std::string StatusNotificationIdentifierToInfo(ipc::ESignalIdentifier identifier);
