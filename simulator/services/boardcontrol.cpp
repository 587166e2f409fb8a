#include "contracts/station.grpc.pb.h"
#include "simulator/services/endpoint.h"
#include "simulator/services/services.h"

namespace Simulator
{

std::unique_ptr<CEndpoint> MakeBoardControl(const SServiceParts& parts)
{
    using Service = ipc::BoardControl::AsyncService;
    CEndpointBuilder<Service> builder(parts.gate);
    // the simulated board stays up: the call is on record, and 0 and 1 are the types that there are
    builder.Call(Operations::Reboot,
                 &Service::RequestReboot,
                 [](const ipc::MRebootType& request, ipc::MResult& result)
                 { SetResult(result, request.type() == 0 || request.type() == 1); });
    builder.Call(Operations::RequestFirmwareUpdate,
                 &Service::RequestRequestFirmwareUpdate,
                 [firmware = parts.station.firmware](const ipc::MText&, ipc::MResult& result)
                 { SetResult(result, firmware->Request()); });
    builder.Stream(Operations::SubscribeFirmwareUpdateStatus,
                   &Service::RequestSubscribeFirmwareUpdateStatus,
                   parts.notifications.firmwareUpdateStatus);
    return builder.Build();
}

} // namespace Simulator
