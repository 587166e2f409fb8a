#pragma once

#include "contracts/station.pb.h"

#include <string>
#include <vector>

/// Appends a value to the data of a signal, under the kind of its type.
void AppendData(bool value, ipc::MDiagnosticsSignal& signal);
void AppendData(int value, ipc::MDiagnosticsSignal& signal);
void AppendData(unsigned int value, ipc::MDiagnosticsSignal& signal);
void AppendData(long long value, ipc::MDiagnosticsSignal& signal);
void AppendData(float value, ipc::MDiagnosticsSignal& signal);
void AppendData(const std::string& value, ipc::MDiagnosticsSignal& signal);

/// Appends each element.
template <class T>
void AppendData(const std::vector<T>& values, ipc::MDiagnosticsSignal& signal)
{
    for (const T& value : values)
    {
        AppendData(value, signal);
    }
}
