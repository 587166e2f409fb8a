#include "src/api/system.h"

#include "src/api/fileresponse.h"
#include "src/api/httpexception.h"
#include "src/api/jsonbody.h"
#include "src/api/jsonresponse.h"
#include "src/api/system/diagnosticssnapshot.h"
#include "src/api/system/freezeframes.h"

#include "contracts/boardcontrol.h"
#include "contracts/feedback.h"
#include "platform/config/tarnconfig.h"
#include "platform/log/log.h"
#include "platform/toolbox/diagnosticspackager.h"
#include "platform/toolbox/interruption.h"
#include "platform/toolbox/phaseconfig.h"

#include <json/value.h>

#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

using httpserver::http::http_utils;

namespace Resources
{

namespace
{

constexpr int IdentifyEvent = 3;

constexpr const char* FreezeFrameReason = "Web interface manual download";
constexpr const char* PackageName = "diagnostics_package_webbackend.pedp";
constexpr std::int64_t EndOfTime = std::numeric_limits<std::int64_t>::max();

constexpr std::array<const char*, 31> HardwareKeys{
    "ProductPn",          "ProductSn",        "MainboardPn",       "MainboardSn", "CustomerId",
    "ProductVendorName",  "ProductModelName", "HwFwCompat",        "HwHasSocket", "HwHasDualSocket",
    "HwFixedCableRating", "HwMaxCurrent",     "HwOneOrThreePhase", "HwHasLte",    "HwHasPlc",
    "HwHasRfid",          "HwHasEthernet",    "HwHasWlan",         "HwHasTpm",    "HwHasMeter",
    "HwHasMeterDisplay",  "HwHasRs485",       "HwHasBop",          "HwHasBuzzer", "HwHasLed",
    "EthMacAddr",         "WlanApMacAddr",    "WlanStaMacAddr",    "PlcMacAddr",  "Hostname",
    "HwHas4pRelay",
};

} // namespace

CSystemApi::CSystemApi(std::shared_ptr<IBoardControl> boardControl,
                       std::shared_ptr<IDiagnostics> diagnostics,
                       std::shared_ptr<IFeedback> feedback,
                       std::shared_ptr<TarnConfig> settings,
                       std::shared_ptr<TarnConfig> hwinfo,
                       std::shared_ptr<TarnConfig> fwinfo,
                       std::shared_ptr<IConfigApplicator> networkApplicator,
                       std::shared_ptr<IFirmwareUpdateHandler> firmwareUpdateHandler,
                       std::unique_ptr<Toolbox::CDiagnosticsPackager> diagnosticsPackager,
                       std::shared_ptr<ISessionManager> sessionManager,
                       std::filesystem::path configDirectory)
    : boardControl(std::move(boardControl))
    , diagnostics(std::move(diagnostics))
    , feedback(std::move(feedback))
    , settings(std::move(settings))
    , hwinfo(std::move(hwinfo))
    , fwinfo(std::move(fwinfo))
    , networkApplicator(std::move(networkApplicator))
    , firmwareUpdateHandler(std::move(firmwareUpdateHandler))
    , diagnosticsPackager(std::move(diagnosticsPackager))
    , sessionManager(std::move(sessionManager))
    , configDirectory(std::move(configDirectory))
    , interruption(std::make_unique<Toolbox::CInterruption>())
    , freezeFrames(std::make_unique<CFreezeFrames>(this->diagnostics, *interruption))
{
    LOG_ENTRY(CSystemApi, "CSystemApi");
    diagnosticsSnapshot = std::make_shared<CDiagnosticsSnapshot>(this->diagnostics);
}

CSystemApi::~CSystemApi() = default;

CSystemApi::Response CSystemApi::Reboot(const IHttpRequest& request)
{
    LOG_ENTRY(CSystemApi, "Reboot");
    const std::string rebootType = GetJsonString(ParseJsonBody(request), "RebootType");
    if (rebootType == "SoftReboot")
    {
        LOG_INFO("Soft reboot requested");
        boardControl->Reboot(ERebootType::Soft);
    }
    else if (rebootType == "HardReboot")
    {
        LOG_INFO("Hard reboot requested");
        boardControl->Reboot(ERebootType::Hard);
    }
    else
    {
        throw HttpStatusException<400>();
    }
    return std::make_shared<JsonResponse>();
}

CSystemApi::Response CSystemApi::GetInfo()
{
    LOG_ENTRY(CSystemApi, "GetInfo");
    Json::Value info(Json::objectValue);
    for (const char* key : HardwareKeys)
    {
        info[key] = hwinfo->GetValue(key, Json::Value());
    }
    info["FwIdent"] = fwinfo->GetValue("FwIdent", Json::Value());
    info["MeterFwIdent"] = fwinfo->GetValue("FwMeterVersion", Json::Value());

    const CPhaseConfig phases(settings, hwinfo);
    info["CanChargeSinglePhase"] = phases.CanChargeSinglePhase();
    info["CanChargeThreePhases"] = phases.CanChargeThreePhases();
    info["CanChangeChargingPhases"] = phases.CanChangeChargingPhases();
    return std::make_shared<JsonResponse>(std::move(info));
}

CSystemApi::Response CSystemApi::GetHealth()
{
    LOG_ENTRY(CSystemApi, "GetHealth");
    return std::make_shared<JsonResponse>();
}

CSystemApi::Response CSystemApi::Identify()
{
    LOG_ENTRY(CSystemApi, "Identify");
    ipc::MFbEventType event;
    event.set_type(IdentifyEvent);
    feedback->SendEvent(event);
    return std::make_shared<JsonResponse>();
}

CSystemApi::Response CSystemApi::GetWebInterfaceMode()
{
    LOG_ENTRY(CSystemApi, "GetWebInterfaceMode");
    Json::Value mode;
    mode["Mode"] = settings->GetBool("InstallationComplete", false) ? "dashboard" : "commissioning";
    return std::make_shared<JsonResponse>(std::move(mode));
}

CSystemApi::Response CSystemApi::GetDiagnosticsSnapshot()
{
    LOG_ENTRY(CSystemApi, "GetDiagnosticsSnapshot");
    return std::make_shared<JsonResponse>(diagnosticsSnapshot->ConstructDiagnosticsDataMessage());
}

CSystemApi::Response CSystemApi::GetDiagnosticsPackage()
{
    LOG_ENTRY(CSystemApi, "GetDiagnosticsPackage");
    CreateFreezeFrame();
    const std::string customer = hwinfo->GetString("CustomerId", "");
    const std::string serialNumber = hwinfo->GetString("ProductSn", "");
    const std::string fileName = diagnosticsPackager->GetPackageFileName(customer, serialNumber);
    const auto files = diagnosticsPackager->CollectFiles(0, EndOfTime);
    const std::string package = diagnosticsPackager->CreatePackage(PackageName, files, interruption.get());
    if (package.empty())
    {
        LOG_ERROR("Received empty diagnostic package path");
        return std::make_shared<FileResponse>("", http_utils::http_no_content, http_utils::text_plain);
    }
    LOG_INFO("Offering diagnostics package as '{}'", fileName);
    auto response = std::make_shared<FileResponse>(package, http_utils::http_ok, "application/octet-stream");
    response->with_header("Content-Disposition", "attachment; filename=" + fileName);
    return response;
}

void CSystemApi::CreateFreezeFrame()
{
    LOG_ENTRY(CSystemApi, "CreateFreezeFrame");
    freezeFrames->Create(FreezeFrameReason);
}

void CSystemApi::InterruptWaits()
{
    LOG_ENTRY(CSystemApi, "InterruptWaits");
    interruption->Interrupt();
}

void CSystemApi::ResumeWaits()
{
    LOG_ENTRY(CSystemApi, "ResumeWaits");
    interruption->Resume();
}

} // namespace Resources
