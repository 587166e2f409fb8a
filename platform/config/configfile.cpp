#include "platform/config/configfile.h"

#include "platform/json/jsonutil.h"

#include <fmt/format.h>

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

namespace
{

/// Files may hold secrets: they are their owner's alone.
constexpr mode_t FileMode = 0600;
constexpr mode_t DirectoryMode = 0755;

/// Bytes read at a time.
constexpr std::size_t ReadSize = 16384;

constexpr std::int64_t NanosecondsPerSecond = 1000000000;

[[noreturn]] void ThrowFault(const std::string& path, std::string_view step, int error)
{
    throw std::runtime_error(fmt::format("{}: {}: {}", path, step, std::system_category().message(error)));
}

template <class TResult>
TResult Check(TResult result, const std::string& path, std::string_view step)
{
    if (result < 0)
    {
        ThrowFault(path, step, errno);
    }
    return result;
}

/// Repeats a call that a signal has interrupted.
template <class TCall>
auto Uninterrupted(TCall call)
{
    auto result = call();
    while (result < 0 && errno == EINTR)
    {
        result = call();
    }
    return result;
}

SFileStamp ToStamp(const struct stat& status)
{
    return {status.st_dev,
            status.st_ino,
            status.st_size,
            status.st_mtim.tv_sec * NanosecondsPerSecond + status.st_mtim.tv_nsec};
}

SFileStamp StampOf(IFileSystem& fileSystem, int descriptor, const std::string& path)
{
    struct stat status
    {
    };
    Check(fileSystem.Status(descriptor, status), path, "can't get the file's state");
    return ToStamp(status);
}

std::string ReadAll(IFileSystem& fileSystem, int descriptor, const std::string& path)
{
    std::string text;
    std::array<char, ReadSize> buffer{};
    while (true)
    {
        const auto count =
            Check(Uninterrupted([&] { return fileSystem.Read(descriptor, buffer.data(), buffer.size()); }),
                  path,
                  "can't read");
        if (count == 0)
        {
            return text;
        }
        text.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

} // namespace

bool SFileStamp::operator==(const SFileStamp& other) const
{
    return std::tie(device, inode, size, modifiedNs) ==
           std::tie(other.device, other.inode, other.size, other.modifiedNs);
}

CConfigFile::CConfigFile(std::string directory, std::string fileName, std::shared_ptr<IFileSystem> fileSystem)
    : directory(std::move(directory))
    , fileName(std::move(fileName))
    , fileSystem(std::move(fileSystem))
{
}

SFileContents CConfigFile::Read() const
{
    return ReadIn(AT_FDCWD, Path());
}

std::optional<SFileStamp> CConfigFile::Stamp() const
{
    return StampIn(AT_FDCWD, Path());
}

std::string CConfigFile::Path() const
{
    return directory + "/" + fileName;
}

SFileContents CConfigFile::ReadIn(int directoryDescriptor, const std::string& path) const
{
    const int opened = fileSystem->Open(directoryDescriptor, path, O_RDONLY | O_CLOEXEC, 0);
    if (opened < 0 && errno == ENOENT)
    {
        return {Json::objectValue, std::nullopt};
    }
    const CFileDescriptor descriptor(*fileSystem, Check(opened, Path(), "can't open"));
    // before the reading, so that a change during it does not go unnoticed
    const SFileStamp stamp = StampOf(*fileSystem, descriptor.Get(), Path());
    const std::string text = ReadAll(*fileSystem, descriptor.Get(), Path());
    try
    {
        return {JsonUtil::ParseObject(text), stamp};
    }
    catch (const std::runtime_error& error)
    {
        throw std::runtime_error(Path() + ": " + error.what());
    }
}

std::optional<SFileStamp> CConfigFile::StampIn(int directoryDescriptor, const std::string& path) const
{
    struct stat status
    {
    };
    const int result = fileSystem->StatusOf(directoryDescriptor, path, status);
    if (result < 0 && errno == ENOENT)
    {
        return std::nullopt;
    }
    Check(result, Path(), "can't get the file's state");
    return ToStamp(status);
}

CConfigFileWriter::CConfigFileWriter(const CConfigFile& file)
    : file(file)
    , fileSystem(file.fileSystem)
    , temporaryName("." + file.fileName + ".tmp")
    , directory(*fileSystem, OpenDirectory())
{
    Check(Uninterrupted([this] { return fileSystem->Lock(directory.Get()); }), file.directory, "can't lock");
}

int CConfigFileWriter::OpenDirectory() const
{
    constexpr int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    const int opened = fileSystem->Open(AT_FDCWD, file.directory, flags, 0);
    if (opened >= 0 || errno != ENOENT)
    {
        return Check(opened, file.directory, "can't open");
    }
    MakeDirectories(file.directory);
    return Check(fileSystem->Open(AT_FDCWD, file.directory, flags, 0), file.directory, "can't open");
}

void CConfigFileWriter::MakeDirectories(const std::string& path) const
{
    const std::size_t slash = path.rfind('/');
    const std::string parent = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    int result = fileSystem->MakeDirectory(path, DirectoryMode);
    if (result < 0 && errno == ENOENT && slash != std::string::npos && slash > 0)
    {
        MakeDirectories(path.substr(0, slash));
        result = fileSystem->MakeDirectory(path, DirectoryMode);
    }
    if (result < 0 && errno == EEXIST)
    {
        return;
    }
    Check(result, path, "can't make the directory");
    SyncDirectory(parent);
}

void CConfigFileWriter::SyncDirectory(const std::string& path) const
{
    const CFileDescriptor descriptor(
        *fileSystem,
        Check(fileSystem->Open(AT_FDCWD, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0), path, "can't open"));
    Check(fileSystem->Sync(descriptor.Get()), path, "can't sync");
}

std::optional<SFileStamp> CConfigFileWriter::Stamp() const
{
    return file.StampIn(directory.Get(), file.fileName);
}

SFileContents CConfigFileWriter::Read() const
{
    return file.ReadIn(directory.Get(), file.fileName);
}

CConfigFileWriter::SReplaced CConfigFileWriter::Replace(const std::string& text)
{
    // one that a crash has left behind; a failure shows when the file is made
    fileSystem->Remove(directory.Get(), temporaryName);
    SReplaced replaced{};
    try
    {
        replaced.stamp = WriteTemporary(text);
        Check(
            fileSystem->Rename(directory.Get(), temporaryName, file.fileName), file.Path(), "can't replace");
    }
    catch (const std::runtime_error&)
    {
        fileSystem->Remove(directory.Get(), temporaryName);
        throw;
    }
    if (fileSystem->Sync(directory.Get()) < 0)
    {
        replaced.syncFailure =
            fmt::format("{}: can't sync: {}", file.directory, std::system_category().message(errno));
    }
    return replaced;
}

SFileStamp CConfigFileWriter::WriteTemporary(const std::string& text) const
{
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    const std::string path = file.Path();
    const std::optional<SFileStamp> old = Stamp();
    const CFileDescriptor descriptor(*fileSystem,
                                     Check(fileSystem->Open(directory.Get(), temporaryName, flags, FileMode),
                                           path,
                                           "can't make its successor"));
    WriteAll(descriptor.Get(), text);
    SFileStamp stamp = StampOf(*fileSystem, descriptor.Get(), path);
    // File times are as coarse as a tick of the kernel's clock, and inode numbers come back: only times that
    // always grow tell one state of the file from all earlier ones.
    if (old && stamp.modifiedNs <= old->modifiedNs)
    {
        stamp.modifiedNs = old->modifiedNs + 1;
        const timespec time{stamp.modifiedNs / NanosecondsPerSecond, stamp.modifiedNs % NanosecondsPerSecond};
        Check(fileSystem->SetModificationTime(descriptor.Get(), time), path, "can't set its time");
    }
    Check(fileSystem->Sync(descriptor.Get()), path, "can't sync");
    return stamp;
}

void CConfigFileWriter::WriteAll(int descriptor, const std::string& text) const
{
    std::string_view rest = text;
    while (!rest.empty())
    {
        const auto written =
            Check(Uninterrupted([&] { return fileSystem->Write(descriptor, rest.data(), rest.size()); }),
                  file.Path(),
                  "can't write");
        rest.remove_prefix(static_cast<std::size_t>(written));
    }
}
