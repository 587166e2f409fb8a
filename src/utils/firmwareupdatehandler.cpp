#include "src/utils/firmwareupdatehandler.h"

#include "src/utils/updateservice.h"
#include "src/websocket/itopic.h"

#include "contracts/boardcontrol.h"
#include "platform/log/log.h"
#include "platform/toolbox/filetransfer.h"

#include <exception>
#include <optional>
#include <system_error>
#include <utility>

namespace
{

constexpr const char* DownloadFailed = "EFwUpdateErrDownloadFailed";

} // namespace

CFirmwareUpdateHandler::CFirmwareUpdateHandler(std::shared_ptr<CFileTransfer> fileTransfer,
                                               std::shared_ptr<IBoardControl> boardControl,
                                               std::filesystem::path package)
    : fileTransfer(std::move(fileTransfer))
    , boardControl(std::move(boardControl))
    , package(std::move(package))
{
    LOG_ENTRY(CFirmwareUpdateHandler, "CFirmwareUpdateHandler");
    worker.Start();
}

CFirmwareUpdateHandler::~CFirmwareUpdateHandler()
{
    LOG_ENTRY(CFirmwareUpdateHandler, "~CFirmwareUpdateHandler");
    {
        const std::lock_guard lock(mutex);
        isEnding = true;
        if (lastCall)
        {
            lastCall->Cancel();
        }
    }
    fileTransfer->Interrupt();
    if (worker.IsRunning())
    {
        worker.Stop();
    }
}

void CFirmwareUpdateHandler::Download(const std::string& url)
{
    LOG_ENTRY(CFirmwareUpdateHandler, "Download");
    // held over the call, so that of several callers the last one's handle stays
    const std::lock_guard lock(mutex);
    lastCall = worker.NonBlockingCall([this, url] { Update(url); });
}

void CFirmwareUpdateHandler::SetStatusTopic(std::shared_ptr<ITopic> topic)
{
    LOG_ENTRY(CFirmwareUpdateHandler, "SetStatusTopic");
    const std::lock_guard lock(mutex);
    statusTopic = std::move(topic);
}

bool CFirmwareUpdateHandler::IsEnding()
{
    const std::lock_guard lock(mutex);
    return isEnding;
}

void CFirmwareUpdateHandler::Update(const std::string& url)
{
    if (IsEnding())
    {
        // one of several that waited behind the download that was interrupted
        return;
    }
    if (!FetchPackage(url))
    {
        LOG_WARN("Failed to download firmware package file {} to {}", url, package.string());
        ReportFailedDownload();
        return;
    }
    LOG_INFO("Successfully downloaded firmware package file {} to {}", url, package.string());
    GiveToUpdateService(package);
    RequestUpdate();
}

bool CFirmwareUpdateHandler::FetchPackage(const std::string& url)
{
    std::error_code error;
    std::filesystem::remove(package, error);
    if (error)
    {
        LOG_ERROR("Unable to remove the old firmware package file {}: {}", package.string(), error.message());
        return false;
    }
    return fileTransfer->Download(url, std::nullopt, package);
}

void CFirmwareUpdateHandler::ReportFailedDownload()
{
    std::shared_ptr<ITopic> topic;
    {
        const std::lock_guard lock(mutex);
        topic = statusTopic;
    }
    if (!topic)
    {
        LOG_ERROR(
            "Firmware update status topic does not exist. Unable to send feedback event to subscribers");
        return;
    }
    Json::Value message;
    message["status"] = DownloadFailed;
    topic->Broadcast(message);
}

void CFirmwareUpdateHandler::RequestUpdate()
{
    bool isAccepted = false;
    try
    {
        isAccepted = boardControl->RequestFirmwareUpdate(Requester).status() == 0;
    }
    catch (const std::exception& exception)
    {
        LOG_ERROR("BoardControl communication exception: {}", exception.what());
    }
    if (!isAccepted)
    {
        LOG_ERROR("Failing FwUpdate due to BoardControl call failure");
    }
}
