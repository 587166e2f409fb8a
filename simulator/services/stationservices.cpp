#include "simulator/services/stationservices.h"

#include <array>
#include <string>
#include <utility>

namespace Simulator
{

namespace
{

struct SServiceRow
{
    std::string_view name;
    std::unique_ptr<CEndpoint> (*make)(const SServiceParts&);
};

constexpr std::array Services{SServiceRow{"BoardControl", MakeBoardControl},
                              SServiceRow{"CurrentControl", MakeCurrentControl},
                              SServiceRow{"Diagnostics", MakeDiagnostics},
                              SServiceRow{"Feedback", MakeFeedback},
                              SServiceRow{"MeterService", MakeMeterService},
                              SServiceRow{"NetM", MakeNetM},
                              SServiceRow{"Rfid", MakeRfid},
                              SServiceRow{"SessionManager", MakeSessionManager}};

const char* NameOf(EServiceState state)
{
    switch (state)
    {
    case EServiceState::Up:
        return "up";
    case EServiceState::Hung:
        return "hung";
    default:
        return "down";
    }
}

} // namespace

CStationServices::CStationServices(const Rpc::STransportConfig& config, const SServiceParts& parts)
{
    for (const SServiceRow& row : Services)
    {
        hosts[row.name] = std::make_unique<CServiceHost>(
            row.name,
            config.AddressOf(std::string(row.name)),
            [make = row.make, parts] { return make(parts); },
            parts.gate);
    }
}

void CStationServices::Start()
{
    for (const auto& [name, host] : hosts)
    {
        host->SetState(EServiceState::Up);
    }
}

void CStationServices::Stop()
{
    for (const auto& [name, host] : hosts)
    {
        host->SetState(EServiceState::Down);
    }
}

void CStationServices::SetState(std::string_view name, EServiceState state)
{
    hosts.at(name)->SetState(state);
}

Json::Value CStationServices::ToJson() const
{
    Json::Value json;
    for (const auto& [name, host] : hosts)
    {
        json[std::string(name)] = NameOf(host->State());
    }
    return json;
}

} // namespace Simulator
