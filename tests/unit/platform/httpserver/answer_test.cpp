#include <stdexcept>
#include <vector>

#include "tests/unit/platform/httpserver/httpservertest.h"

namespace
{

using httpserver::http_request;
using httpserver::http_response;
using httpserver::string_response;
using httpserver::http::http_utils;

constexpr std::size_t MoreThanSocketsHold = 20'000'000; // bytes

/// What a resource answers that overrides nothing.
class CDefaultResource : public httpserver::http_resource
{
};

void ExpectErrorPage(const SHttpResponse& response)
{
    EXPECT_EQ(response.statusLine, "HTTP/1.1 500 Internal Server Error");
    EXPECT_EQ(response.Header("Content-Type"), "text/plain");
    EXPECT_EQ(response.Header("Content-Length"), "14");
    EXPECT_EQ(response.body, "Internal Error");
}

std::vector<std::string> Names(const HttpHeaders& headers)
{
    std::vector<std::string> names;
    for (const auto& header : headers)
    {
        names.push_back(header.first);
    }
    return names;
}

} // namespace

class HttpAnswer : public HttpServer
{
protected:
    /// Answers every request to /a with the response.
    void Answer(const std::shared_ptr<http_response>& response)
    {
        Serve(
            "/a", [response](const http_request& /*request*/) { return response; }, true);
    }
};

TEST_F(HttpAnswer, HasStatusTypeLengthAndBody)
{
    const std::string json = "{\n\t\"Key\" : 1\n}\n";
    Answer(std::make_shared<string_response>(json, 200, "application/json"));
    const auto response = Ask("GET", "/a");
    EXPECT_EQ(response.statusLine, "HTTP/1.1 200 OK");
    EXPECT_EQ(response.Header("Content-Type"), "application/json");
    EXPECT_EQ(response.Header("Content-Length"), std::to_string(json.size()));
    EXPECT_EQ(response.body, json);
}

TEST_F(HttpAnswer, HasStatusAndTypeByDefault)
{
    Answer(std::make_shared<string_response>("text"));
    const auto response = Ask("GET", "/a");
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.Header("Content-Type"), "text/plain");
}

TEST_F(HttpAnswer, MayHaveAnyStatus)
{
    const std::vector<std::pair<int, std::string>> rows = {
        {http_utils::http_ok, "200 OK"},
        {http_utils::http_bad_request, "400 Bad Request"},
        {http_utils::http_unauthorized, "401 Unauthorized"},
        {http_utils::http_forbidden, "403 Forbidden"},
        {http_utils::http_not_found, "404 Not Found"},
        {http_utils::http_method_not_allowed, "405 Method Not Allowed"},
        {http_utils::http_conflict, "409 Conflict"},
        {http_utils::http_internal_server_error, "500 Internal Server Error"},
        {http_utils::http_bad_gateway, "502 Bad Gateway"},
        {http_utils::http_service_unavailable, "503 Service Unavailable"},
    };
    Serve("/status/{id}",
          [](const http_request& request)
          { return TextResponse("its own body", std::stoi(std::string(request.get_arg("id")))); });
    for (const auto& [status, text] : rows)
    {
        const auto response = Ask("GET", "/status/" + std::to_string(status));
        EXPECT_EQ(response.statusLine, "HTTP/1.1 " + text);
        EXPECT_EQ(response.body, "its own body");
    }
}

TEST_F(HttpAnswer, WithStatus204HasATypeButNoLengthAndNoBody)
{
    Serve("/empty",
          [](const http_request& /*request*/) { return TextResponse("", http_utils::http_no_content); });
    Serve("/text",
          [](const http_request& /*request*/) { return TextResponse("text", http_utils::http_no_content); });
    Start();
    CRawHttp client(port);
    for (const std::string target : {"/empty", "/text", "/empty"})
    {
        const auto response = client.Request("GET", target);
        EXPECT_EQ(response.statusLine, "HTTP/1.1 204 No Content") << target;
        EXPECT_EQ(response.Header("Content-Type"), "text/plain") << target;
        EXPECT_FALSE(response.HasHeader("Content-Length")) << target;
    }
}

TEST_F(HttpAnswer, MayBeEmpty)
{
    Answer(TextResponse(""));
    const auto response = Ask("GET", "/a");
    EXPECT_EQ(response.Header("Content-Length"), "0");
    EXPECT_EQ(response.body, "");
}

TEST_F(HttpAnswer, MayHoldNul)
{
    const std::string text("a\0b\0", 4);
    Answer(TextResponse(text));
    EXPECT_EQ(Ask("GET", "/a").body, text);
}

TEST_F(HttpAnswer, HeadersAreOrderedByLengthAndName)
{
    auto response = TextResponse("x");
    response->with_header("X-Bb", "1");
    response->with_header("x-aa", "2");
    response->with_header("ETag-Longer-Than-Others", "3");
    response->with_cookie("b", "1");
    response->with_cookie("a", "2");
    Answer(response);
    const auto answered = Ask("GET", "/a", {{"Connection", "close"}});
    EXPECT_EQ(Names(answered.headers),
              (std::vector<std::string>{"Date",
                                        "Connection",
                                        "x-aa",
                                        "X-Bb",
                                        "Content-Type",
                                        "ETag-Longer-Than-Others",
                                        "Set-Cookie",
                                        "Set-Cookie",
                                        "Content-Length"}));
    EXPECT_EQ(answered.HeaderValues("Set-Cookie"), (std::vector<std::string>{"a=2", "b=1"}));
}

TEST_F(HttpAnswer, HeaderIsReplacedByOneInAnotherCase)
{
    auto response = std::make_shared<string_response>("x", 200, "application/json");
    response->with_header("content-TYPE", "text/html");
    response->with_header("Content-Disposition", "inline");
    response->with_header("content-disposition", R"(attachment; filename="a.zip")");
    EXPECT_EQ(response->get_header("Content-type"), "text/html");
    EXPECT_EQ(response->get_headers().size(), 2U);
    Answer(response);
    const auto answered = Ask("GET", "/a");
    EXPECT_EQ(Names(answered.headers),
              (std::vector<std::string>{"Date", "Content-Type", "Content-Disposition", "Content-Length"}));
    EXPECT_EQ(answered.Header("Content-Type"), "text/html");
    EXPECT_EQ(answered.Header("Content-Disposition"), R"(attachment; filename="a.zip")");
}

TEST_F(HttpAnswer, HeaderThatCannotBeSentIsLeftOut)
{
    auto response = std::make_shared<string_response>("x", 200, "");
    response->with_header("X-Empty", "");
    response->with_header("X-Split", "a\r\nX-Injected: b");
    Answer(response);
    const auto answered = Ask("GET", "/a");
    EXPECT_EQ(Names(answered.headers), (std::vector<std::string>{"Date", "Content-Length"}));
    EXPECT_EQ(answered.body, "x");
}

TEST_F(HttpAnswer, CookiesAreSentBehindACookieHeader)
{
    auto response = TextResponse("x");
    response->with_cookie("first", "1");
    response->with_cookie("other", "2");
    response->with_header("Set-Cookie", "sessionid=abc; HttpOnly");
    EXPECT_EQ(response->get_cookies().size(), 2U);
    Answer(response);
    EXPECT_EQ(Ask("GET", "/a").HeaderValues("Set-Cookie"),
              (std::vector<std::string>{"sessionid=abc; HttpOnly", "first=1", "other=2"}));
}

TEST_F(HttpAnswer, WithoutStatusByDefault)
{
    EXPECT_EQ(http_response().get_response_code(), -1);
    EXPECT_EQ(string_response("x", 201).get_response_code(), 201);
    EXPECT_EQ(http_utils::text_plain, std::string("text/plain"));
}

TEST_F(HttpAnswer, ToAFailureIsAPage)
{
    CDefaultResource nothing;
    server.register_resource("/default", &nothing);
    Serve("/exception",
          [](const http_request& /*request*/) -> std::shared_ptr<http_response>
          { throw std::runtime_error("secret"); });
    Serve("/int", [](const http_request& /*request*/) -> std::shared_ptr<http_response> { throw 5; });
    Serve("/fine", [](const http_request& /*request*/) { return TextResponse("fine"); });
    Start();
    CRawHttp client(port);
    for (const std::string target : {"/default", "/exception", "/int"})
    {
        SCOPED_TRACE(target);
        ExpectErrorPage(client.Request("POST", target, {}, "body"));
        EXPECT_EQ(client.Request("GET", "/fine").body, "fine");
    }
    server.stop();
}

TEST_F(HttpAnswer, WithAnImpossibleStatusIsAClosedConnection)
{
    Serve("/99", [](const http_request& /*request*/) { return TextResponse("x", 99); });
    Serve("/1000", [](const http_request& /*request*/) { return TextResponse("x", 1000); });
    Start();
    for (const std::string target : {"/99", "/1000"})
    {
        CRawHttp client(port);
        client.Send(HttpRequestText("GET", target));
        EXPECT_EQ(client.ReceiveUntilClose(), "") << target;
    }
}

TEST_F(HttpAnswer, IsDestroyedOnceItHasBeenSent)
{
    const std::string text(MoreThanSocketsHold, 'x');
    Serve("/a",
          [this, &text](const http_request& /*request*/)
          { return std::make_shared<CCountedResponse>(destroyed, text); });
    Start();
    CRawHttp client(port);
    client.Send(HttpRequestText("GET", "/a"));
    std::string received = client.ReceiveSome();
    EXPECT_EQ(destroyed.Count(), 0);
    client.EndSending();
    received += client.ReceiveUntilClose();
    EXPECT_GT(received.size(), text.size());
    EXPECT_TRUE(destroyed.WaitFor(1));
    server.stop();
    EXPECT_EQ(destroyed.Count(), 1);
}

TEST_F(HttpAnswer, IsDestroyedOnceForEachRequest)
{
    Serve("/a",
          [this](const http_request& /*request*/)
          { return std::make_shared<CCountedResponse>(destroyed, "text"); });
    Start();
    CRawHttp client(port);
    for (int i = 1; i <= 5; ++i)
    {
        EXPECT_EQ(client.Request("GET", "/a").body, "text");
        EXPECT_TRUE(destroyed.WaitFor(i));
    }
    server.stop();
    EXPECT_EQ(destroyed.Count(), 5);
}

TEST_F(HttpAnswer, KeepsTheConnection)
{
    Answer(TextResponse("text"));
    Start();
    CRawHttp client(port);
    for (int i = 0; i < 3; ++i)
    {
        const auto response = client.Request("GET", "/a");
        EXPECT_EQ(response.body, "text");
        EXPECT_FALSE(response.HasHeader("Connection"));
    }
}

TEST_F(HttpAnswer, ClosesTheConnectionWhenAskedTo)
{
    Answer(TextResponse("text"));
    Start();
    CRawHttp client(port);
    const auto response = client.Request("GET", "/a", {{"Connection", "close"}});
    EXPECT_EQ(response.Header("Connection"), "close");
    EXPECT_EQ(response.body, "text");
    EXPECT_TRUE(client.IsClosedByServer());
}

TEST_F(HttpAnswer, ClosesTheConnectionOfAnOldClient)
{
    Answer(TextResponse("text"));
    Start();
    CRawHttp client(port);
    client.Send("GET /a HTTP/1.0\r\n\r\n");
    const auto response = client.Receive();
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.Header("Connection"), "close");
    EXPECT_EQ(response.body, "text");
    EXPECT_TRUE(client.IsClosedByServer());
}

TEST_F(HttpAnswer, KeepsTheConnectionOfAnOldClientThatAsksForIt)
{
    Answer(TextResponse("text"));
    Start();
    CRawHttp client(port);
    for (int i = 0; i < 2; ++i)
    {
        client.Send("GET /a HTTP/1.0\r\nConnection: Keep-Alive\r\n\r\n");
        const auto response = client.Receive();
        EXPECT_EQ(response.Header("Connection"), "Keep-Alive");
        EXPECT_EQ(response.body, "text");
    }
}

TEST_F(HttpAnswer, ComesInOrderToRequestsSentTogether)
{
    Serve("/echo",
          [](const http_request& request) { return TextResponse(std::string(request.get_content())); });
    Start();
    CRawHttp client(port);
    client.Send(HttpRequestText("POST", "/echo", {}, "one") + HttpRequestText("POST", "/echo", {}, "two"));
    EXPECT_EQ(client.Receive().body, "one");
    EXPECT_EQ(client.Receive().body, "two");
}

#ifdef HTTPSERVER_BUNDLED

namespace
{

class CThrowingResponse : public string_response
{
public:
    CThrowingResponse()
        : string_response("text")
    {
    }
    MHD_Response* get_raw_response() override { throw std::runtime_error("no body"); }
};

class CNullResponse : public string_response
{
public:
    CNullResponse()
        : string_response("text")
    {
    }
    MHD_Response* get_raw_response() override { return nullptr; }
};

} // namespace

TEST_F(HttpAnswer, ToANullPointerOrAFailingResponseIsAPage)
{
    Serve("/null", [](const http_request& /*request*/) { return std::shared_ptr<http_response>(); });
    Serve("/throws", [](const http_request& /*request*/) { return std::make_shared<CThrowingResponse>(); });
    Serve("/nobody", [](const http_request& /*request*/) { return std::make_shared<CNullResponse>(); });
    Start();
    CRawHttp client(port);
    for (const std::string target : {"/null", "/throws", "/nobody"})
    {
        SCOPED_TRACE(target);
        ExpectErrorPage(client.Request("GET", target));
    }
}

#endif
