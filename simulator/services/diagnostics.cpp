#include "contracts/station.grpc.pb.h"
#include "simulator/services/endpoint.h"
#include "simulator/services/services.h"

namespace Simulator
{

std::unique_ptr<CEndpoint> MakeDiagnostics(const SServiceParts& parts)
{
    using Service = ipc::Diagnostics::AsyncService;
    CEndpointBuilder<Service> builder(parts.gate);
    const auto diagnostics = parts.station.diagnostics;
    builder.Call(Operations::GetSignal,
                 &Service::RequestGetSignal,
                 [diagnostics](const ipc::MSignalIdentifier& request, ipc::MDiagnosticsSignal& signal)
                 { signal = diagnostics->GetSignal(request.identifier()); });
    builder.Call(Operations::GetSnapshot,
                 &Service::RequestGetSnapshot,
                 [diagnostics](const ipc::MVoid&, ipc::MDiagnosticsSnapshot& snapshot)
                 { snapshot = diagnostics->GetSnapshot(); });
    builder.Call(Operations::CreateFreezeFrame,
                 &Service::RequestCreateFreezeFrame,
                 [diagnostics](const ipc::MText& request, ipc::MResult& result)
                 {
                     diagnostics->CreateFreezeFrame(request.value());
                     SetResult(result, true);
                 });
    builder.Call(Operations::SendSignal,
                 &Service::RequestSendSignal,
                 [diagnostics](const ipc::MSignalReport& request, ipc::MResult& result)
                 {
                     diagnostics->SetSignal(request.signal());
                     SetResult(result, true);
                 });
    builder.Stream(Operations::SubscribeSignalChange,
                   &Service::RequestSubscribeSignalChange,
                   parts.notifications.signalChange);
    builder.Stream(Operations::SubscribeFreezeFrameDone,
                   &Service::RequestSubscribeFreezeFrameDone,
                   parts.notifications.freezeFrameDone);
    return builder.Build();
}

} // namespace Simulator
