#include "contracts/diagnostics/signalcatalogue.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>

namespace Signals
{

namespace
{

/// The definitions of one type: identifier, description, initial value, unit.
template <class T, std::size_t Size>
using Table = std::array<CSignalDefinition<T>, Size>;

/// One value for each of three phases.
template <class T>
constexpr CInitialList<T> NothingMeasured{T{-1000}, T{-1000}, T{-1000}};

// clang-format off
constexpr Table<bool, 85> Bools{{
    {11, "ADAC CP low state", false, ""},
    {32, "Socket lock state", false, ""},
    {44, "Mains lost", false, ""},
    {56, "Meter energy direction", true, ""},
    {57, "The synchronization status of the system clock.", false, ""},
    {58, "The error status of the meter IC checksum (CRC) register.", false, ""},
    {86, "SafetyMcu gound monitor Ok", true, ""},
    {112, "Buzzer state", false, ""},
    {120, "LTE link state", false, ""},
    {121, "WLAN link state", false, ""},
    {122, "AP link state", false, ""},
    {123, "Eth state", false, ""},
    {124, "PLC link state", false, ""},
    {151, "Dynamic group load balancing enabled", false, ""},
    {183, "Authorization status", false, ""},
    {1000, "ChargeControl Socket Error", false, ""},
    {1001, "ChargeControl Relay Error", false, ""},
    {1002, "ChargeControl CP short", false, ""},
    {1003, "ChargeControl Pp Error", false, ""},
    {1004, "ChargeControl Cp Low Error", false, ""},
    {1005, "ChargeControl Ev Timeout Error", false, ""},
    {1006, "ChargeControl Cp out of sync with Smcu Error", false, ""},
    {1050, "SafetyMcuComm Fast Read Start Error.", false, ""},
    {1051, "SafetyMcuComm Slow Read Start Error", false, ""},
    {1052, "SafetyMcuComm Relay Close Error", false, ""},
    {1053, "SafetyMcuComm Relay Open Error", false, ""},
    {1054, "SafetyMcuComm Modbus Initialization Error", false, ""},
    {1055, "SafetyMcuComm Modbus Termination Error", false, ""},
    {1056, "SafetyMcuComm ID Read Error", false, ""},
    {1057, "The ELD component in safety mcu detected an error", false, ""},
    {1058, "The relay component in safety mcu detected an error.", false, ""},
    {1059, "SafetyMcu has detected over/under temperature", false, ""},
    {1060, "The internal watchdog has resetted the safety mcu.", false, ""},
    {1061, "The ground monitor component in safety mcu detected an error.", false, ""},
    {1062, "A timeout was reached in the internal state machine in safety mcu", false, ""},
    {1063, "The active communication link detection in safety mcu has timed out.", false, ""},
    {1064, "SafetyMcuComm cannot reach SMCU", false, ""},
    {1065, "The PFD component in safety mcu detected an error", false, ""},
    {1100, "BoardControl Initialization Fault Error", false, ""},
    {1102, "BoardControl detected process(es) crashed", false, ""},
    {1103, "BoardControl failed to enable charge facility group", false, ""},
    {1104, "BoardControl enters fatal error state", false, ""},
    {1105, "Invalid Config Value Error", false, ""},
    {1252, "CurrentControl cable rating exceeded", false, ""},
    {1253, "CurrentControl power factor limit reached", false, ""},
    {1254, "CurrentControl installation limit exceeded", false, ""},
    {1255, "CurrentControl physical current limit exceeded", false, ""},
    {1256, "CurrentControl VDE-A-RN-4100 phase imbalance exceeded", false, ""},
    {10000, "SECC Backoffice Communication Lost", false, ""},
    {10001, "SECC message storage full", false, ""},
    {10002, "SECC Backoffice DNS query failed", false, ""},
    {10100, "BoardControl incomplete commissioning warning", false, ""},
    {10101, "Low on NAND memory", false, ""},
    {10102, "Running secondary firmware warning", false, ""},
    {10103, "Running secondary bootloader warning", false, ""},
    {10104, "Running recovery bootloader warning", false, ""},
    {10250, "CurrentControl thermal derating limit reached", false, ""},
    {10251, "CurrentControl load balancing communication failure", false, ""},
    {10260, "CurrentControl implausible CT signal L1", false, ""},
    {10261, "CurrentControl implausible CT signal L2", false, ""},
    {10262, "CurrentControl implausible CT signal L3", false, ""},
    {10263, "CurrentControl HomeWizard not reachable", false, ""},
    {10264, "CurrentControl Smart Meter not supported as BoP source", false, ""},
    {10265, "CurrentControl P1 Extender installation not ok", false, ""},
    {10266, "CurrentControl under-voltage detected on L1", false, ""},
    {10267, "CurrentControl under-voltage detected on L2", false, ""},
    {10268, "CurrentControl under-voltage detected on L3", false, ""},
    {10269, "CurrentControl over-voltage detected on L1", false, ""},
    {10270, "CurrentControl over-voltage detected on L2", false, ""},
    {10271, "CurrentControl over-voltage detected on L3", false, ""},
    {10272, "CurrentControl Modbus TCP connection not ok", false, ""},
    {10273, "CurrentControl Modbus TCP Read or Write failure", false, ""},
    {10274, "CurrentControl blackout protection using fallback", false, ""},
    {10275, "CurrentControl blackout protection using invalid config", false, ""},
    {10276, "CurrentControl solar charging not supported on hardware", false, ""},
    {10277, "CurrentControl solar charging measurement source unusable", false, ""},
    {10278, "CurrentControl too many followers detected for group load balancing", false, ""},
    {10300, "Roaming is disabled on LTE modem", false, ""},
    {10301, "System time not synchronized yet", false, ""},
    {10302, "NetM NTP server DNS query failed", false, ""},
    {10303, "NetM Modem initialization failed", false, ""},
    {10304, "NetM Failed to read SIM", false, ""},
    {10305, "NetM Incorrect SIM PIN", false, ""},
    {10306, "Modem fatal error", false, ""},
    {10307, "Cellular is using NB-IoT", false, ""},
}};

constexpr Table<int, 10> Ints{{
    {13, "ADAC CP raw value", -1, ""},
    {14, "ADAC PP raw value", -1, ""},
    {15, "ADAC CP low raw value", -1, ""},
    {40, "BoardControl state", 0, ""},
    {127, "LTE signal strength (Rssi)", -1000, "dBm"},
    {128, "WLAN signal strength", -1000, "dBm"},
    {136, "LTE signal received power (Rsrp)", -1000, "dBm"},
    {137, "LTE signal interference and noise (Sinr)", -1000, "dB"},
    {138, "LTE signal quality (Rsrq)", -1000, "dB"},
    {160, "iMX temperature", -1000000, "m°C"},
}};

constexpr Table<unsigned int, 18> Unsigneds{{
    {1, "Diagnostics Example", 0U, ""},
    {33, "ChargeControl plugin persistent counter", 0U, ""},
    {34, "ChargeControl current charging phases", 0U, ""},
    {80, "SafetyMCU temperature", 0U, ""},
    {81, "SafetyMcu error", 0U, ""},
    {82, "SafetyMcu ELD error detail", 0U, ""},
    {83, "SafetyMcu relay error detail", 0U, ""},
    {84, "SafetyMcu ada error detail", 0U, ""},
    {87, "SafetyMcu PFD error detail", 0U, ""},
    {92, "SafetyMcu count relay1 enable", 0U, ""},
    {93, "SafetyMcu count relay2 enable", 0U, ""},
    {94, "SafetyMcu count temperature violations", 0U, ""},
    {95, "SafetyMcu number of relays to actuate", 0U, ""},
    {162, "Uptime", 0U, "s"},
    {163, "Freemem", 0U, "Byte"},
    {167, "Freeflash", 0U, "Byte"},
    {184, "Reservation ID", 0U, ""},
    {205, "Ocpp transaction messages queue size", 0U, ""},
}};

constexpr Table<long long, 3> LongLongs{{
    {50, "Power usage of the product lifetime.", -1000, "Wh"},
    {51, "Power usage of the latest/active session.", -1000, "Wh"},
    {201, "Current active ChargeProfile", -1, ""},
}};

constexpr Table<float, 19> Floats{{
    {16, "ADAC NTC1 temperature", -1000.0F, "°C"},
    {17, "ADAC NTC2 temperature", -1000.0F, "°C"},
    {30, "ChargeControl PWM dutycycle", -1000.0F, "%"},
    {31, "Charge Control current setpoint", -1000.0F, "A"},
    {55, "Meter powerline frequency", -1000.0F, "Hz"},
    {72, "SafetyMCU ELD A-Side Ntc temperature", -1000.0F, "°C"},
    {73, "SafetyMCU relay1 NTC temperature", -1000.0F, "°C"},
    {74, "SafetyMCU relay2 NTC temperature", -1000.0F, "°C"},
    {75, "SafetyMCU ELD B-side Ntc temperature", -1000.0F, "°C"},
    {76, "SafetyMCU ELD DC leakage current", -1000.0F, "mA"},
    {77, "SafetyMCU ELD AC leakage current", -1000.0F, "mA"},
    {78, "SafetyMCU ELD gain", -1000.0F, ""},
    {79, "SafetyMCU ELD offset", -1000.0F, ""},
    {88, "SafetyMCU PFD voltage gain of L1", -1000.0F, ""},
    {89, "SafetyMCU PFD voltage gain of N", -1000.0F, ""},
    {90, "SafetyMCU PFD voltage difference between L1 and N", -1000.0F, "V^2"},
    {91, "SafetyMCU PFD leakage current through PE", -1000.0F, "lsb^2"},
    {110, "Light intensity", -1000.0F, "nW/cm²"},
    {144, "Group load balancing assigned current", 0.0F, "A"},
}};

constexpr Table<std::string, 58> Strings{{
    {10, "ADAC CP state", "Unknown", ""},
    {12, "ADAC PP state", "Unknown", ""},
    {41, "BoardControl dead processes list", "", ""},
    {42, "BoardControl start failure reason", "", ""},
    {43, "BoardControl supported processes", "", ""},
    {70, "SafetyMCU state", "Unknown", ""},
    {71, "SafetyMCU relay state", "Unknown", ""},
    {85, "SafetyMcu FW version", "Unknown", ""},
    {100, "Rfid state", "Unknown", ""},
    {101, "Rfid last scanned UID", "", ""},
    {102, "Rfid last scanned tag technology", "", ""},
    {111, "LED state", "Unknown", ""},
    {118, "LTE Band", "Unknown", ""},
    {119, "LTE Channel", "Unknown", ""},
    {125, "LTE carrier", "Unknown", ""},
    {126, "LTE network technology", "Unknown", ""},
    {130, "LTE ICCID", "Unknown", ""},
    {131, "LTE IMSI", "Unknown", ""},
    {132, "LTE IMEI", "Unknown", ""},
    {133, "LTE module firmware version", "Unknown", ""},
    {134, "LTE Registration State", "Unknown", ""},
    {135, "GSM Registration State", "Unknown", ""},
    {142, "CurrentControl limiting current source", "Unknown", ""},
    {143, "Group load balancing role", "Unknown", ""},
    {147, "Group load balancing total and max followers", "0/0", ""},
    {148, "CurrentControl limiting phases source", "Unknown", ""},
    {152, "DSMR version of smart meter", "Unknown", ""},
    {161, "Mainboard SN", "Unknown", ""},
    {164, "Main CPU SW version", "Unknown", ""},
    {168, "Reset cause", "Unknown", ""},
    {181, "Connector state", "Unknown", ""},
    {182, "Session token", "", ""},
    {185, "Reservation tag ID", "", ""},
    {186, "Reservation Expiration Date", "", ""},
    {187, "Authorization method", "Unknown", ""},
    {200, "ChargeProfile update trace", "", ""},
    {202, "Installed charge profile IDs", "", ""},
    {203, "ChargeProfile installation failed reason", "", ""},
    {204, "Websocket status", "", ""},
    {20000, "Firmware has been updated", "", ""},
    {20001, "System time is changed", "", ""},
    {20002, "Device is started/starting", "", ""},
    {20003, "Device will be reset or rebooted", "", ""},
    {20004, "Security log was cleared", "", ""},
    {20005, "Device memory is running low", "", ""},
    {20006, "Tamper detection is triggered", "", ""},
    {20007, "Device is recommissioned", "", ""},
    {20300, "System failed to authenticate", "", ""},
    {20301, "Webbackend or SECC changed the security parameters.", "", ""},
    {20302, "SECC received non valid OCPP messages", "", ""},
    {20303, "SECC detected an invalid central system certificate", "", ""},
    {20304, "SECC detected an invalid TLS version.", "", ""},
    {20305, "Webbackend initiates factory reset.", "", ""},
    {20500, "Parameters have been reconfigured", "", ""},
    {20501, "Session status changed", "", ""},
    {20502, "User has interacted with ZORN", "", ""},
    {20503, "Connectivity status has changed", "", ""},
    {20504, "Current limitation source changed", "", ""},
}};

constexpr Table<std::vector<int>, 4> IntLists{{
    {52, "Meter instantaneous (milli)amperage (phase 1, 2, 3)", NothingMeasured<int>, "mA"},
    {53, "Meter instantaneous (milli)voltage rms (phase 1, 2, 3)", NothingMeasured<int>, "mV"},
    {54, "Meter instantaneous power (phase 1, 2, 3)", NothingMeasured<int>, "W"},
    {139, "LTE module temperatures", {}, "°C"},
}};

constexpr Table<std::vector<unsigned int>, 2> UnsignedLists{{
    {165, "Bad block on NAND (data, fw)", {}, ""},
    {166, "Max UBI erase count (data, fw)", {}, ""},
}};

constexpr Table<std::vector<float>, 5> FloatLists{{
    {59, "Meter instantaneous power factor (phase 1, 2, 3)", NothingMeasured<float>, ""},
    {140, "Bop current (phase 1, 2, 3)", NothingMeasured<float>, "A"},
    {146, "Group load balancing mapping current list", {}, ""},
    {149, "Constraint of the Bop component", {}, "A"},
    {150, "Group load balancing group consumption", {}, "A"},
}};

constexpr Table<std::vector<std::string>, 1> StringLists{{
    {145, "Group load balancing mapping follower list", {}, ""},
}};
// clang-format on

template <class Definition, std::size_t Size>
constexpr bool IsOrdered(const std::array<Definition, Size>& table)
{
    for (std::size_t row = 1; row < Size; ++row)
    {
        if (table[row - 1].Identifier() >= table[row].Identifier())
        {
            return false;
        }
    }
    return true;
}

static_assert(IsOrdered(Bools) && IsOrdered(Ints) && IsOrdered(Unsigneds) && IsOrdered(LongLongs) &&
              IsOrdered(Floats) && IsOrdered(Strings) && IsOrdered(IntLists) && IsOrdered(UnsignedLists) &&
              IsOrdered(FloatLists) && IsOrdered(StringLists));

/// @return null if it is not in this table
template <class Definition, std::size_t Size>
constexpr const Definition* Find(const std::array<Definition, Size>& table, int identifier)
{
    for (const Definition& definition : table)
    {
        if (definition.Identifier() == identifier)
        {
            return &definition;
        }
    }
    return nullptr;
}

/// Calls @p receive with each of the tables.
template <class Receiver>
void ForEachTable(const Receiver& receive)
{
    receive(Bools);
    receive(Ints);
    receive(Unsigneds);
    receive(LongLongs);
    receive(Floats);
    receive(Strings);
    receive(IntLists);
    receive(UnsignedLists);
    receive(FloatLists);
    receive(StringLists);
}

} // namespace

constexpr const CSignalDefinition<std::string>& Recommissioned = *Find(Strings, 20007);
constexpr const CSignalDefinition<std::string>& ReconfigurationOfSecurityParameters = *Find(Strings, 20301);
constexpr const CSignalDefinition<std::string>& FactoryReset = *Find(Strings, 20305);
constexpr const CSignalDefinition<std::string>& ReconfigurationOfParameter = *Find(Strings, 20500);
constexpr const CSignalDefinition<std::string>& UserActionPerformed = *Find(Strings, 20502);

std::vector<SDescription> Descriptions()
{
    std::vector<SDescription> all;
    ForEachTable(
        [&all](const auto& table)
        {
            for (const auto& row : table)
            {
                all.push_back({row.Identifier(), row.Description(), row.InitialConstant(), row.Unit()});
            }
        });
    std::sort(all.begin(),
              all.end(),
              [](const SDescription& one, const SDescription& other)
              { return one.identifier < other.identifier; });
    return all;
}

InitialValue FindInitialValue(ipc::ESignalIdentifier identifier)
{
    std::optional<InitialValue> found;
    ForEachTable(
        [&found, identifier](const auto& table)
        {
            if (const auto* const row = Find(table, identifier))
            {
                found = row->InitialConstant();
            }
        });
    if (!found)
    {
        throw std::out_of_range("map::at");
    }
    return *found;
}

} // namespace Signals
