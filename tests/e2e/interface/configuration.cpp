/// Settings of the user and of the network, and the choice of a back office.
#include "tests/e2e/interface/sections.h"

namespace Interface
{

namespace
{

/// All settings of the user, as the station's image has them.
const std::string User = R"({
    "BopFallbackCurrent": 6,
    "BopHomeWizardAddress": "",
    "BopSource": "None",
    "BopSourceParameters": "",
    "ConnectedPhases": 3,
    "CurrentCtrlBopCtType": "None",
    "CurrentCtrlBopEnable": false,
    "CurrentCtrlBopFuseRating": 25,
    "CurrentCtrlFixedChargeCurrentLimit": 32,
    "GroundMonitoring": true,
    "GroupLoadBalancingEnable": false,
    "GroupLoadBalancingFallbackCurrent": 6,
    "GroupLoadBalancingMaxCurrent": 32,
    "GroupLoadBalancingRole": "Follower",
    "HmiBuzzerVolume": 5,
    "HmiLedIntensityManual": 60,
    "HmiLedIntensityMax": 100,
    "HmiLedIntensityMin": 10,
    "HmiLedIntensityMode": "auto",
    "LocalSmartChargingAllowed": true,
    "PhaseRotation": "RST",
    "PredefinedCpoName": "",
    "ScheduledChargingAllowed": true,
    "ScheduledChargingEnable": false,
    "SeccOcppActive": false,
    "SeccOcppUri": "",
    "SessionManagerChargeWithoutAuth": false,
    "SolarChargingAllowed": true,
    "SolarChargingEnable": false,
    "SolarChargingMode": "Eco",
    "SolarChargingSource": "None",
    "SolarChargingSourceParameters": "",
    "TimeZone": "Europe/Amsterdam",
    "UserDefinedChargeLimitCurrent": 32,
    "UserDefinedChargeLimitCurrentAllowed": true})";

/// All that may be written, each changed
const std::string OtherUser = R"({
    "BopFallbackCurrent": 7,
    "BopHomeWizardAddress": "10.0.0.1",
    "BopSource": "P1",
    "BopSourceParameters": "p",
    "ConnectedPhases": 1,
    "CurrentCtrlBopCtType": "CT",
    "CurrentCtrlBopEnable": true,
    "CurrentCtrlBopFuseRating": 26,
    "CurrentCtrlFixedChargeCurrentLimit": 31,
    "GroundMonitoring": false,
    "GroupLoadBalancingEnable": true,
    "GroupLoadBalancingFallbackCurrent": 8,
    "GroupLoadBalancingMaxCurrent": 33,
    "GroupLoadBalancingRole": "Master",
    "HmiBuzzerVolume": 9,
    "HmiLedIntensityManual": 61,
    "HmiLedIntensityMax": 101,
    "HmiLedIntensityMin": -2147483648,
    "HmiLedIntensityMode": "manual",
    "PhaseRotation": "",
    "SeccOcppActive": true,
    "SessionManagerChargeWithoutAuth": true,
    "SolarChargingEnable": true,
    "SolarChargingMode": "Pure",
    "SolarChargingSource": "Meter",
    "SolarChargingSourceParameters": "\u00fc",
    "TimeZone": "UTC",
    "UserDefinedChargeLimitCurrent": 2147483647})";

/// Settings of the network and the one secret among them, as the station's image has them.
const std::string Network = R"({
    "NetMAlternativeDnsServerAddr": "",
    "NetMApEnable": true,
    "NetMDnsAuto": true,
    "NetMEthDhcpEnable": true,
    "NetMEthEnable": true,
    "NetMEthGatewayAddr": "",
    "NetMEthIpv4Addr": "",
    "NetMEthIpv4Netmask": "",
    "NetMLteApn": "internet",
    "NetMLteEnable": false,
    "NetMLteNbIotEnable": false,
    "NetMPlcEnable": false,
    "NetMPreferredDnsServerAddr": "",
    "NetMSsid": "",
    "NetMWlanDhcpEnable": true,
    "NetMWlanEnable": false,
    "NetMWlanIpv4Addr": "",
    "NetMWlanIpv4Netmask": ""})";

const std::string Offices = R"({"Backoffices": [
    {"Name": "Example Cloud", "UrlTemplate": "wss://ocpp.example.com/{serial}"},
    {"Name": "Demo Fleet", "UrlTemplate": "ws://fleet.example.org/ocpp/{serial}"}]})";

const std::string Validated = "NetM.ValidateConfig {}";

} // namespace

Sections UserSettings()
{
    // clang-format off
    return {
    {"SwitchOfTheSchedule", EMode::Dashboard, {{"run/synchronised", ""}}, {
        {Valid, "PATCH /config/user", R"({"ScheduledChargingEnable": true})", Ok(With(User, R"({"ScheduledChargingEnable": true})")),
         {R"(CurrentControl.SetLimit {"Limit":32000,"Source":12})", Changed("ScheduledChargingEnable", "true")}},
        {Stored, "settings", R"({"ScheduledChargingEnable": true})"},
        {Valid, "PATCH /config/user", R"({"ScheduledChargingEnable": false})", Ok(User),
         {R"(CurrentControl.ClearLimit {"Source":12})", Changed("ScheduledChargingEnable", "false")}},
        {Stored, "settings", R"({"ScheduledChargingEnable": false})"},
    }},
    {"UserSettings", EMode::Dashboard, {}, {
        {NoneOrWrong, "GET /config/user",   {}, Unauthorized()},
        {Valid,       "GET /config/user",   {}, Ok(User)},
        {NoneOrWrong, "PATCH /config/user", {}, Unauthorized()},
        {NoneOrWrong, "PATCH /config/user", R"({"HmiBuzzerVolume": 7})", Unauthorized()},
        {Valid, "PATCH /config/user", {},        NoValue()},
        {Valid, "PATCH /config/user", "[]",      Message(400, "Bad request body")},
        {Valid, "PATCH /config/user", "null",    Message(400, "Bad request body")},
        {Valid, "PATCH /config/user", "\"x\"",   Message(400, "Bad request body")},
        {Valid, "PATCH /config/user", "1",       Message(400, "Bad request body")},
        {Valid, "PATCH /config/user", "{}",      Ok(User)},
        // one that is unknown, or not to be written, or of another type
        {Valid, "PATCH /config/user", R"({"Unknown": 1})",                                BadRequest()},
        {Valid, "PATCH /config/user", R"({"InstallationComplete": false})",               BadRequest()},
        {Valid, "PATCH /config/user", R"({"WebIfManagementPassword": "x"})",              BadRequest()},
        {Valid, "PATCH /config/user", R"({"hmibuzzervolume": 1})",                        BadRequest()},
        {Valid, "PATCH /config/user", R"({"SeccOcppUri": "ws://x"})",                     BadRequest()},
        {Valid, "PATCH /config/user", R"({"PredefinedCpoName": "x"})",                    BadRequest()},
        {Valid, "PATCH /config/user", R"({"LocalSmartChargingAllowed": false})",          BadRequest()},
        {Valid, "PATCH /config/user", R"({"UserDefinedChargeLimitCurrentAllowed": true})", BadRequest()},
        {Valid, "PATCH /config/user", R"({"ScheduledChargingAllowed": false})",           BadRequest()},
        {Valid, "PATCH /config/user", R"({"SolarChargingAllowed": false})",               BadRequest()},
        {Valid, "PATCH /config/user", R"({"HmiBuzzerVolume": "7"})",                      BadRequest()},
        {Valid, "PATCH /config/user", R"({"HmiBuzzerVolume": 1.5})",                      BadRequest()},
        {Valid, "PATCH /config/user", R"({"HmiBuzzerVolume": 2147483648})",               BadRequest()},
        {Valid, "PATCH /config/user", R"({"HmiBuzzerVolume": true})",                     BadRequest()},
        {Valid, "PATCH /config/user", R"({"HmiBuzzerVolume": null})",                     BadRequest()},
        {Valid, "PATCH /config/user", R"({"TimeZone": 1})",                               BadRequest()},
        {Valid, "PATCH /config/user", R"({"TimeZone": ["UTC"]})",                         BadRequest()},
        {Valid, "PATCH /config/user", R"({"GroundMonitoring": 0})",                       BadRequest()},
        {Valid, "PATCH /config/user", R"({"GroundMonitoring": "false"})",                 BadRequest()},
        // one bad member refuses all, wherever it stands
        {Valid, "PATCH /config/user", R"({"HmiBuzzerVolume": 7, "Aaa": 1})",              BadRequest()},
        {Valid, "PATCH /config/user", R"({"HmiBuzzerVolume": 7, "Zzz": 1})",              BadRequest()},
        {Valid, "PATCH /config/user", R"({"HmiBuzzerVolume": 7, "TimeZone": 1})",         BadRequest()},
        {Valid, "GET /config/user",   {},                                                 Ok(User)},
        {Stored, "settings", R"({"HmiBuzzerVolume": null, "SeccOcppUri": null})"},
        // what is written is answered, is in the file and in the audit; only a change is
        {Valid, "PATCH /config/user", R"({"HmiBuzzerVolume": 7})",   Ok(With(User, R"({"HmiBuzzerVolume": 7})")), {Changed("HmiBuzzerVolume", "7")}},
        {Stored, "settings", R"({"HmiBuzzerVolume": 7})"},
        {Valid, "GET /config/user",   {},                            Ok(With(User, R"({"HmiBuzzerVolume": 7})"))},
        {Valid, "PATCH /config/user", R"({"HmiBuzzerVolume": 7})",   Ok(With(User, R"({"HmiBuzzerVolume": 7})"))},
        {Valid, "PATCH /config/user", R"({"HmiBuzzerVolume": 2.0})", Ok(With(User, R"({"HmiBuzzerVolume": 2.0})")), {Changed("HmiBuzzerVolume", "2.0")}},
        {Valid, "PATCH /config/user", OtherUser,                     Ok(With(User, OtherUser)),
         {Changed("BopFallbackCurrent", "7"), Changed("BopHomeWizardAddress", "10.0.0.1"), Changed("BopSource", "P1"), Changed("BopSourceParameters", "p"),
          Changed("ConnectedPhases", "1"), Changed("CurrentCtrlBopCtType", "CT"), Changed("CurrentCtrlBopEnable", "true"), Changed("CurrentCtrlBopFuseRating", "26"),
          Changed("CurrentCtrlFixedChargeCurrentLimit", "31"), Changed("GroundMonitoring", "false"), Changed("GroupLoadBalancingEnable", "true"),
          Changed("GroupLoadBalancingFallbackCurrent", "8"), Changed("GroupLoadBalancingMaxCurrent", "33"), Changed("GroupLoadBalancingRole", "Master"),
          Changed("HmiBuzzerVolume", "9"), Changed("HmiLedIntensityManual", "61"), Changed("HmiLedIntensityMax", "101"), Changed("HmiLedIntensityMin", "-2147483648"),
          Changed("HmiLedIntensityMode", "manual"), Changed("PhaseRotation", ""), Changed("SeccOcppActive", "true"), Changed("SessionManagerChargeWithoutAuth", "true"),
          Changed("SolarChargingEnable", "true"), Changed("SolarChargingMode", "Pure"), Changed("SolarChargingSource", "Meter"),
          Changed("SolarChargingSourceParameters", "\u00fc"), Changed("TimeZone", "UTC"), Changed("UserDefinedChargeLimitCurrent", "2147483647")}},
        {Stored, "settings", OtherUser},
        // the audit's event is refused, or nobody is there for it: the setting is written all the same
        {Station, "POST /fault", R"({"Service": "Diagnostics", "Operation": "SendSignal", "Refuse": true, "Times": 1})"},
        {Valid, "PATCH /config/user", R"({"HmiBuzzerVolume": 1})",
         Ok(With(With(User, OtherUser), R"({"HmiBuzzerVolume": 1})")), {Changed("HmiBuzzerVolume", "1")}},
        {Station, "POST /fault", R"({"Service": "Diagnostics", "Operation": "SendSignal", "Fail": true, "Times": 1})"},
        {Valid, "PATCH /config/user", R"({"HmiBuzzerVolume": 2})", Failure("Diagnostics.SendSignal: <...>"), {Changed("HmiBuzzerVolume", "2")}},
        {Valid, "GET /config/user",   {}, Ok(With(With(User, OtherUser), R"({"HmiBuzzerVolume": 2})"))},
    }},
    {"UserSettingsThatAreMissing", EMode::Dashboard, {{"settings", R"({"HmiBuzzerVolume": null, "TimeZone": null})"}}, {
        {Valid, "GET /config/user",   {}, Ok(Without(Without(User, "HmiBuzzerVolume"), "TimeZone"))},
        {Valid, "PATCH /config/user", R"({"TimeZone": "UTC"})",
         Ok(With(Without(User, "HmiBuzzerVolume"), R"({"TimeZone": "UTC"})")), {Changed("TimeZone", "UTC")}},
    }},
    {BareStation, EMode::Dashboard, {{"etc/config/settings.json", R"({"InstallationComplete": true})"}}, {
        {Valid, "GET /config/user",   {},   Ok("null")},
        {Valid, "PATCH /config/user", "{}", Ok("null")},
    }},
    {Commissioning, EMode::Commissioning, {}, {
        {Anybody, "GET /config/user",   {},   Ok(User)},
        {Anybody, "PATCH /config/user", "{}", Ok(User)},
        {Anybody, "PATCH /config/user", "[]", Message(400, "Bad request body")},
        {None,    "PATCH /config/user", R"({"HmiBuzzerVolume": 7})", Ok(With(User, R"({"HmiBuzzerVolume": 7})")), {Changed("HmiBuzzerVolume", "7")}},
    }},
    };
    // clang-format on
}

Sections NetworkSettings()
{
    // clang-format off
    return {
    {"NetworkSettings", EMode::Dashboard, {}, {
        {NoneOrWrong, "GET /config/network",   {}, Unauthorized()},
        {Valid,       "GET /config/network",   {}, Ok(Network)},
        {NoneOrWrong, "PATCH /config/network", {}, Unauthorized()},
        {NoneOrWrong, "PATCH /config/network", R"({"NetMApEnable": false})", Unauthorized()},
        {Valid, "PATCH /config/network", {},      NoValue()},
        {Valid, "PATCH /config/network", "[]",    Message(400, "Bad request body")},
        {Valid, "PATCH /config/network", "null",  Message(400, "Bad request body")},
        {Valid, "PATCH /config/network", "\"x\"", Message(400, "Bad request body")},
        {Valid, "PATCH /config/network", R"({"Unknown": 1})",                             BadRequest()},
        {Valid, "PATCH /config/network", R"({"WlanStaPassword": "x"})",                   BadRequest()},
        {Valid, "PATCH /config/network", R"({"NetMDnsAuto": "true"})",                    BadRequest()},
        {Valid, "PATCH /config/network", R"({"NetMSsid": true})",                         BadRequest()},
        {Valid, "PATCH /config/network", R"({"NetMDnsAuto": false, "Aaa": 1})",           BadRequest()},
        {Valid, "PATCH /config/network", R"({"NetMDnsAuto": false, "Zzz": 1})",           BadRequest()},
        // without an effect nobody is asked; the secret is read only, and may be sent back
        {Valid, "PATCH /config/network", "{}",                                            Ok(Network)},
        {Valid, "PATCH /config/network", Network,                                         Ok(Network)},
        {Valid, "PATCH /config/network", R"({"NetMLteApn": "other"})",                    Ok(Network)},
        {Valid, "PATCH /config/network", R"({"NetMLteApn": 1, "Unknown": 1})",            BadRequest()},
        // an effect is put into force
        {Valid, "PATCH /config/network", R"({"NetMEthIpv4Addr": "10.0.0.9", "NetMEthDhcpEnable": false, "NetMEthIpv4Netmask": "255.0.0.0"})",
         Ok(With(Network, R"({"NetMEthDhcpEnable": false, "NetMEthIpv4Addr": "10.0.0.9", "NetMEthIpv4Netmask": "255.0.0.0"})")),
         {Changed("NetMEthDhcpEnable", "false"), Changed("NetMEthIpv4Addr", "10.0.0.9"), Changed("NetMEthIpv4Netmask", "255.0.0.0"), Validated}},
        {Stored, "network", R"({"NetMEthDhcpEnable": false, "NetMEthIpv4Addr": "10.0.0.9", "NetMEthIpv4Netmask": "255.0.0.0"})"},
        {Valid, "PATCH /config/network", Network, Ok(Network),
         {Changed("NetMEthDhcpEnable", "true"), Changed("NetMEthIpv4Addr", ""), Changed("NetMEthIpv4Netmask", ""), Validated}},
        // refused and taken back, and taken back in vain
        {Station, "POST /fault", R"({"Service": "NetM", "Operation": "ValidateConfig", "Answer": false, "Times": 1})"},
        {Valid, "PATCH /config/network", R"({"NetMApEnable": false})", Reason(500),
         {Changed("NetMApEnable", "false"), Validated, Changed("NetMApEnable", "true"), Validated}},
        {Valid, "GET /config/network", {}, Ok(Network)},
        {Station, "POST /fault", R"({"Service": "NetM", "Operation": "ValidateConfig", "Answer": false, "Times": 2})"},
        {Valid, "PATCH /config/network", R"({"NetMSsid": "Home"})", Reason(500),
         {Changed("NetMSsid", "Home"), Validated, Changed("NetMSsid", ""), Validated}},
        {Valid, "GET /config/network", {}, Ok(Network)},
        // nobody there: nothing is taken back
        {Station, "POST /fault", R"({"Service": "NetM", "Operation": "ValidateConfig", "Fail": true, "Times": 1})"},
        {Valid, "PATCH /config/network", R"({"NetMSsid": "Home"})", Failure("NetM.ValidateConfig: <...>"), {Changed("NetMSsid", "Home"), Validated}},
        {Valid, "GET /config/network", {}, Ok(With(Network, R"({"NetMSsid": "Home"})"))},
    }},
    {"NetworkSettingsThatAreMissing", EMode::Dashboard, {{"network", R"({"NetMSsid": null})"}, {"secrets", R"({"NetMLteApn": null})"}}, {
        {Valid, "GET /config/network",   {},                        Ok(Without(Without(Network, "NetMSsid"), "NetMLteApn"))},
        // a key that was not there before is not taken back
        {Station, "POST /fault", R"({"Service": "NetM", "Operation": "ValidateConfig", "Answer": false, "Times": 1})"},
        {Valid, "PATCH /config/network", R"({"NetMSsid": "Home"})", Reason(500), {Changed("NetMSsid", "Home"), Validated, Validated}},
        {Valid, "GET /config/network",   {},                        Ok(With(Without(Network, "NetMLteApn"), R"({"NetMSsid": "Home"})"))},
    }},
    {Commissioning, EMode::Commissioning, {}, {
        {Anybody, "GET /config/network",   {},      Ok(Network)},
        {Anybody, "PATCH /config/network", "{}",    Ok(Network)},
        {Anybody, "PATCH /config/network", "[]",    Message(400, "Bad request body")},
        {None,    "PATCH /config/network", R"({"NetMApEnable": false})",
         Ok(With(Network, R"({"NetMApEnable": false})")), {Changed("NetMApEnable", "false"), Validated}},
    }},
    };
    // clang-format on
}

Sections Backoffices()
{
    // clang-format off
    return {
    {"Backoffices", EMode::Dashboard, {}, {
        {NoneOrWrong, "GET /config/ocpp-backoffice", {}, Unauthorized()},
        {Valid,       "GET /config/ocpp-backoffice", {}, Ok(Offices)},
        {Anybody,     "PUT /config/ocpp-backoffice", {}, NotAllowed()},
        {Anybody,     "PUT /config/ocpp-backoffice", R"({"Name": "Demo Fleet", "Url": "ws://x"})", NotAllowed()},
    }},
    {BareStation, EMode::Dashboard, {{"ocpp_backoffices", R"({"Backoffices": null})"}}, {
        {Valid, "GET /config/ocpp-backoffice", {}, Ok(R"({"Backoffices": []})")},
    }},
    {"BackofficeWithoutNameAndUrl", EMode::Dashboard, {{"ocpp_backoffices", R"({"Backoffices": [{"Settings": []}]})"}}, {
        {Valid, "GET /config/ocpp-backoffice", {}, Ok(R"({"Backoffices": [{"Name": "", "UrlTemplate": ""}]})")},
    }},
    {"ChoiceOfABackoffice", EMode::Commissioning, {}, {
        {Anybody, "GET /config/ocpp-backoffice", {},   Ok(Offices)},
        {Anybody, "PUT /config/ocpp-backoffice", {},   NoValue()},
        {Anybody, "PUT /config/ocpp-backoffice", "[]", NoObject()},
        {Anybody, "PUT /config/ocpp-backoffice", "1",  NoObject()},
        {Anybody, "PUT /config/ocpp-backoffice", "{}", NoContent()},
        {None,    "PUT /config/ocpp-backoffice", R"({"Name": "Example Cloud", "Url": "wss://ocpp.example.com/7"})", NoContent(),
         {Changed("PredefinedCpoName", "Example Cloud"), SecurityChanged("SeccOcppUri", "wss://ocpp.example.com/7"),
          Changed("SeccOcppSecurityProfile", "2"), Changed("NetMLteApn", "iot.example.com")}},
        {Stored,  "settings", R"({"PredefinedCpoName": "Example Cloud", "SeccOcppUri": "wss://ocpp.example.com/7", "SeccOcppSecurityProfile": "2"})"},
        {Stored,  "secrets",  R"({"NetMLteApn": "iot.example.com"})"},
        // without settings, and unknown
        {None,    "PUT /config/ocpp-backoffice", R"({"Name": "Demo Fleet", "Url": "ws://x"})", NoContent(),
         {Changed("PredefinedCpoName", "Demo Fleet"), SecurityChanged("SeccOcppUri", "ws://x")}},
        {None,    "PUT /config/ocpp-backoffice", R"({"Name": "Nobody"})", NoContent(),
         {Changed("PredefinedCpoName", "Nobody"), SecurityChanged("SeccOcppUri", "")}},
        {None,    "PUT /config/ocpp-backoffice", "{}", NoContent(), {Changed("PredefinedCpoName", "")}},
    }},
    {"BackofficeOfAnUnknownFile", EMode::Commissioning, {{"ocpp_backoffices", R"({"Backoffices": [{"Name": "A", "Settings": [
          {"File": "hwinfo", "Key": "ProductSn", "Value": "x"}, {"File": "network", "Key": "NetMSsid", "Value": "Cloud"}]}]})"}}, {
        {None,    "PUT /config/ocpp-backoffice", R"({"Name": "A", "Url": "u"})", NoContent(),
         {Changed("PredefinedCpoName", "A"), SecurityChanged("SeccOcppUri", "u"), Changed("NetMSsid", "Cloud")}},
        {Gone,    "data/config/hwinfo.json"},
    }},
    };
    // clang-format on
}

} // namespace Interface
