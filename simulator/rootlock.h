#pragma once

#include <filesystem>

namespace Simulator
{

/// Holds a station's root for one simulator: a second one would take over its sockets unseen.
class CRootLock
{
public:
    /// @param root its directory run is made if it is not there
    /// @throws std::runtime_error if another simulator has it
    explicit CRootLock(const std::filesystem::path& root);

    /// Gives the root free, as the end of the process does.
    ~CRootLock();
    CRootLock(const CRootLock&) = delete;
    CRootLock& operator=(const CRootLock&) = delete;
    CRootLock(CRootLock&&) = delete;
    CRootLock& operator=(CRootLock&&) = delete;

private:
    int file = -1;
};

} // namespace Simulator
