#include "src/utils/statustexts.h"

#include <map>
#include <string>

#include <gtest/gtest.h>

namespace
{

/// Every number that has a text, with it.
using Texts = std::map<int, std::string>;

const Texts Results{
    {0, "Ok"},
    {1, "Illegal"},
};

const Texts ConnectorStates{
    {0, "EConnectorStateUnknown"},
    {1, "EConnectorStateAvailable"},
    {2, "EConnectorStateUnavailable"},
    {3, "EConnectorStateReserved"},
    {4, "EConnectorStatePreparingPluggedIn"},
    {5, "EConnectorStatePreparingAuthorized"},
    {6, "EConnectorStateSuspendedEv"},
    {7, "EConnectorStateSuspendedEvse"},
    {8, "EConnectorStateSuspendedEvAndEvse"},
    {9, "EConnectorStateFinishing"},
    {10, "EConnectorStateFaulted"},
    {11, "EConnectorStateCharging"},
    {12, "EConnectorStateChargingLimited"},
};

const Texts Relays{
    {0, "Disabled"},
    {1, "Enabled"},
};

const Texts RfidAuthStates{
    {0, "ERfidUidInStandAloneList"},
    {1, "ERfidAuthDeferred"},
    {2, "ERfidUidNotInList"},
    {3, "ERfidUidInvalid"},
};

const Texts States{
    {0, "Invalid"},
    {1, "Uninitialized"},
    {2, "Disabled"},
    {3, "Enabled"},
    {4, "Error"},
    {5, "FatalError"},
};

const Texts McuStates{
    {0, "Boot"},
    {1, "Disabled"},
    {2, "Enabling"},
    {3, "Enabled"},
    {4, "Disabling"},
    {15, "Error"},
};

const Texts CpStates{
    {0, "State A"},
    {1, "State B"},
    {2, "State C"},
    {3, "State D"},
    {4, "State E"},
    {5, "State F"},
    {6, "State Invalid"},
};

const Texts PpStates{
    {0, "Disconnect"},
    {1, "13A"},
    {2, "20A"},
    {3, "32A"},
    {4, "63/70A"},
    {5, "Error"},
    {6, "Invalid"},
};

const Texts McuErrors{
    {0, "EMcuControlErrorNoError"},
    {1, "EMcuControlErrorELD"},
    {2, "EMcuControlErrorRelay"},
    {3, "EMcuControlErrorAda"},
    {4, "EMcuControlErrorWatchdog"},
    {5, "EMcuControlErrorGroundMonitor"},
    {6, "EMcuControlErrorTimeout"},
    {9, "EMcuControlErrorPFD"},
};

const Texts FwUpdateStatuses{
    {0, "Success"},
    {1, "Error: Firmware package file does not exist"},
    {2, "Error: System is not idle"},
    {3, "Error: Firmware info file is invalid"},
    {4, "Error: Hardware info file is invalid"},
    {5, "Error: Unable to save persistent setting"},
    {6, "Error: Unable to load persistent setting"},
    {7, "Error: No space available for needed files"},
    {8, "Error: Firmware package checks or programming failed"},
    {9, "Error: Firmware image not loaded after programming"},
    {10, "Error: Internal error"},
};

const Texts Sources{
    {1, "ECurrentControlFixedCable"},
    {2, "ECurrentControlThermal"},
    {3, "ECurrentControlConfigurationLimit"},
    {4, "ECurrentControlBop"},
    {5, "ECurrentControlLoadBal"},
    {6, "ECurrentControlUserCable"},
    {7, "ECurrentControlOvercurrentProtection"},
    {8, "ECurrentControlHardwareLimit"},
    {9, "ECurrentControlPowerFactor"},
    {10, "ECurrentControlOcppSmartCharging"},
    {11, "ECurrentControlVDEPhaseImbalance"},
    {12, "ECurrentControlLocalScheduledCharging"},
    {13, "ECurrentControlSolarCharging"},
    {14, "ECurrentControlUserLimitCurrent"},
};

const std::map<std::string, std::string> HumanSources{
    {"ECurrentControlFixedCable", "Charging cable"},
    {"ECurrentControlThermal", "Overtemperature"},
    {"ECurrentControlConfigurationLimit", "Installation limit"},
    {"ECurrentControlBop", "Dynamic load balancing"},
    {"ECurrentControlLoadBal", "Group load balancing"},
    {"ECurrentControlUserCable", "Charging cable"},
    {"ECurrentControlOvercurrentProtection", "Overcurrent protection"},
    {"ECurrentControlHardwareLimit", "Hardware limitation"},
    {"ECurrentControlPowerFactor", "Power factor"},
    {"ECurrentControlOcppSmartCharging", "OCPP smart charging"},
    {"ECurrentControlVDEPhaseImbalance", "Phase imbalance"},
    {"ECurrentControlLocalScheduledCharging", "Local scheduled charging"},
    {"ECurrentControlSolarCharging", "Solar charging"},
    {"ECurrentControlUserLimitCurrent", "Current limiter"},
};

/// Numbers below, between and above all that have a text.
constexpr int Least = -2;
constexpr int Most = 40;

/// Compares the texts of all numbers with the table; what isn't in it has the text @p otherwise.
template <class Enumeration>
void ExpectTexts(std::string (*toString)(Enumeration), const Texts& expected, const std::string& otherwise)
{
    for (int number = Least; number <= Most; ++number)
    {
        const auto row = expected.find(number);
        EXPECT_EQ(toString(static_cast<Enumeration>(number)), row == expected.end() ? otherwise : row->second)
            << number;
    }
}

} // namespace

TEST(StatusTexts, OfResults)
{
    ExpectTexts<ipc::EResult>(ResultToString, Results, "unknown result");
}

TEST(StatusTexts, OfRelays)
{
    ExpectTexts<ipc::ERelayState>(RelayStatusToString, Relays, "unknown status");
}

TEST(StatusTexts, OfRfidAuthorization)
{
    ExpectTexts<ipc::ERfidAuthState>(ERfidAuthStateToString, RfidAuthStates, "ERfidAuthState unknown");
}

TEST(StatusTexts, OfSystemStates)
{
    ExpectTexts<ipc::EState>(StateToString, States, "unknown state");
}

TEST(StatusTexts, OfTheMicrocontrollersStates)
{
    ExpectTexts<ipc::EMcuControlState>(McuStatusToString, McuStates, "unknown status");
}

TEST(StatusTexts, OfTheControlPilot)
{
    ExpectTexts<ipc::ECpState>(CpStateToString, CpStates, "unknown state");
}

TEST(StatusTexts, OfTheProximityPilot)
{
    ExpectTexts<ipc::EPpState>(PpStateToString, PpStates, "unknown state");
}

TEST(StatusTexts, OfTheMicrocontrollersErrors)
{
    ExpectTexts<ipc::EMcuControlError>(ErrorToString, McuErrors, "unknown status");
}

TEST(StatusTexts, OfMicrocontrollerErrorSevenIsUnknown)
{
    EXPECT_EQ(ErrorToString(static_cast<ipc::EMcuControlError>(7)), "unknown status");
}

TEST(StatusTexts, OfFirmwareUpdates)
{
    ExpectTexts<ipc::EFwUpdateStatus>(FwUpdateStatusToString, FwUpdateStatuses, "Unknown status");
}

TEST(StatusTexts, OfCurrentControlSources)
{
    ExpectTexts<ipc::ECurrentControlSource>(SourceToString, Sources, "Unknown source");
}

TEST(StatusTexts, OfSourcesZeroAndFifteenAreUnknown)
{
    EXPECT_EQ(SourceToString(static_cast<ipc::ECurrentControlSource>(0)), "Unknown source");
    EXPECT_EQ(SourceToString(static_cast<ipc::ECurrentControlSource>(15)), "Unknown source");
}

TEST(StatusTexts, OfConnectorStatesAreTheNamesOfTheEnumeration)
{
    ExpectTexts<ipc::EConnectorState>(ConnectorStateToString, ConnectorStates, "");
}

TEST(StatusTexts, OfMessagesAreThoseOfTheirField)
{
    ipc::MResult result;
    result.set_status(ipc::EResultIllegal);
    EXPECT_EQ(ResultToString(result), "Illegal");
    ipc::MState state;
    state.set_state(ipc::EStateFatalError);
    EXPECT_EQ(StateToString(state), "FatalError");
    ipc::MRelayStatus relay;
    relay.set_status(ipc::ERelayStateEnabled);
    EXPECT_EQ(RelayStatusToString(relay), "Enabled");
    ipc::MMcuStatus mcu;
    mcu.set_status(ipc::EMcuControlStateError);
    EXPECT_EQ(McuStatusToString(mcu), "Error");
    ipc::MCpState controlPilot;
    controlPilot.set_state(ipc::ECpStateC);
    EXPECT_EQ(CpStateToString(controlPilot), "State C");
    ipc::MPpState proximityPilot;
    proximityPilot.set_state(ipc::EPpState63Or70A);
    EXPECT_EQ(PpStateToString(proximityPilot), "63/70A");
    ipc::MConnectorState connector;
    connector.set_state(ipc::EConnectorStateFinishing);
    EXPECT_EQ(ConnectorStateToString(connector), "EConnectorStateFinishing");
}

TEST(StatusTexts, OfMessagesWithNothingSetAreThoseOfZero)
{
    EXPECT_EQ(ResultToString(ipc::MResult()), "Ok");
    EXPECT_EQ(StateToString(ipc::MState()), "Invalid");
    EXPECT_EQ(RelayStatusToString(ipc::MRelayStatus()), "Disabled");
    EXPECT_EQ(McuStatusToString(ipc::MMcuStatus()), "Boot");
    EXPECT_EQ(CpStateToString(ipc::MCpState()), "State A");
    EXPECT_EQ(PpStateToString(ipc::MPpState()), "Disconnect");
}

TEST(HumanReadableValue, IsThereForEachSource)
{
    ASSERT_EQ(HumanSources.size(), 14U);
    for (const auto& [value, text] : HumanSources)
    {
        EXPECT_EQ(SignalValueToHumanReadableString(value), text);
    }
}

TEST(HumanReadableValue, OfBothCableSourcesIsTheSame)
{
    EXPECT_EQ(SignalValueToHumanReadableString(SourceToString(ipc::ECurrentControlFixedCable)),
              SignalValueToHumanReadableString(SourceToString(ipc::ECurrentControlUserCable)));
}

TEST(HumanReadableValue, IsNothingForAnyOtherText)
{
    for (const auto* value : {"",
                              "Charging cable",
                              "Unknown source",
                              "ECurrentControlNone",
                              "ECurrentControl",
                              "ECurrentControlBop ",
                              "ecurrentcontrolbop",
                              "Unknown"})
    {
        EXPECT_EQ(SignalValueToHumanReadableString(value), std::nullopt) << value;
    }
}
