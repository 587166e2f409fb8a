#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/e2e/uploadtest.h"
#include "tests/support/privatemounts.h"

namespace fs = std::filesystem;

namespace
{

using BrokenUpload = UploadTest;

} // namespace

TEST_F(BrokenUpload, AtAnyStageGivesThePackageFreeAndReachesNoBoard)
{
    Start();
    const std::string upload = UploadText(std::string(1'000'000, 'f'));
    const std::size_t form = upload.find("\r\n\r\n") + 4;
    const std::vector<std::pair<std::string, std::size_t>> stages{
        {"in the headers", form / 2},
        {"before the form", form},
        {"in the head of the field", upload.find("filename=")},
        {"before the package", upload.find("\r\n\r\n", form) + 4},
        {"in the package", upload.size() / 2},
        {"before the last boundary", upload.size() - FormEnd().size()},
        {"in the last boundary", upload.size() - 3},
    };
    EXPECT_EQ(Upload("good"), Created);
    const std::size_t descriptors = Count("fd");
    for (const auto& [stage, size] : stages)
    {
        const std::uint64_t before = station.LastCall();
        CRawHttp ending(FileServerPort);
        ending.Send(std::string_view(upload).substr(0, size));
        ending.EndSending();
        EXPECT_EQ(ending.ReceiveUntilClose(), "") << stage;
        AwaitIdle(descriptors);
        EXPECT_EQ(Upload("good"), Created) << stage;

        CRawHttp aborting(FileServerPort);
        aborting.Send(std::string_view(upload).substr(0, size));
        aborting.Abort();
        AwaitIdle(descriptors);
        EXPECT_EQ(Upload("good"), Created) << stage;

        EXPECT_EQ(Package(), "good") << stage;
        EXPECT_EQ(Requests(before).size(), 2U) << stage;
    }
    ExpectCleanEnd();
}

TEST_F(BrokenUpload, TwoHundredTimesLeavesNothingBehind)
{
    Start();
    const std::string upload = UploadText(std::string(50'000, 'f'));
    EXPECT_EQ(Upload("good"), Created);
    const std::size_t descriptors = Count("fd");
    const std::size_t threads = Count("task");

    for (std::size_t round = 0; round < 200; ++round)
    {
        CRawHttp client(FileServerPort);
        client.Send(std::string_view(upload).substr(0, 1 + round * (upload.size() - 2) / 199));
        client.Abort();
    }

    AwaitIdle(descriptors);
    // some of gRPC's come and go
    EXPECT_LT(Count("task"), threads + 10);
    EXPECT_EQ(Upload("good"), Created);
    EXPECT_EQ(Package(), "good");
    ExpectCleanEnd();
}

TEST_F(BrokenUpload, ByALogoutIsUnauthorizedAndLeavesNoFile)
{
    Start();
    const std::string key = LogIn();
    const std::string upload = UploadText(std::string(1'000'000, 'f'), key);
    CRawHttp client(FileServerPort);
    SendFirstHalf(client, upload);

    ASSERT_EQ(HttpRequest(RestPort, "POST", "/auth/logout", {{"Cookie", "sessionid=" + key}}).status, 204);
    client.Send(std::string_view(upload).substr(upload.size() / 2));

    EXPECT_EQ(Outcome(client.Receive()), Unauthorized);
    ExpectNothingLeft();
    EXPECT_EQ(Requests().size(), 1U);
    ExpectCleanEnd();
}

TEST_F(BrokenUpload, ByAFullDiskFailsAndLeavesNoFile)
{
    fs::create_directories(root.Path() / "tmp");
    const CPrivateMounts mounts;
    // the thread sanitizer takes half a megabyte of it for each program
    mounts.MountMemory(root.Path() / "tmp", "size=4m");
    Start();

    EXPECT_EQ(Upload(std::string(5'000'000, 'f')), NotWritten);

    ExpectNothingLeft();
    EXPECT_EQ(Upload(std::string(2'000'000, 'f')), Created);
    EXPECT_EQ(fs::file_size(PackageFile()), 2'000'000U);
    ExpectCleanEnd();
}

TEST_F(BrokenUpload, ByADirectoryInTheFilesPlaceFailsAndTheNextSucceeds)
{
    Start();
    fs::create_directories(PackageFile());

    EXPECT_EQ(Upload("a package"), "500 Could not open firmware package file.");

    fs::remove(PackageFile());
    ExpectNothingLeft();
    ExpectCleanEnd();
}
