#pragma once

#include <filesystem>
#include <string>

/// An empty directory of a short name, which goes with all its contents when the object goes.
class CTemporaryDirectory
{
public:
    CTemporaryDirectory();
    ~CTemporaryDirectory();
    CTemporaryDirectory(const CTemporaryDirectory&) = delete;
    CTemporaryDirectory& operator=(const CTemporaryDirectory&) = delete;
    CTemporaryDirectory(CTemporaryDirectory&&) = delete;
    CTemporaryDirectory& operator=(CTemporaryDirectory&&) = delete;

    const std::filesystem::path& Path() const { return path; }

    /// The path with a slash at its end, as a configuration root.
    std::string Root() const { return path.string() + "/"; }

    /// Writes a file below the directory, with the directories on its way.
    void Write(const std::string& file, const std::string& contents) const;

private:
    std::filesystem::path path;
};
