#include <atomic>
#include <vector>

#include "tests/unit/platform/httpserver/httpservertest.h"

namespace
{

const std::vector<std::string> MethodsWithBody = {"POST", "PUT", "DELETE", "PATCH"};

} // namespace

/// A server that sends a request's body back.
class HttpRequestBody : public HttpServer
{
public:
    ~HttpRequestBody() override { server.stop(); }

protected:
    HttpRequestBody()
    {
        Serve("/echo",
              [this](const httpserver::http_request& request)
              {
                  ++calls;
                  return TextResponse(std::string(request.get_content()));
              });
        Start();
    }

    std::atomic<int> calls = 0;
};

TEST_F(HttpRequestBody, ArrivesInOnePiece)
{
    for (const auto& method : MethodsWithBody)
    {
        EXPECT_EQ(Ask(method, "/echo", {}, R"({"Key":1})").body, R"({"Key":1})") << method;
    }
}

TEST_F(HttpRequestBody, ArrivesInThreePieces)
{
    // each larger than what the server reads at once
    const std::vector<std::string> pieces = {
        std::string(50000, 'a'), std::string(50000, 'b'), std::string(50000, 'c')};
    for (const auto& method : MethodsWithBody)
    {
        CRawHttp client(port);
        client.Send(method + " /echo HTTP/1.1\r\nHost: x\r\nContent-Length: 150000\r\n\r\n");
        for (const auto& piece : pieces)
        {
            client.Send(piece);
        }
        EXPECT_EQ(client.Receive().body, pieces[0] + pieces[1] + pieces[2]) << method;
    }
}

TEST_F(HttpRequestBody, ArrivesInChunks)
{
    for (const auto& method : MethodsWithBody)
    {
        CRawHttp client(port);
        client.Send(method + " /echo HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n");
        client.Send("5;extension=1\r\nHello\r\n");
        client.Send("7\r\n, world\r\n0\r\nTrailer: x\r\n\r\n");
        EXPECT_EQ(client.Receive().body, "Hello, world") << method;
        EXPECT_EQ(client.Request(method, "/echo", {}, "next").body, "next") << method;
    }
}

TEST_F(HttpRequestBody, MayBeLarge)
{
    std::string body;
    while (body.size() < 10'000'000)
    {
        body += std::to_string(body.size()) + ' ';
    }
    for (const auto& method : MethodsWithBody)
    {
        // not EXPECT_EQ, which would print both
        EXPECT_TRUE(Ask(method, "/echo", {}, body).body == body) << method;
    }
}

TEST_F(HttpRequestBody, MayHoldNul)
{
    const std::string body("a\0b\0", 4);
    for (const auto& method : MethodsWithBody)
    {
        EXPECT_EQ(Ask(method, "/echo", {}, body).body, body) << method;
    }
}

TEST_F(HttpRequestBody, MayBeEmpty)
{
    EXPECT_EQ(Ask("POST", "/echo").body, "");
    EXPECT_EQ(Ask("POST", "/echo", {{"Content-Length", "0"}}).body, "");
    EXPECT_EQ(calls, 2);
}

TEST_F(HttpRequestBody, OfOtherMethodsIsDropped)
{
    for (const std::string method : {"GET", "OPTIONS", "HEAD"})
    {
        CRawHttp client(port);
        EXPECT_EQ(client.Request(method, "/echo", {}, std::string(100000, 'x')).Header("Content-Length"), "0")
            << method;
        EXPECT_EQ(client.Request("POST", "/echo", {}, "next").body, "next") << method;
    }
}

TEST_F(HttpRequestBody, OfAFormIsRaw)
{
    const std::string urlencoded = "a=1&b=two+words%21";
    EXPECT_EQ(Ask("POST", "/echo", {{"Content-Type", "application/x-www-form-urlencoded"}}, urlencoded).body,
              urlencoded);
    const std::string multipart = "--X\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\n1\r\n--X--\r\n";
    EXPECT_EQ(Ask("PUT", "/echo", {{"Content-Type", "multipart/form-data; boundary=X"}}, multipart).body,
              multipart);
    EXPECT_EQ(Ask("POST", "/echo", {{"Content-Type", "multipart/form-data"}}, multipart).body, multipart);
}

TEST_F(HttpRequestBody, IsAskedForWhenTheClientExpectsThat)
{
    for (const std::string target : {"/echo", "/nothing"})
    {
        CRawHttp client(port);
        client.Send("POST " + target +
                    " HTTP/1.1\r\nHost: x\r\nContent-Length: 4\r\nExpect: 100-continue\r\n\r\n");
        EXPECT_EQ(client.Receive().statusLine, "HTTP/1.1 100 Continue") << target;
        client.Send("body");
        EXPECT_EQ(client.Receive().body, target == "/echo" ? "body" : "Not Found");
    }
}

TEST_F(HttpRequestBody, ThatIsBrokenOffIsNotRendered)
{
    CRawHttp client(port);
    client.Send("POST /echo HTTP/1.1\r\nHost: x\r\nContent-Length: 10\r\n\r\nhalf");
    client.EndSending();
    EXPECT_EQ(client.ReceiveUntilClose(), "");
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(Ask("POST", "/echo", {}, "next").body, "next");
}

TEST_F(HttpRequestBody, OfAHalfRequestIsWaitedForWhileOthersAreServed)
{
    CRawHttp slow(port);
    slow.Send("POST /echo HTTP/1.1\r\nHost: x\r\nContent-Le");
    EXPECT_EQ(Ask("POST", "/echo", {}, "other").body, "other");
    slow.Send("ngth: 4\r\n\r\nbo");
    EXPECT_EQ(Ask("POST", "/echo", {}, "another").body, "another");
    slow.Send("dy");
    EXPECT_EQ(slow.Receive().body, "body");
}

#ifdef HTTPSERVER_BUNDLED

TEST_F(HttpServer, KeepsNoMoreOfABodyThanItsLimit)
{
    CFunctionResource echo([](const httpserver::http_request& request)
                           { return TextResponse(request.get_content()); });
    httpserver::webserver limited(httpserver::create_webserver(8081).content_size_limit(1000));
    limited.register_resource("/echo", &echo);
    limited.start();
    EXPECT_EQ(HttpRequest(8081, "POST", "/echo", {}, std::string(1000, 'x')).body, std::string(1000, 'x'));
    EXPECT_EQ(HttpRequest(8081, "POST", "/echo", {}, std::string(200000, 'x')).body, std::string(1000, 'x'));
    limited.stop();
}

#endif
