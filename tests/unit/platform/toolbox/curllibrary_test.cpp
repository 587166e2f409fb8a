#include "platform/toolbox/curlwrapper.h"
#include "platform/toolbox/filetransfer.h"
#include "simulator/downloads/downloadserver.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <optional>

#include <gmock/gmock.h>

#include "tests/support/capturedlog.h"
#include "tests/support/temporarydirectory.h"

namespace
{

using testing::Each;
using testing::SizeIs;
using testing::StartsWith;

/// Nobody can open a file while it lives.
class CNoDescriptors
{
public:
    CNoDescriptors()
    {
        getrlimit(RLIMIT_NOFILE, &before);
        const int lowest = dup(STDERR_FILENO);
        close(lowest);
        rlimit none = before;
        none.rlim_cur = static_cast<rlim_t>(lowest);
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~CNoDescriptors() { setrlimit(RLIMIT_NOFILE, &before); }
    CNoDescriptors(const CNoDescriptors&) = delete;
    CNoDescriptors& operator=(const CNoDescriptors&) = delete;
    CNoDescriptors(CNoDescriptors&&) = delete;
    CNoDescriptors& operator=(CNoDescriptors&&) = delete;

private:
    rlimit before = {};
};

} // namespace

TEST(CurlLibrary, OneThatCantBeLoadedFailsTransfersWithAnErrorUntilItCan)
{
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer needs descriptors of its own to look at objects";
#endif
    void* const loaded = dlopen("libcurl.so.4", RTLD_NOW | RTLD_NOLOAD);
    if (loaded != nullptr)
    {
        dlclose(loaded);
        GTEST_SKIP() << "needs a process of its own, which has not loaded the library yet";
    }
    const CTemporaryDirectory directory;
    const std::filesystem::path file = directory.Path() / "file";
    Simulator::CDownloads downloads;
    const Simulator::CDownloadServer server(0, downloads);
    Simulator::SDownload download;
    download.text = "text";
    downloads.Set("/text", download);
    Toolbox::CCurlWrapper curl;
    CFileTransfer transfer;
    {
        const CCapturedLog log;
        const CNoDescriptors none;
        curl.Initialize();
        EXPECT_EQ(curl.Get(server.Url("/text"), std::nullopt, std::nullopt), std::nullopt);
        EXPECT_FALSE(transfer.Download(server.Url("/text"), std::nullopt, file));
        const auto errors = log.Messages(Log::ELogLevel::Error);
        EXPECT_THAT(errors, SizeIs(2));
        EXPECT_THAT(errors, Each(StartsWith("No transfers: libcurl.so.4 can't be used: ")));
    }
    EXPECT_FALSE(std::filesystem::exists(file));

    curl.Initialize();
    EXPECT_EQ(curl.Get(server.Url("/text"), std::nullopt, std::nullopt), "text");
    EXPECT_TRUE(transfer.Download(server.Url("/text"), std::nullopt, file));
}
