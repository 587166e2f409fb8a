#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <vector>

#include "tests/unit/platform/httpserver/httpservertest.h"

namespace
{

using httpserver::http_request;

constexpr int ThreadCount = 5;
constexpr std::size_t MoreThanSocketsHold = 20'000'000; // bytes

} // namespace

/// A server whose handler of /blocking waits at the gate.
class HttpConcurrency : public HttpServer
{
public:
    ~HttpConcurrency() override
    {
        gate.ReleaseAll();
        server.stop();
    }

protected:
    HttpConcurrency()
    {
        Serve("/blocking",
              [this](const http_request& /*request*/)
              {
                  gate.Pass();
                  return std::make_shared<CCountedResponse>(destroyed, "blocking");
              });
        Serve("/large",
              [this](const http_request& /*request*/) {
                  return std::make_shared<CCountedResponse>(destroyed, std::string(MoreThanSocketsHold, 'x'));
              });
        Serve("/a", [](const http_request& /*request*/) { return TextResponse("text"); });
        Start();
    }

    /// Sends a request that blocks a thread of the server, and waits until it does: the next connection is
    /// accepted by another thread then.
    void BlockThread()
    {
        auto& client = blocked.emplace_back(port);
        client.Send(HttpRequestText("GET", "/blocking"));
        ASSERT_TRUE(gate.WaitForArrivals(static_cast<int>(blocked.size())));
    }

    std::deque<CRawHttp> blocked;
};

TEST_F(HttpConcurrency, FiveHandlersRunAtATime)
{
    for (int i = 0; i < ThreadCount; ++i)
    {
        ASSERT_NO_FATAL_FAILURE(BlockThread());
    }
    CRawHttp sixth(port);
    sixth.Send(HttpRequestText("GET", "/blocking"));
    EXPECT_FALSE(gate.WaitForArrivals(ThreadCount + 1, std::chrono::milliseconds(200)));

    gate.Release();
    EXPECT_TRUE(gate.WaitForArrivals(ThreadCount + 1));
    gate.ReleaseAll();
    for (auto& client : blocked)
    {
        EXPECT_EQ(client.Receive().body, "blocking");
    }
    EXPECT_EQ(sixth.Receive().body, "blocking");
}

TEST_F(HttpConcurrency, NewConnectionIsServedWhileFourHandlersBlock)
{
    for (int i = 0; i < ThreadCount - 1; ++i)
    {
        ASSERT_NO_FATAL_FAILURE(BlockThread());
    }
    EXPECT_EQ(HttpRequest(port, "GET", "/a").body, "text");
    EXPECT_EQ(HttpRequest(port, "GET", "/a").body, "text");
}

TEST_F(HttpConcurrency, ManyConnectionsAreServedAtATime)
{
    std::deque<CRawHttp> clients;
    for (int i = 0; i < 100; ++i)
    {
        clients.emplace_back(port).Send(HttpRequestText("GET", "/a"));
    }
    for (auto& client : clients)
    {
        EXPECT_EQ(client.Receive().body, "text");
        EXPECT_EQ(client.Request("GET", "/a").body, "text");
    }
}

TEST_F(HttpConcurrency, ClientThatIsGoneDuringItsHandlerDoesNoHarm)
{
    ASSERT_NO_FATAL_FAILURE(BlockThread());
    ASSERT_NO_FATAL_FAILURE(BlockThread());
    blocked[0].Abort();
    blocked.pop_back();
    gate.ReleaseAll();
    EXPECT_TRUE(destroyed.WaitFor(2));
    EXPECT_EQ(HttpRequest(port, "GET", "/a").body, "text");
}

TEST_F(HttpConcurrency, ClientThatIsGoneDuringItsAnswerDoesNoHarm)
{
    for (int i = 1; i <= 3; ++i)
    {
        CRawHttp client(port);
        client.Send(HttpRequestText("GET", "/large"));
        client.ReceiveSome();
        EXPECT_EQ(destroyed.Count(), i - 1);
        client.Abort();
        EXPECT_TRUE(destroyed.WaitFor(i));
    }
    EXPECT_EQ(HttpRequest(port, "GET", "/a").body, "text");
}

TEST_F(HttpConcurrency, StopEndsAnAnswerThatNobodyReads)
{
    CRawHttp client(port);
    client.Send(HttpRequestText("GET", "/large"));
    client.ReceiveSome();
    EXPECT_TRUE(server.stop());
    EXPECT_EQ(destroyed.Count(), 1);
}

TEST_F(HttpConcurrency, WriteToABrokenPipeDoesNotEndTheProcess)
{
    ASSERT_NE(std::signal(SIGPIPE, SIG_DFL), SIG_ERR);
    const httpserver::webserver other{httpserver::create_webserver(8081)};
    std::array<int, 2> ends = {};
    ASSERT_EQ(pipe(ends.data()), 0);
    close(ends[0]);
    EXPECT_EQ(write(ends[1], "x", 1), -1);
    EXPECT_EQ(errno, EPIPE);
    close(ends[1]);
}
