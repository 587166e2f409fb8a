#include "platform/toolbox/program.h"

#include <json/reader.h>
#include <json/value.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/e2e/stationtest.h"

namespace
{

namespace fs = std::filesystem;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

const std::string PackageFile = "tmp/diagnostics_package_webbackend.pedp";

Json::Value Parse(const std::string& text)
{
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}

std::string Read(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class Snapshot : public StationTest
{
protected:
    static SHttpResponse Ask()
    {
        return HttpRequest(RestPort, "GET", "/system/diagnostics/snapshot", LoggedIn);
    }

    /// "VALUE UNIT" for each value of one signal of the snapshot.
    static std::vector<std::string> Shown(int identifier)
    {
        const Json::Value snapshot = Parse(Ask().body);
        for (const Json::Value& signal : snapshot["Signals"])
        {
            if (signal["Identifier"] == identifier)
            {
                EXPECT_EQ(signal["Value"].size(), signal["Unit"].size());
                return Texts(signal);
            }
        }
        ADD_FAILURE() << "no signal " << identifier;
        return {};
    }

    void Set(const std::string& signal) const { ASSERT_EQ(station.Post("/signal", signal).status, 200); }

private:
    static std::vector<std::string> Texts(const Json::Value& signal)
    {
        std::vector<std::string> texts;
        for (Json::ArrayIndex index = 0; index < signal["Value"].size(); ++index)
        {
            texts.push_back(signal["Value"][index].asString() + " " + signal["Unit"][index].asString());
        }
        return texts;
    }
};

using Shows = std::vector<std::string>;

/// The package as a browser gets it, from a station with its files in place.
class Download : public StationTest
{
protected:
    Download()
    {
        root.Write("data/log/system.log", "a line\n");
        PutFilesInPlace();
    }

    /// Up to where a freeze frame's end can be heard of.
    void StartAllAndListen()
    {
        StartAll();
        station.AwaitCall("Diagnostics", "SubscribeFreezeFrameDone");
    }

    static SHttpResponse Ask()
    {
        return HttpRequest(RestPort, "GET", "/system/diagnostics/freezeframes", LoggedIn);
    }

    /// Asks without waiting for the answer, until the service has the request for the freeze frame.
    void BeginToAsk(CRawHttp& browser) const
    {
        const std::uint64_t before = station.LastCall();
        browser.Send(HttpRequestText("GET", "/system/diagnostics/freezeframes", LoggedIn));
        station.AwaitCall("Diagnostics", "CreateFreezeFrame", before);
    }

    void SetFault(const std::string& fault) const { ASSERT_EQ(station.Post("/fault", fault).status, 200); }

    /// The service takes requests for freeze frames and does nothing.
    void SilenceFreezeFrames() const
    {
        SetFault(R"({"Service": "Diagnostics", "Operation": "CreateFreezeFrame", "Answer": 0})");
    }

    /// The service takes requests for freeze frames and does not answer them.
    void HangFreezeFrames() const
    {
        SetFault(R"({"Service": "Diagnostics", "Operation": "CreateFreezeFrame", "Hang": true})");
    }

    /// Up to where the process is enabled and a freeze frame's end can be heard of, with a hand on the
    /// controller.
    void StartAllByHand()
    {
        StartStationWithManualController();
        StartProcess();
        station.AwaitProcessState(ReportUninitialized);
        ASSERT_EQ(Control("disable"), 0);
        station.AwaitProcessState(ReportDisabled);
        ASSERT_EQ(Control("enable"), 0);
        station.AwaitProcessState(ReportEnabled);
        station.AwaitCall("Diagnostics", "SubscribeFreezeFrameDone");
    }

    /// Disables the process, which may not take longer than its handlers' grace and some.
    void ExpectPromptDisable() const
    {
        const auto begin = std::chrono::steady_clock::now();
        ASSERT_EQ(Control("disable"), 0);
        station.AwaitProcessState(ReportDisabled);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    }

    /// Names of the files in a downloaded package.
    std::vector<std::string> List(const SHttpResponse& response) const
    {
        root.Write("downloaded", response.body);
        const auto list =
            Toolbox::RunProgram({"/bin/sh",
                                 "-c",
                                 R"(cd "$0" && tar -tf downloaded --quoting-style=literal > list)",
                                 root.Path().string()});
        EXPECT_EQ(list.status, 0) << list.errors;
        std::istringstream stream(Read(root.Path() / "list"));
        std::vector<std::string> names;
        for (std::string name; std::getline(stream, name);)
        {
            names.push_back(name);
        }
        return names;
    }

    void ExpectPackage(const SHttpResponse& response) const
    {
        EXPECT_EQ(response.status, 200) << response.body;
        EXPECT_THAT(List(response), Contains("system.log"));
    }

    /// The greatest memory that the process has had so far, in KiB.
    long PeakMemory() const
    {
        std::ifstream status("/proc/" + std::to_string(process->Id()) + "/status");
        for (std::string word; status >> word;)
        {
            if (word == "VmHWM:")
            {
                long size = 0;
                status >> size;
                return size;
            }
        }
        ADD_FAILURE() << "no peak memory";
        return 0;
    }
};

} // namespace

// ------------------------------------------------------------------------------------------- snapshot

TEST_F(Snapshot, ShowsWhatTheStationMeasures)
{
    StartAll();
    station.Post("/meter", R"({"Power": [3680, 3450, 0]})");
    station.Post("/limit", R"({"Source": "ECurrentControlBop", "Limit": 16000})");
    station.Post("/connector", R"({"State": 11})");
    Set(R"({"Identifier": 140, "Value": [1.5, 2, 0], "Kind": "float"})");
    Set(R"({"Identifier": 127, "Value": -77})");
    Set(R"({"Identifier": 128, "Value": -50})");

    const SHttpResponse response = Ask();

    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.Header("Content-Type"), "application/json");
    EXPECT_EQ(Parse(response.body), Parse(R"({"Signals": [
                  {"Identifier": 140, "Value": ["1.50", "2.00", "0.00"], "Unit": ["A", "A", "A"]},
                  {"Identifier": 52, "Value": ["16.0", "15.0", "0.0"], "Unit": ["A", "A", "A"]},
                  {"Identifier": 53, "Value": ["230.0", "230.0", "230.0"], "Unit": ["V", "V", "V"]},
                  {"Identifier": 31, "Value": ["16.0"], "Unit": ["A"]},
                  {"Identifier": 127, "Value": ["-77"], "Unit": ["dBm"]},
                  {"Identifier": 128, "Value": ["-50"], "Unit": ["dBm"]},
                  {"Identifier": 142, "Value": ["Dynamic load balancing"], "Unit": [""]}]})"));
    EXPECT_EQ(response.body, Parse(response.body).toStyledString());
    ExpectCleanEnd();
}

TEST_F(Snapshot, ShowsOneNotAvailableForWhatHasNotBeenMeasured)
{
    StartAll();
    Set(R"({"Identifier": 52, "Value": [-1000, -1000, -1000]})");
    Set(R"({"Identifier": 31, "Value": -1000, "Kind": "float"})");
    Set(R"({"Identifier": 128, "Value": -1000})");
    Set(R"({"Identifier": 142, "Value": "Unknown"})");

    // nobody has set 140 and 127
    for (const int identifier : {140, 52, 31, 127, 128, 142})
    {
        EXPECT_EQ(Shown(identifier), Shows{"N/A "}) << identifier;
    }
    Set(R"({"Identifier": 52, "Value": [-1000, 16000, -1000]})");
    EXPECT_EQ(Shown(52), (Shows{"-1.0 A", "16.0 A", "-1.0 A"}));
    Set(R"({"Identifier": 52, "Value": [16000]})");
    EXPECT_EQ(Shown(52), Shows{"16.0 A"});
    ExpectCleanEnd();
}

TEST_F(Snapshot, ShowsEverySourceOfTheCurrentLimitInWords)
{
    StartAll();
    const std::vector<std::pair<std::string, std::string>> words{
        {"ECurrentControlFixedCable", "Charging cable"},
        {"ECurrentControlThermal", "Overtemperature"},
        {"ECurrentControlConfigurationLimit", "Installation limit"},
        {"ECurrentControlBop", "Dynamic load balancing"},
        {"ECurrentControlLoadBal", "Group load balancing"},
        {"ECurrentControlUserCable", "Charging cable"},
        {"ECurrentControlOvercurrentProtection", "Overcurrent protection"},
        {"ECurrentControlHardwareLimit", "Hardware limitation"},
        {"ECurrentControlPowerFactor", "Power factor"},
        {"ECurrentControlOcppSmartCharging", "OCPP smart charging"},
        {"ECurrentControlVDEPhaseImbalance", "Phase imbalance"},
        {"ECurrentControlLocalScheduledCharging", "Local scheduled charging"},
        {"ECurrentControlSolarCharging", "Solar charging"},
        {"ECurrentControlUserLimitCurrent", "Current limiter"},
        {"ECurrentControlNobodyKnows", "ECurrentControlNobodyKnows"},
        {"", ""}};
    for (const auto& [source, word] : words)
    {
        Set(R"({"Identifier": 142, "Value": ")" + source + R"("})");
        EXPECT_EQ(Shown(142), Shows{word + " "});
    }
    ExpectCleanEnd();
}

TEST_F(Snapshot, CopesWithValuesThatNobodyExpects)
{
    StartAll();
    Set(R"({"Identifier": 52, "Value": []})");
    Set(R"({"Identifier": 140, "Value": ["NaN", "Infinity", "-Infinity"], "Kind": "float"})");
    Set(R"({"Identifier": 128, "Value": "strong"})");
    Set(R"({"Identifier": 31, "Value": 16})");

    const Json::Value snapshot = Parse(Ask().body);
    EXPECT_EQ(snapshot["Signals"].size(), 7U);
    EXPECT_EQ(snapshot["Signals"][1], Parse(R"({"Identifier": 52})"));
    EXPECT_EQ(Shown(140), (Shows{"nan A", "inf A", "-inf A"}));
    EXPECT_EQ(Shown(128), Shows{"N/A "});
    EXPECT_EQ(Shown(31), Shows{"N/A "});
    EXPECT_TRUE(process->AwaitErrorLine("initial value type comparison invalid"));
    ExpectCleanEnd();
}

TEST_F(Snapshot, IsA500WhenTheServiceFailsAndComesBackWithIt)
{
    StartAll();
    station.Post("/fault",
                 R"({"Service": "Diagnostics", "Operation": "GetSignal", "Fail": true, "Times": 1})");
    const SHttpResponse failed = Ask();
    EXPECT_EQ(failed.status, 500);
    EXPECT_THAT(failed.body, StartsWith("\"Diagnostics.GetSignal: "));

    station.Post("/service", R"({"Service": "Diagnostics", "State": "down"})");
    const SHttpResponse absent = Ask();
    EXPECT_EQ(absent.status, 500);
    EXPECT_THAT(absent.body, StartsWith("\"Diagnostics.GetSignal: "));

    station.Post("/service", R"({"Service": "Diagnostics", "State": "up"})");
    EXPECT_EQ(Ask().status, 200);
    ExpectCleanEnd();
}

// ------------------------------------------------------------------------------------------- download

TEST_F(Download, IsATarWithTheNewFreezeFrame)
{
    root.SetDefault("hwinfo", "CustomerId", "ACME");
    root.SetDefault("hwinfo", "ProductSn", "SN-0042");
    StartAllAndListen();

    const SHttpResponse response = Ask();

    EXPECT_EQ(response.statusLine, "HTTP/1.1 200 OK");
    EXPECT_EQ(response.Header("Content-Type"), "application/octet-stream");
    EXPECT_THAT(response.Header("Content-Disposition"),
                MatchesRegex("attachment; filename=ACME_SN-0042_[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{6}[.]pedp"));
    EXPECT_EQ(response.Header("Content-Length"), std::to_string(response.body.size()));
    EXPECT_THAT(List(response), testing::UnorderedElementsAre("system.log", StartsWith("freezeframe_")));
    EXPECT_EQ(response.body, Read(root.Path() / PackageFile));
    EXPECT_EQ(station.Calls("Diagnostics", "CreateFreezeFrame")[0]["Request"]["Value"],
              "Web interface manual download");
    EXPECT_TRUE(process->AwaitErrorLine("Freezeframe created at "));
    ExpectCleanEnd();
}

TEST_F(Download, IsNamedSoThatNoHeaderCanBeSlippedIn)
{
    root.SetDefault("hwinfo", "CustomerId", "A/\"B\"\r\nX-Evil: 1");
    root.RemoveDefault("hwinfo", "ProductSn");
    StartAllAndListen();

    const SHttpResponse response = Ask();

    EXPECT_THAT(response.Header("Content-Disposition"),
                StartsWith("attachment; filename=A__B___X-Evil__1__20"));
    EXPECT_FALSE(response.HasHeader("X-Evil"));
    ExpectPackage(response);
    ExpectCleanEnd();
}

TEST_F(Download, PacksNamesThatAShellWouldRun)
{
    const std::vector<std::string> names{
        "$(touch ran)", "; touch ran", "a b", "--checkpoint-action=exec=touch ran", "'\""};
    for (const std::string& name : names)
    {
        root.Write("data/log/" + name + "/" + name, "x");
    }
    StartAllAndListen();

    const std::vector<std::string> listed = List(Ask());

    for (const std::string& name : names)
    {
        EXPECT_THAT(listed, Contains(name + "/" + name));
    }
    ExpectCleanEnd();
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root.Path()))
    {
        EXPECT_NE(entry.path().filename(), "ran");
    }
    EXPECT_FALSE(fs::exists("ran"));
}

TEST_F(Download, ComesWithoutAFreezeFrameThatTheServiceRefuses)
{
    StartAllAndListen();
    SetFault(R"({"Service": "Diagnostics", "Operation": "CreateFreezeFrame", "Refuse": true, "Times": 1})");

    EXPECT_THAT(List(Ask()), testing::ElementsAre("system.log"));

    EXPECT_TRUE(process->AwaitErrorLine("CreateFreezeFrame call failed"));
    EXPECT_THAT(List(Ask()), Contains(StartsWith("freezeframe_")));
    ExpectCleanEnd();
}

TEST_F(Download, ComesAlsoWhenDiagnosticsIsOutOfReach)
{
    StartAllAndListen();
    station.Post("/service", R"({"Service": "Diagnostics", "State": "down"})");

    EXPECT_THAT(List(Ask()), testing::ElementsAre("system.log"));

    EXPECT_TRUE(process->AwaitErrorLine("CreateFreezeFrame call failed"));
    ExpectCleanEnd();
}

TEST_F(Download, ComesAlsoWhenTheFreezeFrameHasNoName)
{
    StartAllAndListen();
    SilenceFreezeFrames();
    CRawHttp browser(RestPort);
    BeginToAsk(browser);

    station.Post("/freezeframe", R"({"Name": ""})");

    ExpectPackage(browser.Receive());
    EXPECT_TRUE(process->AwaitErrorLine("No filename received for freezeframe"));
    ExpectCleanEnd();
}

TEST_F(Download, WaitsTenSecondsForASilentServiceAndIsNotDisturbedByItsLateWord)
{
    StartAllAndListen();
    SetFault(R"({"Service": "Diagnostics", "Operation": "FreezeFrameDone", "DelayMs": 10500, "Times": 1})");

    const auto begin = std::chrono::steady_clock::now();
    const SHttpResponse response = Ask();
    const auto duration = std::chrono::steady_clock::now() - begin;

    ExpectPackage(response);
    EXPECT_GE(duration, std::chrono::seconds(10));
    EXPECT_LT(duration, std::chrono::seconds(12));
    EXPECT_TRUE(process->AwaitErrorLine("Timeout while creating freezeframe"));
    EXPECT_TRUE(process->AwaitErrorLine("Freezeframe is done @ "));
    EXPECT_THAT(process->Errors(), Not(HasSubstr("Freezeframe created at ")));

    ExpectPackage(Ask());
    EXPECT_TRUE(process->AwaitErrorLine("Freezeframe created at "));
    ExpectCleanEnd();
}

TEST_F(Download, FailsForTheSecondOfTwoAtOnceAndComesForTheFirst)
{
    StartAllAndListen();
    SilenceFreezeFrames();
    CRawHttp first(RestPort);
    BeginToAsk(first);

    const SHttpResponse second = Ask();

    EXPECT_EQ(second.status, 500);
    EXPECT_EQ(second.body, "\"std::future_error: Future already retrieved\"\n");
    station.Post("/freezeframe", R"({"Name": "/data/log/by_hand"})");
    ExpectPackage(first.Receive());
    EXPECT_TRUE(process->AwaitErrorLine("Freezeframe created at /data/log/by_hand"));
    ExpectCleanEnd();
}

TEST_F(Download, IsAnEmptyAnswerWhenItsPlaceCanNotBeWritten)
{
    StartAllAndListen();
    fs::remove_all(root.Path() / "tmp");

    const SHttpResponse response = Ask();

    EXPECT_EQ(response.statusLine, "HTTP/1.1 204 No Content");
    EXPECT_EQ(response.Header("Content-Type"), "text/plain");
    EXPECT_FALSE(response.HasHeader("Content-Disposition"));
    EXPECT_FALSE(response.HasHeader("Content-Length"));
    EXPECT_EQ(response.body, "");
    EXPECT_TRUE(process->AwaitErrorLine("Received empty diagnostic package path"));
    ExpectCleanEnd();
}

TEST_F(Download, NeedsASession)
{
    StartAllAndListen();

    EXPECT_EQ(HttpRequest(RestPort, "GET", "/system/diagnostics/freezeframes").status, 401);

    EXPECT_THAT(station.Calls("Diagnostics", "CreateFreezeFrame"), IsEmpty());
    ExpectCleanEnd();
}

TEST_F(Download, OfALargeLogTakesNoMemory)
{
    constexpr std::uintmax_t Large = 200'000'000;
    StartAllAndListen();
    ExpectPackage(Ask());
    fs::resize_file(root.Path() / "data/log/system.log", Large);
    const long before = PeakMemory();

    CRawHttp browser(RestPort, std::chrono::minutes(1));
    browser.Send(HttpRequestText("GET", "/system/diagnostics/freezeframes", LoggedIn));
    std::uintmax_t received = 0;
    while (received < Large)
    {
        received += browser.ReceiveSome().size();
    }

    EXPECT_LT(PeakMemory() - before, 4096);
    browser.Abort();
    ExpectCleanEnd();
}

TEST_F(Download, DoesNotHoldUpTheEnd)
{
    StartAllAndListen();
    SilenceFreezeFrames();
    CRawHttp browser(RestPort);
    BeginToAsk(browser);
    ExpectCleanEnd();
}

TEST_F(Download, DoesNotHoldUpTheEndWhereTheServerHasOutlivedAFailedEnable)
{
    StartAllByHand();
    ExpectPromptDisable();
    StartRestServerAgain();
    SilenceFreezeFrames();
    CRawHttp browser(RestPort);
    BeginToAsk(browser);
    ExpectCleanEnd();
}

TEST_F(Download, DoesNotHoldUpTheDisableAndWorksAfterTheNextEnable)
{
    StartAllByHand();
    SilenceFreezeFrames();
    CRawHttp browser(RestPort);
    BeginToAsk(browser);

    ExpectPromptDisable();

    station.Delete("/fault");
    StartRestServerAgain();
    ExpectPackage(Ask());
    ExpectCleanEnd();
}

TEST_F(Download, IsNotMadeAnyMoreWhenItsCallHangsAtTheEnd)
{
    StartAllAndListen();
    HangFreezeFrames();
    CRawHttp browser(RestPort);
    BeginToAsk(browser);

    ExpectCleanEnd();

    EXPECT_THAT(process->Errors(), Not(HasSubstr("CreateFreezeFrame call failed")));
    EXPECT_FALSE(fs::exists(root.Path() / PackageFile));
}

TEST_F(Download, IsNotMadeAnyMoreWhenItsCallHangsAtTheDisableAndWorksAfterTheNextEnable)
{
    StartAllByHand();
    HangFreezeFrames();
    CRawHttp browser(RestPort);
    BeginToAsk(browser);

    ExpectPromptDisable();

    EXPECT_FALSE(fs::exists(root.Path() / PackageFile));
    station.Delete("/fault");
    StartRestServerAgain();
    ExpectPackage(Ask());
    ExpectCleanEnd();
}

TEST_F(Download, IsGivenUpInTheMiddleOfItsPackingAtTheEnd)
{
    // far more than is packed within a second, and takes no room before that
    constexpr std::uintmax_t Huge = 10'000'000'000;
    StartAllAndListen();
    fs::resize_file(root.Path() / "data/log/system.log", Huge);
    CRawHttp browser(RestPort);
    BeginToAsk(browser);
    ASSERT_TRUE(process->AwaitErrorLine("Freezeframe created at "));

    ExpectCleanEnd();

    EXPECT_THAT(process->Errors(), Not(HasSubstr("Received empty diagnostic package path")));
    for (const fs::directory_entry& entry : fs::directory_iterator(root.Path() / "tmp"))
    {
        EXPECT_THAT(entry.path().filename().string(), Not(StartsWith("diagnostics_package")));
    }
}
