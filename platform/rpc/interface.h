#pragma once

namespace Rpc
{

/// Base of what stands behind a pointer to an interface: destroyed through it, neither copied nor moved.
class CInterface
{
public:
    CInterface() = default;
    CInterface(const CInterface&) = delete;
    CInterface& operator=(const CInterface&) = delete;
    CInterface(CInterface&&) = delete;
    CInterface& operator=(CInterface&&) = delete;
    virtual ~CInterface() = default;
};

} // namespace Rpc
