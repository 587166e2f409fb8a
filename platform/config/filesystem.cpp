#include "platform/config/filesystem.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cstdio>

namespace
{

class CHostFileSystem : public IFileSystem
{
public:
    int Open(int directory, const std::string& path, int flags, mode_t mode) override
    {
        return openat(directory, path.c_str(), flags, mode); // NOLINT(*-vararg): its only form
    }

    int Close(int descriptor) override { return close(descriptor); }

    ssize_t Read(int descriptor, void* buffer, std::size_t size) override
    {
        return read(descriptor, buffer, size);
    }

    ssize_t Write(int descriptor, const void* data, std::size_t size) override
    {
        return write(descriptor, data, size);
    }

    int Sync(int descriptor) override { return fsync(descriptor); }

    int Lock(int descriptor) override { return flock(descriptor, LOCK_EX); }

    int Status(int descriptor, struct stat& status) override { return fstat(descriptor, &status); }

    int StatusOf(int directory, const std::string& path, struct stat& status) override
    {
        return fstatat(directory, path.c_str(), &status, 0);
    }

    int SetModificationTime(int descriptor, timespec time) override
    {
        const std::array<timespec, 2> accessAndModification{timespec{0, UTIME_OMIT}, time};
        return futimens(descriptor, accessAndModification.data());
    }

    int Rename(int directory, const std::string& from, const std::string& to) override
    {
        return renameat(directory, from.c_str(), directory, to.c_str());
    }

    int Remove(int directory, const std::string& path) override
    {
        return unlinkat(directory, path.c_str(), 0);
    }

    int MakeDirectory(const std::string& path, mode_t mode) override { return mkdir(path.c_str(), mode); }
};

} // namespace

CFileDescriptor::CFileDescriptor(IFileSystem& fileSystem, int descriptor)
    : fileSystem(fileSystem)
    , descriptor(descriptor)
{
}

CFileDescriptor::~CFileDescriptor()
{
    fileSystem.Close(descriptor);
}

std::shared_ptr<IFileSystem> HostFileSystem()
{
    static const auto host = std::make_shared<CHostFileSystem>();
    return host;
}
