#pragma once

#include <string>

namespace httpserver::http
{

/// Order of header and cookie names: shorter ones first, then byte by byte without regard to (ASCII) case.
/// Names that differ only in case are one name.
class header_comparator
{
public:
    bool operator()(const std::string& left, const std::string& right) const;
};

/// Status codes and other constants.
class http_utils
{
public:
    /// How the server's threads wait for the network; the values are those of libmicrohttpd's flags.
    enum start_method_T
    {
        /// own threads, waiting in select()
        INTERNAL_SELECT = 8
    };

    static constexpr int http_ok = 200;
    static constexpr int http_no_content = 204;
    static constexpr int http_bad_request = 400;
    static constexpr int http_unauthorized = 401;
    static constexpr int http_forbidden = 403;
    static constexpr int http_not_found = 404;
    static constexpr int http_method_not_allowed = 405;
    static constexpr int http_conflict = 409;
    static constexpr int http_internal_server_error = 500;
    static constexpr int http_bad_gateway = 502;
    static constexpr int http_service_unavailable = 503;

    /// "text/plain"
    static const std::string text_plain;
};

} // namespace httpserver::http
