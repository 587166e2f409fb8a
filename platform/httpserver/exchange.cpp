#include "platform/httpserver/exchange.h"

#include "platform/httpserver/httpresource.h"
#include "platform/httpserver/httpresponse.h"
#include "platform/httpserver/httputils.h"
#include "platform/httpserver/methods.h"
#include "platform/httpserver/path.h"
#include "platform/httpserver/routetable.h"
#include "platform/httpserver/stringresponse.h"

#include <microhttpd.h>

#include <algorithm>

namespace httpserver::Detail
{

namespace
{

using http::http_utils;

struct SResponseDeleter
{
    void operator()(MHD_Response* response) const { MHD_destroy_response(response); }
};
using RawResponse = std::unique_ptr<MHD_Response, SResponseDeleter>;

std::shared_ptr<http_response> NotFoundPage()
{
    return std::make_shared<string_response>("Not Found", http_utils::http_not_found);
}

std::shared_ptr<http_response> NotAllowedPage()
{
    return std::make_shared<string_response>("Method not Allowed", http_utils::http_method_not_allowed);
}

std::shared_ptr<http_response> ErrorPage()
{
    return std::make_shared<string_response>("Internal Error", http_utils::http_internal_server_error);
}

/// Null where a resource or a response fails: what they throw ends here, as the page for an internal error.
template <class F>
auto NullOnFailure(F operation) -> decltype(operation())
{
    try
    {
        return operation();
    }
    catch (...)
    {
        return nullptr;
    }
}

RawResponse Materialize(http_response& response)
{
    RawResponse raw(response.get_raw_response());
    if (raw)
    {
        response.decorate_response(raw.get());
    }
    return raw;
}

} // namespace

CExchange::CExchange(MHD_Connection* connection, const char* method, std::size_t contentSizeLimit)
    : connection(connection)
    , contentSizeLimit(contentSizeLimit)
    , method(FindMethod(method))
    , request(connection, method)
{
}

CExchange::~CExchange() = default;

void CExchange::Append(const char* data, std::size_t size)
{
    if (method != nullptr && method->hasContent)
    {
        request.content.append(data, std::min(size, contentSizeLimit - request.content.size()));
    }
}

int CExchange::Answer(const char* target, const CRouteTable& routes)
{
    request.path = DecodePath(target);
    response = Render(routes);
    RawResponse raw = NullOnFailure([this] { return Materialize(*response); });
    if (!raw)
    {
        response = ErrorPage();
        raw = Materialize(*response);
    }
    return response->enqueue_response(connection, raw.get());
}

std::shared_ptr<http_response> CExchange::Render(const CRouteTable& routes)
{
    SMatch match = routes.Find(request.path);
    if (match.resource == nullptr)
    {
        return NotFoundPage();
    }
    if (method == nullptr || !match.resource->is_allowed(request.method))
    {
        return NotAllowedPage();
    }
    request.parameters = std::move(match.parameters);
    auto rendered = NullOnFailure([&] { return (match.resource->*method->render)(request); });
    return rendered && rendered->get_response_code() != -1 ? rendered : ErrorPage();
}

} // namespace httpserver::Detail
