#pragma once

#include "simulator/downloads/downloads.h"

#include <cstdint>

struct MHD_Daemon;

namespace Simulator
{

/// An HTTP server on the loopback interface for descriptors and packages, with all their faults.
/// Each connection has a thread of its own.
class CDownloadServer
{
public:
    /// @param port       0 for one that is free
    /// @param downloads  outlives the server
    /// @throws std::runtime_error if the port can't be listened on
    CDownloadServer(std::uint16_t port, CDownloads& downloads);

    /// Breaks off what is under way.
    ~CDownloadServer();
    CDownloadServer(const CDownloadServer&) = delete;
    CDownloadServer& operator=(const CDownloadServer&) = delete;
    CDownloadServer(CDownloadServer&&) = delete;
    CDownloadServer& operator=(CDownloadServer&&) = delete;

    std::uint16_t Port() const;

    /// Of a path, such as "/package.swu".
    std::string Url(const std::string& path) const;

private:
    struct SCallbacks;

    // Constant after construction
    CDownloads& downloads;
    MHD_Daemon* daemon = nullptr;
};

} // namespace Simulator
