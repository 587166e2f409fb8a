#include "contracts/diagnostics/diagnosticscommclient.h"

#include <chrono>
#include <memory>
#include <stdexcept>
#include <utility>

namespace
{

constexpr int CallSeconds = 1;
constexpr int ConnectSeconds = 1;

/// The way to the service; replaced while others may be sending.
std::shared_ptr<IDiagnosticsReport>& Slot()
{
    static std::shared_ptr<IDiagnosticsReport> report;
    return report;
}

void SetPresentTime(ipc::MTimestamp& timestamp)
{
    using std::chrono::microseconds;
    constexpr std::int64_t MicrosecondsPerSecond = 1000000;

    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    const std::int64_t total = std::chrono::duration_cast<microseconds>(sinceEpoch).count();
    timestamp.set_seconds(total / MicrosecondsPerSecond);
    timestamp.set_microseconds(static_cast<std::int32_t>(total % MicrosecondsPerSecond));
}

} // namespace

void CDiagnosticsCommClient::Initialize(AppCommunicationHost<GrpcBackend>& host)
{
    const auto client = host.CreateClient<IDiagnosticsReport>("Diagnostics");
    client->SetCallTimeLimit(CallSeconds);
    client->SetConnectTimeLimit(ConnectSeconds);
    Initialize(client->GetInterface());
}

void CDiagnosticsCommClient::Initialize(std::shared_ptr<IDiagnosticsReport> report)
{
    std::atomic_store(&Slot(), std::move(report));
}

void CDiagnosticsCommClient::Shutdown()
{
    Initialize(std::shared_ptr<IDiagnosticsReport>());
}

void CDiagnosticsCommClient::Send(const ipc::MDiagnosticsSignal& signal)
{
    const std::shared_ptr<IDiagnosticsReport> report = std::atomic_load(&Slot());
    if (!report)
    {
        throw std::logic_error("CDiagnosticsCommClient: not initialized");
    }
    ipc::MSignalReport message;
    *message.mutable_signal() = signal;
    SetPresentTime(*message.mutable_timestamp());
    report->SendSignal(message);
}
