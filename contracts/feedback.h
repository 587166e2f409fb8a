#pragma once

#include "contracts/station.pb.h"
#include "platform/rpc/client.h"
#include "platform/rpc/interface.h"

/// What the station shows its user: lights, sounds. Service "Feedback".
/// Threads: any; calls block.
class IFeedback : public Rpc::CInterface
{
public:
    /// @throws Rpc::CommunicationException if the service can't be reached
    virtual ipc::MResult SendEvent(const ipc::MFbEventType& event) = 0;
};

template <>
std::shared_ptr<IFeedback> Rpc::MakeClient<IFeedback>(const std::shared_ptr<CConnection>& connection);
