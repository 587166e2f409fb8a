#include "simulator/messagejson.h"
#include "simulator/steering/jsonreader.h"
#include "simulator/steering/routes.h"
#include "simulator/steering/steeringerror.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace Simulator
{

namespace
{

/// Floats that JSON has no numbers for.
struct SSpecialFloat
{
    std::string_view text;
    float number;
};

constexpr std::array SpecialFloats{SSpecialFloat{"NaN", std::numeric_limits<float>::quiet_NaN()},
                                   SSpecialFloat{"Infinity", std::numeric_limits<float>::infinity()},
                                   SSpecialFloat{"-Infinity", -std::numeric_limits<float>::infinity()}};

/// @return null if the value is no text of one
const SSpecialFloat* FindSpecialFloat(const Json::Value& value)
{
    const auto* const row =
        std::find_if(SpecialFloats.begin(),
                     SpecialFloats.end(),
                     [&value](const SSpecialFloat& each) { return value == Json::Value(each.text.data()); });
    return row == SpecialFloats.end() ? nullptr : row;
}

/// How a JSON value becomes a value of a signal: a kind's name, which values fit, and what sets it.
struct SKind
{
    std::string_view name;
    bool (*fits)(const Json::Value&);
    void (*set)(const Json::Value&, ipc::MDiagnosticsData&);
};

constexpr std::array Kinds{
    SKind{"bool",
          [](const Json::Value& value) { return value.isBool(); },
          [](const Json::Value& value, ipc::MDiagnosticsData& data) { data.set_bool_value(value.asBool()); }},
    SKind{"int",
          [](const Json::Value& value) { return value.isInt(); },
          [](const Json::Value& value, ipc::MDiagnosticsData& data) { data.set_int_value(value.asInt()); }},
    SKind{"uint",
          [](const Json::Value& value) { return value.isUInt(); },
          [](const Json::Value& value, ipc::MDiagnosticsData& data) { data.set_uint_value(value.asUInt()); }},
    SKind{"int64",
          [](const Json::Value& value) { return value.isInt64(); },
          [](const Json::Value& value, ipc::MDiagnosticsData& data)
          { data.set_int64_value(value.asInt64()); }},
    SKind{"string",
          [](const Json::Value& value) { return value.isString(); },
          [](const Json::Value& value, ipc::MDiagnosticsData& data)
          { data.set_string_value(value.asString()); }},
    SKind{"float",
          [](const Json::Value& value) { return value.isNumeric() || FindSpecialFloat(value) != nullptr; },
          [](const Json::Value& value, ipc::MDiagnosticsData& data)
          {
              const auto* const special = FindSpecialFloat(value);
              data.set_float_value(special != nullptr ? special->number : value.asFloat());
          }}};

/// The kind of a value that comes without one: the first of the table that fits.
const SKind& KindFor(const std::optional<std::string>& name, const Json::Value& value)
{
    const auto* const kind =
        std::find_if(Kinds.begin(),
                     Kinds.end(),
                     [&](const SKind& row) { return name ? row.name == *name : row.fits(value); });
    if (kind == Kinds.end())
    {
        throw CBadRequest(name ? "Kind is none of bool, int, uint, int64, float, string"
                               : "Value is of no kind that a signal has");
    }
    if (!kind->fits(value))
    {
        throw CBadRequest("Value is not of the kind " + *name);
    }
    return *kind;
}

Json::Value PostSignal(const SStation& station, const SSteeringRequest& request)
{
    CJsonReader reader(request.body);
    const auto identifier = static_cast<int>(reader.Integer("Identifier", INT32_MIN, INT32_MAX));
    if (reader.IsNull("Value"))
    {
        reader.RefuseOthers();
        station.diagnostics->ClearSignal(identifier);
        return ToJson(station.diagnostics->GetSignal(identifier));
    }
    const Json::Value& given = reader.Any("Value");
    Json::Value values(Json::arrayValue);
    given.isArray() ? values = given : values.append(given);
    const auto kind = reader.OptionalText("Kind");
    const auto type = reader.OptionalInteger("Type", INT32_MIN, INT32_MAX);
    reader.RefuseOthers();

    ipc::MDiagnosticsSignal signal = EmptySignal(identifier);
    for (const Json::Value& value : values)
    {
        KindFor(kind, value).set(value, *signal.add_data());
    }
    station.diagnostics->SetSignal(signal, type ? std::optional(static_cast<int>(*type)) : std::nullopt);
    return ToJson(signal);
}

Json::Value GetSignals(const SStation& station, const SSteeringRequest& request)
{
    if (QueryText(request, "identifier").empty())
    {
        return ToJson(station.diagnostics->GetSnapshot());
    }
    const double identifier = QueryNumber(request, "identifier", 0, INT32_MAX);
    return ToJson(station.diagnostics->GetSignal(static_cast<int>(identifier)));
}

Json::Value PostFreezeFrame(const SStation& station, const SSteeringRequest& request)
{
    CJsonReader reader(request.body);
    Json::Value answer;
    answer["Name"] = reader.Text("Name");
    reader.RefuseOthers();
    station.diagnostics->AnnounceFreezeFrame(answer["Name"].asString());
    return answer;
}

} // namespace

void AddSignalRoutes(CSteering& steering, const SStation& station)
{
    steering.Add("/signal", "GET", [&station](const auto& request) { return GetSignals(station, request); });
    steering.Add("/signal", "POST", [&station](const auto& request) { return PostSignal(station, request); });
    steering.Add("/freezeframe",
                 "POST",
                 [&station](const auto& request) { return PostFreezeFrame(station, request); });
}

} // namespace Simulator
