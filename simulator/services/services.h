/// The station's services: which call of each does what to the model.
#pragma once

#include "contracts/station.pb.h"
#include "simulator/services/callgate.h"
#include "simulator/services/subscribers.h"
#include "simulator/station.h"

#include <memory>

namespace Simulator
{

class CEndpoint;

/// Who listens to which notification. Constant after construction; each guards itself.
struct SNotifications
{
    template <class Message>
    using Subscribers = std::shared_ptr<CSubscribers<Message>>;

    Subscribers<ipc::MFwUpdateStatus> firmwareUpdateStatus =
        std::make_shared<CSubscribers<ipc::MFwUpdateStatus>>();
    Subscribers<ipc::MSignalChange> signalChange = std::make_shared<CSubscribers<ipc::MSignalChange>>();
    Subscribers<ipc::MText> freezeFrameDone = std::make_shared<CSubscribers<ipc::MText>>();
    Subscribers<ipc::MNetStatus> networkStatus = std::make_shared<CSubscribers<ipc::MNetStatus>>();
    Subscribers<ipc::MText> tokenFound = std::make_shared<CSubscribers<ipc::MText>>();
    Subscribers<ipc::MConnectorState> connectorState = std::make_shared<CSubscribers<ipc::MConnectorState>>();
};

/// What a service works with; it outlives the service.
struct SServiceParts
{
    CCallGate& gate;
    const SStation& station;
    const SNotifications& notifications;
};

std::unique_ptr<CEndpoint> MakeBoardControl(const SServiceParts& parts);
std::unique_ptr<CEndpoint> MakeCurrentControl(const SServiceParts& parts);
std::unique_ptr<CEndpoint> MakeDiagnostics(const SServiceParts& parts);
std::unique_ptr<CEndpoint> MakeFeedback(const SServiceParts& parts);
std::unique_ptr<CEndpoint> MakeMeterService(const SServiceParts& parts);
std::unique_ptr<CEndpoint> MakeNetM(const SServiceParts& parts);
std::unique_ptr<CEndpoint> MakeRfid(const SServiceParts& parts);
std::unique_ptr<CEndpoint> MakeSessionManager(const SServiceParts& parts);

/// "Ok" or "Illegal".
inline void SetResult(ipc::MResult& result, bool isOk)
{
    result.set_status(isOk ? ipc::EResultOk : ipc::EResultIllegal);
}

} // namespace Simulator
