#include "simulator/services/servicehost.h"

#include "platform/log/log.h"

#include <grpcpp/security/server_credentials.h>
#include <grpcpp/server_builder.h>

#include <chrono>
#include <stdexcept>
#include <utility>

namespace Simulator
{

CServiceHost::CServiceHost(std::string_view name, std::string address, MakeEndpoint make, CCallGate& gate)
    : name(name)
    , address(std::move(address))
    , make(std::move(make))
    , gate(gate)
{
}

CServiceHost::~CServiceHost()
{
    const std::lock_guard lock(switchMutex);
    Shutdown();
}

void CServiceHost::SetState(EServiceState newState)
{
    const std::lock_guard lock(switchMutex);
    if (newState == EServiceState::Down)
    {
        Shutdown();
    }
    else
    {
        gate.SetHung(name, newState == EServiceState::Hung);
        if (!server)
        {
            Start();
        }
    }
    state = newState;
}

EServiceState CServiceHost::State() const
{
    const std::lock_guard lock(switchMutex);
    return state;
}

void CServiceHost::Start()
{
    grpc::ServerBuilder builder;
    // as the controller does
    builder.AddChannelArgument(GRPC_ARG_HTTP2_BDP_PROBE, 0);
    builder.AddChannelArgument(GRPC_ARG_ALLOW_REUSEPORT, 0);
    builder.AddListeningPort(address, grpc::InsecureServerCredentials());
    // an endpoint serves one server only, so each start makes a new one
    loop = std::make_shared<Rpc::CEventLoop>(builder.AddCompletionQueue());
    endpoint = make();
    builder.RegisterService(&endpoint->Service());
    server = builder.BuildAndStart();
    if (!server)
    {
        endpoint.reset();
        loop.reset();
        throw std::runtime_error(std::string(name) + " can't listen on " + address);
    }
    loop->Start();
    loop->Post([this] { endpoint->Begin(loop); });
    LOG_INFO("{} listens on {}", name, address);
}

void CServiceHost::Shutdown()
{
    if (!server)
    {
        return;
    }
    // calls that hang are ended first: the server waits for all of them
    loop->Post([this] { endpoint->End(); });
    server->Shutdown(std::chrono::system_clock::now());
    loop->Close([] {});
    loop->Join();
    endpoint.reset();
    server.reset();
    loop.reset();
    gate.Forget(name);
    LOG_INFO("{} is down", name);
}

} // namespace Simulator
