#include "platform/json/jsonutil.h"
#include "simulator/messagejson.h"

#include <gtest/gtest.h>

using Simulator::ToJson;

namespace
{

std::string Text(const Json::Value& json)
{
    return JsonUtil::WriteUnstyled(json);
}

} // namespace

TEST(MessageJson, RequestsShowTheirFields)
{
    ipc::MRebootType reboot;
    reboot.set_type(1);
    EXPECT_EQ(Text(ToJson(reboot)), R"({"Type":1})");
    ipc::MText text;
    text.set_value("WebInterface");
    EXPECT_EQ(Text(ToJson(text)), R"({"Value":"WebInterface"})");
    ipc::MBool flag;
    flag.set_value(true);
    EXPECT_EQ(Text(ToJson(flag)), R"({"Value":true})");
    ipc::MSignalIdentifier identifier;
    identifier.set_identifier(static_cast<ipc::ESignalIdentifier>(52));
    EXPECT_EQ(Text(ToJson(identifier)), R"({"Identifier":52})");
    ipc::MFbEventType event;
    event.set_type(3);
    EXPECT_EQ(Text(ToJson(event)), R"({"Type":3})");
    EXPECT_EQ(Text(ToJson(ipc::MVoid())), "{}");
}

TEST(MessageJson, LimitIsThereOnlyIfItIsSet)
{
    ipc::MCurrentControlLimit limit;
    limit.set_source(ipc::ECurrentControlUserLimitCurrent);
    EXPECT_EQ(Text(ToJson(limit)), R"({"Source":14})");
    limit.set_limit(0);
    EXPECT_EQ(Text(ToJson(limit)), R"({"Limit":0,"Source":14})");
}

TEST(MessageJson, SignalReportShowsEveryKindOfValue)
{
    ipc::MSignalReport report;
    ipc::MDiagnosticsSignal& signal = *report.mutable_signal();
    signal.set_identifier(ipc::ESignalIdentifierUserActionPerformed);
    signal.add_data()->set_bool_value(true);
    signal.add_data()->set_int_value(-2);
    signal.add_data()->set_uint_value(4000000000);
    signal.add_data()->set_int64_value(-5000000000);
    signal.add_data()->set_float_value(0.5F);
    signal.add_data()->set_string_value("text");
    signal.add_data();
    report.mutable_timestamp()->set_seconds(1714564800);
    report.mutable_timestamp()->set_microseconds(7);
    EXPECT_EQ(Text(ToJson(report)),
              R"({"Signal":{"Identifier":20502,"Value":[true,-2,4000000000,-5000000000,0.5,"text",null]},)"
              R"("Timestamp":{"Microseconds":7,"Seconds":1714564800}})");
}

TEST(MessageJson, ConnectorShowsSessionAndReservationIfThereAreAny)
{
    ipc::MConnectorInfo info;
    info.set_connector_state(ipc::EConnectorStateCharging);
    EXPECT_EQ(Text(ToJson(info)), R"({"State":11})");
    info.mutable_session()->set_session_id("S");
    info.mutable_session()->set_authorized(true);
    info.mutable_reservation()->set_reservation_id(9);
    info.mutable_reservation()->set_expiry_date("soon");
    info.mutable_reservation()->set_id_token("T");
    EXPECT_EQ(Text(ToJson(info)),
              R"({"Reservation":{"ExpiryDate":"soon","IdToken":"T","ReservationId":9},)"
              R"("Session":{"Authorized":true,"SessionId":"S"},"State":11})");
}

TEST(MessageJson, NetworkStatusShowsItsOptionalPartsIfThereAreAny)
{
    ipc::MNetStatus status;
    status.set_interface(ipc::EIfNameLte);
    status.set_status(ipc::ENetStatusConnected);
    EXPECT_EQ(Text(ToJson(status)), R"({"Interface":4,"Status":4})");
    status.set_signal_strength(-70);
    status.mutable_net_properties()->set_gateway("g");
    status.mutable_net_dns()->set_preferred_dns_server("d");
    status.mutable_lte_info()->set_imei("i");
    EXPECT_EQ(
        Text(ToJson(status)),
        R"({"Interface":4,"LteInfo":{"Carrier":"","Iccid":"","Imei":"i","Imsi":"","Technology":""},)"
        R"("NetDns":{"AlternativeDnsServer":"","PreferredDnsServer":"d"},)"
        R"("NetProperties":{"Gateway":"g","Ipv4Addr":"","Ipv4Netmask":""},"SignalStrength":-70,"Status":4})");
}
