#pragma once

#include <string>

namespace grpc
{
class ServerCompletionQueue;
class Service;
} // namespace grpc

namespace Rpc
{

class CEventLoop;
class CTaskQueue;

/// What a service's calls run on: the transport's event loop with its queue, and the thread that handles
/// calls.
struct SServerSide
{
    CEventLoop& loop;
    grpc::ServerCompletionQueue& queue;
    CTaskQueue& handlers;
};

/// A service that this process offers. Threads: Begin on the one that starts the services, End on the event
/// loop.
class IOfferedService
{
public:
    IOfferedService() = default;
    IOfferedService(const IOfferedService&) = delete;
    IOfferedService& operator=(const IOfferedService&) = delete;
    IOfferedService(IOfferedService&&) = delete;
    IOfferedService& operator=(IOfferedService&&) = delete;
    virtual ~IOfferedService() = default;

    /// The name under which others know the service.
    virtual std::string Name() const = 0;

    virtual grpc::Service& Service() = 0;

    /// Takes calls from now on.
    virtual void Begin(SServerSide side) = 0;

    /// Begins no operation any more.
    virtual void End() = 0;
};

} // namespace Rpc
