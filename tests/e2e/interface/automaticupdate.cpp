/// The station's update of its own software.
#include "tests/e2e/interface/sections.h"

namespace Interface
{

namespace
{

const std::string NotFound = "Requested update package type not found in update helper descriptor";

const std::string Topic = "/system/fwupdate/status";
const std::string DownloadFailed = Event(Topic, R"({"status": "EFwUpdateErrDownloadFailed"})");
const std::string Requested = R"(BoardControl.RequestFirmwareUpdate {"Value":"WebInterfaceAutomatic"})";
const std::string Package = "tmp/update/package.swu";

/// Has the download server answer with this text on a path.
SRow Offer(const std::string& path, const std::string& text)
{
    std::string escaped;
    for (const char character : text)
    {
        escaped.append(character == '"' ? "\\" : "").push_back(character);
    }
    return {Station, "POST /download", R"({"Path": ")" + path + R"(", "Text": ")" + escaped + "\"}"};
}

SRow Describe(const std::string& descriptor)
{
    return Offer("/versions.json", descriptor);
}

const std::string Both =
    R"({"firmwareUrl": "http://127.0.0.1:8091/f", "firmwareVersion": "3", "customizationUrl": "http://127.0.0.1:8091/c", "customizationVersion": "C 4"})";
const std::string FirmwareOnly = R"({"firmwareUrl": "http://127.0.0.1:8091/f", "firmwareVersion": "3"})";
const std::string CustomizationOnly =
    R"({"customizationUrl": "http://127.0.0.1:8091/c", "customizationVersion": "C 4", "firmwareUrl": "", "firmwareVersion": ""})";

} // namespace

Sections AutomaticUpdate()
{
    // clang-format off
    return {
    {"SoftwareVersions", EMode::Dashboard, {}, {
        {NoneOrWrong, "GET /system/software/automatic-update/current-versions",   {}, Unauthorized()},
        {NoneOrWrong, "GET /system/software/automatic-update/available-versions", {}, Unauthorized()},
        {Valid, "GET /system/software/automatic-update/current-versions",   {}, Ok(R"({"Firmware": "1.0.0-simulated"})")},
        // as the descriptor says at the time
        Describe(Both),
        {Valid, "GET /system/software/automatic-update/available-versions", {}, Ok(R"({"Firmware": "3", "Customization": "C 4"})")},
        Describe(FirmwareOnly),
        {Valid, "GET /system/software/automatic-update/available-versions", {}, Ok(R"({"Firmware": "3"})")},
        Describe(CustomizationOnly),
        {Valid, "GET /system/software/automatic-update/available-versions", {}, Ok(R"({"Customization": "C 4"})")},
        Describe(R"({"firmwareUrl": "http://127.0.0.1:8091/f"})"),
        {Valid, "GET /system/software/automatic-update/available-versions", {}, Ok("{}")},
        Describe(R"({"firmwareVersion": "3", "customizationVersion": "C 4", "customizationUrl": ""})"),
        {Valid, "GET /system/software/automatic-update/available-versions", {}, Ok("{}")},
        Describe("{}"),
        {Valid, "GET /system/software/automatic-update/available-versions", {}, Ok("{}")},
        // none that can be read
        Describe("no JSON"),
        {Valid, "GET /system/software/automatic-update/available-versions", {}, Ok("{}")},
        Describe(""),
        {Valid, "GET /system/software/automatic-update/available-versions", {}, Ok("{}")},
        {Station, "POST /download", R"({"Path": "/versions.json", "Status": 404, "Text": "{}"})"},
        {Valid, "GET /system/software/automatic-update/available-versions", {}, Ok("{}")},
    }},
    {"SoftwareVersionsWithACustomization", EMode::Dashboard, {{"fwinfo", R"({"FwIdent": null, "FwCustomizationVersion": "C 3"})"}, {"settings", R"({"WebIfUpdateHelperUrl": ""})"}}, {
        {Valid, "GET /system/software/automatic-update/current-versions",   {}, Ok(R"({"Firmware": "Not found", "Customization": "C 3"})")},
        {Valid, "GET /system/software/automatic-update/available-versions", {}, Ok("{}")},
        {Valid, "POST /system/software/automatic-update/update", R"({"Package-Type": "Firmware"})", Message(400, NotFound)},
    }},
    {"SoftwareUpdate", EMode::Dashboard, {}, {
        // the board takes each request, and does nothing
        {Station, "POST /fault", R"({"Service": "BoardControl", "Operation": "RequestFirmwareUpdate", "Answer": 0})"},
        {Browser, "subscribe /system/fwupdate/status", {}, Frames({Subscribed(Topic)})},
        Describe(Both), Offer("/f", "firmware"), Offer("/c", "customization"),
        {NoneOrWrong, "POST /system/software/automatic-update/update", {}, Unauthorized()},
        {NoneOrWrong, "POST /system/software/automatic-update/update", R"({"Package-Type": "Firmware"})", Unauthorized()},
        {Valid,   "POST /system/software/automatic-update/update", {},                               NoValue()},
        {Valid,   "POST /system/software/automatic-update/update", "{}",                             BadRequest()},
        {Valid,   "POST /system/software/automatic-update/update", "[]",                             NoObject()},
        {Valid,   "POST /system/software/automatic-update/update", R"({"Package-Type": 1})",         BadRequest()},
        {Valid,   "POST /system/software/automatic-update/update", R"({"Package-Type": ""})",        Message(400, NotFound)},
        {Valid,   "POST /system/software/automatic-update/update", R"({"Package-Type": "firmware"})", Message(400, NotFound)},
        {Gone,    Package},
        // both kinds
        {Valid,   "POST /system/software/automatic-update/update", R"({"Package-Type": "Firmware"})",      NoContent(), {Requested}},
        {Holds,   Package, "firmware"},
        {Valid,   "POST /system/software/automatic-update/update", R"({"Package-Type": "Customization"})", NoContent(), {Requested}},
        {Holds,   Package, "customization"},
        // one that is not there, though the other is
        Describe(FirmwareOnly),
        {Valid,   "POST /system/software/automatic-update/update", R"({"Package-Type": "Customization"})", Message(400, NotFound)},
        Describe(CustomizationOnly),
        {Valid,   "POST /system/software/automatic-update/update", R"({"Package-Type": "Firmware"})",      Message(400, NotFound)},
        Describe("no JSON"),
        {Valid,   "POST /system/software/automatic-update/update", R"({"Package-Type": "Firmware"})",      Message(400, NotFound)},
        {Holds,   Package, "customization"},
        // a download that fails is told of, and leaves no package
        Describe(Both),
        {Station, "POST /download", R"({"Path": "/f", "Status": 404, "Text": "firmware"})"},
        {Valid,   "POST /system/software/automatic-update/update", R"({"Package-Type": "Firmware"})",      NoContent()},
        {Browser, "hears", {}, Frames({DownloadFailed})},
        {Gone,    Package},
        {Station, "POST /download", R"({"Path": "/f", "Text": "firmware", "CutAfter": 3})"},
        {Valid,   "POST /system/software/automatic-update/update", R"({"Package-Type": "Firmware"})",      NoContent()},
        {Browser, "hears", {}, Frames({DownloadFailed})},
        {Gone,    Package},
        // a board that refuses or is not there is not
        {Station, "POST /fault", R"({"Service": "BoardControl", "Operation": "RequestFirmwareUpdate", "Refuse": true, "Times": 1})"},
        {Valid,   "POST /system/software/automatic-update/update", R"({"Package-Type": "Customization"})", NoContent(), {Requested}},
        {Station, "POST /fault", R"({"Service": "BoardControl", "Operation": "RequestFirmwareUpdate", "Fail": true, "Times": 1})"},
        {Valid,   "POST /system/software/automatic-update/update", R"({"Package-Type": "Customization"})", NoContent(), {Requested}},
        {Browser, "hears", {}, Frames({})},
        {Holds,   Package, "customization"},
    }},
    {Commissioning, EMode::Commissioning, {}, {
        {Station, "POST /fault", R"({"Service": "BoardControl", "Operation": "RequestFirmwareUpdate", "Answer": 0})"},
        Describe(FirmwareOnly), Offer("/f", "firmware"),
        {Anybody, "GET /system/software/automatic-update/current-versions",   {}, Ok(R"({"Firmware": "1.0.0-simulated"})")},
        {Anybody, "GET /system/software/automatic-update/available-versions", {}, Ok(R"({"Firmware": "3"})")},
        {Anybody, "POST /system/software/automatic-update/update", R"({"Package-Type": "Customization"})", Message(400, NotFound)},
        {Anybody, "POST /system/software/automatic-update/update", R"({"Package-Type": "Firmware"})", NoContent(), {Requested}},
        {Holds,   Package, "firmware"},
    }},
    };
    // clang-format on
}

} // namespace Interface
