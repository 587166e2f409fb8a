#include "src/session/session.h"

#include <algorithm>
#include <utility>

std::chrono::system_clock::time_point TimeAfter(std::chrono::system_clock::time_point time,
                                                std::uint64_t seconds)
{
    using Time = std::chrono::system_clock::time_point;
    const auto room = std::chrono::duration_cast<std::chrono::seconds>(Time::max() - std::max(time, Time()));
    return seconds <= static_cast<std::uint64_t>(room.count())
               ? time + std::chrono::seconds(static_cast<std::chrono::seconds::rep>(seconds))
               : Time::max();
}

CSession::CSession(std::string key, std::uint64_t timeout, bool persistent, Toolbox::SystemClock clock)
    : key(std::move(key))
    , timeout(timeout)
    , persistent(persistent)
    , clock(std::move(clock))
    , expiry(TimeAfter(this->clock(), timeout))
{
}

bool CSession::IsExpired() const
{
    return IsExpiredAt(clock());
}

bool CSession::IsExpiredAt(std::chrono::system_clock::time_point time) const
{
    return expiry.load() < time;
}

void CSession::Refresh()
{
    expiry = TimeAfter(clock(), timeout);
}

void CSession::Expire()
{
    expiry = clock();
}
