#pragma once

#include "platform/toolbox/systemclock.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

namespace Toolbox
{

class CInterruption;

/// Packs the station's log directory into one file for an installer.
///
/// The package is an uncompressed tar archive of all regular files in and below the directory, under their
/// paths from there. Links are neither packed nor followed. A package takes the place of the one before it at
/// once and whole, so that a download of that one is not disturbed. What is unfinished goes, after a crash
/// when the next package is made.
///
/// Threads: any, several at the same time; the packages are made one after the other.
class CDiagnosticsPackager
{
public:
    /// Paths of files, from the log directory.
    using Collection = std::vector<std::string>;

    /// @param logDirectory      what is packed
    /// @param packageDirectory  where the package is made; no other process makes those of the same names
    /// @param tar               path of GNU tar
    CDiagnosticsPackager(std::filesystem::path logDirectory,
                         std::filesystem::path packageDirectory,
                         SystemClock now = std::chrono::system_clock::now,
                         std::string tar = "/bin/tar");

    /// The name under which a browser saves the package: CUSTOMER_SERIAL_TIME.pedp with the present UTC time,
    /// such as "ACME_SN-1_2024-05-01T120000.pedp". What is no ASCII letter or digit and none of "-_." becomes
    /// a "_".
    std::string GetPackageFileName(const std::string& customer, const std::string& serialNumber) const;

    /// The files that were last changed in that time, sorted. A directory that can't be read is left out
    /// with a warning.
    /// @param from  seconds since 1970
    /// @param to    seconds since 1970, included
    Collection CollectFiles(std::int64_t from, std::int64_t to) const;

    /// Packs the files. The log warns of those that have gone meanwhile or can't be read, which are left out,
    /// and of those that change while they are read. An earlier package of that name stays if this one can't
    /// be made, unless there is no room for both.
    /// @param interruption  ends the packing, if it isn't null
    /// @return the path of the package, empty on failure, of which the log tells
    /// @throws std::system_error if it is interrupted, or there are no descriptors for it
    std::string CreatePackage(const std::string& name,
                              const Collection& files,
                              CInterruption* interruption = nullptr) const;

private:
    enum class EOutcome
    {
        Done,
        NoRoom,
        Failed
    };

    void RemoveUnfinished(const std::string& name) const;
    EOutcome WritePackage(const std::filesystem::path& package,
                          const Collection& files,
                          CInterruption* interruption) const;
    EOutcome Pack(const Collection& files, int archive, CInterruption* interruption) const;

    // Constant after construction
    const std::filesystem::path logDirectory;
    const std::filesystem::path packageDirectory;
    const SystemClock now;
    const std::string tar;

    /// Held while a package is made: what is unfinished then is of no other thread. Others wait for it.
    mutable std::mutex packing;
};

} // namespace Toolbox
