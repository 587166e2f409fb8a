/// The one firmware package file of the station and the lock around it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

class IBoardControl;

/// Fills the package file. Its end closes the file and gives the package free.
/// Threads: one at a time.
class IFwPackageWriter
{
public:
    IFwPackageWriter() = default;
    IFwPackageWriter(const IFwPackageWriter&) = delete;
    IFwPackageWriter& operator=(const IFwPackageWriter&) = delete;
    IFwPackageWriter(IFwPackageWriter&&) = delete;
    IFwPackageWriter& operator=(IFwPackageWriter&&) = delete;
    virtual ~IFwPackageWriter() = default;

    /// Appends to the file.
    /// @param size  in bytes
    /// @return false if the file can't take the bytes, or if with these more than the maximum has been
    /// offered: then nothing is written, now or later
    virtual bool Write(const char* data, std::int32_t size) = 0;

    /// Closes the file and deletes it. The package stays taken.
    virtual void Abort() = 0;

    /// In bytes.
    virtual std::uint32_t GetMaxSize() = 0;
};

/// Has the package installed. Its end gives the package free; the file stays.
/// Threads: one at a time.
class IFwPackageInstaller
{
public:
    IFwPackageInstaller() = default;
    IFwPackageInstaller(const IFwPackageInstaller&) = delete;
    IFwPackageInstaller& operator=(const IFwPackageInstaller&) = delete;
    IFwPackageInstaller(IFwPackageInstaller&&) = delete;
    IFwPackageInstaller& operator=(IFwPackageInstaller&&) = delete;
    virtual ~IFwPackageInstaller() = default;

    /// Blocks for the call to the board.
    /// @return 0 if the board accepts the request, 1 if it refuses or can't be reached
    virtual int Install() = 0;
};

/// The package that one at a time may write or have installed.
class IFwPackage
{
public:
    IFwPackage() = default;
    IFwPackage(const IFwPackage&) = delete;
    IFwPackage& operator=(const IFwPackage&) = delete;
    IFwPackage(IFwPackage&&) = delete;
    IFwPackage& operator=(IFwPackage&&) = delete;
    virtual ~IFwPackage() = default;

    /// Takes the package and empties its file.
    /// @return null if somebody has the package
    /// @throws std::exception if the file can't be made
    virtual std::unique_ptr<IFwPackageWriter> TryLockWrite() = 0;

    /// Takes the package as it is.
    /// @return null if somebody has the package
    virtual std::unique_ptr<IFwPackageInstaller> TryLockInstall() = 0;
};

/// The package in a file of this machine. It must outlive its writers and installers.
/// Threads: any.
class CFwPackage : public IFwPackage
{
public:
    /// @param maxSize  of the file, in bytes
    CFwPackage(std::string path, std::uint32_t maxSize, std::shared_ptr<IBoardControl> boardControl);

    /// @throws std::runtime_error if the path has no directory or the file can't be opened
    /// @throws std::filesystem::filesystem_error if the directory can't be made: then the package stays taken
    /// for good
    std::unique_ptr<IFwPackageWriter> TryLockWrite() override;
    std::unique_ptr<IFwPackageInstaller> TryLockInstall() override;

private:
    bool TryLock();
    void Unlock();

    std::mutex mutex;

    // Guarded by mutex
    bool locked = false;

    // Constant after construction
    const std::string path;
    const std::uint32_t maxSize;
    const std::shared_ptr<IBoardControl> boardControl;
};

class CFwPackageWriter : public IFwPackageWriter
{
public:
    using Release = std::function<void()>;

    /// Opens the file, empty, and gives it to the group that the update service reads it with.
    /// @param maxSize  of the file, in bytes
    /// @param release  called at the end; also when the construction fails, but not if that is because the
    /// directory can't be made
    /// @throws std::runtime_error, std::filesystem::filesystem_error
    CFwPackageWriter(std::filesystem::path path, Release release, std::uint32_t maxSize);
    ~CFwPackageWriter() override;
    CFwPackageWriter(const CFwPackageWriter&) = delete;
    CFwPackageWriter& operator=(const CFwPackageWriter&) = delete;
    CFwPackageWriter(CFwPackageWriter&&) = delete;
    CFwPackageWriter& operator=(CFwPackageWriter&&) = delete;

    bool Write(const char* data, std::int32_t size) override;
    void Abort() override;
    std::uint32_t GetMaxSize() override;

private:
    void CreateDirectory() const;
    void Open();

    const std::filesystem::path path;
    std::ofstream stream;
    const Release release;
    const std::uint32_t maxSize;
    /// offered to Write so far, in bytes
    std::uint32_t written = 0;
};

class CFwPackageInstaller : public IFwPackageInstaller
{
public:
    using Release = std::function<void()>;

    /// @param release  called at the end
    CFwPackageInstaller(std::shared_ptr<IBoardControl> boardControl, Release release);
    ~CFwPackageInstaller() override;
    CFwPackageInstaller(const CFwPackageInstaller&) = delete;
    CFwPackageInstaller& operator=(const CFwPackageInstaller&) = delete;
    CFwPackageInstaller(CFwPackageInstaller&&) = delete;
    CFwPackageInstaller& operator=(CFwPackageInstaller&&) = delete;

    int Install() override;

private:
    const std::shared_ptr<IBoardControl> boardControl;
    const Release release;
};
