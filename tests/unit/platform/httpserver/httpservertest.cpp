#include "tests/unit/platform/httpserver/httpservertest.h"

#include "tests/support/privatenetwork.h"

namespace
{

constexpr auto Patience = std::chrono::seconds(20);

const auto* const network = testing::AddGlobalTestEnvironment(new CPrivateNetwork);

} // namespace

CFunctionResource::CFunctionResource(RenderFunction function)
    : function(std::move(function))
{
}

RenderResult CFunctionResource::render(const httpserver::http_request& request)
{
    return function(request);
}

std::shared_ptr<httpserver::http_response> TextResponse(const std::string& text, int status)
{
    return std::make_shared<httpserver::string_response>(text, status);
}

void CHandlerGate::Pass()
{
    std::unique_lock lock(mutex);
    ++arrivals;
    changed.notify_all();
    changed.wait(lock, [this] { return departures < released; });
    ++departures;
}

bool CHandlerGate::WaitForArrivals(int count, std::chrono::milliseconds time)
{
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, time, [this, count] { return arrivals >= count; });
}

void CHandlerGate::Release(int count)
{
    const std::lock_guard lock(mutex);
    released += count;
    changed.notify_all();
}

void CHandlerGate::ReleaseAll()
{
    constexpr int plenty = 1000;
    Release(plenty);
}

void CDestructionCounter::Add()
{
    const std::lock_guard lock(mutex);
    ++count;
    changed.notify_all();
}

int CDestructionCounter::Count() const
{
    const std::lock_guard lock(mutex);
    return count;
}

bool CDestructionCounter::WaitFor(int expected)
{
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, Patience, [this, expected] { return count >= expected; });
}

CCountedResponse::CCountedResponse(CDestructionCounter& counter, const std::string& content)
    : string_response(content)
    , counter(counter)
{
}

CCountedResponse::~CCountedResponse()
{
    counter.Add();
}

HttpServer::~HttpServer()
{
    gate.ReleaseAll();
    server.stop();
}

bool HttpServer::Serve(const std::string& path, RenderFunction function, bool family)
{
    resources.emplace_back(std::move(function));
    return server.register_resource(path, &resources.back(), family);
}

SHttpResponse HttpServer::Ask(const std::string& method,
                              const std::string& target,
                              const HttpHeaders& headers,
                              const std::string& body)
{
    Start();
    return HttpRequest(port, method, target, headers, body);
}

void HttpServer::Start()
{
    if (!server.is_running())
    {
        server.start(false);
    }
}
