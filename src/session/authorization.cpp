#include "src/session/authorization.h"

#include "src/session/session.h"
#include "src/session/sessionkey.h"

#include "contracts/diagnostics/diagnosticssignal.h"
#include "contracts/diagnostics/signalcatalogue.h"
#include "platform/config/tarnconfig.h"
#include "platform/log/log.h"
#include "platform/toolbox/password.h"

#include <json/value.h>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace
{

constexpr const char* PasswordKey = "WebIfManagementPassword";
constexpr const char* SessionsKey = "WebSessions";
constexpr std::ptrdiff_t MaxPersistentSessions = 10;
constexpr std::chrono::seconds LeastRestoredLife{1};

std::mt19937 SeededEngine()
{
    std::random_device device("default");
    return std::mt19937(device());
}

Json::Value ToJson(const CSession& session)
{
    using std::chrono::seconds;
    const auto expiry = std::chrono::duration_cast<seconds>(session.GetExpiry().time_since_epoch());
    Json::Value element(Json::objectValue);
    element["Key"] = session.GetKey();
    element["Expiry"] = Json::Int64{expiry.count()};
    return element;
}

} // namespace

CAuthorization::CAuthorization(std::shared_ptr<TarnConfig> config, Toolbox::SystemClock clock)
    : CAuthorization(std::move(config), std::move(clock), SeededEngine())
{
}

CAuthorization::CAuthorization(std::shared_ptr<TarnConfig> config,
                               Toolbox::SystemClock clock,
                               std::mt19937 randomEngine)
    : config(std::move(config))
    , clock(std::move(clock))
    , randomEngine(randomEngine)
{
    LOG_ENTRY(CAuthorization, "CAuthorization");
    LoadPassword();
    LoadSessions();
}

CAuthorization::~CAuthorization() = default;

bool CAuthorization::IsSessionValid(const std::string& key)
{
    LOG_ENTRY(CAuthorization, "IsSessionValid");
    return FindLiveSession(key) != nullptr;
}

bool CAuthorization::RefreshSession(const std::string& key)
{
    LOG_ENTRY(CAuthorization, "RefreshSession");
    const std::shared_ptr<CSession> session = FindLiveSession(key);
    if (session == nullptr)
    {
        return false;
    }
    session->Refresh();
    return true;
}

bool CAuthorization::IsSessionPersistent(const std::string& key)
{
    LOG_ENTRY(CAuthorization, "IsSessionPersistent");
    const std::shared_ptr<CSession> session = FindLiveSession(key);
    return session != nullptr && session->IsPersistent();
}

bool CAuthorization::CheckPassword(const std::string& password)
{
    LOG_ENTRY(CAuthorization, "CheckPassword");
    const auto inForce = std::atomic_load(&this->password);
    return inForce != nullptr && inForce->Equal(password);
}

std::optional<std::string>
CAuthorization::CreateSession(const std::string& password, std::uint64_t timeoutSeconds, bool persistent)
{
    LOG_ENTRY(CAuthorization, "CreateSession");
    // wanted over the hash, the report to the diagnostics and the write: logins come one by one
    const std::lock_guard lock(mutex);
    ReloadChangedConfig();
    if (!CheckPassword(password))
    {
        LOG_DEBUG("The passwords no not match. No session will be returned.");
        return std::nullopt;
    }
    LOG_DEBUG("The passwords match. A {} session is being created and stored in the container.",
              persistent ? "persistent" : "non-persistent");
    CDiagnosticsSignal<std::string>(&Signals::UserActionPerformed).Send("Successful web interface login");

    std::string key = GenerateSessionKey(randomEngine);
    sessions.emplace(key, std::make_shared<CSession>(key, timeoutSeconds, persistent, clock));
    if (persistent)
    {
        PrunePersistentSessions();
        SaveSessions();
    }
    return key;
}

void CAuthorization::RemoveSession(const std::string& key)
{
    LOG_ENTRY(CAuthorization, "RemoveSession");
    const std::lock_guard lock(mutex);
    const auto found = sessions.find(key);
    if (found == sessions.end())
    {
        LOG_DEBUG("No active session with key '{}' is found.", key);
        return;
    }
    LOG_DEBUG("An active session with key '{}' is found and will be removed.", key);
    found->second->Expire();
    const bool persistent = found->second->IsPersistent();
    sessions.erase(found);
    if (persistent)
    {
        SaveSessions();
    }
}

void CAuthorization::RemoveAllSessions()
{
    LOG_ENTRY(CAuthorization, "RemoveAllSessions");
    const std::lock_guard lock(mutex);
    sessions.clear();
    SaveSessions();
}

void CAuthorization::LoadPassword()
{
    LOG_ENTRY(CAuthorization, "LoadPassword");
    const auto decoded = Toolbox::CPassword::FromEncoded(config->GetString(PasswordKey, ""));
    if (!decoded)
    {
        LOG_WARN(
            "Failed to decode web interface authorization password from configuration. Any authorization "
            "attempts will fail.");
        return;
    }
    std::atomic_store(&password, std::make_shared<const Toolbox::CPassword>(*decoded));
    LOG_INFO("Web interface authorization password successfully initialized from configuration.");
}

void CAuthorization::LoadSessions()
{
    LOG_ENTRY(CAuthorization, "LoadSessions");
    const std::lock_guard lock(mutex);
    if (!config->Contains(SessionsKey))
    {
        return;
    }
    const Json::Value elements = config->GetValue(SessionsKey, Json::Value());
    if (!elements.isArray())
    {
        LOG_ERROR("Invalid sessions format: Not an array");
        return;
    }
    for (const Json::Value& element : elements)
    {
        LoadSession(element);
    }
}

void CAuthorization::LoadSession(const Json::Value& element)
{
    if (!element.isObject())
    {
        LOG_ERROR("Invalid session format: Session is not an object");
        return;
    }
    const std::string key = element["Key"].asString();
    const std::chrono::system_clock::time_point expiry = TimeAfter({}, element["Expiry"].asUInt64());
    const std::chrono::nanoseconds rest = expiry - clock();
    if (rest < LeastRestoredLife)
    {
        return;
    }
    const auto timeout = std::chrono::duration_cast<std::chrono::seconds>(rest);
    // the first element with a key wins
    sessions.emplace(
        key, std::make_shared<CSession>(key, static_cast<std::uint64_t>(timeout.count()), true, clock));
}

void CAuthorization::ReloadChangedConfig()
{
    if (config->HasChanged())
    {
        LOG_DEBUG("The config file containing the webinterface password was reloaded because of a detected "
                  "change.");
        config->Reload();
        LoadPassword();
    }
}

std::shared_ptr<CSession> CAuthorization::FindLiveSession(const std::string& key)
{
    const std::lock_guard lock(mutex);
    const std::chrono::system_clock::time_point now = clock();
    std::shared_ptr<CSession> found;
    for (auto entry = sessions.begin(); entry != sessions.end();)
    {
        const CSession& session = *entry->second;
        if (!session.IsExpiredAt(now))
        {
            if (found == nullptr && entry->first == key)
            {
                found = entry->second;
            }
            ++entry;
            continue;
        }
        const bool persistent = session.IsPersistent();
        entry = sessions.erase(entry);
        if (persistent)
        {
            SaveSessions();
        }
    }
    return found;
}

void CAuthorization::PrunePersistentSessions()
{
    const auto persistentSessions = std::count_if(
        sessions.begin(), sessions.end(), [](const auto& entry) { return entry.second->IsPersistent(); });
    if (persistentSessions <= MaxPersistentSessions)
    {
        return;
    }
    // whatever kind of session it is: one with the least key that expires first goes in place of a persistent
    // one
    auto candidate = sessions.begin();
    for (auto entry = sessions.begin(); entry != sessions.end(); ++entry)
    {
        if (entry->second->IsPersistent() && entry->second->GetExpiry() < candidate->second->GetExpiry())
        {
            candidate = entry;
        }
    }
    sessions.erase(candidate);
}

void CAuthorization::SaveSessions()
{
    Json::Value elements(Json::arrayValue);
    for (const auto& [key, session] : sessions)
    {
        if (session->IsPersistent())
        {
            elements.append(ToJson(*session));
        }
    }
    config->SetValue(SessionsKey, elements);
}
