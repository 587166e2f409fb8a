#include "src/websocket/broadcasters/diagnosticsstatuschanged.h"

#include "src/websocket/broadcasters/whilealive.h"

#include "platform/log/log.h"

#include <utility>

namespace
{

/// Identifiers of errors and warnings
constexpr int FirstError = 1000;
constexpr int LastError = 9999;
constexpr int LastWarning = 19999;

bool IsErrorOrWarning(int identifier)
{
    return identifier >= FirstError && identifier <= LastWarning;
}

} // namespace

struct CDiagnosticsStatusChangedBroadcaster::SCore
{
    void HandleDiagnosticsNotification(const ipc::MDiagnosticsSignal& signal,
                                       const ipc::MDiagnosticsNotificationType& type)
    {
        LOG_ENTRY(CDiagnosticsStatusChangedBroadcaster, "HandleDiagnosticsNotification");
        switch (type.type())
        {
        case 0:
        case 1:
            BroadcastSignal(signal);
            break;
        case 2:
            break;
        default:
            LOG_ERROR("Diagnostic notification type not as expected. Actual: {}.", type.type());
            break;
        }
    }

    void SendInitialErrorSet(const ITopic::Reply& reply)
    {
        LOG_ENTRY(CDiagnosticsStatusChangedBroadcaster, "SendInitialErrorSet");
        if (!reply)
        {
            LOG_DEBUG("OnSubscribe callback was not provided with a reply callback object.");
            return;
        }
        const ipc::MDiagnosticsSnapshot snapshot = diagnostics->GetSnapshot();
        for (const ipc::MDiagnosticsSignal& signal : snapshot.signal())
        {
            if (IsErrorOrWarning(signal.identifier()) && IsValidDiagnosticSignal(signal) &&
                signal.data(0).bool_value())
            {
                reply(ConstructMessageFromSignal(signal));
            }
        }
    }

    void BroadcastSignal(const ipc::MDiagnosticsSignal& signal)
    {
        LOG_ENTRY(CDiagnosticsStatusChangedBroadcaster, "BroadcastSignal");
        if (IsValidDiagnosticSignal(signal))
        {
            topic->Broadcast(ConstructMessageFromSignal(signal));
        }
    }

    static bool IsValidDiagnosticSignal(const ipc::MDiagnosticsSignal& signal)
    {
        LOG_ENTRY(CDiagnosticsStatusChangedBroadcaster, "IsValidDiagnosticSignal");
        if (signal.data_size() != 1)
        {
            LOG_WARN("Expected data size in diagnostic signal '{}' of 1. Actual: {}.",
                     static_cast<int>(signal.identifier()),
                     signal.data_size());
            return false;
        }
        if (signal.data(0).value_case() != ipc::MDiagnosticsData::kBoolValue)
        {
            LOG_WARN("Expected boolean data value in diagnostic signal '{}'. Actual: {}.",
                     static_cast<int>(signal.identifier()),
                     static_cast<int>(signal.data(0).value_case()));
            return false;
        }
        return true;
    }

    static Json::Value ConstructMessageFromSignal(const ipc::MDiagnosticsSignal& signal)
    {
        LOG_ENTRY(CDiagnosticsStatusChangedBroadcaster, "ConstructMessageFromSignal");
        Json::Value message;
        message["signal"] = static_cast<int>(signal.identifier());
        message["value"] = signal.data(0).bool_value();
        message["type"] = signal.identifier() <= LastError ? "error" : "warning";
        return message;
    }

    // Constant after construction
    const std::shared_ptr<ITopic> topic;
    const std::shared_ptr<IDiagnostics> diagnostics;
};

CDiagnosticsStatusChangedBroadcaster::CDiagnosticsStatusChangedBroadcaster(
    std::shared_ptr<ITopic> topic, std::shared_ptr<IDiagnostics> diagnostics)
    : core(std::make_shared<SCore>(SCore{std::move(topic), std::move(diagnostics)}))
{
    LOG_ENTRY(CDiagnosticsStatusChangedBroadcaster, "CDiagnosticsStatusChangedBroadcaster");
    ConnectService();
}

void CDiagnosticsStatusChangedBroadcaster::ConnectService()
{
    LOG_ENTRY(CDiagnosticsStatusChangedBroadcaster, "ConnectService");
    core->diagnostics->SignalChange = WhileAlive(core, &SCore::HandleDiagnosticsNotification);
    core->topic->OnSubscribe = WhileAlive(core, &SCore::SendInitialErrorSet);
}
