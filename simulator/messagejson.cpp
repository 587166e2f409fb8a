#include "simulator/messagejson.h"

#include <cmath>

namespace Simulator
{

namespace
{

/// JSON has no numbers for what is none.
Json::Value NumberToJson(double number)
{
    if (std::isnan(number))
    {
        return "NaN";
    }
    if (std::isinf(number))
    {
        return number > 0 ? "Infinity" : "-Infinity";
    }
    return number;
}

Json::Value ValueToJson(const ipc::MDiagnosticsData& data)
{
    switch (data.value_case())
    {
    case ipc::MDiagnosticsData::kBoolValue:
        return data.bool_value();
    case ipc::MDiagnosticsData::kIntValue:
        return data.int_value();
    case ipc::MDiagnosticsData::kUintValue:
        return data.uint_value();
    case ipc::MDiagnosticsData::kInt64Value:
        return Json::Int64{data.int64_value()};
    case ipc::MDiagnosticsData::kFloatValue:
        return NumberToJson(double{data.float_value()});
    case ipc::MDiagnosticsData::kStringValue:
        return data.string_value();
    default:
        return Json::nullValue;
    }
}

void AddNetProperties(const ipc::MNetStatus::MNetProperties& properties, Json::Value& json)
{
    json["Ipv4Addr"] = properties.ipv4_addr();
    json["Ipv4Netmask"] = properties.ipv4_netmask();
    json["Gateway"] = properties.gateway();
}

void AddNetDns(const ipc::MNetStatus::MNetDns& dns, Json::Value& json)
{
    json["PreferredDnsServer"] = dns.preferred_dns_server();
    json["AlternativeDnsServer"] = dns.alternative_dns_server();
}

void AddLteInfo(const ipc::MNetStatus::MLteInfo& info, Json::Value& json)
{
    json["Carrier"] = info.carrier();
    json["Technology"] = info.technology();
    json["Iccid"] = info.iccid();
    json["Imsi"] = info.imsi();
    json["Imei"] = info.imei();
}

} // namespace

Json::Value ToJson(const ipc::MVoid& /*message*/)
{
    return Json::objectValue;
}

Json::Value ToJson(const ipc::MBool& message)
{
    Json::Value json;
    json["Value"] = message.value();
    return json;
}

Json::Value ToJson(const ipc::MText& message)
{
    Json::Value json;
    json["Value"] = message.value();
    return json;
}

Json::Value ToJson(const ipc::MRebootType& message)
{
    Json::Value json;
    json["Type"] = message.type();
    return json;
}

Json::Value ToJson(const ipc::MSignalIdentifier& message)
{
    Json::Value json;
    json["Identifier"] = message.identifier();
    return json;
}

Json::Value ToJson(const ipc::MDiagnosticsSignal& message)
{
    Json::Value json;
    json["Identifier"] = message.identifier();
    json["Value"] = Json::Value(Json::arrayValue);
    for (const ipc::MDiagnosticsData& data : message.data())
    {
        json["Value"].append(ValueToJson(data));
    }
    return json;
}

Json::Value ToJson(const ipc::MDiagnosticsSnapshot& message)
{
    Json::Value json(Json::arrayValue);
    for (const ipc::MDiagnosticsSignal& signal : message.signal())
    {
        json.append(ToJson(signal));
    }
    return json;
}

Json::Value ToJson(const ipc::MSignalReport& message)
{
    Json::Value json;
    json["Signal"] = ToJson(message.signal());
    json["Timestamp"]["Seconds"] = Json::Int64{message.timestamp().seconds()};
    json["Timestamp"]["Microseconds"] = message.timestamp().microseconds();
    return json;
}

Json::Value ToJson(const ipc::MFbEventType& message)
{
    Json::Value json;
    json["Type"] = message.type();
    return json;
}

Json::Value ToJson(const ipc::MCurrentControlLimit& message)
{
    Json::Value json;
    json["Source"] = message.source();
    if (message.has_limit())
    {
        json["Limit"] = message.limit();
    }
    return json;
}

Json::Value ToJson(const ipc::MConnectorInfo& message)
{
    Json::Value json;
    json["State"] = message.connector_state();
    if (message.has_session())
    {
        json["Session"]["SessionId"] = message.session().session_id();
        json["Session"]["Authorized"] = message.session().authorized();
    }
    if (message.has_reservation())
    {
        json["Reservation"]["ReservationId"] = message.reservation().reservation_id();
        json["Reservation"]["ExpiryDate"] = message.reservation().expiry_date();
        json["Reservation"]["IdToken"] = message.reservation().id_token();
    }
    return json;
}

Json::Value ToJson(const ipc::MMeterData& message)
{
    Json::Value json;
    json["Power"] = Json::Value(Json::arrayValue);
    for (const auto watts : message.power())
    {
        json["Power"].append(watts);
    }
    json["SessionMarker"] = message.session_marker();
    json["TotalEnergy"] = Json::Int64{message.total_energy()};
    json["EnergyAtSessionStart"] = Json::Int64{message.energy_at_session_start()};
    return json;
}

Json::Value ToJson(const ipc::MNetStatus& message)
{
    Json::Value json;
    json["Interface"] = message.interface();
    json["Status"] = message.status();
    if (message.has_signal_strength())
    {
        json["SignalStrength"] = message.signal_strength();
    }
    if (message.has_net_properties())
    {
        AddNetProperties(message.net_properties(), json["NetProperties"]);
    }
    if (message.has_net_dns())
    {
        AddNetDns(message.net_dns(), json["NetDns"]);
    }
    if (message.has_lte_info())
    {
        AddLteInfo(message.lte_info(), json["LteInfo"]);
    }
    return json;
}

Json::Value ToJson(const ipc::MWlanNetwork& message)
{
    Json::Value json;
    json["Ssid"] = message.ssid();
    json["Security"] = message.security();
    json["SignalStrength"] = message.signal_strength();
    json["Channel"] = message.channel();
    return json;
}

} // namespace Simulator
