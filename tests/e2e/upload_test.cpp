#include <algorithm>
#include <cstdint>
#include <fstream>
#include <future>
#include <iostream>
#include <memory>
#include <random>
#include <string>

#include <gmock/gmock.h>

#include "tests/e2e/uploadtest.h"
#include "tests/support/websocketclient.h"

using testing::HasSubstr;

namespace
{

const std::string FirmwareTopic = "/system/fwupdate/status";

std::string RandomBytes(std::size_t size)
{
    std::string bytes(size, '\0');
    std::mt19937 random(1);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
    return bytes;
}

class Upload : public UploadTest
{
protected:
    void PlanUpdate(const std::string& result) const
    {
        const std::string plan =
            R"({"NewIdentifier": "3.0.0", "ProgrammingMs": 0, "Result": ")" + result + "\"}";
        ASSERT_EQ(station.Post("/firmware", plan).status, 200);
    }

    /// The board answers the update request only when its service goes down or comes up again.
    std::future<std::string> HangInstallation() const
    {
        const std::uint64_t before = station.LastCall();
        SetBoardFault(R"("Hang": true)");
        auto outcome = std::async(std::launch::async, [] { return UploadTest::Upload("a package"); });
        station.AwaitCall("BoardControl", "RequestFirmwareUpdate", before);
        return outcome;
    }

    void SetBoard(const std::string& state) const
    {
        const std::string body = R"({"Service": "BoardControl", "State": ")" + state + "\"}";
        ASSERT_EQ(station.Post("/service", body).status, 200);
    }
};

} // namespace

TEST_F(Upload, FillsThePackageAndTheBoardsStatesComeLive)
{
    Start();
    PlayUpdates();
    auto browser = std::make_unique<CWebSocketClient>(WebSocketPort, LoggedIn);
    browser->Subscribe(FirmwareTopic);
    const std::string package = RandomBytes(3'000'000);
    const std::string installed = station.Get("/station").body["Firmware"]["Installed"].asString();
    PlanUpdate("EFwUpdateStatusSuccess");

    EXPECT_EQ(UploadTest::Upload(package), Created);

    EXPECT_TRUE(Package() == package);
    ASSERT_EQ(Requests().size(), 1U);
    EXPECT_EQ(Requests()[0]["Request"]["Value"], "WebInterface");
    Json::Value status;
    status["status"] = "EFwUpdateStatusSuccess";
    status["fwIdentOld"] = installed;
    status["fwIdentNew"] = "3.0.0";
    EXPECT_EQ(browser->ReceiveJson(), WebSocketEvent(FirmwareTopic, status));

    // each upload replaces the package and has an update of its own
    PlanUpdate("EFwUpdateStatusProgrammingFailed");
    EXPECT_EQ(UploadTest::Upload("short"), Created);
    EXPECT_EQ(Package(), "short");
    EXPECT_EQ(browser->ReceiveJson()["data"]["status"], "EFwUpdateStatusProgrammingFailed");

    ASSERT_EQ(station.Post("/connector", R"({"State": 11})").status, 200);
    EXPECT_EQ(UploadTest::Upload("while a vehicle charges"), Created);
    EXPECT_EQ(browser->ReceiveJson()["data"]["status"], "EFwUpdateStatusNotIdle");
    EXPECT_EQ(Requests().size(), 3U);
    // the end waits for it
    browser.reset();
    ExpectCleanEnd();
}

TEST_F(Upload, AtTheSameTimeAsAnotherIsRefusedAndTheOtherGoesOn)
{
    Start();
    const std::string package = RandomBytes(1'000'000);
    const std::string upload = UploadText(package);
    CRawHttp first(FileServerPort);
    SendFirstHalf(first, upload);

    EXPECT_EQ(UploadTest::Upload("second"), InUse);

    first.Send(std::string_view(upload).substr(upload.size() / 2));
    EXPECT_EQ(Outcome(first.Receive()), Created);
    EXPECT_TRUE(Package() == package);
    EXPECT_EQ(UploadTest::Upload("third"), Created);
    EXPECT_EQ(Package(), "third");
    ExpectCleanEnd();
}

TEST_F(Upload, ThatTheBoardRefusesFailsAndTheNextSucceeds)
{
    Start();
    SetBoardFault(R"("Refuse": true)");

    EXPECT_EQ(UploadTest::Upload("refused"), NotInstalled);

    EXPECT_EQ(Package(), "refused");
    EXPECT_EQ(UploadTest::Upload("good"), Created);
    ExpectCleanEnd();
}

TEST_F(Upload, DuringAnUpdateIsRefusedByTheBoardAndNotByTheServer)
{
    Start();
    PlayUpdates();
    ASSERT_EQ(station.Post("/firmware", R"({"ProgrammingMs": 600000})").status, 200);
    EXPECT_EQ(UploadTest::Upload("one"), Created);

    EXPECT_EQ(UploadTest::Upload("two"), NotInstalled);

    EXPECT_EQ(Package(), "two");
    ExpectCleanEnd();
}

TEST_F(Upload, WithoutTheBoardFailsAndTheNextSucceedsWhenItIsBack)
{
    Start();
    SetBoard("down");

    EXPECT_EQ(UploadTest::Upload("too early"), NotInstalled);

    EXPECT_TRUE(
        process->AwaitErrorLine("Firmware update request failed. Error: BoardControl.RequestFirmwareUpdate"));
    SetBoard("up");
    EXPECT_EQ(UploadTest::Upload("good"), Created);
    ExpectCleanEnd();
}

TEST_F(Upload, ThatTheBoardHangsOnFailsWhenTheBoardGoesDownAndTheNextSucceeds)
{
    Start();
    auto hanging = HangInstallation();

    SetBoard("down");

    EXPECT_EQ(hanging.get(), NotInstalled);
    SetBoard("up");
    EXPECT_EQ(UploadTest::Upload("good"), Created);
    ExpectCleanEnd();
}

TEST_F(Upload, DoesNotHoldUpTheEndAndLeavesItsPart)
{
    Start();
    const std::string package = RandomBytes(1'000'000);
    CRawHttp client(FileServerPort);
    SendFirstHalf(client, UploadText(package));

    ExpectCleanEnd();

    EXPECT_TRUE(client.IsClosedByServer());
    const std::string part = Package();
    EXPECT_GT(part.size(), 0U);
    EXPECT_LT(part.size(), package.size());
    EXPECT_TRUE(part == package.substr(0, part.size()));
    EXPECT_EQ(Requests().size(), 0U);
}

TEST_F(Upload, ThatTheBoardHangsOnDoesNotHoldUpTheEnd)
{
    Start();
    SetBoardFault(R"("Hang": true)");
    CRawHttp client(FileServerPort);
    client.Send(UploadText("a package"));
    station.AwaitCall("BoardControl", "RequestFirmwareUpdate");

    ExpectCleanEnd();

    EXPECT_THAT(process->Errors(),
                HasSubstr("Firmware update request failed. Error: BoardControl.RequestFirmwareUpdate"));
    EXPECT_EQ(Package(), "a package");
}

TEST_F(Upload, IsBrokenOffByADisableAndTheNextEnableTakesAnother)
{
    StartStationWithManualController();
    StartProcess();
    station.AwaitProcessState(ReportUninitialized);
    ASSERT_EQ(Control("disable"), 0);
    station.AwaitProcessState(ReportDisabled);
    ASSERT_EQ(Control("enable"), 0);
    AwaitServer();
    CRawHttp client(FileServerPort);
    SendFirstHalf(client, UploadText(RandomBytes(1'000'000)));

    ASSERT_EQ(Control("disable"), 0);
    station.AwaitProcessState(ReportDisabled);

    EXPECT_TRUE(client.IsClosedByServer());
    EXPECT_FALSE(CRawHttp::CanConnect(FileServerPort));
    StartRestServerAgain();
    EXPECT_EQ(UploadTest::Upload("good"), Created);
    ExpectCleanEnd();
}

// A sanitizer's memory isn't the process's, and it would take minutes
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
namespace
{

constexpr std::uint64_t Limit = 262'144'000; // bytes

/// In KiB. What uploads take of it is measured from when a small one has been through.
constexpr long LargestGrowth = 1024;

/// Packages that are never in memory as a whole.
class LargeUpload : public UploadTest
{
protected:
    /// Sends a package of the block over and over.
    std::string UploadOf(std::uint64_t size) const
    {
        const std::string end = "\r\n" + FormEnd();
        const std::string begin = FileHead("firmware");
        CRawHttp client(FileServerPort, std::chrono::seconds(60));
        client.Send("PUT / HTTP/1.1\r\nHost: localhost\r\nCookie: sessionid=" + SessionKey +
                    "\r\nContent-Type: " + FormType() + "\r\nContent-Length: " +
                    std::to_string(begin.size() + size + end.size()) + "\r\n\r\n" + begin);
        for (std::uint64_t sent = 0; sent < size; sent += block.size())
        {
            client.Send(std::string_view(block).substr(0, size - sent));
        }
        client.Send(end);
        return Outcome(client.Receive());
    }

    bool IsPackageOf(std::uint64_t size) const
    {
        std::ifstream file(PackageFile(), std::ios::binary);
        std::string read(block.size(), '\0');
        std::uint64_t compared = 0;
        while (file.read(read.data(), static_cast<std::streamsize>(read.size())), file.gcount() > 0)
        {
            const auto length = static_cast<std::size_t>(file.gcount());
            if (block.compare(0, length, read, 0, length) != 0)
            {
                return false;
            }
            compared += length;
        }
        return compared == size;
    }

    /// Begins to measure the memory of the process.
    void MarkMemory()
    {
        std::ofstream marks("/proc/" + std::to_string(process->Id()) + "/clear_refs");
        // the peak is the present size again
        marks << 5 << std::flush;
        ASSERT_TRUE(marks);
        resident = StatusNumber("VmRSS:");
    }

    void ExpectFlatMemory(const std::string& what) const
    {
        const long growth = StatusNumber("VmRSS:") - resident;
        const long peak = StatusNumber("VmHWM:") - resident;
        std::cout << what << ": " << growth << " KiB more than the " << resident << " KiB before, at most "
                  << peak << " KiB more in between" << std::endl;
        EXPECT_LT(growth, LargestGrowth);
        EXPECT_LT(peak, LargestGrowth);
    }

    const std::string block = RandomBytes(1'048'573);
    long resident = 0;
};

} // namespace

TEST_F(LargeUpload, OfTheLimitIsTakenAndNotAByteMoreInFlatMemory)
{
    Start();
    EXPECT_EQ(Upload("small"), Created);

    MarkMemory();
    EXPECT_EQ(UploadOf(Limit), Created);
    ExpectFlatMemory("A package of the limit");
    EXPECT_TRUE(IsPackageOf(Limit));

    const std::uint64_t before = station.LastCall();
    MarkMemory();
    EXPECT_EQ(UploadOf(Limit + 1), NotWritten);
    ExpectFlatMemory("A byte more");
    ExpectNothingLeft();
    EXPECT_EQ(Requests(before).size(), 1U);
    ExpectCleanEnd();
}
#endif
