#pragma once

#include "platform/httpserver/httputils.h"

#include <map>
#include <string>

struct MHD_Connection;
struct MHD_Response;

namespace httpserver
{

/// An answer: status, headers and cookies. Those with a body are string_response and file_response.
///
/// The server calls get_raw_response, decorate_response and enqueue_response, in this order, on the thread
/// that rendered it, keeps the object until the answer has been sent, and then lets it go on that thread.
class http_response
{
public:
    using header_map = std::map<std::string, std::string, http::header_comparator>;

    /// An answer without a status, in place of which the server sends its page for an internal error.
    http_response() = default;

    /// @param code         status, 200 to 999
    /// @param contentType  value of the header Content-Type, which is left out if this is empty
    http_response(int code, const std::string& contentType);

    http_response(const http_response&) = default;
    http_response& operator=(const http_response&) = default;
    http_response(http_response&&) = default;
    http_response& operator=(http_response&&) = default;
    virtual ~http_response() = default;

    /// The status, -1 if there is none.
    int get_response_code() const { return responseCode; }

    /// Value of a header, empty when absent.
    const std::string& get_header(const std::string& name) const;

    const header_map& get_headers() const { return headers; }
    const header_map& get_cookies() const { return cookies; }

    /// Sets a header. The value of one whose name differs only in case is replaced. A header with an empty
    /// value, or with a line end in it, isn't sent.
    void with_header(const std::string& name, const std::string& value);

    /// Sets a cookie, to be sent as its own header Set-Cookie.
    void with_cookie(const std::string& name, const std::string& value);

    /// A new response of libmicrohttpd with the body, which the caller destroys; null if the body can't be
    /// had, which the server answers with its page for an internal error. The base gives an empty body.
    virtual MHD_Response* get_raw_response();

    /// Adds headers and cookies to that response.
    virtual void decorate_response(MHD_Response* response);

    /// Hands it to libmicrohttpd with the status.
    /// @return libmicrohttpd's result; 0 closes the connection without an answer
    virtual int enqueue_response(MHD_Connection* connection, MHD_Response* response);

private:
    int responseCode = -1;
    header_map headers;
    header_map cookies;
};

} // namespace httpserver
