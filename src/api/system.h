#pragma once

#include <memory>

class CFreezeFrames;
class IBoardControl;
class IDiagnostics;
class IDiagnosticsSnapshot;
class IFeedback;
class IHttpRequest;
class TarnConfig;

namespace httpserver
{
class http_response;
}

namespace Toolbox
{
class CDiagnosticsPackager;
}

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
    CSystemApi(std::shared_ptr<IBoardControl> boardControl,
               std::shared_ptr<IDiagnostics> diagnostics,
               std::shared_ptr<IFeedback> feedback,
               std::shared_ptr<TarnConfig> settings,
               std::shared_ptr<TarnConfig> hwinfo,
               std::shared_ptr<TarnConfig> fwinfo,
               std::unique_ptr<Toolbox::CDiagnosticsPackager> diagnosticsPackager);
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
    Response GetDiagnosticsPackage();

    /// Ends the wait for a freeze frame, whose request fails.
    void InterruptFreezeFrame();

private:
    void CreateFreezeFrame();

    // Constant after construction
    const std::shared_ptr<IBoardControl> boardControl;
    const std::shared_ptr<IDiagnostics> diagnostics;
    const std::shared_ptr<IFeedback> feedback;
    const std::shared_ptr<TarnConfig> settings;
    const std::shared_ptr<TarnConfig> hwinfo;
    const std::shared_ptr<TarnConfig> fwinfo;
    std::shared_ptr<IDiagnosticsSnapshot> diagnosticsSnapshot;
    const std::unique_ptr<Toolbox::CDiagnosticsPackager> diagnosticsPackager;
    const std::unique_ptr<CFreezeFrames> freezeFrames;
};

} // namespace Resources
