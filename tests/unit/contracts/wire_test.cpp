#include "contracts/station.pb.h"

#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAreArray;

namespace
{

/// A message and its bytes on the wire: the tag of each field is its number times 8 plus the wire type, 0 for
/// a varint, 2 for what has a length, 5 for a float.
struct SWireCase
{
    const char* name;
    std::function<std::string()> encode;
    const char* bytes;
};

void PrintTo(const SWireCase& wireCase, std::ostream* stream)
{
    *stream << wireCase.name;
}

template <class Message, class Fill>
SWireCase Case(const char* name, Fill fill, const char* bytes)
{
    const auto encode = [fill]
    {
        Message message;
        fill(message);
        return message.SerializeAsString();
    };
    return {name, encode, bytes};
}

std::string Hex(const std::string& bytes)
{
    constexpr char Digits[] = "0123456789abcdef";

    std::string text;
    for (const char byte : bytes)
    {
        const auto number = static_cast<unsigned char>(byte);
        text += text.empty() ? "" : " ";
        text += Digits[number / 16];
        text += Digits[number % 16];
    }
    return text;
}

std::vector<SWireCase> CommonMessages()
{
    using namespace ipc;
    return {
        Case<MVoid>(
            "MVoid", [](MVoid&) {}, ""),
        Case<MBool>(
            "MBool", [](MBool& m) { m.set_value(true); }, "08 01"),
        Case<MText>(
            "MText", [](MText& m) { m.set_value("ab"); }, "0a 02 61 62"),
        Case<MResult>(
            "MResult", [](MResult& m) { m.set_status(EResultIllegal); }, "08 01"),
        Case<MState>(
            "MState", [](MState& m) { m.set_state(EStateFatalError); }, "08 05"),
        Case<MTimestamp>(
            "MTimestamp",
            [](MTimestamp& m)
            {
                m.set_seconds(4294967296); // 2 to the 32nd
                m.set_microseconds(-1);
            },
            "08 80 80 80 80 10 10 ff ff ff ff ff ff ff ff ff 01"),
        Case<MRebootType>(
            "MRebootType", [](MRebootType& m) { m.set_type(1); }, "08 01"),
        Case<MRebootType>(
            "MRebootTypeSigned", [](MRebootType& m) { m.set_type(-1); }, "08 ff ff ff ff ff ff ff ff ff 01"),
        Case<MFwUpdateStatus>(
            "MFwUpdateStatus",
            [](MFwUpdateStatus& m)
            {
                m.set_old_firmware_identifier("a");
                m.set_new_firmware_identifier("b");
                m.set_status(EFwUpdateStatusInternalError);
            },
            "0a 01 61 12 01 62 18 0a"),
        Case<MFbEventType>(
            "MFbEventType", [](MFbEventType& m) { m.set_type(3); }, "08 03"),
        Case<MFbEventType>(
            "MFbEventTypeSigned",
            [](MFbEventType& m) { m.set_type(-1); },
            "08 ff ff ff ff ff ff ff ff ff 01"),
        Case<MLogLevel>(
            "MLogLevel", [](MLogLevel& m) { m.set_level(5); }, "08 05"),
        Case<MLogLevel>(
            "MLogLevelSigned", [](MLogLevel& m) { m.set_level(-1); }, "08 ff ff ff ff ff ff ff ff ff 01"),
    };
}

std::vector<SWireCase> DiagnosticsMessages()
{
    using namespace ipc;
    using Data = MDiagnosticsData;
    return {
        Case<MSignalIdentifier>(
            "MSignalIdentifier",
            [](MSignalIdentifier& m) { m.set_identifier(ESignalIdentifierReconfigurationOfParameter); },
            "08 94 a0 01"),
        Case<Data>(
            "MDiagnosticsDataBool", [](Data& m) { m.set_bool_value(false); }, "08 00"),
        Case<Data>(
            "MDiagnosticsDataInt", [](Data& m) { m.set_int_value(-1); }, "10 ff ff ff ff ff ff ff ff ff 01"),
        Case<Data>(
            "MDiagnosticsDataUint", [](Data& m) { m.set_uint_value(4294967295U); }, "18 ff ff ff ff 0f"),
        Case<Data>(
            "MDiagnosticsDataInt64", [](Data& m) { m.set_int64_value(4294967296); }, "20 80 80 80 80 10"),
        Case<Data>(
            "MDiagnosticsDataFloat", [](Data& m) { m.set_float_value(1.0F); }, "2d 00 00 80 3f"),
        Case<Data>(
            "MDiagnosticsDataString", [](Data& m) { m.set_string_value("a"); }, "32 01 61"),
        Case<MDiagnosticsSignal>(
            "MDiagnosticsSignal",
            [](MDiagnosticsSignal& m)
            {
                m.add_data()->set_bool_value(true);
                m.add_data()->set_string_value("a");
                m.set_identifier(ESignalIdentifierUserActionPerformed);
            },
            "0a 02 08 01 0a 03 32 01 61 10 96 a0 01"),
        Case<MDiagnosticsSnapshot>(
            "MDiagnosticsSnapshot",
            [](MDiagnosticsSnapshot& m)
            {
                m.add_signal()->add_data()->set_bool_value(true);
                m.add_signal();
            },
            "0a 04 0a 02 08 01 0a 00"),
        Case<MDiagnosticsNotificationType>(
            "MDiagnosticsNotificationType", [](MDiagnosticsNotificationType& m) { m.set_type(2); }, "08 02"),
        Case<MDiagnosticsNotificationType>(
            "MDiagnosticsNotificationTypeSigned",
            [](MDiagnosticsNotificationType& m) { m.set_type(-1); },
            "08 ff ff ff ff ff ff ff ff ff 01"),
        Case<MSignalReport>(
            "MSignalReport",
            [](MSignalReport& m)
            {
                m.mutable_signal()->add_data()->set_bool_value(true);
                m.mutable_timestamp()->set_seconds(1);
            },
            "0a 04 0a 02 08 01 12 02 08 01"),
        Case<MSignalChange>(
            "MSignalChange",
            [](MSignalChange& m)
            {
                m.mutable_signal()->add_data()->set_bool_value(true);
                m.mutable_type()->set_type(1);
            },
            "0a 04 0a 02 08 01 12 02 08 01"),
    };
}

void FillNetStatus(ipc::MNetStatus& m)
{
    m.set_interface(ipc::EIfNameLte);
    m.set_status(ipc::ENetStatusConnected);
    m.set_signal_strength(0);
    m.mutable_net_properties();
    m.mutable_net_dns();
    m.mutable_lte_info();
}

std::vector<SWireCase> NetworkMessages()
{
    using namespace ipc;
    using Properties = MNetStatus::MNetProperties;
    using Dns = MNetStatus::MNetDns;
    using Lte = MNetStatus::MLteInfo;
    return {
        Case<MWlanNetwork>(
            "MWlanNetwork",
            [](MWlanNetwork& m)
            {
                m.set_ssid("a");
                m.set_security("b");
                m.set_signal_strength(-1);
                m.set_channel(4294967295U);
            },
            "0a 01 61 12 01 62 18 ff ff ff ff ff ff ff ff ff 01 20 ff ff ff ff 0f"),
        Case<MScanWlan>(
            "MScanWlan",
            [](MScanWlan& m)
            {
                m.add_network()->set_ssid("a");
                m.add_network();
            },
            "0a 03 0a 01 61 0a 00"),
        Case<MScanWlanResult>(
            "MScanWlanResult", [](MScanWlanResult& m) { m.mutable_scan(); }, "0a 00"),
        Case<MScanWlanResult>(
            "MScanWlanResultWithoutScan", [](MScanWlanResult&) {}, ""),
        Case<MNetStatus>("MNetStatus", FillNetStatus, "08 04 10 04 18 00 22 00 2a 00 32 00"),
        Case<MNetStatus>(
            "MNetStatusSigned",
            [](MNetStatus& m) { m.set_signal_strength(-1); },
            "18 ff ff ff ff ff ff ff ff ff 01"),
        Case<MNetStatus>(
            "MNetStatusWithoutParts", [](MNetStatus& m) { m.set_interface(EIfNameEthernet); }, "08 01"),
        Case<Properties>(
            "MNetProperties",
            [](Properties& m)
            {
                m.set_ipv4_addr("a");
                m.set_ipv4_netmask("b");
                m.set_gateway("c");
            },
            "0a 01 61 12 01 62 1a 01 63"),
        Case<Dns>(
            "MNetDns",
            [](Dns& m)
            {
                m.set_preferred_dns_server("a");
                m.set_alternative_dns_server("b");
            },
            "0a 01 61 12 01 62"),
        Case<Lte>(
            "MLteInfo",
            [](Lte& m)
            {
                m.set_carrier("a");
                m.set_technology("b");
                m.set_iccid("c");
                m.set_imsi("d");
                m.set_imei("e");
            },
            "0a 01 61 12 01 62 1a 01 63 22 01 64 2a 01 65"),
    };
}

std::vector<SWireCase> ChargingMessages()
{
    using namespace ipc;
    using Limit = MCurrentControlLimit;
    return {
        Case<Limit>(
            "MCurrentControlLimit",
            [](Limit& m)
            {
                m.set_source(ECurrentControlUserLimitCurrent);
                m.set_limit(4294967295U);
            },
            "08 0e 10 ff ff ff ff 0f"),
        Case<Limit>(
            "MCurrentControlLimitOfZero", [](Limit& m) { m.set_limit(0); }, "10 00"),
        Case<Limit>(
            "MCurrentControlLimitCleared",
            [](Limit& m) { m.set_source(ECurrentControlLocalScheduledCharging); },
            "08 0c"),
        Case<MConnectorState>(
            "MConnectorState", [](MConnectorState& m) { m.set_state(EConnectorStateCharging); }, "08 0b"),
        Case<MConnectorSession>(
            "MConnectorSession",
            [](MConnectorSession& m)
            {
                m.set_session_id("a");
                m.set_authorized(true);
            },
            "0a 01 61 10 01"),
        Case<MConnectorReservation>(
            "MConnectorReservation",
            [](MConnectorReservation& m)
            {
                m.set_reservation_id(4294967295U);
                m.set_expiry_date("a");
                m.set_id_token("b");
            },
            "08 ff ff ff ff 0f 12 01 61 1a 01 62"),
        Case<MConnectorInfo>(
            "MConnectorInfo",
            [](MConnectorInfo& m)
            {
                m.set_connector_state(EConnectorStateReserved);
                m.mutable_session()->set_authorized(true);
                m.mutable_reservation();
            },
            "08 03 12 02 10 01 1a 00"),
        Case<MMeterData>(
            "MMeterData",
            [](MMeterData& m)
            {
                m.add_power(1);
                m.add_power(-1);
                m.add_power(0);
                m.set_session_marker("a");
                m.set_total_energy(4294967296);
                m.set_energy_at_session_start(-1);
            },
            "0a 0c 01 ff ff ff ff ff ff ff ff ff 01 00 12 01 61 18 80 80 80 80 10 20 ff ff ff ff ff ff ff ff "
            "ff 01"),
    };
}

class Wire : public testing::TestWithParam<SWireCase>
{
};

std::string NameOf(const testing::TestParamInfo<SWireCase>& info)
{
    return info.param.name;
}

/// The names that @p name gives the numbers from 0 to just below @p count.
template <class Name>
std::vector<std::string> Names(int count, Name name)
{
    std::vector<std::string> names;
    for (int number = 0; number < count; ++number)
    {
        names.push_back(name(number));
    }
    return names;
}

} // namespace

TEST_P(Wire, EncodesFieldsByTheirNumberAndType)
{
    EXPECT_EQ(Hex(GetParam().encode()), GetParam().bytes);
}

INSTANTIATE_TEST_SUITE_P(Common, Wire, testing::ValuesIn(CommonMessages()), NameOf);
INSTANTIATE_TEST_SUITE_P(Diagnostics, Wire, testing::ValuesIn(DiagnosticsMessages()), NameOf);
INSTANTIATE_TEST_SUITE_P(Network, Wire, testing::ValuesIn(NetworkMessages()), NameOf);
INSTANTIATE_TEST_SUITE_P(Charging, Wire, testing::ValuesIn(ChargingMessages()), NameOf);

TEST(WireEnumerations, ConnectorStatesHaveTheirNumbersAndNames)
{
    const std::vector<std::string> expected{"EConnectorStateUnknown",
                                            "EConnectorStateAvailable",
                                            "EConnectorStateUnavailable",
                                            "EConnectorStateReserved",
                                            "EConnectorStatePreparingPluggedIn",
                                            "EConnectorStatePreparingAuthorized",
                                            "EConnectorStateSuspendedEv",
                                            "EConnectorStateSuspendedEvse",
                                            "EConnectorStateSuspendedEvAndEvse",
                                            "EConnectorStateFinishing",
                                            "EConnectorStateFaulted",
                                            "EConnectorStateCharging",
                                            "EConnectorStateChargingLimited"};

    EXPECT_EQ(Names(13, [](int number) { return ipc::EConnectorState_Name(number); }), expected);
}

TEST(WireEnumerations, NetworkInterfacesHaveTheirNumbersAndNames)
{
    const std::vector<std::string> expected{
        "EIfNameUnknown", "EIfNameEthernet", "EIfNameWlan", "EIfNameAccessPoint", "EIfNameLte", "EIfNamePlc"};

    EXPECT_EQ(Names(6, [](int number) { return ipc::EIfName_Name(number); }), expected);
}

TEST(WireEnumerations, NetworkStatesHaveTheirNumbersAndNames)
{
    const std::vector<std::string> expected{"ENetStatusUnknown",
                                            "ENetStatusDisabled",
                                            "ENetStatusDisconnected",
                                            "ENetStatusConnecting",
                                            "ENetStatusConnected",
                                            "ENetStatusError"};

    EXPECT_EQ(Names(6, [](int number) { return ipc::ENetStatus_Name(number); }), expected);
}

TEST(WireEnumerations, FirmwareUpdateStatesHaveTheirNumbersAndNames)
{
    const std::vector<std::string> expected{"EFwUpdateStatusSuccess",
                                            "EFwUpdateStatusPackageMissing",
                                            "EFwUpdateStatusNotIdle",
                                            "EFwUpdateStatusFwInfoInvalid",
                                            "EFwUpdateStatusHwInfoInvalid",
                                            "EFwUpdateStatusSettingNotSaved",
                                            "EFwUpdateStatusSettingNotLoaded",
                                            "EFwUpdateStatusNoSpace",
                                            "EFwUpdateStatusProgrammingFailed",
                                            "EFwUpdateStatusImageNotLoaded",
                                            "EFwUpdateStatusInternalError"};

    EXPECT_EQ(Names(11, [](int number) { return ipc::EFwUpdateStatus_Name(number); }), expected);
}

TEST(WireEnumerations, ProcessStatesAndResultsHaveTheirNumbers)
{
    EXPECT_EQ(ipc::EStateInvalid, 0);
    EXPECT_EQ(ipc::EStateUninitialized, 1);
    EXPECT_EQ(ipc::EStateDisabled, 2);
    EXPECT_EQ(ipc::EStateEnabled, 3);
    EXPECT_EQ(ipc::EStateError, 4);
    EXPECT_EQ(ipc::EStateFatalError, 5);
    EXPECT_EQ(ipc::EResultOk, 0);
    EXPECT_EQ(ipc::EResultIllegal, 1);
}

TEST(WireEnumerations, SignalIdentifiersHaveTheirNumbers)
{
    EXPECT_EQ(ipc::ESignalIdentifierNone, 0);
    EXPECT_EQ(ipc::ESignalIdentifierReconfigurationOfSecurityParameters, 20301);
    EXPECT_EQ(ipc::ESignalIdentifierReconfigurationOfParameter, 20500);
    EXPECT_EQ(ipc::ESignalIdentifierUserActionPerformed, 20502);
}

TEST(WireEnumerations, CurrentControlSourcesHaveTheirNumbers)
{
    const std::vector<int> sources{
        ipc::ECurrentControlNone,
        ipc::ECurrentControlFixedCable,
        ipc::ECurrentControlThermal,
        ipc::ECurrentControlConfigurationLimit,
        ipc::ECurrentControlBop,
        ipc::ECurrentControlLoadBal,
        ipc::ECurrentControlUserCable,
        ipc::ECurrentControlOvercurrentProtection,
        ipc::ECurrentControlHardwareLimit,
        ipc::ECurrentControlPowerFactor,
        ipc::ECurrentControlOcppSmartCharging,
        ipc::ECurrentControlVDEPhaseImbalance,
        ipc::ECurrentControlLocalScheduledCharging,
        ipc::ECurrentControlSolarCharging,
        ipc::ECurrentControlUserLimitCurrent,
    };

    EXPECT_THAT(sources, ElementsAreArray({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14}));
}

TEST(WireEnumerations, NumberWithoutAnEnumeratorPassesThrough)
{
    ipc::MSignalIdentifier identifier;

    ASSERT_TRUE(identifier.ParseFromString("\x08\xe9\x07"));

    EXPECT_EQ(identifier.identifier(), 1001);
    EXPECT_EQ(Hex(identifier.SerializeAsString()), "08 e9 07");
}
