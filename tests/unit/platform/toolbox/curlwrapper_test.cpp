#include "platform/toolbox/curlwrapper.h"
#include "platform/toolbox/interruption.h"
#include "simulator/downloads/downloadserver.h"

#include <chrono>
#include <cstdint>
#include <future>
#include <optional>
#include <string>

#include <gmock/gmock.h>

#include "tests/support/capturedlog.h"
#include "tests/support/eventually.h"
#include "tests/support/rawserver.h"
#include "tests/support/runtogether.h"

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Toolbox::CCurlWrapper;
using Toolbox::SCredentials;

constexpr std::int64_t MebiByte = 1024 * 1024;

class CurlWrapper : public testing::Test
{
protected:
    void Offer(const std::string& path, const std::string& text)
    {
        Simulator::SDownload download;
        download.text = text;
        downloads.Set(path, download);
    }

    void OfferSize(std::int64_t size, std::optional<std::int64_t> announced = {})
    {
        Simulator::SDownload download;
        download.size = size;
        download.announced = announced;
        downloads.Set("/text", download);
    }

    std::optional<std::string> Get() { return Get(server.Url("/text")); }

    std::optional<std::string> Get(const std::string& url)
    {
        CCurlWrapper curl(&interruption);
        curl.Initialize();
        return curl.Get(url, std::nullopt, std::nullopt);
    }

    /// The request that a server gets.
    static std::string RequestOf(const std::optional<std::string>& header,
                                 const std::optional<SCredentials>& credentials)
    {
        CRawServer server("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
        CCurlWrapper curl;
        curl.Initialize();
        EXPECT_EQ(curl.Get("http://127.0.0.1:" + std::to_string(server.Port()), header, credentials), "ok");
        return server.requests.Await(1).at(0);
    }

    Simulator::CDownloads downloads;
    const Simulator::CDownloadServer server{0, downloads};
    Toolbox::CInterruption interruption;
};

} // namespace

TEST_F(CurlWrapper, GetsTheText)
{
    Offer("/text", "{\"a\": 1}");
    EXPECT_EQ(Get(), "{\"a\": 1}");
}

TEST_F(CurlWrapper, EmptyTextIsASuccess)
{
    Offer("/text", "");
    EXPECT_EQ(Get(), "");
}

TEST_F(CurlWrapper, GetsNothingWithoutInitialize)
{
    Offer("/text", "text");
    EXPECT_EQ(CCurlWrapper().Get(server.Url("/text"), std::nullopt, std::nullopt), std::nullopt);
}

TEST_F(CurlWrapper, FailureIsLoggedWithUrlAndReason)
{
    const std::string url = server.Url("/absent");
    const CCapturedLog log;

    EXPECT_EQ(Get(url), std::nullopt);

    EXPECT_THAT(log.Messages(Log::ELogLevel::Warn),
                ElementsAre("Transfer of " + url + " failed: The requested URL returned error: 404"));
}

TEST_F(CurlWrapper, SendsHeaderAndCredentialsThatAreGiven)
{
    EXPECT_THAT(RequestOf("X-Station: 42", std::nullopt), HasSubstr("\r\nX-Station: 42\r\n"));
    // base64 of user:secret
    EXPECT_THAT(RequestOf(std::nullopt, SCredentials{"user", "secret"}),
                HasSubstr("\r\nAuthorization: Basic dXNlcjpzZWNyZXQ=\r\n"));
    EXPECT_THAT(RequestOf(std::nullopt, std::nullopt), Not(HasSubstr("Authorization")));
}

TEST_F(CurlWrapper, TextMayHaveOneMebibyteAndNoMore)
{
    OfferSize(MebiByte);
    EXPECT_EQ(Get().value_or("").size(), MebiByte);
    OfferSize(MebiByte, -1);
    EXPECT_EQ(Get().value_or("").size(), MebiByte);
    OfferSize(MebiByte + 1);
    EXPECT_EQ(Get(), std::nullopt);
    OfferSize(MebiByte + 1, -1);
    EXPECT_EQ(Get(), std::nullopt);
}

TEST_F(CurlWrapper, GivesUpAfterHalfAMinute)
{
    EXPECT_EQ(CCurlWrapper::TextLimits().total, std::chrono::seconds(30));
}

TEST_F(CurlWrapper, FailsWhileItIsInterrupted)
{
    Offer("/text", "text");
    interruption.Interrupt();
    EXPECT_EQ(Get(), std::nullopt);

    interruption.Resume();
    EXPECT_EQ(Get(), "text");
}

TEST_F(CurlWrapper, InterruptionEndsWhatIsUnderWay)
{
    Simulator::SDownload silent;
    silent.isSilent = true;
    downloads.Set("/text", silent);
    auto text = std::async(std::launch::async, [this] { return Get(); });
    downloads.AwaitRequests("/text", 1, TestPatience);

    interruption.Interrupt();

    ASSERT_EQ(text.wait_for(TestPatience), std::future_status::ready);
    EXPECT_EQ(text.get(), std::nullopt);
}

TEST_F(CurlWrapper, SeveralGetTextsAtTheSameTime)
{
    constexpr int Threads = 5;
    for (int number = 0; number < Threads; ++number)
    {
        Offer("/" + std::to_string(number), std::string(100000, static_cast<char>('0' + number)));
    }
    RunTogether(Threads,
                [this](int number)
                {
                    EXPECT_EQ(Get(server.Url("/" + std::to_string(number))),
                              std::string(100000, static_cast<char>('0' + number)));
                });
}
