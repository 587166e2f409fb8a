#pragma once

#include "platform/rpc/transportconfig.h"
#include "simulator/services/servicehost.h"
#include "simulator/services/services.h"

#include <json/value.h>

#include <map>
#include <memory>
#include <string_view>

namespace Simulator
{

/// The eight services of the station, each on the address that the transport configuration gives it.
/// Threads: any.
class CStationServices
{
public:
    /// @param parts outlive this object
    /// @throws std::runtime_error if the configuration lacks one of the services
    CStationServices(const Rpc::STransportConfig& config, const SServiceParts& parts);

    /// @throws std::runtime_error if one of the addresses can't be listened on
    void Start();
    void Stop();

    /// @param name one of the table of operations
    /// @throws std::runtime_error if the address can't be listened on
    void SetState(std::string_view name, EServiceState state);

    /// {NAME: "up", "down" or "hung", ...}
    Json::Value ToJson() const;

private:
    // Constant after construction
    std::map<std::string_view, std::unique_ptr<CServiceHost>> hosts;
};

} // namespace Simulator
