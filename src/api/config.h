#pragma once

#include "src/utils/rfidtokenlist.h"

#include "platform/toolbox/password.h"

#include <json/value.h>

#include <memory>
#include <mutex>
#include <optional>
#include <string>

class IAuthorization;
class IConfigApplicator;
class IHttpRequest;
class ILocalScheduledChargingComponent;
class TarnConfig;

namespace httpserver
{
class http_response;
}

namespace Resources
{

/// Handlers of the routes below /config: settings, stand-alone RFID tokens, the password of the web interface
/// and its PUK, the charging schedule, the OCPP back office.
///
/// Bodies are JSON: one that can't be parsed is HttpStatusException<400>, and so is one with a missing or
/// wrongly typed member, null among them. One of another type is a Json::Exception unless an operation says
/// otherwise. What
/// the applicators and the configurations throw goes through all operations.
///
/// Threads: any, several at the same time. Changes of the token list come one by one, and readers wait for
/// them.
class CConfigApi
{
public:
    using Response = std::shared_ptr<httpserver::http_response>;

    /// Reads the tokens and the PUK, for good: later changes of the two files by others go unnoticed.
    /// @param authorization      null while nobody has to log in: PutWebIfManagementPassword isn't called
    /// then
    /// @param rfidConfig         the configuration "rfid_standalone"; its "Tokens" follow the list kept here
    /// @param secretsConfig      the configuration "secrets", with "WebIfPukCode" in the encoded form of
    ///                           Toolbox::CPassword; without one that can be decoded every PUK is wrong
    /// @param scheduledCharging  null on a station without it
    CConfigApi(std::shared_ptr<IAuthorization> authorization,
               std::shared_ptr<TarnConfig> rfidConfig,
               std::shared_ptr<IConfigApplicator> settingsApplicator,
               std::shared_ptr<IConfigApplicator> networkApplicator,
               std::shared_ptr<IConfigApplicator> networkSecretsApplicator,
               std::shared_ptr<IConfigApplicator> ocppBackofficeApplicator,
               std::shared_ptr<TarnConfig> secretsConfig,
               std::shared_ptr<ILocalScheduledChargingComponent> scheduledCharging);

    /// 200 with an object of the user's settings.
    Response GetUserConfig();

    /// Takes an object of some of them. 200 with all as they are then.
    /// @throws HttpStatusException<400> "Bad request body" if the body is no object
    Response PatchUserConfig(const IHttpRequest& request);

    /// 200 with an object of the network settings and the network secrets that may be seen.
    Response GetNetworkConfig();

    /// Takes an object of some of them; the secrets in it are ignored. 200 with all as they are then.
    /// @throws HttpStatusException<400> "Bad request body" if the body is no object
    Response PatchNetworkConfig(const IHttpRequest& request);

    /// 200 with {"Tokens": [{"RfidTokenUid": string, "RfidTokenDescription": string}, …]}.
    Response GetAuthStandaloneList();

    /// Takes a token and appends it. 204.
    /// @throws HttpStatusException<400> "Empty token UID", and as CRfidTokenList::AddToken
    Response PostAuthStandaloneList(const IHttpRequest& request);

    /// 200 with the token of the argument "RfidTokenUid".
    /// @throws HttpStatusException<404> if there is none
    Response GetAuthStandaloneToken(const IHttpRequest& request);

    /// Removes it. 204.
    /// @throws HttpStatusException<404> if there is none
    Response DeleteAuthStandaloneToken(const IHttpRequest& request);

    /// Takes {"RfidTokenDescription": string} for it. 200 with the token as it is then.
    /// @throws HttpStatusException as CRfidTokenList::UpdateDescription
    Response PatchAuthStandaloneToken(const IHttpRequest& request);

    /// Takes {"NewPassword": string, "CurrentPassword": string}, sets the new one and logs everybody out.
    /// 204. If the diagnostics can't be reached the new one is set, but nobody is logged out and the answer
    /// is a failure.
    /// @throws HttpStatusException<401> "Current password is incorrect"
    /// @throws HttpStatusException<400> "Password strength not sufficient" if the new one is empty
    /// @throws std::exception if it is one that Toolbox::CPassword can't encode
    Response PutWebIfManagementPassword(const IHttpRequest& request);

    /// The same with {"PukCode": string, "NewPassword": string}.
    /// @throws HttpStatusException<401> "Empty PUK code is not allowed" or "PUK code is incorrect"
    /// @throws HttpStatusException<400> "Password strength not sufficient" if the new password is empty
    /// @throws std::exception if it is one that Toolbox::CPassword can't encode
    Response PutWebIfManagementPasswordPuk(const IHttpRequest& request);

    /// 200 with the schedule: see ILocalScheduledChargingComponent.
    /// @throws HttpStatusException<404> with its reason word on a station without it
    Response GetLocalChargingSchedule();

    /// Takes a schedule. 204.
    /// @throws HttpStatusException<400> "Bad request. Invalid schedule."
    /// @throws HttpStatusException<404> with its reason word on a station without it
    Response PostLocalChargingSchedule(const IHttpRequest& request);

    /// 200 with the back offices to choose from: see COcppBackofficeApplicator.
    Response GetOcppBackofficeConfig();

    /// Takes the choice of one. 204.
    Response PutOcppBackofficeConfig(const IHttpRequest& request);

private:
    void LoadPuk();
    void CheckPuk(const std::string& code) const;
    void SetPassword(const std::string& newPassword);

    /// Writes the list to its file. The caller holds tokensMutex.
    void SaveTokens();

    /// @throws HttpStatusException<404> if there is none
    ILocalScheduledChargingComponent& ScheduledCharging() const;

    // Constant after construction
    const std::shared_ptr<IAuthorization> authorization;
    const std::shared_ptr<TarnConfig> rfidConfig;
    const std::shared_ptr<IConfigApplicator> settingsApplicator;
    const std::shared_ptr<IConfigApplicator> networkApplicator;
    const std::shared_ptr<IConfigApplicator> networkSecretsApplicator;
    const std::shared_ptr<IConfigApplicator> ocppBackofficeApplicator;
    const std::shared_ptr<TarnConfig> secretsConfig;
    const std::shared_ptr<ILocalScheduledChargingComponent> scheduledCharging;
    std::optional<Toolbox::CPassword> pukCode;

    // Also held while the file is written, so that it gets the states of the list in their order
    std::mutex tokensMutex;

    // Guarded by tokensMutex
    CRfidTokenList tokens;
};

} // namespace Resources
