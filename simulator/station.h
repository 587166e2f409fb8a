#pragma once

#include "simulator/model/charging.h"
#include "simulator/model/diagnostics.h"
#include "simulator/model/firmware.h"
#include "simulator/model/network.h"
#include "simulator/model/rfidreader.h"
#include "simulator/stationfiles.h"

#include <json/value.h>

#include <memory>

namespace Simulator
{

/// The model of the station: what its services act on and what they tell.
/// Constant after construction; each part guards itself.
struct SStation
{
    std::shared_ptr<const CStationFiles> files;
    std::shared_ptr<CCharging> charging;
    std::shared_ptr<CNetwork> network;
    std::shared_ptr<CRfidReader> rfid;
    std::shared_ptr<CFirmware> firmware;
    std::shared_ptr<CDiagnostics> diagnostics;
};

/// Puts the network configuration into force as the files have it.
/// @return false if it was refused
bool ApplyNetworkConfig(const SStation& station);

/// {"Connector", "Meter", "Limits", "Interfaces", "Wlans", "TokenReport", "Firmware", "Signals"}
Json::Value ToJson(const SStation& station);

} // namespace Simulator
