#include "platform/json/jsonutil.h"

#include <json/value.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/e2e/stationtest.h"
#include "tests/support/formdata.h"
#include "tests/support/websocketclient.h"

namespace
{

using testing::HasSubstr;

const std::string Topic = "/system/fwupdate/status";
const std::string Firmware = "/firmware.swu";
const std::string Customization = "/customization.swu";
const std::string Descriptor = "/versions.json";

constexpr const char* NotAvailable =
    "\"\\\"Requested update package type not found in update helper descriptor\\\"\"\n";

constexpr gid_t UpdateGroup = 905;
constexpr std::uintmax_t PackageSize = 1024 * 1024; // of the simulated station, in bytes

std::string Url(const std::string& path)
{
    return "http://127.0.0.1:8091" + path;
}

SHttpResponse GetVersions(const std::string& which)
{
    return HttpRequest(RestPort, "GET", "/system/software/automatic-update/" + which, LoggedIn);
}

SHttpResponse RequestUpdate(const std::string& type)
{
    return HttpRequest(RestPort,
                       "POST",
                       "/system/software/automatic-update/update",
                       LoggedInWithJson,
                       R"({"Package-Type": ")" + type + R"("})");
}

class SoftwareUpdate : public StationTest
{
protected:
    SoftwareUpdate() { PutFilesInPlace(); }

    void StartAllQuick()
    {
        StartAll();
        station.Post("/firmware", R"({"ProgrammingMs": 0})");
    }

    /// Has the download server answer so on that path.
    /// @param how  members of the steering request
    void Offer(const std::string& path, const std::string& how) const
    {
        ASSERT_EQ(station.Post("/download", R"({"Path": ")" + path + R"(", )" + how + "}").status, 200)
            << how;
    }

    /// Has the descriptor say so.
    void Describe(const std::string& text) const
    {
        Json::Value download;
        download["Path"] = Descriptor;
        download["Text"] = text;
        ASSERT_EQ(station.Post("/download", JsonUtil::WriteUnstyled(download)).status, 200);
    }

    /// Waits until the path has been asked for so often. @return how often it was
    unsigned AwaitRequests(const std::string& path, unsigned count) const
    {
        const std::string query = "?path=" + path + "&requests=" + std::to_string(count) + "&wait=20";
        return station.Get("/download" + query).body[path]["Requests"].asUInt();
    }

    unsigned Requests(const std::string& path) const
    {
        return station.Get("/download").body[path]["Requests"].asUInt();
    }

    std::filesystem::path Package() const { return root.Path() / "tmp/update/package.swu"; }

    /// An update whose download fails: one event, and no package.
    void ExpectFailedDownload(CWebSocketClient& client) const
    {
        EXPECT_EQ(RequestUpdate("Firmware").status, 204);
        EXPECT_EQ(client.ReceiveJson(), FailedEvent());
        EXPECT_FALSE(std::filesystem::exists(Package()));
    }

    /// An update that goes well, up to its end at the board.
    void ExpectUpdate(CWebSocketClient& client) const
    {
        const std::uint64_t before = station.LastCall();
        EXPECT_EQ(RequestUpdate("Firmware").status, 204);
        station.AwaitCall("BoardControl", "RequestFirmwareUpdate", before);
        EXPECT_EQ(client.ReceiveJson()["data"]["status"], "EFwUpdateStatusSuccess");
        EXPECT_EQ(std::filesystem::file_size(Package()), PackageSize);
    }

    static Json::Value FailedEvent()
    {
        Json::Value data;
        data["status"] = "EFwUpdateErrDownloadFailed";
        return WebSocketEvent(Topic, data);
    }
};

} // namespace

// ---------------------------------------------------------------------------------------------- versions

TEST_F(SoftwareUpdate, CurrentVersionsAreThoseOfTheImage)
{
    StartAll();
    EXPECT_EQ(GetVersions("current-versions").body, "{\n\t\"Firmware\" : \"1.0.0-simulated\"\n}\n");
    ExpectCleanEnd();
}

TEST_F(SoftwareUpdate, AvailableVersionsAreThoseOfTheDescriptorAtTheTime)
{
    StartAll();

    EXPECT_EQ(GetVersions("available-versions").body,
              "{\n\t\"Customization\" : \"2.0.0-custom\",\n\t\"Firmware\" : \"2.0.0-simulated\"\n}\n");
    Describe(R"({"firmwareUrl": "http://x/y", "firmwareVersion": "3"})");
    EXPECT_EQ(GetVersions("available-versions").body, "{\n\t\"Firmware\" : \"3\"\n}\n");
    ExpectCleanEnd();
}

TEST_F(SoftwareUpdate, EmptyUrlGivesNoVersionsAndNoUpdate)
{
    root.SetDefault("settings", "WebIfUpdateHelperUrl", "");
    StartAll();

    EXPECT_EQ(GetVersions("available-versions").status, 200);
    EXPECT_EQ(GetVersions("available-versions").body, "{}\n");
    const SHttpResponse response = RequestUpdate("Firmware");
    EXPECT_EQ(response.status, 400);
    EXPECT_EQ(response.body, NotAvailable);
    EXPECT_TRUE(process->AwaitErrorLine(
        ") Request to retrieve firmware version descriptor file failed. Attempted URL: "));
    ExpectCleanEnd();
}

TEST_F(SoftwareUpdate, PackageThatTheDescriptorLacksIsRefusedThoughTheOtherIsThere)
{
    StartAll();
    Describe(R"({"firmwareUrl": "http://x/y", "firmwareVersion": "3"})");

    const SHttpResponse response = RequestUpdate("Customization");

    EXPECT_EQ(response.status, 400);
    EXPECT_EQ(response.body, NotAvailable);
    ExpectCleanEnd();
}

TEST_F(SoftwareUpdate, BadDescriptorsCountAsEmptyAndTheProcessStays)
{
    StartAll();
    const auto expectNothing = [](const std::string& descriptor)
    {
        const SHttpResponse versions = GetVersions("available-versions");
        EXPECT_EQ(versions.status, 200) << descriptor;
        EXPECT_EQ(versions.body, "{}\n") << descriptor;
        const SHttpResponse update = RequestUpdate("Firmware");
        EXPECT_EQ(update.status, 400) << descriptor;
        EXPECT_EQ(update.body, NotAvailable) << descriptor;
    };

    for (const std::string descriptor : {
             R"()",
             R"({)",
             R"(<html></html>)",
             R"([])",
             R"([{"firmwareUrl": "http://x/y", "firmwareVersion": "3"}])",
             R"(null)",
             R"("firmwareUrl")",
             R"(5)",
             R"(true)",
             R"({})",
             R"({"firmwareUrl": "http://x/y"})",
             R"({"firmwareVersion": "3"})",
             R"({"firmwareUrl": "", "firmwareVersion": ""})",
             R"({"firmwareUrl": 5})",
             R"({"firmwareUrl": 5, "firmwareVersion": 3})",
             R"({"firmwareUrl": ["http://x/y"], "firmwareVersion": "3"})",
             R"({"firmwareUrl": {"a": "http://x/y"}, "firmwareVersion": "3"})",
             R"({"firmwareUrl": null, "firmwareVersion": true})",
         })
    {
        Describe(descriptor);
        expectNothing(descriptor);
    }
    Describe(std::string(100000, '['));
    expectNothing("100,000 brackets");
    Offer(Descriptor, R"("Size": 100000000)");
    expectNothing("100 MB");
    Offer(Descriptor, R"("Size": 100000000, "Announced": null)");
    expectNothing("100 MB without a length");
    Offer(Descriptor, R"("Text": "{}", "Status": 404)");
    expectNothing("404");
    Offer(Descriptor, R"("Text": "{}", "Status": 503)");
    expectNothing("503");
    Offer(Descriptor, R"("Location": "file:///etc/passwd")");
    expectNothing("redirected to a file");
    EXPECT_EQ(HttpRequest(RestPort, "GET", "/system/health").status, 204);
    ExpectCleanEnd();
}

TEST_F(SoftwareUpdate, BadRequestsAreRefusedAndNobodyIsAskedForPackages)
{
    StartAll();
    const std::string path = "/system/software/automatic-update/update";
    const auto request = [&path](const std::string& body)
    { return HttpRequest(RestPort, "POST", path, LoggedInWithJson, body); };

    EXPECT_THAT(request("").body, HasSubstr("Could not parse body: "));
    EXPECT_EQ(request("{}").body, "\"Bad Request\"\n");
    EXPECT_EQ(request(R"({"Package-Type": 1})").body, "\"Bad Request\"\n");
    EXPECT_EQ(request("[]").status, 500);
    EXPECT_EQ(Requests(Descriptor), 0U);
    for (const std::string type : {"", "firmware", "FIRMWARE", "Firmware ", "Both"})
    {
        EXPECT_EQ(RequestUpdate(type).body, NotAvailable) << type;
    }
    EXPECT_EQ(Requests(Firmware) + Requests(Customization), 0U);
    ExpectCleanEnd();
}

// ---------------------------------------------------------------------------------------------- downloads

TEST_F(SoftwareUpdate, PackageIsFetchedAndHandedToTheBoardWhichReportsItsUpdate)
{
    StartAllQuick();
    CWebSocketClient client(WebSocketPort, LoggedIn);
    client.Subscribe(Topic);

    EXPECT_EQ(RequestUpdate("Firmware").status, 204);

    EXPECT_EQ(station.AwaitCall("BoardControl", "RequestFirmwareUpdate")["Request"]["Value"],
              "WebInterfaceAutomatic");
    EXPECT_EQ(std::filesystem::file_size(Package()), PackageSize);
    struct stat package = {};
    ASSERT_EQ(stat(Package().c_str(), &package), 0);
    // only who may give files to other groups can
    EXPECT_EQ(package.st_gid, geteuid() == 0 ? UpdateGroup : getegid());
    const Json::Value event = client.ReceiveJson();
    EXPECT_EQ(event["topic"], Topic);
    EXPECT_EQ(event["data"]["status"], "EFwUpdateStatusSuccess");
    EXPECT_EQ(event["data"]["fwIdentOld"], "1.0.0-simulated");
    client.Close();
    ExpectCleanEnd();
}

TEST_F(SoftwareUpdate, CustomizationIsFetchedFromItsOwnUrl)
{
    StartAllQuick();

    EXPECT_EQ(RequestUpdate("Customization").status, 204);

    station.AwaitCall("BoardControl", "RequestFirmwareUpdate");
    EXPECT_EQ(Requests(Customization), 1U);
    EXPECT_EQ(Requests(Firmware), 0U);
    ExpectCleanEnd();
}

TEST_F(SoftwareUpdate, RedirectedPackageIsFetched)
{
    StartAllQuick();
    CWebSocketClient client(WebSocketPort, LoggedIn);
    client.Subscribe(Topic);
    Offer(Firmware, R"("Location": ")" + Customization + R"(")");

    ExpectUpdate(client);

    client.Close();
    ExpectCleanEnd();
}

TEST_F(SoftwareUpdate, EachFailedDownloadSendsOneEventLeavesNoPackageAndTheNextOneWorks)
{
    StartAllQuick();
    CWebSocketClient client(WebSocketPort, LoggedIn);
    client.Subscribe(Topic);

    for (const std::string fault : {
             R"("Size": 1000000, "CutAfter": 500000)",
             R"("Size": 1000000, "CutAfter": 0)",
             R"("Size": 1000000, "Announced": 1000001)",
             R"("Size": 1000000, "CutAfter": 500000, "Announced": null)",
             R"("Size": 262144001)",
             R"("Size": 1000000, "Status": 404)",
             R"("Size": 1000000, "Status": 500)",
             R"("Size": 0, "Status": 204)",
             R"("Location": "/firmware.swu")",
             R"("Location": "file:///etc/passwd")",
             R"("Location": "ftp://127.0.0.1/firmware.swu")",
             R"("Location": "/nowhere")",
         })
    {
        SCOPED_TRACE(fault);
        Offer(Firmware, fault);
        ExpectFailedDownload(client);
        Offer(Firmware, R"("Size": 1048576)");
        // a second event of the failure would come before this one's
        ExpectUpdate(client);
    }
    client.Close();
    ExpectCleanEnd();
}

TEST_F(SoftwareUpdate, UrlsThatAreNotFetchedFailLikeAnyDownload)
{
    StartAllQuick();
    CWebSocketClient client(WebSocketPort, LoggedIn);
    client.Subscribe(Topic);

    for (const std::string url : {"file:///etc/passwd",
                                  "FILE:///etc/passwd",
                                  "/etc/passwd",
                                  "ftp://127.0.0.1:8091/firmware.swu",
                                  "scp://127.0.0.1:8091/firmware.swu",
                                  "gopher://127.0.0.1:8091/firmware.swu",
                                  "data:,firmware",
                                  "http://",
                                  "http://127.0.0.1:1/firmware.swu",
                                  "https://127.0.0.1:8091/firmware.swu",
                                  "http://127.0.0.1:8091/firm\\u0000ware.swu",
                                  "http://127.0.0.1:8091/firm\\nware.swu",
                                  "-o/etc/passwd"})
    {
        SCOPED_TRACE(url);
        Describe(R"({"firmwareUrl": ")" + url + R"(", "firmwareVersion": "3"})");
        ExpectFailedDownload(client);
    }
    Describe(R"({"firmwareUrl": ")" + Url(Firmware) + R"(", "firmwareVersion": "3"})");
    ExpectUpdate(client);
    client.Close();
    ExpectCleanEnd();
}

TEST_F(SoftwareUpdate, SilentServerThatGoesAwayFailsTheDownload)
{
    StartAllQuick();
    CWebSocketClient client(WebSocketPort, LoggedIn);
    client.Subscribe(Topic);
    Offer(Firmware, R"("Silent": true)");
    EXPECT_EQ(RequestUpdate("Firmware").status, 204);
    AwaitRequests(Firmware, 1);

    // ends the silence with the connection
    Offer(Firmware, R"("Size": 1048576)");

    EXPECT_EQ(client.ReceiveJson(), FailedEvent());
    ExpectUpdate(client);
    client.Close();
    ExpectCleanEnd();
}

TEST_F(SoftwareUpdate, DirectoryInThePackagesPlaceFailsTheDownloadUntilItHasGone)
{
    StartAllQuick();
    CWebSocketClient client(WebSocketPort, LoggedIn);
    client.Subscribe(Topic);
    std::filesystem::create_directories(Package() / "full");
    EXPECT_EQ(RequestUpdate("Firmware").status, 204);
    EXPECT_EQ(client.ReceiveJson(), FailedEvent());

    std::filesystem::remove_all(Package());

    ExpectUpdate(client);
    client.Close();
    ExpectCleanEnd();
}

TEST_F(SoftwareUpdate, RefusedUpdateSendsNoEvent)
{
    StartAllQuick();
    CWebSocketClient client(WebSocketPort, LoggedIn);
    client.Subscribe(Topic);

    for (const std::string fault : {R"("Refuse": true)", R"("Fail": true)"})
    {
        SCOPED_TRACE(fault);
        station.Post("/fault",
                     R"({"Service": "BoardControl", "Operation": "RequestFirmwareUpdate", "Times": 1, )" +
                         fault + "}");
        const std::uint64_t before = station.LastCall();
        EXPECT_EQ(RequestUpdate("Firmware").status, 204);
        station.AwaitCall("BoardControl", "RequestFirmwareUpdate", before);
        // the worker has gone on to the next one when this one's event would have been sent
        ExpectUpdate(client);
    }
    EXPECT_TRUE(process->AwaitErrorLine(") BoardControl communication exception: BoardControl."));
    EXPECT_TRUE(process->AwaitErrorLine(") Failing FwUpdate due to BoardControl call failure"));
    client.Close();
    ExpectCleanEnd();
}

TEST_F(SoftwareUpdate, SecondRequestWaitsForTheFirst)
{
    StartAllQuick();
    Offer(Firmware, R"("Silent": true)");
    EXPECT_EQ(RequestUpdate("Firmware").status, 204);
    AwaitRequests(Firmware, 1);
    EXPECT_EQ(RequestUpdate("Customization").status, 204);
    EXPECT_EQ(GetVersions("available-versions").status, 200);
    EXPECT_EQ(Requests(Customization), 0U);

    Offer(Firmware, R"("Size": 1048576)");

    EXPECT_EQ(AwaitRequests(Customization, 1), 1U);
    station.AwaitCall("BoardControl", "RequestFirmwareUpdate");
    ExpectCleanEnd();
}

// ---------------------------------------------------------------------------------------------- the end

TEST_F(SoftwareUpdate, ProcessEndsAtOnceInASlowDownloadAndLeavesNoPackage)
{
    StartAllQuick();
    Offer(Firmware, R"("Size": 1048576, "Speed": 20000)");
    EXPECT_EQ(RequestUpdate("Firmware").status, 204);
    // so that there is one to wait behind it
    EXPECT_EQ(RequestUpdate("Customization").status, 204);
    AwaitRequests(Firmware, 1);

    ExpectCleanEnd();

    EXPECT_FALSE(std::filesystem::exists(Package()));
    EXPECT_EQ(Requests(Customization), 0U);
}

TEST_F(SoftwareUpdate, ProcessEndsAtOnceWhenTheDownloadServerFallsSilent)
{
    StartAllQuick();
    Offer(Firmware, R"("Size": 1048576, "StallAfter": 500000)");
    EXPECT_EQ(RequestUpdate("Firmware").status, 204);
    AwaitRequests(Firmware, 1);

    ExpectCleanEnd();

    EXPECT_FALSE(std::filesystem::exists(Package()));
}

TEST_F(SoftwareUpdate, ProcessEndsAtOnceWhileRequestsWaitForTheDescriptor)
{
    StartAllQuick();
    Offer(Descriptor, R"("Silent": true)");
    std::vector<std::unique_ptr<CRawHttp>> waiting;
    for (unsigned client = 1; client <= 3; ++client)
    {
        waiting.push_back(std::make_unique<CRawHttp>(RestPort));
        waiting.back()->Send(
            HttpRequestText("GET", "/system/software/automatic-update/available-versions", LoggedIn));
        EXPECT_EQ(AwaitRequests(Descriptor, client), client);
    }
    EXPECT_EQ(HttpRequest(RestPort, "GET", "/system/health").status, 204);

    ExpectCleanEnd();
}

TEST_F(SoftwareUpdate, DownloadGoesOnWhileTheProcessIsDisabled)
{
    StartStationWithManualController();
    StartProcess();
    AwaitStates(1);
    ASSERT_EQ(Control("disable"), 0);
    ASSERT_EQ(Control("enable"), 0);
    // a second long, which is more than the disable takes
    Offer(Firmware, R"("Size": 200000, "Speed": 200000)");
    EXPECT_EQ(RequestUpdate("Firmware").status, 204);
    AwaitRequests(Firmware, 1);

    ASSERT_EQ(Control("disable"), 0);

    EXPECT_EQ(station.Calls("BoardControl", "RequestFirmwareUpdate").size(), 0U) << "it was under way";
    station.AwaitCall("BoardControl", "RequestFirmwareUpdate");
    EXPECT_EQ(std::filesystem::file_size(Package()), 200000U);
    ExpectCleanEnd();
}

TEST_F(SoftwareUpdate, UploadDuringADownloadIsTakenAndBothGoOnToWork)
{
    StartAllQuick();
    CWebSocketClient client(WebSocketPort, LoggedIn);
    client.Subscribe(Topic);
    const auto upload = [] { return PutForm(FileServerPort, {{"firmware", "uploaded"}}, LoggedIn).status; };
    // as long as it stands
    Offer(Firmware, R"("Size": 100000000, "Speed": 1000)");
    EXPECT_EQ(RequestUpdate("Firmware").status, 204);
    AwaitRequests(Firmware, 1);

    EXPECT_EQ(upload(), 201);

    EXPECT_EQ(station.AwaitCall("BoardControl", "RequestFirmwareUpdate")["Request"]["Value"], "WebInterface");
    EXPECT_EQ(client.ReceiveJson()["data"]["status"], "EFwUpdateStatusSuccess");
    // the download breaks off
    Offer(Firmware, R"("Size": 1048576)");
    EXPECT_EQ(client.ReceiveJson(), FailedEvent());
    ExpectUpdate(client);
    EXPECT_EQ(upload(), 201);
    EXPECT_EQ(client.ReceiveJson()["data"]["status"], "EFwUpdateStatusSuccess");
    client.Close();
    ExpectCleanEnd();
}
