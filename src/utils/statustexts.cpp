#include "src/utils/statustexts.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace
{

struct SText
{
    int number;
    std::string_view text;
};

constexpr std::array Results{SText{0, "Ok"}, SText{1, "Illegal"}};

constexpr std::array States{SText{0, "Invalid"},
                            SText{1, "Uninitialized"},
                            SText{2, "Disabled"},
                            SText{3, "Enabled"},
                            SText{4, "Error"},
                            SText{5, "FatalError"}};

constexpr std::array RelayStates{SText{0, "Disabled"}, SText{1, "Enabled"}};

constexpr std::array McuStates{SText{0, "Boot"},
                               SText{1, "Disabled"},
                               SText{2, "Enabling"},
                               SText{3, "Enabled"},
                               SText{4, "Disabling"},
                               SText{15, "Error"}};

constexpr std::array McuErrors{SText{0, "EMcuControlErrorNoError"},
                               SText{1, "EMcuControlErrorELD"},
                               SText{2, "EMcuControlErrorRelay"},
                               SText{3, "EMcuControlErrorAda"},
                               SText{4, "EMcuControlErrorWatchdog"},
                               SText{5, "EMcuControlErrorGroundMonitor"},
                               SText{6, "EMcuControlErrorTimeout"},
                               SText{9, "EMcuControlErrorPFD"}};

constexpr std::array CpStates{SText{0, "State A"},
                              SText{1, "State B"},
                              SText{2, "State C"},
                              SText{3, "State D"},
                              SText{4, "State E"},
                              SText{5, "State F"},
                              SText{6, "State Invalid"}};

constexpr std::array PpStates{SText{0, "Disconnect"},
                              SText{1, "13A"},
                              SText{2, "20A"},
                              SText{3, "32A"},
                              SText{4, "63/70A"},
                              SText{5, "Error"},
                              SText{6, "Invalid"}};

constexpr std::array RfidAuthStates{SText{0, "ERfidUidInStandAloneList"},
                                    SText{1, "ERfidAuthDeferred"},
                                    SText{2, "ERfidUidNotInList"},
                                    SText{3, "ERfidUidInvalid"}};

constexpr std::array FwUpdateStatuses{SText{0, "Success"},
                                      SText{1, "Error: Firmware package file does not exist"},
                                      SText{2, "Error: System is not idle"},
                                      SText{3, "Error: Firmware info file is invalid"},
                                      SText{4, "Error: Hardware info file is invalid"},
                                      SText{5, "Error: Unable to save persistent setting"},
                                      SText{6, "Error: Unable to load persistent setting"},
                                      SText{7, "Error: No space available for needed files"},
                                      SText{8, "Error: Firmware package checks or programming failed"},
                                      SText{9, "Error: Firmware image not loaded after programming"},
                                      SText{10, "Error: Internal error"}};

constexpr std::array PersistentCounters{SText{33, "PluginCounter"},
                                        SText{92, "Relay1Counter"},
                                        SText{93, "Relay2Counter"},
                                        SText{94, "TemperatureThresholdViolation"}};

constexpr std::array Events{SText{20000, "FirmwareUpdated"},
                            SText{20001, "SettingSystemTime"},
                            SText{20002, "StartupOfTheDevice"},
                            SText{20003, "ResetOrReboot"},
                            SText{20004, "SecurityLogWasCleared"},
                            SText{20005, "MemoryExhaustion"},
                            SText{20006, "TamperDetectionActivated"},
                            SText{20007, "Recommissioned"},
                            SText{20300, "CentralSystemFailedToAuthenticate"},
                            SText{20301, "ReconfigurationOfSecurityParameters"},
                            SText{20302, "InvalidMessages"},
                            SText{20303, "InvalidCentralSystemCertificate"},
                            SText{20304, "InvalidTLSVersion"},
                            SText{20305, "FactoryReset"},
                            SText{20500, "ReconfigurationOfParameter"},
                            SText{20501, "SessionStatusChanged"},
                            SText{20502, "UserActionPerformed"},
                            SText{20503, "ConnectivityChanged"}};

constexpr std::array StatusNotifications{SText{1000, "LockErr"},
                                         SText{1001, "RelayOpErr"},
                                         SText{1002, "StateE"},
                                         SText{1003, "PpErr"},
                                         SText{1004, "CpLowErr"},
                                         SText{1005, "EvCd1Timeout"},
                                         SText{1006, "EvCpSyncErr"},
                                         SText{1050, "FastReadStartErr"},
                                         SText{1051, "SlowReadStartErr"},
                                         SText{1052, "RelayCloseErr"},
                                         SText{1053, "RelayOpenErr"},
                                         SText{1054, "SmcuCommInitErr"},
                                         SText{1055, "SmcuCommTermErr"},
                                         SText{1056, "CommIDErr"},
                                         SText{1057, "EldErr"},
                                         SText{1058, "RelayErr"},
                                         SText{1059, "HighTemp"},
                                         SText{1060, "SmcuWdg"},
                                         SText{1061, "GndErr"},
                                         SText{1062, "SmcuTimeout"},
                                         SText{1063, "SmcuLinkTimeout"},
                                         SText{1064, "SmcuLostComm"},
                                         SText{1065, "PfdErr"},
                                         SText{1100, "ProcInitFail"},
                                         SText{1102, "ProcCrash"},
                                         SText{1103, "ChargeGroupEnFail"},
                                         SText{1104, "SysFatalErr"},
                                         SText{1105, "SysConfValueErr"},
                                         SText{1252, "CableRatingExceeded"},
                                         SText{1254, "InstallLimExceeded"},
                                         SText{1255, "PhysLimExceeded"},
                                         SText{1256, "VDEARN4100LimExceeded"},
                                         SText{10000, "CpoCommLost"},
                                         SText{10001, "OcppMsgStorFull"},
                                         SText{10002, "CpoDnsQueryFail"},
                                         SText{10100, "NotCommissioned"},
                                         SText{10101, "NandLow"},
                                         SText{10102, "ScndFwBooted"},
                                         SText{10103, "ScndBLBooted"},
                                         SText{10104, "RcvyBLBooted"},
                                         SText{10250, "ThermalDeratingLim"},
                                         SText{10251, "LoadBalCommFail"},
                                         SText{10260, "CTL1Implausible"},
                                         SText{10261, "CTL2Implausible"},
                                         SText{10262, "CTL3Implausible"},
                                         SText{10263, "HomeWizardUnavail"},
                                         SText{10264, "SmartMeterUnsupp"},
                                         SText{10265, "P1ExtInstallFail"},
                                         SText{10266, "UVL1"},
                                         SText{10267, "UVL2"},
                                         SText{10268, "UVL3"},
                                         SText{10269, "OVL1"},
                                         SText{10270, "OVL2"},
                                         SText{10271, "OVL3"},
                                         SText{10272, "ModbusConnFail"},
                                         SText{10273, "ModbusReadFail"},
                                         SText{10300, "LTERoamDisabled"},
                                         SText{10301, "TimeNotSync"},
                                         SText{10302, "NtpDnsFail"},
                                         SText{10303, "ModemInitFail"},
                                         SText{10304, "SimReadFail"},
                                         SText{10305, "SimPinFail"},
                                         SText{10306, "ModemFatalErr"},
                                         SText{10307, "NbioTActive"}};

struct SSource
{
    int number;
    std::string_view text;
    std::string_view humanText;
};

/// The cable limits twice over: the station's own and the user's.
constexpr std::array Sources{SSource{1, "ECurrentControlFixedCable", "Charging cable"},
                             SSource{2, "ECurrentControlThermal", "Overtemperature"},
                             SSource{3, "ECurrentControlConfigurationLimit", "Installation limit"},
                             SSource{4, "ECurrentControlBop", "Dynamic load balancing"},
                             SSource{5, "ECurrentControlLoadBal", "Group load balancing"},
                             SSource{6, "ECurrentControlUserCable", "Charging cable"},
                             SSource{7, "ECurrentControlOvercurrentProtection", "Overcurrent protection"},
                             SSource{8, "ECurrentControlHardwareLimit", "Hardware limitation"},
                             SSource{9, "ECurrentControlPowerFactor", "Power factor"},
                             SSource{10, "ECurrentControlOcppSmartCharging", "OCPP smart charging"},
                             SSource{11, "ECurrentControlVDEPhaseImbalance", "Phase imbalance"},
                             SSource{12, "ECurrentControlLocalScheduledCharging", "Local scheduled charging"},
                             SSource{13, "ECurrentControlSolarCharging", "Solar charging"},
                             SSource{14, "ECurrentControlUserLimitCurrent", "Current limiter"}};

template <class Row, std::size_t Size>
std::string TextOf(const std::array<Row, Size>& table, int number, std::string_view otherwise)
{
    const auto* const row =
        std::find_if(table.begin(), table.end(), [&](const Row& each) { return each.number == number; });
    return std::string(row == table.end() ? otherwise : row->text);
}

} // namespace

std::string ResultToString(ipc::EResult result)
{
    return TextOf(Results, result, "unknown result");
}

std::string ResultToString(const ipc::MResult& result)
{
    return ResultToString(result.status());
}

std::string StateToString(ipc::EState state)
{
    return TextOf(States, state, "unknown state");
}

std::string StateToString(const ipc::MState& state)
{
    return StateToString(state.state());
}

std::string RelayStatusToString(ipc::ERelayState state)
{
    return TextOf(RelayStates, state, "unknown status");
}

std::string RelayStatusToString(const ipc::MRelayStatus& status)
{
    return RelayStatusToString(status.status());
}

std::string McuStatusToString(ipc::EMcuControlState state)
{
    return TextOf(McuStates, state, "unknown status");
}

std::string McuStatusToString(const ipc::MMcuStatus& status)
{
    return McuStatusToString(status.status());
}

std::string ErrorToString(ipc::EMcuControlError error)
{
    return TextOf(McuErrors, error, "unknown status");
}

std::string CpStateToString(ipc::ECpState state)
{
    return TextOf(CpStates, state, "unknown state");
}

std::string CpStateToString(const ipc::MCpState& state)
{
    return CpStateToString(state.state());
}

std::string PpStateToString(ipc::EPpState state)
{
    return TextOf(PpStates, state, "unknown state");
}

std::string PpStateToString(const ipc::MPpState& state)
{
    return PpStateToString(state.state());
}

std::string ERfidAuthStateToString(ipc::ERfidAuthState state)
{
    return TextOf(RfidAuthStates, state, "ERfidAuthState unknown");
}

std::string FwUpdateStatusToString(ipc::EFwUpdateStatus status)
{
    return TextOf(FwUpdateStatuses, status, "Unknown status");
}

std::string ConnectorStateToString(ipc::EConnectorState state)
{
    return ipc::EConnectorState_Name(state);
}

std::string ConnectorStateToString(const ipc::MConnectorState& state)
{
    return ConnectorStateToString(state.state());
}

std::string SourceToString(ipc::ECurrentControlSource source)
{
    return TextOf(Sources, source, "Unknown source");
}

std::optional<std::string> SignalValueToHumanReadableString(const std::string& value)
{
    const auto* const row =
        std::find_if(Sources.begin(), Sources.end(), [&](const SSource& each) { return each.text == value; });
    return row == Sources.end() ? std::nullopt : std::optional(std::string(row->humanText));
}

std::string PersistentIdToString(ipc::ESignalIdentifier identifier)
{
    return TextOf(PersistentCounters, identifier, "Unknown ID");
}

std::string EventToString(ipc::ESignalIdentifier identifier)
{
    return TextOf(Events, identifier, "UnknownStatus");
}

std::string StatusNotificationIdentifierToInfo(ipc::ESignalIdentifier identifier)
{
    return TextOf(StatusNotifications, identifier, "Unspecified");
}
