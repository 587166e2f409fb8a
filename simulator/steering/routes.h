#pragma once

#include "simulator/callrecorder.h"
#include "simulator/controller/controller.h"
#include "simulator/downloads/downloads.h"
#include "simulator/faulttable.h"
#include "simulator/services/stationservices.h"
#include "simulator/station.h"
#include "simulator/steering/steering.h"

namespace Simulator
{

// Each function adds the requests on one subject; what it is given outlives the steering.
// docs/simulator.md describes each request.

/// /connector, /meter, /limit, /rfid, /firmware, /station
void AddStationRoutes(CSteering& steering, const SStation& station);

/// /network, /wlan
void AddNetworkRoutes(CSteering& steering, const SStation& station);

/// /signal, /freezeframe
void AddSignalRoutes(CSteering& steering, const SStation& station);

/// /fault, /service
void AddFaultRoutes(CSteering& steering, CFaultTable& faults, CStationServices& services);

/// /download
void AddDownloadRoutes(CSteering& steering, CDownloads& downloads);

/// /calls
void AddCallRoutes(CSteering& steering, CCallRecorder& recorder);

/// /controller
void AddControllerRoutes(CSteering& steering, CController& controller);

} // namespace Simulator
