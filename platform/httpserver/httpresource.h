#pragma once

#include <bitset>
#include <cstddef>
#include <memory>
#include <string>

namespace httpserver
{

class http_request;
class http_response;

/// What answers the requests to one path. A subclass overrides render, for all methods, or the functions of
/// single ones. All nine methods are let through until disallowed; for others, and for disallowed ones, the
/// server answers 405 itself.
///
/// An exception of any kind that leaves a render function, a null pointer and a response without a status are
/// answered with the server's page for an internal error.
/// Threads: render functions are called from several at the same time; methods are allowed before the server
/// starts.
class http_resource
{
public:
    virtual ~http_resource() = default;
    http_resource(const http_resource&) = delete;
    http_resource& operator=(const http_resource&) = delete;
    http_resource(http_resource&&) = delete;
    http_resource& operator=(http_resource&&) = delete;

    /// Answers a request, on one of the server's threads, which it may block. The default gives a response
    /// without a status.
    virtual std::shared_ptr<http_response> render(const http_request& request);

    virtual std::shared_ptr<http_response> render_GET(const http_request& request);
    virtual std::shared_ptr<http_response> render_POST(const http_request& request);
    virtual std::shared_ptr<http_response> render_PUT(const http_request& request);
    virtual std::shared_ptr<http_response> render_HEAD(const http_request& request);
    virtual std::shared_ptr<http_response> render_DELETE(const http_request& request);
    virtual std::shared_ptr<http_response> render_TRACE(const http_request& request);
    virtual std::shared_ptr<http_response> render_OPTIONS(const http_request& request);
    virtual std::shared_ptr<http_response> render_PATCH(const http_request& request);
    virtual std::shared_ptr<http_response> render_CONNECT(const http_request& request);

    /// Lets one of the nine methods through, or not; other names have no effect.
    void set_allowing(const std::string& method, bool allowed);
    void allow_all();
    void disallow_all();

    /// Whether a method, named in capital letters, is let through.
    bool is_allowed(const std::string& method) const;

protected:
    http_resource();

private:
    static constexpr std::size_t MethodCount = 9;

    std::bitset<MethodCount> allowedMethods;
};

} // namespace httpserver
