#pragma once

#include "platform/httpserver/httprequest.h"

#include <cstddef>
#include <memory>

struct MHD_Connection;

namespace httpserver
{
class http_response;
}

namespace httpserver::Detail
{

class CRouteTable;
struct SMethod;

/// One request and its answer, from the request's headers until the answer has been sent.
/// Threads: the one that serves the connection.
class CExchange
{
public:
    /// @param contentSizeLimit  bytes of the body that are kept
    CExchange(MHD_Connection* connection, const char* method, std::size_t contentSizeLimit);
    ~CExchange();
    CExchange(const CExchange&) = delete;
    CExchange& operator=(const CExchange&) = delete;
    CExchange(CExchange&&) = delete;
    CExchange& operator=(CExchange&&) = delete;

    /// Takes the next piece of the body.
    void Append(const char* data, std::size_t size);

    /// Has the resource of @p target answer and hands the answer over for sending; failures are answered with
    /// a page.
    /// @return libmicrohttpd's result; 0 closes the connection
    int Answer(const char* target, const CRouteTable& routes);

private:
    std::shared_ptr<http_response> Render(const CRouteTable& routes);

    // Constant after construction
    MHD_Connection* const connection;
    const std::size_t contentSizeLimit;
    const SMethod* method;

    http_request request;
    /// kept while its body is being sent
    std::shared_ptr<http_response> response;
};

} // namespace httpserver::Detail
