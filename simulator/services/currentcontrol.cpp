#include "contracts/station.grpc.pb.h"
#include "simulator/services/endpoint.h"
#include "simulator/services/services.h"

namespace Simulator
{

std::unique_ptr<CEndpoint> MakeCurrentControl(const SServiceParts& parts)
{
    using Service = ipc::CurrentControl::AsyncService;
    CEndpointBuilder<Service> builder(parts.gate);
    const auto charging = parts.station.charging;
    builder.Call(
        Operations::SetLimit,
        &Service::RequestSetLimit,
        [charging](const ipc::MCurrentControlLimit& request, ipc::MResult& result)
        { SetResult(result, request.has_limit() && charging->SetLimit(request.source(), request.limit())); });
    builder.Call(Operations::ClearLimit,
                 &Service::RequestClearLimit,
                 [charging](const ipc::MCurrentControlLimit& request, ipc::MResult& result)
                 { SetResult(result, charging->ClearLimit(request.source())); });
    return builder.Build();
}

} // namespace Simulator
