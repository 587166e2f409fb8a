#include "simulator/steering/httpserver.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>

#include <memory>
#include <new>
#include <stdexcept>

namespace Simulator
{

namespace
{

/// bytes
constexpr std::size_t BodyLimit = 1024 * 1024;
constexpr unsigned ConnectionLimit = 64;
/// seconds without traffic; longer than any handler waits
constexpr unsigned IdleLimit = 120;

MHD_Result Reply(MHD_Connection* connection, const SHttpAnswer& answer)
{
    // the library copies the text and leaves it as it is
    void* const text = const_cast<char*>(answer.body.data()); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    const std::unique_ptr<MHD_Response, decltype(&MHD_destroy_response)> response(
        MHD_create_response_from_buffer(answer.body.size(), text, MHD_RESPMEM_MUST_COPY),
        &MHD_destroy_response);
    if (!response)
    {
        return MHD_NO;
    }
    MHD_add_response_header(response.get(), MHD_HTTP_HEADER_CONTENT_TYPE, "application/json");
    return MHD_queue_response(connection, answer.status, response.get());
}

MHD_Result AddQueryArgument(void* query, MHD_ValueKind /*kind*/, const char* key, const char* value)
{
    (*static_cast<std::map<std::string, std::string>*>(query))[key] = value == nullptr ? "" : value;
    return MHD_YES;
}

} // namespace

/// One request while it comes in.
struct CHttpServer::SExchange
{
    SHttpRequest request;
    bool isTooLong = false;
};

/// What the library calls.
struct CHttpServer::SCallbacks
{
    static MHD_Result Handle(void* server,
                             MHD_Connection* connection,
                             const char* url,
                             const char* method,
                             const char* /*version*/,
                             const char* data,
                             std::size_t* dataSize,
                             void** state)
    {
        if (*state == nullptr)
        {
            return Begin(connection, url, method, state);
        }
        SExchange& exchange = *static_cast<SExchange*>(*state);
        if (*dataSize > 0)
        {
            Receive(exchange, data, *dataSize);
            *dataSize = 0;
            return MHD_YES;
        }
        if (exchange.isTooLong)
        {
            return Reply(connection, {MHD_HTTP_CONTENT_TOO_LARGE, R"({"Error":"the body is over 1 MiB"})"});
        }
        return Reply(connection, static_cast<CHttpServer*>(server)->handler(exchange.request));
    }

    static MHD_Result Begin(MHD_Connection* connection, const char* url, const char* method, void** state)
    {
        auto exchange = std::make_unique<SExchange>();
        exchange->request.method = method;
        exchange->request.path = url;
        MHD_get_connection_values(
            connection, MHD_GET_ARGUMENT_KIND, &AddQueryArgument, &exchange->request.query);
        *state = exchange.release();
        return MHD_YES;
    }

    static void Receive(SExchange& exchange, const char* data, std::size_t size)
    {
        if (exchange.request.body.size() + size > BodyLimit)
        {
            exchange.isTooLong = true;
            return;
        }
        exchange.request.body.append(data, size);
    }

    static void
    End(void* /*server*/, MHD_Connection* /*connection*/, void** state, MHD_RequestTerminationCode /*code*/)
    {
        const std::unique_ptr<SExchange> exchange(static_cast<SExchange*>(*state));
        *state = nullptr;
    }
};

CHttpServer::CHttpServer(std::uint16_t port, Handler handler)
    : handler(std::move(handler))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    daemon = MHD_start_daemon(MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_THREAD_PER_CONNECTION,
                              port,
                              nullptr,
                              nullptr,
                              &SCallbacks::Handle,
                              this,
                              MHD_OPTION_SOCK_ADDR,
                              &address,
                              MHD_OPTION_NOTIFY_COMPLETED,
                              &SCallbacks::End,
                              nullptr,
                              MHD_OPTION_CONNECTION_LIMIT,
                              ConnectionLimit,
                              MHD_OPTION_CONNECTION_TIMEOUT,
                              IdleLimit,
                              MHD_OPTION_END);
    if (daemon == nullptr)
    {
        throw std::runtime_error("can't listen on 127.0.0.1:" + std::to_string(port));
    }
}

CHttpServer::~CHttpServer()
{
    MHD_stop_daemon(daemon);
}

std::uint16_t CHttpServer::Port() const
{
    const MHD_DaemonInfo* const info = MHD_get_daemon_info(daemon, MHD_DAEMON_INFO_BIND_PORT);
    return info == nullptr ? 0 : info->port;
}

} // namespace Simulator
