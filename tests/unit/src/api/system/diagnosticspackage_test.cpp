#include "src/api/fileresponse.h"
#include "src/api/restserver.h"
#include "src/api/system.h"

#include "platform/config/tarnconfig.h"
#include "platform/rpc/communicationexception.h"
#include "platform/toolbox/diagnosticspackager.h"
#include "platform/toolbox/program.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <system_error>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"
#include "tests/support/rawhttp.h"
#include "tests/support/temporarydirectory.h"
#include "tests/unit/src/api/answertext.h"

namespace
{

namespace fs = std::filesystem;
using Resources::CSystemApi;
using testing::ElementsAre;
using testing::StrictMock;
using Level = Log::ELogLevel;

constexpr std::uint16_t Port = 8080;

/// The noon of the first of May 2024.
std::chrono::system_clock::time_point Noon()
{
    return std::chrono::system_clock::from_time_t(1714564800);
}

class DiagnosticsPackage : public testing::Test
{
protected:
    DiagnosticsPackage()
    {
        directory.Write("log/system.log", "a line\n");
        fs::create_directory(target);
        WriteHwInfo(R"({"CustomerId": "ACME", "ProductSn": "SN-1"})");
    }

    void WriteHwInfo(const std::string& json) const { directory.Write("etc/config/hwinfo.json", json); }

    CSystemApi Api() const
    {
        return {nullptr,
                diagnostics,
                nullptr,
                TarnConfig::Create("settings", directory.Root()),
                TarnConfig::CreateStaticOnly("hwinfo", directory.Root()),
                TarnConfig::CreateStaticOnly("fwinfo", directory.Root()),
                nullptr,
                nullptr,
                std::make_unique<Toolbox::CDiagnosticsPackager>(directory.Path() / "log", target, Noon),
                nullptr};
    }

    /// The service takes the freeze frame and does this before it answers.
    void ExpectFreezeFrame(const std::function<void()>& meanwhile)
    {
        EXPECT_CALL(*diagnostics, CreateFreezeFrame("Web interface manual download"))
            .WillOnce(
                [meanwhile](const std::string&)
                {
                    meanwhile();
                    return ipc::MResult();
                });
    }

    /// A freeze frame that stands at once.
    void ExpectGoodFreezeFrame()
    {
        ExpectFreezeFrame(
            [this]
            {
                directory.Write("log/freezeframe.json", "{}");
                diagnostics->FreezeFrameDone("/data/log/freezeframe.json");
            });
    }

    std::string FileNameFor(const std::string& hwinfo)
    {
        WriteHwInfo(hwinfo);
        ExpectGoodFreezeFrame();
        return std::string(Api().GetDiagnosticsPackage()->get_header("Content-Disposition"));
    }

    void ExpectPackage(const CSystemApi::Response& response) const
    {
        EXPECT_EQ(response->get_response_code(), 200);
        EXPECT_EQ(dynamic_cast<const FileResponse&>(*response).GetPath(), package);
    }

    void ExpectNoPackage(const CSystemApi::Response& response) const
    {
        EXPECT_EQ(response->get_response_code(), 204);
        EXPECT_EQ(dynamic_cast<const FileResponse&>(*response).GetPath(), "");
        EXPECT_EQ(std::string(response->get_header("Content-Type")), "text/plain");
        EXPECT_EQ(std::string(response->get_header("Content-Disposition")), "");
    }

    /// Whether the package holds a file of the log.
    bool IsPacked(const std::string& file) const
    {
        return Toolbox::RunProgram({"/bin/tar", "-xOf", package.string(), file}).status == 0;
    }

    const CTemporaryDirectory directory;
    const fs::path target = directory.Path() / "target";
    const fs::path package = target / "diagnostics_package_webbackend.pedp";
    const std::shared_ptr<StrictMock<CMockDiagnostics>> diagnostics =
        std::make_shared<StrictMock<CMockDiagnostics>>();
};

TEST_F(DiagnosticsPackage, IsOfferedAsAFileWithTheNewFreezeFrame)
{
    ExpectGoodFreezeFrame();
    const CCapturedLog log;

    const CSystemApi::Response response = Api().GetDiagnosticsPackage();

    ExpectPackage(response);
    EXPECT_EQ(std::string(response->get_header("Content-Type")), "application/octet-stream");
    EXPECT_EQ(std::string(response->get_header("Content-Disposition")),
              "attachment; filename=ACME_SN-1_2024-05-01T120000.pedp");
    EXPECT_TRUE(IsPacked("freezeframe.json"));
    EXPECT_TRUE(IsPacked("system.log"));
    EXPECT_THAT(log.Messages(Level::Info),
                ElementsAre("Freezeframe is done @ /data/log/freezeframe.json",
                            "Freezeframe created at /data/log/freezeframe.json",
                            "Offering diagnostics package as 'ACME_SN-1_2024-05-01T120000.pedp'"));
}

TEST_F(DiagnosticsPackage, IsNamedWithoutWhatTheHardwareInformationLacks)
{
    EXPECT_EQ(FileNameFor(R"({"ProductSn": "SN-1"})"), "attachment; filename=_SN-1_2024-05-01T120000.pedp");
    testing::Mock::VerifyAndClear(diagnostics.get());
    EXPECT_EQ(FileNameFor(R"({"CustomerId": "ACME"})"), "attachment; filename=ACME__2024-05-01T120000.pedp");
    testing::Mock::VerifyAndClear(diagnostics.get());
    EXPECT_EQ(FileNameFor(R"({"CustomerId": 5})"), "attachment; filename=__2024-05-01T120000.pedp");
}

TEST_F(DiagnosticsPackage, IsNamedWithoutWhatCouldEndTheHeader)
{
    EXPECT_EQ(FileNameFor(R"({"CustomerId": "A/\"B\"\r\nX-Evil: 1", "ProductSn": "../; c"})"),
              "attachment; filename=A__B___X-Evil__1_..___c_2024-05-01T120000.pedp");
}

TEST_F(DiagnosticsPackage, ComesWithoutAFreezeFrameThatTheServiceRefuses)
{
    ipc::MResult refusal;
    refusal.set_status(ipc::EResultIllegal);
    EXPECT_CALL(*diagnostics, CreateFreezeFrame).WillOnce(testing::Return(refusal));
    const CCapturedLog log;

    ExpectPackage(Api().GetDiagnosticsPackage());

    EXPECT_TRUE(log.Has(Level::Error, "CreateFreezeFrame call failed"));
    EXPECT_TRUE(IsPacked("system.log"));
}

TEST_F(DiagnosticsPackage, ComesAlsoWhenDiagnosticsIsOutOfReach)
{
    ExpectFreezeFrame([] { throw Rpc::CommunicationException("Diagnostics.CreateFreezeFrame"); });
    ExpectPackage(Api().GetDiagnosticsPackage());
}

TEST_F(DiagnosticsPackage, ComesAlsoWhenTheFreezeFrameHasNoName)
{
    ExpectFreezeFrame([this] { diagnostics->FreezeFrameDone(""); });
    const CCapturedLog log;

    ExpectPackage(Api().GetDiagnosticsPackage());

    EXPECT_TRUE(log.Has(Level::Error, "No filename received for freezeframe"));
}

TEST_F(DiagnosticsPackage, IsAnEmptyAnswerWithoutAttachmentWhenItCanNotBeMade)
{
    fs::remove(target);
    ExpectGoodFreezeFrame();
    const CCapturedLog log;

    ExpectNoPackage(Api().GetDiagnosticsPackage());

    EXPECT_TRUE(log.Has(Level::Error, "Received empty diagnostic package path"));
}

TEST_F(DiagnosticsPackage, FailsForTheSecondOfTwoAtOnceAndComesForTheFirst)
{
    CSystemApi api = Api();
    ExpectFreezeFrame(
        [this, &api]
        {
            EXPECT_THROW(api.GetDiagnosticsPackage(), std::future_error);
            diagnostics->FreezeFrameDone("/data/log/freezeframe.json");
        });

    ExpectPackage(api.GetDiagnosticsPackage());
}

TEST_F(DiagnosticsPackage, FailsWhenItsFreezeFrameIsInterrupted)
{
    CSystemApi api = Api();
    ExpectFreezeFrame([&api] { api.InterruptWaits(); });

    EXPECT_THROW(api.GetDiagnosticsPackage(), Rpc::CommunicationException);

    EXPECT_FALSE(fs::exists(package));
}

TEST_F(DiagnosticsPackage, FailsWhenItsCallIsInterrupted)
{
    CSystemApi api = Api();
    ExpectFreezeFrame(
        [&api]
        {
            api.InterruptWaits();
            throw Rpc::CommunicationException("Diagnostics.CreateFreezeFrame: cancelled");
        });

    EXPECT_THROW(api.GetDiagnosticsPackage(), Rpc::CommunicationException);

    EXPECT_FALSE(fs::exists(package));
}

TEST_F(DiagnosticsPackage, FailsWhenItsPackingIsInterruptedAndComesAfterwards)
{
    CSystemApi api = Api();
    ExpectFreezeFrame(
        [this, &api]
        {
            diagnostics->FreezeFrameDone("/data/log/freezeframe.json");
            api.InterruptWaits();
        });

    EXPECT_THROW(api.GetDiagnosticsPackage(), std::system_error);

    EXPECT_FALSE(fs::exists(package));
    testing::Mock::VerifyAndClear(diagnostics.get());
    api.ResumeWaits();
    ExpectGoodFreezeFrame();
    ExpectPackage(api.GetDiagnosticsPackage());
}

TEST_F(DiagnosticsPackage, HoldsFilesOfAllTimes)
{
    using Time = fs::file_time_type;
    directory.Write("log/old.log", "x");
    directory.Write("log/future.log", "x");
    const Time now = fs::last_write_time(directory.Path() / "log/system.log");
    const auto age = std::chrono::system_clock::now().time_since_epoch();
    fs::last_write_time(directory.Path() / "log/old.log",
                        now - std::chrono::floor<std::chrono::seconds>(age) + std::chrono::minutes(1));
    fs::last_write_time(directory.Path() / "log/future.log", now + std::chrono::hours(24 * 365 * 20));
    ExpectGoodFreezeFrame();

    ExpectPackage(Api().GetDiagnosticsPackage());

    EXPECT_TRUE(IsPacked("old.log"));
    EXPECT_TRUE(IsPacked("future.log"));
}

TEST_F(DiagnosticsPackage, LogsItsEntries)
{
    ExpectGoodFreezeFrame();
    CSystemApi api = Api();
    const CCapturedLog log;
    api.GetDiagnosticsPackage();

    EXPECT_TRUE(log.Has(Level::Trace, "Resources::CSystemApi::GetDiagnosticsPackage"));
    EXPECT_TRUE(log.Has(Level::Trace, "Resources::CSystemApi::CreateFreezeFrame"));
}

TEST_F(DiagnosticsPackage, ThatFailedIsAnEmptyAnswerOverTheWire)
{
    fs::remove(target);
    ExpectGoodFreezeFrame();
    CSystemApi api = Api();
    CRestServer server(Port, nullptr);
    server.AddRoute(
        EHttpMethod::Get, "/package", [&api](const auto&) { return api.GetDiagnosticsPackage(); }, false);
    server.Start();

    EXPECT_EQ(AnswerText(HttpRequest(Port, "GET", "/package")), EmptyAnswer());
}

} // namespace
