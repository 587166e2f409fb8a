#pragma once

#include "contracts/station.pb.h"
#include "platform/rpc/client.h"
#include "platform/rpc/interface.h"

/// The charge current, bounded by the least limit of all sources. Service "CurrentControl".
/// Threads: any; calls block. Every operation throws Rpc::CommunicationException if the service can't be
/// reached.
class ICurrentControl : public Rpc::CInterface
{
public:
    virtual ipc::MResult SetLimit(const ipc::MCurrentControlLimit& limit) = 0;

    /// @param limit names the source; its limit is left unset
    virtual ipc::MResult ClearLimit(const ipc::MCurrentControlLimit& limit) = 0;
};

template <>
std::shared_ptr<ICurrentControl>
Rpc::MakeClient<ICurrentControl>(const std::shared_ptr<CConnection>& connection);
