#include "contracts/diagnostics/diagnosticsdata.h"

void AppendData(bool value, ipc::MDiagnosticsSignal& signal)
{
    signal.add_data()->set_bool_value(value);
}

void AppendData(int value, ipc::MDiagnosticsSignal& signal)
{
    signal.add_data()->set_int_value(value);
}

void AppendData(unsigned int value, ipc::MDiagnosticsSignal& signal)
{
    signal.add_data()->set_uint_value(value);
}

void AppendData(long long value, ipc::MDiagnosticsSignal& signal)
{
    signal.add_data()->set_int64_value(value);
}

void AppendData(float value, ipc::MDiagnosticsSignal& signal)
{
    signal.add_data()->set_float_value(value);
}

void AppendData(const std::string& value, ipc::MDiagnosticsSignal& signal)
{
    signal.add_data()->set_string_value(value);
}
