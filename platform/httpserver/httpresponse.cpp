#include "platform/httpserver/httpresponse.h"

#include <microhttpd.h>

namespace httpserver
{

http_response::http_response(int code, const std::string& contentType)
    : responseCode(code)
    , headers{{MHD_HTTP_HEADER_CONTENT_TYPE, contentType}}
{
}

const std::string& http_response::get_header(const std::string& name) const
{
    static const std::string absent;
    const auto header = headers.find(name);
    return header != headers.end() ? header->second : absent;
}

void http_response::with_header(const std::string& name, const std::string& value)
{
    headers[name] = value;
}

void http_response::with_cookie(const std::string& name, const std::string& value)
{
    cookies[name] = value;
}

MHD_Response* http_response::get_raw_response()
{
    return MHD_create_response_from_buffer(0, nullptr, MHD_RESPMEM_PERSISTENT);
}

void http_response::decorate_response(MHD_Response* response)
{
    // libmicrohttpd refuses empty values and line ends: such headers are meant to be left out
    for (const auto& [name, value] : headers)
    {
        MHD_add_response_header(response, name.c_str(), value.c_str());
    }
    for (const auto& [name, value] : cookies)
    {
        const std::string cookie = std::string(name).append("=").append(value);
        MHD_add_response_header(response, MHD_HTTP_HEADER_SET_COOKIE, cookie.c_str());
    }
}

int http_response::enqueue_response(MHD_Connection* connection, MHD_Response* response)
{
    return MHD_queue_response(connection, static_cast<unsigned int>(responseCode), response);
}

} // namespace httpserver
