#include "src/api/restresource.h"

#include "src/api/httpexception.h"
#include "src/api/jsonbody.h"
#include "src/api/jsonresponse.h"
#include "src/session/authorization.h"

#include <array>
#include <exception>
#include <string>
#include <string_view>
#include <type_traits>

using httpserver::http::http_utils;

namespace
{

struct SMethodName
{
    std::string_view name;
    EHttpMethod method;
};

constexpr std::array<SMethodName, 5> MethodNames{{
    {"GET", EHttpMethod::Get},
    {"POST", EHttpMethod::Post},
    {"PUT", EHttpMethod::Put},
    {"DELETE", EHttpMethod::Delete},
    {"PATCH", EHttpMethod::Patch},
}};

EHttpMethod ToMethod(std::string_view name)
{
    for (const SMethodName& row : MethodNames)
    {
        if (row.name == name)
        {
            return row.method;
        }
    }
    throw HttpStatusException<405>();
}

/// The library's request as handlers see it. It lives no longer than that.
class CHttpRequestWrapper final : public IHttpRequest
{
public:
    explicit CHttpRequestWrapper(const httpserver::http_request& request)
        : request(request)
        , method(request.get_method())
        , content(request.get_content())
    {
    }

    const std::string& GetMethod() const override { return method; }
    std::string GetCookie(const std::string& name) const override
    {
        return std::string(request.get_cookie(name));
    }
    std::string GetHeader(const std::string& name) const override
    {
        return std::string(request.get_header(name));
    }
    std::string GetArg(const std::string& name) const override { return std::string(request.get_arg(name)); }
    const std::string& GetContent() const override { return content; }

private:
    /// The text where the library hands out its own, a copy of it where it gives a view.
    template <class T>
    using Text =
        std::conditional_t<std::is_same_v<T, const std::string&>, const std::string&, const std::string>;

    const httpserver::http_request& request;
    Text<decltype(request.get_method())> method;
    Text<decltype(request.get_content())> content;
};

void CheckContentType(const IHttpRequest& request)
{
    if (!request.GetContent().empty() && request.GetHeader("Content-Type") != "application/json")
    {
        throw HttpStatusException<400>("Invalid content type");
    }
}

} // namespace

CRestResource::CRestResource(std::shared_ptr<IAuthorization> authorization)
    : authorization(std::move(authorization))
{
}

void CRestResource::SetHandler(EHttpMethod method, Handler handler, bool authorizationRequired)
{
    handlers[method] = {std::move(handler), authorizationRequired};
}

CRestResource::RenderResult CRestResource::render(const httpserver::http_request& request)
{
    try
    {
        return Handle(CHttpRequestWrapper(request));
    }
    catch (const HttpException& exception)
    {
        return std::make_shared<JsonResponse>(exception.what(), exception.GetStatus());
    }
    catch (const std::exception& exception)
    {
        return std::make_shared<JsonResponse>(exception.what(), http_utils::http_internal_server_error);
    }
    catch (...)
    {
        return std::make_shared<JsonResponse>("Unexpected error", http_utils::http_internal_server_error);
    }
}

std::shared_ptr<httpserver::http_response> CRestResource::Handle(const IHttpRequest& request) const
{
    const SRoute& route = FindRoute(request);
    CheckContentType(request);
    CheckSession(route, request);
    return route.handler(request);
}

const CRestResource::SRoute& CRestResource::FindRoute(const IHttpRequest& request) const
{
    const auto route = handlers.find(ToMethod(request.GetMethod()));
    if (route == handlers.end())
    {
        throw HttpStatusException<405>();
    }
    return route->second;
}

void CRestResource::CheckSession(const SRoute& route, const IHttpRequest& request) const
{
    if (route.authorizationRequired && authorization && !authorization->RefreshSession(GetSessionId(request)))
    {
        throw HttpStatusException<401>();
    }
}
