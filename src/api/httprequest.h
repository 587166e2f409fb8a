#pragma once

#include <string>

/// A request as its handler sees it. It lives for that one call: a handler must not keep it.
/// Threads: the one that runs the handler.
class IHttpRequest
{
public:
    IHttpRequest(const IHttpRequest&) = delete;
    IHttpRequest& operator=(const IHttpRequest&) = delete;
    IHttpRequest(IHttpRequest&&) = delete;
    IHttpRequest& operator=(IHttpRequest&&) = delete;

    /// The method as the client sent it.
    virtual const std::string& GetMethod() const = 0;

    /// Value of a cookie, empty when absent.
    virtual std::string GetCookie(const std::string& name) const = 0;

    /// Value of a header, empty when absent.
    virtual std::string GetHeader(const std::string& name) const = 0;

    /// Value of a parameter of the path or of the query, empty when absent.
    virtual std::string GetArg(const std::string& name) const = 0;

    /// The whole body.
    virtual const std::string& GetContent() const = 0;

protected:
    IHttpRequest() = default;
    ~IHttpRequest() = default;
};
