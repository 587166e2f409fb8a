#pragma once

#include "src/fileserver/webserver.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

class IAuthorization;
class IFwPackage;
class IFwPackageWriter;

/// Receives firmware packages and has them installed, one upload at a time:
///
///     PUT, any path, with the cookie "sessionid" and a form whose only field, "firmware", is the package
///
/// Body and status of the answers, all of them text/html, those in quotation marks with these:
/// 201 Created: the board has accepted the package; 401 Unauthorized: no live session, which each piece of
/// the body needs and renews; 403 "Invalid target": another field, before the package or after it;
/// 400 "No data": no form; 400 Bad Request: another method than PUT, or an empty field, for which one passes
/// too whose first one to four bytes arrive apart from the rest;
/// 503 "The firmware package is currently in use by someone else";
/// 500 "Could not write to file": also a package that is too large; 500 Internal communication failure: the
/// board refuses or can't be reached; 500 with another text: the file can't be made, or the installation
/// fails otherwise. Pieces and ends of requests that don't have the package are 401 and 403 Forbidden.
///
/// An upload empties the package file at its beginning, before its session is looked at. One that fails
/// deletes it, unless it fails at the board, which leaves it whole; one that is broken off leaves what has
/// arrived. A form that lacks its last boundary counts as complete.
/// Threads: as CWebserver; IsFirmwareUploadBusy any.
class CFileServer : public CWebserver
{
public:
    /// @throws std::runtime_error "Authorization object was not provided."
    CFileServer(std::uint16_t port,
                std::shared_ptr<IFwPackage> package,
                std::shared_ptr<IAuthorization> authorization);

    /// Stops the server.
    ~CFileServer() override;
    CFileServer(const CFileServer&) = delete;
    CFileServer& operator=(const CFileServer&) = delete;
    CFileServer(CFileServer&&) = delete;
    CFileServer& operator=(CFileServer&&) = delete;

    void ProcessChunk(const CRequestChunk& chunk) override;
    void OnNewRequest(CConnection& connection) override;
    std::pair<std::string, int> OnFinalizeRequest(CConnection& connection) override;
    void OnEndRequest(CConnection& connection) override;

    /// Whether an upload has the package.
    bool IsFirmwareUploadBusy();

private:
    void WriteChunk(const CRequestChunk& chunk);

    // Constant after construction
    const std::shared_ptr<IFwPackage> package;

    // Used by the server's thread only
    /// null unless an upload runs
    std::unique_ptr<IFwPackageWriter> writer;

    // Constant after construction
    const std::shared_ptr<IAuthorization> authorization;

    /// The request that has the package, null if none has. Set by the server's thread, read by any.
    std::atomic<const CConnection*> authorizedConnection = nullptr;

    /// Held by IsFirmwareUploadBusy alone.
    std::mutex mutex;

    // Used by the server's thread only
    std::string sessionId;
};
