/// The search for a WLAN and the way into it, and the search for meters in the network.
#include "tests/e2e/interface/sections.h"

namespace Interface
{

namespace
{

const std::string Validated = "NetM.ValidateConfig {}";
const std::string Scanned = "NetM.ScanWlan {}";

/// A fault of the next validation
SRow NextValidation(const std::string& fault)
{
    return {Station,
            "POST /fault",
            R"({"Service": "NetM", "Operation": "ValidateConfig", "Times": 1, )" + fault + "}"};
}

const std::string Accepted = R"("Answer": true)";
const std::string Refused = R"("Answer": false)";
const std::string Failed = R"("Fail": true)";

} // namespace

Sections NetworkSetUp()
{
    // clang-format off
    return {
    {"ScanOfWlans", EMode::Dashboard, {}, {
        {NoneOrWrong, "GET /network/scanwlan", {}, Unauthorized()},
        {Station, "POST /wlan", R"({"Networks": [{"Ssid": "Lab", "Security": "WPA2", "SignalStrength": -40, "Channel": 6, "Password": "x"},
          {"Ssid": "", "Security": "", "SignalStrength": 0, "Channel": 165}]})"},
        {Valid,   "GET /network/scanwlan", {},
         Ok(R"({"Networks": [{"Ssid": "Lab", "Security": "WPA2", "SignalStrength": -40, "Channel": 6}, {"Ssid": "", "Security": "", "SignalStrength": 0, "Channel": 165}]})"), {Scanned}},
        {Station, "POST /wlan", R"({"Networks": []})"},
        {Valid,   "GET /network/scanwlan", {}, Ok(R"({"Networks": []})"), {Scanned}},
        // the service fails, and nobody is there
        {Station, "POST /fault", R"({"Service": "NetM", "Operation": "ScanWlan", "Answer": null, "Times": 1})"},
        {Valid,   "GET /network/scanwlan", {}, Reason(500), {Scanned}},
        {Station, "POST /fault", R"({"Service": "NetM", "Operation": "ScanWlan", "Fail": true, "Times": 1})"},
        {Valid,   "GET /network/scanwlan", {}, Failure("NetM.ScanWlan: <...>"), {Scanned}},
    }},
    {"WayIntoAWlan", EMode::Dashboard, {}, {
        {NoneOrWrong, "POST /network/connectwlan", {}, Unauthorized()},
        {NoneOrWrong, "POST /network/connectwlan", R"({"Ssid": "Home", "Password": "home-password"})", Unauthorized()},
        {Valid,   "POST /network/connectwlan", {},                               NoValue()},
        {Valid,   "POST /network/connectwlan", "{}",                             BadRequest()},
        {Valid,   "POST /network/connectwlan", "[]",                             NoObject()},
        {Valid,   "POST /network/connectwlan", R"({"Ssid": "Home"})",            BadRequest()},
        {Valid,   "POST /network/connectwlan", R"({"Password": "x"})",           BadRequest()},
        {Valid,   "POST /network/connectwlan", R"({"Ssid": 1, "Password": ""})", BadRequest()},
        {Valid,   "POST /network/connectwlan", R"({"Ssid": "Home", "Password": null})", BadRequest()},
        {Stored,  "network", R"({"NetMWlanEnable": null, "NetMSsid": null})"},
        // another network
        {Valid,   "POST /network/connectwlan", R"({"Ssid": "Home", "Password": "home-password"})",
         NoContent(), {Changed("NetMWlanEnable", "true"), Changed("NetMSsid", "Home"), SecurityChanged("WlanStaPassword", "****"), Validated}},
        {Stored,  "network", R"({"NetMWlanEnable": true, "NetMSsid": "Home"})"},
        {Stored,  "secrets", R"({"WlanStaPassword": "home-password"})"},
        // the same: down and up again
        {Valid,   "POST /network/connectwlan", R"({"Ssid": "Home", "Password": "home-password"})",
         NoContent(), {Changed("NetMWlanEnable", "false"), Validated, Changed("NetMWlanEnable", "true"), Validated}},
        NextValidation(Refused),
        {Valid,   "POST /network/connectwlan", R"({"Ssid": "Home", "Password": "home-password"})",
         NoContent(), {Changed("NetMWlanEnable", "false"), Validated, Changed("NetMWlanEnable", "true"), Validated}},
        NextValidation(Accepted), NextValidation(Refused),
        {Valid,   "POST /network/connectwlan", R"({"Ssid": "Home", "Password": "home-password"})",
         Reason(500), {Changed("NetMWlanEnable", "false"), Validated, Changed("NetMWlanEnable", "true"), Validated}},
        {Stored,  "network", R"({"NetMWlanEnable": true, "NetMSsid": "Home"})"},
        NextValidation(Failed),
        {Valid,   "POST /network/connectwlan", R"({"Ssid": "Home", "Password": "home-password"})",
         Failure("NetM.ValidateConfig: <...>"), {Changed("NetMWlanEnable", "false"), Validated}},
        // the same while it is down: up only
        {Valid,   "POST /network/connectwlan", R"({"Ssid": "Home", "Password": "home-password"})", NoContent(), {Changed("NetMWlanEnable", "true"), Validated}},
        // another password makes it another network; a refused one stays in the files, switched off
        NextValidation(Refused),
        {Valid,   "POST /network/connectwlan", R"({"Ssid": "Home", "Password": "wrong"})",
         Reason(500), {SecurityChanged("WlanStaPassword", "****"), Validated, Changed("NetMWlanEnable", "false"), Validated}},
        {Stored,  "network", R"({"NetMWlanEnable": false, "NetMSsid": "Home"})"},
        {Stored,  "secrets", R"({"WlanStaPassword": "wrong"})"},
        NextValidation(Refused),
        {Valid,   "POST /network/connectwlan", R"({"Ssid": "Home", "Password": "wrong"})", Reason(500), {Changed("NetMWlanEnable", "true"), Validated}},
        NextValidation(Refused), NextValidation(Refused),
        {Valid,   "POST /network/connectwlan", R"({"Ssid": "Elsewhere", "Password": "x"})",
         Reason(500), {Changed("NetMSsid", "Elsewhere"), SecurityChanged("WlanStaPassword", "****"), Validated, Changed("NetMWlanEnable", "false"), Validated}},
        {Stored,  "network", R"({"NetMWlanEnable": false, "NetMSsid": "Elsewhere"})"},
        {Stored,  "secrets", R"({"WlanStaPassword": "x"})"},
        NextValidation(Failed),
        {Valid,   "POST /network/connectwlan", R"({"Ssid": "Guests", "Password": ""})",
         Failure("NetM.ValidateConfig: <...>"), {Changed("NetMWlanEnable", "true"), Changed("NetMSsid", "Guests"), SecurityChanged("WlanStaPassword", "****"), Validated}},
        // an open one
        {Valid,   "POST /network/connectwlan", R"({"Ssid": "Home", "Password": "home-password"})",
         NoContent(), {Changed("NetMSsid", "Home"), SecurityChanged("WlanStaPassword", "****"), Validated}},
        {Valid,   "POST /network/connectwlan", R"({"Ssid": "Guests", "Password": ""})",
         NoContent(), {Changed("NetMSsid", "Guests"), SecurityChanged("WlanStaPassword", "****"), Validated}},
    }},
    {"SearchForMeters", EMode::Dashboard, {}, {
        {NoneOrWrong, "GET /network/scanhomewizard",      {}, Unauthorized()},
        // takes five seconds
        {Valid | Meanwhile, "GET /network/scanhomewizard", {}, Ok(R"({"Devices": []})")},
        {NoneOrWrong, "POST /network/verifymodbustcpconn", {}, Unauthorized()},
        {NoneOrWrong, "POST /network/verifymodbustcpconn", R"({"Address": "127.0.0.1", "Port": 8090})", Unauthorized()},
        {Valid,   "POST /network/verifymodbustcpconn", {},                                          NoValue()},
        {Valid,   "POST /network/verifymodbustcpconn", "{}",                                        BadRequest()},
        {Valid,   "POST /network/verifymodbustcpconn", "[]",                                        NoObject()},
        {Valid,   "POST /network/verifymodbustcpconn", R"({"Address": "127.0.0.1"})",               BadRequest()},
        {Valid,   "POST /network/verifymodbustcpconn", R"({"Port": 502})",                          BadRequest()},
        {Valid,   "POST /network/verifymodbustcpconn", R"({"Address": 127, "Port": 502})",          BadRequest()},
        {Valid,   "POST /network/verifymodbustcpconn", R"({"Address": "127.0.0.1", "Port": -1})",   BadRequest()},
        {Valid,   "POST /network/verifymodbustcpconn", R"({"Address": "127.0.0.1", "Port": 1.5})",  BadRequest()},
        {Valid,   "POST /network/verifymodbustcpconn", R"({"Address": "127.0.0.1", "Port": "502"})", BadRequest()},
        {Valid,   "POST /network/verifymodbustcpconn", R"({"Address": "127.0.0.1", "Port": 4294967296})", BadRequest()},
        // a port that is listened on, also as it is left of a greater number, and one that is not
        {Valid,   "POST /network/verifymodbustcpconn", R"({"Address": "127.0.0.1", "Port": 8090})",  Ok(R"({"Available": true})")},
        {Valid,   "POST /network/verifymodbustcpconn", R"({"Address": "127.0.0.1", "Port": 73626})", Ok(R"({"Available": true})")},
        {Valid,   "POST /network/verifymodbustcpconn", R"({"Address": "127.0.0.1", "Port": 502})",   Ok(R"({"Available": false})")},
        {Valid,   "POST /network/verifymodbustcpconn", R"({"Address": "127.0.0.1", "Port": 70000})", Ok(R"({"Available": false})")},
        {Valid,   "POST /network/verifymodbustcpconn", R"({"Address": "127.0.0.1", "Port": 0})",     Ok(R"({"Available": false})")},
        {Valid,   "POST /network/verifymodbustcpconn", R"({"Address": "no address", "Port": 502})",  Ok(R"({"Available": false})")},
        {Valid,   "POST /network/verifymodbustcpconn", R"({"Address": "", "Port": 502})",            Ok(R"({"Available": false})")},
    }},
    {Commissioning, EMode::Commissioning, {}, {
        {None | Meanwhile,  "GET /network/scanhomewizard", {}, Ok(R"({"Devices": []})")},
        {Station, "POST /wlan", R"({"Networks": [{"Ssid": "Lab", "Security": "WPA2", "SignalStrength": -40, "Channel": 6, "Password": "x"}]})"},
        {Anybody, "GET /network/scanwlan", {}, Ok(R"({"Networks": [{"Ssid": "Lab", "Security": "WPA2", "SignalStrength": -40, "Channel": 6}]})"), {Scanned}},
        {Wrong | Meanwhile, "GET /network/scanhomewizard", {}, Ok(R"({"Devices": []})")},
        {Anybody, "POST /network/connectwlan", "{}", BadRequest()},
        {None,    "POST /network/connectwlan", R"({"Ssid": "Lab", "Password": "x"})",
         NoContent(), {Changed("NetMWlanEnable", "true"), Changed("NetMSsid", "Lab"), SecurityChanged("WlanStaPassword", "****"), Validated}},
        {Anybody, "POST /network/connectwlan", R"({"Ssid": "Lab", "Password": "x"})",
         NoContent(), {Changed("NetMWlanEnable", "false"), Validated, Changed("NetMWlanEnable", "true"), Validated}},
        {Valid | Meanwhile, "GET /network/scanhomewizard", {}, Ok(R"({"Devices": []})")},
        {Anybody, "POST /network/verifymodbustcpconn", R"({"Address": "127.0.0.1", "Port": 8090})", Ok(R"({"Available": true})")},
    }},
    };
    // clang-format on
}

} // namespace Interface
