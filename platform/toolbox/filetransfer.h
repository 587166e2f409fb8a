#pragma once

#include "platform/toolbox/interruption.h"
#include "platform/toolbox/urltransfer.h"

#include <filesystem>
#include <optional>
#include <string>

/// Downloads files over http and https.
/// Threads: any, several downloads at the same time. Virtual for tests.
class CFileTransfer
{
public:
    /// @param limits  262,144,000 bytes, unless given
    explicit CFileTransfer(const Toolbox::STransferLimits& limits = PackageLimits());
    virtual ~CFileTransfer() = default;
    CFileTransfer(const CFileTransfer&) = delete;
    CFileTransfer& operator=(const CFileTransfer&) = delete;
    CFileTransfer(CFileTransfer&&) = delete;
    CFileTransfer& operator=(CFileTransfer&&) = delete;

    /// Writes what the URL holds to a file as it comes in, in the place of one that is there; see
    /// Toolbox::TransferUrl for what counts as a success. Blocks meanwhile. Makes the directory if it lacks.
    /// @return false on failure, of which the log tells; what it has written is gone then
    virtual bool Download(const std::string& url,
                          const std::optional<Toolbox::SCredentials>& credentials,
                          const std::filesystem::path& path);

    /// Lets the downloads that are under way fail at once, and all that follow.
    virtual void Interrupt();

    static Toolbox::STransferLimits PackageLimits();

private:
    // Constant after construction
    const Toolbox::STransferLimits limits;

    Toolbox::CInterruption interruption;
};
