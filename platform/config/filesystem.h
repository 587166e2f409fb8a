#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <ctime>
#include <memory>
#include <string>

/// The system calls that a configuration file is read and written with, one for each operation, so that the
/// failure of each can be tested. Results and errno are those of the call.
///
/// Threads: any.
class IFileSystem
{
public:
    IFileSystem() = default;
    IFileSystem(const IFileSystem&) = delete;
    IFileSystem& operator=(const IFileSystem&) = delete;
    IFileSystem(IFileSystem&&) = delete;
    IFileSystem& operator=(IFileSystem&&) = delete;
    virtual ~IFileSystem() = default;

    /// openat
    virtual int Open(int directory, const std::string& path, int flags, mode_t mode) = 0;

    /// close
    virtual int Close(int descriptor) = 0;

    /// read
    virtual ssize_t Read(int descriptor, void* buffer, std::size_t size) = 0;

    /// write
    virtual ssize_t Write(int descriptor, const void* data, std::size_t size) = 0;

    /// fsync
    virtual int Sync(int descriptor) = 0;

    /// flock, exclusively
    virtual int Lock(int descriptor) = 0;

    /// fstat
    virtual int Status(int descriptor, struct stat& status) = 0;

    /// fstatat
    virtual int StatusOf(int directory, const std::string& path, struct stat& status) = 0;

    /// futimens, of the modification time only
    virtual int SetModificationTime(int descriptor, timespec time) = 0;

    /// renameat within one directory
    virtual int Rename(int directory, const std::string& from, const std::string& to) = 0;

    /// unlinkat
    virtual int Remove(int directory, const std::string& path) = 0;

    /// mkdir
    virtual int MakeDirectory(const std::string& path, mode_t mode) = 0;
};

/// An open file or directory, closed at the end.
class CFileDescriptor
{
public:
    CFileDescriptor(IFileSystem& fileSystem, int descriptor);
    ~CFileDescriptor();
    CFileDescriptor(const CFileDescriptor&) = delete;
    CFileDescriptor& operator=(const CFileDescriptor&) = delete;
    CFileDescriptor(CFileDescriptor&&) = delete;
    CFileDescriptor& operator=(CFileDescriptor&&) = delete;

    int Get() const { return descriptor; }

private:
    IFileSystem& fileSystem;
    const int descriptor;
};

/// The host's file system.
std::shared_ptr<IFileSystem> HostFileSystem();
