#pragma once

#include "platform/worker/worker.h"

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>

class CFileTransfer;
class IBoardControl;
class ITopic;

/// Fetches firmware packages in the background and has the board install them.
class IFirmwareUpdateHandler
{
public:
    IFirmwareUpdateHandler() = default;
    IFirmwareUpdateHandler(const IFirmwareUpdateHandler&) = delete;
    IFirmwareUpdateHandler& operator=(const IFirmwareUpdateHandler&) = delete;
    IFirmwareUpdateHandler(IFirmwareUpdateHandler&&) = delete;
    IFirmwareUpdateHandler& operator=(IFirmwareUpdateHandler&&) = delete;

    /// Downloads the package, then asks the board to install it; one request after the other. Returns at
    /// once.
    virtual void Download(const std::string& url) = 0;

    /// Where {"status": "EFwUpdateErrDownloadFailed"} goes when a download fails.
    virtual void SetStatusTopic(std::shared_ptr<ITopic> topic) = 0;

    virtual ~IFirmwareUpdateHandler() = default;
};

/// The handler with a thread of its own. Of a board that refuses or can't be reached only the log tells.
/// Threads: any; what it does for a request is done on its worker's.
class CFirmwareUpdateHandler final : public IFirmwareUpdateHandler
{
public:
    /// The file that the board installs, shared with the station's other processes.
    static constexpr const char* PackagePath = "/tmp/update/package.swu";
    static constexpr const char* Requester = "WebInterfaceAutomatic";

    /// @param fileTransfer  interrupted at the end
    /// @param package       where the package goes; an old one is removed first
    CFirmwareUpdateHandler(std::shared_ptr<CFileTransfer> fileTransfer,
                           std::shared_ptr<IBoardControl> boardControl,
                           std::filesystem::path package = PackagePath);

    /// Ends the download that is under way, drops those to come, and waits for the worker.
    ~CFirmwareUpdateHandler() override;
    CFirmwareUpdateHandler(const CFirmwareUpdateHandler&) = delete;
    CFirmwareUpdateHandler& operator=(const CFirmwareUpdateHandler&) = delete;
    CFirmwareUpdateHandler(CFirmwareUpdateHandler&&) = delete;
    CFirmwareUpdateHandler& operator=(CFirmwareUpdateHandler&&) = delete;

    void Download(const std::string& url) override;
    void SetStatusTopic(std::shared_ptr<ITopic> topic) override;

private:
    bool IsEnding();
    void Update(const std::string& url);
    bool FetchPackage(const std::string& url);
    void ReportFailedDownload();
    void RequestUpdate();

    // Constant after construction
    const std::shared_ptr<CFileTransfer> fileTransfer;
    const std::shared_ptr<IBoardControl> boardControl;
    const std::filesystem::path package;

    std::mutex mutex;

    // Guarded by mutex
    std::shared_ptr<ITopic> statusTopic;
    bool isEnding = false;

    /// stopped before the other members go
    CWorker worker{"fwupdate"};

    // Guarded by mutex
    std::shared_ptr<CWorkerCall> lastCall;
};
