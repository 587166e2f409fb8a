#pragma once

#include <string>

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

    /// Whether @p key names a live session; if so, its life begins anew.
    virtual bool RefreshSession(const std::string& key) = 0;
};
