#include "platform/toolbox/interruption.h"
#include "platform/toolbox/urltransfer.h"
#include "simulator/downloads/downloadserver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include <gmock/gmock.h>

#include "tests/support/childprocess.h"
#include "tests/support/eventually.h"
#include "tests/support/privatemounts.h"
#include "tests/support/privatenetwork.h"
#include "tests/support/rawhttp.h"
#include "tests/support/rawserver.h"
#include "tests/support/temporarydirectory.h"

namespace
{

using namespace std::chrono_literals;
using testing::HasSubstr;

const auto* const network = testing::AddGlobalTestEnvironment(new CPrivateNetwork);

constexpr std::uint16_t TlsPort = 8443;
constexpr std::uint16_t DnsPort = 53;

class UrlTransfer : public testing::Test
{
protected:
    UrlTransfer() { limits.size = 1000000; }

    void Offer(const std::string& path, const Simulator::SDownload& download)
    {
        downloads.Set(path, download);
    }

    void OfferText(const std::string& path, const std::string& text)
    {
        Simulator::SDownload download;
        download.text = text;
        Offer(path, download);
    }

    void OfferRedirect(const std::string& path, const std::string& location, unsigned status = 302)
    {
        Simulator::SDownload download;
        download.status = status;
        download.location = location;
        Offer(path, download);
    }

    /// What the transfer brings, or why it fails.
    std::string Transfer(const std::string& url)
    {
        std::string text;
        try
        {
            Toolbox::TransferUrl(
                {url, std::nullopt, std::nullopt},
                limits,
                [&text](const char* data, std::size_t size)
                {
                    text.append(data, size);
                    return true;
                },
                &interruption);
            return text;
        }
        catch (const std::runtime_error& error)
        {
            return std::string("failed: ") + error.what();
        }
    }

    std::string TransferPath(const std::string& path) { return Transfer(server.Url(path)); }

    Toolbox::STransferLimits limits;
    Toolbox::CInterruption interruption;
    Simulator::CDownloads downloads;
    const Simulator::CDownloadServer server{0, downloads};
};

/// A https server for the name station.example on the loopback, which shows the files of a directory.
class UrlTransferWithTls : public UrlTransfer
{
protected:
    UrlTransferWithTls()
    {
        const std::string key = (directory.Path() / "key").string();
        CChildProcess maker({"/usr/bin/openssl",
                             "req",
                             "-x509",
                             "-newkey",
                             "rsa:2048",
                             "-nodes",
                             "-keyout",
                             key,
                             "-out",
                             Certificate(),
                             "-days",
                             "2",
                             "-subj",
                             "/CN=station.example",
                             "-addext",
                             "subjectAltName=DNS:station.example"});
        EXPECT_EQ(maker.AwaitEnd().status, 0) << maker.Errors();
        directory.Write("file", "secret");
        tls = std::make_unique<CChildProcess>(std::vector<std::string>{"/usr/bin/env",
                                                                       "--chdir=" + directory.Path().string(),
                                                                       "/usr/bin/openssl",
                                                                       "s_server",
                                                                       "-quiet",
                                                                       "-WWW",
                                                                       "-accept",
                                                                       std::to_string(TlsPort),
                                                                       "-cert",
                                                                       Certificate(),
                                                                       "-key",
                                                                       key});
        const auto end = std::chrono::steady_clock::now() + TestPatience;
        while (!CRawHttp::CanConnect(TlsPort))
        {
            if (std::chrono::steady_clock::now() > end)
            {
                throw std::runtime_error(tls->Errors());
            }
            std::this_thread::yield();
        }
        directory.Write("hosts", "127.0.0.1 localhost station.example\n");
        hosts.emplace(mounts, directory.Path() / "hosts", "/etc/hosts");
    }

    std::string Certificate() const { return (directory.Path() / "certificate").string(); }

    void TrustCertificate() { trusted.emplace(mounts, Certificate(), "/etc/ssl/certs/ca-certificates.crt"); }

    static std::string Url(const std::string& host)
    {
        return "https://" + host + ":" + std::to_string(TlsPort) + "/file";
    }

    const CTemporaryDirectory directory;
    const CPrivateMounts mounts;
    std::optional<CShownFile> hosts;
    std::optional<CShownFile> trusted;
    std::unique_ptr<CChildProcess> tls;
};

/// A name server that never answers.
class CSilentNameServer
{
public:
    CSilentNameServer()
        : socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(DnsPort);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0)
        {
            throw std::runtime_error("the name server can't have its port");
        }
        directory.Write("resolv.conf", "nameserver 127.0.0.1\noptions timeout:30 attempts:5\n");
        shown.emplace(mounts, directory.Path() / "resolv.conf", "/etc/resolv.conf");
    }
    ~CSilentNameServer() { close(socket); }
    CSilentNameServer(const CSilentNameServer&) = delete;
    CSilentNameServer& operator=(const CSilentNameServer&) = delete;
    CSilentNameServer(CSilentNameServer&&) = delete;
    CSilentNameServer& operator=(CSilentNameServer&&) = delete;

    void AwaitQuestion() const
    {
        std::array<char, 512> question{};
        EXPECT_GT(recv(socket, question.data(), question.size(), 0), 0);
    }

private:
    const CTemporaryDirectory directory;
    const CPrivateMounts mounts;
    std::optional<CShownFile> shown;
    const int socket;
};

} // namespace

// --------------------------------------------------------------------------------------------- protocols

TEST_F(UrlTransfer, RefusesOtherProtocolsAndWhatIsNoUrl)
{
    for (const std::string url : {"file:///etc/passwd",
                                  "ftp://127.0.0.1/x",
                                  "scp://127.0.0.1/x",
                                  "gopher://127.0.0.1/x",
                                  "dict://127.0.0.1/x"})
    {
        EXPECT_THAT(Transfer(url), testing::StartsWith("failed: Protocol \"")) << url;
    }
    for (const std::string url :
         {"", "data:,x", "http://", "/etc/passwd", "http://[", "http://127.0.0.1:99999/"})
    {
        EXPECT_THAT(Transfer(url), testing::StartsWith("failed: ")) << url;
    }
    EXPECT_EQ(Transfer(server.Url(std::string("/a\0b", 4))), "failed: the URL holds a zero byte");
}

TEST_F(UrlTransfer, FollowsTenRedirects)
{
    OfferText("/10", "found");
    for (int step = 0; step < 10; ++step)
    {
        OfferRedirect("/" + std::to_string(step), "/" + std::to_string(step + 1), step % 2 == 0 ? 301 : 302);
    }
    EXPECT_EQ(TransferPath("/0"), "found");

    OfferRedirect("/start", server.Url("/0"));
    EXPECT_EQ(TransferPath("/start"), "failed: Maximum (10) redirects followed");
}

TEST_F(UrlTransfer, FollowsNoRedirectToAnotherProtocol)
{
    OfferRedirect("/file", "file:///etc/passwd");
    EXPECT_EQ(TransferPath("/file"), "failed: Protocol \"file\" not supported or disabled in libcurl");
    OfferRedirect("/ftp", "ftp://127.0.0.1/x");
    EXPECT_EQ(TransferPath("/ftp"), "failed: Protocol \"ftp\" not supported or disabled in libcurl");
}

TEST_F(UrlTransfer, TakesTheStatus200Alone)
{
    for (const unsigned status : {201U, 204U, 206U, 300U, 304U, 400U, 401U, 404U, 500U, 503U})
    {
        Simulator::SDownload download;
        download.status = status;
        Offer("/x", download);
        EXPECT_THAT(TransferPath("/x"), testing::StartsWith("failed: ")) << status;
    }
}

TEST_F(UrlTransfer, AnswerThatIsNoHttpIsAFailure)
{
    const CRawServer raw("220 welcome\r\n");
    EXPECT_EQ(Transfer("http://127.0.0.1:" + std::to_string(raw.Port())),
              "failed: Received HTTP/0.9 when not allowed");
}

TEST_F(UrlTransferWithTls, ServerOfATrustedCertificateIsTaken)
{
    TrustCertificate();
    EXPECT_EQ(Transfer(Url("station.example")), "secret");
}

TEST_F(UrlTransferWithTls, ServerThatNobodyVouchesForIsRefused)
{
    EXPECT_THAT(Transfer(Url("station.example")), HasSubstr("certificate"));
}

TEST_F(UrlTransferWithTls, ServerOfAnotherNameIsRefused)
{
    TrustCertificate();
    EXPECT_THAT(Transfer(Url("localhost")), HasSubstr("no alternative certificate subject name matches"));
}

// ------------------------------------------------------------------------------------------------ limits

TEST_F(UrlTransfer, BodyMayHaveTheLimitAndNoMore)
{
    for (const bool isAnnounced : {true, false})
    {
        Simulator::SDownload download;
        download.announced = isAnnounced ? std::nullopt : std::optional<std::int64_t>(-1);
        download.size = limits.size;
        Offer("/x", download);
        EXPECT_EQ(TransferPath("/x").size(), static_cast<std::size_t>(limits.size));
        download.size = limits.size + 1;
        Offer("/x", download);
        EXPECT_EQ(TransferPath("/x"),
                  isAnnounced ? "failed: Maximum file size exceeded" : "failed: more than 1000000 bytes");
    }
}

TEST_F(UrlTransfer, ShorterBodyThanAnnouncedIsAFailure)
{
    Simulator::SDownload download;
    download.size = 100000;
    download.announced = 100001;
    Offer("/x", download);
    EXPECT_EQ(TransferPath("/x"), "failed: transfer closed with 1 bytes remaining to read");

    download.announced = -1;
    download.cutAfter = 50000;
    Offer("/x", download);
    EXPECT_THAT(TransferPath("/x"), testing::StartsWith("failed: "));
}

TEST_F(UrlTransfer, SinkThatTakesNoMoreEndsIt)
{
    OfferText("/x", "text");
    EXPECT_THROW(Toolbox::TransferUrl(
                     {server.Url("/x"), std::nullopt, std::nullopt},
                     limits,
                     [](const char*, std::size_t) { return false; },
                     nullptr),
                 std::runtime_error);
    EXPECT_THROW(Toolbox::TransferUrl(
                     {server.Url("/x"), std::nullopt, std::nullopt},
                     limits,
                     [](const char*, std::size_t) -> bool { throw std::logic_error("full"); },
                     nullptr),
                 std::runtime_error);
}

TEST_F(UrlTransfer, SilentAndSlowServersAreGivenUp)
{
    limits.stalling = 1s;
    Simulator::SDownload silent;
    silent.isSilent = true;
    Offer("/silent", silent);
    Simulator::SDownload slow;
    slow.size = 1000000;
    slow.speed = 100;
    Offer("/slow", slow);
    const std::string reason =
        "failed: Operation too slow. Less than 1000 bytes/sec transferred the last 1 seconds";
    EXPECT_EQ(TransferPath("/silent"), reason);
    EXPECT_EQ(TransferPath("/slow"), reason);
}

TEST_F(UrlTransfer, TakesNoLongerThanItMayInTotal)
{
    limits.total = 1s;
    Simulator::SDownload steady;
    steady.size = 1000000;
    steady.speed = 10000;
    Offer("/steady", steady);
    EXPECT_THAT(TransferPath("/steady"), testing::StartsWith("failed: Operation timed out"));
}

TEST_F(UrlTransfer, ServerThatNeverFinishesToConnectIsGivenUp)
{
    const CRawServer silent("");
    limits.connecting = 200ms;
    EXPECT_THAT(Transfer("https://127.0.0.1:" + std::to_string(silent.Port())),
                testing::HasSubstr("SSL connection timeout"));
}

TEST_F(UrlTransfer, LimitsAreThoseOfTheStationUnlessChanged)
{
    EXPECT_EQ(Toolbox::STransferLimits().connecting, 10s);
    EXPECT_EQ(Toolbox::STransferLimits().stalling, 30s);
    EXPECT_EQ(Toolbox::STransferLimits().total, 0s);
}

// ------------------------------------------------------------------------------------------ interruption

TEST_F(UrlTransfer, InterruptionEndsASlowBody)
{
    Simulator::SDownload slow;
    slow.size = 1000000;
    slow.speed = 2000;
    Offer("/slow", slow);
    auto end = std::async(std::launch::async, [this] { return TransferPath("/slow"); });
    downloads.AwaitRequests("/slow", 1, TestPatience);

    interruption.Interrupt();

    ASSERT_EQ(end.wait_for(TestPatience), std::future_status::ready);
    EXPECT_EQ(end.get(), "failed: interrupted");
}

TEST_F(UrlTransfer, InterruptionDoesNotWaitForNames)
{
    const CSilentNameServer names;
    auto end = std::async(std::launch::async, [this] { return Transfer("http://station.example/"); });
    names.AwaitQuestion();

    interruption.Interrupt();

    ASSERT_EQ(end.wait_for(TestPatience), std::future_status::ready);
    EXPECT_EQ(end.get(), "failed: interrupted");
}

TEST_F(UrlTransfer, NamesCountForTheTimeToConnect)
{
    const CSilentNameServer names;
    limits.connecting = 200ms;
    EXPECT_THAT(Transfer("http://station.example/"), testing::HasSubstr("timed out after 2"));
}
