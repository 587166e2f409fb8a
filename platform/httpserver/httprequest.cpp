#include "platform/httpserver/httprequest.h"

#include <microhttpd.h>

#include <algorithm>

namespace httpserver
{

namespace
{

std::string Lookup(MHD_Connection* connection, MHD_ValueKind kind, const std::string& name)
{
    const char* value = MHD_lookup_connection_value(connection, kind, name.c_str());
    return value != nullptr ? value : std::string();
}

MHD_Result AppendArgument(void* text, MHD_ValueKind /*kind*/, const char* name, const char* value) noexcept
try
{
    auto& query = *static_cast<std::string*>(text);
    query += query.empty() ? '?' : '&';
    query += name;
    if (value != nullptr)
    {
        query += '=';
        query += value;
    }
    return MHD_YES;
}
catch (...)
{
    return MHD_NO;
}

} // namespace

http_request::http_request(MHD_Connection* connection, const char* method)
    : connection(connection)
    , method(method)
{
}

std::string http_request::get_header(const std::string& name) const
{
    return Lookup(connection, MHD_HEADER_KIND, name);
}

std::string http_request::get_cookie(const std::string& name) const
{
    return Lookup(connection, MHD_COOKIE_KIND, name);
}

std::string http_request::get_arg(const std::string& name) const
{
    const auto parameter = std::find_if(parameters.begin(),
                                        parameters.end(),
                                        [&name](const auto& candidate) { return candidate.first == name; });
    return parameter != parameters.end() ? parameter->second
                                         : Lookup(connection, MHD_GET_ARGUMENT_KIND, name);
}

std::string http_request::get_querystring() const
{
    std::string query;
    MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, &AppendArgument, &query);
    return query;
}

} // namespace httpserver
