#pragma once

#include "platform/config/filesystem.h"

#include <json/value.h>

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/// What tells one state of a file from another without reading it.
struct SFileStamp
{
    dev_t device;
    ino_t inode;
    off_t size;
    std::int64_t modifiedNs;

    bool operator==(const SFileStamp& other) const;
};

/// One reading of a file.
struct SFileContents
{
    /// An object; empty for a missing file.
    Json::Value values;

    /// Of the very state that was read; empty for a missing file.
    std::optional<SFileStamp> stamp;
};

/// A JSON object in a file of its own.
/// Threads: any; it holds no state but its place.
class CConfigFile
{
public:
    /// @param directory without a slash at the end
    CConfigFile(std::string directory, std::string fileName, std::shared_ptr<IFileSystem> fileSystem);

    /// @throws std::runtime_error with path and reason, and the line if the file holds no JSON object
    SFileContents Read() const;

    /// Stamp of the present state, at the cost of one system call.
    /// @throws std::runtime_error with path and reason
    std::optional<SFileStamp> Stamp() const;

private:
    friend class CConfigFileWriter;

    SFileContents ReadIn(int directoryDescriptor, const std::string& path) const;
    std::optional<SFileStamp> StampIn(int directoryDescriptor, const std::string& path) const;
    std::string Path() const;

    std::string directory;
    std::string fileName;
    std::shared_ptr<IFileSystem> fileSystem;
};

/// Sole right to write one directory's configuration files, among all processes that write them in this way,
/// for as long as the object lives. Waits for the right, and makes the directory if it is missing.
///
/// Threads: one.
class CConfigFileWriter
{
public:
    /// @throws std::runtime_error with path and reason
    explicit CConfigFileWriter(const CConfigFile& file);
    ~CConfigFileWriter() = default;
    CConfigFileWriter(const CConfigFileWriter&) = delete;
    CConfigFileWriter& operator=(const CConfigFileWriter&) = delete;
    CConfigFileWriter(CConfigFileWriter&&) = delete;
    CConfigFileWriter& operator=(CConfigFileWriter&&) = delete;

    /// As CConfigFile::Stamp and Read; what they tell stays so while the right is held.
    std::optional<SFileStamp> Stamp() const;
    SFileContents Read() const;

    struct SReplaced
    {
        SFileStamp stamp;

        /// Empty, or path and reason if the directory could not be synced: the new contents are in place
        /// then, but may not outlast a power cut.
        std::string syncFailure;
    };

    /// Puts @p text in the file's place. A crash or power cut leaves the old contents or the new ones.
    /// @throws std::runtime_error with path and reason; the file is as it was
    SReplaced Replace(const std::string& text);

private:
    int OpenDirectory() const;
    void MakeDirectories(const std::string& path) const;
    void SyncDirectory(const std::string& path) const;
    SFileStamp WriteTemporary(const std::string& text) const;
    void WriteAll(int descriptor, const std::string& text) const;

    // Constant after construction
    const CConfigFile file;
    const std::shared_ptr<IFileSystem> fileSystem;
    const std::string temporaryName;
    const CFileDescriptor directory;
};
