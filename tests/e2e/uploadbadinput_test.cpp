#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/e2e/uploadtest.h"

using testing::AnyOf;
using testing::Matcher;

namespace
{

const std::string BadRequest = "400 Bad Request";
const std::string NoData = R"(400 "No data")";
const std::string InvalidTarget = R"(403 "Invalid target")";
const std::string Created = "201 Created";

/// The library's own refusal, or its end of the connection before all has been sent.
const Matcher<std::string> TooLarge = AnyOf("431", "closed");

struct SBadInput
{
    std::string name;
    std::string method;
    HttpHeaders headers;
    std::string body;
    Matcher<std::string> outcome;

    /// of the package file; none if there must not be any
    std::optional<std::string> package;
};

HttpHeaders OfType(const std::string& type, HttpHeaders more = {})
{
    more.emplace_back("Content-Type", type);
    return more;
}

FormFields TenFiles(const std::function<std::string(int)>& nameOf)
{
    FormFields fields;
    for (int number = 0; number < 10; ++number)
    {
        fields.emplace_back(nameOf(number), "file " + std::to_string(number) + ';');
    }
    return fields;
}

/// An empty file as gzip compresses it.
const std::string EmptyGzip("\x1f\x8b\x08\0\0\0\0\0\0\x03\x03\0\0\0\0\0\0\0\0\0", 20);

std::vector<SBadInput> BadInputs()
{
    const HttpHeaders form = OfType(FormType());
    const std::string good = FormBody({{"firmware", "a package"}});
    const std::string longBoundary(1 << 20, 'b');
    const std::string allTen = "file 0;file 1;file 2;file 3;file 4;file 5;file 6;file 7;file 8;file 9;";
    // the package that was there before stays wherever the request doesn't come to it
    const std::string before = "good";
    return {
        {"GET", "GET", {}, "", BadRequest, before},
        {"GET with a form", "GET", form, good, BadRequest, before},
        {"POST", "POST", form, good, BadRequest, before},
        {"DELETE", "DELETE", {}, "", BadRequest, before},
        {"HEAD", "HEAD", {}, "", "400 ", before},
        {"FOO", "FOO", form, good, BadRequest, before},
        {"no body", "PUT", {}, "", NoData, {}},
        {"no body of a form", "PUT", form, "", NoData, {}},
        {"empty multipart", "PUT", form, FormEnd(), NoData, {}},
        {"empty package", "PUT", form, FormBody({{"firmware", ""}}), BadRequest, {}},
        {"missing boundary", "PUT", OfType("multipart/form-data"), good, NoData, {}},
        {"another boundary", "PUT", OfType(FormType("another")), good, NoData, {}},
        {"boundary of one letter",
         "PUT",
         OfType(FormType("b")),
         FilePart("firmware", "a package", "b") + FormEnd("b"),
         NoData,
         {}},
        {"boundary of 1 MB", "PUT", OfType(FormType(longBoundary)), good, TooLarge, before},
        {"10,000 header lines", "PUT", HttpHeaders(10'000, {"X-Line", "value"}), good, TooLarge, before},
        {"fields in the wrong order",
         "PUT",
         form,
         FormBody({{"name", "x"}, {"firmware", "y"}}),
         InvalidTarget,
         {}},
        {"a field behind the package",
         "PUT",
         form,
         FormBody({{"firmware", "y"}, {"name", "x"}}),
         InvalidTarget,
         {}},
        {"ten files in ten fields",
         "PUT",
         form,
         FormBody(TenFiles([](int number) { return "firmware" + std::to_string(number); })),
         InvalidTarget,
         {}},
        {"ten files in one field",
         "PUT",
         form,
         FormBody(TenFiles([](int /*number*/) { return "firmware"; })),
         Created,
         allTen},
        {"urlencoded",
         "PUT",
         OfType("application/x-www-form-urlencoded"),
         "firmware=a+b%21",
         Created,
         "a b!"},
        {"urlencoded of another name",
         "PUT",
         OfType("application/x-www-form-urlencoded"),
         "package=a",
         InvalidTarget,
         {}},
        {"compressed body", "PUT", OfType(FormType(), {{"Content-Encoding", "gzip"}}), EmptyGzip, NoData, {}},
        {"compressed package", "PUT", form, FormBody({{"firmware", EmptyGzip}}), Created, EmptyGzip},
        {"JSON", "PUT", OfType("application/json"), R"({"firmware": "x"})", NoData, {}},
    };
}

class BadUpload : public UploadTest
{
protected:
    /// Status and body of the answer; the status alone of those that the library gives by itself.
    static std::string Send(const std::string& method, const std::string& request)
    {
        CRawHttp client(FileServerPort);
        const auto begin = std::chrono::steady_clock::now();
        try
        {
            client.Send(request);
            const SHttpResponse response = client.Receive(method);
            return response.status == 431 ? "431" : Outcome(response);
        }
        catch (const std::runtime_error& error)
        {
            // a server that neither answers nor closes has the client wait to its deadline
            return std::chrono::steady_clock::now() - begin < TestPatience / 2 ? "closed" : error.what();
        }
    }

    void ExpectPackage(const std::optional<std::string>& package, const std::string& name) const
    {
        ASSERT_EQ(std::filesystem::exists(PackageFile()), package.has_value()) << name;
        if (package)
        {
            EXPECT_EQ(Package(), *package) << name;
        }
    }
};

} // namespace

TEST_F(BadUpload, HasItsAnswerAndTheNextUploadIsTaken)
{
    Start();
    ASSERT_EQ(Upload("good"), Created);
    for (const SBadInput& input : BadInputs())
    {
        HttpHeaders headers = LoggedIn;
        headers.insert(headers.end(), input.headers.begin(), input.headers.end());

        EXPECT_THAT(Send(input.method, HttpRequestText(input.method, "/", headers, input.body)),
                    input.outcome)
            << input.name;

        // the end of a request comes after its answer, and before the next request is looked at
        EXPECT_EQ(HttpRequest(FileServerPort, "GET", "/").status, 400) << input.name;
        ExpectPackage(input.package, input.name);
        EXPECT_EQ(Upload("good"), Created) << input.name;
    }
    ExpectCleanEnd();
}

TEST_F(BadUpload, InChunkedTransferIsAGoodOne)
{
    Start();
    const std::string package(200'000, 'f');
    for (const std::size_t size : {1000U, 65536U})
    {
        const std::string request = "PUT / HTTP/1.1\r\nHost: localhost\r\nCookie: sessionid=" + SessionKey +
                                    "\r\nContent-Type: " + FormType() +
                                    "\r\nTransfer-Encoding: chunked\r\n\r\n" +
                                    Chunked(FormBody({{"firmware", package}}), size);

        EXPECT_EQ(Send("PUT", request), Created);

        EXPECT_TRUE(Package() == package);
        EXPECT_EQ(Upload("good"), Created);
    }
    ExpectCleanEnd();
}
