#include <future>
#include <stdexcept>

#include "tests/unit/platform/httpserver/httpservertest.h"

namespace
{

using httpserver::create_webserver;
using httpserver::http_request;
using httpserver::webserver;

RenderFunction Answering(const std::string& text)
{
    return [text](const http_request& /*request*/) { return TextResponse(text); };
}

void ExpectPortIsBusy(webserver& server)
{
    try
    {
        server.start(false);
        ADD_FAILURE() << "the port was free";
    }
    catch (const std::invalid_argument& refusal)
    {
        EXPECT_STREQ(refusal.what(), "Unable to connect daemon to port: 8080");
    }
}

} // namespace

class HttpLifecycle : public HttpServer
{
protected:
    /// Requests to the path wait at the gate.
    void ServeBlocking(const std::string& path)
    {
        Serve(path,
              [this](const http_request& /*request*/)
              {
                  gate.Pass();
                  return std::make_shared<CCountedResponse>(destroyed, "text");
              });
    }
};

TEST_F(HttpLifecycle, StartReturnsFalseAtOnce)
{
    Serve("/a", Answering("text"));
    EXPECT_FALSE(server.is_running());
    EXPECT_FALSE(server.start(false));
    EXPECT_TRUE(server.is_running());
    EXPECT_EQ(HttpRequest(port, "GET", "/a").body, "text");
}

TEST_F(HttpLifecycle, BusyPortIsRefusedUntilItIsFree)
{
    Serve("/a", Answering("first"));
    CFunctionResource resource(Answering("second"));
    webserver second{create_webserver(port).max_threads(2)};
    second.register_resource("/a", &resource);
    Start();
    ExpectPortIsBusy(second);
    EXPECT_FALSE(second.is_running());
    EXPECT_EQ(HttpRequest(port, "GET", "/a").body, "first");

    EXPECT_TRUE(server.stop());
    EXPECT_FALSE(second.start(false));
    EXPECT_TRUE(second.is_running());
    EXPECT_EQ(HttpRequest(port, "GET", "/a").body, "second");
    second.stop();
}

TEST_F(HttpLifecycle, StopIsTrueOnlyWhileRunning)
{
    EXPECT_FALSE(server.stop());
    Start();
    EXPECT_TRUE(server.stop());
    EXPECT_FALSE(server.is_running());
    EXPECT_FALSE(server.stop());
}

TEST_F(HttpLifecycle, StartsAgainWithItsResources)
{
    Serve("/a", Answering("text"));
    for (int i = 0; i < 4; ++i)
    {
        EXPECT_FALSE(server.start(false));
        EXPECT_EQ(HttpRequest(port, "GET", "/a").body, "text");
        EXPECT_TRUE(server.stop());
        EXPECT_FALSE(CRawHttp::CanConnect(port));
    }
}

TEST_F(HttpLifecycle, StopClosesConnectionsWhateverTheyWaitFor)
{
    Serve("/a", Answering("text"));
    Start();
    CRawHttp idle(port);
    idle.Request("GET", "/a");
    CRawHttp silent(port);
    CRawHttp halfHeader(port);
    halfHeader.Send("GET /a HTT");
    CRawHttp halfBody(port);
    halfBody.Send("POST /a HTTP/1.1\r\nHost: x\r\nContent-Length: 10\r\n\r\nhalf");
    EXPECT_TRUE(server.stop());
    for (CRawHttp* const client : {&idle, &silent, &halfHeader, &halfBody})
    {
        EXPECT_TRUE(client->IsClosedByServer());
    }
}

TEST_F(HttpLifecycle, StopWaitsForAHandlerWhoseClientGetsNoAnswer)
{
    ServeBlocking("/a");
    Start();
    CRawHttp client(port);
    client.Send(HttpRequestText("GET", "/a"));
    ASSERT_TRUE(gate.WaitForArrivals(1));

    auto stopped = std::async(std::launch::async, [this] { return server.stop(); });
    EXPECT_EQ(stopped.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
    EXPECT_FALSE(server.is_running());
    gate.Release();
    EXPECT_TRUE(stopped.get());
    EXPECT_EQ(client.ReceiveUntilClose(), "");
    EXPECT_EQ(destroyed.Count(), 1);
    EXPECT_FALSE(CRawHttp::CanConnect(port));
}

TEST_F(HttpLifecycle, DestructionStops)
{
    CFunctionResource resource(Answering("text"));
    {
        webserver other{create_webserver(8081)};
        other.register_resource("/a", &resource);
        other.start(false);
        EXPECT_EQ(HttpRequest(8081, "GET", "/a").body, "text");
    }
    EXPECT_FALSE(CRawHttp::CanConnect(8081));
}

TEST_F(HttpLifecycle, SilentConnectionIsClosedAfterItsTime)
{
    webserver impatient{create_webserver(8081).max_threads(2).connection_timeout(1)};
    impatient.start(false);
    CRawHttp silent(8081);
    CRawHttp halfHeader(8081);
    halfHeader.Send("GET /a HTT");
    EXPECT_TRUE(silent.IsClosedByServer());
    EXPECT_TRUE(halfHeader.IsClosedByServer());
    impatient.stop();
}

#ifdef HTTPSERVER_BUNDLED

TEST_F(HttpLifecycle, StartWhileRunningIsRefusedAndChangesNothing)
{
    Serve("/a", Answering("text"));
    Start();
    ExpectPortIsBusy(server);
    EXPECT_TRUE(server.is_running());
    EXPECT_EQ(HttpRequest(port, "GET", "/a").body, "text");
    EXPECT_TRUE(server.stop());
    EXPECT_FALSE(CRawHttp::CanConnect(port));
}

TEST_F(HttpLifecycle, StartIsRefusedUntilAStopHasEnded)
{
    ServeBlocking("/a");
    Start();
    CRawHttp client(port);
    client.Send(HttpRequestText("GET", "/a"));
    ASSERT_TRUE(gate.WaitForArrivals(1));
    auto stopped = std::async(std::launch::async, [this] { return server.stop(); });
    EXPECT_EQ(stopped.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
    ExpectPortIsBusy(server);
    EXPECT_FALSE(server.is_running());
    gate.Release();
    EXPECT_TRUE(stopped.get());
    EXPECT_FALSE(server.start(false));
}

TEST_F(HttpLifecycle, BlockingStartReturnsWhenStopped)
{
    ServeBlocking("/a");
    auto blocking = std::async(std::launch::async, [this] { return server.start(true); });
    while (!CRawHttp::CanConnect(port))
    {
        ASSERT_EQ(blocking.wait_for(std::chrono::milliseconds(1)), std::future_status::timeout);
    }
    CRawHttp client(port);
    client.Send(HttpRequestText("GET", "/a"));
    ASSERT_TRUE(gate.WaitForArrivals(1));
    auto stopped = std::async(std::launch::async, [this] { return server.stop(); });
    EXPECT_EQ(blocking.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    gate.Release();
    EXPECT_TRUE(stopped.get());
    EXPECT_TRUE(blocking.get());
}

#endif
