#include "contracts/station.grpc.pb.h"
#include "simulator/services/endpoint.h"
#include "simulator/services/services.h"

namespace Simulator
{

std::unique_ptr<CEndpoint> MakeSessionManager(const SServiceParts& parts)
{
    using Service = ipc::SessionManager::AsyncService;
    CEndpointBuilder<Service> builder(parts.gate);
    builder.Call(Operations::GetConnectorInfo,
                 &Service::RequestGetConnectorInfo,
                 [charging = parts.station.charging](const ipc::MVoid&, ipc::MConnectorInfo& info)
                 { info = charging->ConnectorInfo(); });
    builder.Stream(Operations::SubscribeConnectorState,
                   &Service::RequestSubscribeConnectorState,
                   parts.notifications.connectorState);
    return builder.Build();
}

} // namespace Simulator
