/// The snapshot of signals, and the download of the diagnostics.
#include "tests/e2e/interface/sections.h"

namespace Interface
{

namespace
{

const std::string Read = R"(Diagnostics.GetSignal {"Identifier":)";
/// One call for each signal of the snapshot
const std::vector<std::string> AllRead{
    Read + "140}", Read + "52}", Read + "53}", Read + "31}", Read + "127}", Read + "128}", Read + "142}"};

const std::string FreezeFrame = R"(Diagnostics.CreateFreezeFrame {"Value":"Web interface manual download"})";

/// A signal with a value and a unit, given as JSON arrays
std::string Shown(int identifier, const std::string& value, const std::string& unit)
{
    return R"({"Identifier": )" + std::to_string(identifier) + R"(, "Value": )" + value + R"(, "Unit": )" +
           unit + "}";
}

SAnswer Snapshot(const std::vector<std::string>& signals)
{
    std::string list;
    for (const std::string& signal : signals)
    {
        list.append(list.empty() ? "" : ", ").append(signal);
    }
    return Ok(R"({"Signals": [)" + list + "]}");
}

/// A signal without a measurement
std::string NotThere(int identifier)
{
    return Shown(identifier, R"(["N/A"])", R"([""])");
}

} // namespace

Sections Diagnostics()
{
    // clang-format off
    return {
    {"Snapshot", EMode::Dashboard, {}, {
        {NoneOrWrong, "GET /system/diagnostics/snapshot", {}, Unauthorized()},
        // nothing measured yet
        {Station, "POST /signal", R"({"Identifier": 140, "Value": [-1000, -1000, -1000], "Kind": "float"})"},
        {Station, "POST /signal", R"({"Identifier": 52,  "Value": [-1000, -1000, -1000], "Kind": "int"})"},
        {Station, "POST /signal", R"({"Identifier": 53,  "Value": [-1000, -1000, -1000], "Kind": "int"})"},
        {Station, "POST /signal", R"({"Identifier": 31,  "Value": -1000, "Kind": "float"})"},
        {Station, "POST /signal", R"({"Identifier": 127, "Value": -1000, "Kind": "int"})"},
        {Station, "POST /signal", R"({"Identifier": 128, "Value": -1000, "Kind": "int"})"},
        {Station, "POST /signal", R"({"Identifier": 142, "Value": "Unknown"})"},
        {Valid,   "GET /system/diagnostics/snapshot", {},
         Snapshot({NotThere(140), NotThere(52), NotThere(53), NotThere(31), NotThere(127), NotThere(128), NotThere(142)}), AllRead},
        // measured
        {Station, "POST /signal", R"({"Identifier": 140, "Value": [1.5, 2, -0.25], "Kind": "float"})"},
        {Station, "POST /signal", R"({"Identifier": 52,  "Value": [16000, 15949, -1000], "Kind": "int"})"},
        {Station, "POST /signal", R"({"Identifier": 53,  "Value": [230000, 229960, 0], "Kind": "int"})"},
        {Station, "POST /signal", R"({"Identifier": 31,  "Value": 15.96, "Kind": "float"})"},
        {Station, "POST /signal", R"({"Identifier": 127, "Value": -77, "Kind": "int"})"},
        {Station, "POST /signal", R"({"Identifier": 128, "Value": -50, "Kind": "int"})"},
        {Station, "POST /signal", R"({"Identifier": 142, "Value": "ECurrentControlBop"})"},
        {Valid,   "GET /system/diagnostics/snapshot", {},
         Snapshot({Shown(140, R"(["1.50", "2.00", "-0.25"])",  R"(["A", "A", "A"])"), Shown(52,  R"(["16.0", "15.9", "-1.0"])", R"(["A", "A", "A"])"),
                   Shown(53,  R"(["230.0", "230.0", "0.0"])",  R"(["V", "V", "V"])"), Shown(31,  R"(["16.0"])",                 R"(["A"])"),
                   Shown(127, R"(["-77"])",                    R"(["dBm"])"),         Shown(128, R"(["-50"])",                  R"(["dBm"])"),
                   Shown(142, R"(["Dynamic load balancing"])", R"([""])")}), AllRead},
        // of other kinds and lengths, without any value, and with a word that nobody knows
        {Station, "POST /signal", R"({"Identifier": 140, "Value": 3, "Kind": "float"})"},
        {Station, "POST /signal", R"({"Identifier": 52,  "Value": []})"},
        {Station, "POST /signal", R"({"Identifier": 53,  "Value": [230000, -1000, -1000], "Kind": "int"})"},
        {Station, "POST /signal", R"({"Identifier": 31,  "Value": true})"},
        {Station, "POST /signal", R"({"Identifier": 127, "Value": "strong"})"},
        {Station, "POST /signal", R"({"Identifier": 128, "Value": -40, "Kind": "int64"})"},
        {Station, "POST /signal", R"({"Identifier": 142, "Value": "Charging cable"})"},
        {Valid,   "GET /system/diagnostics/snapshot", {},
         Snapshot({Shown(140, R"(["3.00"])", R"(["A"])"), R"({"Identifier": 52})", Shown(53, R"(["230.0", "-1.0", "-1.0"])", R"(["V", "V", "V"])"),
                   NotThere(31), NotThere(127), NotThere(128), Shown(142, R"(["Charging cable"])", R"([""])")}), AllRead},
        // the service does not answer
        {Station, "POST /fault", R"({"Service": "Diagnostics", "Operation": "GetSignal", "Fail": true, "Times": 1})"},
        {Valid,   "GET /system/diagnostics/snapshot", {}, Failure("Diagnostics.GetSignal: <...>"), {Read + "140}"}},
    }},
    {"DiagnosticsDownload", EMode::Dashboard, {{"data/log/system.log", "a line\n"}}, {
        {NoneOrWrong, "GET /system/diagnostics/freezeframes", {}, Unauthorized()},
        {Valid,   "GET /system/diagnostics/freezeframes", {}, Download("DEMO_SIM0000001_<stamp>.pedp", "<archive>"), {FreezeFrame}},
        // refused, and nobody there: the package comes all the same
        {Station, "POST /fault", R"({"Service": "Diagnostics", "Operation": "CreateFreezeFrame", "Refuse": true, "Times": 1})"},
        {Valid,   "GET /system/diagnostics/freezeframes", {}, Download("DEMO_SIM0000001_<stamp>.pedp", "<archive>"), {FreezeFrame}},
        {Station, "POST /fault", R"({"Service": "Diagnostics", "Operation": "CreateFreezeFrame", "Fail": true, "Times": 1})"},
        {Valid,   "GET /system/diagnostics/freezeframes", {}, Download("DEMO_SIM0000001_<stamp>.pedp", "<archive>"), {FreezeFrame}},
        // one at a time: another is refused meanwhile; and a freeze frame without a name
        {Station, "POST /fault", R"({"Service": "Diagnostics", "Operation": "CreateFreezeFrame", "Answer": 0, "Times": 1})"},
        {Valid | Meanwhile, "GET /system/diagnostics/freezeframes", {}, Download("DEMO_SIM0000001_<stamp>.pedp", "<archive>"), {FreezeFrame}},
        {Valid,   "GET /system/diagnostics/freezeframes", {}, Failure("std::future_error: Future already retrieved")},
        {Station, "POST /freezeframe", R"({"Name": ""})"},
        {Through},
        {Valid,   "GET /system/diagnostics/freezeframes", {}, Download("DEMO_SIM0000001_<stamp>.pedp", "<archive>"), {FreezeFrame}},
        // no package
        {Remove,  "tmp/diagnostics_package_webbackend.pedp"},
        {File,    "tmp/diagnostics_package_webbackend.pedp/in/the/way", "x"},
        {Valid,   "GET /system/diagnostics/freezeframes", {}, NoContent(), {FreezeFrame}},
        {Remove,  "tmp/diagnostics_package_webbackend.pedp"},
        {Valid,   "GET /system/diagnostics/freezeframes", {}, Download("DEMO_SIM0000001_<stamp>.pedp", "<archive>"), {FreezeFrame}},
    }},
    {"DiagnosticsDownloadOfNobodysStation", EMode::Dashboard, {{"hwinfo", R"({"CustomerId": null, "ProductSn": "S/N \"7\""})"}}, {
        {Valid,   "GET /system/diagnostics/freezeframes", {}, Download("_S_N__7__<stamp>.pedp", "<archive>"), {FreezeFrame}},
    }},
    {Commissioning, EMode::Commissioning, {}, {
        {Station, "POST /signal", R"({"Identifier": 52,  "Value": []})"},
        {Station, "POST /signal", R"({"Identifier": 53,  "Value": []})"},
        {Station, "POST /signal", R"({"Identifier": 31,  "Value": []})"},
        {Station, "POST /signal", R"({"Identifier": 127, "Value": []})"},
        {Station, "POST /signal", R"({"Identifier": 128, "Value": []})"},
        {Station, "POST /signal", R"({"Identifier": 142, "Value": "ECurrentControlThermal"})"},
        {Anybody, "GET /system/diagnostics/snapshot", {},
         Snapshot({NotThere(140), R"({"Identifier": 52})", R"({"Identifier": 53})", R"({"Identifier": 31})", R"({"Identifier": 127})", R"({"Identifier": 128})",
                   Shown(142, R"(["Overtemperature"])", R"([""])")}), AllRead},
        {Anybody, "GET /system/diagnostics/freezeframes", {}, Download("DEMO_SIM0000001_<stamp>.pedp", "<archive>"), {FreezeFrame}},
    }},
    };
    // clang-format on
}

} // namespace Interface
