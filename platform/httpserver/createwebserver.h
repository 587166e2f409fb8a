#pragma once

#include "platform/httpserver/httputils.h"

#include <cstddef>
#include <cstdint>
#include <limits>

namespace httpserver
{

/// Settings of a webserver, each of which gives the object back: create_webserver(8080).max_threads(5).
class create_webserver
{
public:
    /// @param port  TCP port, on all IPv4 addresses
    explicit create_webserver(std::uint16_t port)
        : port(port)
    {
    }

    create_webserver& start_method(http::http_utils::start_method_T method);

    /// Threads that accept connections and render, so the number of requests at a time; 0 and 1 are one
    /// thread.
    create_webserver& max_threads(int threads);

    /// Seconds of silence after which a connection is closed; 0 is never.
    create_webserver& connection_timeout(int seconds);

    /// Bytes of a request's body that are kept; what goes beyond is dropped.
    create_webserver& content_size_limit(std::size_t bytes);

private:
    friend class webserver;

    std::uint16_t port;
    http::http_utils::start_method_T startMethod = http::http_utils::INTERNAL_SELECT;
    int maxThreads = 0;
    int connectionTimeout = 180;
    std::size_t contentSizeLimit = std::numeric_limits<std::size_t>::max();
};

} // namespace httpserver
