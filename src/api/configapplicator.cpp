#include "src/api/configapplicator.h"

#include "src/api/configtable.h"
#include "src/api/httpexception.h"
#include "src/localscheduledcharging/localscheduledchargingcomponent.h"

#include "contracts/netm.h"
#include "platform/config/tarnconfig.h"
#include "platform/json/jsonutil.h"
#include "platform/log/log.h"

#include <utility>

namespace
{

constexpr const char* ScheduledChargingKey = "ScheduledChargingEnable";
constexpr const char* CpoNameKey = "PredefinedCpoName";
constexpr const char* OcppUriKey = "SeccOcppUri";
constexpr const char* BackofficesKey = "Backoffices";

/// @throws HttpStatusException<400> unless the web interface may set the setting to the value
void CheckValue(const std::string& key, const Json::Value& value, const SConfigKeyRule* rule)
{
    if (rule == nullptr)
    {
        LOG_WARN("Attempted to write setting '{}' but it does not exist in the config file.", key);
        throw HttpStatusException<400>();
    }
    if (!rule->writable)
    {
        LOG_WARN("Attempted to write setting '{}' but it is not writable from the web interface.", key);
        throw HttpStatusException<400>();
    }
    if (!(value.*rule->isValidType)())
    {
        LOG_WARN("Attempted to write setting '{}' but the value is not of the correct type.", key);
        throw HttpStatusException<400>();
    }
}

/// The member as text, empty if it is missing.
std::string TextOf(const Json::Value& object, const char* key)
{
    return object.get(key, "").asString();
}

} // namespace

// -------------------------------------------------------------------------------------------------- base

CConfigApplicatorBase::CConfigApplicatorBase(std::shared_ptr<TarnConfig> config)
    : config(std::move(config))
{
}

Json::Value CConfigApplicatorBase::GetConfigFromTable(const TarnConfig& config, const CConfigTable& table)
{
    Json::Value values;
    for (const SConfigKeyRule& rule : table)
    {
        if (config.Contains(rule.key, false))
        {
            values[std::string(rule.key)] = config.GetValue(rule.key, Json::Value());
        }
        else
        {
            LOG_WARN("Could not populate response with setting '{}' because it does not exist in the config "
                     "file",
                     rule.key);
        }
    }
    return values;
}

void CConfigApplicatorBase::PatchConfigFromTable(const Json::Value& patch,
                                                 TarnConfig& config,
                                                 const CConfigTable& table)
{
    for (const std::string& key : patch.getMemberNames())
    {
        CheckValue(key, patch[key], table.Find(key));
    }
    ApplyValues(patch, config);
}

void CConfigApplicatorBase::ApplyValues(const Json::Value& values, TarnConfig& config)
{
    for (const std::string& key : values.getMemberNames())
    {
        config.SetValue(key, values[key]);
    }
}

// ------------------------------------------------------------------------------------------ user settings

CSettingsConfigApplicator::CSettingsConfigApplicator(
    std::shared_ptr<TarnConfig> settings, std::shared_ptr<ILocalScheduledChargingComponent> scheduledCharging)
    : CConfigApplicatorBase(std::move(settings))
    , scheduledCharging(std::move(scheduledCharging))
{
}

Json::Value CSettingsConfigApplicator::GetConfig() const
{
    LOG_ENTRY(CSettingsConfigApplicator, "GetConfig");
    return GetConfigFromTable(*config, UserConfigTable);
}

void CSettingsConfigApplicator::PatchConfig(const Json::Value& patch)
{
    LOG_ENTRY(CSettingsConfigApplicator, "PatchConfig");
    if (scheduledCharging != nullptr && patch.isMember(ScheduledChargingKey))
    {
        if (patch[ScheduledChargingKey].asBool())
        {
            scheduledCharging->Enable();
        }
        else
        {
            scheduledCharging->Disable();
        }
    }
    PatchConfigFromTable(patch, *config, UserConfigTable);
}

// ---------------------------------------------------------------------------------------- network settings

CNetworkConfigApplicator::CNetworkConfigApplicator(std::shared_ptr<TarnConfig> network,
                                                   std::shared_ptr<INetM> netM)
    : CConfigApplicatorBase(std::move(network))
    , netM(std::move(netM))
{
}

Json::Value CNetworkConfigApplicator::GetConfig() const
{
    LOG_ENTRY(CNetworkConfigApplicator, "GetConfig");
    return GetConfigFromTable(*config, NetworkConfigTable);
}

void CNetworkConfigApplicator::PatchConfig(const Json::Value& patch)
{
    LOG_ENTRY(CNetworkConfigApplicator, "PatchConfig");
    const Json::Value before = GetConfig();
    PatchConfigFromTable(patch, *config, NetworkConfigTable);
    if (GetConfig() == before)
    {
        LOG_WARN("Attempt to patch the NetM configuration did not result in a different config. Skipping "
                 "validation and application of the config.");
        return;
    }
    if (!netM->ValidateConfig())
    {
        Revert(before);
    }
}

void CNetworkConfigApplicator::Revert(const Json::Value& before)
{
    LOG_ERROR("NetM config validation failed with new config values in the request. We will revert and try "
              "again. The following config changes were made {}.",
              JsonUtil::WriteUnstyled(GetConfig()));
    ApplyValues(before, *config);
    if (netM->ValidateConfig())
    {
        LOG_INFO("NetM validation succeeded after reverting config values.");
    }
    else
    {
        LOG_ERROR(
            "Even after reverting the config values to their original state NetM returned a failure. We "
            "return an internal server error exception. Original config: {}",
            JsonUtil::WriteUnstyled(GetConfig()));
    }
    throw HttpStatusException<500>();
}

// ----------------------------------------------------------------------------------------- network secrets

CNetworkSecretsApplicator::CNetworkSecretsApplicator(std::shared_ptr<TarnConfig> secrets)
    : CConfigApplicatorBase(std::move(secrets))
{
}

Json::Value CNetworkSecretsApplicator::GetConfig() const
{
    LOG_ENTRY(CNetworkSecretsApplicator, "GetConfig");
    return GetConfigFromTable(*config, NetworkSecretsTable);
}

void CNetworkSecretsApplicator::PatchConfig(const Json::Value& /*patch*/)
{
    LOG_ENTRY(CNetworkSecretsApplicator, "PatchConfig");
    LOG_ERROR("Patching of network secrets is not yet implemented");
    throw HttpStatusException<500>();
}

// ------------------------------------------------------------------------------------------- back offices

COcppBackofficeApplicator::COcppBackofficeApplicator(std::shared_ptr<TarnConfig> backoffices,
                                                     std::shared_ptr<TarnConfig> settingsConfig,
                                                     std::shared_ptr<TarnConfig> networkConfig,
                                                     std::shared_ptr<TarnConfig> secretsConfig)
    : CConfigApplicatorBase(std::move(backoffices))
    , settingsConfig(std::move(settingsConfig))
    , networkConfig(std::move(networkConfig))
    , secretsConfig(std::move(secretsConfig))
{
}

Json::Value COcppBackofficeApplicator::GetConfig() const
{
    LOG_ENTRY(COcppBackofficeApplicator, "GetConfig");
    Json::Value shown(Json::arrayValue);
    const Json::Value backoffices = config->GetValue(BackofficesKey, Json::Value());
    for (const Json::Value& backoffice : backoffices)
    {
        Json::Value element(Json::objectValue);
        element["Name"] = TextOf(backoffice, "Name");
        element["UrlTemplate"] = TextOf(backoffice, "UrlTemplate");
        shown.append(std::move(element));
    }
    Json::Value result(Json::objectValue);
    result[BackofficesKey] = std::move(shown);
    return result;
}

void COcppBackofficeApplicator::PatchConfig(const Json::Value& patch)
{
    LOG_ENTRY(COcppBackofficeApplicator, "PatchConfig");
    const std::string name = TextOf(patch, "Name");
    const std::string url = TextOf(patch, "Url");
    settingsConfig->SetString(CpoNameKey, name);
    settingsConfig->SetString(OcppUriKey, url);
    LOG_INFO("OCPP backoffice updated: {}", url);

    const Json::Value settings = SettingsOf(name);
    for (const Json::Value& setting : settings)
    {
        Apply(setting);
    }
}

Json::Value COcppBackofficeApplicator::SettingsOf(const std::string& name) const
{
    const Json::Value backoffices = config->GetValue(BackofficesKey, Json::Value());
    for (const Json::Value& backoffice : backoffices)
    {
        if (backoffice["Name"] == name)
        {
            return backoffice["Settings"];
        }
    }
    return {};
}

void COcppBackofficeApplicator::Apply(const Json::Value& setting) const
{
    const std::string file = TextOf(setting, "File");
    const std::string key = TextOf(setting, "Key");
    const std::string value = TextOf(setting, "Value");
    TarnConfig* const target = FindFile(file);
    if (target == nullptr)
    {
        LOG_WARN("{}.json is not a known file. Cannot apply backoffice setting ({}: {})", file, key, value);
        return;
    }
    target->SetString(key, value);
}

TarnConfig* COcppBackofficeApplicator::FindFile(const std::string& name) const
{
    if (name == "settings")
    {
        return settingsConfig.get();
    }
    if (name == "network")
    {
        return networkConfig.get();
    }
    return name == "secrets" ? secretsConfig.get() : nullptr;
}
