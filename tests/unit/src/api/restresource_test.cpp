#include "src/api/httpexception.h"
#include "src/api/jsonbody.h"
#include "src/api/jsonresponse.h"
#include "src/api/restresource.h"
#include "src/api/restserver.h"

#include <json/value.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/mockauthorization.h"
#include "tests/support/capturedlog.h"
#include "tests/support/rawhttp.h"
#include "tests/unit/src/api/answertext.h"

namespace
{

using testing::InSequence;
using testing::MockFunction;
using testing::Return;
using testing::StrictMock;
using testing::Throw;

constexpr std::uint16_t Port = 8080;
constexpr bool Open = false;
constexpr bool Gated = true;
const HttpHeaders JsonContent = {{"Content-Type", "application/json"}};
const std::string NotAllowed = JsonAnswer("405 Method Not Allowed", "\"Method not Allowed\"\n");
const std::string Unauthorized = JsonAnswer("401 Unauthorized", "\"Unauthorized\"\n");
const std::string InvalidContentType = JsonAnswer("400 Bad Request",
                                                  R"("\"Invalid content type\"")"
                                                  "\n");

std::string InternalError(const std::string& body)
{
    return JsonAnswer("500 Internal Server Error", body + "\n");
}

/// What a handler sees, as JSON.
std::shared_ptr<httpserver::http_response> Echo(const IHttpRequest& request)
{
    Json::Value seen;
    seen["Method"] = request.GetMethod();
    seen["Content"] = request.GetContent();
    seen["Cookie"] = request.GetCookie("sessionid");
    seen["Header"] = request.GetHeader("X-Test");
    seen["Arg"] = request.GetArg("Arg");
    return std::make_shared<JsonResponse>(seen);
}

std::string EchoAnswer(const std::string& method, const std::string& content)
{
    return JsonAnswer("200 OK",
                      "{\n\t\"Arg\" : \"\",\n\t\"Content\" : \"" + content +
                          "\",\n\t\"Cookie\" : \"\",\n\t\"Header\" : \"\",\n\t\"Method\" : \"" + method +
                          "\"\n}\n");
}

/// Requests over the wire to the one path /path.
class RestResource : public testing::Test
{
protected:
    using Handler = CRestResource::Handler;

    void Serve(EHttpMethod method, Handler handler, bool authorizationRequired = Open)
    {
        server.AddRoute(method, "/path", std::move(handler), authorizationRequired);
        if (!server.is_running())
        {
            server.Start();
        }
    }

    /// Serves GET by a handler that throws, and gives the answer.
    template <class T>
    std::string AnswerToThrowing(const T& exception)
    {
        Serve(EHttpMethod::Get,
              [exception](const IHttpRequest&) -> std::shared_ptr<httpserver::http_response>
              { throw exception; });
        return Request("GET");
    }

    static std::string
    Request(const std::string& method, const HttpHeaders& headers = {}, const std::string& body = "")
    {
        return AnswerText(HttpRequest(Port, method, "/path", headers, body));
    }

    /// Fails the test when it is called, unless the test expects that.
    StrictMock<MockFunction<std::shared_ptr<httpserver::http_response>(const IHttpRequest&)>> handler;
    const std::shared_ptr<StrictMock<CMockAuthorization>> authorization =
        std::make_shared<StrictMock<CMockAuthorization>>();
    CRestServer server{Port, authorization};
};

TEST_F(RestResource, EachOfTheFiveMethodsReachesItsOwnHandler)
{
    const std::vector<std::pair<std::string, EHttpMethod>> methods = {{"GET", EHttpMethod::Get},
                                                                      {"POST", EHttpMethod::Post},
                                                                      {"PUT", EHttpMethod::Put},
                                                                      {"DELETE", EHttpMethod::Delete},
                                                                      {"PATCH", EHttpMethod::Patch}};
    for (const auto& [name, method] : methods)
    {
        server.AddRoute(
            method,
            "/path",
            [name](const IHttpRequest& request)
            { return std::make_shared<JsonResponse>("handler of " + name + " got " + request.GetMethod()); },
            Open);
    }
    server.Start();

    for (const auto& [name, method] : methods)
    {
        EXPECT_EQ(Request(name), JsonAnswer("200 OK", "\"handler of " + name + " got " + name + "\"\n"));
    }
}

TEST_F(RestResource, MethodsWithoutHandlerAreNotAllowed)
{
    Serve(EHttpMethod::Get, handler.AsStdFunction());

    for (const auto* method : {"POST", "PUT", "DELETE", "PATCH", "OPTIONS", "TRACE", "CONNECT"})
    {
        EXPECT_EQ(Request(method), NotAllowed) << method;
    }
}

TEST_F(RestResource, HeadIsNotAllowedEvenWhereGetIs)
{
    Serve(EHttpMethod::Get, handler.AsStdFunction());

    // an answer to HEAD is the same without its body
    EXPECT_EQ(Request("HEAD"),
              "HTTP/1.1 405 Method Not Allowed\nContent-Type: application/json\nContent-Length: 21\n\n");
}

TEST_F(RestResource, MethodsThatHttpDoesNotKnowGetTheLibrarysPage)
{
    Serve(EHttpMethod::Get, handler.AsStdFunction());

    for (const auto* method : {"FOO", "get", "Post"})
    {
        const SHttpResponse response = HttpRequest(Port, method, "/path");
        EXPECT_EQ(response.status, 405) << method;
        EXPECT_EQ(response.Header("Content-Type"), "text/plain") << method;
        EXPECT_EQ(response.body, "Method not Allowed") << method;
    }
}

TEST_F(RestResource, MethodIsCheckedBeforeContentTypeAndSession)
{
    Serve(EHttpMethod::Get, handler.AsStdFunction(), Gated);

    EXPECT_EQ(Request("POST", {{"Content-Type", "text/plain"}}, "{}"), NotAllowed);
}

TEST_F(RestResource, ContentTypeIsCheckedBeforeTheSession)
{
    Serve(EHttpMethod::Post, handler.AsStdFunction(), Gated);

    EXPECT_EQ(Request("POST", {}, "{}"), InvalidContentType);
}

TEST_F(RestResource, ContentTypeIsCheckedOnRoutesWithoutGateToo)
{
    Serve(EHttpMethod::Post, handler.AsStdFunction());

    EXPECT_EQ(Request("POST", {}, "{}"), InvalidContentType);
}

TEST_F(RestResource, ContentTypeIsComparedWholeAndWithItsCase)
{
    Serve(EHttpMethod::Post, handler.AsStdFunction());

    for (const auto* type : {"application/json; charset=utf-8",
                             "application/json;",
                             "Application/JSON",
                             "application/jsonx",
                             "application/x-www-form-urlencoded",
                             "json"})
    {
        EXPECT_EQ(Request("POST", {{"Content-Type", type}}, "{}"), InvalidContentType) << type;
    }
}

TEST_F(RestResource, ContentTypeOfTheOtherMethodsBodiesIsCheckedAsWell)
{
    for (const EHttpMethod method : {EHttpMethod::Put, EHttpMethod::Delete, EHttpMethod::Patch})
    {
        Serve(method, handler.AsStdFunction());
    }

    for (const auto* method : {"PUT", "DELETE", "PATCH"})
    {
        EXPECT_EQ(Request(method, {{"Content-Type", "text/plain"}}, "{}"), InvalidContentType) << method;
    }
}

TEST_F(RestResource, BodyWithTheRightContentTypeReachesTheHandler)
{
    for (const EHttpMethod method :
         {EHttpMethod::Post, EHttpMethod::Put, EHttpMethod::Delete, EHttpMethod::Patch})
    {
        Serve(method, Echo);
    }

    for (const auto* method : {"POST", "PUT", "DELETE", "PATCH"})
    {
        EXPECT_EQ(Request(method, JsonContent, "text"), EchoAnswer(method, "text"));
    }
}

TEST_F(RestResource, EmptyBodyMayHaveAnyContentType)
{
    Serve(EHttpMethod::Get, Echo);
    Serve(EHttpMethod::Post, Echo);

    EXPECT_EQ(Request("GET", {{"Content-Type", "text/html"}}), EchoAnswer("GET", ""));
    EXPECT_EQ(Request("POST", {{"Content-Type", "text/html"}}), EchoAnswer("POST", ""));
    EXPECT_EQ(Request("POST", {{"Content-Type", "text/html"}, {"Content-Length", "0"}}),
              EchoAnswer("POST", ""));
    EXPECT_EQ(Request("POST"), EchoAnswer("POST", ""));
}

TEST_F(RestResource, GatedRouteRefusesADeadSession)
{
    Serve(EHttpMethod::Get, handler.AsStdFunction(), Gated);
    EXPECT_CALL(*authorization, RefreshSession("dead")).WillOnce(Return(false));

    EXPECT_EQ(Request("GET", {{"Cookie", "a=1; sessionid=dead"}}), Unauthorized);
}

TEST_F(RestResource, GatedRouteAsksForTheEmptySessionWithoutACookie)
{
    Serve(EHttpMethod::Get, handler.AsStdFunction(), Gated);
    EXPECT_CALL(*authorization, RefreshSession("")).WillOnce(Return(false));

    EXPECT_EQ(Request("GET"), Unauthorized);
}

TEST_F(RestResource, GatedRouteRenewsTheSessionBeforeEachCallOfItsHandler)
{
    Serve(EHttpMethod::Post, handler.AsStdFunction(), Gated);
    const InSequence order;
    for (int i = 0; i < 2; ++i)
    {
        EXPECT_CALL(*authorization, RefreshSession("alive")).WillOnce(Return(true));
        EXPECT_CALL(handler, Call).WillOnce(Return(std::make_shared<JsonResponse>()));
    }

    CRawHttp client(Port);
    for (int i = 0; i < 2; ++i)
    {
        EXPECT_EQ(
            AnswerText(client.Request("POST",
                                      "/path",
                                      {{"Content-Type", "application/json"}, {"Cookie", "sessionid=alive"}},
                                      "{}")),
            EmptyAnswer());
    }
}

TEST_F(RestResource, OpenRouteDoesNotAskForTheSession)
{
    Serve(EHttpMethod::Get, Echo, Open);

    EXPECT_EQ(HttpRequest(Port, "GET", "/path", {{"Cookie", "sessionid=dead"}}).status, 200);
}

TEST_F(RestResource, AuthorizationThatThrowsIsAnInternalError)
{
    Serve(EHttpMethod::Get, handler.AsStdFunction(), Gated);
    EXPECT_CALL(*authorization, RefreshSession).WillOnce(Throw(std::runtime_error("no sessions")));

    EXPECT_EQ(Request("GET"), InternalError("\"no sessions\""));
}

TEST_F(RestResource, HandlerSeesMethodCookieHeaderArgumentAndContent)
{
    server.AddRoute(EHttpMethod::Post, "/path/{Arg}", Echo, Open);
    server.Start();

    const SHttpResponse response = HttpRequest(
        Port,
        "POST",
        "/path/value",
        {{"Content-Type", "application/json"}, {"Cookie", "sessionid=key"}, {"x-test", "header's value"}},
        "content");

    EXPECT_EQ(
        response.body,
        "{\n\t\"Arg\" : \"value\",\n\t\"Content\" : \"content\",\n\t\"Cookie\" : \"key\",\n\t\"Header\" : "
        "\"header's value\",\n\t\"Method\" : \"POST\"\n}\n");
}

TEST_F(RestResource, HandlerSeesArgumentsOfTheQuery)
{
    Serve(EHttpMethod::Get,
          [](const IHttpRequest& request)
          { return std::make_shared<JsonResponse>(request.GetArg("a") + "|" + request.GetArg("none")); });

    EXPECT_EQ(HttpRequest(Port, "GET", "/path?b=2&a=1").body, "\"1|\"\n");
}

TEST_F(RestResource, AnswerOfTheHandlerIsSentAsItIs)
{
    Serve(EHttpMethod::Get,
          [](const IHttpRequest&)
          {
              auto response = std::make_shared<httpserver::string_response>("<a/>", 404, "text/xml");
              response->with_header("Set-Cookie", "a=b");
              return response;
          });

    EXPECT_EQ(Request("GET"),
              "HTTP/1.1 404 Not Found\nSet-Cookie: a=b\nContent-Type: text/xml\nContent-Length: 4\n\n<a/>");
}

TEST_F(RestResource, JsonIsSentStyledAndWithALineFeed)
{
    Serve(EHttpMethod::Get,
          [](const IHttpRequest&)
          {
              Json::Value value;
              value["Text"] = "a\"b\xc3\xa9";
              value["List"].append(1);
              value["List"].append(Json::Value());
              return std::make_shared<JsonResponse>(value, 201);
          });

    EXPECT_EQ(
        Request("GET"),
        JsonAnswer("201 Created",
                   "{\n\t\"List\" : \n\t[\n\t\t1,\n\t\tnull\n\t],\n\t\"Text\" : \"a\\\"b\\u00e9\"\n}\n"));
}

TEST_F(RestResource, EmptyJsonResponseHasNoBodyAndNoLength)
{
    Serve(EHttpMethod::Get, [](const IHttpRequest&) { return std::make_shared<JsonResponse>(); });

    EXPECT_EQ(Request("GET"), EmptyAnswer());
}

TEST_F(RestResource, ReasonWordIsAnsweredAsAJsonString)
{
    EXPECT_EQ(AnswerToThrowing(HttpStatusException<503>()),
              JsonAnswer("503 Service Unavailable", "\"Service Unavailable\"\n"));
}

TEST_F(RestResource, MessageStringIsEncodedTwice)
{
    EXPECT_EQ(AnswerToThrowing(HttpStatusException<401>("Login failed")),
              JsonAnswer("401 Unauthorized",
                         R"("\"Login failed\"")"
                         "\n"));
}

TEST_F(RestResource, MessageObjectIsEncodedTwice)
{
    Json::Value message;
    message["Reason"] = "RfidTokenUid";

    EXPECT_EQ(AnswerToThrowing(HttpStatusException<409>(message)),
              JsonAnswer("409 Conflict",
                         R"("{\"Reason\":\"RfidTokenUid\"}")"
                         "\n"));
}

TEST_F(RestResource, HttpExceptionKeepsItsStatusAndPlainText)
{
    EXPECT_EQ(AnswerToThrowing(HttpException(502, "plain")), JsonAnswer("502 Bad Gateway", "\"plain\"\n"));
}

TEST_F(RestResource, OtherExceptionIsAnInternalErrorWithItsText)
{
    EXPECT_EQ(AnswerToThrowing(std::out_of_range("map::at")), InternalError("\"map::at\""));
}

TEST_F(RestResource, WhatIsNoExceptionIsAnUnexpectedError)
{
    EXPECT_EQ(AnswerToThrowing(42), InternalError("\"Unexpected error\""));
}

TEST_F(RestResource, TextsAreEscapedForJson)
{
    EXPECT_EQ(AnswerToThrowing(std::runtime_error("a\"\\\n\xc3\xa9")), InternalError(R"("a\"\\\n\u00e9")"));
}

TEST_F(RestResource, RouteWithoutCallableIsAnInternalError)
{
    Serve(EHttpMethod::Get, {});

    EXPECT_EQ(Request("GET"), InternalError("\"bad_function_call\""));
}

TEST_F(RestResource, ServesOnAfterAFailedRequest)
{
    Serve(EHttpMethod::Get, handler.AsStdFunction());
    EXPECT_CALL(handler, Call)
        .WillOnce(Throw(std::runtime_error("once")))
        .WillOnce(Return(std::make_shared<JsonResponse>()));
    CRawHttp client(Port);

    EXPECT_EQ(AnswerText(client.Request("GET", "/path")), InternalError("\"once\""));
    EXPECT_EQ(AnswerText(client.Request("GET", "/path")), EmptyAnswer());
}

TEST_F(RestResource, LogsNothing)
{
    Serve(EHttpMethod::Get, Echo);
    Serve(EHttpMethod::Put, {});
    const CCapturedLog log;

    EXPECT_EQ(HttpRequest(Port, "GET", "/path").status, 200);
    EXPECT_EQ(HttpRequest(Port, "PUT", "/path").status, 500);
    EXPECT_EQ(HttpRequest(Port, "POST", "/path").status, 405);

    EXPECT_THAT(log.Lines(), testing::IsEmpty());
}

// ------------------------------------------------------------------------------------------ JSON bodies

class RestResourceWithJson : public RestResource
{
protected:
    RestResourceWithJson()
    {
        Serve(EHttpMethod::Post,
              [](const IHttpRequest& request)
              { return std::make_shared<JsonResponse>(GetJsonString(ParseJsonBody(request), "Key")); });
    }

    static std::string Post(const std::string& body) { return Request("POST", JsonContent, body); }
};

TEST_F(RestResourceWithJson, MemberOfTheBodyIsRead)
{
    EXPECT_EQ(Post(R"({"Key": "value"})"), JsonAnswer("200 OK", "\"value\"\n"));
}

TEST_F(RestResourceWithJson, BodyThatIsNotJsonIsABadRequestEncodedTwice)
{
    EXPECT_EQ(
        Post("x"),
        JsonAnswer(
            "400 Bad Request",
            R"("\"Could not parse body: * Line 1, Column 1\\n  Syntax error: value, object or array expected.\\n\"")"
            "\n"));
}

TEST_F(RestResourceWithJson, EmptyBodyIsABadRequestEncodedTwice)
{
    EXPECT_EQ(
        Post(""),
        JsonAnswer(
            "400 Bad Request",
            R"("\"Could not parse body: * Line 1, Column 1\\n  Syntax error: value, object or array expected.\\n\"")"
            "\n"));
}

TEST_F(RestResourceWithJson, MissingMemberIsABadRequest)
{
    EXPECT_EQ(Post("{}"), JsonAnswer("400 Bad Request", "\"Bad Request\"\n"));
}

TEST_F(RestResourceWithJson, ArrayIsAnInternalErrorWithTheJsonLibrarysText)
{
    std::string text;
    try
    {
        const Json::Value array(Json::arrayValue);
        static_cast<void>(array[std::string("Key")]);
    }
    catch (const Json::Exception& exception)
    {
        text = exception.what();
    }
    ASSERT_FALSE(text.empty());

    EXPECT_EQ(Post("[]"), InternalError("\"" + text + "\""));
}

TEST_F(RestResourceWithJson, NestingBeyondTheParsersLimitIsAnInternalError)
{
    const SHttpResponse response =
        HttpRequest(Port, "POST", "/path", JsonContent, std::string(1'000'000, '['));

    EXPECT_EQ(response.status, 500);
    EXPECT_EQ(response.body, "\"Exceeded stackLimit in readValue().\"\n");
    EXPECT_EQ(Post(R"({"Key": "next"})"), JsonAnswer("200 OK", "\"next\"\n"));
}

TEST_F(RestResourceWithJson, BodyOfTenMegabytesIsServed)
{
    const std::string text(10'000'000, 'x');

    const SHttpResponse response =
        HttpRequest(Port, "POST", "/path", JsonContent, R"({"Key": ")" + text + "\"}");

    EXPECT_EQ(response.status, 200);
    EXPECT_TRUE(response.body == "\"" + text + "\"\n"); // EXPECT_EQ would print both on failure
}

TEST_F(RestResourceWithJson, BodyOfTenMegabytesThatIsNotJsonIsABadRequest)
{
    const SHttpResponse response =
        HttpRequest(Port, "POST", "/path", JsonContent, std::string(10'000'000, 'x'));

    EXPECT_EQ(response.status, 400);
}

} // namespace
