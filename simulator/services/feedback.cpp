#include "contracts/station.grpc.pb.h"
#include "simulator/services/endpoint.h"
#include "simulator/services/services.h"

namespace Simulator
{

std::unique_ptr<CEndpoint> MakeFeedback(const SServiceParts& parts)
{
    using Service = ipc::Feedback::AsyncService;
    CEndpointBuilder<Service> builder(parts.gate);
    // lamps and buzzer are not simulated: the call is on record
    builder.Call(Operations::SendEvent,
                 &Service::RequestSendEvent,
                 [](const ipc::MFbEventType&, ipc::MResult& result) { SetResult(result, true); });
    return builder.Build();
}

} // namespace Simulator
