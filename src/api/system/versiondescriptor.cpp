#include "src/api/system/versiondescriptor.h"

#include "platform/config/tarnconfig.h"
#include "platform/log/log.h"
#include "platform/toolbox/curlwrapper.h"

#include <json/reader.h>
#include <json/value.h>

#include <memory>

namespace
{

constexpr const char* UrlSetting = "WebIfUpdateHelperUrl";

std::optional<Json::Value> ParseDescriptor(const std::string& text)
{
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value descriptor;
    std::string errors;
    bool isParsed = false;
    try
    {
        isParsed = reader->parse(text.data(), text.data() + text.size(), &descriptor, &errors);
    }
    catch (const Json::Exception& exception)
    {
        // nested too deeply for the reader
        errors = exception.what();
    }
    if (isParsed && !descriptor.isObject() && !descriptor.isNull())
    {
        isParsed = false;
        errors = "The descriptor is no object";
    }
    if (!isParsed)
    {
        LOG_ERROR("Failed to parse version descriptor JSON. Error: {}", errors);
        return std::nullopt;
    }
    return descriptor;
}

std::string Text(const Json::Value& descriptor, const char* key)
{
    const Json::Value value = descriptor.get(key, "");
    return value.isString() ? value.asString() : "";
}

std::optional<SAvailableSoftware>
TakeSoftware(const Json::Value& descriptor, const char* urlKey, const char* versionKey)
{
    const std::string url = Text(descriptor, urlKey);
    const std::string version = Text(descriptor, versionKey);
    if (!url.empty() && !version.empty())
    {
        return SAvailableSoftware{url, version};
    }
    if (!url.empty())
    {
        LOG_ERROR("Firmware update helper descriptor file contains an URL ({}={}) but no version ({}) was "
                  "provided. The file's format should be fixed.",
                  urlKey,
                  url,
                  versionKey);
    }
    else if (!version.empty())
    {
        LOG_ERROR("Firmware update helper descriptor file contains a version ({}={}) but no URL ({}) was "
                  "specified. The file's format should be fixed.",
                  versionKey,
                  version,
                  urlKey);
    }
    else
    {
        LOG_DEBUG("Firmware update helper descriptor file was retrieved but does not contain any information "
                  "about this component ({} or {}).",
                  urlKey,
                  versionKey);
    }
    return std::nullopt;
}

} // namespace

SVersionDescriptor ReadVersionDescriptor(const TarnConfig& settings, Toolbox::CInterruption& interruption)
{
    const std::string url = settings.GetString(UrlSetting, "");
    Toolbox::CCurlWrapper curl(&interruption);
    curl.Initialize();
    const std::optional<std::string> text = curl.Get(url, std::nullopt, std::nullopt);
    if (!text)
    {
        LOG_ERROR("Request to retrieve firmware version descriptor file failed. Attempted URL: {}", url);
        return {};
    }
    const std::optional<Json::Value> descriptor = ParseDescriptor(*text);
    if (!descriptor)
    {
        return {};
    }
    SVersionDescriptor versions;
    versions.firmware = TakeSoftware(*descriptor, "firmwareUrl", "firmwareVersion");
    versions.customization = TakeSoftware(*descriptor, "customizationUrl", "customizationVersion");
    return versions;
}
