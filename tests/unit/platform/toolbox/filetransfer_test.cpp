#include "platform/toolbox/filetransfer.h"
#include "simulator/downloads/downloadserver.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <optional>
#include <string>

#include <gmock/gmock.h>

#include "tests/support/capturedlog.h"
#include "tests/support/eventually.h"
#include "tests/support/privatemounts.h"
#include "tests/support/rawserver.h"
#include "tests/support/runtogether.h"
#include "tests/support/temporarydirectory.h"

namespace
{

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::StartsWith;

class FileTransfer : public testing::Test
{
protected:
    static std::string Contents(const fs::path& path)
    {
        std::ifstream stream(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    static Simulator::SDownload Text(const std::string& text)
    {
        Simulator::SDownload download;
        download.text = text;
        return download;
    }

    static Simulator::SDownload Size(std::int64_t size)
    {
        Simulator::SDownload download;
        download.size = size;
        return download;
    }

    bool Download(const Simulator::SDownload& download)
    {
        downloads.Set("/file", download);
        return transfer.Download(server.Url("/file"), std::nullopt, file);
    }

    const CTemporaryDirectory directory;
    const fs::path file = directory.Path() / "update/file";
    Simulator::CDownloads downloads;
    const Simulator::CDownloadServer server{0, downloads};
    CFileTransfer transfer;
};

} // namespace

TEST_F(FileTransfer, WritesTheFileAndTheDirectoryThatItLacks)
{
    EXPECT_TRUE(Download(Text("package")));
    EXPECT_EQ(Contents(file), "package");
}

TEST_F(FileTransfer, TakesTheWholePlaceOfAnOldFile)
{
    directory.Write("update/file", "an old and longer one");
    EXPECT_TRUE(Download(Text("package")));
    EXPECT_EQ(Contents(file), "package");
}

TEST_F(FileTransfer, EmptyFileIsAFile)
{
    EXPECT_TRUE(Download(Text("")));
    EXPECT_TRUE(fs::exists(file));
}

TEST_F(FileTransfer, FailedOneLeavesNoFileAndTheNextWorks)
{
    Simulator::SDownload cut = Size(1000000);
    cut.cutAfter = 500000;
    EXPECT_FALSE(Download(cut));
    EXPECT_FALSE(fs::exists(file));

    Simulator::SDownload refused = Text("no such file");
    refused.status = 404;
    EXPECT_FALSE(Download(refused));
    EXPECT_FALSE(fs::exists(file));

    EXPECT_TRUE(Download(Text("package")));
    EXPECT_EQ(Contents(file), "package");
}

TEST_F(FileTransfer, FailureIsLoggedWithUrlAndReason)
{
    const CCapturedLog log;
    EXPECT_FALSE(transfer.Download("ftp://127.0.0.1/x", std::nullopt, file));
    EXPECT_THAT(
        log.Messages(Log::ELogLevel::Warn),
        ElementsAre(StartsWith("Transfer of ftp://127.0.0.1/x failed: Protocol \"ftp\" not supported")));
}

TEST_F(FileTransfer, PackagesMayHaveTheSizeThatAnUploadMayHave)
{
    EXPECT_EQ(CFileTransfer::PackageLimits().size, 262144000);
}

TEST_F(FileTransfer, AnnouncedSizeOverTheLimitIsRefused)
{
    EXPECT_FALSE(Download(Size(262144001)));
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(FileTransfer, SizeOverTheLimitThatIsNotAnnouncedIsRefused)
{
    Toolbox::STransferLimits limits;
    limits.size = 100000;
    CFileTransfer small(limits);
    Simulator::SDownload download = Size(100000);
    download.announced = -1;
    downloads.Set("/file", download);
    EXPECT_TRUE(small.Download(server.Url("/file"), std::nullopt, file));
    EXPECT_EQ(fs::file_size(file), 100000U);

    download.size = 100001;
    downloads.Set("/file", download);
    EXPECT_FALSE(small.Download(server.Url("/file"), std::nullopt, file));
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(FileTransfer, FullDiskFailsItAndLeavesNoFile)
{
    const CPrivateMounts mounts;
    mounts.MountMemory(directory.Path(), "size=64k");

    EXPECT_FALSE(Download(Size(1000000)));

    EXPECT_FALSE(fs::exists(file));
    EXPECT_TRUE(Download(Size(10000)));
}

TEST_F(FileTransfer, DirectoryInItsPlaceFailsItAndStays)
{
    fs::create_directories(file / "full");
    EXPECT_FALSE(Download(Text("package")));
    EXPECT_TRUE(fs::is_directory(file / "full"));
}

TEST_F(FileTransfer, DirectoryThatCantBeMadeFailsIt)
{
    directory.Write("update", "a file");
    EXPECT_FALSE(Download(Text("package")));
}

TEST_F(FileTransfer, InterruptionEndsWhatIsUnderWayAndAllThatFollows)
{
    Simulator::SDownload slow = Size(1000000);
    slow.speed = 2000;
    auto done = std::async(std::launch::async, [&] { return Download(slow); });
    downloads.AwaitRequests("/file", 1, TestPatience);

    transfer.Interrupt();

    ASSERT_EQ(done.wait_for(TestPatience), std::future_status::ready);
    EXPECT_FALSE(done.get());
    EXPECT_FALSE(fs::exists(file));
    EXPECT_FALSE(Download(Text("package")));
}

TEST_F(FileTransfer, SendsCredentialsThatAreGiven)
{
    CRawServer raw("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
    EXPECT_TRUE(transfer.Download(
        "http://127.0.0.1:" + std::to_string(raw.Port()), Toolbox::SCredentials{"user", "secret"}, file));
    // base64 of user:secret
    EXPECT_THAT(raw.requests.Await(1),
                ElementsAre(testing::HasSubstr("\r\nAuthorization: Basic dXNlcjpzZWNyZXQ=\r\n")));
}

TEST_F(FileTransfer, SeveralAtTheSameTimeDoNotMeet)
{
    downloads.Set("/file", Size(1000000));
    RunTogether(4,
                [this](int number)
                {
                    const fs::path own = directory.Path() / std::to_string(number);
                    EXPECT_TRUE(transfer.Download(server.Url("/file"), std::nullopt, own));
                    EXPECT_EQ(fs::file_size(own), 1000000U);
                });
}
