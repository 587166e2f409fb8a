#include "src/fileserver/webserver.h"

#include "platform/log/log.h"

#include <microhttpd.h>

#include <exception>
#include <memory>
#include <stdexcept>

namespace
{

constexpr const char* AcceptedMethod = "PUT";

CConnection* ToConnection(void* context)
{
    return static_cast<CConnection*>(context);
}

/// Has the request own the connection, until RequestCompleted.
CConnection& Keep(std::unique_ptr<CConnection> connection, void** context)
{
    CConnection* const kept = connection.release();
    *context = kept;
    return *kept;
}

void Store(void* context, const HttpException& exception)
{
    if (context != nullptr)
    {
        ToConnection(context)->SetException(exception);
    }
}

} // namespace

struct CWebserver::SCallbacks
{
    static MHD_Result Access(void* server,
                             MHD_Connection* connection,
                             const char* /*url*/,
                             const char* method,
                             const char* /*version*/,
                             const char* data,
                             std::size_t* size,
                             void** context) noexcept
    {
        static_cast<CWebserver*>(server)->RequestHandler(connection, method, data, *size, context);
        return MHD_YES;
    }

    static void Completed(void* server,
                          MHD_Connection* /*connection*/,
                          void** context,
                          MHD_RequestTerminationCode /*reason*/) noexcept
    {
        static_cast<CWebserver*>(server)->RequestCompleted(context);
    }
};

CWebserver::CWebserver(std::uint16_t port)
    : port(port)
{
}

CWebserver::~CWebserver()
{
    LOG_ENTRY(CWebserver, "~CWebserver");
    StopDaemon();
}

void CWebserver::OnNewRequest(CConnection& /*connection*/)
{
}

std::pair<std::string, int> CWebserver::OnFinalizeRequest(CConnection& /*connection*/)
{
    return {"Created", MHD_HTTP_CREATED};
}

void CWebserver::OnEndRequest(CConnection& /*connection*/)
{
}

void CWebserver::Start()
{
    LOG_ENTRY(CWebserver, "Start");
    if (daemon != nullptr)
    {
        throw std::runtime_error("Webserver already running");
    }
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): so the library takes its options
    daemon = MHD_start_daemon(MHD_USE_INTERNAL_POLLING_THREAD,
                              port,
                              nullptr,
                              nullptr,
                              &SCallbacks::Access,
                              this,
                              MHD_OPTION_NOTIFY_COMPLETED,
                              &SCallbacks::Completed,
                              this,
                              MHD_OPTION_END);
    if (daemon == nullptr)
    {
        throw std::runtime_error("Could not start webserver");
    }
}

void CWebserver::Stop()
{
    LOG_ENTRY(CWebserver, "Stop");
    if (daemon == nullptr)
    {
        LOG_WARN("File server is not running. Ignoring call to stop.");
        return;
    }
    StopDaemon();
}

void CWebserver::StopDaemon()
{
    if (daemon != nullptr)
    {
        MHD_stop_daemon(std::exchange(daemon, nullptr));
    }
}

void CWebserver::RequestHandler(MHD_Connection* connection,
                                const std::string& method,
                                const char* data,
                                std::size_t& size,
                                void** context)
{
    LOG_ENTRY(CWebserver, "RequestHandler");
    CatchErrors(context,
                [&]
                {
                    if (*context == nullptr)
                    {
                        NewRequest(connection, method, context);
                    }
                    else
                    {
                        HandleRequest(*ToConnection(*context), data, size);
                    }
                });
}

void CWebserver::NewRequest(MHD_Connection* connection, const std::string& method, void** context)
{
    LOG_ENTRY(CWebserver, "NewRequest");
    if (method != AcceptedMethod)
    {
        // the method comes from outside and stays out of the log; the braces are part of the text
        LOG_INFO("Method '{{}}' is not allowed on the file server.");
        Keep(std::make_unique<CConnection>(connection), context);
        throw HttpStatusException<400>();
    }
    LOG_INFO("Constructing new post request.");
    auto request = std::make_unique<CPostRequest>(
        connection, [this](const CRequestChunk& chunk) { ProcessChunk(chunk); });
    OnNewRequest(Keep(std::move(request), context));
}

void CWebserver::HandleRequest(CConnection& connection, const char* data, std::size_t& size)
{
    if (size == 0)
    {
        Answer(connection);
        return;
    }
    if (!connection.HasException())
    {
        connection.Process(data, size);
    }
    // all of it is done with
    size = 0;
}

void CWebserver::Answer(CConnection& connection)
{
    if (connection.HasException())
    {
        connection.RespondWithException();
    }
    else if (!connection.IsProcessed())
    {
        connection.SetException(HttpStatusException<400>("No data"));
        connection.RespondWithException();
    }
    else
    {
        // if this throws, the library, still without an answer, comes back here at once
        const auto [text, status] = OnFinalizeRequest(connection);
        connection.Respond(text, status);
    }
}

void CWebserver::CatchErrors(void* const* context, const std::function<void()>& function)
{
    LOG_ENTRY(CWebserver, "CatchErrors");
    try
    {
        function();
    }
    catch (const HttpException& exception)
    {
        Store(*context, exception);
    }
    catch (const std::exception& exception)
    {
        Store(*context, HttpException(MHD_HTTP_INTERNAL_SERVER_ERROR, exception.what()));
    }
    catch (...)
    {
        Store(*context, HttpStatusException<500>("Unknown error"));
    }
}

void CWebserver::RequestCompleted(void** context)
{
    LOG_ENTRY(CWebserver, "RequestCompleted");
    if (*context == nullptr)
    {
        return;
    }
    const std::unique_ptr<CConnection> connection(ToConnection(std::exchange(*context, nullptr)));
    OnEndRequest(*connection);
}
