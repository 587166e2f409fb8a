#include "contracts/station.grpc.pb.h"
#include "simulator/services/endpoint.h"
#include "simulator/services/services.h"

namespace Simulator
{

std::unique_ptr<CEndpoint> MakeNetM(const SServiceParts& parts)
{
    using Service = ipc::NetM::AsyncService;
    CEndpointBuilder<Service> builder(parts.gate);
    builder.Call(Operations::ScanWlan,
                 &Service::RequestScanWlan,
                 [network = parts.station.network](const ipc::MVoid&, ipc::MScanWlanResult& result)
                 { *result.mutable_scan() = network->Scan(); });
    builder.Call(Operations::ValidateConfig,
                 &Service::RequestValidateConfig,
                 [station = parts.station](const ipc::MVoid&, ipc::MBool& isAccepted)
                 { isAccepted.set_value(ApplyNetworkConfig(station)); });
    builder.Stream(Operations::SubscribeNetworkStatus,
                   &Service::RequestSubscribeNetworkStatus,
                   parts.notifications.networkStatus);
    return builder.Build();
}

} // namespace Simulator
