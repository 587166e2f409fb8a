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

/// Shows a file in the place of another one while it lives, to those that see the mounts.
class CShownFile
{
public:
    /// @param file  outlives the object
    /// @throws std::system_error
    CShownFile(const CPrivateMounts& mounts, const std::filesystem::path& file, std::filesystem::path place);
    ~CShownFile();
    CShownFile(const CShownFile&) = delete;
    CShownFile& operator=(const CShownFile&) = delete;
    CShownFile(CShownFile&&) = delete;
    CShownFile& operator=(CShownFile&&) = delete;

private:
    const std::filesystem::path place;
};
