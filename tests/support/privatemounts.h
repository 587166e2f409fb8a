#pragma once

#include <filesystem>
#include <string>

/// Mounts that only the calling thread and the processes and threads that it makes later see.
class CPrivateMounts
{
public:
    /// Needs the right to mount. @throws std::system_error without it
    CPrivateMounts();

    /// @param options  of tmpfs, such as "size=64k"
    /// @throws std::system_error
    void MountMemory(const std::filesystem::path& directory, const std::string& options) const;

    /// Lets nobody write to what MountMemory has mounted.
    /// @throws std::system_error
    void MakeReadOnly(const std::filesystem::path& directory) const;
};
