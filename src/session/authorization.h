/// Who may use the web interface: the password, and the sessions of the browsers that have logged in with it.
#pragma once

#include "platform/toolbox/systemclock.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>

class CSession;
class TarnConfig;

namespace Json
{
class Value;
}

namespace Toolbox
{
class CPassword;
}

/// Decides who may use the web interface. A null pointer to it means that everybody may.
/// Threads: any.
class IAuthorization
{
public:
    IAuthorization() = default;
    IAuthorization(const IAuthorization&) = delete;
    IAuthorization& operator=(const IAuthorization&) = delete;
    IAuthorization(IAuthorization&&) = delete;
    IAuthorization& operator=(IAuthorization&&) = delete;
    virtual ~IAuthorization() = default;

    /// Whether @p key names a live session. Its life goes on as it was.
    virtual bool IsSessionValid(const std::string& key) = 0;

    /// Whether @p key names a live session; if so, its life begins anew.
    virtual bool RefreshSession(const std::string& key) = 0;

    /// Whether @p key names a live session that outlives the process. Its life goes on as it was.
    virtual bool IsSessionPersistent(const std::string& key) = 0;

    /// Whether @p password is the password as it was read at the start or at the last attempt to log in.
    /// Takes the time of a hash; does not wait for any other operation.
    virtual bool CheckPassword(const std::string& password) = 0;

    /// Logs in. Reports each success to the diagnostics and waits for that; all other operations on sessions
    /// wait meanwhile.
    /// @param timeoutSeconds  life of the session from here and from each renewal
    /// @param persistent      whether it outlives the process
    /// @return the key of the new session; empty if the password is wrong
    /// @throws Rpc::CommunicationException if the diagnostics can't be reached: no session is made
    virtual std::optional<std::string>
    CreateSession(const std::string& password, std::uint64_t timeoutSeconds, bool persistent) = 0;

    /// Logs out. A key without a session is no error.
    virtual void RemoveSession(const std::string& key) = 0;

    /// Logs everybody out.
    virtual void RemoveAllSessions() = 0;
};

/// The session store of a commissioned station.
///
/// Two keys of the configuration "secrets" are its own:
/// - "WebIfManagementPassword", read: the password in the encoded form of Toolbox::CPassword. A change of the
///   file is noticed at the next login; what can't be decoded is left out of account, so that nobody logs in
///   as long as there has been nothing else.
/// - "WebSessions", kept: the persistent sessions, [{"Expiry": seconds since the epoch, "Key": text}, …] in
///   order of their keys. It is written when such a session begins or is found to have ended, but not when
///   one is renewed. A session that was restored from it gets at each renewal the whole seconds that were
///   left of its life when it was restored.
///
/// A persistent login that makes more than ten persistent sessions throws one session out: the one that
/// expires first of these and of the session with the least key, of whatever kind that is.
///
/// What the configuration and the JSON library throw goes through all operations. Every look-up removes what
/// has expired, and so may write the file.
///
/// Threads: any.
class CAuthorization : public IAuthorization
{
public:
    /// Loads password and sessions.
    /// @param config  the configuration "secrets"
    /// @throws Json::Exception if a stored session has a "Key" that the JSON library can't give as a text or
    /// an "Expiry" that it can't give as a number from 0 on, such as objects and negative numbers
    explicit CAuthorization(std::shared_ptr<TarnConfig> config,
                            Toolbox::SystemClock clock = &std::chrono::system_clock::now);

    /// The same with a given source of session keys.
    CAuthorization(std::shared_ptr<TarnConfig> config, Toolbox::SystemClock clock, std::mt19937 randomEngine);

    ~CAuthorization() override;
    CAuthorization(const CAuthorization&) = delete;
    CAuthorization& operator=(const CAuthorization&) = delete;
    CAuthorization(CAuthorization&&) = delete;
    CAuthorization& operator=(CAuthorization&&) = delete;

    bool IsSessionValid(const std::string& key) override;
    bool RefreshSession(const std::string& key) override;
    bool IsSessionPersistent(const std::string& key) override;
    bool CheckPassword(const std::string& password) override;
    std::optional<std::string>
    CreateSession(const std::string& password, std::uint64_t timeoutSeconds, bool persistent) override;
    void RemoveSession(const std::string& key) override;
    void RemoveAllSessions() override;

private:
    /// A password that can't be decoded leaves the one in force as it is.
    void LoadPassword();
    void LoadSessions();
    void LoadSession(const Json::Value& element);
    void ReloadChangedConfig();

    /// Also removes all sessions that have expired.
    std::shared_ptr<CSession> FindLiveSession(const std::string& key);

    void PrunePersistentSessions();
    void SaveSessions();

    // Constant after construction
    const std::shared_ptr<TarnConfig> config;
    const Toolbox::SystemClock clock;

    // Replaced and read as a whole by std::atomic_store and std::atomic_load, so that a check of the password
    // never waits for a login
    std::shared_ptr<const Toolbox::CPassword> password;

    // Also held while the configuration is read and written
    std::mutex mutex;

    // Guarded by mutex
    std::map<std::string, std::shared_ptr<CSession>> sessions;
    std::mt19937 randomEngine;
};
