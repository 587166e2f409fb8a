#include <atomic>

#include "tests/unit/platform/httpserver/httpservertest.h"

namespace
{

using httpserver::http_request;

/// Answers with the method.
class CMethodResource : public httpserver::http_resource
{
public:
    RenderResult render(const http_request& request) override
    {
        ++calls;
        return TextResponse(std::string(request.get_method()));
    }

    std::atomic<int> calls = 0;
};

/// Answers each method in a function of its own, with the function's name.
class CSeparateResource : public httpserver::http_resource
{
public:
    RenderResult render_GET(const http_request& /*request*/) override { return TextResponse("own GET"); }
    RenderResult render_POST(const http_request& /*request*/) override { return TextResponse("own POST"); }
    RenderResult render_PUT(const http_request& /*request*/) override { return TextResponse("own PUT"); }
    RenderResult render_DELETE(const http_request& /*request*/) override
    {
        return TextResponse("own DELETE");
    }
    RenderResult render_TRACE(const http_request& /*request*/) override { return TextResponse("own TRACE"); }
    RenderResult render_OPTIONS(const http_request& /*request*/) override
    {
        return TextResponse("own OPTIONS");
    }
    RenderResult render_PATCH(const http_request& /*request*/) override { return TextResponse("own PATCH"); }
    // without a body: told apart by the status
    RenderResult render_HEAD(const http_request& /*request*/) override { return TextResponse("", 401); }
    RenderResult render_CONNECT(const http_request& /*request*/) override { return TextResponse("", 403); }
};

void ExpectNotAllowedPage(const SHttpResponse& response)
{
    EXPECT_EQ(response.statusLine, "HTTP/1.1 405 Method Not Allowed");
    EXPECT_EQ(response.Header("Content-Type"), "text/plain");
    EXPECT_EQ(response.Header("Content-Length"), "18");
    EXPECT_EQ(response.body, "Method not Allowed");
}

} // namespace

class HttpMethod : public HttpServer
{
public:
    ~HttpMethod() override { server.stop(); }

protected:
    CMethodResource resource;
};

TEST_F(HttpMethod, AllNineReachTheResource)
{
    server.register_resource("/a", &resource, true);
    int calls = 0;
    for (const std::string method : {"GET", "POST", "PUT", "DELETE", "PATCH", "OPTIONS", "TRACE"})
    {
        EXPECT_EQ(Ask(method, "/a").body, method);
        EXPECT_EQ(resource.calls, ++calls) << method;
    }
}

TEST_F(HttpMethod, HeadIsAnsweredWithTheLengthOfTheBody)
{
    server.register_resource("/a", &resource, true);
    Start();
    CRawHttp client(port);
    const auto response = client.Request("HEAD", "/a");
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.Header("Content-Length"), "4");
    EXPECT_EQ(resource.calls, 1);
    EXPECT_EQ(client.Request("GET", "/a").body, "GET");
}

TEST_F(HttpMethod, ConnectIsAnsweredWithoutALength)
{
    server.register_resource("/a", &resource, true);
    const auto response = Ask("CONNECT", "/a");
    EXPECT_EQ(response.status, 200);
    EXPECT_FALSE(response.HasHeader("Content-Length"));
    EXPECT_EQ(resource.calls, 1);
}

TEST_F(HttpMethod, OthersDoNotReachTheResource)
{
    server.register_resource("/a", &resource, true);
    for (const std::string method : {"FOO", "PROPFIND", "get", "Put"})
    {
        SCOPED_TRACE(method);
        ExpectNotAllowedPage(Ask(method, "/a"));
    }
    EXPECT_EQ(resource.calls, 0);
}

TEST_F(HttpMethod, DisallowedOnesDoNotReachTheResource)
{
    EXPECT_TRUE(resource.is_allowed("PATCH"));
    EXPECT_FALSE(resource.is_allowed("FOO"));
    resource.set_allowing("GET", false);
    EXPECT_FALSE(resource.is_allowed("GET"));
    server.register_resource("/a", &resource);
    ExpectNotAllowedPage(Ask("GET", "/a"));
    EXPECT_EQ(Ask("PATCH", "/a").body, "PATCH");
}

TEST_F(HttpMethod, AllCanBeDisallowedAndAllowed)
{
    resource.disallow_all();
    EXPECT_FALSE(resource.is_allowed("GET"));
    EXPECT_FALSE(resource.is_allowed("CONNECT"));
    resource.set_allowing("GET", true);
    EXPECT_TRUE(resource.is_allowed("GET"));
    EXPECT_FALSE(resource.is_allowed("CONNECT"));
    resource.allow_all();
    EXPECT_TRUE(resource.is_allowed("CONNECT"));
}

TEST_F(HttpMethod, MayHaveAFunctionOfItsOwn)
{
    CSeparateResource separate;
    server.register_resource("/a", &separate);
    for (const std::string method : {"GET", "POST", "PUT", "DELETE", "TRACE", "OPTIONS", "PATCH"})
    {
        EXPECT_EQ(Ask(method, "/a").body, "own " + method);
    }
    EXPECT_EQ(Ask("HEAD", "/a").status, 401);
    EXPECT_EQ(Ask("CONNECT", "/a").status, 403);
    server.stop();
}
