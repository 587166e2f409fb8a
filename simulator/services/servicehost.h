#pragma once

#include "platform/rpc/eventloop.h"
#include "simulator/services/callgate.h"
#include "simulator/services/endpoint.h"

#include <grpcpp/server.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace Simulator
{

enum class EServiceState
{
    Down,
    Up,
    /// takes connections and calls, but answers nothing
    Hung
};

/// One service on its socket, which can go down, come back and hang while the others run.
/// Threads: any; those who change the state wait for each other.
class CServiceHost
{
public:
    using MakeEndpoint = std::function<std::unique_ptr<CEndpoint>()>;

    /// @param name     one of the table of operations
    /// @param address  as gRPC takes it
    CServiceHost(std::string_view name, std::string address, MakeEndpoint make, CCallGate& gate);

    /// Takes the service down.
    ~CServiceHost();
    CServiceHost(const CServiceHost&) = delete;
    CServiceHost& operator=(const CServiceHost&) = delete;
    CServiceHost(CServiceHost&&) = delete;
    CServiceHost& operator=(CServiceHost&&) = delete;

    /// Going down ends all calls and streams at once.
    /// @throws std::runtime_error if the address can't be listened on
    void SetState(EServiceState newState);
    EServiceState State() const;

private:
    void Start();
    void Shutdown();

    // Constant after construction
    const std::string_view name;
    const std::string address;
    const MakeEndpoint make;
    CCallGate& gate;

    // held while the server starts and ends, so that a second change waits for the first
    mutable std::mutex switchMutex;

    // Guarded by switchMutex
    EServiceState state = EServiceState::Down;
    std::shared_ptr<Rpc::CEventLoop> loop;
    std::unique_ptr<CEndpoint> endpoint;
    std::unique_ptr<grpc::Server> server;
};

} // namespace Simulator
