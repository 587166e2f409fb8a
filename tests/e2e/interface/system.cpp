/// Information, health, identification and reboots, and the three ways to begin and end an installation.
#include "tests/e2e/interface/sections.h"

namespace Interface
{

namespace
{

/// What the station's image says of it.
const std::string Info = R"({
    "CanChangeChargingPhases": true,
    "CanChargeSinglePhase": true,
    "CanChargeThreePhases": true,
    "CustomerId": "DEMO",
    "EthMacAddr": "02:00:00:00:00:01",
    "FwIdent": "1.0.0-simulated",
    "Hostname": "simulated-station",
    "HwFixedCableRating": 0,
    "HwFwCompat": "1",
    "HwHas4pRelay": true,
    "HwHasBop": true,
    "HwHasBuzzer": true,
    "HwHasDualSocket": false,
    "HwHasEthernet": true,
    "HwHasLed": true,
    "HwHasLte": true,
    "HwHasMeter": true,
    "HwHasMeterDisplay": false,
    "HwHasPlc": false,
    "HwHasRfid": true,
    "HwHasRs485": true,
    "HwHasSocket": true,
    "HwHasTpm": false,
    "HwHasWlan": true,
    "HwMaxCurrent": 32,
    "HwOneOrThreePhase": 3,
    "MainboardPn": "SIM-MB-1",
    "MainboardSn": "MB0000001",
    "MeterFwIdent": "1.2.3",
    "PlcMacAddr": "02:00:00:00:00:04",
    "ProductModelName": "Simulated Station 22",
    "ProductPn": "SIM-22-3P",
    "ProductSn": "SIM0000001",
    "ProductVendorName": "Example Charging",
    "WlanApMacAddr": "02:00:00:00:00:02",
    "WlanStaMacAddr": "02:00:00:00:00:03"})";

const std::string NothingKnown = R"({
    "CanChangeChargingPhases": false, "CanChargeSinglePhase": true, "CanChargeThreePhases": false, "CustomerId": null, "EthMacAddr": null,
    "FwIdent": null, "Hostname": null, "HwFixedCableRating": null, "HwFwCompat": null, "HwHas4pRelay": null, "HwHasBop": null,
    "HwHasBuzzer": null, "HwHasDualSocket": null, "HwHasEthernet": null, "HwHasLed": null, "HwHasLte": null, "HwHasMeter": null,
    "HwHasMeterDisplay": null, "HwHasPlc": null, "HwHasRfid": null, "HwHasRs485": null, "HwHasSocket": null, "HwHasTpm": null,
    "HwHasWlan": null, "HwMaxCurrent": null, "HwOneOrThreePhase": null, "MainboardPn": null, "MainboardSn": null, "MeterFwIdent": null,
    "PlcMacAddr": null, "ProductModelName": null, "ProductPn": null, "ProductSn": null, "ProductVendorName": null, "WlanApMacAddr": null,
    "WlanStaMacAddr": null})";

/// Calls
const std::string SoftReboot = R"(BoardControl.Reboot {"Type":0})";
const std::string HardReboot = R"(BoardControl.Reboot {"Type":1})";
const std::string Identified = R"(Feedback.SendEvent {"Type":3})";
const std::string Recommissioned = "Diagnostics.SendSignal 20007 Recommission triggered by web interface";
const std::string FactoryReset = "Diagnostics.SendSignal 20305 Factory reset triggered by web interface";
const std::string ConnectorRead = "SessionManager.GetConnectorInfo {}";
const std::string Validated = "NetM.ValidateConfig {}";

const std::string InSession = "Cannot start commissioning, charge session in progress";

} // namespace

Sections SystemControl()
{
    // clang-format off
    return {
    {"SystemControl", EMode::Dashboard, {}, {
        {Anybody,     "GET /system/health",             {}, NoContent()},
        {Anybody,     "GET /system/web-interface-mode", {}, Ok(R"({"Mode": "dashboard"})")},
        {NoneOrWrong, "GET /system/info",               {}, Unauthorized()},
        {Valid,       "GET /system/info",               {}, Ok(Info)},
        {NoneOrWrong, "PUT /system/identify",           {}, Unauthorized()},
        {Valid,       "PUT /system/identify",           {},      NoContent(), {Identified}},
        {Valid,       "PUT /system/identify",           "never", NoContent(), {Identified}},
        {Station,     "POST /fault", R"({"Service": "Feedback", "Operation": "SendEvent", "Refuse": true, "Times": 1})"},
        {Valid,       "PUT /system/identify",           {}, NoContent(), {Identified}},
        {Station,     "POST /fault", R"({"Service": "Feedback", "Operation": "SendEvent", "Fail": true, "Times": 1})"},
        {Valid,       "PUT /system/identify",           {}, Failure("Feedback.SendEvent: <...>"), {Identified}},
        {NoneOrWrong, "POST /system/reboot", {},                              Unauthorized()},
        {NoneOrWrong, "POST /system/reboot", R"({"RebootType": "SoftReboot"})", Unauthorized()},
        {Valid,       "POST /system/reboot", {},                              NoValue()},
        {Valid,       "POST /system/reboot", "{}",                            BadRequest()},
        {Valid,       "POST /system/reboot", "[]",                            NoObject()},
        {Valid,       "POST /system/reboot", R"({"RebootType": 0})",          BadRequest()},
        {Valid,       "POST /system/reboot", R"({"RebootType": ""})",         BadRequest()},
        {Valid,       "POST /system/reboot", R"({"RebootType": "softreboot"})", BadRequest()},
        {Valid,       "POST /system/reboot", R"({"RebootType": "SoftReboot"})", NoContent(), {SoftReboot}},
        {Valid,       "POST /system/reboot", R"({"RebootType": "HardReboot"})", NoContent(), {HardReboot}},
        {Station,     "POST /fault", R"({"Service": "BoardControl", "Operation": "Reboot", "Refuse": true, "Times": 1})"},
        {Valid,       "POST /system/reboot", R"({"RebootType": "SoftReboot"})", NoContent(), {SoftReboot}},
        {Station,     "POST /fault", R"({"Service": "BoardControl", "Operation": "Reboot", "Fail": true, "Times": 1})"},
        {Valid,       "POST /system/reboot", R"({"RebootType": "HardReboot"})", Failure("BoardControl.Reboot: <...>"), {HardReboot}},
    }},
    {BareStation, EMode::Dashboard, {{"etc/config/hwinfo.json", "{}"}, {"etc/config/fwinfo.json", "{}"}}, {
        {Valid, "GET /system/info",   {}, Ok(NothingKnown)},
    }},
    {"InfoOfThreePhasesWithARelay", EMode::Dashboard, {{"hwinfo", R"({"HwHasRfid": null, "HwMaxCurrent": "16"})"}, {"fwinfo", R"({"FwMeterVersion": null})"}}, {
        {Valid, "GET /system/info",   {}, Ok(With(Info, R"({"HwHasRfid": null, "HwMaxCurrent": "16", "MeterFwIdent": null})"))},
        {Valid, "PATCH /config/user", R"({"ConnectedPhases": 1, "Unknown": 1})", BadRequest()},
    }},
    {"InfoOfOneConnectedPhase", EMode::Dashboard, {{"settings", R"({"ConnectedPhases": 1})"}}, {
        {Valid, "GET /system/info",   {}, Ok(With(Info, R"({"CanChangeChargingPhases": false, "CanChargeThreePhases": false})"))},
    }},
    {"InfoOfThreePhasesWithoutARelay", EMode::Dashboard, {{"hwinfo", R"({"HwHas4pRelay": false})"}}, {
        {Valid, "GET /system/info",   {}, Ok(With(Info, R"({"HwHas4pRelay": false, "CanChangeChargingPhases": false, "CanChargeSinglePhase": false})"))},
    }},
    {Commissioning, EMode::Commissioning, {}, {
        {Anybody, "GET /system/health",             {}, NoContent()},
        {Anybody, "GET /system/web-interface-mode", {}, Ok(R"({"Mode": "commissioning"})")},
        {Anybody, "GET /system/info",               {}, Ok(Info)},
        {Anybody, "PUT /system/identify",           {}, NoContent(), {Identified}},
        {Anybody, "POST /system/reboot",            {}, NoValue()},
        {Anybody, "POST /system/reboot",            R"({"RebootType": "HardReboot"})", NoContent(), {HardReboot}},
    }},
    {"ModeOfAStationWithoutTheSetting", EMode::Commissioning, {{"settings", R"({"InstallationComplete": null})"}}, {
        {Anybody, "GET /system/web-interface-mode", {}, Ok(R"({"Mode": "commissioning"})")},
        {Anybody, "GET /auth/status",               {}, Ok(R"({"Active": true})")},
    }},
    };
    // clang-format on
}

Sections Installation()
{
    // clang-format off
    return {
    {"Recommission", EMode::Dashboard, {}, {
        {Anybody,     "POST /system/finishcommissioning", {}, NoSuchPath()},
        {NoneOrWrong, "POST /system/recommission",        {}, Unauthorized()},
        // a session is under way in all states but five
        {Station, "POST /connector", R"({"State": 4})"},
        {Valid,   "POST /system/recommission", {}, Message(400, InSession), {Recommissioned, ConnectorRead}},
        {Station, "POST /connector", R"({"State": 5})"},
        {Valid,   "POST /system/recommission", {}, Message(400, InSession), {Recommissioned, ConnectorRead}},
        {Station, "POST /connector", R"({"State": 6})"},
        {Valid,   "POST /system/recommission", {}, Message(400, InSession), {Recommissioned, ConnectorRead}},
        {Station, "POST /connector", R"({"State": 7})"},
        {Valid,   "POST /system/recommission", {}, Message(400, InSession), {Recommissioned, ConnectorRead}},
        {Station, "POST /connector", R"({"State": 8})"},
        {Valid,   "POST /system/recommission", {}, Message(400, InSession), {Recommissioned, ConnectorRead}},
        {Station, "POST /connector", R"({"State": 9})"},
        {Valid,   "POST /system/recommission", {}, Message(400, InSession), {Recommissioned, ConnectorRead}},
        {Station, "POST /connector", R"({"State": 11})"},
        {Valid,   "POST /system/recommission", {}, Message(400, InSession), {Recommissioned, ConnectorRead}},
        {Station, "POST /connector", R"({"State": 12})"},
        {Valid,   "POST /system/recommission", {}, Message(400, InSession), {Recommissioned, ConnectorRead}},
        {Station, "POST /connector", R"({"State": 13})"},
        {Valid,   "POST /system/recommission", {}, Message(400, InSession), {Recommissioned, ConnectorRead}},
        {Station, "POST /connector", R"({"State": -1})"},
        {Valid,   "POST /system/recommission", {}, Message(400, InSession), {Recommissioned, ConnectorRead}},
        {Station, "POST /connector", R"({"State": 9})"},
        {Station, "POST /connector", R"({"State": 1})"},
        // services that do not help
        {Station, "POST /fault", R"({"Service": "Diagnostics", "Operation": "SendSignal", "Fail": true, "Times": 1})"},
        {Valid,   "POST /system/recommission", {}, Failure("Diagnostics.SendSignal: <...>"), {Recommissioned}},
        {Station, "POST /fault", R"({"Service": "Diagnostics", "Operation": "SendSignal", "Refuse": true, "Times": 1})"},
        {Station, "POST /fault", R"({"Service": "SessionManager", "Operation": "GetConnectorInfo", "Fail": true, "Times": 1})"},
        {Valid,   "POST /system/recommission", {}, Failure("SessionManager.GetConnectorInfo: <...>"), {Recommissioned, ConnectorRead}},
        {Stored,  "settings", R"({"InstallationComplete": null})"},
        {Station, "POST /fault", R"({"Service": "BoardControl", "Operation": "Reboot", "Fail": true, "Times": 1})"},
        {Valid,   "POST /system/recommission", {},
         Failure("BoardControl.Reboot: <...>"), {Recommissioned, ConnectorRead, Changed("InstallationComplete", "false"), HardReboot}},
        {Stored,  "settings", R"({"InstallationComplete": false})"},
        {Station, "POST /fault", R"({"Service": "BoardControl", "Operation": "Reboot", "Refuse": true, "Times": 1})"},
        {Valid,   "POST /system/recommission", {}, NoContent(), {Recommissioned, ConnectorRead, HardReboot}},
        // the states of a free connector
        {Station, "POST /connector", R"({"State": 0})"},
        {Valid,   "POST /system/recommission", {}, NoContent(), {Recommissioned, ConnectorRead, HardReboot}},
        {Station, "POST /connector", R"({"State": 1})"},
        {Valid,   "POST /system/recommission", {}, NoContent(), {Recommissioned, ConnectorRead, HardReboot}},
        {Station, "POST /connector", R"({"State": 2})"},
        {Valid,   "POST /system/recommission", {}, NoContent(), {Recommissioned, ConnectorRead, HardReboot}},
        {Station, "POST /connector", R"({"State": 3})"},
        {Valid,   "POST /system/recommission", {}, NoContent(), {Recommissioned, ConnectorRead, HardReboot}},
        {Station, "POST /connector", R"({"State": 10})"},
        {Valid,   "POST /system/recommission", {}, NoContent(), {Recommissioned, ConnectorRead, HardReboot}},
        // the mode is asked of the settings; the routes and the sessions stay until the restart
        {None,    "GET /system/web-interface-mode", {}, Ok(R"({"Mode": "commissioning"})")},
        {Valid,   "GET /config/auth/standalonelist", {}, Ok(R"({"Tokens": []})")},
        {None,    "GET /config/auth/standalonelist", {}, Unauthorized()},
        {Valid,   "POST /system/finishcommissioning", {}, NoSuchPath()},
    }},
    {"FactoryReset", EMode::Dashboard, {}, {
        {NoneOrWrong, "POST /system/factory-reset", {}, Unauthorized()},
        {File,    "data/config/some/where/else", "x"},
        {File,    "data/log/system.log", "a line\n"},
        {Station, "POST /connector", R"({"State": 11})"},
        {Station, "POST /fault", R"({"Service": "Diagnostics", "Operation": "SendSignal", "Fail": true, "Times": 1})"},
        {Valid,   "POST /system/factory-reset", {}, Failure("Diagnostics.SendSignal: <...>"), {FactoryReset}},
        {Holds,   "data/config/some/where/else", "x"},
        {Valid,   "POST /system/factory-reset", {}, NoContent(), {FactoryReset, HardReboot}},
        {Gone,    "data/config/secrets.json"},
        {Gone,    "data/config/some"},
        {Holds,   "data/log/system.log", "a line\n"},
        // nothing left to remove, refused, nobody there
        {Valid,   "POST /system/factory-reset", {}, NoContent(), {FactoryReset, HardReboot}},
        {Station, "POST /fault", R"({"Service": "BoardControl", "Operation": "Reboot", "Refuse": true, "Times": 1})"},
        {Valid,   "POST /system/factory-reset", {}, NoContent(), {FactoryReset, HardReboot}},
        {File,    "data/config/some/where/else", "x"},
        {Station, "POST /fault", R"({"Service": "BoardControl", "Operation": "Reboot", "Fail": true, "Times": 1})"},
        {Valid,   "POST /system/factory-reset", {}, Failure("BoardControl.Reboot: <...>"), {FactoryReset, HardReboot}},
        {Gone,    "data/config/some"},
        // no directory to look into
        {Remove,  "data/config"},
        {Valid,   "POST /system/factory-reset", {},
         Failure("filesystem error: directory iterator cannot open directory: No such file or directory [/data/config]"), {FactoryReset}},
    }},
    {"FinishCommissioning", EMode::Commissioning, {}, {
        {Anybody, "POST /system/recommission",        {}, NoSuchPath()},
        {Anybody, "POST /system/factory-reset",       {}, NoSuchPath()},
        {Anybody, "GET /system/finishcommissioning",  {}, NotAllowed()},
        {Anybody, "POST /system/finishcommissioning", "{",  Message(400, "Could not parse body: * Line 1, Column 2\n  Missing '}' or object member name\n")},
        {Anybody, "POST /system/finishcommissioning", "[]", NoObject()},
        {Anybody, "POST /system/finishcommissioning", Typed("text/plain", "x"), Message(400, "Invalid content type")},
        {Stored,  "settings", R"({"InstallationComplete": null})"},
        // nobody there for the network: the installation goes on
        {Station, "POST /fault", R"({"Service": "NetM", "Operation": "ValidateConfig", "Fail": true, "Times": 1})"},
        {None,    "POST /system/finishcommissioning", "{}", Failure("NetM.ValidateConfig: <...>"), {Changed("NetMApEnable", "false"), Validated}},
        {Stored,  "settings", R"({"InstallationComplete": null})"},
        // the network refuses: the installation ends all the same
        {Station, "POST /fault", R"({"Service": "NetM", "Operation": "ValidateConfig", "Answer": false, "Times": 1})"},
        {None,    "POST /system/finishcommissioning", R"({"NetMApEnable": true})", NoContent(),
         {Changed("NetMApEnable", "true"), Validated, Changed("NetMApEnable", "false"), Validated, Changed("InstallationComplete", "true"), SoftReboot}},
        {Stored,  "settings", R"({"InstallationComplete": true})"},
        {Stored,  "network",  R"({"NetMApEnable": false})"},
        // without a body the access point is left alone; with one it is as the body says, or off
        {Anybody, "POST /system/finishcommissioning", {},                           NoContent(), {SoftReboot}},
        {Stored,  "network",  R"({"NetMApEnable": false})"},
        {None,    "POST /system/finishcommissioning", R"({"NetMApEnable": true})",  NoContent(), {Changed("NetMApEnable", "true"), Validated, SoftReboot}},
        {Anybody, "POST /system/finishcommissioning", R"({"NetMApEnable": true})",  NoContent(), {SoftReboot}},
        {None,    "POST /system/finishcommissioning", "{}",                         NoContent(), {Changed("NetMApEnable", "false"), Validated, SoftReboot}},
        {None,    "POST /system/finishcommissioning", R"({"NetMApEnable": true, "NetMSsid": "x"})",
         NoContent(), {Changed("NetMApEnable", "true"), Validated, SoftReboot}},
        {None,    "POST /system/finishcommissioning", R"({"NetMApEnable": "yes"})", NoContent(), {Changed("NetMApEnable", "false"), Validated, SoftReboot}},
        {None,    "POST /system/finishcommissioning", R"({"NetMApEnable": false})", NoContent(), {SoftReboot}},
        {None,    "POST /system/finishcommissioning", "null",                       NoContent(), {SoftReboot}},
        // the reboot is refused, or nobody is there for it
        {Station, "POST /fault", R"({"Service": "BoardControl", "Operation": "Reboot", "Refuse": true, "Times": 1})"},
        {None,    "POST /system/finishcommissioning", {}, NoContent(), {SoftReboot}},
        {Station, "POST /fault", R"({"Service": "BoardControl", "Operation": "Reboot", "Fail": true, "Times": 1})"},
        {None,    "POST /system/finishcommissioning", {}, Failure("BoardControl.Reboot: <...>"), {SoftReboot}},
        // the mode is asked of the settings; the routes stay until the restart
        {None,    "GET /system/web-interface-mode", {}, Ok(R"({"Mode": "dashboard"})")},
        {None,    "GET /auth/status",               {}, Ok(R"({"Active": true})")},
    }},
    };
    // clang-format on
}

} // namespace Interface
