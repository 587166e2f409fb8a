#pragma once

#include <filesystem>
#include <memory>

class CFreezeFrames;
class IBoardControl;
class IConfigApplicator;
class IDiagnostics;
class IDiagnosticsSnapshot;
class IFeedback;
class IFirmwareUpdateHandler;
class IHttpRequest;
class ISessionManager;
class TarnConfig;

namespace httpserver
{
class http_response;
}

namespace Toolbox
{
class CDiagnosticsPackager;
class CInterruption;
} // namespace Toolbox

namespace Resources
{

/// Handlers of the routes below /system: information about the station, and what it is told to do.
/// Threads: any, several at the same time. A service that can't be reached is an Rpc::CommunicationException;
/// refusals of services go unread.
class CSystemApi
{
public:
    using Response = std::shared_ptr<httpserver::http_response>;

    /// @param settings  the configuration "settings"
    /// @param hwinfo    the configuration "hwinfo"
    /// @param fwinfo    the configuration "fwinfo"
    /// @param networkApplicator  for the configuration "network"
    /// @param configDirectory    what a factory reset empties
    CSystemApi(std::shared_ptr<IBoardControl> boardControl,
               std::shared_ptr<IDiagnostics> diagnostics,
               std::shared_ptr<IFeedback> feedback,
               std::shared_ptr<TarnConfig> settings,
               std::shared_ptr<TarnConfig> hwinfo,
               std::shared_ptr<TarnConfig> fwinfo,
               std::shared_ptr<IConfigApplicator> networkApplicator,
               std::shared_ptr<IFirmwareUpdateHandler> firmwareUpdateHandler,
               std::unique_ptr<Toolbox::CDiagnosticsPackager> diagnosticsPackager,
               std::shared_ptr<ISessionManager> sessionManager,
               std::filesystem::path configDirectory = "/data/config");
    ~CSystemApi();
    CSystemApi(const CSystemApi&) = delete;
    CSystemApi& operator=(const CSystemApi&) = delete;
    CSystemApi(CSystemApi&&) = delete;
    CSystemApi& operator=(CSystemApi&&) = delete;

    /// Takes {"RebootType": "SoftReboot"} or "HardReboot". Answers 204 when the board has replied, and so
    /// possibly never.
    /// @throws HttpStatusException<400> for any other text, and for a body without one; Json::Exception for a
    /// body that is neither an object nor null. The board is left alone then.
    Response Reboot(const IHttpRequest& request);

    /// 200 with one object: what hwinfo says of the hardware, "FwIdent" and "MeterFwIdent", null where
    /// nothing is known, and the booleans "CanChargeSinglePhase", "CanChargeThreePhases" and
    /// "CanChangeChargingPhases".
    Response GetInfo();

    /// 204 for as long as the server runs.
    Response GetHealth();

    /// Has the station show which one it is. 204.
    Response Identify();

    /// 200 with {"Mode": "dashboard"} once commissioning has been finished, before that "commissioning".
    Response GetWebInterfaceMode();

    /// 200 with the signals that IDiagnosticsSnapshot shows.
    Response GetDiagnosticsSnapshot();

    /// Has a freeze frame taken, and gives all that there is as a file under a name of its own: 200. Without
    /// a freeze frame, for up to 10 seconds, it goes on all the same. 204 if there is no package.
    /// @throws std::future_error while another request waits for its freeze frame
    /// @throws Rpc::CommunicationException or std::system_error if it is interrupted
    Response GetDiagnosticsPackage();

    /// Ends the first set-up: the station restarts in dashboard mode. 204 when the board has replied.
    ///
    /// Takes {"NetMApEnable": boolean}, whether the station's own access point stays on; a body without it
    /// switches that off, and no body leaves it as it is. That the network manager refuses the change is only
    /// logged; what else goes wrong with it leaves the set-up open.
    Response FinishCommissioning(const IHttpRequest& request);

    /// Opens the set-up again: the station restarts in commissioning mode. 204 when the board has replied.
    /// The attempt is reported to the diagnostics, also if it is refused.
    /// @throws HttpStatusException<400> "Cannot start commissioning, charge session in progress"
    Response Recommission();

    /// Reports to the diagnostics, removes all that stands in the directory of the configurations and
    /// restarts the station. 204 when the board has replied.
    /// @throws std::filesystem::filesystem_error if something can't be removed; the station goes on then
    Response FactoryReset();

    /// 200 with what is installed: {"Firmware": string, "Customization": string}, the latter only where there
    /// is one.
    Response SoftwareCurrentVersions();

    /// 200 with what could be installed, in the same form: what nothing is known of is left out. See
    /// ReadVersionDescriptor. Waits for another server for up to half a minute.
    Response SoftwareAvailableVersions();

    /// Takes {"Package-Type": "Firmware"} or "Customization", downloads that package and has the board
    /// install it, in the background: 204. Waits for another server for up to half a minute.
    /// @throws HttpStatusException<400> for a body without the text, and "Requested update package type not
    /// found in update helper descriptor"; Json::Exception for a body that is neither an object nor null
    Response SoftwareUpdateAutomatic(const IHttpRequest& request);

    /// Lets the diagnostics packages and version look-ups that are under way fail, whatever they wait for,
    /// and those that follow until they are resumed. Before the calls of the services are interrupted.
    void InterruptWaits();
    void ResumeWaits();

private:
    void CreateFreezeFrame();
    void PatchAccessPoint(const IHttpRequest& request);

    // Constant after construction
    const std::shared_ptr<IBoardControl> boardControl;
    const std::shared_ptr<IDiagnostics> diagnostics;
    const std::shared_ptr<IFeedback> feedback;
    const std::shared_ptr<TarnConfig> settings;
    const std::shared_ptr<TarnConfig> hwinfo;
    const std::shared_ptr<TarnConfig> fwinfo;
    const std::shared_ptr<IConfigApplicator> networkApplicator;
    const std::shared_ptr<IFirmwareUpdateHandler> firmwareUpdateHandler;
    std::shared_ptr<IDiagnosticsSnapshot> diagnosticsSnapshot;
    const std::unique_ptr<Toolbox::CDiagnosticsPackager> diagnosticsPackager;
    const std::shared_ptr<ISessionManager> sessionManager;
    const std::filesystem::path configDirectory;
    const std::unique_ptr<Toolbox::CInterruption> interruption;
    const std::unique_ptr<CFreezeFrames> freezeFrames;
};

} // namespace Resources
