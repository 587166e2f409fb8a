#include "src/api/jsonresponse.h"
#include "src/api/system.h"

#include "platform/config/tarnconfig.h"
#include "platform/toolbox/diagnosticspackager.h"
#include "simulator/downloads/downloadserver.h"

#include <json/value.h>

#include <future>
#include <memory>
#include <optional>
#include <string>

#include <gmock/gmock.h>

#include "tests/fakes/fakerequest.h"
#include "tests/fakes/mockfirmwareupdatehandler.h"
#include "tests/support/capturedlog.h"
#include "tests/support/eventually.h"
#include "tests/support/requestfailure.h"
#include "tests/support/runtogether.h"
#include "tests/support/temporarydirectory.h"

namespace
{

using Level = Log::ELogLevel;
using Resources::CSystemApi;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using testing::StrictMock;

const std::string NotAvailable =
    "400 \"Requested update package type not found in update helper descriptor\"";
const std::string NoFirmware =
    "Firmware update helper descriptor file was retrieved but does not contain any "
    "information about this component (firmwareUrl or firmwareVersion).";
const std::string NoCustomization =
    "Firmware update helper descriptor file was retrieved but does not contain any "
    "information about this component (customizationUrl or customizationVersion).";

class SoftwareUpdateApi : public testing::Test
{
protected:
    SoftwareUpdateApi() { SetUrl(server.Url("/versions.json")); }

    void SetUrl(const std::string& url) const { settings->SetString("WebIfUpdateHelperUrl", url); }

    void Describe(const std::string& text)
    {
        Simulator::SDownload descriptor;
        descriptor.text = text;
        downloads.Set("/versions.json", descriptor);
    }

    CSystemApi Api() const
    {
        return {nullptr,
                nullptr,
                nullptr,
                settings,
                nullptr,
                TarnConfig::CreateStaticOnly("fwinfo", directory.Root()),
                nullptr,
                handler,
                nullptr,
                nullptr};
    }

    static std::string TextOf(const CSystemApi::Response& response)
    {
        EXPECT_EQ(response->get_response_code(), 200);
        return dynamic_cast<const JsonResponse&>(*response).GetValue().toStyledString();
    }

    std::string CurrentVersions() const { return TextOf(Api().SoftwareCurrentVersions()); }
    std::string AvailableVersions() const { return TextOf(Api().SoftwareAvailableVersions()); }

    std::string AvailableVersions(const std::string& descriptor)
    {
        Describe(descriptor);
        return AvailableVersions();
    }

    CSystemApi::Response Update(const std::string& type) const
    {
        return Api().SoftwareUpdateAutomatic(CFakeRequest(R"({"Package-Type": ")" + type + R"("})"));
    }

    std::string UpdateFailure(const std::string& type) const
    {
        return FailureOf([&] { Update(type); });
    }

    std::string BodyFailure(const std::string& body) const
    {
        return FailureOf([&] { Api().SoftwareUpdateAutomatic(CFakeRequest(body)); });
    }

    const CTemporaryDirectory directory;
    const std::shared_ptr<TarnConfig> settings = TarnConfig::Create("settings", directory.Root());
    // strict: a package that nobody asked for must not be fetched
    const std::shared_ptr<StrictMock<CMockFirmwareUpdateHandler>> handler =
        std::make_shared<StrictMock<CMockFirmwareUpdateHandler>>();
    Simulator::CDownloads downloads;
    const Simulator::CDownloadServer server{0, downloads};
};

} // namespace

// ------------------------------------------------------------------------------------- current versions

TEST_F(SoftwareUpdateApi, CurrentVersionsHaveTheFirmwareAlone)
{
    directory.Write("etc/config/fwinfo.json", R"({"FwIdent": "1.2.3"})");
    EXPECT_EQ(CurrentVersions(), "{\n\t\"Firmware\" : \"1.2.3\"\n}\n");
}

TEST_F(SoftwareUpdateApi, CurrentVersionsHaveACustomizationThatIsInstalled)
{
    directory.Write("etc/config/fwinfo.json", R"({"FwIdent": "1.2.3", "FwCustomizationVersion": "c-4"})");
    EXPECT_EQ(CurrentVersions(), "{\n\t\"Customization\" : \"c-4\",\n\t\"Firmware\" : \"1.2.3\"\n}\n");
}

TEST_F(SoftwareUpdateApi, CurrentVersionsThatAreUnknownAreNotFound)
{
    EXPECT_EQ(CurrentVersions(), "{\n\t\"Firmware\" : \"Not found\"\n}\n");
    directory.Write("etc/config/fwinfo.json", R"({"FwIdent": 5, "FwCustomizationVersion": null})");
    EXPECT_EQ(CurrentVersions(),
              "{\n\t\"Customization\" : \"Not found\",\n\t\"Firmware\" : \"Not found\"\n}\n");
}

// ----------------------------------------------------------------------------------- available versions

TEST_F(SoftwareUpdateApi, AvailableVersionsAreThoseOfTheDescriptor)
{
    EXPECT_EQ(AvailableVersions(R"({"firmwareUrl": "http://a/f", "firmwareVersion": "2.0",
                                    "customizationUrl": "http://a/c", "customizationVersion": "c-5"})"),
              "{\n\t\"Customization\" : \"c-5\",\n\t\"Firmware\" : \"2.0\"\n}\n");
}

TEST_F(SoftwareUpdateApi, DescriptorIsFetchedAnewEachTime)
{
    EXPECT_EQ(AvailableVersions(R"({"firmwareUrl": "http://a/f", "firmwareVersion": "2.0"})"),
              "{\n\t\"Firmware\" : \"2.0\"\n}\n");
    EXPECT_EQ(AvailableVersions(R"({"customizationUrl": "http://a/c", "customizationVersion": "c-5"})"),
              "{\n\t\"Customization\" : \"c-5\"\n}\n");
}

TEST_F(SoftwareUpdateApi, EmptyUrlIsTriedAndGivesNothing)
{
    SetUrl("");
    const CCapturedLog log;

    EXPECT_EQ(AvailableVersions(), "{}\n");

    EXPECT_THAT(log.Messages(Level::Error),
                ElementsAre("Request to retrieve firmware version descriptor file failed. Attempted URL: "));
    EXPECT_THAT(log.Messages(Level::Warn), ElementsAre(StartsWith("Transfer of  failed: ")));
    EXPECT_EQ(UpdateFailure("Firmware"), NotAvailable);
}

TEST_F(SoftwareUpdateApi, DescriptorThatIsNotThereGivesNothing)
{
    const CCapturedLog log;

    EXPECT_EQ(AvailableVersions(), "{}\n");

    EXPECT_THAT(log.Messages(Level::Error),
                ElementsAre("Request to retrieve firmware version descriptor file failed. Attempted URL: " +
                            server.Url("/versions.json")));
}

TEST_F(SoftwareUpdateApi, UrlWithoutAVersionIsLoggedAndLeftOut)
{
    const CCapturedLog log;

    EXPECT_EQ(AvailableVersions(R"({"firmwareUrl": "http://a/f"})"), "{}\n");

    EXPECT_THAT(
        log.Messages(Level::Error),
        ElementsAre("Firmware update helper descriptor file contains an URL (firmwareUrl=http://a/f) but no "
                    "version (firmwareVersion) was provided. The file's format should be fixed."));
    EXPECT_TRUE(log.Has(Level::Debug, NoCustomization));
    EXPECT_FALSE(log.Has(Level::Debug, NoFirmware));
}

TEST_F(SoftwareUpdateApi, VersionWithoutAUrlIsLoggedAndLeftOut)
{
    const CCapturedLog log;

    EXPECT_EQ(AvailableVersions(R"({"customizationUrl": "", "customizationVersion": "c-5"})"), "{}\n");

    EXPECT_THAT(log.Messages(Level::Error),
                ElementsAre("Firmware update helper descriptor file contains a version "
                            "(customizationVersion=c-5) but no URL (customizationUrl) was specified. The "
                            "file's format should be fixed."));
    EXPECT_TRUE(log.Has(Level::Debug, NoFirmware));
}

TEST_F(SoftwareUpdateApi, DescriptorWithoutBothIsNoError)
{
    const CCapturedLog log;

    EXPECT_EQ(AvailableVersions("{}"), "{}\n");

    EXPECT_THAT(log.Messages(Level::Error), IsEmpty());
    EXPECT_TRUE(log.Has(Level::Debug, NoFirmware));
    EXPECT_TRUE(log.Has(Level::Debug, NoCustomization));
}

TEST_F(SoftwareUpdateApi, DescriptorThatIsNoJsonIsLoggedWithTheReadersReason)
{
    const CCapturedLog log;

    EXPECT_EQ(AvailableVersions("<html>"), "{}\n");

    EXPECT_THAT(log.Messages(Level::Error),
                ElementsAre("Failed to parse version descriptor JSON. Error: * Line 1, Column 1\n"
                            "  Syntax error: value, object or array expected.\n"));
    EXPECT_FALSE(log.Has(Level::Debug, NoFirmware)) << "nothing was retrieved";
}

TEST_F(SoftwareUpdateApi, DescriptorThatIsNoObjectIsLoggedAndCountsAsEmpty)
{
    for (const std::string descriptor :
         {"[]", "[1, 2]", "\"text\"", "5", "true", R"([{"firmwareUrl": "u", "firmwareVersion": "v"}])"})
    {
        const CCapturedLog log;
        EXPECT_EQ(AvailableVersions(descriptor), "{}\n") << descriptor;
        EXPECT_EQ(UpdateFailure("Firmware"), NotAvailable) << descriptor;
        EXPECT_TRUE(log.Has(Level::Error,
                            "Failed to parse version descriptor JSON. Error: The descriptor is no object"))
            << descriptor;
    }
}

TEST_F(SoftwareUpdateApi, DescriptorThatIsNullIsEmpty)
{
    const CCapturedLog log;
    EXPECT_EQ(AvailableVersions("null"), "{}\n");
    EXPECT_THAT(log.Messages(Level::Error), IsEmpty());
}

TEST_F(SoftwareUpdateApi, DescriptorThatIsNestedTooDeeplyCountsAsEmpty)
{
    const CCapturedLog log;

    EXPECT_EQ(AvailableVersions(std::string(100000, '[')), "{}\n");

    EXPECT_THAT(log.Messages(Level::Error),
                ElementsAre(StartsWith("Failed to parse version descriptor JSON. Error: ")));
}

TEST_F(SoftwareUpdateApi, ValuesThatAreNoTextsCountAsEmpty)
{
    for (const std::string value : {"5", "0", "1.5", "true", "null", "[]", "{}", R"(["u"])", R"({"u": "u"})"})
    {
        EXPECT_EQ(AvailableVersions(R"({"firmwareUrl": )" + value + R"(, "firmwareVersion": "2.0"})"), "{}\n")
            << value;
        EXPECT_EQ(AvailableVersions(R"({"firmwareUrl": "http://a/f", "firmwareVersion": )" + value + "}"),
                  "{}\n")
            << value;
        EXPECT_EQ(UpdateFailure("Firmware"), NotAvailable) << value;
    }
}

// ----------------------------------------------------------------------------------------------- update

TEST_F(SoftwareUpdateApi, UpdateDownloadsThePackageOfItsType)
{
    Describe(R"({"firmwareUrl": "http://a/f", "firmwareVersion": "2.0",
                 "customizationUrl": "http://a/c", "customizationVersion": "c-5"})");

    EXPECT_CALL(*handler, Download("http://a/f"));
    const CSystemApi::Response response = Update("Firmware");
    EXPECT_EQ(response->get_response_code(), 204);
    EXPECT_EQ(std::string(response->get_header("Content-Type")), "text/plain");

    EXPECT_CALL(*handler, Download("http://a/c"));
    EXPECT_EQ(Update("Customization")->get_response_code(), 204);
}

TEST_F(SoftwareUpdateApi, UpdateOfATypeThatTheDescriptorLacksIsRefused)
{
    Describe(R"({"firmwareUrl": "http://a/f", "firmwareVersion": "2.0"})");
    const CCapturedLog log;

    EXPECT_EQ(UpdateFailure("Customization"), NotAvailable);

    EXPECT_THAT(log.Messages(Level::Error),
                ElementsAre("Automatic software update called with type 'Customization', which was not found "
                            "in the firmware update helper descriptor file."));
    Describe(R"({"customizationUrl": "http://a/c", "customizationVersion": "c-5"})");
    EXPECT_EQ(UpdateFailure("Firmware"), NotAvailable);
}

TEST_F(SoftwareUpdateApi, UpdateOfAnUnknownTypeIsRefused)
{
    Describe(R"({"firmwareUrl": "http://a/f", "firmwareVersion": "2.0"})");
    for (const std::string type : {"", "firmware", "Firmware ", "Both"})
    {
        EXPECT_EQ(UpdateFailure(type), NotAvailable) << type;
    }
}

TEST_F(SoftwareUpdateApi, UpdateWithoutATypeIsRefusedBeforeTheDescriptorIsFetched)
{
    Describe("{}");
    EXPECT_THAT(BodyFailure(""), StartsWith("400 \"Could not parse body: "));
    EXPECT_EQ(BodyFailure("{}"), "400 Bad Request");
    EXPECT_EQ(BodyFailure(R"({"Package-Type": 5})"), "400 Bad Request");
    EXPECT_THAT(BodyFailure("[]"), StartsWith("500 "));
    EXPECT_EQ(downloads.All().at("/versions.json").requests, 0U);
}

// ------------------------------------------------------------------------------------------------- waits

TEST_F(SoftwareUpdateApi, InterruptionEndsTheWaitForADescriptorUntilItIsOver)
{
    Simulator::SDownload silent;
    silent.isSilent = true;
    downloads.Set("/versions.json", silent);
    CSystemApi api = Api();
    auto versions = std::async(std::launch::async, [&] { return TextOf(api.SoftwareAvailableVersions()); });
    downloads.AwaitRequests("/versions.json", 1, TestPatience);

    api.InterruptWaits();

    ASSERT_EQ(versions.wait_for(TestPatience), std::future_status::ready);
    EXPECT_EQ(versions.get(), "{}\n");
    api.ResumeWaits();
    Describe(R"({"firmwareUrl": "http://a/f", "firmwareVersion": "2.0"})");
    EXPECT_EQ(TextOf(api.SoftwareAvailableVersions()), "{\n\t\"Firmware\" : \"2.0\"\n}\n");
}

TEST_F(SoftwareUpdateApi, SeveralAskAtTheSameTime)
{
    Describe(R"({"firmwareUrl": "http://a/f", "firmwareVersion": "2.0"})");
    CSystemApi api = Api();
    EXPECT_CALL(*handler, Download("http://a/f")).Times(5);
    RunTogether(5,
                [&](int /*number*/)
                {
                    EXPECT_EQ(TextOf(api.SoftwareAvailableVersions()), "{\n\t\"Firmware\" : \"2.0\"\n}\n");
                    api.SoftwareUpdateAutomatic(CFakeRequest(R"({"Package-Type": "Firmware"})"));
                });
}

TEST_F(SoftwareUpdateApi, LogsTheEntryOfItsHandlers)
{
    Describe(R"({"firmwareUrl": "http://a/f", "firmwareVersion": "2.0"})");
    EXPECT_CALL(*handler, Download);
    const CCapturedLog log;
    CurrentVersions();
    AvailableVersions();
    Update("Firmware");
    EXPECT_THAT(log.Messages(Level::Trace),
                testing::IsSupersetOf({"Resources::CSystemApi::SoftwareCurrentVersions",
                                       "Resources::CSystemApi::SoftwareAvailableVersions",
                                       "Resources::CSystemApi::SoftwareUpdateAutomatic"}));
}
