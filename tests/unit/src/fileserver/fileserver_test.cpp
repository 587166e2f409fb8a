#include "src/fileserver/fileserver.h"
#include "src/fileserver/fwpackage.h"
#include "src/session/authorization.h"

#include "platform/rpc/communicationexception.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/mockauthorization.h"
#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"
#include "tests/support/configfiles.h"
#include "tests/support/eventually.h"
#include "tests/support/formdata.h"
#include "tests/support/manualsystemclock.h"
#include "tests/support/privatemounts.h"
#include "tests/support/rawhttp.h"
#include "tests/support/temporarydirectory.h"

namespace
{

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsNull;
using testing::NiceMock;
using testing::NotNull;
using testing::Return;
using testing::Throw;
using namespace std::chrono_literals;

constexpr std::uint16_t Port = 8082;
constexpr std::uint32_t MaxSize = 300000; // bytes

const std::string Key(64, 'a');
const HttpHeaders WithSession{{"Cookie", "sessionid=" + Key}};

const std::string Created = "201 Created";
const std::string Unauthorized = "401 Unauthorized";
const std::string InvalidTarget = "403 \"Invalid target\"";
const std::string NoData = "400 \"No data\"";
const std::string InUse = "503 \"The firmware package is currently in use by someone else\"";
const std::string NotWritten = "500 \"Could not write to file\"";
const std::string NoCommunication = "500 Internal communication failure";

ipc::MResult Result(ipc::EResult status)
{
    ipc::MResult result;
    result.set_status(status);
    return result;
}

/// The real session store, which tells whose sessions it was asked to renew.
class CWatchedAuthorization : public IAuthorization
{
public:
    CWatchedAuthorization(std::shared_ptr<TarnConfig> config, Toolbox::SystemClock clock)
        : store(std::move(config), std::move(clock))
    {
    }

    bool IsSessionValid(const std::string& key) override { return store.IsSessionValid(key); }
    bool RefreshSession(const std::string& key) override
    {
        const std::lock_guard lock(renewal);
        const bool alive = store.RefreshSession(key);
        refreshed.Add(key);
        return alive;
    }
    bool IsSessionPersistent(const std::string& key) override { return store.IsSessionPersistent(key); }
    bool CheckPassword(const std::string& password) override { return store.CheckPassword(password); }
    std::optional<std::string>
    CreateSession(const std::string& password, std::uint64_t timeoutSeconds, bool persistent) override
    {
        return store.CreateSession(password, timeoutSeconds, persistent);
    }
    void RemoveSession(const std::string& key) override { store.RemoveSession(key); }
    void RemoveAllSessions() override { store.RemoveAllSessions(); }

    CCollector<std::string> refreshed;

    /// Held over a renewal and its entry in the list.
    std::mutex renewal;

private:
    CAuthorization store;
};

/// Status and body.
std::string Text(const SHttpResponse& response)
{
    EXPECT_EQ(response.Header("Content-Type"), "text/html");
    return std::to_string(response.status) + ' ' + response.body;
}

std::string Upload(const FormFields& fields, const HttpHeaders& headers = WithSession)
{
    return Text(PutForm(Port, fields, headers));
}

std::string Upload(const std::string& package)
{
    return Upload({{"firmware", package}});
}

/// A request with the session and a body of the type.
std::string Put(const std::string& type, const std::string& body)
{
    HttpHeaders headers = WithSession;
    headers.emplace_back("Content-Type", type);
    return Text(HttpRequest(Port, "PUT", "/", headers, body));
}

std::string UploadText(const std::string& package)
{
    HttpHeaders headers = WithSession;
    headers.emplace_back("Content-Type", FormType());
    return HttpRequestText("PUT", "/", headers, FormBody({{"firmware", package}}));
}

std::size_t EntriesIn(const fs::path& directory)
{
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(directory), fs::directory_iterator()));
}

/// A server, a package and a session store with one session of 900 seconds.
class FileServer : public testing::Test
{
protected:
    static constexpr std::int64_t Noon = 1714564800;
    static constexpr std::chrono::seconds Life{900};

    FileServer()
    {
        files.Write("secrets",
                    R"({"WebSessions": [{"Key": ")" + Key + R"(", "Expiry": )" +
                        std::to_string(Noon + Life.count()) + "}]}");
        authorization = std::make_shared<CWatchedAuthorization>(files.Open("secrets"), clock.Source());
        ON_CALL(*boardControl, RequestFirmwareUpdate).WillByDefault(Return(Result(ipc::EResultOk)));
        server.emplace(Port, package, authorization);
    }

    std::string Contents() const
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// Waits for the end of the upload, which may come after its answer.
    bool AwaitIdle()
    {
        const auto end = std::chrono::steady_clock::now() + TestPatience;
        while (server->IsFirmwareUploadBusy())
        {
            if (std::chrono::steady_clock::now() > end)
            {
                return false;
            }
            std::this_thread::yield();
        }
        return true;
    }

    /// After a failed upload: the package is free and there is no file.
    void ExpectNothingLeft()
    {
        EXPECT_TRUE(AwaitIdle());
        EXPECT_FALSE(fs::exists(path));
        EXPECT_THAT(package->TryLockInstall(), NotNull());
    }

    /// Sends the beginning of an upload and waits until a piece of its package has been taken.
    void Begin(CRawHttp& client, std::string_view begin)
    {
        const std::size_t before = authorization->refreshed.Await(0).size();
        client.Send(begin);
        ASSERT_GT(authorization->refreshed.Await(before + 1).size(), before);
    }

    const CTemporaryDirectory directory;
    const fs::path path = directory.Path() / "update" / "package.swu";
    const CConfigFiles files;
    CManualSystemClock clock{CManualSystemClock::Time(std::chrono::seconds(Noon))};
    std::shared_ptr<CWatchedAuthorization> authorization;
    const std::shared_ptr<NiceMock<CMockBoardControl>> boardControl =
        std::make_shared<NiceMock<CMockBoardControl>>();
    const std::shared_ptr<CFwPackage> package =
        std::make_shared<CFwPackage>(path.string(), MaxSize, boardControl);
    std::optional<CFileServer> server;
};

TEST_F(FileServer, AnUploadFillsThePackageAndRequestsItsInstallation)
{
    server->Start();
    const std::string firmware(200000, 'f');
    EXPECT_CALL(*boardControl, RequestFirmwareUpdate("WebInterface"))
        .WillOnce(
            [&](const std::string&)
            {
                // closed and whole, and still taken
                EXPECT_TRUE(Contents() == firmware);
                EXPECT_THAT(package->TryLockWrite(), IsNull());
                EXPECT_TRUE(server->IsFirmwareUploadBusy());
                return Result(ipc::EResultOk);
            });

    EXPECT_EQ(Upload(firmware), Created);

    EXPECT_TRUE(AwaitIdle());
    EXPECT_TRUE(Contents() == firmware);
    EXPECT_THAT(package->TryLockInstall(), NotNull());
}

TEST_F(FileServer, TheAnswerToAnUploadIsPlain)
{
    server->Start();

    const SHttpResponse response = PutForm(Port, {{"firmware", "x"}}, WithSession);

    EXPECT_EQ(response.statusLine, "HTTP/1.1 201 Created");
    EXPECT_EQ(response.Header("Content-Type"), "text/html");
    EXPECT_EQ(response.body, "Created");
}

TEST_F(FileServer, EachUploadReplacesThePackage)
{
    server->Start();

    EXPECT_EQ(Upload("the first one"), Created);
    EXPECT_EQ(Upload("second"), Created);

    EXPECT_EQ(Contents(), "second");
}

TEST_F(FileServer, AnyBytesOfThePackageAreKept)
{
    server->Start();
    std::string firmware;
    for (int i = 0; i < 100000; ++i)
    {
        firmware += static_cast<char>(i * 7 + i / 256);
    }
    firmware += std::string("\r\n--") + "\r\n\0--" + "\r\n----a-boundarz\r\n";

    EXPECT_EQ(Upload(firmware), Created);

    EXPECT_TRUE(Contents() == firmware);
}

TEST_F(FileServer, TheFieldMayComeUrlencoded)
{
    server->Start();

    EXPECT_EQ(Put("application/x-www-form-urlencoded", "firmware=a%00b+c"), Created);

    EXPECT_EQ(Contents(), std::string("a\0b c", 5));
}

TEST_F(FileServer, TheBodyMayComeInChunkedTransfer)
{
    server->Start();
    const std::string firmware(100000, 'f');
    CRawHttp client(Port);

    client.Send("PUT / HTTP/1.1\r\nHost: x\r\nCookie: sessionid=" + Key + "\r\nContent-Type: " + FormType() +
                "\r\nTransfer-Encoding: chunked\r\n\r\n" + Chunked(FormBody({{"firmware", firmware}}), 1000));

    EXPECT_EQ(Text(client.Receive()), Created);
    EXPECT_TRUE(Contents() == firmware);
}

TEST_F(FileServer, SeveralFilesOfTheFieldFollowEachOther)
{
    server->Start();
    FormFields fields;
    std::string all;
    for (int i = 0; i < 10; ++i)
    {
        fields.emplace_back("firmware", "part " + std::to_string(i) + ';');
        all += fields.back().second;
    }

    EXPECT_EQ(Upload(fields), Created);

    EXPECT_EQ(Contents(), all);
}

TEST_F(FileServer, AFormWithoutItsLastBoundaryIsInstalledAllTheSame)
{
    server->Start();
    const std::string body = FormBody({{"firmware", "some bytes"}});
    EXPECT_CALL(*boardControl, RequestFirmwareUpdate).Times(1).WillOnce(Return(Result(ipc::EResultOk)));

    EXPECT_EQ(Put(FormType(), body.substr(0, body.size() - FormEnd().size())), Created);

    // the end might have been the beginning of the boundary
    EXPECT_THAT(Contents(), testing::StartsWith("some"));
    EXPECT_LT(Contents().size(), std::string("some bytes\r\n").size());
}

TEST_F(FileServer, WithoutACookieTheFirstChunkFailsAndThePackageIsGone)
{
    server->Start();
    Upload("an earlier package");
    const CCapturedLog log;

    EXPECT_EQ(Upload({{"firmware", "x"}}, {}), Unauthorized);

    ExpectNothingLeft();
    EXPECT_THAT(log.Messages(Log::ELogLevel::Error), ElementsAre("Session is not valid or has expired"));
}

TEST_F(FileServer, AWrongCookieFailsAtTheFirstChunk)
{
    server->Start();
    for (const std::string& cookie : {std::string("sessionid="), "sessionid=" + Key + 'a', "other=" + Key})
    {
        EXPECT_EQ(Upload("an earlier package"), Created);
        EXPECT_EQ(Upload({{"firmware", "x"}}, {{"Cookie", cookie}}), Unauthorized) << cookie;
        ExpectNothingLeft();
    }
}

TEST_F(FileServer, TheSessionIsLookedAtBeforeTheField)
{
    server->Start();

    EXPECT_EQ(Upload({{"name", "x"}}, {}), Unauthorized);
}

TEST_F(FileServer, WithoutACookieAndDataThePackageIsDeletedToo)
{
    server->Start();
    Upload("an earlier package");

    EXPECT_EQ(Text(HttpRequest(Port, "PUT", "/")), NoData);

    ExpectNothingLeft();
}

TEST_F(FileServer, NoDataDeletesThePackageAndGivesItFree)
{
    server->Start();
    Upload("an earlier package");

    EXPECT_EQ(Put("application/json", R"({"firmware": "x"})"), NoData);
    ExpectNothingLeft();
    EXPECT_EQ(Put(FormType(), FormEnd()), NoData);
    ExpectNothingLeft();
    EXPECT_EQ(Put("multipart/form-data", FormBody({{"firmware", "x"}})), NoData);
    ExpectNothingLeft();
    EXPECT_EQ(Text(HttpRequest(Port, "PUT", "/", WithSession)), NoData);
    ExpectNothingLeft();
}

TEST_F(FileServer, AnotherFieldFailsTheUploadWhereverItStands)
{
    server->Start();
    const CCapturedLog log;
    EXPECT_CALL(*boardControl, RequestFirmwareUpdate).Times(0);

    EXPECT_EQ(Upload({{"name", "x"}, {"firmware", "y"}}), InvalidTarget);
    ExpectNothingLeft();
    EXPECT_EQ(Upload({{"firmware", "y"}, {"name", "x"}}), InvalidTarget);
    ExpectNothingLeft();
    EXPECT_EQ(Upload({{"Firmware", "y"}}), InvalidTarget);
    ExpectNothingLeft();
    EXPECT_THAT(log.Messages(Log::ELogLevel::Error),
                ElementsAre("Request does not include the required form key 'firmware'",
                            "Request does not include the required form key 'firmware'",
                            "Request does not include the required form key 'firmware'"));
}

TEST_F(FileServer, AnEmptyPackageIsABadRequest)
{
    server->Start();

    EXPECT_EQ(Upload(""), "400 Bad Request");

    ExpectNothingLeft();
}

TEST_F(FileServer, APackageOfTheMaximumIsTakenAndNotAByteMore)
{
    server->Start();
    EXPECT_EQ(Upload(std::string(MaxSize, 'x')), Created);
    EXPECT_EQ(fs::file_size(path), MaxSize);
    EXPECT_TRUE(AwaitIdle());

    EXPECT_CALL(*boardControl, RequestFirmwareUpdate).Times(0);
    EXPECT_EQ(Upload(std::string(MaxSize + 1, 'x')), NotWritten);
    ExpectNothingLeft();
    EXPECT_EQ(Upload(std::string(10 * MaxSize, 'x')), NotWritten);
    ExpectNothingLeft();
}

TEST_F(FileServer, AFailedUploadLeavesTheSessionAndTheNextOneSucceeds)
{
    server->Start();

    EXPECT_EQ(Upload(std::string(MaxSize + 1, 'x')), NotWritten);

    EXPECT_TRUE(authorization->IsSessionValid(Key));
    EXPECT_EQ(Upload("small enough"), Created);
    EXPECT_EQ(Contents(), "small enough");
}

TEST_F(FileServer, AFullDiskFailsAndTheNextUploadSucceeds)
{
    fs::create_directories(path.parent_path());
    // a thread, since it and those that it makes see its mounts for as long as they live
    std::thread thread(
        [this]
        {
            const CPrivateMounts mounts;
            mounts.MountMemory(path.parent_path(), "size=64k");
            server->Start();

            EXPECT_EQ(Upload(std::string(100000, 'x')), NotWritten);
            ExpectNothingLeft();
            EXPECT_EQ(Upload(std::string(60000, 'x')), Created);
            EXPECT_EQ(fs::file_size(path), 60000U);
            server->Stop();
        });
    thread.join();
}

TEST_F(FileServer, ADirectoryInTheFilesPlaceFailsAndThePackageIsFree)
{
    server->Start();
    fs::create_directories(path);

    EXPECT_EQ(Upload("x"), "500 Could not open firmware package file.");

    EXPECT_FALSE(server->IsFirmwareUploadBusy());
    fs::remove(path);
    EXPECT_EQ(Upload("x"), Created);
}

TEST_F(FileServer, ADirectoryThatCannotBeMadeFailsAndKeepsThePackageTakenForGood)
{
    server->Start();
    directory.Write("update", "a file in the directory's place");

    EXPECT_THAT(Upload("x"), testing::StartsWith("500 filesystem error: "));

    fs::remove(path.parent_path());
    EXPECT_EQ(Upload("x"), InUse);
}

TEST_F(FileServer, ARefusalOfTheBoardFailsAndKeepsTheFile)
{
    server->Start();
    EXPECT_CALL(*boardControl, RequestFirmwareUpdate).WillOnce(Return(Result(ipc::EResultIllegal)));

    EXPECT_EQ(Upload("package"), NoCommunication);

    EXPECT_TRUE(AwaitIdle());
    EXPECT_EQ(Contents(), "package");
    EXPECT_THAT(package->TryLockInstall(), NotNull());
}

TEST_F(FileServer, ABoardOutOfReachFailsAndKeepsTheFile)
{
    server->Start();
    EXPECT_CALL(*boardControl, RequestFirmwareUpdate).WillOnce(Throw(Rpc::CommunicationException("away")));

    EXPECT_EQ(Upload("package"), NoCommunication);

    EXPECT_TRUE(AwaitIdle());
    EXPECT_EQ(Contents(), "package");
}

TEST_F(FileServer, AnUnexpectedFailureOfTheInstallationIsAnsweredAndThePackageFree)
{
    server->Start();
    EXPECT_CALL(*boardControl, RequestFirmwareUpdate).WillOnce(Throw(std::logic_error("no runtime_error")));

    EXPECT_EQ(Upload("package"), "500 no runtime_error");

    EXPECT_TRUE(AwaitIdle());
    EXPECT_EQ(Contents(), "package");
    EXPECT_THAT(package->TryLockInstall(), NotNull());
}

TEST_F(FileServer, ASecondUploadIsRefusedAndTheFirstGoesOn)
{
    server->Start();
    const std::string firmware(100000, 'f');
    const std::string request = UploadText(firmware);
    CRawHttp first(Port);
    Begin(first, std::string_view(request).substr(0, 50000));
    EXPECT_TRUE(server->IsFirmwareUploadBusy());

    EXPECT_EQ(Upload(std::string(200000, 's')), InUse);
    EXPECT_EQ(Upload({{"name", "x"}}, {}), InUse);
    EXPECT_TRUE(server->IsFirmwareUploadBusy());
    first.Send(std::string_view(request).substr(50000));

    EXPECT_EQ(Text(first.Receive()), Created);
    EXPECT_TRUE(Contents() == firmware);
}

TEST_F(FileServer, AnAbortedSecondUploadLeavesTheFirstAlone)
{
    server->Start();
    const std::string firmware(100000, 'f');
    const std::string request = UploadText(firmware);
    CRawHttp first(Port);
    Begin(first, std::string_view(request).substr(0, 50000));
    {
        CRawHttp second(Port);
        second.Send(std::string_view(request).substr(0, 70000));
        second.EndSending();
        // it ends without an answer once it has been looked at
        second.ReceiveUntilClose();
    }
    EXPECT_TRUE(server->IsFirmwareUploadBusy());
    first.Send(std::string_view(request).substr(50000));

    EXPECT_EQ(Text(first.Receive()), Created);
    EXPECT_TRUE(Contents() == firmware);
}

TEST_F(FileServer, OtherMethodsLeaveThePackageAndARunningUploadAlone)
{
    server->Start();
    Upload("an earlier package");
    for (const char* const method : {"GET", "POST", "DELETE", "FOO"})
    {
        EXPECT_EQ(Text(HttpRequest(Port, method, "/", WithSession)), "400 Bad Request");
    }
    EXPECT_EQ(HttpRequest(Port, "HEAD", "/", WithSession).status, 400);
    EXPECT_EQ(Contents(), "an earlier package");

    const std::string request = UploadText(std::string(100000, 'f'));
    CRawHttp client(Port);
    Begin(client, std::string_view(request).substr(0, 50000));
    EXPECT_EQ(Text(HttpRequest(Port, "GET", "/", WithSession)), "400 Bad Request");
    client.Send(std::string_view(request).substr(50000));

    EXPECT_EQ(Text(client.Receive()), Created);
}

TEST_F(FileServer, EachChunkRenewsTheSession)
{
    server->Start();
    const std::string firmware(200000, 'f');
    const std::string request = UploadText(firmware);
    CRawHttp client(Port);
    for (std::size_t begin = 0; begin < 200000; begin += 50000)
    {
        Begin(client, std::string_view(request).substr(begin, 50000));
        const std::lock_guard lock(authorization->renewal);
        clock.Advance(Life - 1s);
    }
    client.Send(std::string_view(request).substr(200000));

    EXPECT_EQ(Text(client.Receive()), Created);
    EXPECT_TRUE(Contents() == firmware);
    EXPECT_THAT(authorization->refreshed.Await(1), testing::Each(Key));
}

TEST_F(FileServer, ALogoutStopsTheUploadAtTheNextChunk)
{
    server->Start();
    const std::string request = UploadText(std::string(200000, 'f'));
    CRawHttp client(Port);
    Begin(client, std::string_view(request).substr(0, 50000));

    authorization->RemoveSession(Key);
    client.Send(std::string_view(request).substr(50000));

    EXPECT_EQ(Text(client.Receive()), Unauthorized);
    ExpectNothingLeft();
}

TEST_F(FileServer, AnExpiryStopsTheUploadAtTheNextChunk)
{
    server->Start();
    const CCapturedLog log;
    const std::string request = UploadText(std::string(200000, 'f'));
    CRawHttp client(Port);
    Begin(client, std::string_view(request).substr(0, 50000));

    clock.Advance(Life + 1s);
    client.Send(std::string_view(request).substr(50000));

    EXPECT_EQ(Text(client.Receive()), Unauthorized);
    ExpectNothingLeft();
    EXPECT_THAT(log.Messages(Log::ELogLevel::Error), ElementsAre("Session is not valid or has expired"));
}

TEST_F(FileServer, AnUploadThatBreaksOffKeepsItsPartAndGivesThePackageFree)
{
    server->Start();
    const std::string request = UploadText(std::string(200000, 'f'));
    EXPECT_CALL(*boardControl, RequestFirmwareUpdate).Times(0);
    {
        CRawHttp client(Port);
        Begin(client, std::string_view(request).substr(0, 100000));
        client.Abort();
    }

    EXPECT_TRUE(AwaitIdle());
    EXPECT_GT(fs::file_size(path), 0U);
    EXPECT_LT(fs::file_size(path), 200000U);
    EXPECT_THAT(package->TryLockWrite(), NotNull());
}

TEST_F(FileServer, AFailedUploadThatBreaksOffDeletesItsFile)
{
    server->Start();
    const std::string request = UploadText(std::string(200000, 'f'));
    authorization->RemoveAllSessions();
    {
        CRawHttp client(Port);
        Begin(client, std::string_view(request).substr(0, 100000));
        client.Abort();
    }

    ExpectNothingLeft();
}

TEST_F(FileServer, UploadsThatAreCutOffAtAnyPlaceGiveThePackageFree)
{
    server->Start();
    const std::string request = UploadText(std::string(1000, 'f'));
    for (std::size_t size = 0; size < request.size(); size += 1 + request.size() / 100)
    {
        CRawHttp client(Port);
        client.Send(std::string_view(request).substr(0, size));
        client.EndSending();
        client.ReceiveUntilClose();
    }
    EXPECT_TRUE(AwaitIdle());

    EXPECT_EQ(Upload("good"), Created);
    EXPECT_EQ(Contents(), "good");
}

TEST_F(FileServer, TwoHundredAbortedUploadsLeaveNothingBehind)
{
    server->Start();
    const std::string request = UploadText(std::string(50000, 'f'));
    const auto abortOne = [&](std::size_t size)
    {
        CRawHttp client(Port);
        client.Send(std::string_view(request).substr(0, size));
        client.Abort();
    };
    abortOne(request.size() / 2);
    EXPECT_EQ(Text(HttpRequest(Port, "GET", "/")), "400 Bad Request");
    EXPECT_TRUE(AwaitIdle());
    // a connection that the server has yet to close counts
    const std::size_t descriptors = EntriesIn("/proc/self/fd") + 2;
    const std::size_t threads = EntriesIn("/proc/self/task");

    for (std::size_t i = 0; i < 200; ++i)
    {
        abortOne(1 + i * (request.size() - 2) / 199);
    }
    EXPECT_EQ(Text(HttpRequest(Port, "GET", "/")), "400 Bad Request");
    EXPECT_TRUE(AwaitIdle());

    EXPECT_LE(EntriesIn("/proc/self/fd"), descriptors);
    EXPECT_EQ(EntriesIn("/proc/self/task"), threads);
    EXPECT_EQ(Upload("good"), Created);
    EXPECT_EQ(Contents(), "good");
}

TEST_F(FileServer, BadRequestsOfAllKindsGiveThePackageFree)
{
    server->Start();
    const std::vector<std::string> requests{
        "PUT / HTTP/1.1\r\nHost: x\r\nContent-Length: -1\r\n\r\n",
        "PUT / HTTP/1.1\r\nHost: x\r\nContent-Length: 99999999999999999999999\r\n\r\n",
        "PUT / HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\nContent-Type: " + FormType() +
            "\r\n\r\nzzz\r\n",
        "PUT / HTTP/1.1\r\n\r\n",
        "PUT / HTTP/9.9\r\nHost: x\r\n\r\n",
        "PUT\r\n\r\n",
        std::string("\0\0\0\r\n\r\n", 7),
    };
    for (const std::string& request : requests)
    {
        CRawHttp client(Port);
        client.Send(request);
        client.EndSending();
        client.ReceiveUntilClose();
        EXPECT_TRUE(AwaitIdle()) << request;
        EXPECT_EQ(Upload("good"), Created) << request;
    }
}

TEST_F(FileServer, StopBreaksOffAnUploadAndGivesThePackageFree)
{
    server->Start();
    const std::string request = UploadText(std::string(200000, 'f'));
    CRawHttp client(Port);
    Begin(client, std::string_view(request).substr(0, 100000));

    server->Stop();

    EXPECT_TRUE(client.IsClosedByServer());
    EXPECT_FALSE(server->IsFirmwareUploadBusy());
    EXPECT_THAT(package->TryLockInstall(), NotNull());
    server->Start();
    EXPECT_EQ(Upload("good"), Created);
}

TEST_F(FileServer, DestructionBreaksOffAnUploadAndGivesThePackageFree)
{
    server->Start();
    const std::string request = UploadText(std::string(200000, 'f'));
    CRawHttp client(Port);
    Begin(client, std::string_view(request).substr(0, 100000));

    server.reset();

    EXPECT_TRUE(client.IsClosedByServer());
    EXPECT_THAT(package->TryLockInstall(), NotNull());
}

TEST_F(FileServer, IsBusyFromTheFirstByteToTheEndForAnyThread)
{
    server->Start();
    EXPECT_FALSE(server->IsFirmwareUploadBusy());
    std::atomic<bool> done = false;
    std::atomic<int> seenBusy = 0;
    EXPECT_CALL(*boardControl, RequestFirmwareUpdate)
        .WillRepeatedly(
            [&](const std::string&)
            {
                // until the other thread has looked
                const int before = seenBusy;
                const auto end = std::chrono::steady_clock::now() + TestPatience;
                while (seenBusy == before && std::chrono::steady_clock::now() < end)
                {
                    std::this_thread::yield();
                }
                return Result(ipc::EResultOk);
            });
    std::thread reader(
        [&]
        {
            while (!done)
            {
                seenBusy += server->IsFirmwareUploadBusy() ? 1 : 0;
                std::this_thread::yield();
            }
        });
    for (int i = 0; i < 20; ++i)
    {
        EXPECT_EQ(Upload("x"), Created);
    }
    done = true;
    reader.join();

    EXPECT_GE(seenBusy, 20);
    EXPECT_TRUE(AwaitIdle());
}

TEST_F(FileServer, AFinishedRequestThatHasNotThePackageIsForbidden)
{
    CConnection connection(nullptr);

    EXPECT_EQ(server->OnFinalizeRequest(connection), (std::pair<std::string, int>("Forbidden", 403)));
}

TEST_F(FileServer, AServerNeedsAnAuthorization)
{
    try
    {
        const CFileServer without(Port, package, nullptr);
        FAIL();
    }
    catch (const std::runtime_error& exception)
    {
        EXPECT_STREQ(exception.what(), "Authorization object was not provided.");
    }
}

TEST_F(FileServer, TracesNeverTellTheSession)
{
    const CCapturedLog log;
    server->Start();
    Upload("x");
    server->Stop();

    for (const CCapturedLog::SLine& line : log.Lines())
    {
        EXPECT_THAT(line.text, testing::Not(HasSubstr(Key)));
    }
    for (const char* const entry : {"CFileServer::OnNewRequest",
                                    "CFileServer::OnFinalizeRequest",
                                    "CFileServer::OnEndRequest",
                                    "CConnection::GetCookie"})
    {
        EXPECT_TRUE(log.Has(Log::ELogLevel::Trace, entry)) << entry;
    }
}

/// A package that everybody gets, with an installer of a given result.
class COpenPackage : public IFwPackage
{
public:
    std::unique_ptr<IFwPackageWriter> TryLockWrite() override
    {
        ++writers;
        return std::make_unique<CWriter>(written);
    }
    std::unique_ptr<IFwPackageInstaller> TryLockInstall() override
    {
        return std::make_unique<CInstaller>(installResult);
    }

    std::atomic<int> writers = 0;
    CCollector<std::string> written;
    int installResult = 0;

private:
    class CWriter : public IFwPackageWriter
    {
    public:
        explicit CWriter(CCollector<std::string>& written)
            : written(written)
        {
        }
        bool Write(const char* data, std::int32_t size) override
        {
            written.Add({data, static_cast<std::size_t>(size)});
            return true;
        }
        void Abort() override { written.Add("aborted"); }
        std::uint32_t GetMaxSize() override { return 0; }

    private:
        CCollector<std::string>& written;
    };

    class CInstaller : public IFwPackageInstaller
    {
    public:
        explicit CInstaller(int result)
            : result(result)
        {
        }
        int Install() override { return result; }

    private:
        const int result;
    };
};

class FileServerWithOpenPackage : public testing::Test
{
protected:
    FileServerWithOpenPackage() { ON_CALL(*authorization, RefreshSession).WillByDefault(Return(true)); }

    bool AwaitWriters(int count) const
    {
        const auto end = std::chrono::steady_clock::now() + TestPatience;
        while (package->writers < count && std::chrono::steady_clock::now() < end)
        {
            std::this_thread::yield();
        }
        return package->writers >= count;
    }

    const std::shared_ptr<NiceMock<CMockAuthorization>> authorization =
        std::make_shared<NiceMock<CMockAuthorization>>();
    const std::shared_ptr<COpenPackage> package = std::make_shared<COpenPackage>();
    CFileServer server{Port, package, authorization};
};

TEST_F(FileServerWithOpenPackage, AnotherResultOfTheInstallationHasATextOfItsOwn)
{
    server.Start();
    for (const int result : {2, -1, 100})
    {
        package->installResult = result;
        EXPECT_EQ(Upload("x"), "500 Update installation failed") << result;
        server.Stop();
        server.Start();
    }
}

TEST_F(FileServerWithOpenPackage, WithoutACookieAndWithASessionOfNoNameThePackageStaysAlone)
{
    server.Start();
    const CCapturedLog log;
    EXPECT_CALL(*authorization, RefreshSession("")).WillOnce(Return(true));

    EXPECT_EQ(Upload({{"firmware", "x"}}, {}), Unauthorized);

    EXPECT_EQ(package->writers, 0);
    EXPECT_THAT(log.Messages(Log::ELogLevel::Error),
                ElementsAre("Session cookie was not provided or the session is not valid (anymore)"));
}

TEST_F(FileServerWithOpenPackage, ACookieIsNotLookedAtBeforeTheFirstChunk)
{
    server.Start();
    EXPECT_CALL(*authorization, RefreshSession).Times(0);

    EXPECT_EQ(Text(HttpRequest(Port, "PUT", "/", WithSession)), NoData);

    EXPECT_EQ(package->writers, 1);
}

TEST_F(FileServerWithOpenPackage, AnEmptyCookieIsOne)
{
    server.Start();

    EXPECT_EQ(Upload({{"firmware", "x"}}, {{"Cookie", "sessionid="}}), Created);
}

TEST_F(FileServerWithOpenPackage, AChunkOfARequestThatHasNotThePackageIsUnauthorized)
{
    server.Start();
    const CCapturedLog log;
    const std::string request = UploadText(std::string(100000, 'f'));
    CRawHttp first(Port);
    first.Send(std::string_view(request).substr(0, 50000));
    package->written.Await(1);
    CRawHttp second(Port);
    second.Send(std::string_view(request).substr(0, 50000));
    ASSERT_TRUE(AwaitWriters(2));

    first.Send(std::string_view(request).substr(50000));
    EXPECT_EQ(Text(first.Receive()), Unauthorized);
    second.Send(std::string_view(request).substr(50000));
    EXPECT_EQ(Text(second.Receive()), Created);

    EXPECT_THAT(package->written.Await(0), testing::Not(testing::Contains("aborted")));
    EXPECT_TRUE(
        log.Has(Log::ELogLevel::Error,
                "Attempt to process a chunk belonging to a different connection than the one authorized"));
}

TEST_F(FileServerWithOpenPackage, TheEndOfARequestThatHasNotThePackageIsForbidden)
{
    server.Start();
    HttpHeaders headers = WithSession;
    headers.emplace_back("Content-Type", "application/x-www-form-urlencoded");
    // the last byte is no part of a value
    const std::string request = HttpRequestText("PUT", "/", headers, "firmware=short&");
    CRawHttp first(Port);
    first.Send(std::string_view(request).substr(0, request.size() - 1));
    package->written.Await(1);
    CRawHttp second(Port);
    second.Send(std::string_view(request).substr(0, request.size() - 1));
    package->written.Await(2);

    first.Send("&");
    EXPECT_EQ(Text(first.Receive()), "403 Forbidden");
    second.Send("&");
    EXPECT_EQ(Text(second.Receive()), Created);
    EXPECT_THAT(package->written.Await(0), ElementsAre("short", "short"));
}

/// A server that gets another chunk of each request when that is over.
class CLateChunkServer : public CFileServer
{
public:
    using CFileServer::CFileServer;
    ~CLateChunkServer() override { StopDaemon(); }
    CLateChunkServer(const CLateChunkServer&) = delete;
    CLateChunkServer& operator=(const CLateChunkServer&) = delete;
    CLateChunkServer(CLateChunkServer&&) = delete;
    CLateChunkServer& operator=(CLateChunkServer&&) = delete;

    void OnEndRequest(CConnection& connection) override
    {
        CFileServer::OnEndRequest(connection);
        ProcessChunk({dynamic_cast<CPostRequest*>(&connection), "firmware", "", "", "", "late", 0, 4});
    }
};

TEST_F(FileServerWithOpenPackage, AChunkAfterTheEndOfItsRequestIsNotWritten)
{
    CLateChunkServer lateServer(Port, package, authorization);
    lateServer.Start();
    EXPECT_CALL(*authorization, RefreshSession(Key)).Times(testing::AtLeast(1));
    // the session went with the request
    EXPECT_CALL(*authorization, RefreshSession("")).Times(testing::AtLeast(1));

    EXPECT_EQ(Upload("x"), Created);
    lateServer.Stop();

    EXPECT_THAT(package->written.Await(0), ElementsAre("x"));
}

TEST_F(FileServerWithOpenPackage, AnUrlencodedPackageThatEndsWithinAnEscapeIsTakenUpToThat)
{
    server.Start();

    EXPECT_EQ(Put("application/x-www-form-urlencoded", "firmware=ab%4"), Created);
    server.Stop();

    EXPECT_THAT(package->written.Await(0), ElementsAre("ab"));
}

} // namespace
