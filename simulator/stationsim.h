/// The simulated station: what stands around the web back end on a charging station, for development and
/// tests.
///
/// model/ is the station itself, apart from any transport; services/ offers it to other processes;
/// controller/ brings the process under development into service; steering/ is how people and tests change it
/// at run time.
#pragma once

#include "platform/worker/worker.h"
#include "simulator/callrecorder.h"
#include "simulator/controller/controller.h"
#include "simulator/downloads/downloads.h"
#include "simulator/downloads/downloadserver.h"
#include "simulator/faulttable.h"
#include "simulator/rootlock.h"
#include "simulator/script.h"
#include "simulator/services/callgate.h"
#include "simulator/services/services.h"
#include "simulator/services/stationservices.h"
#include "simulator/station.h"
#include "simulator/steering/httpserver.h"
#include "simulator/steering/steering.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace Simulator
{

struct SSimulatorSettings
{
    /// of the station, with etc/iipc.json
    std::filesystem::path root;
    /// file with steps to run from the start
    std::optional<std::string> script;
    /// of the steering on 127.0.0.1; 0 for one that is free
    std::uint16_t steerPort = 8090;
    /// of the software for the station on 127.0.0.1; 0 for one that is free
    std::uint16_t downloadPort = 8091;
    /// of the freeze frames; empty for data/log under the root
    std::filesystem::path logDirectory;
    std::filesystem::path firmwarePackage = "/tmp/update/package.swu";
    /// whether the controller leaves the process alone until it is told otherwise
    bool hasManualController = false;
    /// how much faster than real time the meter counts, up to GreatestTimeFactor
    std::int32_t timeFactor = 1;
    /// before the controller enables a process that reported an error
    std::chrono::milliseconds recoveryPause{1000};
};

/// All parts of the simulated station.
/// Threads: Start and Stop on one; it has those of its parts.
class CStationSim
{
public:
    /// @throws std::runtime_error if another simulator runs in the root, or the transport configuration or
    /// the script is unusable
    explicit CStationSim(const SSimulatorSettings& settings);

    /// Stops.
    ~CStationSim();
    CStationSim(const CStationSim&) = delete;
    CStationSim& operator=(const CStationSim&) = delete;
    CStationSim(CStationSim&&) = delete;
    CStationSim& operator=(CStationSim&&) = delete;

    /// Opens the sockets and begins to look for the process.
    /// @throws std::runtime_error if a socket or the port can't be listened on
    void Start();

    /// Ends at once, whatever hangs. A simulator is started once.
    void Stop();

    /// Of the steering; from Start on.
    std::uint16_t SteerPort() const;

    /// Of the downloads; from Start on.
    std::uint16_t DownloadPort() const;

private:
    SStation MakeStation(const SSimulatorSettings& settings);
    std::shared_ptr<CFirmware> MakeFirmware(const SStation& parts);
    std::shared_ptr<CDiagnostics> MakeDiagnosticsModel(const SStation& parts);
    void AddRoutes();
    void OfferSoftware();

    // Constant after construction
    const std::filesystem::path root;
    const CRootLock rootLock;
    const std::uint16_t steerPort;
    const std::uint16_t downloadPort;
    const std::shared_ptr<CWorker> worker;

    // In order of construction: each may use those before it
    CFaultTable faults;
    CCallRecorder recorder;
    CCallGate gate;
    const SNotifications notifications;
    const SStation station;
    CDownloads downloads;
    CSteering steering;
    std::unique_ptr<CStationServices> services;
    std::unique_ptr<CController> controller;
    std::unique_ptr<CScript> script;
    std::unique_ptr<CDownloadServer> downloadServer;
    std::unique_ptr<CHttpServer> httpServer;
};

} // namespace Simulator
