#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "tests/unit/platform/httpserver/httpservertest.h"

namespace
{

using httpserver::file_response;
using httpserver::http_request;

/// A file response as the process has it, which takes its body from elsewhere without a file's name.
class CNamelessResponse : public file_response
{
public:
    explicit CNamelessResponse(int status)
        : file_response("", status, "text/plain")
    {
    }

    MHD_Response* get_raw_response() override { return empty.get_raw_response(); }

private:
    httpserver::string_response empty{""};
};

} // namespace

class HttpFileAnswer : public HttpServer
{
public:
    ~HttpFileAnswer() override
    {
        server.stop();
        std::filesystem::remove_all(directory);
    }

protected:
    HttpFileAnswer()
    {
        std::string name = (std::filesystem::temp_directory_path() / "fileanswer-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
        {
            throw std::runtime_error("no directory for the test");
        }
        directory = name;
    }

    std::string MakeFile(const std::string& content) const
    {
        const auto file = directory / "file";
        std::ofstream(file, std::ios::binary) << content;
        return file.string();
    }

    /// Has requests to the path answered with the file.
    void ServeFile(const std::string& path, const std::string& file, int status = 200)
    {
        Serve(path,
              [file, status](const http_request& /*request*/)
              { return std::make_shared<file_response>(file, status, "application/zip"); });
    }

    std::filesystem::path directory;
};

TEST_F(HttpFileAnswer, IsTheFileWithItsLengthAndHeaders)
{
    std::string content("PK\0\x01", 4);
    content += std::string(500'000, 'x');
    const std::string file = MakeFile(content);
    Serve("/a",
          [file](const http_request& /*request*/)
          {
              auto response = std::make_shared<file_response>(file, 200, "application/zip");
              response->with_header("Content-Disposition", R"(attachment; filename="file.zip")");
              return response;
          });
    Start();
    CRawHttp client(port);
    const auto response = client.Request("GET", "/a");
    EXPECT_EQ(response.statusLine, "HTTP/1.1 200 OK");
    EXPECT_EQ(response.Header("Content-Type"), "application/zip");
    EXPECT_EQ(response.Header("Content-Disposition"), R"(attachment; filename="file.zip")");
    EXPECT_EQ(response.Header("Content-Length"), std::to_string(content.size()));
    EXPECT_TRUE(response.body == content);

    EXPECT_EQ(client.Request("HEAD", "/a").Header("Content-Length"), std::to_string(content.size()));
    EXPECT_TRUE(client.Request("GET", "/a", {{"Range", "bytes=0-1"}}).body == content);
    EXPECT_TRUE(std::filesystem::exists(file));
}

TEST_F(HttpFileAnswer, IsPlainTextByDefault)
{
    const std::string file = MakeFile("text");
    Serve("/a", [file](const http_request& /*request*/) { return std::make_shared<file_response>(file); });
    const auto response = Ask("GET", "/a");
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.Header("Content-Type"), "text/plain");
    EXPECT_EQ(response.body, "text");
}

TEST_F(HttpFileAnswer, MayBeEmpty)
{
    ServeFile("/a", MakeFile(""));
    const auto response = Ask("GET", "/a");
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.Header("Content-Length"), "0");
    EXPECT_EQ(response.body, "");
}

TEST_F(HttpFileAnswer, WithStatus204HasNoBody)
{
    ServeFile("/a", MakeFile("text"), 204);
    Start();
    CRawHttp client(port);
    for (int i = 0; i < 2; ++i)
    {
        const auto response = client.Request("GET", "/a");
        EXPECT_EQ(response.status, 204);
        EXPECT_FALSE(response.HasHeader("Content-Length"));
    }
}

TEST_F(HttpFileAnswer, MayTakeItsBodyFromElsewhere)
{
    Serve("/204", [](const http_request& /*request*/) { return std::make_shared<CNamelessResponse>(204); });
    Serve("/200", [](const http_request& /*request*/) { return std::make_shared<CNamelessResponse>(200); });
    const auto noContent = Ask("GET", "/204");
    EXPECT_EQ(noContent.statusLine, "HTTP/1.1 204 No Content");
    EXPECT_EQ(noContent.Header("Content-Type"), "text/plain");
    EXPECT_FALSE(noContent.HasHeader("Content-Length"));
    EXPECT_EQ(Ask("GET", "/200").Header("Content-Length"), "0");
}

#ifdef HTTPSERVER_BUNDLED

TEST_F(HttpFileAnswer, WithoutANameHasItsOwnStatusAndNoBody)
{
    ServeFile("/204", "", 204);
    ServeFile("/200", "", 200);
    const auto noContent = Ask("GET", "/204");
    EXPECT_EQ(noContent.statusLine, "HTTP/1.1 204 No Content");
    EXPECT_EQ(noContent.Header("Content-Type"), "application/zip");
    EXPECT_FALSE(noContent.HasHeader("Content-Length"));
    const auto empty = Ask("GET", "/200");
    EXPECT_EQ(empty.statusLine, "HTTP/1.1 200 OK");
    EXPECT_EQ(empty.Header("Content-Length"), "0");
}

TEST_F(HttpFileAnswer, ToAFileThatCannotBeReadIsAPage)
{
    const std::string fifo = (directory / "fifo").string();
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    ServeFile("/missing", (directory / "missing").string());
    ServeFile("/missing204", (directory / "missing").string(), 204);
    ServeFile("/directory", directory.string());
    ServeFile("/fifo", fifo);
    Start();
    CRawHttp client(port);
    for (const std::string target : {"/missing", "/missing204", "/directory", "/fifo"})
    {
        const auto response = client.Request("GET", target);
        EXPECT_EQ(response.statusLine, "HTTP/1.1 500 Internal Server Error") << target;
        EXPECT_EQ(response.Header("Content-Type"), "text/plain") << target;
        EXPECT_EQ(response.body, "Internal Error") << target;
    }
}

TEST_F(HttpFileAnswer, IsOpenedWhenItIsSent)
{
    const std::string file = MakeFile("text");
    Serve("/deleted",
          [file](const http_request& /*request*/)
          {
              auto response = std::make_shared<file_response>(file);
              std::filesystem::remove(file);
              return response;
          });
    Serve("/written",
          [file](const http_request& /*request*/)
          {
              auto response = std::make_shared<file_response>(file);
              std::ofstream(file) << "written later";
              return response;
          });
    EXPECT_EQ(Ask("GET", "/deleted").status, 500);
    EXPECT_EQ(Ask("GET", "/written").body, "written later");
}

namespace
{

/// Descriptors that the process has open.
std::ptrdiff_t OpenDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
}

} // namespace

TEST_F(HttpFileAnswer, LeavesNoDescriptorOpen)
{
    ServeFile("/file", MakeFile("text"));
    ServeFile("/204", (directory / "file").string(), 204);
    std::ofstream(directory / "empty").flush();
    ServeFile("/empty", (directory / "empty").string());
    ServeFile("/directory", directory.string());
    const auto before = OpenDescriptors();
    Start();
    {
        CRawHttp client(port);
        for (const std::string target : {"/file", "/204", "/empty", "/directory"})
        {
            client.Request("GET", target);
            client.Request("HEAD", target);
        }
    }
    server.stop();
    EXPECT_EQ(OpenDescriptors(), before);
}

#endif
