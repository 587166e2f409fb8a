/// What stands between the handlers of the configuration routes and the configuration files: which settings
/// of a file exist for the web interface, and how changes of them are checked, written and put into effect.
///
/// All applicators read and write through TarnConfig, setting by setting and without a lock over several: two
/// patches at the same time interleave, and a revert may wipe out the other one. What TarnConfig and its
/// change callback throw reaches the caller; what was written by then stays.
#pragma once

#include <json/value.h>

#include <memory>
#include <string>

class CConfigTable;
class ILocalScheduledChargingComponent;
class INetM;
class TarnConfig;

/// Reads and changes settings as JSON.
/// Threads: any, several at the same time.
class IConfigApplicator
{
public:
    IConfigApplicator() = default;
    IConfigApplicator(const IConfigApplicator&) = delete;
    IConfigApplicator& operator=(const IConfigApplicator&) = delete;
    IConfigApplicator(IConfigApplicator&&) = delete;
    IConfigApplicator& operator=(IConfigApplicator&&) = delete;
    virtual ~IConfigApplicator() = default;

    /// An object of the settings as they are now; null if there is none of them.
    virtual Json::Value GetConfig() const = 0;

    /// Changes what @p patch, an object, names.
    /// @throws HttpException with the status to answer, and what the derived classes say
    virtual void PatchConfig(const Json::Value& patch) = 0;
};

/// What applicators of one file with a table of settings share.
class CConfigApplicatorBase : public IConfigApplicator
{
protected:
    explicit CConfigApplicatorBase(std::shared_ptr<TarnConfig> config);

    /// The settings of the table that the file has. Each that is missing is logged and left out; null if all
    /// are.
    static Json::Value GetConfigFromTable(const TarnConfig& config, const CConfigTable& table);

    /// Writes the members of @p patch if all of them are in the table, writable and of their types.
    /// @throws HttpStatusException<400> with its reason word at the first member that isn't: nothing is
    ///         written
    static void PatchConfigFromTable(const Json::Value& patch, TarnConfig& config, const CConfigTable& table);

    /// Writes each member of @p values, unchecked and in order of their names.
    static void ApplyValues(const Json::Value& values, TarnConfig& config);

    // Constant after construction
    const std::shared_ptr<TarnConfig> config;
};

/// The user's settings. The schedule component follows "ScheduledChargingEnable".
class CSettingsConfigApplicator : public CConfigApplicatorBase
{
public:
    /// @param settings           the configuration "settings"
    /// @param scheduledCharging  null on a station without it
    CSettingsConfigApplicator(std::shared_ptr<TarnConfig> settings,
                              std::shared_ptr<ILocalScheduledChargingComponent> scheduledCharging);

    Json::Value GetConfig() const override;

    /// Switches the schedule component before the patch is checked, and so also if it is refused then.
    /// @throws HttpStatusException<400> with its reason word for a setting that is unknown, not writable or
    /// of another type: no setting is changed
    /// @throws Json::Exception if there is a component and "ScheduledChargingEnable" is neither a boolean nor
    /// convertible to one
    void PatchConfig(const Json::Value& patch) override;

private:
    // Constant after construction
    const std::shared_ptr<ILocalScheduledChargingComponent> scheduledCharging;
};

/// The network settings, which the network manager puts into effect.
class CNetworkConfigApplicator : public CConfigApplicatorBase
{
public:
    /// @param network  the configuration "network"
    CNetworkConfigApplicator(std::shared_ptr<TarnConfig> network, std::shared_ptr<INetM> netM);

    Json::Value GetConfig() const override;

    /// Has the network manager act on a change, and waits for it. If it refuses, the settings that were there
    /// before get their values of before and the manager acts on those; a setting that the patch has added
    /// stays.
    /// @throws HttpStatusException<400> with its reason word for a setting that is unknown, not writable or
    /// of another type: no setting is changed
    /// @throws HttpStatusException<500> with its reason word after a refusal
    /// @throws Rpc::CommunicationException if the manager can't be reached: the settings stay as they are by
    /// then, changed or after a refusal reverted
    void PatchConfig(const Json::Value& patch) override;

private:
    /// Always throws.
    [[noreturn]] void Revert(const Json::Value& before);

    // Constant after construction
    const std::shared_ptr<INetM> netM;
};

/// The settings of the mobile network. They are only read.
class CNetworkSecretsApplicator : public CConfigApplicatorBase
{
public:
    /// @param secrets  the configuration "secrets"
    explicit CNetworkSecretsApplicator(std::shared_ptr<TarnConfig> secrets);

    Json::Value GetConfig() const override;

    /// @throws HttpStatusException<500> with its reason word, always
    void PatchConfig(const Json::Value& patch) override;
};

/// The choice of the OCPP back office, which stands for settings in three files.
///
/// The file has one key, "Backoffices": [{"Name": string, "UrlTemplate": string, "Settings": [{"File":
/// "settings", "network" or "secrets", "Key": string, "Value": string}, …]}, …]. An element of another shape
/// is a Json::Exception when it is come across.
class COcppBackofficeApplicator : public CConfigApplicatorBase
{
public:
    /// @param backoffices  the configuration "ocpp_backoffices"
    COcppBackofficeApplicator(std::shared_ptr<TarnConfig> backoffices,
                              std::shared_ptr<TarnConfig> settingsConfig,
                              std::shared_ptr<TarnConfig> networkConfig,
                              std::shared_ptr<TarnConfig> secretsConfig);

    /// {"Backoffices": [{"Name": string, "UrlTemplate": string}, …]}
    Json::Value GetConfig() const override;

    /// Takes {"Name": string, "Url": string}, empty where missing: writes both, and then the settings of the
    /// first back office of that name, if there is one, as strings and unchecked.
    /// @throws Json::Exception if @p patch is neither an object nor null or a member can't be text: nothing
    /// is written
    void PatchConfig(const Json::Value& patch) override;

private:
    /// Null if there is no such back office.
    Json::Value SettingsOf(const std::string& name) const;
    void Apply(const Json::Value& setting) const;

    /// Null for a file that isn't one of the three.
    TarnConfig* FindFile(const std::string& name) const;

    // Constant after construction
    const std::shared_ptr<TarnConfig> settingsConfig;
    const std::shared_ptr<TarnConfig> networkConfig;
    const std::shared_ptr<TarnConfig> secretsConfig;
};
