#include "src/fileserver/webserver.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/busyport.h"
#include "tests/support/capturedlog.h"
#include "tests/support/eventually.h"
#include "tests/support/formdata.h"
#include "tests/support/privatenetwork.h"
#include "tests/support/rawhttp.h"

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using namespace std::chrono_literals;

const auto* const network = testing::AddGlobalTestEnvironment(new CPrivateNetwork);

constexpr std::uint16_t Port = 8082;
constexpr std::size_t LargestChunk = 32768; // bytes

/// A chunk that has been copied.
struct SSeenChunk
{
    std::string key;
    std::string filename;
    std::string contentType;
    std::string transferEncoding;
    std::string data;
    std::uint64_t offset;
};

/// A server that notes what its hooks get, and lets tests act in them. The functions are set before the
/// start.
class CNotingServer : public CWebserver
{
public:
    CNotingServer()
        : CWebserver(Port)
    {
    }
    ~CNotingServer() override { StopDaemon(); }
    CNotingServer(const CNotingServer&) = delete;
    CNotingServer& operator=(const CNotingServer&) = delete;
    CNotingServer(CNotingServer&&) = delete;
    CNotingServer& operator=(CNotingServer&&) = delete;

    void ProcessChunk(const CRequestChunk& chunk) override
    {
        chunks.Add({chunk.key,
                    chunk.filename,
                    chunk.contentType,
                    chunk.transferEncoding,
                    {chunk.data, chunk.size},
                    chunk.offset});
        onChunk(chunk);
    }
    void OnNewRequest(CConnection& connection) override
    {
        events.Add("new");
        onNew(connection);
    }
    std::pair<std::string, int> OnFinalizeRequest(CConnection& connection) override
    {
        events.Add("finalize");
        return onFinalize(connection);
    }
    void OnEndRequest(CConnection& connection) override
    {
        events.Add("end");
        CWebserver::OnEndRequest(connection);
    }

    using CWebserver::CatchErrors;

    /// The values of all chunks, one after the other.
    std::string Data()
    {
        std::string data;
        for (const SSeenChunk& chunk : chunks.Await(0))
        {
            data += chunk.data;
        }
        return data;
    }

    std::function<void(const CRequestChunk&)> onChunk = [](const CRequestChunk&) {};
    std::function<void(CConnection&)> onNew = [](CConnection&) {};
    std::function<std::pair<std::string, int>(CConnection&)> onFinalize = [this](CConnection& connection)
    { return CWebserver::OnFinalizeRequest(connection); };
    CCollector<SSeenChunk> chunks;
    CCollector<std::string> events;
};

/// A server whose subclass has but the one hook that it must have.
class CBareServer : public CWebserver
{
public:
    using CWebserver::CWebserver;
    void ProcessChunk(const CRequestChunk& /*chunk*/) override {}
};

/// Status line, type and body.
std::string Text(const SHttpResponse& response)
{
    return response.statusLine + " | " + response.Header("Content-Type") + " | " + response.body;
}

const std::string BadRequest = "HTTP/1.1 400 Bad Request | text/html | Bad Request";
const std::string NoData = "HTTP/1.1 400 Bad Request | text/html | \"No data\"";
const std::string Created = "HTTP/1.1 201 Created | text/html | Created";
const std::string ServerError = "HTTP/1.1 500 Internal Server Error | text/html | ";

std::string Put(const std::string& type, const std::string& body)
{
    HttpHeaders headers;
    if (!type.empty())
    {
        headers.emplace_back("Content-Type", type);
    }
    return Text(HttpRequest(Port, "PUT", "/", headers, body));
}

/// The head of a PUT of a form, whose body follows.
std::string FormHead(std::size_t length)
{
    return "PUT / HTTP/1.1\r\nHost: x\r\nContent-Type: " + FormType() +
           "\r\nContent-Length: " + std::to_string(length) + "\r\n\r\n";
}

std::string StartFailure(CWebserver& server)
{
    try
    {
        server.Start();
        return "";
    }
    catch (const std::runtime_error& exception)
    {
        return exception.what();
    }
}

class Webserver : public testing::Test
{
protected:
    CNotingServer server;
};

TEST_F(Webserver, EveryMethodButPutIsABadRequestOnEveryPath)
{
    server.Start();
    for (const char* const method : {"GET", "POST", "DELETE", "PATCH", "OPTIONS", "FOO", "put", "PUTS"})
    {
        for (const char* const path : {"/", "/any/path?with=query", "/%2e%2e/firmware"})
        {
            EXPECT_EQ(Text(HttpRequest(Port, method, path)), BadRequest) << method << ' ' << path;
        }
        EXPECT_EQ(
            Text(HttpRequest(Port, method, "/", {{"Content-Type", FormType()}}, FormBody({{"a", "b"}}))),
            BadRequest)
            << method;
    }
    EXPECT_TRUE(server.chunks.Await(0).empty());
    EXPECT_THAT(server.events.Await(0), testing::Each("end"));
}

TEST_F(Webserver, HeadIsABadRequestWithoutItsText)
{
    server.Start();

    const SHttpResponse response = HttpRequest(Port, "HEAD", "/");

    EXPECT_EQ(Text(response), "HTTP/1.1 400 Bad Request | text/html | ");
    EXPECT_EQ(response.Header("Content-Length"), "11");
}

TEST_F(Webserver, AMethodThatIsNotAllowedIsLoggedWithoutItsName)
{
    const CCapturedLog log(Log::ELogLevel::Info);
    server.Start();
    HttpRequest(Port, "DELETE", "/");
    server.Stop();

    EXPECT_THAT(log.Messages(Log::ELogLevel::Info),
                ElementsAre("Method '{}' is not allowed on the file server."));
}

TEST_F(Webserver, APutIsLogged)
{
    const CCapturedLog log(Log::ELogLevel::Info);
    server.Start();
    HttpRequest(Port, "PUT", "/");
    server.Stop();

    EXPECT_THAT(log.Messages(Log::ELogLevel::Info), ElementsAre("Constructing new post request."));
}

TEST_F(Webserver, AFormIsCreatedOnEveryPath)
{
    server.Start();
    const HttpHeaders headers{{"Content-Type", FormType()}};

    for (const char* const path : {"/", "/firmware", "/any/path?with=query"})
    {
        EXPECT_EQ(Text(HttpRequest(Port, "PUT", path, headers, FormBody({{"a", "b"}}))), Created) << path;
    }
}

TEST_F(Webserver, APutWithoutAFormHasNoData)
{
    server.Start();

    EXPECT_EQ(Put("", ""), NoData);
    EXPECT_EQ(Put("", "some text"), NoData);
    EXPECT_EQ(Put("application/json", R"({"firmware": "x"})"), NoData);
    EXPECT_EQ(Put("application/octet-stream", std::string(100000, '\0')), NoData);
    EXPECT_EQ(Put("application/x-www-form-urlencoded", ""), NoData);
    EXPECT_TRUE(server.chunks.Await(0).empty());
}

TEST_F(Webserver, AFormWithoutFieldsHasNoData)
{
    server.Start();

    EXPECT_EQ(Put(FormType(), ""), NoData);
    EXPECT_EQ(Put(FormType(), FormEnd()), NoData);
    EXPECT_EQ(Put(FormType(), "\r\n" + FormEnd()), NoData);
    EXPECT_EQ(Put(FormType(), "no boundary in here"), NoData);
}

TEST_F(Webserver, AFormThatNamesNoBoundaryHasNoData)
{
    server.Start();
    const std::string body = FormBody({{"a", "b"}});

    EXPECT_EQ(Put("multipart/form-data", body), NoData);
    EXPECT_EQ(Put("multipart/form-data; boundary=", body), NoData);
    EXPECT_EQ(Put("multipart/form-data; boundary=another", body), NoData);
}

TEST_F(Webserver, ABoundaryThatTheFormParserCannotHoldHasNoData)
{
    server.Start();
    const std::string boundary(LargestChunk / 2, 'b');

    EXPECT_EQ(Put(FormType(boundary), FilePart("a", "b", boundary) + FormEnd(boundary)), NoData);
}

/// What becomes of a request that is too large for the library, which may close before all of it is sent.
std::string Outsized(const std::string& request)
{
    CRawHttp client(Port);
    const auto begin = std::chrono::steady_clock::now();
    try
    {
        client.Send(request);
        return client.Receive().statusLine;
    }
    catch (const std::runtime_error& error)
    {
        // a server that neither answers nor closes has the client wait to its deadline
        return std::chrono::steady_clock::now() - begin < TestPatience / 2 ? "closed" : error.what();
    }
}

TEST_F(Webserver, ABoundaryOfAMegabyteIsRefusedAndTheServerGoesOn)
{
    server.Start();
    const std::string boundary(1048576, 'b');

    EXPECT_THAT(Outsized(HttpRequestText("PUT", "/", {{"Content-Type", FormType(boundary)}}, "x")),
                testing::AnyOf(HasSubstr(" 431 "), "closed"));
    EXPECT_EQ(Text(PutForm(Port, {{"a", "b"}})), Created);
}

TEST_F(Webserver, TenThousandHeaderLinesAreRefusedAndTheServerGoesOn)
{
    server.Start();
    HttpHeaders headers{{"Content-Type", FormType()}};
    headers.insert(headers.end(), 10000, {"X-Line", "value"});

    EXPECT_THAT(Outsized(HttpRequestText("PUT", "/", headers, FormBody({{"a", "b"}}))),
                testing::AnyOf(HasSubstr(" 431 "), "closed"));
    EXPECT_EQ(Text(PutForm(Port, {{"a", "b"}})), Created);
}

TEST_F(Webserver, AChunkTellsItsFieldAndData)
{
    server.Start();
    const std::string body = "--" + std::string(FormBoundary) +
                             "\r\nContent-Disposition: form-data; name=\"key\"; filename=\"a file\"\r\n"
                             "Content-Type: image/png\r\nContent-Transfer-Encoding: binary\r\n\r\n" +
                             std::string("one\0\r\n--two", 11) + "\r\n" + FormEnd();

    EXPECT_EQ(Put(FormType(), body), Created);

    const auto chunks = server.chunks.Await(1);
    ASSERT_FALSE(chunks.empty());
    EXPECT_EQ(chunks[0].key, "key");
    EXPECT_EQ(chunks[0].filename, "a file");
    EXPECT_EQ(chunks[0].contentType, "image/png");
    EXPECT_EQ(chunks[0].transferEncoding, "binary");
    EXPECT_EQ(chunks[0].offset, 0U);
    EXPECT_EQ(server.Data(), std::string("one\0\r\n--two", 11));
}

TEST_F(Webserver, WhatTheFormDoesNotTellIsEmpty)
{
    server.Start();
    const std::string body =
        "--" + std::string(FormBoundary) + "\r\nX-Nothing: known\r\n\r\nvalue\r\n" + FormEnd();

    EXPECT_EQ(Put(FormType(), body), Created);

    const auto chunks = server.chunks.Await(1);
    ASSERT_EQ(chunks.size(), 1U);
    EXPECT_EQ(chunks[0].key + chunks[0].filename + chunks[0].contentType + chunks[0].transferEncoding, "");
    EXPECT_EQ(chunks[0].data, "value");
}

TEST_F(Webserver, AnUrlencodedFormHasChunksToo)
{
    server.Start();

    EXPECT_EQ(Put("application/x-www-form-urlencoded", "first=a%20b&second=c"), Created);

    const auto chunks = server.chunks.Await(2);
    ASSERT_EQ(chunks.size(), 2U);
    EXPECT_EQ(chunks[0].key + ':' + chunks[0].data, "first:a b");
    EXPECT_EQ(chunks[1].key + ':' + chunks[1].data, "second:c");
}

TEST_F(Webserver, AnUrlencodedValueThatEndsWithinAnEscapeDoesNoHarm)
{
    server.onChunk = [](const CRequestChunk& chunk)
    {
        if (std::string(chunk.data, chunk.size) != "ab")
        {
            throw std::runtime_error("the rest");
        }
    };
    server.Start();

    EXPECT_EQ(Put("application/x-www-form-urlencoded", "key=ab%4"), Created);
    EXPECT_EQ(Put("application/x-www-form-urlencoded", "key=ab%"), Created);
    EXPECT_EQ(Text(HttpRequest(Port, "GET", "/")), BadRequest);
}

/// Bytes that repeat nowhere near the size of a buffer.
std::string LongValue(std::size_t size)
{
    std::string value(size, '\0');
    std::uint32_t state = 1;
    for (char& byte : value)
    {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<char>(state >> 24U);
    }
    return value;
}

TEST_F(Webserver, ALongValueComesInSmallChunksOneAfterTheOther)
{
    server.Start();
    const std::string value = LongValue(1000000);

    EXPECT_EQ(Text(PutForm(Port, {{"key", value}})), Created);

    std::uint64_t expectedOffset = 0;
    for (const SSeenChunk& chunk : server.chunks.Await(1))
    {
        EXPECT_EQ(chunk.key, "key");
        EXPECT_EQ(chunk.offset, expectedOffset);
        EXPECT_LE(chunk.data.size(), LargestChunk);
        expectedOffset += chunk.data.size();
    }
    EXPECT_EQ(expectedOffset, value.size());
    EXPECT_TRUE(server.Data() == value);
}

TEST_F(Webserver, AValueMayComeByteByByteAfterItsFirstFive)
{
    server.Start();
    const std::string body = FormBody({{"key", "a long value"}});
    const std::size_t begin = body.find("a long") + 5;
    CRawHttp client(Port);
    client.Send(FormHead(body.size()) + body.substr(0, begin));
    server.chunks.Await(1);

    for (const char byte : body.substr(begin))
    {
        client.Send({&byte, 1});
    }

    EXPECT_EQ(Text(client.Receive()), Created);
    EXPECT_EQ(server.Data(), "a long value");
}

TEST_F(Webserver, AValueOfWhichFewerThanFiveBytesComeFirstCountsAsEmpty)
{
    server.Start();
    const std::string body = FormBody({{"key", "a long value"}});
    const std::size_t begin = body.find("a long") + 4;
    CRawHttp client(Port);
    client.Send(FormHead(body.size()) + body.substr(0, begin));
    ASSERT_THAT(server.events.Await(1), ElementsAre("new"));
    // the one thread of the server reads what is there before it answers this
    HttpRequest(Port, "GET", "/");
    client.Send(body.substr(begin));

    EXPECT_EQ(Text(client.Receive()), BadRequest);
    EXPECT_EQ(server.Data(), "");
}

TEST_F(Webserver, ABodyMayComeInChunkedTransfer)
{
    server.Start();
    const std::string value = LongValue(100000);
    const std::string head =
        "PUT / HTTP/1.1\r\nHost: x\r\nContent-Type: " + FormType() + "\r\nTransfer-Encoding: chunked\r\n\r\n";
    CRawHttp client(Port);

    client.Send(head + Chunked(FormBody({{"key", value}}), 999));

    EXPECT_EQ(Text(client.Receive()), Created);
    EXPECT_TRUE(server.Data() == value);
}

TEST_F(Webserver, AMalformedChunkedTransferEndsTheRequest)
{
    server.Start();
    CRawHttp client(Port);

    client.Send("PUT / HTTP/1.1\r\nHost: x\r\nContent-Type: " + FormType() +
                "\r\nTransfer-Encoding: chunked\r\n\r\nno number\r\n");

    EXPECT_THAT(client.ReceiveUntilClose(), testing::AnyOf("", HasSubstr(" 400 ")));
    EXPECT_THAT(server.events.Await(2), ElementsAre("new", "end"));
}

TEST_F(Webserver, AClientThatExpectsToContinueIsTold)
{
    server.Start();
    const std::string body = FormBody({{"key", "value"}});
    CRawHttp client(Port);

    client.Send("PUT / HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\nContent-Type: " + FormType() +
                "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n");
    EXPECT_EQ(client.Receive().status, 100);
    client.Send(body);

    EXPECT_EQ(Text(client.Receive()), Created);
}

TEST_F(Webserver, AConnectionIsKeptForTheNextRequest)
{
    server.Start();
    CRawHttp client(Port);
    const HttpHeaders headers{{"Content-Type", FormType()}};

    EXPECT_EQ(Text(client.Request("GET", "/")), BadRequest);
    EXPECT_EQ(Text(client.Request("PUT", "/", headers, FormBody({{"a", "b"}}))), Created);
    EXPECT_EQ(Text(client.Request("PUT", "/")), NoData);
    EXPECT_EQ(Text(client.Request("PUT", "/", headers, FormBody({{"a", "b"}}))), Created);
}

TEST_F(Webserver, TheHooksOfARequestComeInOrder)
{
    server.Start();

    PutForm(Port, {{"a", "b"}});

    EXPECT_THAT(server.events.Await(3), ElementsAre("new", "finalize", "end"));
}

TEST_F(Webserver, TheLastHookDecidesOnTheAnswer)
{
    server.onFinalize = [](CConnection&) { return std::pair<std::string, int>("any text", 409); };
    server.Start();

    EXPECT_EQ(Text(PutForm(Port, {{"a", "b"}})), "HTTP/1.1 409 Conflict | text/html | any text");
}

TEST_F(Webserver, AnAnswerThatAHookHasGivenStands)
{
    server.onFinalize = [](CConnection& connection)
    {
        connection.Close(204);
        return std::pair<std::string, int>("too late", 200);
    };
    server.Start();

    const SHttpResponse response = PutForm(Port, {{"a", "b"}});

    EXPECT_EQ(Text(response), "HTTP/1.1 204 No Content |  | ");
    EXPECT_FALSE(response.HasHeader("Content-Type"));
}

TEST_F(Webserver, HooksReadCookiesAndHeaders)
{
    std::string cookie = "no cookie yet";
    std::string header = "no header yet";
    std::vector<bool> found;
    std::string untouched = "untouched";
    server.onNew = [&](CConnection& connection)
    {
        found.push_back(connection.GetCookie("sessionid", cookie));
        found.push_back(connection.GetHeader("x-name", header));
        found.push_back(connection.GetCookie("absent", untouched));
        found.push_back(connection.GetHeader("absent", untouched));
    };
    server.Start();

    PutForm(Port, {{"a", "b"}}, {{"Cookie", "other=1; sessionid=key"}, {"X-Name", "value"}});
    server.Stop();

    EXPECT_THAT(found, ElementsAre(true, true, false, false));
    EXPECT_EQ(cookie, "key");
    EXPECT_EQ(header, "value");
    EXPECT_EQ(untouched, "untouched");
}

TEST_F(Webserver, AFailureAtTheBeginningIsAnsweredAndTheBodyDropped)
{
    server.onNew = [](CConnection&) { throw HttpStatusException<503>("busy"); };
    server.Start();

    EXPECT_EQ(Text(PutForm(Port, {{"a", LongValue(100000)}})),
              "HTTP/1.1 503 Service Unavailable | text/html | \"busy\"");
    EXPECT_TRUE(server.chunks.Await(0).empty());
    EXPECT_THAT(server.events.Await(2), ElementsAre("new", "end"));
}

TEST_F(Webserver, OtherExceptionsAtTheBeginningAreServerErrors)
{
    server.onNew = [](CConnection&) { throw std::invalid_argument("a reason"); };
    server.Start();
    EXPECT_EQ(Text(PutForm(Port, {{"a", "b"}})), ServerError + "a reason");
    server.Stop();

    server.onNew = [](CConnection&) { throw 1; };
    server.Start();
    EXPECT_EQ(Text(PutForm(Port, {{"a", "b"}})), ServerError + "\"Unknown error\"");
}

TEST_F(Webserver, FailuresOfAChunkAreAnswered)
{
    server.onChunk = [](const CRequestChunk&) { throw HttpStatusException<403>(); };
    server.Start();
    EXPECT_EQ(Text(PutForm(Port, {{"a", "b"}})), "HTTP/1.1 403 Forbidden | text/html | Forbidden");
    server.Stop();

    server.onChunk = [](const CRequestChunk&) { throw std::runtime_error("a reason"); };
    server.Start();
    EXPECT_EQ(Text(PutForm(Port, {{"a", "b"}})), ServerError + "a reason");
    server.Stop();

    server.onChunk = [](const CRequestChunk&) { throw 1; };
    server.Start();
    EXPECT_EQ(Text(PutForm(Port, {{"a", "b"}})), ServerError + "\"Error while processing POST data.\"");
    EXPECT_THAT(server.events.Await(6), ElementsAre("new", "end", "new", "end", "new", "end"));
}

TEST_F(Webserver, FailuresAtTheEndAreAnswered)
{
    server.onFinalize = [](CConnection&) -> std::pair<std::string, int> { throw HttpStatusException<409>(); };
    server.Start();
    EXPECT_EQ(Text(PutForm(Port, {{"a", "b"}})), "HTTP/1.1 409 Conflict | text/html | Conflict");
    server.Stop();

    server.onFinalize = [](CConnection&) -> std::pair<std::string, int>
    { throw std::logic_error("a reason"); };
    server.Start();
    EXPECT_EQ(Text(PutForm(Port, {{"a", "b"}})), ServerError + "a reason");
    server.Stop();

    server.onFinalize = [](CConnection&) -> std::pair<std::string, int> { throw 1; };
    server.Start();
    EXPECT_EQ(Text(PutForm(Port, {{"a", "b"}})), ServerError + "\"Unknown error\"");
}

TEST_F(Webserver, AnEmptyFieldIsABadRequest)
{
    server.Start();

    EXPECT_EQ(Text(PutForm(Port, {{"a", ""}})), BadRequest);
    EXPECT_EQ(Text(PutForm(Port, {{"a", "b"}, {"c", ""}})), BadRequest);
    EXPECT_EQ(Put("application/x-www-form-urlencoded", "a=&b=c"), BadRequest);
}

TEST_F(Webserver, TheLastOfSeveralFailuresIsAnswered)
{
    server.onChunk = [](const CRequestChunk& chunk) { throw std::runtime_error(chunk.key); };
    server.Start();

    // both in one piece of the body: later pieces are dropped
    EXPECT_EQ(Text(PutForm(Port, {{"first", "x"}, {"second", "x"}})), ServerError + "second");
}

TEST_F(Webserver, AfterAFailureTheRestIsDroppedAndTheAnswerComesAtTheEnd)
{
    server.onChunk = [](const CRequestChunk&) { throw std::runtime_error("no more"); };
    server.Start();
    const std::string body = FormBody({{"key", LongValue(500000)}});
    CRawHttp client(Port, 20s);
    client.Send(FormHead(body.size()) + body.substr(0, 1000));
    server.chunks.Await(1);
    // the one thread of the server is through with the first piece when it answers this
    HttpRequest(Port, "GET", "/");
    const std::size_t seen = server.chunks.Await(1).size();

    client.Send(std::string_view(body).substr(1000, 300000));
    HttpRequest(Port, "GET", "/");
    // two of the others, none of this one
    EXPECT_THAT(server.events.Await(3), ElementsAre("new", "end", "end"));
    client.Send(std::string_view(body).substr(301000));

    EXPECT_EQ(Text(client.Receive()), ServerError + "no more");
    EXPECT_EQ(server.chunks.Await(1).size(), seen);
}

TEST_F(Webserver, AnUploadThatBreaksOffEndsItsRequest)
{
    server.Start();
    const std::string body = FormBody({{"key", LongValue(100000)}});
    {
        CRawHttp client(Port);
        client.Send(FormHead(body.size()) + body.substr(0, 50000));
        server.chunks.Await(1);
        client.Abort();
    }

    EXPECT_THAT(server.events.Await(2), ElementsAre("new", "end"));
}

TEST_F(Webserver, StopBreaksOffAnUploadAndEndsItsRequest)
{
    server.Start();
    const std::string body = FormBody({{"key", LongValue(100000)}});
    CRawHttp client(Port);
    client.Send(FormHead(body.size()) + body.substr(0, 50000));
    server.chunks.Await(1);

    server.Stop();

    EXPECT_THAT(server.events.Await(0), ElementsAre("new", "end"));
    EXPECT_TRUE(client.IsClosedByServer());
}

TEST_F(Webserver, AHalfHeadIsNoRequest)
{
    server.Start();
    {
        CRawHttp client(Port);
        client.Send("PUT / HTTP/1.1\r\nHos");
        client.Abort();
    }
    HttpRequest(Port, "GET", "/");
    server.Stop();

    EXPECT_THAT(server.events.Await(0), ElementsAre("end"));
}

TEST_F(Webserver, OneThreadRunsTheHooksOfAllRequests)
{
    CCollector<std::thread::id> hookThreads;
    server.onNew = [&](CConnection&) { hookThreads.Add(std::this_thread::get_id()); };
    server.onChunk = [&](const CRequestChunk&) { hookThreads.Add(std::this_thread::get_id()); };
    server.Start();
    std::vector<std::thread> clients;
    std::atomic<int> created = 0;
    for (int i = 0; i < 4; ++i)
    {
        clients.emplace_back(
            [&] {
                created += PutForm(Port, {{"a", LongValue(300000)}}).status == 201 ? 1 : 0;
            });
    }
    for (std::thread& client : clients)
    {
        client.join();
    }

    EXPECT_EQ(created, 4);
    server.Stop();
    const auto seen = hookThreads.Await(8);
    ASSERT_GE(seen.size(), 8U);
    EXPECT_THAT(seen, testing::Each(seen[0]));
    EXPECT_NE(seen[0], std::this_thread::get_id());
}

TEST_F(Webserver, StartTwiceFailsAndTheServerGoesOn)
{
    server.Start();

    EXPECT_EQ(StartFailure(server), "Webserver already running");
    EXPECT_EQ(Text(HttpRequest(Port, "GET", "/")), BadRequest);
}

TEST_F(Webserver, APortInUseFailsAndTheNextStartSucceeds)
{
    std::optional<CBusyPort> busy(std::in_place, Port);
    EXPECT_EQ(StartFailure(server), "Could not start webserver");

    busy.reset();
    EXPECT_EQ(StartFailure(server), "");
    EXPECT_EQ(Text(HttpRequest(Port, "GET", "/")), BadRequest);
}

TEST_F(Webserver, StartsAndStopsAgainAndAgain)
{
    for (int i = 0; i < 20; ++i)
    {
        server.Start();
        EXPECT_EQ(Text(PutForm(Port, {{"a", "b"}})), Created) << i;
        server.Stop();
        EXPECT_FALSE(CRawHttp::CanConnect(Port)) << i;
    }
}

TEST_F(Webserver, StopOfAServerThatDoesNotRunIsIgnoredWithAWarning)
{
    const CCapturedLog log(Log::ELogLevel::Warn);

    server.Stop();
    server.Start();
    server.Stop();
    server.Stop();

    EXPECT_THAT(log.Messages(Log::ELogLevel::Warn),
                ElementsAre("File server is not running. Ignoring call to stop.",
                            "File server is not running. Ignoring call to stop."));
}

TEST(WebserverDestructor, StopsAServerThatRunsWithoutAWarning)
{
    const CCapturedLog log;
    {
        CBareServer server(Port);
        server.Start();
    }
    EXPECT_FALSE(CRawHttp::CanConnect(Port));
    {
        const CBareServer server(Port);
    }
    EXPECT_THAT(log.Messages(Log::ELogLevel::Trace),
                ElementsAre("CWebserver::Start", "CWebserver::~CWebserver", "CWebserver::~CWebserver"));
    EXPECT_TRUE(log.Messages(Log::ELogLevel::Warn).empty());
}

TEST(WebserverDefaults, AFormIsCreated)
{
    CBareServer server(Port);
    server.Start();

    EXPECT_EQ(Text(PutForm(Port, {{"a", "b"}})), Created);
    // the end of the request must not meet the destructor
    server.Stop();
}

TEST_F(Webserver, AnEmptyFunctionIsAFailureToo)
{
    server.onNew = [](CConnection& connection)
    {
        void* const context = &connection;
        CNotingServer::CatchErrors(&context, {});
    };
    server.Start();

    EXPECT_EQ(Text(PutForm(Port, {{"a", "b"}})), ServerError + std::bad_function_call().what());
}

TEST_F(Webserver, AFailureWithoutAConnectionIsDropped)
{
    void* const context = nullptr;

    EXPECT_NO_THROW(CNotingServer::CatchErrors(&context, [] { throw 1; }));
}

TEST_F(Webserver, ARequestTracesItsEntries)
{
    const CCapturedLog log;
    server.Start();
    HttpRequest(Port, "PUT", "/");
    server.Stop();

    // the stop may begin before the request's end
    std::vector<std::string> entries = log.Messages(Log::ELogLevel::Trace);
    entries.erase(std::remove(entries.begin(), entries.end(), "CWebserver::Stop"), entries.end());
    EXPECT_THAT(entries,
                ElementsAre("CWebserver::Start",
                            "CWebserver::RequestHandler",
                            "CWebserver::CatchErrors",
                            "CWebserver::NewRequest",
                            "CPostRequest::CPostRequest",
                            "CWebserver::RequestHandler",
                            "CWebserver::CatchErrors",
                            "CConnection::HasException",
                            "CPostRequest::IsProcessed",
                            "CConnection::SetException",
                            "CConnection::RespondWithException",
                            "CConnection::Respond",
                            "CWebserver::RequestCompleted",
                            "CPostRequest::~CPostRequest",
                            "CConnection::~CConnection"));
}

} // namespace
