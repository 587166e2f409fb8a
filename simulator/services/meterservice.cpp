#include "contracts/station.grpc.pb.h"
#include "simulator/services/endpoint.h"
#include "simulator/services/services.h"

namespace Simulator
{

std::unique_ptr<CEndpoint> MakeMeterService(const SServiceParts& parts)
{
    using Service = ipc::MeterService::AsyncService;
    CEndpointBuilder<Service> builder(parts.gate);
    builder.Call(Operations::GetMeterData,
                 &Service::RequestGetMeterData,
                 [charging = parts.station.charging](const ipc::MVoid&, ipc::MMeterData& data)
                 { data = charging->MeterData(); });
    return builder.Build();
}

} // namespace Simulator
