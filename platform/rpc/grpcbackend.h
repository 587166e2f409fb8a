#pragma once

#include "platform/rpc/client.h"
#include "platform/rpc/logger.h"

#include <memory>
#include <string>

namespace Rpc
{
class IOfferedService;
}

/// All inter-process traffic of a process, over gRPC: clients of other services, and services of its own.
///
/// Threads: construction, Connect, Offer and StartServices on one thread; RunServer and
/// HandleClientNotifications on one thread each; Stop, InterruptCalls and ResumeCalls from any.
class GrpcBackend
{
public:
    /// Where the transport logs. Before any GrpcBackend exists.
    static void SetLogger(std::shared_ptr<Rpc::ILogger> logger);

    /// @param configPath the root with "etc/iipc.json" appended
    /// @throws std::runtime_error if the file can't be read or is wrong
    explicit GrpcBackend(const std::string& configPath);
    ~GrpcBackend();
    GrpcBackend(const GrpcBackend&) = delete;
    GrpcBackend& operator=(const GrpcBackend&) = delete;
    GrpcBackend(GrpcBackend&&) = delete;
    GrpcBackend& operator=(GrpcBackend&&) = delete;

    /// Listens at the address of the configuration and offers what has been added.
    /// @throws std::runtime_error if the address can't be listened at
    void StartServices();

    /// Handles the calls of other processes until Stop.
    void RunServer();

    /// Delivers the notifications of the services until Stop. Notifications whose service goes away are asked
    /// for again, with back-off, for as long as this runs.
    void HandleClientNotifications();

    /// Ends both of the above. Calls of other processes that are under way are cancelled.
    void Stop();

    /// Lets the outgoing calls under way, and those that follow, fail until ResumeCalls.
    void InterruptCalls();
    void ResumeCalls();

protected:
    /// @throws std::runtime_error if the configuration does not know the service
    std::shared_ptr<Rpc::CConnection> Connect(const std::string& service);

    /// @throws std::logic_error if the service does not bear that name
    void Offer(const std::string& name, std::unique_ptr<Rpc::IOfferedService> service);

private:
    class CImplementation;

    /// Its threads leave the signals to the main thread.
    static std::unique_ptr<CImplementation> MakeImplementation(const std::string& configPath);

    const std::unique_ptr<CImplementation> implementation;
};
