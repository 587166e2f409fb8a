#include "src/api/configapplicator.h"
#include "src/api/jsonbody.h"

#include "platform/config/tarnconfig.h"
#include "platform/json/jsonutil.h"

#include <json/value.h>

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fakerequest.h"
#include "tests/support/capturedlog.h"
#include "tests/support/configfiles.h"
#include "tests/support/requestfailure.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

const std::string TwoBackoffices = R"({"Backoffices":[
    {"Name":"Cloud","UrlTemplate":"wss://cloud.example/{serial}","Settings":[
        {"File":"settings","Key":"SeccOcppSecurityProfile","Value":"2"},
        {"File":"network","Key":"NtpServer1","Value":"time.example"},
        {"File":"secrets","Key":"AuthorizationKey","Value":"hidden"}]},
    {"Name":"Fleet","UrlTemplate":"ws://fleet.example","Settings":[]}]})";

class BackofficeApplicator : public testing::Test
{
protected:
    BackofficeApplicator() { Start(TwoBackoffices); }

    void Start(const std::string& json)
    {
        files.Write("ocpp_backoffices", json);
        backoffices = files.Open("ocpp_backoffices");
        settings = files.Open("settings", Note("settings"));
        applicator = std::make_unique<COcppBackofficeApplicator>(backoffices,
                                                                 settings,
                                                                 files.Open("network", Note("network")),
                                                                 files.Open("secrets", Note("secrets")));
    }

    std::string PatchFailure(const std::string& body)
    {
        return FailureOf([&] { applicator->PatchConfig(ParseJsonBody(CFakeRequest(body))); });
    }

    std::string Get() const { return JsonUtil::WriteUnstyled(applicator->GetConfig()); }

    TarnConfig::ChangeCallback Note(const std::string& file)
    {
        return [this, file](const std::string& key, const Json::Value& value)
        { writes.push_back(file + " " + key + "=" + JsonUtil::WriteUnstyled(value)); };
    }

    static CCapturedLog::SLine Updated(const std::string& url)
    {
        return {Log::ELogLevel::Info, "OCPP backoffice updated: " + url};
    }

    const CConfigFiles files;
    std::shared_ptr<TarnConfig> backoffices;
    std::shared_ptr<TarnConfig> settings;
    std::unique_ptr<COcppBackofficeApplicator> applicator;

    /// Changes of the three files, in order.
    std::vector<std::string> writes;
};

} // namespace

// ----------------------------------------------------------------------------------------------- Showing

TEST_F(BackofficeApplicator, ShowsNamesAndTemplatesButNoSettings)
{
    EXPECT_EQ(Get(),
              R"({"Backoffices":[{"Name":"Cloud","UrlTemplate":"wss://cloud.example/{serial}"},)"
              R"({"Name":"Fleet","UrlTemplate":"ws://fleet.example"}]})");
}

TEST_F(BackofficeApplicator, ShowsAnEmptyListWithoutBackOffices)
{
    for (const std::string json : {"{}", R"({"Backoffices":[]})", R"({"Backoffices":null})"})
    {
        Start(json);
        EXPECT_EQ(Get(), R"({"Backoffices":[]})");
    }
}

TEST_F(BackofficeApplicator, ShowsAnEmptyTextForWhatIsMissing)
{
    Start(R"({"Backoffices":[{},{"Name":"A"},{"UrlTemplate":"u"},{"Name":null,"Other":1},null]})");

    EXPECT_EQ(Get(),
              R"({"Backoffices":[{"Name":"","UrlTemplate":""},{"Name":"A","UrlTemplate":""},)"
              R"({"Name":"","UrlTemplate":"u"},{"Name":"","UrlTemplate":""},{"Name":"","UrlTemplate":""}]})");
}

TEST_F(BackofficeApplicator, ShowsNumbersAndBooleansAsTheirText)
{
    Start(R"({"Backoffices":[{"Name":7,"UrlTemplate":true}]})");

    EXPECT_EQ(Get(), R"({"Backoffices":[{"Name":"7","UrlTemplate":"true"}]})");
}

TEST_F(BackofficeApplicator, ListOfBadShapeFailsTheRequestOrShowsNothing)
{
    for (const std::string list :
         {"[1]", "[\"Cloud\"]", "[[]]", R"([{"Name":{}}])", R"([{"UrlTemplate":[1]}])"})
    {
        Start(R"({"Backoffices":)" + list + "}");
        EXPECT_THAT(FailureOf([&] { Get(); }), StartsWith("500 ")) << list;
    }
    for (const std::string list : {"\"Cloud\"", "1", "1.5", "true", "{}"})
    {
        Start(R"({"Backoffices":)" + list + "}");
        EXPECT_EQ(Get(), R"({"Backoffices":[]})") << list;
    }
}

// ---------------------------------------------------------------------------------------------- Choosing

TEST_F(BackofficeApplicator, ChoiceIsWrittenToThreeFilesInOrder)
{
    const CCapturedLog log(Log::ELogLevel::Info);

    EXPECT_EQ(PatchFailure(R"({"Name":"Cloud","Url":"wss://cloud.example/SN1"})"), "");

    EXPECT_THAT(writes,
                ElementsAre(R"(settings PredefinedCpoName="Cloud")",
                            R"(settings SeccOcppUri="wss://cloud.example/SN1")",
                            R"(settings SeccOcppSecurityProfile="2")",
                            R"(network NtpServer1="time.example")",
                            R"(secrets AuthorizationKey="hidden")"));
    EXPECT_EQ(files.Stored("settings"),
              R"({"PredefinedCpoName":"Cloud","SeccOcppSecurityProfile":"2",)"
              R"("SeccOcppUri":"wss://cloud.example/SN1"})");
    EXPECT_EQ(files.Stored("network"), R"({"NtpServer1":"time.example"})");
    EXPECT_EQ(files.Stored("secrets"), R"({"AuthorizationKey":"hidden"})");
    EXPECT_THAT(log.Messages(), ElementsAre(Updated("wss://cloud.example/SN1")));
}

TEST_F(BackofficeApplicator, ChoiceOfABackOfficeWithoutSettingsWritesNameAndAddress)
{
    EXPECT_EQ(PatchFailure(R"({"Name":"Fleet","Url":"ws://fleet.example"})"), "");

    EXPECT_THAT(
        writes,
        ElementsAre(R"(settings PredefinedCpoName="Fleet")", R"(settings SeccOcppUri="ws://fleet.example")"));
}

TEST_F(BackofficeApplicator, UnknownNameIsWrittenAndIsNoFailure)
{
    for (const std::string name : {"Own", "cloud", "Cloud ", "Clou"})
    {
        writes.clear();
        EXPECT_EQ(PatchFailure(R"({"Name":")" + name + R"(","Url":"ws://)" + name + "\"}"), "");
        EXPECT_THAT(writes,
                    ElementsAre("settings PredefinedCpoName=\"" + name + "\"",
                                "settings SeccOcppUri=\"ws://" + name + "\""));
    }
}

TEST_F(BackofficeApplicator, NameAndAddressThatAreMissingAreEmpty)
{
    for (const std::string body :
         {"{}", "null", R"({"Name":null,"Url":null})", R"({"UrlTemplate":"ws://template"})"})
    {
        settings->SetString("PredefinedCpoName", "Cloud");
        settings->SetString("SeccOcppUri", "ws://before");
        const CCapturedLog log(Log::ELogLevel::Info);

        EXPECT_EQ(PatchFailure(body), "") << body;

        EXPECT_EQ(files.Stored("settings"), R"({"PredefinedCpoName":"","SeccOcppUri":""})");
        EXPECT_THAT(log.Messages(), ElementsAre(Updated("")));
    }
}

TEST_F(BackofficeApplicator, EmptyNameDoesNotStandForABackOfficeWithoutAName)
{
    Start(R"({"Backoffices":[{"Settings":[{"File":"settings","Key":"A","Value":"1"}]}]})");

    EXPECT_EQ(PatchFailure("{}"), "");

    EXPECT_THAT(writes, ElementsAre(R"(settings PredefinedCpoName="")", R"(settings SeccOcppUri="")"));
}

TEST_F(BackofficeApplicator, FirstOfSeveralBackOfficesOfANameIsChosen)
{
    Start(R"({"Backoffices":[
        {"Name":"Twin","Settings":[{"File":"settings","Key":"A","Value":"1"}]},
        {"Name":"Twin","Settings":[{"File":"settings","Key":"B","Value":"2"}]}]})");

    EXPECT_EQ(PatchFailure(R"({"Name":"Twin"})"), "");

    EXPECT_EQ(files.Stored("settings"), R"({"A":"1","PredefinedCpoName":"Twin","SeccOcppUri":""})");
}

TEST_F(BackofficeApplicator, SettingForAnUnknownFileIsLoggedAndTheOthersAreWritten)
{
    Start(R"({"Backoffices":[{"Name":"Odd","Settings":[
        {"File":"hwinfo","Key":"HwMaxCurrent","Value":"64"},
        {"File":"Settings","Key":"A","Value":"1"},
        {"File":"settings.json","Key":"B","Value":"2"},
        {"Key":"C","Value":"3"},
        {"File":"network","Key":"D","Value":"4"}]}]})");
    const CCapturedLog log(Log::ELogLevel::Info);

    EXPECT_EQ(PatchFailure(R"({"Name":"Odd","Url":"ws://odd"})"), "");

    const auto unknown = [](const std::string& file, const std::string& setting)
    {
        return CCapturedLog::SLine{Log::ELogLevel::Warn,
                                   file + ".json is not a known file. Cannot apply backoffice setting (" +
                                       setting + ")"};
    };
    EXPECT_THAT(log.Messages(),
                ElementsAre(Updated("ws://odd"),
                            unknown("hwinfo", "HwMaxCurrent: 64"),
                            unknown("Settings", "A: 1"),
                            unknown("settings.json", "B: 2"),
                            unknown("", "C: 3")));
    EXPECT_EQ(files.Stored("settings"), R"({"PredefinedCpoName":"Odd","SeccOcppUri":"ws://odd"})");
    EXPECT_EQ(files.Stored("network"), R"({"D":"4"})");
    EXPECT_EQ(files.Stored("hwinfo"), "");
}

TEST_F(BackofficeApplicator, ValuesAreWrittenAsTextAndUnchecked)
{
    Start(R"({"Backoffices":[{"Name":"Odd","Settings":[
        {"File":"settings","Key":"HmiBuzzerVolume","Value":3},
        {"File":"settings","Key":"GroundMonitoring","Value":true},
        {"File":"settings","Key":"LocalSmartChargingAllowed","Value":"true"},
        {"File":"settings","Key":"Made up"},
        {"File":"settings","Value":"without a key"}]}]})");

    EXPECT_EQ(PatchFailure(R"({"Name":"Odd"})"), "");

    EXPECT_EQ(
        files.Stored("settings"),
        R"({"":"without a key","GroundMonitoring":"true","HmiBuzzerVolume":"3",)"
        R"("LocalSmartChargingAllowed":"true","Made up":"","PredefinedCpoName":"Odd","SeccOcppUri":""})");
}

TEST_F(BackofficeApplicator, MembersOfOtherTypesCountAsTheirText)
{
    EXPECT_EQ(PatchFailure(R"({"Name":7,"Url":true})"), "");

    EXPECT_EQ(files.Stored("settings"), R"({"PredefinedCpoName":"7","SeccOcppUri":"true"})");
}

TEST_F(BackofficeApplicator, RequestOfBadShapeFailsAndWritesNothing)
{
    for (const std::string body : {"[]",
                                   "[\"Cloud\"]",
                                   "\"Cloud\"",
                                   "1",
                                   "1.5",
                                   "true",
                                   R"({"Name":[]})",
                                   R"({"Name":{}})",
                                   R"({"Name":"Cloud","Url":["x"]})",
                                   R"({"Name":"Cloud","Url":{"a":1}})"})
    {
        EXPECT_THAT(PatchFailure(body), StartsWith("500 ")) << body;
    }
    EXPECT_THAT(writes, IsEmpty());
}

TEST_F(BackofficeApplicator, ListOfBadShapeFailsTheRequestAfterNameAndAddress)
{
    for (const std::string list : {"[1]",
                                   "[\"Cloud\"]",
                                   R"([{"Name":"Cloud","Settings":[1]}])",
                                   R"([{"Name":"Cloud","Settings":[{"File":{}}]}])"})
    {
        files.Write("settings", "{}");
        Start(R"({"Backoffices":)" + list + "}");
        EXPECT_THAT(PatchFailure(R"({"Name":"Cloud","Url":"ws://cloud"})"), StartsWith("500 ")) << list;
        EXPECT_EQ(files.Stored("settings"), R"({"PredefinedCpoName":"Cloud","SeccOcppUri":"ws://cloud"})");
    }
    for (const std::string list : {"\"Cloud\"",
                                   "1",
                                   "true",
                                   "{}",
                                   "null",
                                   R"([{"Name":"Cloud","Settings":1}])",
                                   R"([{"Name":"Cloud","Settings":null}])",
                                   R"([{"Name":"Cloud"}])"})
    {
        files.Write("settings", "{}");
        Start(R"({"Backoffices":)" + list + "}");
        EXPECT_EQ(PatchFailure(R"({"Name":"Cloud","Url":"ws://cloud"})"), "") << list;
        EXPECT_EQ(files.Stored("settings"), R"({"PredefinedCpoName":"Cloud","SeccOcppUri":"ws://cloud"})");
    }
}

TEST_F(BackofficeApplicator, ListIsReadAnewForEachRequest)
{
    backoffices->SetValue("Backoffices", Json::Value(Json::arrayValue));

    EXPECT_EQ(Get(), R"({"Backoffices":[]})");
}

TEST_F(BackofficeApplicator, OperationsTraceTheirEntry)
{
    const CCapturedLog log;

    applicator->PatchConfig(Json::objectValue);
    applicator->GetConfig();

    EXPECT_EQ(log.Messages().front(),
              (CCapturedLog::SLine{Log::ELogLevel::Trace, "COcppBackofficeApplicator::PatchConfig"}));
    EXPECT_EQ(log.Messages().back(),
              (CCapturedLog::SLine{Log::ELogLevel::Trace, "COcppBackofficeApplicator::GetConfig"}));
}
