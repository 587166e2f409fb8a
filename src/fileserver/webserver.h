/// The firmware upload server: a small HTTP server that streams forms into a subclass (CWebserver, with
/// CConnection and CPostRequest for one request), the one subclass that receives firmware packages for
/// sessions of the web interface (CFileServer), and the package file with its lock (CFwPackage).
///
/// It stands on libmicrohttpd itself, since bodies of up to 250 MiB must never be held in memory.
#pragma once

#include "src/fileserver/connection.h"
#include "src/fileserver/postrequest.h"

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

struct MHD_Connection;
struct MHD_Daemon;

/// Takes PUT requests with a form on any path of one port and hands their chunks to the subclass.
///
/// An answer is plain text with "Content-Type: text/html" and goes out when the whole request has been read;
/// what comes after a failure is dropped. Other methods get 400. An HttpException of a hook is answered with
/// its text and status, any other exception with 500.
/// Threads: started, stopped and destroyed by one; the hooks run on one other, one at a time. A request that
/// stands still is waited for without limit.
class CWebserver
{
public:
    explicit CWebserver(std::uint16_t port);

    /// Stops the server. That comes too late for the hooks of a subclass: it calls StopDaemon() in its own
    /// destructor.
    virtual ~CWebserver();
    CWebserver(const CWebserver&) = delete;
    CWebserver& operator=(const CWebserver&) = delete;
    CWebserver(CWebserver&&) = delete;
    CWebserver& operator=(CWebserver&&) = delete;

    /// Takes a piece of a form.
    virtual void ProcessChunk(const CRequestChunk& chunk) = 0;

    /// A PUT request has begun.
    virtual void OnNewRequest(CConnection& connection);

    /// A request has been read to its end without a failure.
    /// @return body and status of the answer
    virtual std::pair<std::string, int> OnFinalizeRequest(CConnection& connection);

    /// A request, of whatever method, is over: answered, failed or broken off. Its connection is destroyed
    /// after that. Must not throw.
    virtual void OnEndRequest(CConnection& connection);

    /// Serves until Stop(), on a thread of its own. May be called again after that.
    /// @throws std::runtime_error "Webserver already running" or "Could not start webserver"
    void Start();

    /// Breaks off all requests and waits for the hook that runs.
    void Stop();

protected:
    /// Runs @p function and keeps what it throws as the failure of a request.
    /// @param context  points to the request's CConnection, or to null: then the failure is dropped
    static void CatchErrors(void* const* context, const std::function<void()>& function);

    /// Stops the server if it runs.
    void StopDaemon();

private:
    /// The library's callbacks.
    struct SCallbacks;

    void RequestHandler(MHD_Connection* connection,
                        const std::string& method,
                        const char* data,
                        std::size_t& size,
                        void** context);
    void NewRequest(MHD_Connection* connection, const std::string& method, void** context);
    void HandleRequest(CConnection& connection, const char* data, std::size_t& size);
    void Answer(CConnection& connection);
    void RequestCompleted(void** context);

    // Constant after construction
    const std::uint16_t port;

    /// null when stopped
    MHD_Daemon* daemon = nullptr;
};
