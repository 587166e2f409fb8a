#include "src/utils/statustexts.h"

#include <map>
#include <string>

#include <gtest/gtest.h>

namespace
{

/// Every number that has a text, with it.
using Texts = std::map<int, std::string>;

const Texts PersistentCounters{
    {33, "PluginCounter"},
    {92, "Relay1Counter"},
    {93, "Relay2Counter"},
    {94, "TemperatureThresholdViolation"},
};

const Texts Events{
    {20000, "FirmwareUpdated"},
    {20001, "SettingSystemTime"},
    {20002, "StartupOfTheDevice"},
    {20003, "ResetOrReboot"},
    {20004, "SecurityLogWasCleared"},
    {20005, "MemoryExhaustion"},
    {20006, "TamperDetectionActivated"},
    {20007, "Recommissioned"},
    {20300, "CentralSystemFailedToAuthenticate"},
    {20301, "ReconfigurationOfSecurityParameters"},
    {20302, "InvalidMessages"},
    {20303, "InvalidCentralSystemCertificate"},
    {20304, "InvalidTLSVersion"},
    {20305, "FactoryReset"},
    {20500, "ReconfigurationOfParameter"},
    {20501, "SessionStatusChanged"},
    {20502, "UserActionPerformed"},
    {20503, "ConnectivityChanged"},
};

const Texts StatusNotifications{
    {1000, "LockErr"},
    {1001, "RelayOpErr"},
    {1002, "StateE"},
    {1003, "PpErr"},
    {1004, "CpLowErr"},
    {1005, "EvCd1Timeout"},
    {1006, "EvCpSyncErr"},
    {1050, "FastReadStartErr"},
    {1051, "SlowReadStartErr"},
    {1052, "RelayCloseErr"},
    {1053, "RelayOpenErr"},
    {1054, "SmcuCommInitErr"},
    {1055, "SmcuCommTermErr"},
    {1056, "CommIDErr"},
    {1057, "EldErr"},
    {1058, "RelayErr"},
    {1059, "HighTemp"},
    {1060, "SmcuWdg"},
    {1061, "GndErr"},
    {1062, "SmcuTimeout"},
    {1063, "SmcuLinkTimeout"},
    {1064, "SmcuLostComm"},
    {1065, "PfdErr"},
    {1100, "ProcInitFail"},
    {1102, "ProcCrash"},
    {1103, "ChargeGroupEnFail"},
    {1104, "SysFatalErr"},
    {1105, "SysConfValueErr"},
    {1252, "CableRatingExceeded"},
    {1254, "InstallLimExceeded"},
    {1255, "PhysLimExceeded"},
    {1256, "VDEARN4100LimExceeded"},
    {10000, "CpoCommLost"},
    {10001, "OcppMsgStorFull"},
    {10002, "CpoDnsQueryFail"},
    {10100, "NotCommissioned"},
    {10101, "NandLow"},
    {10102, "ScndFwBooted"},
    {10103, "ScndBLBooted"},
    {10104, "RcvyBLBooted"},
    {10250, "ThermalDeratingLim"},
    {10251, "LoadBalCommFail"},
    {10260, "CTL1Implausible"},
    {10261, "CTL2Implausible"},
    {10262, "CTL3Implausible"},
    {10263, "HomeWizardUnavail"},
    {10264, "SmartMeterUnsupp"},
    {10265, "P1ExtInstallFail"},
    {10266, "UVL1"},
    {10267, "UVL2"},
    {10268, "UVL3"},
    {10269, "OVL1"},
    {10270, "OVL2"},
    {10271, "OVL3"},
    {10272, "ModbusConnFail"},
    {10273, "ModbusReadFail"},
    {10300, "LTERoamDisabled"},
    {10301, "TimeNotSync"},
    {10302, "NtpDnsFail"},
    {10303, "ModemInitFail"},
    {10304, "SimReadFail"},
    {10305, "SimPinFail"},
    {10306, "ModemFatalErr"},
    {10307, "NbioTActive"},
};

/// Beyond all identifiers of signals.
constexpr int Most = 21000;

/// Compares the texts of all identifiers with the table; what isn't in it has the text @p otherwise.
void ExpectTexts(std::string (*toString)(ipc::ESignalIdentifier),
                 const Texts& expected,
                 const std::string& otherwise)
{
    for (int identifier = -1; identifier <= Most; ++identifier)
    {
        const auto row = expected.find(identifier);
        EXPECT_EQ(toString(static_cast<ipc::ESignalIdentifier>(identifier)),
                  row == expected.end() ? otherwise : row->second)
            << identifier;
    }
}

} // namespace

TEST(SignalTexts, OfPersistentCounters)
{
    ASSERT_EQ(PersistentCounters.size(), 4U);
    ExpectTexts(PersistentIdToString, PersistentCounters, "Unknown ID");
}

TEST(SignalTexts, OfEvents)
{
    ASSERT_EQ(Events.size(), 18U);
    ExpectTexts(EventToString, Events, "UnknownStatus");
}

TEST(SignalTexts, OfStatusNotifications)
{
    ASSERT_EQ(StatusNotifications.size(), 64U);
    ExpectTexts(StatusNotificationIdentifierToInfo, StatusNotifications, "Unspecified");
}

TEST(SignalTexts, OfAStatusNotificationInAGapIsUnspecified)
{
    const auto text = [](int identifier)
    { return StatusNotificationIdentifierToInfo(static_cast<ipc::ESignalIdentifier>(identifier)); };
    EXPECT_EQ(text(1101), "Unspecified");
    EXPECT_EQ(text(1253), "Unspecified");
    EXPECT_EQ(text(1252), "CableRatingExceeded");
}
