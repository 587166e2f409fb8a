#include "platform/httpserver/createwebserver.h"

namespace httpserver
{

create_webserver& create_webserver::start_method(http::http_utils::start_method_T method)
{
    startMethod = method;
    return *this;
}

create_webserver& create_webserver::max_threads(int threads)
{
    maxThreads = threads;
    return *this;
}

create_webserver& create_webserver::connection_timeout(int seconds)
{
    connectionTimeout = seconds;
    return *this;
}

create_webserver& create_webserver::content_size_limit(std::size_t bytes)
{
    contentSizeLimit = bytes;
    return *this;
}

} // namespace httpserver
