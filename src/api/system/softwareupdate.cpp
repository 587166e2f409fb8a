/// The handlers of the routes below /system/software.
#include "src/api/httpexception.h"
#include "src/api/jsonbody.h"
#include "src/api/jsonresponse.h"
#include "src/api/system.h"
#include "src/api/system/versiondescriptor.h"
#include "src/utils/firmwareupdatehandler.h"

#include "platform/config/tarnconfig.h"
#include "platform/log/log.h"

#include <json/value.h>

#include <string>

namespace Resources
{

namespace
{

constexpr const char* Firmware = "Firmware";
constexpr const char* Customization = "Customization";
constexpr const char* CustomizationSetting = "FwCustomizationVersion";
constexpr const char* Unknown = "Not found";

} // namespace

CSystemApi::Response CSystemApi::SoftwareCurrentVersions()
{
    LOG_ENTRY(CSystemApi, "SoftwareCurrentVersions");
    Json::Value versions;
    versions[Firmware] = fwinfo->GetString("FwIdent", Unknown);
    if (fwinfo->Contains(CustomizationSetting))
    {
        versions[Customization] = fwinfo->GetString(CustomizationSetting, Unknown);
    }
    return std::make_shared<JsonResponse>(std::move(versions));
}

CSystemApi::Response CSystemApi::SoftwareAvailableVersions()
{
    LOG_ENTRY(CSystemApi, "SoftwareAvailableVersions");
    const SVersionDescriptor descriptor = ReadVersionDescriptor(*settings, *interruption);
    Json::Value versions(Json::objectValue);
    if (descriptor.firmware)
    {
        versions[Firmware] = descriptor.firmware->version;
    }
    if (descriptor.customization)
    {
        versions[Customization] = descriptor.customization->version;
    }
    return std::make_shared<JsonResponse>(std::move(versions));
}

CSystemApi::Response CSystemApi::SoftwareUpdateAutomatic(const IHttpRequest& request)
{
    LOG_ENTRY(CSystemApi, "SoftwareUpdateAutomatic");
    const std::string type = GetJsonString(ParseJsonBody(request), "Package-Type");
    const SVersionDescriptor descriptor = ReadVersionDescriptor(*settings, *interruption);
    if (type == Firmware && descriptor.firmware)
    {
        firmwareUpdateHandler->Download(descriptor.firmware->url);
    }
    else if (type == Customization && descriptor.customization)
    {
        firmwareUpdateHandler->Download(descriptor.customization->url);
    }
    else
    {
        LOG_ERROR(
            "Automatic software update called with type '{}', which was not found in the firmware update "
            "helper descriptor file.",
            type);
        throw HttpStatusException<400>(
            Json::Value("Requested update package type not found in update helper descriptor"));
    }
    return std::make_shared<JsonResponse>();
}

} // namespace Resources
