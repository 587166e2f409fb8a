/// The event server: requests, topics and the first events of each.
#include "tests/e2e/interface/sections.h"

namespace Interface
{

namespace
{

const std::string Network = "/network/status";
const std::string Rfid = "/rfid/tokenfound";
const std::string Signals = "/system/diagnostics/statuschanged";
const std::string Session = "/session/status";
const std::string Firmware = "/system/fwupdate/status";

const std::string ReportOn = R"(Rfid.SetTokenReport {"Value":true})";
/// Also when a connection closes, whatever it listened to
const std::string ReportOff = R"(Rfid.SetTokenReport {"Value":false})";
const std::string SnapshotRead = "Diagnostics.GetSnapshot {}";

const std::string Unreadable = Result("error", "/unknown", "", "Could not parse request");
const std::string Unstructured = Result("error", "/unknown", "", "Invalid request structure");

std::string State(const std::string& word)
{
    return Event(Session, R"({"state": ")" + word + "\"}");
}

std::string Signal(int identifier, const char* type, bool value)
{
    return Event(Signals,
                 R"({"signal": )" + std::to_string(identifier) + R"(, "type": ")" + type + R"(", "value": )" +
                     (value ? "true" : "false") + "}");
}

const std::string Ethernet = Event(
    Network, R"({"interface": "EIfNameEthernet", "status": "ENetStatusDisconnected", "signalStrength": 0,
    "netProperties": {"ipv4Addr": "10.0.0.9", "ipv4Netmask": "255.0.0.0", "gateway": "10.0.0.1"},
    "netDns": {"preferredDnsServer": "1.1.1.1", "alternativeDnsServer": ""}})");
const std::string Lte =
    Event(Network, R"({"interface": "EIfNameLte", "status": "ENetStatusConnected", "signalStrength": -88,
    "lteInfo": {"carrier": "C", "technology": "LTE", "iccid": "1", "imsi": "2", "imei": "3"}})");

} // namespace

Sections Events()
{
    // clang-format off
    return {
    {"TopicRequests", EMode::Dashboard, {}, {
        // without a session the connection is closed
        {BrowserOfNone,  "hears", {}, Frames({Closed(4401, "Unauthorized")}), {ReportOff}},
        {BrowserOfWrong, "hears", {}, Frames({Closed(4401, "Unauthorized")}), {ReportOff}},
        // the cookie is taken apart without a look at blanks, and what is not the first runs on to the end
        {BrowserWith, "hears", "sessionid=<session>",            Frames({}), {ReportOff}},
        {BrowserWith, "hears", "sessionid=<session>;x=1",        Frames({}), {ReportOff}},
        {BrowserWith, "hears", ";;sessionid=<session>",          Frames({}), {ReportOff}},
        {BrowserWith, "hears", "x=1;sessionid=<session>",        Frames({}), {ReportOff}},
        {BrowserWith, "hears", "x=1; sessionid=<session>",       Frames({Closed(4401, "Unauthorized")}), {ReportOff}},
        {BrowserWith, "hears", "x=1;sessionid=<session>;y=2",    Frames({Closed(4401, "Unauthorized")}), {ReportOff}},
        {BrowserWith, "hears", "SessionId=<session>",            Frames({Closed(4401, "Unauthorized")}), {ReportOff}},
        {BrowserWith, "hears", "sessionid=",                     Frames({Closed(4401, "Unauthorized")}), {ReportOff}},
        {BrowserWith, "hears", "sessionid=<session>x",           Frames({Closed(4401, "Unauthorized")}), {ReportOff}},
        {BrowserWith, "hears", "x=1",                            Frames({Closed(4401, "Unauthorized")}), {ReportOff}},
        // what is no request
        {Browser, "says text",  "subscribe",                       Frames({Unreadable})},
        {Browser, "says text",  "",                                Frames({Unreadable})},
        {Browser, "says text",  "{",                               Frames({Unreadable})},
        {Browser, "says bytes", R"({"action": "subscribe", "topic": "/network/status"})", Frames({})},
        {Browser, "says text",  "{}",                              Frames({Unstructured, InvalidTopic("", "")})},
        {Browser, "says text",  "null",                            Frames({Unstructured, InvalidTopic("", "")})},
        {Browser, "says text",  R"({"action": "subscribe"})",      Frames({Unstructured, InvalidTopic("subscribe", "")})},
        {Browser, "says text",  R"({"topic": "/session/status"})", Frames({Unstructured, Result("error", Session, "", "Invalid action")})},
        {Browser, "says text",  R"({"action": true, "topic": 1})", Frames({Unstructured, InvalidTopic("true", "1")})},
        {Browser, "says text",  R"({"action": "subscribe", "topic": null})", Frames({Unstructured, InvalidTopic("subscribe", "")})},
        // what is none that there is
        {Browser, "subscribe /nowhere",         {}, Frames({InvalidTopic("subscribe", "/nowhere")})},
        {Browser, "unsubscribe /nowhere",       {}, Frames({InvalidTopic("unsubscribe", "/nowhere")})},
        {Browser, "listen /nowhere",            {}, Frames({InvalidTopic("listen", "/nowhere")})},
        {Browser, "subscribe /session/status/", {}, Frames({InvalidTopic("subscribe", "/session/status/")})},
        {Browser, "subscribe /Session/Status",  {}, Frames({InvalidTopic("subscribe", "/Session/Status")})},
        {Browser, "listen /network/status",     {}, Frames({Result("error", Network, "listen", "Invalid action")})},
        {Browser, "Subscribe /network/status",  {}, Frames({Result("error", Network, "Subscribe", "Invalid action")})},
        // more than is asked for is ignored
        {Browser, "says text",  R"({"action": "subscribe", "topic": "/network/status", "data": [1]})", Frames({Subscribed(Network)})},
    }},
    {"TopicOfTheNetwork", EMode::Dashboard, {}, {
        {Browser, "subscribe /network/status",   {}, Frames({Subscribed(Network)})},
        {Station, "POST /network", R"({"Interface": "EIfNameEthernet", "Status": "ENetStatusDisconnected", "SignalStrength": null,
          "NetProperties": {"Ipv4Addr": "10.0.0.9", "Ipv4Netmask": "255.0.0.0", "Gateway": "10.0.0.1"}, "NetDns": {"PreferredDnsServer": "1.1.1.1", "AlternativeDnsServer": ""}})"},
        {Browser, "hears", {}, Frames({Ethernet})},
        // an interface without a number from 1 to 5 is told to nobody; the one behind it shows it
        {Station, "POST /network", R"({"Interface": 0, "Status": 4})"},
        {Station, "POST /network", R"({"Interface": 6, "Status": 4})"},
        {Station, "POST /network", R"({"Interface": 1})"},
        {Browser, "hears", {}, Frames({Ethernet})},
        // a second listener gets what was told last, and a second subscription nothing more
        {Second,  "subscribe /network/status",   {}, Frames({Subscribed(Network), Ethernet})},
        {Second,  "subscribe /network/status",   {}, Frames({Subscribed(Network)})},
        {Station, "POST /network", R"({"Interface": 4, "Status": 4, "SignalStrength": -88, "NetProperties": null, "NetDns": null,
          "LteInfo": {"Carrier": "C", "Technology": "LTE", "Iccid": "1", "Imsi": "2", "Imei": "3"}})"},
        {Browser, "hears", {}, Frames({Lte})},
        {Second,  "hears", {}, Frames({Lte})},
        {Browser, "unsubscribe /network/status", {}, Frames({Unsubscribed(Network)})},
        {Browser, "unsubscribe /network/status", {}, Frames({Unsubscribed(Network)})},
        {Browser, "subscribe /network/status",   {}, MixedFrames({Subscribed(Network), Ethernet, Lte})},
        // the words of the interfaces and of their states
        {Station, "POST /network", R"({"Interface": 2, "Status": 0, "SignalStrength": null, "NetProperties": null, "NetDns": null})"},
        {Browser, "hears", {}, Frames({Event(Network, R"({"interface": "EIfNameWlan", "status": "ENetStatusUnknown", "signalStrength": 0})")})},
        {Station, "POST /network", R"({"Interface": 2, "Status": 1, "SignalStrength": 0})"},
        {Browser, "hears", {}, Frames({Event(Network, R"({"interface": "EIfNameWlan", "status": "ENetStatusDisabled", "signalStrength": 0})")})},
        {Station, "POST /network", R"({"Interface": 3, "Status": 2, "SignalStrength": null, "NetProperties": null, "NetDns": null})"},
        {Browser, "hears", {}, Frames({Event(Network, R"({"interface": "EIfNameAccessPoint", "status": "ENetStatusDisconnected", "signalStrength": 0})")})},
        {Station, "POST /network", R"({"Interface": 5, "Status": 3, "SignalStrength": null, "NetProperties": null, "NetDns": null})"},
        {Browser, "hears", {}, Frames({Event(Network, R"({"interface": "EIfNamePlc", "status": "ENetStatusConnecting", "signalStrength": 0})")})},
        {Station, "POST /network", R"({"Interface": 5, "Status": 5, "SignalStrength": -2147483648})"},
        {Browser, "hears", {}, Frames({Event(Network, R"({"interface": "EIfNamePlc", "status": "ENetStatusError", "signalStrength": -2147483648})")})},
    }},
    {"TopicOfTokens", EMode::Dashboard, {}, {
        {Browser, "subscribe /rfid/tokenfound",   {}, Frames({Subscribed(Rfid)}), {ReportOn}},
        {Station, "POST /rfid", R"({"Token": "04A1B2C3D4E5F6"})"},
        {Browser, "hears", {}, Frames({Event(Rfid, R"({"tokenId": "04A1B2C3D4E5F6"})")})},
        {Browser, "subscribe /rfid/tokenfound",   {}, Frames({Subscribed(Rfid)})},
        {Second,  "subscribe /rfid/tokenfound",   {}, Frames({Subscribed(Rfid)}), {ReportOn}},
        {Station, "POST /rfid", R"({"Token": ""})"},
        {Browser, "hears", {}, Frames({Event(Rfid, R"({"tokenId": ""})")})},
        {Second,  "hears", {}, Frames({Event(Rfid, R"({"tokenId": ""})")})},
        // the report stays on until the last listener has gone
        {Browser, "unsubscribe /rfid/tokenfound", {}, Frames({Unsubscribed(Rfid)})},
        {Second,  "unsubscribe /rfid/tokenfound", {}, Frames({Unsubscribed(Rfid)}), {ReportOff}},
        {Second,  "unsubscribe /rfid/tokenfound", {}, Frames({Unsubscribed(Rfid)}), {ReportOff}},
        // a service that does not help changes nothing
        {Station, "POST /fault", R"({"Service": "Rfid", "Operation": "SetTokenReport", "Refuse": true, "Times": 1})"},
        {Browser, "subscribe /rfid/tokenfound",   {}, Frames({Subscribed(Rfid)}), {ReportOn}},
        {Station, "POST /fault", R"({"Service": "Rfid", "Operation": "SetTokenReport", "Fail": true, "Times": 2})"},
        {Browser, "unsubscribe /rfid/tokenfound", {}, Frames({Unsubscribed(Rfid)}), {ReportOff}},
        {Browser, "subscribe /rfid/tokenfound",   {}, Frames({Subscribed(Rfid)}), {ReportOn}},
    }},
    {"TopicOfSignals", EMode::Dashboard, {}, {
        {Browser, "subscribe /system/diagnostics/statuschanged", {}, Frames({Subscribed(Signals)}), {SnapshotRead}},
        // live: an error up to 9999 and a warning from there, also beyond the numbers of the first events
        {Station, "POST /signal", R"({"Identifier": 1001, "Value": true})"},
        {Browser, "hears", {}, Frames({Signal(1001, "error", true)})},
        {Station, "POST /signal", R"({"Identifier": 9999, "Value": true})"},
        {Browser, "hears", {}, Frames({Signal(9999, "error", true)})},
        {Station, "POST /signal", R"({"Identifier": 10000, "Value": true})"},
        {Browser, "hears", {}, Frames({Signal(10000, "warning", true)})},
        {Station, "POST /signal", R"({"Identifier": 44, "Value": true})"},
        {Browser, "hears", {}, Frames({Signal(44, "error", true)})},
        {Station, "POST /signal", R"({"Identifier": 20000, "Value": true})"},
        {Browser, "hears", {}, Frames({Signal(20000, "warning", true)})},
        {Station, "POST /signal", R"({"Identifier": 1002, "Value": true})"},
        {Browser, "hears", {}, Frames({Signal(1002, "error", true)})},
        {Station, "POST /signal", R"({"Identifier": 1002, "Value": false})"},
        {Browser, "hears", {}, Frames({Signal(1002, "error", false)})},
        // not told: of another kind, two values, no flag at all; the flag behind them shows it
        {Station, "POST /signal", R"({"Identifier": 1003, "Value": true, "Type": 2})"},
        {Station, "POST /signal", R"({"Identifier": 1004, "Value": true, "Type": 3})"},
        {Station, "POST /signal", R"({"Identifier": 1005, "Value": [true, true], "Type": 0})"},
        {Station, "POST /signal", R"({"Identifier": 1006, "Value": [], "Type": 0})"},
        {Station, "POST /signal", R"({"Identifier": 10001, "Value": 1, "Type": 0})"},
        {Station, "POST /signal", R"({"Identifier": 10001, "Value": false})"},
        {Browser, "hears", {}, Frames({Signal(10001, "warning", false)})},
        // first events: the active ones from 1000 to 19999
        {Second,  "subscribe /system/diagnostics/statuschanged", {},
         MixedFrames({Subscribed(Signals), Signal(1001, "error", true), Signal(1003, "error", true), Signal(1004, "error", true), Signal(9999, "error", true), Signal(10000, "warning", true)}), {SnapshotRead}},
        {Second,  "subscribe /system/diagnostics/statuschanged", {}, Frames({Subscribed(Signals)})},
        {Second,  "unsubscribe /system/diagnostics/statuschanged", {}, Frames({Unsubscribed(Signals)})},
        // a service that does not answer: subscribed, without first events
        {Station, "POST /fault", R"({"Service": "Diagnostics", "Operation": "GetSnapshot", "Fail": true, "Times": 1})"},
        {Second,  "subscribe /system/diagnostics/statuschanged", {}, Frames({Subscribed(Signals)}), {SnapshotRead}},
        {Station, "POST /signal", R"({"Identifier": 1001, "Value": false})"},
        {Second,  "hears", {}, Frames({Signal(1001, "error", false)})},
    }},
    {"TopicOfTheSession", EMode::Dashboard, {{"hwinfo", R"({"HwHasMeter": false})"}}, {
        {Browser, "subscribe /session/status", {}, Frames({Subscribed(Session), State("unknown")})},
        {Station, "POST /connector", R"({"State": 1})"},
        {Browser, "hears", {}, Frames({State("available")})},
        {Browser, "subscribe /session/status", {}, Frames({Subscribed(Session)})},
        {Second,  "subscribe /session/status", {}, Frames({Subscribed(Session), State("available")})},
        {Station, "POST /connector", R"({"State": 2})"},
        {Browser, "hears", {}, Frames({State("unavailable")})},
        {Second,  "hears", {}, Frames({State("unavailable")})},
        {Second,  "unsubscribe /session/status", {}, Frames({Unsubscribed(Session)})},
        {Station, "POST /connector", R"({"State": 3})"},
        {Browser, "hears", {}, Frames({State("reserved")})},
        {Station, "POST /connector", R"({"State": 4})"},
        {Browser, "hears", {}, Frames({State("preparingPluggedIn")})},
        {Station, "POST /connector", R"({"State": 5})"},
        {Browser, "hears", {}, Frames({State("preparingAuthorized")})},
        {Station, "POST /connector", R"({"State": 6})"},
        {Browser, "hears", {}, Frames({State("charging")})},
        {Station, "POST /connector", R"({"State": 7})"},
        {Browser, "hears", {}, Frames({State("charging")})},
        {Station, "POST /connector", R"({"State": 8})"},
        {Browser, "hears", {}, Frames({State("charging")})},
        {Station, "POST /connector", R"({"State": 12})"},
        {Browser, "hears", {}, Frames({State("charging")})},
        {Station, "POST /connector", R"({"State": 9})"},
        {Browser, "hears", {}, Frames({State("finishing")})},
        {Station, "POST /connector", R"({"State": 10})"},
        {Browser, "hears", {}, Frames({State("faulted")})},
        {Station, "POST /connector", R"({"State": 0})"},
        {Browser, "hears", {}, Frames({State("unknown")})},
        // a state without a word is told to nobody
        {Station, "POST /connector", R"({"State": 13})"},
        {Station, "POST /connector", R"({"State": 1})"},
        {Browser, "hears", {}, Frames({State("available")})},
        // the beginning of a charge, and the first of the events that come every two seconds from then on
        {Station, "POST /connector", R"({"State": 11})"},
        {Browser, "hears", {}, FirstFrames({State("charging"), State("charging")})},
    }},
    {"TopicOfTheSessionWithAMeter", EMode::Dashboard, {}, {
        {Station, "POST /meter",     R"({"Power": [3680, 3680, 3680], "TotalEnergy": 1000000})"},
        {Browser, "subscribe /session/status", {},
         Frames({Subscribed(Session), Event(Session, R"({"state": "unknown", "meterData": {"totalEnergy": 1000000, "instantaneousPower": [0, 0, 0]}})")})},
        {Station, "POST /connector", R"({"State": 2})"},
        {Browser, "hears", {}, Frames({Event(Session, R"({"state": "unavailable", "meterData": {"totalEnergy": 1000000, "instantaneousPower": [0, 0, 0]}})")})},
    }},
    {"TopicOfTheSessionThatRuns", EMode::Dashboard, {}, {
        {Station, "POST /meter",     R"({"Power": [230, 3680], "TotalEnergy": 5000000000})"},
        {Station, "POST /connector", R"({"State": 5})"},
        // two values of power are not taken for the first two of three
        {Browser, "subscribe /session/status", {},
         Frames({Subscribed(Session), Event(Session, R"({"state": "preparingAuthorized", "meterData": {"totalEnergy": 5000000000, "sessionEnergy": 0, "instantaneousPower": [0, 0, 0]}})")})},
    }},
    {"TopicOfTheSessionWithABadMeter", EMode::Dashboard, {}, {
        {Station, "POST /fault", R"({"Service": "MeterService", "Operation": "GetMeterData", "Fail": true})"},
        {Browser, "subscribe /session/status", {}, Frames({Subscribed(Session)})},
        {Station, "POST /connector", R"({"State": 2})"},
        {Browser, "hears", {}, Frames({State("unavailable")})},
    }},
    {"TopicOfTheFirmware", EMode::Dashboard, {}, {
        {Browser, "subscribe /system/fwupdate/status", {}, Frames({Subscribed(Firmware)})},
        {Station, "POST /firmware", R"({"Status": 2})"},
        {Browser, "hears", {}, Frames({Event(Firmware, R"({"status": "EFwUpdateStatusNotIdle"})")})},
        {Second,  "subscribe /system/fwupdate/status", {}, Frames({Subscribed(Firmware), Event(Firmware, R"({"status": "EFwUpdateStatusNotIdle"})")})},
        {Second,  "subscribe /system/fwupdate/status", {}, Frames({Subscribed(Firmware)})},
        {Second,  "unsubscribe /system/fwupdate/status", {}, Frames({Unsubscribed(Firmware)})},
        {Station, "POST /firmware", R"({"Status": 0})"},
        {Browser, "hears", {},
         Frames({Event(Firmware, R"({"status": "EFwUpdateStatusSuccess", "fwIdentOld": "1.0.0-simulated", "fwIdentNew": "2.0.0-simulated"})")})},
        {Second,  "subscribe /system/fwupdate/status", {},
         Frames({Subscribed(Firmware), Event(Firmware, R"({"status": "EFwUpdateStatusSuccess", "fwIdentOld": "1.0.0-simulated", "fwIdentNew": "2.0.0-simulated"})")})},
        // the words of the failures
        {Station, "POST /firmware", R"({"Status": 1})"},
        {Browser, "hears", {}, Frames({Event(Firmware, R"({"status": "EFwUpdateStatusPackageMissing"})")})},
        {Station, "POST /firmware", R"({"Status": 2})"},
        {Browser, "hears", {}, Frames({Event(Firmware, R"({"status": "EFwUpdateStatusNotIdle"})")})},
        {Station, "POST /firmware", R"({"Status": 3})"},
        {Browser, "hears", {}, Frames({Event(Firmware, R"({"status": "EFwUpdateStatusFwInfoInvalid"})")})},
        {Station, "POST /firmware", R"({"Status": 4})"},
        {Browser, "hears", {}, Frames({Event(Firmware, R"({"status": "EFwUpdateStatusHwInfoInvalid"})")})},
        {Station, "POST /firmware", R"({"Status": 5})"},
        {Browser, "hears", {}, Frames({Event(Firmware, R"({"status": "EFwUpdateStatusSettingNotSaved"})")})},
        {Station, "POST /firmware", R"({"Status": 6})"},
        {Browser, "hears", {}, Frames({Event(Firmware, R"({"status": "EFwUpdateStatusSettingNotLoaded"})")})},
        {Station, "POST /firmware", R"({"Status": 7})"},
        {Browser, "hears", {}, Frames({Event(Firmware, R"({"status": "EFwUpdateStatusNoSpace"})")})},
        {Station, "POST /firmware", R"({"Status": 8})"},
        {Browser, "hears", {}, Frames({Event(Firmware, R"({"status": "EFwUpdateStatusProgrammingFailed"})")})},
        {Station, "POST /firmware", R"({"Status": 9})"},
        {Browser, "hears", {}, Frames({Event(Firmware, R"({"status": "EFwUpdateStatusImageNotLoaded"})")})},
        {Station, "POST /firmware", R"({"Status": 10})"},
        {Browser, "hears", {}, Frames({Event(Firmware, R"({"status": "EFwUpdateStatusInternalError"})")})},
    }},
    {"TopicsAfterALogout", EMode::Dashboard, {}, {
        {None,    "POST /auth/login", R"({"Password": "station-demo"})", NoContent().WithCookie("sessionid=<key>; path=/; SameSite=Strict"),
         {"Diagnostics.SendSignal 20502 Successful web interface login"}},
        {Browser,         "subscribe /system/fwupdate/status", {}, Frames({Subscribed(Firmware)})},
        {BrowserOfLatest, "subscribe /system/fwupdate/status", {}, Frames({Subscribed(Firmware)})},
        {Valid,   "POST /auth/logout", {}, NoContent()},
        {Station, "POST /firmware", R"({"Status": 2})"},
        {BrowserOfLatest, "hears", {}, Frames({Event(Firmware, R"({"status": "EFwUpdateStatusNotIdle"})")})},
        {Browser,         "hears", {}, Frames({})},
        // requests are still answered, but nothing is told
        {Browser,         "subscribe /network/status",         {}, Frames({Subscribed(Network)})},
        {Browser,         "subscribe /system/fwupdate/status", {}, Frames({Subscribed(Firmware)})},
    }},
    {"TopicsDuringCommissioning", EMode::Commissioning, {}, {
        {BrowserOfNone,  "subscribe /network/status",                   {}, Frames({Subscribed(Network)})},
        {BrowserOfNone,  "subscribe /rfid/tokenfound",                  {}, Frames({Subscribed(Rfid)}), {ReportOn}},
        {BrowserOfNone,  "subscribe /system/diagnostics/statuschanged", {}, Frames({InvalidTopic("subscribe", Signals)})},
        {BrowserOfNone,  "subscribe /session/status",                   {}, Frames({InvalidTopic("subscribe", Session)})},
        {BrowserOfNone,  "subscribe /system/fwupdate/status",           {}, Frames({InvalidTopic("subscribe", Firmware)})},
        {BrowserOfWrong, "subscribe /network/status",                   {}, Frames({Subscribed(Network)})},
        {BrowserOfWrong, "subscribe /rfid/tokenfound",                  {}, Frames({Subscribed(Rfid)}), {ReportOn}},
        {BrowserOfWrong, "subscribe /system/diagnostics/statuschanged", {}, Frames({InvalidTopic("subscribe", Signals)})},
        {BrowserOfWrong, "subscribe /session/status",                   {}, Frames({InvalidTopic("subscribe", Session)})},
        {BrowserOfWrong, "subscribe /system/fwupdate/status",           {}, Frames({InvalidTopic("subscribe", Firmware)})},
        {Browser,        "subscribe /network/status",                   {}, Frames({Subscribed(Network)})},
        {Browser,        "subscribe /rfid/tokenfound",                  {}, Frames({Subscribed(Rfid)}), {ReportOn}},
        {Browser,        "subscribe /system/diagnostics/statuschanged", {}, Frames({InvalidTopic("subscribe", Signals)})},
        {Browser,        "subscribe /session/status",                   {}, Frames({InvalidTopic("subscribe", Session)})},
        {Browser,        "subscribe /system/fwupdate/status",           {}, Frames({InvalidTopic("subscribe", Firmware)})},
        {Station, "POST /network", R"({"Interface": 4, "Status": 4, "SignalStrength": -88, "NetProperties": null, "NetDns": null,
          "LteInfo": {"Carrier": "C", "Technology": "LTE", "Iccid": "1", "Imsi": "2", "Imei": "3"}})"},
        {BrowserOfNone,  "hears", {}, Frames({Lte})},
        {BrowserOfWrong, "hears", {}, Frames({Lte})},
        {Browser,        "hears", {}, Frames({Lte})},
        {Second,         "subscribe /network/status",                   {}, Frames({Subscribed(Network), Lte})},
        {Station, "POST /rfid", R"({"Token": "04AA"})"},
        {BrowserOfNone,  "hears", {}, Frames({Event(Rfid, R"({"tokenId": "04AA"})")})},
        {BrowserOfWrong, "hears", {}, Frames({Event(Rfid, R"({"tokenId": "04AA"})")})},
        {Browser,        "hears", {}, Frames({Event(Rfid, R"({"tokenId": "04AA"})")})},
        {BrowserOfNone,  "unsubscribe /rfid/tokenfound",                {}, Frames({Unsubscribed(Rfid)})},
        {BrowserOfWrong, "unsubscribe /rfid/tokenfound",                {}, Frames({Unsubscribed(Rfid)})},
        {Browser,        "unsubscribe /rfid/tokenfound",                {}, Frames({Unsubscribed(Rfid)}), {ReportOff}},
    }},
    };
    // clang-format on
}

} // namespace Interface
