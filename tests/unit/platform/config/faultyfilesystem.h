#pragma once

#include "platform/config/filesystem.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

/// Thrown by a file system whose power was cut.
struct SPowerCut
{
};

/// The host's file system with failures to order, notes of what was called, and the losses of a power cut.
/// Threads: one.
class CFaultyFileSystem : public IFileSystem
{
public:
    enum class EStep
    {
        Open,
        Read,
        Write,
        Sync,
        Lock,
        Status,
        StatusOf,
        SetModificationTime,
        Rename,
        Remove,
        MakeDirectory
    };

    CFaultyFileSystem();
    ~CFaultyFileSystem() override;
    CFaultyFileSystem(const CFaultyFileSystem&) = delete;
    CFaultyFileSystem& operator=(const CFaultyFileSystem&) = delete;
    CFaultyFileSystem(CFaultyFileSystem&&) = delete;
    CFaultyFileSystem& operator=(CFaultyFileSystem&&) = delete;

    /// Lets the call of this kind that is the @p occurrence th from now, counted from 1, fail with @p error.
    void Fail(EStep step, int occurrence, int error);

    /// Lets each write take at most @p size bytes.
    void LimitWrites(std::size_t size);

    /// Lets this many calls through, and then throws SPowerCut out of each.
    void CutPowerAfter(int calls);

    /// What the disk holds after the cut at worst: files lose what was not synced, and directories the
    /// renames.
    void LoseWhatIsNotSynced();

    /// Calls since the last of these, in order.
    std::vector<EStep> TakeSteps();

    /// Descriptors open now.
    int OpenDescriptors() const { return openDescriptors; }

    int Open(int directory, const std::string& path, int flags, mode_t mode) override;
    int Close(int descriptor) override;
    ssize_t Read(int descriptor, void* buffer, std::size_t size) override;
    ssize_t Write(int descriptor, const void* data, std::size_t size) override;
    int Sync(int descriptor) override;
    int Lock(int descriptor) override;
    int Status(int descriptor, struct stat& status) override;
    int StatusOf(int directory, const std::string& path, struct stat& status) override;
    int SetModificationTime(int descriptor, timespec time) override;
    int Rename(int directory, const std::string& from, const std::string& to) override;
    int Remove(int directory, const std::string& path) override;
    int MakeDirectory(const std::string& path, mode_t mode) override;

private:
    /// Notes the step. @return whether it is to fail, with errno set
    bool Meets(EStep step);

    std::shared_ptr<IFileSystem> host = HostFileSystem();
    std::vector<EStep> steps;
    std::map<EStep, std::map<int, int>> faults;
    std::map<EStep, int> occurrences;
    std::size_t writeLimit;
    std::optional<int> callsUntilPowerCut;
    int openDescriptors = 0;

    /// Second descriptors of files that were written and not synced, by the first.
    std::map<int, int> notSynced;

    /// What stood in the place of files that were renamed, by their path, until the directory is synced.
    std::map<std::string, std::optional<std::string>> replaced;
};
