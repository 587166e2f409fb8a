#pragma once

#include "src/api/httprequest.h"

#include <httpserver.hpp>

#include <functional>
#include <map>
#include <memory>
#include <utility>

class IAuthorization;

enum class EHttpMethod : int
{
    Get = 0,
    Post = 1,
    Put = 2,
    Delete = 3,
    Patch = 4
};

/// What answers the requests to one path, and the one place where failures of requests become answers.
///
/// A request is checked in this order: the method has a handler (else 405), a body has the content type
/// application/json and nothing behind it (else 400), the session is alive if the route needs one (else 401).
/// Then the handler is called. What it throws is answered with a JSON string: the text of the exception and
/// the status of an HttpException, 500 for any other.
/// Threads: render from several at the same time; handlers are set before the server runs.
class CRestResource : public httpserver::http_resource
{
public:
    /// Runs on the server's threads, for several requests at the same time, and may block.
    using Handler = std::function<std::shared_ptr<httpserver::http_response>(const IHttpRequest&)>;

    /// The library's versions differ in it.
    using RenderResult = decltype(std::declval<httpserver::http_resource&>().render(
        std::declval<const httpserver::http_request&>()));

    /// @param authorization  may be null: then no route needs a session
    explicit CRestResource(std::shared_ptr<IAuthorization> authorization);

    /// Has @p handler answer one method; the last one that is set for a method holds.
    void SetHandler(EHttpMethod method, Handler handler, bool authorizationRequired);

    RenderResult render(const httpserver::http_request& request) override;

private:
    struct SRoute
    {
        Handler handler;
        bool authorizationRequired = false;
    };

    std::shared_ptr<httpserver::http_response> Handle(const IHttpRequest& request) const;
    const SRoute& FindRoute(const IHttpRequest& request) const;
    void CheckSession(const SRoute& route, const IHttpRequest& request) const;

    // Constant after construction
    const std::shared_ptr<IAuthorization> authorization;

    // Constant while the server runs
    std::map<EHttpMethod, SRoute> handlers;
};
