#include "platform/toolbox/diagnosticspackager.h"

#include "platform/log/log.h"
#include "platform/toolbox/descriptor.h"
#include "platform/toolbox/program.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

namespace Toolbox
{

namespace
{

namespace fs = std::filesystem;

/// Statuses of tar up to this one mean a good archive; 1 tells of files that changed while they were read.
constexpr int LastGoodStatus = 1;

bool IsHarmless(char character)
{
    constexpr std::string_view Harmless = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";
    return Harmless.find(character) != std::string_view::npos;
}

std::string UtcTime(std::chrono::system_clock::time_point time)
{
    return fmt::format("{:%Y-%m-%dT%H%M%S}", fmt::gmtime(std::chrono::system_clock::to_time_t(time)));
}

struct SFile
{
    fs::path path;

    /// seconds since 1970
    std::int64_t changed;
};

/// The paths of what is in a directory, for as long as it can be read.
std::vector<fs::path> List(const fs::path& directory)
{
    std::vector<fs::path> entries;
    std::error_code error;
    for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
         entry.increment(error))
    {
        entries.push_back(entry->path());
    }
    if (error)
    {
        LOG_WARN("Cannot read {}: {}", directory.string(), error.message());
    }
    return entries;
}

/// Sorts what a directory holds into regular files and directories; the rest, and what has gone, is left out.
void Sort(const fs::path& directory, std::vector<SFile>& files, std::vector<fs::path>& directories)
{
    for (fs::path& entry : List(directory))
    {
        struct stat status = {};
        if (lstat(entry.c_str(), &status) != 0)
        {
            continue;
        }
        if (S_ISREG(status.st_mode))
        {
            files.push_back({std::move(entry), status.st_mtime});
        }
        else if (S_ISDIR(status.st_mode))
        {
            directories.push_back(std::move(entry));
        }
    }
}

/// All regular files in and below a directory.
std::vector<SFile> FindFiles(const fs::path& top)
{
    std::vector<SFile> files;
    std::vector<fs::path> directories{top};
    while (!directories.empty())
    {
        const fs::path directory = std::move(directories.back());
        directories.pop_back();
        Sort(directory, files, directories);
    }
    return files;
}

std::string JoinWithNul(const CDiagnosticsPackager::Collection& names)
{
    std::string joined;
    for (const std::string& name : names)
    {
        joined.append(name).push_back('\0');
    }
    return joined;
}

} // namespace

CDiagnosticsPackager::CDiagnosticsPackager(fs::path logDirectory, fs::path packageDirectory, SystemClock now)
    : logDirectory(std::move(logDirectory))
    , packageDirectory(std::move(packageDirectory))
    , now(std::move(now))
{
    LOG_ENTRY(CDiagnosticsPackager, "CDiagnosticsPackager");
}

std::string CDiagnosticsPackager::GetPackageFileName(const std::string& customer,
                                                     const std::string& serialNumber) const
{
    LOG_ENTRY(CDiagnosticsPackager, "GetPackageFileName");
    std::string name = fmt::format("{}_{}_{}.pedp", customer, serialNumber, UtcTime(now()));
    std::replace_if(
        name.begin(), name.end(), [](char character) { return !IsHarmless(character); }, '_');
    return name;
}

CDiagnosticsPackager::Collection CDiagnosticsPackager::CollectFiles(std::int64_t from, std::int64_t to) const
{
    LOG_ENTRY(CDiagnosticsPackager, "CollectFiles");
    Collection files;
    for (const SFile& file : FindFiles(logDirectory))
    {
        if (from <= file.changed && file.changed <= to)
        {
            files.push_back(file.path.lexically_relative(logDirectory).string());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string CDiagnosticsPackager::CreatePackage(const std::string& name, const Collection& files) const
{
    LOG_ENTRY(CDiagnosticsPackager, "CreatePackage");
    const fs::path package = packageDirectory / name;
    std::error_code ignored;
    // an earlier package stays until there is a new one, unless it takes the space that this one needs
    if (WritePackage(package, files) || (fs::remove(package, ignored) && WritePackage(package, files)))
    {
        return package.string();
    }
    return "";
}

bool CDiagnosticsPackager::WritePackage(const fs::path& package, const Collection& files) const
{
    std::string unfinished = package.string() + ".XXXXXX";
    const CDescriptor archive(mkostemp(unfinished.data(), O_CLOEXEC));
    if (archive.Get() < 0)
    {
        LOG_ERROR("Cannot write {}: {}", package.string(), strerrordesc_np(errno));
        return false;
    }
    if (Pack(files, archive.Get()))
    {
        if (rename(unfinished.c_str(), package.c_str()) == 0)
        {
            return true;
        }
        LOG_ERROR("Cannot write {}: {}", package.string(), strerrordesc_np(errno));
    }
    std::error_code ignored;
    fs::remove(unfinished, ignored);
    return false;
}

bool CDiagnosticsPackager::Pack(const Collection& files, int archive) const
{
    // the names go in as data, so that none of them can be taken for an option or a pattern
    const SProgramEnd end = RunProgram({"/bin/tar",
                                        "--create",
                                        "--file=-",
                                        "--directory=" + logDirectory.string(),
                                        "--null",
                                        "--no-unquote",
                                        "--no-recursion",
                                        "--ignore-failed-read",
                                        "--files-from=-"},
                                       JoinWithNul(files),
                                       archive);
    if (end.status > LastGoodStatus)
    {
        LOG_ERROR("Packing {} failed with {}: {}", logDirectory.string(), end.status, end.errors);
        return false;
    }
    return true;
}

} // namespace Toolbox
