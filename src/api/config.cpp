#include "src/api/config.h"

#include "src/api/configapplicator.h"
#include "src/api/configtable.h"
#include "src/api/httpexception.h"
#include "src/api/jsonbody.h"
#include "src/api/jsonresponse.h"
#include "src/localscheduledcharging/localscheduledchargingcomponent.h"
#include "src/session/authorization.h"

#include "platform/config/tarnconfig.h"
#include "platform/log/log.h"

#include <utility>

namespace Resources
{

namespace
{

constexpr const char* TokensKey = "Tokens";
constexpr const char* UidKey = "RfidTokenUid";
constexpr const char* DescriptionKey = "RfidTokenDescription";
constexpr const char* PukKey = "WebIfPukCode";
constexpr const char* PasswordKey = "WebIfManagementPassword";

Json::Value ParseObjectBody(const IHttpRequest& request)
{
    Json::Value body = ParseJsonBody(request);
    if (!body.isObject())
    {
        throw HttpStatusException<400>("Bad request body");
    }
    return body;
}

std::shared_ptr<JsonResponse> Empty()
{
    return std::make_shared<JsonResponse>();
}

} // namespace

CConfigApi::CConfigApi(std::shared_ptr<IAuthorization> authorization,
                       std::shared_ptr<TarnConfig> rfidConfig,
                       std::shared_ptr<IConfigApplicator> settingsApplicator,
                       std::shared_ptr<IConfigApplicator> networkApplicator,
                       std::shared_ptr<IConfigApplicator> networkSecretsApplicator,
                       std::shared_ptr<IConfigApplicator> ocppBackofficeApplicator,
                       std::shared_ptr<TarnConfig> secretsConfig,
                       std::shared_ptr<ILocalScheduledChargingComponent> scheduledCharging)
    : authorization(std::move(authorization))
    , rfidConfig(std::move(rfidConfig))
    , settingsApplicator(std::move(settingsApplicator))
    , networkApplicator(std::move(networkApplicator))
    , networkSecretsApplicator(std::move(networkSecretsApplicator))
    , ocppBackofficeApplicator(std::move(ocppBackofficeApplicator))
    , secretsConfig(std::move(secretsConfig))
    , scheduledCharging(std::move(scheduledCharging))
    , tokens(this->rfidConfig->GetValue(TokensKey, Json::arrayValue))
{
    LOG_ENTRY(CConfigApi, "CConfigApi");
    LoadPuk();
}

void CConfigApi::LoadPuk()
{
    pukCode = Toolbox::CPassword::FromEncoded(secretsConfig->GetString(PukKey, ""));
    if (pukCode)
    {
        LOG_INFO("Web interface PUK code successfully initialized from configuration.");
    }
    else
    {
        LOG_WARN(
            "Failed to decode web interface PUK code from configuration. Any authorization attempts using "
            "the PUK code will fail.");
    }
}

// ----------------------------------------------------------------------------------------------- settings

CConfigApi::Response CConfigApi::GetUserConfig()
{
    LOG_ENTRY(CConfigApi, "GetUserConfig");
    return std::make_shared<JsonResponse>(settingsApplicator->GetConfig());
}

CConfigApi::Response CConfigApi::PatchUserConfig(const IHttpRequest& request)
{
    LOG_ENTRY(CConfigApi, "PatchUserConfig");
    settingsApplicator->PatchConfig(ParseObjectBody(request));
    return GetUserConfig();
}

CConfigApi::Response CConfigApi::GetNetworkConfig()
{
    LOG_ENTRY(CConfigApi, "GetNetworkConfig");
    Json::Value result = networkApplicator->GetConfig();
    const Json::Value secrets = networkSecretsApplicator->GetConfig();
    for (const std::string& key : secrets.getMemberNames())
    {
        if (result.isMember(key))
        {
            LOG_WARN("Could not include key '{}' from secrets in response as it already exists in network "
                     "settings",
                     key);
        }
        result[key] = secrets[key];
    }
    return std::make_shared<JsonResponse>(std::move(result));
}

CConfigApi::Response CConfigApi::PatchNetworkConfig(const IHttpRequest& request)
{
    LOG_ENTRY(CConfigApi, "PatchNetworkConfig");
    Json::Value patch = ParseObjectBody(request);
    // a client may send back what it has read
    for (const SConfigKeyRule& rule : NetworkSecretsTable)
    {
        patch.removeMember(std::string(rule.key));
    }
    networkApplicator->PatchConfig(patch);
    return GetNetworkConfig();
}

// ------------------------------------------------------------------------------------------------- tokens

CConfigApi::Response CConfigApi::GetAuthStandaloneList()
{
    LOG_ENTRY(CConfigApi, "GetAuthStandaloneList");
    Json::Value list(Json::objectValue);
    {
        const std::lock_guard lock(tokensMutex);
        list[TokensKey] = tokens.GetTokens();
    }
    return std::make_shared<JsonResponse>(std::move(list));
}

CConfigApi::Response CConfigApi::PostAuthStandaloneList(const IHttpRequest& request)
{
    LOG_ENTRY(CConfigApi, "PostAuthStandaloneList");
    const Json::Value body = ParseJsonBody(request);
    const std::string uid = GetJsonString(body, UidKey);
    const std::string description = GetJsonString(body, DescriptionKey);
    if (uid.empty())
    {
        throw HttpStatusException<400>("Empty token UID");
    }
    const std::lock_guard lock(tokensMutex);
    tokens.AddToken(uid, description);
    SaveTokens();
    return Empty();
}

CConfigApi::Response CConfigApi::GetAuthStandaloneToken(const IHttpRequest& request)
{
    LOG_ENTRY(CConfigApi, "GetAuthStandaloneToken");
    const std::string uid = request.GetArg(UidKey);
    const std::lock_guard lock(tokensMutex);
    return std::make_shared<JsonResponse>(tokens.GetToken(uid));
}

CConfigApi::Response CConfigApi::DeleteAuthStandaloneToken(const IHttpRequest& request)
{
    LOG_ENTRY(CConfigApi, "DeleteAuthStandaloneToken");
    const std::string uid = request.GetArg(UidKey);
    const std::lock_guard lock(tokensMutex);
    tokens.RemoveToken(uid);
    SaveTokens();
    return Empty();
}

CConfigApi::Response CConfigApi::PatchAuthStandaloneToken(const IHttpRequest& request)
{
    LOG_ENTRY(CConfigApi, "PatchAuthStandaloneToken");
    const Json::Value body = ParseJsonBody(request);
    const std::string uid = request.GetArg(UidKey);
    const std::string description = GetJsonString(body, DescriptionKey);
    const std::lock_guard lock(tokensMutex);
    tokens.UpdateDescription(uid, description);
    Json::Value token = tokens.GetToken(uid);
    SaveTokens();
    return std::make_shared<JsonResponse>(std::move(token));
}

void CConfigApi::SaveTokens()
{
    LOG_DEBUG("Writing new list of tokens to standalone token config");
    rfidConfig->SetValue(TokensKey, tokens.GetTokens());
}

// ----------------------------------------------------------------------------------------------- password

CConfigApi::Response CConfigApi::PutWebIfManagementPassword(const IHttpRequest& request)
{
    LOG_ENTRY(CConfigApi, "PutWebIfManagementPassword");
    const Json::Value body = ParseJsonBody(request);
    const std::string newPassword = GetJsonString(body, "NewPassword");
    const std::string currentPassword = GetJsonString(body, "CurrentPassword");
    if (!authorization->CheckPassword(currentPassword))
    {
        throw HttpStatusException<401>("Current password is incorrect");
    }
    SetPassword(newPassword);
    return Empty();
}

CConfigApi::Response CConfigApi::PutWebIfManagementPasswordPuk(const IHttpRequest& request)
{
    LOG_ENTRY(CConfigApi, "PutWebIfManagementPasswordPuk");
    const Json::Value body = ParseJsonBody(request);
    const std::string code = GetJsonString(body, "PukCode");
    const std::string newPassword = GetJsonString(body, "NewPassword");
    CheckPuk(code);
    SetPassword(newPassword);
    return Empty();
}

void CConfigApi::CheckPuk(const std::string& code) const
{
    if (code.empty())
    {
        LOG_INFO("Refusing password change request because PUK code in request is empty");
        throw HttpStatusException<401>("Empty PUK code is not allowed");
    }
    if (!pukCode || !pukCode->Equal(code))
    {
        LOG_INFO("Refusing password change request because PUK code in request does not match PUK code "
                 "configured on the system");
        throw HttpStatusException<401>("PUK code is incorrect");
    }
}

void CConfigApi::SetPassword(const std::string& newPassword)
{
    LOG_ENTRY(CConfigApi, "SetPassword");
    if (newPassword.empty())
    {
        LOG_INFO("Refusing setting a new password because it does not pass strength checks");
        throw HttpStatusException<400>("Password strength not sufficient");
    }
    const Toolbox::CPassword password = Toolbox::CPassword::FromPlainText(newPassword);
    secretsConfig->SetString(PasswordKey, password.ToString());
    if (authorization != nullptr)
    {
        authorization->RemoveAllSessions();
    }
}

// ----------------------------------------------------------------------------------------------- schedule

CConfigApi::Response CConfigApi::GetLocalChargingSchedule()
{
    LOG_ENTRY(CConfigApi, "GetLocalChargingSchedule");
    return std::make_shared<JsonResponse>(ScheduledCharging().ReadSchedule());
}

CConfigApi::Response CConfigApi::PostLocalChargingSchedule(const IHttpRequest& request)
{
    LOG_ENTRY(CConfigApi, "PostLocalChargingSchedule");
    const Json::Value schedule = ParseJsonBody(request);
    if (!ScheduledCharging().WriteSchedule(schedule))
    {
        throw HttpStatusException<400>("Bad request. Invalid schedule.");
    }
    return Empty();
}

ILocalScheduledChargingComponent& CConfigApi::ScheduledCharging() const
{
    if (scheduledCharging == nullptr)
    {
        throw HttpStatusException<404>();
    }
    return *scheduledCharging;
}

// -------------------------------------------------------------------------------------------- back office

CConfigApi::Response CConfigApi::GetOcppBackofficeConfig()
{
    LOG_ENTRY(CConfigApi, "GetOcppBackofficeConfig");
    return std::make_shared<JsonResponse>(ocppBackofficeApplicator->GetConfig());
}

CConfigApi::Response CConfigApi::PutOcppBackofficeConfig(const IHttpRequest& request)
{
    LOG_ENTRY(CConfigApi, "PutOcppBackofficeConfig");
    ocppBackofficeApplicator->PatchConfig(ParseJsonBody(request));
    return Empty();
}

} // namespace Resources
