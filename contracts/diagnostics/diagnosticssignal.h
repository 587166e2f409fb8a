#pragma once

#include "contracts/diagnostics/diagnosticscommclient.h"
#include "contracts/diagnostics/diagnosticsdata.h"
#include "contracts/diagnostics/signaldefinition.h"
#include "contracts/station.pb.h"

#include <utility>

/// A value of one signal on its way to the Diagnostics service. Starts with the signal's initial value.
/// Threads: one at a time for one object; objects are cheap, so make one for each use.
template <class T>
class CDiagnosticsSignal
{
public:
    explicit CDiagnosticsSignal(const CSignalDefinition<T>* definition)
        : definition(definition)
        , value(definition->InitialValue())
    {
    }

    void SetValue(T newValue) { value = std::move(newValue); }

    /// Sends the value with the present time of the system clock, and waits for the service.
    /// @throws Rpc::CommunicationException if the service can't be reached
    /// @throws std::logic_error before CDiagnosticsCommClient::Initialize
    void Send() const
    {
        ipc::MDiagnosticsSignal signal;
        signal.set_identifier(definition->Identifier());
        AppendData(value, signal);
        CDiagnosticsCommClient::Send(signal);
    }

    /// Sets the value and sends it.
    void Send(T newValue)
    {
        SetValue(std::move(newValue));
        Send();
    }

private:
    const CSignalDefinition<T>* definition;
    T value;
};
