#include "platform/httpserver/stringresponse.h"

#include <microhttpd.h>

#include <utility>

namespace httpserver
{

string_response::string_response(std::string content, int code, const std::string& contentType)
    : http_response(code, contentType)
    , content(std::move(content))
{
}

MHD_Response* string_response::get_raw_response()
{
    return MHD_create_response_from_buffer(content.size(), content.data(), MHD_RESPMEM_PERSISTENT);
}

} // namespace httpserver
