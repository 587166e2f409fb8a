#pragma once

#include "platform/toolbox/systemclock.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

/// The time that lies @p seconds behind @p time, at most the last one that the clock can tell.
std::chrono::system_clock::time_point TimeAfter(std::chrono::system_clock::time_point time,
                                                std::uint64_t seconds);

/// One browser that has logged in.
/// Threads: any.
class CSession
{
public:
    /// Its life begins now.
    /// @param timeout     seconds that it lives on from here and from every renewal
    /// @param persistent  whether it outlives the process
    CSession(std::string key, std::uint64_t timeout, bool persistent, Toolbox::SystemClock clock);

    const std::string& GetKey() const { return key; }
    std::chrono::system_clock::time_point GetExpiry() const { return expiry; }
    bool IsPersistent() const { return persistent; }

    /// Whether the time is past its expiry; at the very instant it still lives.
    bool IsExpired() const;

    /// The same for a time that the caller has read, which spares the clock where there are many sessions.
    bool IsExpiredAt(std::chrono::system_clock::time_point time) const;

    /// Its life begins anew.
    void Refresh();

    /// Its life ends now.
    void Expire();

private:
    // Constant after construction
    const std::string key;
    const std::uint64_t timeout;
    const bool persistent;
    const Toolbox::SystemClock clock;

    // Atomic: sessions are renewed by several threads outside any lock
    std::atomic<std::chrono::system_clock::time_point> expiry;
};
