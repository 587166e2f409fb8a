#include "tests/e2e/uploadtest.h"

#include <chrono>
#include <fstream>
#include <iterator>
#include <thread>

#include "tests/support/eventually.h"
#include "tests/support/quickpassword.h"
#include "tests/support/websocketclient.h"

namespace fs = std::filesystem;

namespace
{

const std::string Password = "correct horse";

} // namespace

UploadTest::UploadTest()
{
    PutFilesInPlace();
    root.SetDefault("secrets", "WebIfManagementPassword", EncodedQuickly(Password));
}

void UploadTest::Start()
{
    StartAll();
    AwaitServer();
    const std::string acceptance =
        R"({"Service": "BoardControl", "Operation": "RequestFirmwareUpdate", "Answer": 0})";
    ASSERT_EQ(station.Post("/fault", acceptance).status, 200);
}

void UploadTest::PlayUpdates() const
{
    ASSERT_EQ(station.Delete("/fault").status, 200);
}

void UploadTest::AwaitServer() const
{
    AwaitListener(WebSocketPort);
    AwaitListener(FileServerPort);
    station.AwaitCall("BoardControl", "SubscribeFirmwareUpdateStatus");
}

std::string UploadTest::LogIn()
{
    const SHttpResponse response = HttpRequest(RestPort,
                                               "POST",
                                               "/auth/login",
                                               {{"Content-Type", "application/json"}},
                                               R"({"Password": ")" + Password + "\"}");
    EXPECT_EQ(response.status, 204);
    // "sessionid=KEY; path=…"
    const std::string cookie = response.Header("Set-Cookie");
    const std::size_t begin = cookie.find('=') + 1;
    return cookie.substr(begin, cookie.find(';') - begin);
}

std::string UploadTest::Package() const
{
    std::ifstream file(PackageFile(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string UploadTest::Outcome(const SHttpResponse& response)
{
    EXPECT_EQ(response.Header("Content-Type"), "text/html");
    return std::to_string(response.status) + ' ' + response.body;
}

std::string UploadTest::Upload(const std::string& package)
{
    return Outcome(PutForm(FileServerPort, {{"firmware", package}}, LoggedIn));
}

void UploadTest::ExpectNothingLeft() const
{
    // the failed one ends after its answer, and before this request is looked at
    EXPECT_EQ(HttpRequest(FileServerPort, "GET", "/").status, 400);
    EXPECT_FALSE(fs::exists(PackageFile()));
    EXPECT_EQ(Upload("good"), Created);
    EXPECT_EQ(Package(), "good");
}

std::string UploadTest::UploadText(const std::string& package, const std::string& key)
{
    return HttpRequestText("PUT",
                           "/",
                           {{"Cookie", "sessionid=" + key}, {"Content-Type", FormType()}},
                           FormBody({{"firmware", package}}));
}

void UploadTest::SendFirstHalf(CRawHttp& client, std::string_view upload) const
{
    // the form's own lines, and what the parser holds back
    constexpr std::size_t Rest = 32768 + 1000;
    const std::size_t half = upload.size() / 2;
    ASSERT_GT(half, 2 * Rest);
    client.Send(upload.substr(0, half));
    std::error_code missing;
    ASSERT_TRUE(Eventually(
        [&]
        {
            const std::uintmax_t size = fs::file_size(PackageFile(), missing);
            return !missing && size > half - Rest;
        }));
}

Json::Value UploadTest::Requests(std::uint64_t after) const
{
    return station.Calls("BoardControl", "RequestFirmwareUpdate", after);
}

void UploadTest::SetBoardFault(const std::string& fault) const
{
    const std::string body =
        R"({"Service": "BoardControl", "Operation": "RequestFirmwareUpdate", "Times": 1, )" + fault + "}";
    ASSERT_EQ(station.Post("/fault", body).status, 200);
}

long UploadTest::StatusNumber(const std::string& name) const
{
    std::ifstream status("/proc/" + std::to_string(process->Id()) + "/status");
    std::string word;
    while (status >> word && word != name)
    {
    }
    long number = -1;
    status >> number;
    return number;
}

std::size_t UploadTest::Count(const std::string& directory) const
{
    const fs::directory_iterator entries("/proc/" + std::to_string(process->Id()) + "/" + directory);
    return static_cast<std::size_t>(std::distance(entries, fs::directory_iterator()));
}

void UploadTest::AwaitIdle(std::size_t descriptors) const
{
    // accepted after all others
    EXPECT_EQ(HttpRequest(FileServerPort, "GET", "/").status, 400);
    EXPECT_TRUE(Eventually([&] { return Count("fd") <= descriptors; }))
        << Count("fd") << " descriptors in place of " << descriptors;
}
