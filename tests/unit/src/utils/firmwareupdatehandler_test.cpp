#include "src/utils/firmwareupdatehandler.h"

#include "platform/rpc/communicationexception.h"
#include "platform/toolbox/filetransfer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/fakes/faketopic.h"
#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"
#include "tests/support/eventually.h"
#include "tests/support/runtogether.h"
#include "tests/support/temporarydirectory.h"

namespace
{

namespace fs = std::filesystem;
using Level = Log::ELogLevel;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::Return;
using testing::StrictMock;
using testing::Throw;

const std::string Url = "https://station.example/firmware.swu";
const std::string FailedEvent = R"({"status":"EFwUpdateErrDownloadFailed"})";
constexpr gid_t UpdateGroup = 905;

ipc::MResult Result(ipc::EResult status)
{
    ipc::MResult result;
    result.set_status(status);
    return result;
}

/// Downloads nothing, but does what it is told.
class CFakeFileTransfer : public CFileTransfer
{
public:
    enum class EOutcome
    {
        WritesFile,
        WritesNothing,
        Fails,
        WaitsForInterruption
    };

    bool Download(const std::string& url,
                  const std::optional<Toolbox::SCredentials>& credentials,
                  const fs::path& path) override
    {
        EXPECT_FALSE(credentials);
        wasThere = fs::exists(path);
        urls.Add(url);
        switch (outcome)
        {
        case EOutcome::WritesFile:
            std::ofstream(path) << url;
            return true;
        case EOutcome::WritesNothing:
            return true;
        case EOutcome::Fails:
            return false;
        case EOutcome::WaitsForInterruption:
            AwaitInterruption();
            return false;
        }
        return false;
    }

    void Interrupt() override
    {
        const std::lock_guard lock(mutex);
        isInterrupted = true;
        changed.notify_all();
    }

    // Set while no download is under way
    EOutcome outcome = EOutcome::WritesFile;
    /// whether there was a file in the place of the last download
    bool wasThere = false;

    /// of the downloads so far
    CCollector<std::string> urls;

private:
    void AwaitInterruption()
    {
        std::unique_lock lock(mutex);
        EXPECT_TRUE(changed.wait_for(lock, TestPatience, [this] { return isInterrupted; }));
    }

    std::mutex mutex;
    std::condition_variable changed;

    // Guarded by mutex
    bool isInterrupted = false;
};

class FirmwareUpdateHandler : public testing::Test
{
protected:
    using EOutcome = CFakeFileTransfer::EOutcome;

    FirmwareUpdateHandler() { Make(); }

    void Make()
    {
        handler.emplace(transfer, board, package);
        handler->SetStatusTopic(topic);
    }

    /// One download of that outcome, up to its end.
    void Run(EOutcome outcome)
    {
        transfer->outcome = outcome;
        const std::size_t before = transfer->urls.Await(0).size();
        handler->Download(Url);
        transfer->urls.Await(before + 1);
        // waits for the worker
        handler.reset();
    }

    std::string Path() const { return package.string(); }

    const CTemporaryDirectory directory;
    const fs::path package = directory.Path() / "package.swu";
    const std::shared_ptr<CFakeFileTransfer> transfer = std::make_shared<CFakeFileTransfer>();
    const std::shared_ptr<StrictMock<CMockBoardControl>> board =
        std::make_shared<StrictMock<CMockBoardControl>>();
    const std::shared_ptr<CFakeTopic> topic = std::make_shared<CFakeTopic>();
    const CCapturedLog log;
    std::optional<CFirmwareUpdateHandler> handler;
};

} // namespace

TEST_F(FirmwareUpdateHandler, DownloadedPackageIsHandedToTheBoard)
{
    EXPECT_CALL(*board, RequestFirmwareUpdate("WebInterfaceAutomatic"))
        .WillOnce(
            [this](const std::string&)
            {
                EXPECT_TRUE(fs::exists(package));
                return Result(ipc::EResultOk);
            });

    Run(EOutcome::WritesFile);

    EXPECT_THAT(transfer->urls.Await(1), ElementsAre(Url));
    EXPECT_TRUE(
        log.Has(Level::Info, "Successfully downloaded firmware package file " + Url + " to " + Path()));
    EXPECT_THAT(log.Messages(Level::Warn), IsEmpty());
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
}

TEST_F(FirmwareUpdateHandler, PackageGoesToTheUpdateServicesGroup)
{
    if (geteuid() != 0)
    {
        GTEST_SKIP() << "needs the right to give files to other groups";
    }
    EXPECT_CALL(*board, RequestFirmwareUpdate)
        .WillOnce(
            [this](const std::string&)
            {
                struct stat status = {};
                EXPECT_EQ(stat(package.c_str(), &status), 0);
                EXPECT_EQ(status.st_gid, UpdateGroup);
                EXPECT_EQ(status.st_uid, geteuid());
                return Result(ipc::EResultOk);
            });

    Run(EOutcome::WritesFile);

    EXPECT_THAT(log.Messages(Level::Error), IsEmpty());
}

TEST_F(FirmwareUpdateHandler, GroupThatCantBeChangedIsLoggedAndTheBoardIsAskedAllTheSame)
{
    EXPECT_CALL(*board, RequestFirmwareUpdate).WillOnce(Return(Result(ipc::EResultOk)));

    // there is no file to change
    Run(EOutcome::WritesNothing);

    EXPECT_THAT(log.Messages(Level::Error),
                ElementsAre("Unable to change group ownership of fwupdate package file " + Path() + " (-1)"));
}

TEST_F(FirmwareUpdateHandler, FailedDownloadSendsOneEventAndTheBoardIsLeftAlone)
{
    Run(EOutcome::Fails);

    EXPECT_THAT(topic->TakeBroadcasts(), ElementsAre(FailedEvent));
    EXPECT_THAT(log.Messages(Level::Warn),
                ElementsAre("Failed to download firmware package file " + Url + " to " + Path()));
    EXPECT_THAT(log.Messages(Level::Error), IsEmpty());
}

TEST_F(FirmwareUpdateHandler, FailedDownloadWithoutATopicIsAnErrorInTheLog)
{
    handler->SetStatusTopic(nullptr);

    Run(EOutcome::Fails);

    EXPECT_THAT(log.Messages(Level::Warn),
                ElementsAre("Failed to download firmware package file " + Url + " to " + Path()));
    EXPECT_THAT(
        log.Messages(Level::Error),
        ElementsAre(
            "Firmware update status topic does not exist. Unable to send feedback event to subscribers"));
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
}

TEST_F(FirmwareUpdateHandler, OldPackageIsGoneBeforeTheDownload)
{
    directory.Write("package.swu", "old");

    Run(EOutcome::Fails);

    EXPECT_FALSE(transfer->wasThere);
    EXPECT_FALSE(fs::exists(package));
}

TEST_F(FirmwareUpdateHandler, OldPackageThatCantBeRemovedCountsAsAFailedDownload)
{
    fs::create_directories(package / "full");
    CCollector<bool> done;
    topic->onBroadcast = [&done] { done.Add(true); };

    handler->Download(Url);

    EXPECT_THAT(done.Await(1), ElementsAre(true));
    handler.reset();
    EXPECT_THAT(transfer->urls.Await(0), IsEmpty());
    EXPECT_THAT(topic->TakeBroadcasts(), ElementsAre(FailedEvent));
    EXPECT_TRUE(log.Has(
        Level::Error, "Unable to remove the old firmware package file " + Path() + ": Directory not empty"));
    EXPECT_TRUE(log.Has(Level::Warn, "Failed to download firmware package file " + Url + " to " + Path()));
}

TEST_F(FirmwareUpdateHandler, RefusalOfTheBoardIsLoggedAndSendsNoEvent)
{
    EXPECT_CALL(*board, RequestFirmwareUpdate).WillOnce(Return(Result(ipc::EResultIllegal)));

    Run(EOutcome::WritesFile);

    EXPECT_THAT(log.Messages(Level::Error), Contains("Failing FwUpdate due to BoardControl call failure"));
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
    EXPECT_TRUE(fs::exists(package));
}

TEST_F(FirmwareUpdateHandler, BoardThatCantBeReachedIsLoggedAndSendsNoEvent)
{
    EXPECT_CALL(*board, RequestFirmwareUpdate)
        .WillOnce(Throw(Rpc::CommunicationException("service not reached")));

    Run(EOutcome::WritesFile);

    std::vector<std::string> errors = log.Messages(Level::Error);
    ASSERT_GE(errors.size(), 2U);
    EXPECT_EQ(errors[errors.size() - 2], "BoardControl communication exception: service not reached");
    EXPECT_EQ(errors.back(), "Failing FwUpdate due to BoardControl call failure");
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
}

TEST_F(FirmwareUpdateHandler, RequestsOfSeveralThreadsAreAllDoneOnOne)
{
    constexpr int Callers = 5;
    CCollector<std::thread::id> done;
    EXPECT_CALL(*board, RequestFirmwareUpdate)
        .Times(Callers)
        .WillRepeatedly(
            [&](const std::string&)
            {
                done.Add(std::this_thread::get_id());
                return Result(ipc::EResultOk);
            });

    RunTogether(Callers, [this](int number) { handler->Download(Url + std::to_string(number)); });

    const auto threads = done.Await(Callers);
    ASSERT_EQ(threads.size(), static_cast<std::size_t>(Callers));
    EXPECT_THAT(threads, testing::Each(threads[0]));
    handler.reset();
    EXPECT_THAT(transfer->urls.Await(Callers),
                testing::UnorderedElementsAre(Url + "0", Url + "1", Url + "2", Url + "3", Url + "4"));
}

TEST_F(FirmwareUpdateHandler, RequestsAreDoneInTheirOrder)
{
    CCollector<bool> done;
    EXPECT_CALL(*board, RequestFirmwareUpdate)
        .Times(2)
        .WillRepeatedly(
            [&](const std::string&)
            {
                done.Add(true);
                return Result(ipc::EResultOk);
            });

    handler->Download("first");
    handler->Download("second");

    EXPECT_EQ(done.Await(2).size(), 2U);
    handler.reset();
    EXPECT_THAT(transfer->urls.Await(2), ElementsAre("first", "second"));
}

TEST_F(FirmwareUpdateHandler, EndInterruptsTheDownloadUnderWayAndDropsThoseToCome)
{
    transfer->outcome = EOutcome::WaitsForInterruption;
    handler->Download("under way");
    transfer->urls.Await(1);
    handler->Download("second");
    handler->Download("third");

    handler.reset();

    EXPECT_THAT(transfer->urls.Await(1), ElementsAre("under way"));
    EXPECT_THAT(topic->TakeBroadcasts(), ElementsAre(FailedEvent));
}

TEST_F(FirmwareUpdateHandler, TopicMayBeReplacedWhileADownloadFails)
{
    transfer->outcome = EOutcome::Fails;
    const auto other = std::make_shared<CFakeTopic>();
    for (int round = 0; round < 50; ++round)
    {
        handler->Download(Url);
        handler->SetStatusTopic(other);
    }
    transfer->urls.Await(50);
    handler.reset();

    EXPECT_EQ(topic->TakeBroadcasts().size() + other->TakeBroadcasts().size(), 50U);
}

TEST_F(FirmwareUpdateHandler, KeepsNothingOfTheTopicOnceItHasGone)
{
    handler.reset();
    EXPECT_EQ(topic.use_count(), 1);
}

TEST_F(FirmwareUpdateHandler, LogsTheEntryOfItsOperations)
{
    Run(EOutcome::Fails);

    EXPECT_THAT(log.Messages(Level::Trace),
                testing::IsSupersetOf({"CFirmwareUpdateHandler::CFirmwareUpdateHandler",
                                       "CFirmwareUpdateHandler::SetStatusTopic",
                                       "CFirmwareUpdateHandler::Download",
                                       "CFirmwareUpdateHandler::~CFirmwareUpdateHandler"}));
}

TEST_F(FirmwareUpdateHandler, PackageIsTheOneThatTheStationsUpdateServiceReads)
{
    EXPECT_STREQ(CFirmwareUpdateHandler::PackagePath, "/tmp/update/package.swu");
    EXPECT_STREQ(CFirmwareUpdateHandler::Requester, "WebInterfaceAutomatic");
}
