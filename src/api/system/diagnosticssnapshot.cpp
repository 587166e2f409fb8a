#include "src/api/system/diagnosticssnapshot.h"

#include "src/utils/statustexts.h"

#include "contracts/diagnostics.h"
#include "contracts/diagnostics/signalcatalogue.h"
#include "platform/log/log.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iomanip>
#include <ios>
#include <locale>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

using Data = ipc::MDiagnosticsData;

namespace
{

/// How a signal is shown; the unit is that of the value times the factor.
struct SRow
{
    int identifier;
    float factor;

    /// digits behind the point
    int precision;
    const char* unit;
};

constexpr std::array<SRow, 7> Rows{{{140, 1.0F, 2, "A"},
                                    {52, 0.001F, 1, "A"},
                                    {53, 0.001F, 1, "V"},
                                    {31, 1.0F, 1, "A"},
                                    {127, 1.0F, 0, "dBm"},
                                    {128, 1.0F, 0, "dBm"},
                                    {142, 1.0F, 0, ""}}};

/// How far a float may be from another that counts as equal.
constexpr float LargestDifference = 1.1920929e-07F;

/// A number as it is shown, whatever the process's locale.
std::string FormatNumber(float value, int precision)
{
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << std::fixed << std::setprecision(precision) << value;
    return stream.str();
}

std::string FormatSignalValue(const Data& value, int precision, float factor)
{
    switch (value.value_case())
    {
    case Data::kBoolValue:
        return value.bool_value() ? "true" : "false";
    case Data::kIntValue:
        return FormatNumber(static_cast<float>(value.int_value()) * factor, precision);
    case Data::kUintValue:
        return FormatNumber(static_cast<float>(value.uint_value()) * factor, precision);
    case Data::kInt64Value:
        return FormatNumber(static_cast<float>(value.int64_value()) * factor, precision);
    case Data::kFloatValue:
        return FormatNumber(value.float_value() * factor, precision);
    case Data::kStringValue:
        return SignalValueToHumanReadableString(value.string_value()).value_or(value.string_value());
    default:
        return "Signal value not found";
    }
}

/// A value of another kind than the initial one shows nothing that could be read: it counts as the initial
/// one.
bool WarnOfKind(const Data& value)
{
    if (value.value_case() == Data::VALUE_NOT_SET)
    {
        LOG_WARN("Diagnostics data type not found");
    }
    else
    {
        LOG_WARN("initial value type comparison invalid");
    }
    return true;
}

bool IsSameInitial(const Data& value, bool initial)
{
    return value.has_bool_value() ? value.bool_value() == initial : WarnOfKind(value);
}

bool IsSameInitial(const Data& value, int initial)
{
    return value.has_int_value() ? value.int_value() == initial : WarnOfKind(value);
}

bool IsSameInitial(const Data& value, unsigned int initial)
{
    return value.has_uint_value() ? value.uint_value() == initial : WarnOfKind(value);
}

bool IsSameInitial(const Data& value, long long initial)
{
    return value.has_int64_value() ? value.int64_value() == initial : WarnOfKind(value);
}

bool IsSameInitial(const Data& value, float initial)
{
    return value.has_float_value() ? std::fabs(value.float_value() - initial) < LargestDifference
                                   : WarnOfKind(value);
}

bool IsSameInitial(const Data& value, std::string_view initial)
{
    return value.has_string_value() ? value.string_value() == initial : WarnOfKind(value);
}

template <class T>
bool IsSignalDataEqualToInitial(const ipc::MDiagnosticsSignal& signal, const T& initial)
{
    return IsSameInitial(signal.data(0), initial);
}

template <class T>
bool IsSignalDataEqualToInitial(const ipc::MDiagnosticsSignal& signal, const CInitialList<T>& initial)
{
    if (static_cast<std::size_t>(signal.data_size()) != initial.Size())
    {
        LOG_WARN("Diagnostics Signal Vector is empty?");
        return false;
    }
    return std::equal(initial.begin(),
                      initial.end(),
                      signal.data().begin(),
                      [](const T& element, const Data& value) { return IsSameInitial(value, element); });
}

/// @param signal has at least one value
bool IsDefaultSignal(const ipc::MDiagnosticsSignal& signal)
{
    return std::visit([&signal](const auto& initial) { return IsSignalDataEqualToInitial(signal, initial); },
                      Signals::FindInitialValue(signal.identifier()));
}

Json::Value ConstructSignalJson(IDiagnostics& diagnostics, const SRow& row)
{
    LOG_ENTRY(CDiagnosticsSnapshot, "ConstructSignalJson");
    ipc::MSignalIdentifier identifier;
    identifier.set_identifier(static_cast<ipc::ESignalIdentifier>(row.identifier));
    const ipc::MDiagnosticsSignal signal = diagnostics.GetSignal(identifier);

    Json::Value json;
    json["Identifier"] = signal.identifier();
    if (signal.data().empty())
    {
        return json;
    }
    if (IsDefaultSignal(signal))
    {
        json["Value"].append("N/A");
        json["Unit"].append("");
        return json;
    }
    for (const Data& value : signal.data())
    {
        json["Value"].append(FormatSignalValue(value, row.precision, row.factor));
        json["Unit"].append(row.unit);
    }
    return json;
}

} // namespace

CDiagnosticsSnapshot::CDiagnosticsSnapshot(std::shared_ptr<IDiagnostics> diagnostics)
    : diagnostics(std::move(diagnostics))
{
    LOG_ENTRY(CDiagnosticsSnapshot, "CDiagnosticsSnapshot");
}

Json::Value CDiagnosticsSnapshot::ConstructDiagnosticsDataMessage()
{
    LOG_ENTRY(CDiagnosticsSnapshot, "ConstructDiagnosticsDataMessage");
    Json::Value message;
    for (const SRow& row : Rows)
    {
        message["Signals"].append(ConstructSignalJson(*diagnostics, row));
    }
    return message;
}
