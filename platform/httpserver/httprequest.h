#pragma once

#include <string>
#include <utility>
#include <vector>

struct MHD_Connection;

namespace httpserver
{

namespace Detail
{
class CExchange;
}

/// A request whose body has arrived in full. The server makes it and hands it to http_resource::render; it is
/// gone when the answer has been sent, so a handler must not keep it.
/// Threads: the one that calls render.
class http_request
{
public:
    http_request(const http_request&) = delete;
    http_request& operator=(const http_request&) = delete;
    http_request(http_request&&) = delete;
    http_request& operator=(http_request&&) = delete;
    ~http_request() = default;

    /// Path without the query: %HH decoded, + as a space, runs of slashes as one, without a slash at its end,
    /// case as sent.
    const std::string& get_path() const { return path; }

    /// The method's name as sent.
    const std::string& get_method() const { return method; }

    /// The raw body of POST, PUT, DELETE and PATCH, whatever its type; other methods have none.
    const std::string& get_content() const { return content; }

    /// Value of a header, empty when absent. The name's case doesn't matter; the first of several counts.
    std::string get_header(const std::string& name) const;

    /// Value of a cookie, empty when absent. The name's case doesn't matter; the first of several counts.
    std::string get_cookie(const std::string& name) const;

    /// Value of the path's parameter {name}, or else of the query's argument, empty when absent. An
    /// argument's value is not percent-decoded, but + is a space.
    std::string get_arg(const std::string& name) const;

    /// The query's arguments as "?a=1&b=2", empty without any.
    std::string get_querystring() const;

private:
    friend class Detail::CExchange;

    http_request(MHD_Connection* connection, const char* method);

    MHD_Connection* const connection;
    const std::string method;
    std::string path;
    std::string content;
    std::vector<std::pair<std::string, std::string>> parameters;
};

} // namespace httpserver
