#include "src/api/restserver.h"

#include "platform/log/log.h"

#include <exception>
#include <stdexcept>
#include <utility>

namespace
{

constexpr int MaxThreads = 5;

httpserver::create_webserver Settings(std::uint16_t port)
{
    return httpserver::create_webserver(port)
        .start_method(httpserver::http::http_utils::INTERNAL_SELECT)
        .max_threads(MaxThreads);
}

} // namespace

CRestServer::CRestServer(std::uint16_t port, std::shared_ptr<IAuthorization> authorization)
    : webserver(Settings(port))
    , authorization(std::move(authorization))
{
    LOG_ENTRY(CRestServer, "CRestServer");
}

CRestServer::~CRestServer()
{
    // the base does it as well, but only when the resources are gone
    stop();
}

void CRestServer::Start()
{
    LOG_ENTRY(CRestServer, "Start");
    if (is_running())
    {
        throw std::runtime_error("Webserver is already running");
    }
    try
    {
        start(false);
    }
    catch (const std::exception& exception)
    {
        // the library's is a logic_error, but a port in use is no mistake in the code
        throw std::runtime_error(exception.what());
    }
}

void CRestServer::AddRoute(EHttpMethod method,
                           const std::string& path,
                           CRestResource::Handler handler,
                           bool authorizationRequired)
{
    LOG_ENTRY(CRestServer, "AddRoute");
    FindOrCreateResource(path).SetHandler(method, std::move(handler), authorizationRequired);
}

CRestResource& CRestServer::FindOrCreateResource(const std::string& path)
{
    const auto known = resources.find(path);
    if (known != resources.end())
    {
        return *known->second;
    }
    auto resource = std::make_unique<CRestResource>(authorization);
    if (!register_resource(path, resource.get(), true))
    {
        throw std::invalid_argument("A path like this is registered already: " + path);
    }
    return *resources.emplace(path, std::move(resource)).first->second;
}
