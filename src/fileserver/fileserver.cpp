#include "src/fileserver/fileserver.h"

#include "src/api/httpexception.h"
#include "src/fileserver/fwpackage.h"
#include "src/session/authorization.h"

#include "platform/log/log.h"

#include <stdexcept>

namespace
{

constexpr const char* SessionCookie = "sessionid";
constexpr const char* FirmwareKey = "firmware";

/// The answer to a result of IFwPackageInstaller::Install.
std::pair<std::string, int> ToAnswer(int installResult)
{
    switch (installResult)
    {
    case 0:
        return {"Created", 201};
    case 1:
        return {"Internal communication failure", 500};
    default:
        return {"Update installation failed", 500};
    }
}

} // namespace

CFileServer::CFileServer(std::uint16_t port,
                         std::shared_ptr<IFwPackage> package,
                         std::shared_ptr<IAuthorization> authorization)
    : CWebserver(port)
    , package(std::move(package))
    , authorization(std::move(authorization))
{
    if (this->authorization == nullptr)
    {
        throw std::runtime_error("Authorization object was not provided.");
    }
}

CFileServer::~CFileServer()
{
    // the base does it as well, but only when what the hooks use is gone
    StopDaemon();
}

void CFileServer::OnNewRequest(CConnection& connection)
{
    LOG_ENTRY(CFileServer, "OnNewRequest");
    std::string cookie;
    // a wrong cookie passes, as a missing one mostly does: each chunk is where sessions are looked at
    if (!connection.GetCookie(SessionCookie, cookie) && authorization->RefreshSession(""))
    {
        LOG_ERROR("Session cookie was not provided or the session is not valid (anymore)");
        throw HttpStatusException<401>();
    }
    auto locked = package->TryLockWrite();
    if (locked == nullptr)
    {
        throw HttpStatusException<503>("The firmware package is currently in use by someone else");
    }
    writer = std::move(locked);
    sessionId = std::move(cookie);
    authorizedConnection = &connection;
}

void CFileServer::ProcessChunk(const CRequestChunk& chunk)
{
    void* const context = static_cast<CConnection*>(chunk.connection);
    CatchErrors(&context, [&] { WriteChunk(chunk); });
}

void CFileServer::WriteChunk(const CRequestChunk& chunk)
{
    const CConnection* const authorized = authorizedConnection;
    if (authorized != nullptr && authorized != chunk.connection)
    {
        LOG_ERROR("Attempt to process a chunk belonging to a different connection than the one authorized");
        throw HttpStatusException<401>();
    }
    if (!authorization->RefreshSession(sessionId))
    {
        LOG_ERROR("Session is not valid or has expired");
        throw HttpStatusException<401>();
    }
    if (chunk.key != FirmwareKey)
    {
        LOG_ERROR("Request does not include the required form key 'firmware'");
        throw HttpStatusException<403>("Invalid target");
    }
    // without a writer if a chunk comes after the end of its request, and there is a session of no name
    if (writer == nullptr || !writer->Write(chunk.data, static_cast<std::int32_t>(chunk.size)))
    {
        throw HttpStatusException<500>("Could not write to file");
    }
}

std::pair<std::string, int> CFileServer::OnFinalizeRequest(CConnection& connection)
{
    LOG_ENTRY(CFileServer, "OnFinalizeRequest");
    if (&connection != authorizedConnection)
    {
        return {"Forbidden", 403};
    }
    writer.reset();
    // nobody else takes the package between these two
    const auto installer = package->TryLockInstall();
    auto answer = ToAnswer(installer->Install());
    OnEndRequest(connection);
    return answer;
}

void CFileServer::OnEndRequest(CConnection& connection)
{
    LOG_ENTRY(CFileServer, "OnEndRequest");
    if (&connection != authorizedConnection)
    {
        return;
    }
    if (connection.HasException() && writer != nullptr)
    {
        writer->Abort();
    }
    writer.reset();
    sessionId.clear();
    authorizedConnection = nullptr;
}

bool CFileServer::IsFirmwareUploadBusy()
{
    LOG_ENTRY(CFileServer, "IsFirmwareUploadBusy");
    const std::lock_guard lock(mutex);
    return authorizedConnection != nullptr;
}
