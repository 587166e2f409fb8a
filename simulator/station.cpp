#include "simulator/station.h"

#include "simulator/messagejson.h"

#include <string>

namespace Simulator
{

bool ApplyNetworkConfig(const SStation& station)
{
    const auto config = station.files->ReadNetworkConfig();
    return config && station.network->Apply(*config);
}

Json::Value ToJson(const SStation& station)
{
    Json::Value json = station.charging->ToJson();
    const Json::Value network = station.network->ToJson();
    for (const std::string& key : network.getMemberNames())
    {
        json[key] = network[key];
    }
    json["TokenReport"] = station.rfid->IsReporting();
    json["Firmware"] = station.firmware->ToJson();
    json["Signals"] = ToJson(station.diagnostics->GetKnownSignals());
    return json;
}

} // namespace Simulator
