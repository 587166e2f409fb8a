#include "src/api/fileresponse.h"
#include "src/api/restserver.h"

#include <microhttpd.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/privatenetwork.h"
#include "tests/support/rawhttp.h"
#include "tests/support/temporarydirectory.h"
#include "tests/unit/src/api/answertext.h"

namespace
{

constexpr std::uint16_t Port = 8080;

class FileAnswer : public testing::Test
{
protected:
    /// What a browser gets of a response.
    static std::string Answer(const std::shared_ptr<FileResponse>& response)
    {
        CRestServer server(Port, nullptr);
        server.AddRoute(
            EHttpMethod::Get, "/file", [&response](const auto&) { return response; }, false);
        server.Start();
        return AnswerText(HttpRequest(Port, "GET", "/file"));
    }

    const CTemporaryDirectory directory;
    const std::string path = (directory.Path() / "file").string();
};

TEST_F(FileAnswer, KeepsThePath)
{
    EXPECT_EQ(FileResponse(path, 200, "text/plain").GetPath(), path);
    EXPECT_EQ(FileResponse("", 204, "text/plain").GetPath(), "");
}

TEST_F(FileAnswer, HoldsTheBytesOfTheFileWhichStays)
{
    const std::string contents("a\0b\r\n", 5);
    directory.Write("file", contents);
    const auto response = std::make_shared<FileResponse>(path, 200, "application/octet-stream");
    response->with_header("Content-Disposition", "attachment; filename=x");

    EXPECT_EQ(Answer(response),
              "HTTP/1.1 200 OK\nContent-Type: application/octet-stream\n"
              "Content-Disposition: attachment; filename=x\nContent-Length: 5\n\n" +
                  contents);
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST_F(FileAnswer, WithAnEmptyPathIsAnEmptyAnswerOfItsStatus)
{
    EXPECT_EQ(Answer(std::make_shared<FileResponse>("", 204, "text/plain")),
              "HTTP/1.1 204 No Content\nContent-Type: text/plain\n\n");
    EXPECT_EQ(Answer(std::make_shared<FileResponse>("", 200, "text/plain")),
              "HTTP/1.1 200 OK\nContent-Type: text/plain\nContent-Length: 0\n\n");
}

TEST_F(FileAnswer, IsThePageForAnInternalErrorWithoutItsHeadersWhenThereIsNoFile)
{
    directory.Write("directory/file", "");
    const auto missing = std::make_shared<FileResponse>(path, 200, "application/octet-stream");
    missing->with_header("Content-Disposition", "attachment; filename=x");
    const auto other = std::make_shared<FileResponse>(
        (directory.Path() / "directory").string(), 200, "application/octet-stream");
    const std::string page =
        "HTTP/1.1 500 Internal Server Error\nContent-Type: text/plain\nContent-Length: 14\n\nInternal Error";

    EXPECT_EQ(Answer(missing), page);
    EXPECT_EQ(Answer(other), page);
}

TEST_F(FileAnswer, HasABodyOfItsOwnForTheLibraryWhenThereIsNoFile)
{
    FileResponse missing(path, 200, "text/plain");
    MHD_Response* response = missing.get_raw_response();
    ASSERT_NE(response, nullptr);
    MHD_destroy_response(response);
}

TEST_F(FileAnswer, HoldsAFileThatComesAfterTheAnswerWasMade)
{
    const auto response = std::make_shared<FileResponse>(path, 200, "text/plain");
    EXPECT_THAT(Answer(response), testing::StartsWith("HTTP/1.1 500 "));
    directory.Write("file", "here");
    EXPECT_EQ(Answer(response), "HTTP/1.1 200 OK\nContent-Type: text/plain\nContent-Length: 4\n\nhere");
}

} // namespace
