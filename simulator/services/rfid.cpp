#include "contracts/station.grpc.pb.h"
#include "simulator/services/endpoint.h"
#include "simulator/services/services.h"

namespace Simulator
{

std::unique_ptr<CEndpoint> MakeRfid(const SServiceParts& parts)
{
    using Service = ipc::Rfid::AsyncService;
    CEndpointBuilder<Service> builder(parts.gate);
    builder.Call(Operations::SetTokenReport,
                 &Service::RequestSetTokenReport,
                 [rfid = parts.station.rfid](const ipc::MBool& request, ipc::MResult& result)
                 {
                     rfid->SetReport(request.value());
                     SetResult(result, true);
                 });
    builder.Stream(Operations::SubscribeTokenFound,
                   &Service::RequestSubscribeTokenFound,
                   parts.notifications.tokenFound);
    return builder.Build();
}

} // namespace Simulator
