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

using Bool = CSignalDefinition<bool>;
using Int = CSignalDefinition<int>;
using Unsigned = CSignalDefinition<unsigned int>;
using LongLong = CSignalDefinition<long long>;
using Float = CSignalDefinition<float>;
using String = CSignalDefinition<std::string>;
using IntList = CSignalDefinition<std::vector<int>>;
using UnsignedList = CSignalDefinition<std::vector<unsigned int>>;
using FloatList = CSignalDefinition<std::vector<float>>;
using StringList = CSignalDefinition<std::vector<std::string>>;

/// One value for each of three phases.
template <class T>
constexpr CInitialList<T> NothingMeasured{T{-1000}, T{-1000}, T{-1000}};

// One table for each type: identifier, description, initial value, unit

// clang-format off
constexpr std::array Bools{
    Bool{11, "ADAC CP low state", false, ""},
    Bool{32, "Socket lock state", false, ""},
    Bool{44, "Mains lost", false, ""},
    Bool{56, "Meter energy direction", true, ""},
    Bool{57, "The synchronization status of the system clock.", false, ""},
    Bool{58, "The error status of the meter IC checksum (CRC) register.", false, ""},
    Bool{86, "SafetyMcu gound monitor Ok", true, ""},
    Bool{112, "Buzzer state", false, ""},
    Bool{120, "LTE link state", false, ""},
    Bool{121, "WLAN link state", false, ""},
    Bool{122, "AP link state", false, ""},
    Bool{123, "Eth state", false, ""},
    Bool{124, "PLC link state", false, ""},
    Bool{151, "Dynamic group load balancing enabled", false, ""},
    Bool{183, "Authorization status", false, ""},
    Bool{1000, "ChargeControl Socket Error", false, ""},
    Bool{1001, "ChargeControl Relay Error", false, ""},
    Bool{1002, "ChargeControl CP short", false, ""},
    Bool{1003, "ChargeControl Pp Error", false, ""},
    Bool{1004, "ChargeControl Cp Low Error", false, ""},
    Bool{1005, "ChargeControl Ev Timeout Error", false, ""},
    Bool{1006, "ChargeControl Cp out of sync with Smcu Error", false, ""},
    Bool{1050, "SafetyMcuComm Fast Read Start Error.", false, ""},
    Bool{1051, "SafetyMcuComm Slow Read Start Error", false, ""},
    Bool{1052, "SafetyMcuComm Relay Close Error", false, ""},
    Bool{1053, "SafetyMcuComm Relay Open Error", false, ""},
    Bool{1054, "SafetyMcuComm Modbus Initialization Error", false, ""},
    Bool{1055, "SafetyMcuComm Modbus Termination Error", false, ""},
    Bool{1056, "SafetyMcuComm ID Read Error", false, ""},
    Bool{1057, "The ELD component in safety mcu detected an error", false, ""},
    Bool{1058, "The relay component in safety mcu detected an error.", false, ""},
    Bool{1059, "SafetyMcu has detected over/under temperature", false, ""},
    Bool{1060, "The internal watchdog has resetted the safety mcu.", false, ""},
    Bool{1061, "The ground monitor component in safety mcu detected an error.", false, ""},
    Bool{1062, "A timeout was reached in the internal state machine in safety mcu", false, ""},
    Bool{1063, "The active communication link detection in safety mcu has timed out.", false, ""},
    Bool{1064, "SafetyMcuComm cannot reach SMCU", false, ""},
    Bool{1065, "The PFD component in safety mcu detected an error", false, ""},
    Bool{1100, "BoardControl Initialization Fault Error", false, ""},
    Bool{1102, "BoardControl detected process(es) crashed", false, ""},
    Bool{1103, "BoardControl failed to enable charge facility group", false, ""},
    Bool{1104, "BoardControl enters fatal error state", false, ""},
    Bool{1105, "Invalid Config Value Error", false, ""},
    Bool{1252, "CurrentControl cable rating exceeded", false, ""},
    Bool{1253, "CurrentControl power factor limit reached", false, ""},
    Bool{1254, "CurrentControl installation limit exceeded", false, ""},
    Bool{1255, "CurrentControl physical current limit exceeded", false, ""},
    Bool{1256, "CurrentControl VDE-A-RN-4100 phase imbalance exceeded", false, ""},
    Bool{10000, "SECC Backoffice Communication Lost", false, ""},
    Bool{10001, "SECC message storage full", false, ""},
    Bool{10002, "SECC Backoffice DNS query failed", false, ""},
    Bool{10100, "BoardControl incomplete commissioning warning", false, ""},
    Bool{10101, "Low on NAND memory", false, ""},
    Bool{10102, "Running secondary firmware warning", false, ""},
    Bool{10103, "Running secondary bootloader warning", false, ""},
    Bool{10104, "Running recovery bootloader warning", false, ""},
    Bool{10250, "CurrentControl thermal derating limit reached", false, ""},
    Bool{10251, "CurrentControl load balancing communication failure", false, ""},
    Bool{10260, "CurrentControl implausible CT signal L1", false, ""},
    Bool{10261, "CurrentControl implausible CT signal L2", false, ""},
    Bool{10262, "CurrentControl implausible CT signal L3", false, ""},
    Bool{10263, "CurrentControl HomeWizard not reachable", false, ""},
    Bool{10264, "CurrentControl Smart Meter not supported as BoP source", false, ""},
    Bool{10265, "CurrentControl P1 Extender installation not ok", false, ""},
    Bool{10266, "CurrentControl under-voltage detected on L1", false, ""},
    Bool{10267, "CurrentControl under-voltage detected on L2", false, ""},
    Bool{10268, "CurrentControl under-voltage detected on L3", false, ""},
    Bool{10269, "CurrentControl over-voltage detected on L1", false, ""},
    Bool{10270, "CurrentControl over-voltage detected on L2", false, ""},
    Bool{10271, "CurrentControl over-voltage detected on L3", false, ""},
    Bool{10272, "CurrentControl Modbus TCP connection not ok", false, ""},
    Bool{10273, "CurrentControl Modbus TCP Read or Write failure", false, ""},
    Bool{10274, "CurrentControl blackout protection using fallback", false, ""},
    Bool{10275, "CurrentControl blackout protection using invalid config", false, ""},
    Bool{10276, "CurrentControl solar charging not supported on hardware", false, ""},
    Bool{10277, "CurrentControl solar charging measurement source unusable", false, ""},
    Bool{10278, "CurrentControl too many followers detected for group load balancing", false, ""},
    Bool{10300, "Roaming is disabled on LTE modem", false, ""},
    Bool{10301, "System time not synchronized yet", false, ""},
    Bool{10302, "NetM NTP server DNS query failed", false, ""},
    Bool{10303, "NetM Modem initialization failed", false, ""},
    Bool{10304, "NetM Failed to read SIM", false, ""},
    Bool{10305, "NetM Incorrect SIM PIN", false, ""},
    Bool{10306, "Modem fatal error", false, ""},
    Bool{10307, "Cellular is using NB-IoT", false, ""}};

constexpr std::array Ints{
    Int{13, "ADAC CP raw value", -1, ""},
    Int{14, "ADAC PP raw value", -1, ""},
    Int{15, "ADAC CP low raw value", -1, ""},
    Int{40, "BoardControl state", 0, ""},
    Int{127, "LTE signal strength (Rssi)", -1000, "dBm"},
    Int{128, "WLAN signal strength", -1000, "dBm"},
    Int{136, "LTE signal received power (Rsrp)", -1000, "dBm"},
    Int{137, "LTE signal interference and noise (Sinr)", -1000, "dB"},
    Int{138, "LTE signal quality (Rsrq)", -1000, "dB"},
    Int{160, "iMX temperature", -1000000, "m°C"}};

constexpr std::array Unsigneds{
    Unsigned{1, "Diagnostics Example", 0U, ""},
    Unsigned{33, "ChargeControl plugin persistent counter", 0U, ""},
    Unsigned{34, "ChargeControl current charging phases", 0U, ""},
    Unsigned{80, "SafetyMCU temperature", 0U, ""},
    Unsigned{81, "SafetyMcu error", 0U, ""},
    Unsigned{82, "SafetyMcu ELD error detail", 0U, ""},
    Unsigned{83, "SafetyMcu relay error detail", 0U, ""},
    Unsigned{84, "SafetyMcu ada error detail", 0U, ""},
    Unsigned{87, "SafetyMcu PFD error detail", 0U, ""},
    Unsigned{92, "SafetyMcu count relay1 enable", 0U, ""},
    Unsigned{93, "SafetyMcu count relay2 enable", 0U, ""},
    Unsigned{94, "SafetyMcu count temperature violations", 0U, ""},
    Unsigned{95, "SafetyMcu number of relays to actuate", 0U, ""},
    Unsigned{162, "Uptime", 0U, "s"},
    Unsigned{163, "Freemem", 0U, "Byte"},
    Unsigned{167, "Freeflash", 0U, "Byte"},
    Unsigned{184, "Reservation ID", 0U, ""},
    Unsigned{205, "Ocpp transaction messages queue size", 0U, ""}};

constexpr std::array LongLongs{
    LongLong{50, "Power usage of the product lifetime.", -1000, "Wh"},
    LongLong{51, "Power usage of the latest/active session.", -1000, "Wh"},
    LongLong{201, "Current active ChargeProfile", -1, ""}};

constexpr std::array Floats{
    Float{16, "ADAC NTC1 temperature", -1000.0F, "°C"},
    Float{17, "ADAC NTC2 temperature", -1000.0F, "°C"},
    Float{30, "ChargeControl PWM dutycycle", -1000.0F, "%"},
    Float{31, "Charge Control current setpoint", -1000.0F, "A"},
    Float{55, "Meter powerline frequency", -1000.0F, "Hz"},
    Float{72, "SafetyMCU ELD A-Side Ntc temperature", -1000.0F, "°C"},
    Float{73, "SafetyMCU relay1 NTC temperature", -1000.0F, "°C"},
    Float{74, "SafetyMCU relay2 NTC temperature", -1000.0F, "°C"},
    Float{75, "SafetyMCU ELD B-side Ntc temperature", -1000.0F, "°C"},
    Float{76, "SafetyMCU ELD DC leakage current", -1000.0F, "mA"},
    Float{77, "SafetyMCU ELD AC leakage current", -1000.0F, "mA"},
    Float{78, "SafetyMCU ELD gain", -1000.0F, ""},
    Float{79, "SafetyMCU ELD offset", -1000.0F, ""},
    Float{88, "SafetyMCU PFD voltage gain of L1", -1000.0F, ""},
    Float{89, "SafetyMCU PFD voltage gain of N", -1000.0F, ""},
    Float{90, "SafetyMCU PFD voltage difference between L1 and N", -1000.0F, "V^2"},
    Float{91, "SafetyMCU PFD leakage current through PE", -1000.0F, "lsb^2"},
    Float{110, "Light intensity", -1000.0F, "nW/cm²"},
    Float{144, "Group load balancing assigned current", 0.0F, "A"}};

constexpr std::array Strings{
    String{10, "ADAC CP state", "Unknown", ""},
    String{12, "ADAC PP state", "Unknown", ""},
    String{41, "BoardControl dead processes list", "", ""},
    String{42, "BoardControl start failure reason", "", ""},
    String{43, "BoardControl supported processes", "", ""},
    String{70, "SafetyMCU state", "Unknown", ""},
    String{71, "SafetyMCU relay state", "Unknown", ""},
    String{85, "SafetyMcu FW version", "Unknown", ""},
    String{100, "Rfid state", "Unknown", ""},
    String{101, "Rfid last scanned UID", "", ""},
    String{102, "Rfid last scanned tag technology", "", ""},
    String{111, "LED state", "Unknown", ""},
    String{118, "LTE Band", "Unknown", ""},
    String{119, "LTE Channel", "Unknown", ""},
    String{125, "LTE carrier", "Unknown", ""},
    String{126, "LTE network technology", "Unknown", ""},
    String{130, "LTE ICCID", "Unknown", ""},
    String{131, "LTE IMSI", "Unknown", ""},
    String{132, "LTE IMEI", "Unknown", ""},
    String{133, "LTE module firmware version", "Unknown", ""},
    String{134, "LTE Registration State", "Unknown", ""},
    String{135, "GSM Registration State", "Unknown", ""},
    String{142, "CurrentControl limiting current source", "Unknown", ""},
    String{143, "Group load balancing role", "Unknown", ""},
    String{147, "Group load balancing total and max followers", "0/0", ""},
    String{148, "CurrentControl limiting phases source", "Unknown", ""},
    String{152, "DSMR version of smart meter", "Unknown", ""},
    String{161, "Mainboard SN", "Unknown", ""},
    String{164, "Main CPU SW version", "Unknown", ""},
    String{168, "Reset cause", "Unknown", ""},
    String{181, "Connector state", "Unknown", ""},
    String{182, "Session token", "", ""},
    String{185, "Reservation tag ID", "", ""},
    String{186, "Reservation Expiration Date", "", ""},
    String{187, "Authorization method", "Unknown", ""},
    String{200, "ChargeProfile update trace", "", ""},
    String{202, "Installed charge profile IDs", "", ""},
    String{203, "ChargeProfile installation failed reason", "", ""},
    String{204, "Websocket status", "", ""},
    String{20000, "Firmware has been updated", "", ""},
    String{20001, "System time is changed", "", ""},
    String{20002, "Device is started/starting", "", ""},
    String{20003, "Device will be reset or rebooted", "", ""},
    String{20004, "Security log was cleared", "", ""},
    String{20005, "Device memory is running low", "", ""},
    String{20006, "Tamper detection is triggered", "", ""},
    String{20007, "Device is recommissioned", "", ""},
    String{20300, "System failed to authenticate", "", ""},
    String{20301, "Webbackend or SECC changed the security parameters.", "", ""},
    String{20302, "SECC received non valid OCPP messages", "", ""},
    String{20303, "SECC detected an invalid central system certificate", "", ""},
    String{20304, "SECC detected an invalid TLS version.", "", ""},
    String{20305, "Webbackend initiates factory reset.", "", ""},
    String{20500, "Parameters have been reconfigured", "", ""},
    String{20501, "Session status changed", "", ""},
    String{20502, "User has interacted with ZORN", "", ""},
    String{20503, "Connectivity status has changed", "", ""},
    String{20504, "Current limitation source changed", "", ""}};

constexpr std::array IntLists{
    IntList{52, "Meter instantaneous (milli)amperage (phase 1, 2, 3)", NothingMeasured<int>, "mA"},
    IntList{53, "Meter instantaneous (milli)voltage rms (phase 1, 2, 3)", NothingMeasured<int>, "mV"},
    IntList{54, "Meter instantaneous power (phase 1, 2, 3)", NothingMeasured<int>, "W"},
    IntList{139, "LTE module temperatures", {}, "°C"}};

constexpr std::array UnsignedLists{
    UnsignedList{165, "Bad block on NAND (data, fw)", {}, ""},
    UnsignedList{166, "Max UBI erase count (data, fw)", {}, ""}};

constexpr std::array FloatLists{
    FloatList{59, "Meter instantaneous power factor (phase 1, 2, 3)", NothingMeasured<float>, ""},
    FloatList{140, "Bop current (phase 1, 2, 3)", NothingMeasured<float>, "A"},
    FloatList{146, "Group load balancing mapping current list", {}, ""},
    FloatList{149, "Constraint of the Bop component", {}, "A"},
    FloatList{150, "Group load balancing group consumption", {}, "A"}};

constexpr std::array StringLists{
    StringList{145, "Group load balancing mapping follower list", {}, ""}};
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
