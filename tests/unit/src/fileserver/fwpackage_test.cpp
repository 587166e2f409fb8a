#include "src/fileserver/fwpackage.h"

#include "platform/rpc/communicationexception.h"

#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"
#include "tests/support/privatemounts.h"
#include "tests/support/temporarydirectory.h"

namespace
{

namespace fs = std::filesystem;
using testing::IsNull;
using testing::NotNull;
using testing::Return;
using testing::Throw;

constexpr std::uint32_t StationMaxSize = 262144000; // bytes
constexpr gid_t UpdateGroup = 905;
constexpr uid_t Nobody = 65534;

ipc::MResult Result(int status)
{
    ipc::MResult result;
    result.set_status(static_cast<ipc::EResult>(status));
    return result;
}

std::string Contents(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::uint64_t BytesUntilEnd(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::vector<char> buffer(65536);
    std::uint64_t count = 0;
    while (file.read(buffer.data(), static_cast<std::streamsize>(buffer.size())) || file.gcount() > 0)
    {
        count += static_cast<std::uint64_t>(file.gcount());
    }
    return count;
}

bool Write(IFwPackageWriter& writer, const std::string& bytes)
{
    return writer.Write(bytes.data(), static_cast<std::int32_t>(bytes.size()));
}

template <class Exception>
std::string WriteFailure(IFwPackage& package)
{
    try
    {
        package.TryLockWrite();
        return "";
    }
    catch (const Exception& exception)
    {
        return exception.what();
    }
}

class FwPackage : public testing::Test
{
protected:
    /// The limit of a package whose limit does not matter.
    static constexpr std::uint32_t MaxSize = 1000;

    void MakePackage(std::uint32_t maxSize = MaxSize)
    {
        package.emplace(path.string(), maxSize, boardControl);
    }

    const CTemporaryDirectory directory;
    const fs::path path = directory.Path() / "update" / "package.swu";
    const std::shared_ptr<CMockBoardControl> boardControl = std::make_shared<CMockBoardControl>();
    std::optional<CFwPackage> package{std::in_place, path.string(), MaxSize, boardControl};
};

TEST_F(FwPackage, AWriterFillsTheFileInOrder)
{
    auto writer = package->TryLockWrite();
    ASSERT_THAT(writer, NotNull());
    EXPECT_TRUE(Write(*writer, std::string("one\0two", 7)));
    EXPECT_TRUE(Write(*writer, "\r\nthree"));
    writer.reset();

    EXPECT_EQ(Contents(path), std::string("one\0two\r\nthree", 14));
}

TEST_F(FwPackage, EachWriteReachesTheFileAtOnce)
{
    const auto writer = package->TryLockWrite();
    EXPECT_TRUE(Write(*writer, "x"));

    EXPECT_EQ(Contents(path), "x");
}

TEST_F(FwPackage, MakesAllDirectoriesOfThePath)
{
    const fs::path deep = directory.Path() / "a" / "b" / "package";
    CFwPackage deepPackage(deep.string(), MaxSize, boardControl);

    EXPECT_THAT(deepPackage.TryLockWrite(), NotNull());

    EXPECT_TRUE(fs::is_regular_file(deep));
}

TEST_F(FwPackage, AWriterExcludesASecondWriterAndAnInstaller)
{
    const auto writer = package->TryLockWrite();

    EXPECT_THAT(package->TryLockWrite(), IsNull());
    EXPECT_THAT(package->TryLockInstall(), IsNull());
}

TEST_F(FwPackage, AnInstallerExcludesAWriterAndASecondInstaller)
{
    const auto installer = package->TryLockInstall();
    ASSERT_THAT(installer, NotNull());

    EXPECT_THAT(package->TryLockWrite(), IsNull());
    EXPECT_THAT(package->TryLockInstall(), IsNull());
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(FwPackage, ARefusedWriterLeavesTheFileOfTheOneThatHasIt)
{
    const auto writer = package->TryLockWrite();
    EXPECT_TRUE(Write(*writer, "kept"));

    EXPECT_THAT(package->TryLockWrite(), IsNull());

    EXPECT_EQ(Contents(path), "kept");
}

TEST_F(FwPackage, TheEndOfAWriterGivesThePackageFreeAndKeepsTheFile)
{
    Write(*package->TryLockWrite(), "finished");

    EXPECT_THAT(package->TryLockInstall(), NotNull());
    EXPECT_EQ(Contents(path), "finished");
}

TEST_F(FwPackage, TheNextWriterEmptiesTheFileAtOnce)
{
    Write(*package->TryLockWrite(), "finished");

    const auto writer = package->TryLockWrite();

    ASSERT_THAT(writer, NotNull());
    EXPECT_EQ(Contents(path), "");
}

TEST_F(FwPackage, TheEndOfAnInstallerGivesThePackageFreeAndKeepsTheFile)
{
    Write(*package->TryLockWrite(), "finished");

    package->TryLockInstall().reset();

    EXPECT_EQ(Contents(path), "finished");
    EXPECT_THAT(package->TryLockWrite(), NotNull());
}

TEST_F(FwPackage, AbortDeletesTheFileAndKeepsThePackageTakenUntilTheWriterEnds)
{
    auto writer = package->TryLockWrite();
    Write(*writer, "half");

    writer->Abort();
    EXPECT_FALSE(fs::exists(path));
    EXPECT_THAT(package->TryLockWrite(), IsNull());

    writer.reset();
    EXPECT_FALSE(fs::exists(path));
    EXPECT_THAT(package->TryLockWrite(), NotNull());
}

TEST_F(FwPackage, AbortTwiceAndOfAFileThatIsGoneIsHarmless)
{
    const auto writer = package->TryLockWrite();
    fs::remove(path);

    writer->Abort();
    writer->Abort();

    EXPECT_FALSE(fs::exists(path));
}

TEST_F(FwPackage, AnAbortedWriterTakesNoMore)
{
    const auto writer = package->TryLockWrite();
    writer->Abort();

    EXPECT_FALSE(Write(*writer, "more"));
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(FwPackage, TellsItsLimit)
{
    EXPECT_EQ(package->TryLockWrite()->GetMaxSize(), MaxSize);
}

TEST_F(FwPackage, TakesExactlyTheMaximumAndNotAByteMoreEver)
{
    MakePackage(10);
    const auto writer = package->TryLockWrite();

    EXPECT_TRUE(Write(*writer, "0123456"));
    EXPECT_TRUE(Write(*writer, "789"));
    EXPECT_TRUE(Write(*writer, ""));
    EXPECT_FALSE(Write(*writer, "x"));
    EXPECT_FALSE(Write(*writer, ""));
    EXPECT_FALSE(Write(*writer, "y"));
    EXPECT_EQ(Contents(path), "0123456789");
}

TEST_F(FwPackage, TakesTheStationsMaximumAndNotAByteMore)
{
    MakePackage(StationMaxSize);
    fs::create_directories(path.parent_path());
    // a pipe in the file's place, so that the disk is left alone
    ASSERT_EQ(mkfifo(path.c_str(), S_IRUSR | S_IWUSR), 0);
    auto received = std::async(std::launch::async, [this] { return BytesUntilEnd(path); });
    auto writer = package->TryLockWrite();
    const std::string piece(StationMaxSize / 1000, 'x');

    for (int i = 0; i < 1000; ++i)
    {
        ASSERT_TRUE(Write(*writer, piece)) << i;
    }
    EXPECT_FALSE(Write(*writer, "x"));
    EXPECT_FALSE(Write(*writer, ""));
    writer.reset();

    EXPECT_EQ(received.get(), StationMaxSize);
}

TEST_F(FwPackage, AChunkThatPassesTheMaximumIsLeftOutAsAWhole)
{
    MakePackage(10);
    const auto writer = package->TryLockWrite();
    Write(*writer, "01234");

    EXPECT_FALSE(Write(*writer, "5678901234"));
    EXPECT_FALSE(Write(*writer, "5"));

    EXPECT_EQ(Contents(path), "01234");
}

TEST_F(FwPackage, StaysOverTheLimitHoweverMuchIsOffered)
{
    MakePackage(10);
    const auto writer = package->TryLockWrite();
    constexpr std::int32_t Largest = std::numeric_limits<std::int32_t>::max();

    // without a look at the bytes; the third goes beyond 32 bits
    EXPECT_FALSE(writer->Write(nullptr, Largest));
    EXPECT_FALSE(writer->Write(nullptr, Largest));
    EXPECT_FALSE(Write(*writer, "xy"));
    EXPECT_FALSE(Write(*writer, "z"));
    EXPECT_EQ(Contents(path), "");
}

TEST_F(FwPackage, RefusesANegativeSize)
{
    const auto writer = package->TryLockWrite();

    EXPECT_FALSE(writer->Write("x", -1));
    EXPECT_TRUE(Write(*writer, "x"));
    EXPECT_EQ(Contents(path), "x");
}

TEST_F(FwPackage, AFullDiskShowsAtTheWrite)
{
    MakePackage(StationMaxSize);
    fs::create_directories(path.parent_path());
    // a thread, since it sees its mounts for as long as it lives
    std::thread thread(
        [this]
        {
            const CPrivateMounts mounts;
            mounts.MountMemory(path.parent_path(), "size=16k");
            auto writer = package->TryLockWrite();
            EXPECT_TRUE(Write(*writer, std::string(16384, 'x')));
            EXPECT_FALSE(Write(*writer, "y"));
            EXPECT_FALSE(Write(*writer, "z"));
            EXPECT_EQ(fs::file_size(path), 16384U);
        });
    thread.join();
}

TEST_F(FwPackage, AnEmptyParentPathFailsAndGivesThePackageFree)
{
    CFwPackage bare("webbackend_package_test.swu", MaxSize, boardControl);

    EXPECT_EQ(WriteFailure<std::runtime_error>(bare), "Parent path of webbackend_package_test.swu is empty.");
    EXPECT_FALSE(fs::exists("webbackend_package_test.swu"));
    EXPECT_THAT(bare.TryLockInstall(), NotNull());
}

TEST_F(FwPackage, ADirectoryInTheFilesPlaceFailsAndGivesThePackageFree)
{
    fs::create_directories(path);

    EXPECT_EQ(WriteFailure<std::runtime_error>(*package), "Could not open firmware package file.");

    EXPECT_TRUE(fs::is_directory(path));
    fs::remove(path);
    EXPECT_THAT(package->TryLockWrite(), NotNull());
}

TEST_F(FwPackage, ADirectoryThatCannotBeMadeFailsAndKeepsThePackageTakenForGood)
{
    directory.Write("update", "a file in the directory's place");

    EXPECT_NE(WriteFailure<fs::filesystem_error>(*package), "");

    fs::remove(path.parent_path());
    EXPECT_THAT(package->TryLockWrite(), IsNull());
    EXPECT_THAT(package->TryLockInstall(), IsNull());
}

TEST_F(FwPackage, TheFileGoesToTheGroupOfTheUpdateServiceAndKeepsItsOwner)
{
    if (geteuid() != 0)
    {
        GTEST_SKIP() << "needs the right to give files to other groups";
    }
    const CCapturedLog log;
    const auto writer = package->TryLockWrite();

    struct stat status = {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_gid, UpdateGroup);
    EXPECT_EQ(status.st_uid, geteuid());
    EXPECT_TRUE(log.Messages(Log::ELogLevel::Error).empty());
}

TEST_F(FwPackage, AGroupThatCannotBeChangedIsLoggedAndTheWriterWorks)
{
    fs::permissions(directory.Path(), fs::perms::all);
    const CCapturedLog log;
    // of this thread only: files are made and given away with nobody's rights
    std::thread thread(
        [this]
        {
            setfsuid(Nobody);
            const auto writer = package->TryLockWrite();
            EXPECT_TRUE(Write(*writer, "works"));
        });
    thread.join();

    EXPECT_EQ(Contents(path), "works");
    EXPECT_THAT(log.Messages(Log::ELogLevel::Error),
                testing::ElementsAre("Unable to change group ownership of fwupdate package file " +
                                     path.string() + " (-1)"));
}

TEST_F(FwPackage, InstallNamesTheRequesterAndNothingElse)
{
    EXPECT_CALL(*boardControl, RequestFirmwareUpdate("WebInterface")).WillOnce(Return(Result(0)));

    EXPECT_EQ(package->TryLockInstall()->Install(), 0);
}

TEST_F(FwPackage, InstallFailsForEveryOtherResultCode)
{
    for (const int code : {1, 2, 3, 4, 5, 100})
    {
        EXPECT_CALL(*boardControl, RequestFirmwareUpdate).WillOnce(Return(Result(code)));

        EXPECT_EQ(package->TryLockInstall()->Install(), 1) << code;
    }
}

TEST_F(FwPackage, InstallWithoutTheBoardFailsAndLogsWhy)
{
    const CCapturedLog log;
    EXPECT_CALL(*boardControl, RequestFirmwareUpdate)
        .WillOnce(Throw(Rpc::CommunicationException("out of reach")));

    EXPECT_EQ(package->TryLockInstall()->Install(), 1);

    EXPECT_THAT(log.Messages(Log::ELogLevel::Error),
                testing::ElementsAre("Firmware update request failed. Error: out of reach"));
}

TEST_F(FwPackage, InstallLetsOtherFailuresThroughAndThePackageIsFreeAfterThem)
{
    EXPECT_CALL(*boardControl, RequestFirmwareUpdate).WillOnce(Throw(std::logic_error("no runtime_error")));

    EXPECT_THROW(package->TryLockInstall()->Install(), std::logic_error);

    EXPECT_THAT(package->TryLockInstall(), NotNull());
}

TEST_F(FwPackage, OfManyThreadsOneAtATimeGetsThePackage)
{
    std::atomic<int> holders = 0;
    std::atomic<int> gained = 0;
    std::atomic<int> waiting = 2;
    const auto compete = [&]
    {
        --waiting;
        while (waiting > 0)
        {
            std::this_thread::yield();
        }
        for (int i = 0; i < 500; ++i)
        {
            if (const auto installer = package->TryLockInstall())
            {
                EXPECT_EQ(++holders, 1);
                ++gained;
                --holders;
            }
        }
    };
    std::thread first(compete);
    std::thread second(compete);
    first.join();
    second.join();

    EXPECT_GT(gained, 0);
    EXPECT_THAT(package->TryLockInstall(), NotNull());
}

TEST_F(FwPackage, EntriesAreTraced)
{
    const CCapturedLog log;
    package->TryLockWrite()->Abort();
    package->TryLockInstall();

    EXPECT_THAT(log.Messages(Log::ELogLevel::Trace),
                testing::ElementsAre("CFwPackage::TryLockWrite",
                                     "CFwPackageWriter::CFwPackageWriter",
                                     "CFwPackageWriter::Abort",
                                     "CFwPackage::TryLockInstall"));
}

} // namespace
