#include "simulator/stationsim.h"

#include "platform/json/jsonutil.h"
#include "platform/log/log.h"
#include "platform/rpc/transportconfig.h"
#include "simulator/operations.h"
#include "simulator/steering/routes.h"

#include <string>
#include <utility>
#include <vector>

namespace Simulator
{

namespace
{

/// bytes
constexpr std::int64_t PackageSize = 1024 * 1024;

UtcSource SystemTime()
{
    return [] { return std::chrono::system_clock::now(); };
}

/// The root with a slash at its end, so that names can be appended.
std::filesystem::path NormaliseRoot(const std::filesystem::path& root)
{
    return std::filesystem::absolute(root) / "";
}

ipc::MText MakeText(const std::string& value)
{
    ipc::MText text;
    text.set_value(value);
    return text;
}

} // namespace

CStationSim::CStationSim(const SSimulatorSettings& settings)
    : root(NormaliseRoot(settings.root))
    , rootLock(root)
    , steerPort(settings.steerPort)
    , downloadPort(settings.downloadPort)
    , worker(std::make_shared<CWorker>("station"))
    , recorder(SystemTime())
    , gate(worker, faults, recorder)
    , station(MakeStation(settings))
{
    const Rpc::STransportConfig config = Rpc::ReadTransportConfig(root.string() + "etc/iipc.json");
    services = std::make_unique<CStationServices>(config, SServiceParts{gate, station, notifications});
    controller = std::make_unique<CController>(config.listen, settings.recoveryPause, SystemTime());
    if (settings.hasManualController)
    {
        controller->SetMode(CController::EMode::Manual);
    }
    station.charging->SetTimeFactor(settings.timeFactor);
    AddRoutes();
    if (settings.script)
    {
        script = std::make_unique<CScript>(ReadScript(*settings.script, steering), steering);
    }
}

CStationSim::~CStationSim()
{
    Stop();
}

void CStationSim::Start()
{
    // nobody listens yet: the interfaces take the state that the files want
    ApplyNetworkConfig(station);
    worker->Start();
    services->Start();
    controller->Start();
    downloadServer = std::make_unique<CDownloadServer>(downloadPort, downloads);
    OfferSoftware();
    LOG_INFO("Downloads on 127.0.0.1:{}", DownloadPort());
    httpServer = std::make_unique<CHttpServer>(
        steerPort, [this](const SHttpRequest& request) { return steering.Handle(request); });
    LOG_INFO("Steering on 127.0.0.1:{}", SteerPort());
    if (script)
    {
        script->Start();
    }
}

void CStationSim::Stop()
{
    // whoever waits is let go first, so that no thread has to be waited for
    recorder.EndWaiting();
    downloads.EndWaiting();
    controller->Record().EndWaiting();
    controller->Stop();
    if (script)
    {
        script->Stop();
    }
    httpServer.reset();
    downloadServer.reset();
    services->Stop();
    worker->Stop();
}

std::uint16_t CStationSim::SteerPort() const
{
    return httpServer->Port();
}

std::uint16_t CStationSim::DownloadPort() const
{
    return downloadServer->Port();
}

void CStationSim::OfferSoftware()
{
    SDownload package;
    package.size = PackageSize;
    downloads.Set("/firmware.swu", package);
    downloads.Set("/customization.swu", package);

    Json::Value versions;
    versions["firmwareUrl"] = downloadServer->Url("/firmware.swu");
    versions["firmwareVersion"] = "2.0.0-simulated";
    versions["customizationUrl"] = downloadServer->Url("/customization.swu");
    versions["customizationVersion"] = "2.0.0-custom";
    SDownload descriptor;
    descriptor.text = JsonUtil::WriteUnstyled(versions);
    downloads.Set("/versions.json", descriptor);
}

SStation CStationSim::MakeStation(const SSimulatorSettings& settings)
{
    SStation parts;
    parts.files = std::make_shared<const CStationFiles>(root,
                                                        settings.logDirectory.empty() ? root / "data/log"
                                                                                      : settings.logDirectory,
                                                        settings.firmwarePackage,
                                                        SystemTime());
    parts.charging = std::make_shared<CCharging>(
        [worker = worker] { return worker->Now(); },
        [this](const ipc::MConnectorState& state)
        { gate.Notify(Operations::ConnectorState, notifications.connectorState, state); });
    parts.network = std::make_shared<CNetwork>(
        [this](const ipc::MNetStatus& status)
        { gate.Notify(Operations::NetworkStatus, notifications.networkStatus, status); });
    parts.rfid = std::make_shared<CRfidReader>(
        [this](const std::string& token)
        { gate.Notify(Operations::TokenFound, notifications.tokenFound, MakeText(token)); });
    parts.firmware = MakeFirmware(parts);
    parts.diagnostics = MakeDiagnosticsModel(parts);
    return parts;
}

std::shared_ptr<CFirmware> CStationSim::MakeFirmware(const SStation& parts)
{
    CFirmware::SConditions conditions;
    conditions.isPackageThere = [files = parts.files] { return files->IsFirmwarePackageThere(); };
    conditions.isStationIdle = [charging = parts.charging] { return !charging->IsCharging(); };
    return std::make_shared<CFirmware>(
        worker,
        conditions,
        parts.files->ReadFirmwareIdentifier(),
        [this](const ipc::MFwUpdateStatus& status)
        { gate.Notify(Operations::FirmwareUpdateStatus, notifications.firmwareUpdateStatus, status); });
}

std::shared_ptr<CDiagnostics> CStationSim::MakeDiagnosticsModel(const SStation& parts)
{
    CDiagnostics::SOutputs outputs;
    outputs.signalChange = [this](const ipc::MSignalChange& change)
    { gate.Notify(Operations::SignalChange, notifications.signalChange, change); };
    outputs.freezeFrameDone = [this](const std::string& file)
    { gate.Notify(Operations::FreezeFrameDone, notifications.freezeFrameDone, MakeText(file)); };
    const auto liveSignals = [charging = parts.charging, network = parts.network]
    {
        std::vector<ipc::MDiagnosticsSignal> signals = charging->Signals();
        const std::vector<ipc::MDiagnosticsSignal> more = network->Signals();
        signals.insert(signals.end(), more.begin(), more.end());
        return signals;
    };
    return std::make_shared<CDiagnostics>(
        worker,
        liveSignals,
        [files = parts.files](const Json::Value& frame) { return files->WriteFreezeFrame(frame); },
        outputs);
}

void CStationSim::AddRoutes()
{
    AddStationRoutes(steering, station);
    AddNetworkRoutes(steering, station);
    AddSignalRoutes(steering, station);
    AddDownloadRoutes(steering, downloads);
    AddFaultRoutes(steering, faults, *services);
    AddCallRoutes(steering, recorder);
    AddControllerRoutes(steering, *controller);
}

} // namespace Simulator
