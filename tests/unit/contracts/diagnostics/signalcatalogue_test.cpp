#include "contracts/diagnostics/signalcatalogue.h"

#include <cstddef>
#include <limits>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

namespace
{

/// Kinds of values, by their numbers.
enum class EKind
{
    Bool = 1,
    Int = 2,
    Unsigned = 3,
    Int64 = 4,
    Float = 5,
    String = 6,
    BoolList = 7,
    IntList = 8,
    UnsignedList = 9,
    FloatList = 10,
    StringList = 11
};

/// Signals of one type, initial value and unit.
struct SGroup
{
    EKind kind;
    /// elements of a list with ", " between them
    std::string initial;
    std::string unit;
    std::map<int, std::string> descriptions;
};

// clang-format off
const std::vector<SGroup> Expected{
    {EKind::Unsigned, "0", "",
     {
        {1, "Diagnostics Example"},
        {33, "ChargeControl plugin persistent counter"},
        {34, "ChargeControl current charging phases"},
        {80, "SafetyMCU temperature"},
        {81, "SafetyMcu error"},
        {82, "SafetyMcu ELD error detail"},
        {83, "SafetyMcu relay error detail"},
        {84, "SafetyMcu ada error detail"},
        {87, "SafetyMcu PFD error detail"},
        {92, "SafetyMcu count relay1 enable"},
        {93, "SafetyMcu count relay2 enable"},
        {94, "SafetyMcu count temperature violations"},
        {95, "SafetyMcu number of relays to actuate"},
        {184, "Reservation ID"},
        {205, "Ocpp transaction messages queue size"},
     }},
    {EKind::String, "Unknown", "",
     {
        {10, "ADAC CP state"},
        {12, "ADAC PP state"},
        {70, "SafetyMCU state"},
        {71, "SafetyMCU relay state"},
        {85, "SafetyMcu FW version"},
        {100, "Rfid state"},
        {111, "LED state"},
        {125, "LTE carrier"},
        {126, "LTE network technology"},
        {130, "LTE ICCID"},
        {131, "LTE IMSI"},
        {132, "LTE IMEI"},
        {133, "LTE module firmware version"},
        {134, "LTE Registration State"},
        {135, "GSM Registration State"},
        {118, "LTE Band"},
        {119, "LTE Channel"},
        {142, "CurrentControl limiting current source"},
        {148, "CurrentControl limiting phases source"},
        {143, "Group load balancing role"},
        {152, "DSMR version of smart meter"},
        {161, "Mainboard SN"},
        {168, "Reset cause"},
        {164, "Main CPU SW version"},
        {187, "Authorization method"},
        {181, "Connector state"},
     }},
    {EKind::Bool, "false", "",
     {
        {11, "ADAC CP low state"},
        {32, "Socket lock state"},
        {44, "Mains lost"},
        {57, "The synchronization status of the system clock."},
        {58, "The error status of the meter IC checksum (CRC) register."},
        {112, "Buzzer state"},
        {120, "LTE link state"},
        {121, "WLAN link state"},
        {122, "AP link state"},
        {123, "Eth state"},
        {124, "PLC link state"},
        {151, "Dynamic group load balancing enabled"},
        {183, "Authorization status"},
        {1000, "ChargeControl Socket Error"},
        {1001, "ChargeControl Relay Error"},
        {1002, "ChargeControl CP short"},
        {1003, "ChargeControl Pp Error"},
        {1004, "ChargeControl Cp Low Error"},
        {1005, "ChargeControl Ev Timeout Error"},
        {1006, "ChargeControl Cp out of sync with Smcu Error"},
        {1050, "SafetyMcuComm Fast Read Start Error."},
        {1051, "SafetyMcuComm Slow Read Start Error"},
        {1052, "SafetyMcuComm Relay Close Error"},
        {1053, "SafetyMcuComm Relay Open Error"},
        {1054, "SafetyMcuComm Modbus Initialization Error"},
        {1055, "SafetyMcuComm Modbus Termination Error"},
        {1056, "SafetyMcuComm ID Read Error"},
        {1064, "SafetyMcuComm cannot reach SMCU"},
        {1057, "The ELD component in safety mcu detected an error"},
        {1058, "The relay component in safety mcu detected an error."},
        {1059, "SafetyMcu has detected over/under temperature"},
        {1065, "The PFD component in safety mcu detected an error"},
        {1060, "The internal watchdog has resetted the safety mcu."},
        {1061, "The ground monitor component in safety mcu detected an error."},
        {1062, "A timeout was reached in the internal state machine in safety mcu"},
        {1063, "The active communication link detection in safety mcu has timed out."},
        {1256, "CurrentControl VDE-A-RN-4100 phase imbalance exceeded"},
        {1255, "CurrentControl physical current limit exceeded"},
        {1254, "CurrentControl installation limit exceeded"},
        {1252, "CurrentControl cable rating exceeded"},
        {1253, "CurrentControl power factor limit reached"},
        {1100, "BoardControl Initialization Fault Error"},
        {1102, "BoardControl detected process(es) crashed"},
        {1103, "BoardControl failed to enable charge facility group"},
        {1104, "BoardControl enters fatal error state"},
        {1105, "Invalid Config Value Error"},
        {10100, "BoardControl incomplete commissioning warning"},
        {10102, "Running secondary firmware warning"},
        {10103, "Running secondary bootloader warning"},
        {10104, "Running recovery bootloader warning"},
        {10101, "Low on NAND memory"},
        {10251, "CurrentControl load balancing communication failure"},
        {10250, "CurrentControl thermal derating limit reached"},
        {10260, "CurrentControl implausible CT signal L1"},
        {10261, "CurrentControl implausible CT signal L2"},
        {10262, "CurrentControl implausible CT signal L3"},
        {10263, "CurrentControl HomeWizard not reachable"},
        {10264, "CurrentControl Smart Meter not supported as BoP source"},
        {10265, "CurrentControl P1 Extender installation not ok"},
        {10266, "CurrentControl under-voltage detected on L1"},
        {10267, "CurrentControl under-voltage detected on L2"},
        {10268, "CurrentControl under-voltage detected on L3"},
        {10269, "CurrentControl over-voltage detected on L1"},
        {10270, "CurrentControl over-voltage detected on L2"},
        {10271, "CurrentControl over-voltage detected on L3"},
        {10272, "CurrentControl Modbus TCP connection not ok"},
        {10273, "CurrentControl Modbus TCP Read or Write failure"},
        {10274, "CurrentControl blackout protection using fallback"},
        {10275, "CurrentControl blackout protection using invalid config"},
        {10276, "CurrentControl solar charging not supported on hardware"},
        {10277, "CurrentControl solar charging measurement source unusable"},
        {10278, "CurrentControl too many followers detected for group load balancing"},
        {10300, "Roaming is disabled on LTE modem"},
        {10301, "System time not synchronized yet"},
        {10302, "NetM NTP server DNS query failed"},
        {10303, "NetM Modem initialization failed"},
        {10304, "NetM Failed to read SIM"},
        {10305, "NetM Incorrect SIM PIN"},
        {10306, "Modem fatal error"},
        {10307, "Cellular is using NB-IoT"},
        {10000, "SECC Backoffice Communication Lost"},
        {10001, "SECC message storage full"},
        {10002, "SECC Backoffice DNS query failed"},
     }},
    {EKind::Int, "-1", "",
     {
        {13, "ADAC CP raw value"},
        {14, "ADAC PP raw value"},
        {15, "ADAC CP low raw value"},
     }},
    {EKind::Float, "-1000", "°C",
     {
        {16, "ADAC NTC1 temperature"},
        {17, "ADAC NTC2 temperature"},
        {72, "SafetyMCU ELD A-Side Ntc temperature"},
        {73, "SafetyMCU relay1 NTC temperature"},
        {74, "SafetyMCU relay2 NTC temperature"},
        {75, "SafetyMCU ELD B-side Ntc temperature"},
     }},
    {EKind::Float, "-1000", "%",
     {
        {30, "ChargeControl PWM dutycycle"},
     }},
    {EKind::Float, "-1000", "A",
     {
        {31, "Charge Control current setpoint"},
     }},
    {EKind::Int, "0", "",
     {
        {40, "BoardControl state"},
     }},
    {EKind::String, "", "",
     {
        {41, "BoardControl dead processes list"},
        {42, "BoardControl start failure reason"},
        {43, "BoardControl supported processes"},
        {101, "Rfid last scanned UID"},
        {102, "Rfid last scanned tag technology"},
        {182, "Session token"},
        {186, "Reservation Expiration Date"},
        {185, "Reservation tag ID"},
        {200, "ChargeProfile update trace"},
        {202, "Installed charge profile IDs"},
        {203, "ChargeProfile installation failed reason"},
        {204, "Websocket status"},
        {20000, "Firmware has been updated"},
        {20002, "Device is started/starting"},
        {20003, "Device will be reset or rebooted"},
        {20005, "Device memory is running low"},
        {20006, "Tamper detection is triggered"},
        {20007, "Device is recommissioned"},
        {20001, "System time is changed"},
        {20004, "Security log was cleared"},
        {20300, "System failed to authenticate"},
        {20302, "SECC received non valid OCPP messages"},
        {20303, "SECC detected an invalid central system certificate"},
        {20304, "SECC detected an invalid TLS version."},
        {20305, "Webbackend initiates factory reset."},
        {20301, "Webbackend or SECC changed the security parameters."},
        {20500, "Parameters have been reconfigured"},
        {20501, "Session status changed"},
        {20502, "User has interacted with ZORN"},
        {20503, "Connectivity status has changed"},
        {20504, "Current limitation source changed"},
     }},
    {EKind::Int64, "-1000", "Wh",
     {
        {50, "Power usage of the product lifetime."},
        {51, "Power usage of the latest/active session."},
     }},
    {EKind::IntList, "-1000, -1000, -1000", "mA", {{52, "Meter instantaneous (milli)amperage (phase 1, 2, 3)"}}},
    {EKind::IntList, "-1000, -1000, -1000", "mV", {{53, "Meter instantaneous (milli)voltage rms (phase 1, 2, 3)"}}},
    {EKind::IntList, "-1000, -1000, -1000", "W", {{54, "Meter instantaneous power (phase 1, 2, 3)"}}},
    {EKind::Float, "-1000", "Hz",
     {
        {55, "Meter powerline frequency"},
     }},
    {EKind::Bool, "true", "",
     {
        {56, "Meter energy direction"},
        {86, "SafetyMcu gound monitor Ok"},
     }},
    {EKind::FloatList, "-1000, -1000, -1000", "", {{59, "Meter instantaneous power factor (phase 1, 2, 3)"}}},
    {EKind::FloatList, "", "", {{146, "Group load balancing mapping current list"}}},
    {EKind::Float, "-1000", "",
     {
        {88, "SafetyMCU PFD voltage gain of L1"},
        {89, "SafetyMCU PFD voltage gain of N"},
        {78, "SafetyMCU ELD gain"},
        {79, "SafetyMCU ELD offset"},
     }},
    {EKind::Float, "-1000", "V^2",
     {
        {90, "SafetyMCU PFD voltage difference between L1 and N"},
     }},
    {EKind::Float, "-1000", "lsb^2",
     {
        {91, "SafetyMCU PFD leakage current through PE"},
     }},
    {EKind::Float, "-1000", "mA",
     {
        {76, "SafetyMCU ELD DC leakage current"},
        {77, "SafetyMCU ELD AC leakage current"},
     }},
    {EKind::Float, "-1000", "nW/cm²",
     {
        {110, "Light intensity"},
     }},
    {EKind::Int, "-1000", "dBm",
     {
        {127, "LTE signal strength (Rssi)"},
        {128, "WLAN signal strength"},
        {136, "LTE signal received power (Rsrp)"},
     }},
    {EKind::Int, "-1000", "dB",
     {
        {137, "LTE signal interference and noise (Sinr)"},
        {138, "LTE signal quality (Rsrq)"},
     }},
    {EKind::IntList, "", "°C", {{139, "LTE module temperatures"}}},
    {EKind::FloatList, "-1000, -1000, -1000", "A", {{140, "Bop current (phase 1, 2, 3)"}}},
    {EKind::FloatList, "", "A", {{149, "Constraint of the Bop component"}}},
    {EKind::FloatList, "", "A", {{150, "Group load balancing group consumption"}}},
    {EKind::Float, "0", "A",
     {
        {144, "Group load balancing assigned current"},
     }},
    {EKind::StringList, "", "", {{145, "Group load balancing mapping follower list"}}},
    {EKind::String, "0/0", "",
     {
        {147, "Group load balancing total and max followers"},
     }},
    {EKind::Int, "-1000000", "m°C",
     {
        {160, "iMX temperature"},
     }},
    {EKind::Unsigned, "0", "s",
     {
        {162, "Uptime"},
     }},
    {EKind::Unsigned, "0", "Byte",
     {
        {163, "Freemem"},
        {167, "Freeflash"},
     }},
    {EKind::UnsignedList, "", "", {{165, "Bad block on NAND (data, fw)"}}},
    {EKind::UnsignedList, "", "", {{166, "Max UBI erase count (data, fw)"}}},
    {EKind::Int64, "-1", "",
     {
        {201, "Current active ChargeProfile"},
     }},
};
// clang-format on

template <class T>
void Print(std::ostream& stream, const T& value)
{
    // as many digits as tell every float from its neighbours
    stream.precision(std::numeric_limits<float>::max_digits10);
    stream << std::boolalpha << value;
}

template <class T>
void Print(std::ostream& stream, const CInitialList<T>& list)
{
    const char* separator = "";
    for (const T& element : list)
    {
        stream << separator;
        Print(stream, element);
        separator = ", ";
    }
}

std::string Text(const Signals::InitialValue& value)
{
    std::ostringstream stream;
    std::visit([&stream](const auto& held) { Print(stream, held); }, value);
    return stream.str();
}

EKind KindOf(const Signals::InitialValue& value)
{
    return static_cast<EKind>(value.index() + 1);
}

Signals::InitialValue Initial(int identifier)
{
    return Signals::FindInitialValue(static_cast<ipc::ESignalIdentifier>(identifier));
}

} // namespace

TEST(SignalCatalogue, HasTheDescriptionTypeInitialValueAndUnitOfEverySignal)
{
    std::map<int, Signals::SDescription> actual;
    for (const Signals::SDescription& signal : Signals::Descriptions())
    {
        EXPECT_TRUE(actual.emplace(signal.identifier, signal).second)
            << signal.identifier << " is there twice";
    }
    std::size_t count = 0;
    for (const SGroup& group : Expected)
    {
        for (const auto& [identifier, description] : group.descriptions)
        {
            SCOPED_TRACE(identifier);
            ASSERT_EQ(actual.count(identifier), 1U);
            const Signals::SDescription& signal = actual.at(identifier);
            EXPECT_EQ(signal.description, description);
            EXPECT_EQ(KindOf(signal.initialValue), group.kind);
            EXPECT_EQ(Text(signal.initialValue), group.initial);
            EXPECT_EQ(signal.unit, group.unit);
            ++count;
        }
    }
    EXPECT_EQ(count, 205U);
    EXPECT_EQ(actual.size(), 205U);
}

TEST(SignalCatalogue, IsInOrderOfTheIdentifiers)
{
    int before = 0;
    for (const Signals::SDescription& signal : Signals::Descriptions())
    {
        EXPECT_LT(before, signal.identifier);
        before = signal.identifier;
    }
}

TEST(SignalCatalogue, FindsTheInitialValueOfEverySignal)
{
    for (const SGroup& group : Expected)
    {
        for (const auto& [identifier, description] : group.descriptions)
        {
            EXPECT_EQ(KindOf(Initial(identifier)), group.kind) << identifier;
            EXPECT_EQ(Text(Initial(identifier)), group.initial) << identifier;
        }
    }
}

TEST(SignalCatalogue, ThrowsForEveryNumberThatIsNoSignal)
{
    std::map<int, std::string> known;
    for (const SGroup& group : Expected)
    {
        known.insert(group.descriptions.begin(), group.descriptions.end());
    }
    for (int identifier = -1; identifier <= 21000; ++identifier)
    {
        if (known.count(identifier) == 0)
        {
            EXPECT_THROW(Initial(identifier), std::out_of_range) << identifier;
        }
    }
}

TEST(SignalCatalogue, ThrowsWithTheTextOfAMap)
{
    try
    {
        Initial(2);
        FAIL();
    }
    catch (const std::out_of_range& error)
    {
        EXPECT_STREQ(error.what(), "map::at");
    }
}

TEST(SignalCatalogue, NamesTheSignalsThatThisProcessSends)
{
    EXPECT_EQ(Signals::Recommissioned.Identifier(), 20007);
    EXPECT_EQ(Signals::ReconfigurationOfSecurityParameters.Identifier(), 20301);
    EXPECT_EQ(Signals::FactoryReset.Identifier(), 20305);
    EXPECT_EQ(Signals::ReconfigurationOfParameter.Identifier(), 20500);
    EXPECT_EQ(Signals::UserActionPerformed.Identifier(), 20502);
}

TEST(SignalCatalogue, UserActionIsATextWithoutUnit)
{
    EXPECT_EQ(Signals::UserActionPerformed.Description(), "User has interacted with ZORN");
    EXPECT_EQ(Signals::UserActionPerformed.InitialValue(), "");
    EXPECT_EQ(Signals::UserActionPerformed.Unit(), "");
}
