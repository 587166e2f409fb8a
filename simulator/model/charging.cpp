#include "simulator/model/charging.h"

#include "simulator/messagejson.h"
#include "simulator/model/signals.h"

#include <algorithm>
#include <string>
#include <utility>

namespace Simulator
{

namespace
{

/// volts of each phase
constexpr std::int64_t Voltage = 230;
/// milliamperes
constexpr std::uint32_t HardwareLimit = 32000;
/// watts of each phase: 16 amperes
constexpr std::int32_t DefaultDemand = 3680;

std::int32_t Milliamperes(std::int32_t watts)
{
    return static_cast<std::int32_t>(std::int64_t{watts} * 1000 / Voltage);
}

} // namespace

CCharging::CCharging(TimeSource now, Output connectorState)
    : now(std::move(now))
    , connectorState(std::move(connectorState))
    , meter(this->now())
    , limits(HardwareLimit)
    , demand(3, DefaultDemand)
{
    meter.SetPower(PresentPower(), this->now());
}

void CCharging::SetConnector(const CConnector::SUpdate& update)
{
    ipc::MConnectorState report;
    {
        const std::lock_guard lock(mutex);
        connector.Update(update);
        report.set_state(connector.Info().connector_state());
        if (!connector.Info().has_session())
        {
            meter.EndSession();
        }
        else if (!meter.HasSession())
        {
            meter.BeginSession(connector.Info().session().session_id(), now());
        }
        UpdatePower();
    }
    connectorState(report);
}

ipc::MConnectorInfo CCharging::ConnectorInfo() const
{
    const std::lock_guard lock(mutex);
    return connector.Info();
}

bool CCharging::IsCharging() const
{
    const std::lock_guard lock(mutex);
    return connector.IsCharging();
}

void CCharging::SetDemand(std::vector<std::int32_t> watts)
{
    const std::lock_guard lock(mutex);
    demand = std::move(watts);
    UpdatePower();
}

void CCharging::SetTotalEnergy(std::int64_t wattHours)
{
    const std::lock_guard lock(mutex);
    meter.SetTotalEnergy(wattHours, now());
}

ipc::MMeterData CCharging::MeterData()
{
    const std::lock_guard lock(mutex);
    return meter.Read(now());
}

void CCharging::SetTimeFactor(std::int32_t factor)
{
    const std::lock_guard lock(mutex);
    meter.SetTimeFactor(factor, now());
}

std::int32_t CCharging::TimeFactor() const
{
    const std::lock_guard lock(mutex);
    return meter.TimeFactor();
}

void CCharging::SkipTime(std::chrono::seconds duration)
{
    const std::lock_guard lock(mutex);
    meter.SkipTime(duration, now());
}

bool CCharging::SetLimit(int source, std::uint32_t milliamperes)
{
    const std::lock_guard lock(mutex);
    const bool isSet = limits.Set(source, milliamperes);
    UpdatePower();
    return isSet;
}

bool CCharging::ClearLimit(int source)
{
    const std::lock_guard lock(mutex);
    const bool isCleared = limits.Clear(source);
    UpdatePower();
    return isCleared;
}

std::vector<ipc::MDiagnosticsSignal> CCharging::Signals()
{
    const std::lock_guard lock(mutex);
    const ipc::MMeterData data = meter.Read(now());
    const CCurrentLimits::SLimit least = limits.Least();

    ipc::MDiagnosticsSignal current = EmptySignal(SignalNumbers::MeterCurrent);
    ipc::MDiagnosticsSignal voltage = EmptySignal(SignalNumbers::MeterVoltage);
    ipc::MDiagnosticsSignal power = EmptySignal(SignalNumbers::MeterPower);
    for (const std::int32_t watts : data.power())
    {
        current.add_data()->set_int_value(Milliamperes(watts));
        voltage.add_data()->set_int_value(Voltage * 1000);
        power.add_data()->set_int_value(watts);
    }

    ipc::MDiagnosticsSignal setpoint = EmptySignal(SignalNumbers::CurrentSetpoint);
    setpoint.add_data()->set_float_value(
        connector.IsCharging() ? static_cast<float>(least.milliamperes) / 1000 : 0);
    ipc::MDiagnosticsSignal lifetime = EmptySignal(SignalNumbers::LifetimeEnergy);
    lifetime.add_data()->set_int64_value(data.total_energy());
    ipc::MDiagnosticsSignal source = EmptySignal(SignalNumbers::LimitingSource);
    source.add_data()->set_string_value(
        ipc::ECurrentControlSource_Name(static_cast<ipc::ECurrentControlSource>(least.source)));
    return {setpoint, lifetime, current, voltage, power, source};
}

Json::Value CCharging::ToJson()
{
    const std::lock_guard lock(mutex);
    Json::Value json;
    json["Connector"] = Simulator::ToJson(connector.Info());
    json["Meter"] = Simulator::ToJson(meter.Read(now()));
    json["Limits"] = Json::Value(Json::objectValue);
    for (const auto& [source, milliamperes] : limits.All())
    {
        json["Limits"][ipc::ECurrentControlSource_Name(static_cast<ipc::ECurrentControlSource>(source))] =
            milliamperes;
    }
    return json;
}

void CCharging::UpdatePower()
{
    meter.SetPower(PresentPower(), now());
}

std::vector<std::int32_t> CCharging::PresentPower() const
{
    if (!connector.IsCharging())
    {
        return std::vector<std::int32_t>(demand.size(), 0);
    }
    const std::int64_t bound = limits.Least().milliamperes * Voltage / 1000;
    std::vector<std::int32_t> power;
    std::transform(demand.begin(),
                   demand.end(),
                   std::back_inserter(power),
                   [bound](std::int32_t watts)
                   { return static_cast<std::int32_t>(std::min<std::int64_t>(watts, bound)); });
    return power;
}

} // namespace Simulator
