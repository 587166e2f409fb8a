#include "platform/httpserver/httpresource.h"

#include "platform/httpserver/httpresponse.h"
#include "platform/httpserver/methods.h"

#include <algorithm>

namespace httpserver
{

namespace Detail
{

const std::array<SMethod, MethodCount> Methods = {{
    {"GET", &http_resource::render_GET, false},
    {"POST", &http_resource::render_POST, true},
    {"PUT", &http_resource::render_PUT, true},
    {"HEAD", &http_resource::render_HEAD, false},
    {"DELETE", &http_resource::render_DELETE, true},
    {"TRACE", &http_resource::render_TRACE, false},
    {"OPTIONS", &http_resource::render_OPTIONS, false},
    {"PATCH", &http_resource::render_PATCH, true},
    {"CONNECT", &http_resource::render_CONNECT, false},
}};

const SMethod* FindMethod(std::string_view name)
{
    const auto* const method = std::find_if(
        Methods.begin(), Methods.end(), [name](const SMethod& each) { return each.name == name; });
    return method != Methods.end() ? method : nullptr;
}

} // namespace Detail

http_resource::http_resource()
{
    static_assert(MethodCount == Detail::MethodCount);
    allow_all();
}

std::shared_ptr<http_response> http_resource::render(const http_request& /*request*/)
{
    return std::make_shared<http_response>();
}

std::shared_ptr<http_response> http_resource::render_GET(const http_request& request)
{
    return render(request);
}

std::shared_ptr<http_response> http_resource::render_POST(const http_request& request)
{
    return render(request);
}

std::shared_ptr<http_response> http_resource::render_PUT(const http_request& request)
{
    return render(request);
}

std::shared_ptr<http_response> http_resource::render_HEAD(const http_request& request)
{
    return render(request);
}

std::shared_ptr<http_response> http_resource::render_DELETE(const http_request& request)
{
    return render(request);
}

std::shared_ptr<http_response> http_resource::render_TRACE(const http_request& request)
{
    return render(request);
}

std::shared_ptr<http_response> http_resource::render_OPTIONS(const http_request& request)
{
    return render(request);
}

std::shared_ptr<http_response> http_resource::render_PATCH(const http_request& request)
{
    return render(request);
}

std::shared_ptr<http_response> http_resource::render_CONNECT(const http_request& request)
{
    return render(request);
}

void http_resource::set_allowing(const std::string& method, bool allowed)
{
    if (const Detail::SMethod* known = Detail::FindMethod(method))
    {
        allowedMethods.set(static_cast<std::size_t>(known - Detail::Methods.data()), allowed);
    }
}

void http_resource::allow_all()
{
    allowedMethods.set();
}

void http_resource::disallow_all()
{
    allowedMethods.reset();
}

bool http_resource::is_allowed(const std::string& method) const
{
    const Detail::SMethod* known = Detail::FindMethod(method);
    return known != nullptr && allowedMethods.test(static_cast<std::size_t>(known - Detail::Methods.data()));
}

} // namespace httpserver
