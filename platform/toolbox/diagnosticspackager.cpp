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
#include <unistd.h>

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

/// What the name of an unfinished package has behind the package's; mkostemp puts others in for the X.
constexpr std::string_view Placeholder = ".XXXXXX";

/// Whether a file's name is that of an unfinished package.
bool IsUnfinished(const std::string& file, const std::string& package)
{
    return file.size() == package.size() + Placeholder.size() &&
           file.compare(0, package.size(), package) == 0 && file[package.size()] == Placeholder.front();
}

/// A new file beside the package, which goes with the object unless it takes the package's place.
class CUnfinished
{
public:
    explicit CUnfinished(const fs::path& package)
        : package(package.string())
        , name(this->package + std::string(Placeholder))
        , file(mkostemp(name.data(), O_CLOEXEC))
    {
    }
    ~CUnfinished()
    {
        if (file.Get() >= 0)
        {
            unlink(name.c_str());
        }
    }
    CUnfinished(const CUnfinished&) = delete;
    CUnfinished& operator=(const CUnfinished&) = delete;
    CUnfinished(CUnfinished&&) = delete;
    CUnfinished& operator=(CUnfinished&&) = delete;

    int Get() const { return file.Get(); }

    /// @return whether it is the package now, otherwise errno tells why not
    bool TakePlace() const { return rename(name.c_str(), package.c_str()) == 0; }

private:
    const std::string package;
    std::string name;
    const CDescriptor file;
};

/// What tar writes at a time, in bytes.
constexpr std::size_t RecordSize = 10240;

/// Whether not even one record more goes into an archive that is to be given up.
bool IsFull(int archive)
{
    const std::string record(RecordSize, '\0');
    const ssize_t written = write(archive, record.data(), record.size());
    return written < 0 ? errno == ENOSPC || errno == EDQUOT : static_cast<std::size_t>(written) < RecordSize;
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

CDiagnosticsPackager::CDiagnosticsPackager(fs::path logDirectory,
                                           fs::path packageDirectory,
                                           SystemClock now,
                                           std::string tar)
    : logDirectory(std::move(logDirectory))
    , packageDirectory(std::move(packageDirectory))
    , now(std::move(now))
    , tar(std::move(tar))
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

std::string CDiagnosticsPackager::CreatePackage(const std::string& name,
                                                const Collection& files,
                                                CInterruption* interruption) const
{
    LOG_ENTRY(CDiagnosticsPackager, "CreatePackage");
    const std::lock_guard lock(packing);
    RemoveUnfinished(name);
    const fs::path package = packageDirectory / name;
    EOutcome outcome = WritePackage(package, files, interruption);
    std::error_code ignored;
    // an earlier package stays until there is a new one, unless it takes the room that this one needs
    if (outcome == EOutcome::NoRoom && fs::remove(package, ignored))
    {
        LOG_WARN("Gave up the earlier {}, since there is no room for two", package.string());
        outcome = WritePackage(package, files, interruption);
    }
    return outcome == EOutcome::Done ? package.string() : "";
}

void CDiagnosticsPackager::RemoveUnfinished(const std::string& name) const
{
    LOG_ENTRY(CDiagnosticsPackager, "RemoveUnfinished");
    for (const fs::path& file : List(packageDirectory))
    {
        if (IsUnfinished(file.filename().string(), name) && unlink(file.c_str()) == 0)
        {
            LOG_WARN("Removed {}, which was never finished", file.string());
        }
    }
}

CDiagnosticsPackager::EOutcome CDiagnosticsPackager::WritePackage(const fs::path& package,
                                                                  const Collection& files,
                                                                  CInterruption* interruption) const
{
    LOG_ENTRY(CDiagnosticsPackager, "WritePackage");
    const CUnfinished unfinished(package);
    if (unfinished.Get() < 0)
    {
        const int error = errno;
        LOG_ERROR("Cannot write {}: {}", package.string(), strerrordesc_np(error));
        return error == ENOSPC || error == EDQUOT ? EOutcome::NoRoom : EOutcome::Failed;
    }
    const EOutcome outcome = Pack(files, unfinished.Get(), interruption);
    if (outcome == EOutcome::Done && !unfinished.TakePlace())
    {
        LOG_ERROR("Cannot write {}: {}", package.string(), strerrordesc_np(errno));
        return EOutcome::Failed;
    }
    return outcome;
}

CDiagnosticsPackager::EOutcome
CDiagnosticsPackager::Pack(const Collection& files, int archive, CInterruption* interruption) const
{
    LOG_ENTRY(CDiagnosticsPackager, "Pack");
    // the names go in as data, so that none of them can be taken for an option or a pattern
    const SProgramEnd end = RunProgram({tar,
                                        "--create",
                                        "--file=-",
                                        "--directory=" + logDirectory.string(),
                                        "--null",
                                        "--no-unquote",
                                        "--no-recursion",
                                        "--ignore-failed-read",
                                        "--files-from=-"},
                                       JoinWithNul(files),
                                       archive,
                                       interruption);
    if (end.status > LastGoodStatus)
    {
        LOG_ERROR("Packing {} failed with {}: {}", logDirectory.string(), end.status, end.errors);
        return IsFull(archive) ? EOutcome::NoRoom : EOutcome::Failed;
    }
    if (end.status != 0 || !end.errors.empty())
    {
        LOG_WARN("Packing {} ended with {}: {}", logDirectory.string(), end.status, end.errors);
    }
    return EOutcome::Done;
}

} // namespace Toolbox
