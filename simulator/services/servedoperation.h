#pragma once

#include "platform/rpc/eventloop.h"

#include <memory>

namespace Simulator
{

/// One operation of a service while its server runs.
/// Threads: that of the event loop.
class IServedOperation
{
public:
    IServedOperation() = default;
    IServedOperation(const IServedOperation&) = delete;
    IServedOperation& operator=(const IServedOperation&) = delete;
    IServedOperation(IServedOperation&&) = delete;
    IServedOperation& operator=(IServedOperation&&) = delete;
    virtual ~IServedOperation() = default;

    /// Takes calls from now on.
    virtual void Begin(const std::shared_ptr<Rpc::CEventLoop>& loop) = 0;

    /// Ends the calls under way and takes none any more.
    virtual void End() = 0;
};

} // namespace Simulator
